// Devices on another network: behind a router, and beyond a BBMD.
'use strict';

const {equal, holds} = require('./expect');
const {PROPERTY, key} = require('./points');

const POINT = {
  name: 'Value',
  object: [2, 1],
  property: PROPERTY.presentValue,
  type: 'REAL'
};
const NETWORK = 2;

async function farDevice(site, stack) {
  const machine = await site.machine(false, 'far');
  return site.deviceOn(machine, stack, {
    properties: {[key(POINT.object, POINT.property)]: {real: 7.5}},
    broadcast: machine.broadcast,
  });
}

async function finds(link, device, place, ...how) {
  const id = device.settings.deviceId;
  const {records} =
      await link.tool('discover', '--interface', 'eth0', '--timeout', 2, '--from', id, '--to', id, ...how);
  equal(`discover ${how.join(' ')}`, records.map(({address, network, mac}) => ({address, network, mac})), [place]);
}

async function examines(link, route) {
  const {records} = await link.tool('--interface', 'eth0', 'doctor');
  const behindBus = records.slice(records.findIndex(({step}) => step === 'UDP port'));
  const bad = behindBus.filter(({status}) => status === 'failed' || status === 'warning');
  equal('what doctor finds', bad, []);
  const {detail} = records.find(({step}) => step === 'route');
  holds(`the route: ${detail}`, detail.includes(route));
}

const hex = (machine) => [...machine.address.split('.').map(Number), 0xba, 0xc0]
                             .map((octet) => octet.toString(16).padStart(2, '0'))
                             .join('');

// Only one of the stacks answers to where a routed request came from.
async function routed(site) {
  const device = await farDevice(site, '@bacnet-js/client');
  const router = await site.router();
  const DeviceId = device.settings.deviceId;
  const ways = [
    {Mode: 1, Ip: router, Network: NETWORK, DeviceId},
    {Mode: 1, Ip: router, Network: NETWORK, DeviceId, MacLen: 6, VirtualMac: `${device.machine.address}:47808`},
    {Network: NETWORK, DeviceId},
  ];
  let link;
  for (const elements of ways) {
    link = await site.link(elements, [POINT]);
    equal(JSON.stringify(elements), await link.value('Value'), 7.5);
    await examines(link, `leads to network ${NETWORK}`);
  }
  const place = {address: `${router}:47808`, network: NETWORK, mac: hex(device.machine)};
  await finds(link, device, place);
  await finds(link, device, place, '--router', router, '--network', NETWORK);
}

async function foreign(site, stack) {
  const device = await farDevice(site, stack);
  const bbmd = await site.bbmd();
  const link = await site.link({Mode: 2, Ip: bbmd, DeviceId: device.settings.deviceId}, [POINT]);
  equal('read', await link.value('Value'), 7.5);
  await finds(link, device, {address: `${device.machine.address}:47808`, network: null, mac: null}, '--bbmd', bbmd);
  await examines(link, 'registered there as a foreign device');
}

module.exports = {
  routed,
  foreign : [['a device beyond a BBMD', foreign]]
};
