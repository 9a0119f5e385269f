// The two foreign stacks behind one face: operations return promises, addresses are texts. They share most of their
// interface; what differs, and the peculiarities of theirs that a device or client has to work around, is here.
'use strict';

const {BROADCAST} = require('./lan');

const ALL = 0xffffffff;  // "no index", to both of them

// Tags of application data.
const TAG_NAMES = [
  'null', 'boolean', 'unsigned', 'signed', 'real', 'double', 'octets', 'text', 'bits', 'enumerated', 'date', 'time',
  'object'
];
const TAG = Object.fromEntries(TAG_NAMES.map((name, number) => [name, number]));
const CHARACTER_SET = {
  'utf-8': 0,
  'ucs-2': 4,
  'latin-1': 5
};

class Stack {
  constructor(name, broadcastAddress = BROADCAST) {
    this.name = name;
    const library = require(name);
    const Client = library.default ?? library;
    this.hasCallbacks = name === 'node-bacnet';
    this.client = new Client({broadcastAddress, apduTimeout: 3000});
    this.client.on('error', (error) => {
      throw error;
    });
    // node-bacnet counts months from 0, on the wire too.
    this.monthShift = name === 'node-bacnet' ? 1 : 0;
  }

  on(event, handler) { this.client.on(event, handler); }

  // A value of the fixture, `{ real: 21.5 }`, as this stack wants it.
  toStack(value) {
    const [kind, held] = Object.entries(value).find(([key]) => key in TAG);
    const type = TAG[kind];
    if (kind === 'bits') {
      const set = [...held].flatMap((bit, place) => (bit === '1' ? [place] : []));
      return {type, value: {...this.client.constructor.createBitstring(set), bitsUsed: held.length}};
    }
    if (kind === 'octets') return {type, value: [...Buffer.from(held, 'hex')]};
    if (kind === 'text') return {type, value: held, encoding: CHARACTER_SET[value.charset ?? 'utf-8']};
    if (kind === 'date') return {type, value: new Date(held[0], held[1] - 1 + this.monthShift, held[2])};
    if (kind === 'time') return {type, value: new Date(2001, 1, 1, ...held)};
    if (kind === 'object') return {type, value: {type: held[0], instance: held[1]}};
    return {type, value: held};
  }

  // And back.
  fromStack({type, value}) {
    const kind = TAG_NAMES[type];
    if (kind === 'bits') {
      return {
        bits: Array.from({length: value.bitsUsed}, (_, place) => (value.value[place >> 3] >> (place & 7)) & 1).join('')
      };
    }
    if (kind === 'octets') return {octets: Buffer.from(value).toString('hex')};
    if (kind === 'date') return {date: this.dateFields(value)};
    if (kind === 'time')
      return {time: [value.getHours(), value.getMinutes(), value.getSeconds(), value.getMilliseconds()]};
    if (kind === 'object') return {object: [value.type, value.instance]};
    return {[kind]: value};
  }

  dateFields(value) {
    if (!(value instanceof Date)) return [value.year + 1900, value.month, value.day];
    const shifted = new Date(value.getFullYear(), value.getMonth() - this.monthShift, value.getDate());
    return [shifted.getFullYear(), shifted.getMonth() + 1, shifted.getDate()];
  }

  call(operation, ...args) {
    if (!this.hasCallbacks) return this.client[operation](...args);
    return new Promise((resolve, reject) => {
      this.client[operation](...args, (error, result) => (error ? reject(error) : resolve(result)));
    });
  }

  respond(operation, ...args) { this.client[operation](...args); }

  // To everybody, or to whoever asks through a router.
  iAm(deviceId, asking) {
    const NO_SEGMENTATION = 3;
    this.client.iAmResponse(asking?.net ? asking : null, deviceId, NO_SEGMENTATION, 0);
  }

  // Neither stack has a Reject.
  reject(to, invokeId, reason) {
    const datagram = Buffer.from([0x81, 0x0a, 0, 9, 1, 0, 0x60, invokeId, reason]);
    this.client._transport.send(datagram, datagram.length, to.address);
  }

  // A property without index has to have index undefined: their own "no index" is sent as index 4294967295.
  async notify(isConfirmed, subscriber, processId, deviceId, object, lifetime, properties, index) {
    const values = properties.map(([id, value]) => ({property: {id, index}, value: [this.toStack(value)]}));
    if (isConfirmed) {
      return this.call(
          'confirmedCOVNotification', {address: subscriber}, object, processId, deviceId, lifetime, values, {});
    }
    const receiver = this.hasCallbacks ? subscriber : {address: subscriber};
    this.client.unconfirmedCOVNotification(receiver, processId, deviceId, object, lifetime, values);
  }
}

module.exports = {
  Stack,
  ALL,
  TAG_NAMES
};
