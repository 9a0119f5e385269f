// A client by a foreign stack: client.js STACK. It does what the runner asks for, { call: OPERATION, args: […] }, and
// tells it what comes unasked for.
'use strict';

const {Stack} = require('./stack');

const CONFIRMED_NOTIFICATION = 1;

const stack = new Stack(process.argv[2]);
const told = (payload) => ({
  object: [payload.monitoredObjectId.type, payload.monitoredObjectId.instance],
  processId: payload.subscriberProcessId,
  lifetime: payload.timeRemaining,
  properties: payload.values.map((each) => [each.property.id, each.value.map((one) => stack.fromStack(one))]),
});

stack.on('iAm', ({header, payload}) => process.send({event: 'iAm', from: header.sender.address, ...payload}));
stack.on(
    'covNotifyUnconfirmed', ({payload}) => process.send({event: 'notification', isConfirmed: false, ...told(payload)}));
stack.on('covNotify', ({header, invokeId, payload}) => {
  stack.respond('simpleAckResponse', header.sender, CONFIRMED_NOTIFICATION, invokeId);
  process.send({event: 'notification', isConfirmed: true, ...told(payload)});
});

// Values of an answer, wherever they are in it.
const plain = (result) => JSON.parse(JSON.stringify(
    result ?? null,
    (_, held) => (held && held.type in [...Array(13).keys()] && 'value' in held ? stack.fromStack(held) : held)));

process.on('message', async ({number, call, args, written}) => {
  try {
    const all = written ? [...args, written.values.map((each) => stack.toStack(each)), written.options] : args;
    const result = call === 'whoIs' ? stack.respond(call, ...all) : await stack.call(call, ...all);
    process.send({event: 'result', number, result: plain(result)});
  } catch (error) {
    process.send({event: 'result', number, error: error.message});
  }
});
process.on('disconnect', () => process.exit());
stack.on('listening', () => process.send({event: 'ready'}));
