// A client by a foreign stack: foreign_client.js DEVICE OWN-ADDRESS. Each line on standard input is a number of reads
// of the device's first point; the answer is a line with the microseconds that they have taken.
'use strict';

const Client = require('node-bacnet');
const {createInterface} = require('readline');

const [, , device, ownAddress] = process.argv;
const ANALOG_VALUE = 2;
const PRESENT_VALUE = 85;

const client = new Client({interface: ownAddress, broadcastAddress: '127.255.255.255', apduTimeout: 3000});
client.on('error', (error) => {
  throw error;
});

const microseconds = () => Number(process.hrtime.bigint() / 1000n);

const object = (instance) => ({type: ANALOG_VALUE, instance});

function readOne(done) {
  client.readProperty(device, object(1), PRESENT_VALUE, (error, result) => {
    if (error) throw error;
    if (typeof result.values[0].value !== 'number') throw new Error('no number');
    done();
  });
}

function readSeveral(points, done) {
  const asked =
      Array.from({length: points}, (_, place) => ({objectId: object(place + 1), properties: [{id: PRESENT_VALUE}]}));
  client.readPropertyMultiple(device, asked, (error, result) => {
    if (error) throw error;
    if (result.values.length !== points) throw new Error('not all');
    done();
  });
}

function read(calls, points, start) {
  if (calls === 0) return process.stdout.write(`${microseconds() - start}\n`);
  const next = () => read(calls - 1, points, start);
  if (points === 1) return readOne(next);
  readSeveral(points, next);
}

client.on('listening', () => {
  process.stdout.write('ready\n');
  createInterface({input: process.stdin})
      .on('line', (line) => read(...line.split(' ').map(Number), microseconds()))
      .on('close', () => process.exit());
});
