// What joins two BACnet/IP networks: relay.js '{"kind": "router" or "bbmd", "near": …, "far": …}'. A router stands on
// both, which have the numbers 1 and 2; a BBMD on the far one, and takes every foreign device.
'use strict';

const dgram = require('dgram');

const PORT = 0xbac0;
const FUNCTION = {
  result: 0x00,
  forwarded: 0x04,
  register: 0x05,
  distribute: 0x09,
  unicast: 0x0a,
  broadcast: 0x0b
};
const MESSAGE = {
  whoIsRouter: 0x00,
  iAmRouter: 0x01,
  reject: 0x03
};
const CONTROL = {
  message: 0x80,
  destination: 0x20,
  source: 0x08,
  kept: 0x07
};
const EVERYWHERE = 0xffff;

const settings = JSON.parse(process.argv[2]);

const word = (number) => [number >> 8, number & 0xff];
const macOf = ({address, port}) => [...address.split('.').map(Number), ...word(port)];
const addressOf = (mac) => ({address: mac.slice(0, 4).join('.'), port: mac[4] * 256 + mac[5]});
const datagram = (code, ...parts) => {
  const content = Buffer.concat(parts.map((part) => Buffer.from(part)));
  return Buffer.concat([Buffer.from([0x81, code, ...word(content.length + 4)]), content]);
};

// One network as this machine sees it: what comes to it alone, and what comes to all.
class Side {
  constructor({address, broadcast}, number) { Object.assign(this, {address, broadcast, number}); }

  async open(onDatagram) {
    for (const local of [this.address, this.broadcast]) {
      const socket = dgram.createSocket({type: 'udp4', reuseAddr: true});
      socket.on('message', (bytes, from) => {
        const isOwn = from.address === this.address;
        if (!isOwn && bytes.length > 4 && bytes[0] === 0x81) onDatagram(bytes[1], bytes.subarray(4), from);
      });
      await new Promise((resolve) => socket.bind(PORT, local, resolve));
      socket.setBroadcast(true);
      this.socket ??= socket;
    }
  }

  send(bytes, {address, port}) { this.socket.send(bytes, port, address); }
  toAll(bytes) { this.send(bytes, {address: this.broadcast, port: PORT}); }
}

function parseNpdu(bytes) {
  let at = 2;
  const station = () => {
    const network = bytes.readUInt16BE(at);
    const mac = [...bytes.subarray(at + 3, at + 3 + bytes[at + 2])];
    at += 3 + mac.length;
    return {network, mac};
  };
  const control = bytes[1];
  const destination = control & CONTROL.destination ? station() : null;
  const source = control & CONTROL.source ? station() : null;
  if (destination) at += 1;  // hops
  return {control, destination, source, rest: bytes.subarray(at)};
}

function route(from, here, there, npdu) {
  const {control, destination, rest} = parseNpdu(npdu);
  const message = (type, ...content) => [1, CONTROL.message, type, ...content];
  if (control & CONTROL.message && rest[0] === MESSAGE.whoIsRouter && !destination) {
    const isAsked = rest.length < 3 || rest.readUInt16BE(1) === there.number;
    if (isAsked) here.toAll(datagram(FUNCTION.broadcast, message(MESSAGE.iAmRouter, ...word(there.number))));
    return;
  }
  if (!destination) return;
  const {network, mac} = destination;
  const source = [...word(here.number), 6, ...macOf(from)];
  const kept = (control & (CONTROL.kept | CONTROL.message)) | CONTROL.source;
  if (network === EVERYWHERE) {
    const head = [1, kept | CONTROL.destination, ...word(EVERYWHERE), 0, ...source, 254];
    there.toAll(datagram(FUNCTION.broadcast, head, rest));
  } else if (network !== there.number) {
    here.send(datagram(FUNCTION.unicast, message(MESSAGE.reject, 1, ...word(network))), from);
  } else if (mac.length === 0) {
    there.toAll(datagram(FUNCTION.broadcast, [1, kept, ...source], rest));
  } else {
    there.send(datagram(FUNCTION.unicast, [1, kept, ...source], rest), addressOf(mac));
  }
}

async function beRouter() {
  const near = new Side(settings.near, 1);
  const far = new Side(settings.far, 2);
  const relaying = (here, there) => (code, npdu, from) => {
    if (code === FUNCTION.unicast || code === FUNCTION.broadcast) route(from, here, there, npdu);
  };
  await near.open(relaying(near, far));
  await far.open(relaying(far, near));
}

async function beBbmd() {
  const foreign = new Map();
  const far = new Side(settings.far, 2);
  const spread = (npdu, from, but) => {
    const bytes = datagram(FUNCTION.forwarded, macOf(from), npdu);
    foreign.forEach((to, name) => name !== but && far.send(bytes, to));
    return bytes;
  };
  await far.open((code, content, from) => {
    const name = `${from.address}:${from.port}`;
    if (code === FUNCTION.register) {
      foreign.set(name, from);
      far.send(datagram(FUNCTION.result, [0, 0]), from);
    } else if (code === FUNCTION.distribute && foreign.has(name)) {
      far.toAll(spread(content, from, name));
    } else if (code === FUNCTION.broadcast) {
      spread(content, from);
    }
  });
}

process.on('disconnect', () => process.exit());
(settings.kind === 'router' ? beRouter() : beBbmd()).then(() => process.send({event: 'ready'}));
