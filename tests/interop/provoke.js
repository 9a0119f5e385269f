// Sends what the judge has to object to, to the address given: a request repeated too soon, another one with its invoke
// id while an answer may still come, and one that is cut.
'use strict';

const dgram = require('dgram');

const PORT = 47808;
const READ = '810a001101040005010c0c000000011955';
const OTHER_PROPERTY = READ.replace(/55$/, '51');
const CUT = '810a000d01040005020c0c0000';

async function send(to) {
  const socket = dgram.createSocket('udp4');
  await new Promise((resolve) => socket.bind(PORT, resolve));
  for (const datagram of [READ, READ, OTHER_PROPERTY, CUT]) {
    await new Promise((resolve) => socket.send(Buffer.from(datagram, 'hex'), PORT, to, resolve));
    await new Promise((resolve) => setTimeout(resolve, 100));
  }
  socket.close();
}

if (require.main === module) send(process.argv[2]);

module.exports = {CUT};
