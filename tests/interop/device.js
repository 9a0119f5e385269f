// A device by a foreign stack: device.js STACK '{"deviceId": …, "properties": {…}, …}'. It has the properties it is
// given, tells the runner each request that writes or subscribes, and takes from it what changes: { set: KEY, value: …
// }.
'use strict';

const {Stack, ALL} = require('./stack');
const {DEVICE, PROPERTY, key} = require('./points');

const SERVICE = {
  subscribeCov: 5,
  readProperty: 12,
  readMultiple: 14,
  writeProperty: 15,
  writeMultiple: 16,
  iAm: 26,
  whoIs: 34
};
const ERROR = {
  unknownObject: [1, 31],
  unknownProperty: [2, 32],
  badIndex: [2, 42],
  notAnArray: [2, 50],
  denied: [2, 40]
};
const UNRECOGNIZED_SERVICE = 9;
const ANY_DEVICE = 4194303;

const [stackName, settings] = [process.argv[2], JSON.parse(process.argv[3])];
const {deviceId, properties, isReadOnly = [], hasReadMultiple = true, hasWriteMultiple = false, notifiedIndex} =
    settings;
const stack = new Stack(stackName, settings.broadcast);
const slots = new Map();  // of priority arrays, by object
const subscriptions = new Map();

const tell = (event) => process.send(event);

const {readMultiple, writeMultiple, ...always} = SERVICE;
const services = [
  ...Object.values(always), ...(hasReadMultiple ? [readMultiple] : []), ...(hasWriteMultiple ? [writeMultiple] : [])
];
const own = [
  [62, {unsigned: 1476}],
  [75, {object: [DEVICE, deviceId]}],
  [77, {text: `${stackName} ${deviceId}`}],
  [97, {bits: Array.from({length: 40}, (_, bit) => Number(services.includes(bit))).join('')}],
  [107, {enumerated: 3}],
];
for (const [id, value] of own) properties[key([DEVICE, deviceId], id)] = value;

function presentValue(object) {
  const held = slots.get(key(object)) ?? [];
  return held.find((value) => value !== undefined) ?? properties[key(object, PROPERTY.presentValue)];
}

function priorityArray(object) {
  const held = slots.get(key(object)) ?? [];
  return Array.from({length: 16}, (_, at) => held[at + 1] ?? {null: null});
}

// What a reference holds: a list of values, or the name of an error.
function look(objectId, {id, index}) {
  const isDevice = objectId.type === DEVICE && objectId.instance === ANY_DEVICE;
  const object = [objectId.type, isDevice ? deviceId : objectId.instance];
  let held = properties[key(object, id)];
  if (id === PROPERTY.presentValue) held = presentValue(object);
  if (id === PROPERTY.priorityArray && properties[key(object, PROPERTY.presentValue)]) held = priorityArray(object);
  if (held === undefined) {
    const isKnown = Object.keys(properties).some((each) => each.startsWith(`${key(object)},`));
    return isKnown ? 'unknownProperty' : 'unknownObject';
  }
  if (index === ALL || index === undefined) return Array.isArray(held) ? held : [held];
  if (!Array.isArray(held)) return 'notAnArray';
  if (index === 0) return [{unsigned: held.length}];
  return index <= held.length ? [held[index - 1]] : 'badIndex';
}

stack.on('readProperty', ({header, invokeId, payload}) => {
  const {objectId, property} = payload;
  const held = look(objectId, property);
  if (typeof held === 'string') {
    stack.respond('errorResponse', header.sender, SERVICE.readProperty, invokeId, ...ERROR[held]);
  } else {
    stack.respond(
        'readPropertyResponse', header.sender, invokeId, objectId, property, held.map((each) => stack.toStack(each)));
  }
  tell({event: 'read', object: [objectId.type, objectId.instance], property: property.id});
});

stack.on('readPropertyMultiple', ({header, invokeId, payload}) => {
  tell({event: 'readMultiple'});
  if (!hasReadMultiple) {
    stack.reject(header.sender, invokeId, UNRECOGNIZED_SERVICE);
    return;
  }
  const answers =
      payload.properties.map((each) => ({
                               objectId: each.objectId,
                               values: each.properties.map((property) => {
                                 const held = look(each.objectId, property);
                                 if (typeof held !== 'string')
                                   return {property, value: held.map((one) => stack.toStack(one))};
                                 const [errorClass, errorCode] = ERROR[held];
                                 return {property, value: [{value: {type: 'BacnetError', errorClass, errorCode}}]};
                               }),
                             }));
  stack.respond('readPropertyMultipleResponse', header.sender, invokeId, answers);
});

// Writes one value, or tells the name of an error.
function write(objectId, value) {
  const object = [objectId.type, objectId.instance];
  const place = key(object, value.property.id);
  const values = value.value.map((each) => stack.fromStack(each));
  const index = value.property.index === ALL ? null : value.property.index;
  tell({event: 'write', object, property: value.property.id, index, values, priority: value.priority});
  const refusal = isReadOnly.includes(place) ? 'denied' : look(objectId, {id: value.property.id});
  if (typeof refusal === 'string') return refusal;
  if (value.property.id === PROPERTY.presentValue) {
    if (!slots.has(key(object))) slots.set(key(object), []);
    slots.get(key(object))[value.priority] = 'null' in values[0] ? undefined : values[0];
  } else {
    [properties[place]] = values;
  }
  return null;
}

function answerWrite({header, invokeId}, service, error) {
  if (error)
    stack.respond('errorResponse', header.sender, service, invokeId, ...ERROR[error]);
  else
    stack.respond('simpleAckResponse', header.sender, service, invokeId);
}

stack.on('writeProperty', (request) => {
  answerWrite(request, SERVICE.writeProperty, write(request.payload.objectId, request.payload.value));
});

// Both stacks read only the first object of such a request. Without a handler they answer with an error of their own.
if (hasWriteMultiple) {
  stack.on('writePropertyMultiple', (request) => {
    tell({event: 'writeMultiple'});
    const errors = request.payload.values.map((value) => write(request.payload.objectId, value));
    answerWrite(request, SERVICE.writeMultiple, errors.find((error) => error));
  });
}

function notify({object, subscriber, processId, isConfirmed, lifetime}) {
  const flags = {bits: '0000'};
  const told = [[PROPERTY.presentValue, presentValue(object)], [PROPERTY.statusFlags, flags]];
  const objectId = {type: object[0], instance: object[1]};
  stack.notify(isConfirmed, subscriber, processId, deviceId, objectId, lifetime, told, notifiedIndex)
      .then(
          () => tell({event: 'notified', object, isConfirmed}),
          (error) => tell({event: 'notification failed', object, error: error.message}),
      );
}

stack.on('subscribeCov', ({header, invokeId, payload}) => {
  const object = [payload.monitoredObjectId.type, payload.monitoredObjectId.instance];
  const {subscriberProcessId: processId, lifetime, cancellationRequest} = payload;
  const subscription = {
    object,
    subscriber: header.sender.address,
    processId,
    isConfirmed: payload.issueConfirmedNotifications,
    lifetime
  };
  tell({
    event: 'subscribe',
    object,
    processId,
    lifetime,
    isConfirmed: subscription.isConfirmed,
    isCancelled: cancellationRequest
  });
  stack.respond('simpleAckResponse', header.sender, SERVICE.subscribeCov, invokeId);
  const place = `${key(object)} ${header.sender.address} ${processId}`;
  if (cancellationRequest) {
    subscriptions.delete(place);
    return;
  }
  subscriptions.set(place, subscription);
  notify(subscription);
});

stack.on('whoIs', ({header, payload}) => {
  const {lowLimit = 0, highLimit = ANY_DEVICE} = payload ?? {};
  if (deviceId >= lowLimit && deviceId <= highLimit) stack.iAm(deviceId, header?.sender);
});

process.on('message', ({set, value}) => {
  properties[set] = value;
  subscriptions.forEach((each) => {
    if (key(each.object, PROPERTY.presentValue) === set) notify(each);
  });
});
process.on('disconnect', () => process.exit());

stack.on('listening', () => {
  stack.iAm(deviceId);
  tell({event: 'ready'});
});
