// Subscriptions, and devices that fall silent, die, or come back with other values or at another address.
'use strict';

const {isDeepStrictEqual} = require('util');

const {equal, holds} = require('./expect');
const {PROPERTY, key, propertiesOf} = require('./points');
const {pause, until} = require('./site');
const {ALL} = require('./stack');

const TEMPERATURE = {
  name: 'Temperature',
  object: [0, 30],
  property: PROPERTY.presentValue,
  type: 'REAL',
  holds: {real: 20}
};
// So many before it that its turn to be looked at comes late.
const OTHERS = Array.from({length: 29}, (_, at) => ({...TEMPERATURE, name: `Other${at}`, object: [0, at + 1]}));
const PLACE = key(TEMPERATURE.object, TEMPERATURE.property);
const LIFETIME = 300;
const ANSWERED = 2.5;
const BACK = 10;

const temperatures = (value) => ({...propertiesOf(OTHERS), [PLACE]: {real: value}});
const comes = (link, value, seconds) =>
    until(`${value} is read`, seconds, async () => (await link.value('Temperature')) === value);
const readsOf = (device) => device.all('read').length + device.all('readMultiple').length;

async function subscription(site, stack, EnableSCOV) {
  const device = await site.device(stack, {properties: temperatures(20)});
  const link = await site.linkTo(device, {EnableSCOV}, [...OTHERS, TEMPERATURE]);
  equal('first value', (await link.read()).of.Temperature.value, 20);
  const isOf = (name) => (event) => event.event === name && isDeepStrictEqual(event.object, TEMPERATURE.object);
  const subscribed = await device.told('a subscription', 5, isOf('subscribe'));
  equal('lifetime', subscribed.lifetime, LIFETIME);
  equal('confirmed', subscribed.isConfirmed, EnableSCOV === 2);
  await device.told('a notification taken', 5, isOf('notified'));

  const before = readsOf(device);
  for (const value of [21, 22.5, -3]) {
    const told = device.events.length;
    device.set(PLACE, {real: value});
    await device.told('a notification taken', 5, isOf('notified'), told);
    await comes(link, value, 1);
  }
  holds(
      `values came by polling: ${readsOf(device) - before} reads`,
      readsOf(device) - before <= 2);  // what is compared every 10 s
  equal('notifications that failed', device.all('notification failed'), []);
  return {device, link, isOf};
}

async function unconfirmed(site, stack) { await subscription(site, stack, 1); }

// As both stacks notify unless told otherwise: with an index that no property has.
async function strangeIndex(site, stack) {
  const device = await site.device(stack, {properties: temperatures(20), notifiedIndex: ALL});
  const link = await site.linkTo(device, {EnableSCOV: 1}, [TEMPERATURE]);
  for (const value of [20, 21, 22]) {
    device.set(PLACE, {real: value});
    await comes(link, value, 2);
  }
  holds('it was subscribed', device.all('subscribe').length > 0);
}

async function confirmed(site, stack) {
  const {device, link, isOf} = await subscription(site, stack, 2);
  await device.end();
  device.settings.properties = temperatures(77);
  await device.start();
  const started = Date.now();
  await comes(link, 77, BACK);
  const right = (Date.now() - started) / 1000;
  await device.told('a subscription after the restart', BACK, isOf('subscribe'));
  const subscribed = (Date.now() - started) / 1000;
  device.set(PLACE, {real: 78});
  await comes(link, 78, 2);
  return `right value after ${right.toFixed(1)} s, subscribed after ${subscribed.toFixed(1)} s`;
}

async function silence(site, stack) {
  const points = Array.from(
      {length: 11},
      (_, at) => (
          {name: `Point${at}`, object: [0, at + 1], property: PROPERTY.presentValue, type: 'REAL', holds: {real: at}}));
  const properties = Object.fromEntries(points.map((point) => [key(point.object, point.property), point.holds]));
  const device = await site.device(stack, {properties});
  const other = await site.device(stack, {properties: temperatures(1)});
  const link = await site.linkTo(device, {}, points);
  const unharmed = await site.linkTo(other, {}, [TEMPERATURE]);
  equal('before', (await link.read()).of.Point7.value, 7);
  equal('the other one before', await unharmed.value('Temperature'), 1);
  const usual = (await link.read()).seconds;  // most of it is hmi-host's start

  device.process.kill('SIGSTOP');
  const all = await link.read();
  holds(
      `eleven points took ${all.seconds.toFixed(1)} s, ${usual.toFixed(1)} s of it as ever`,
      all.seconds - usual < ANSWERED + 0.5);
  holds('eleven positive codes', Object.values(all.of).every((each) => each.code > 0));
  const one = await link.read('Point7');
  holds(`one point took ${one.seconds.toFixed(1)} s`, one.seconds - usual < ANSWERED + 0.5);
  const harm = await unharmed.read();
  equal('the other one meanwhile', harm.of.Temperature.value, 1);
  holds(`the other one took ${harm.seconds.toFixed(1)} s`, harm.seconds - usual < 1.5);

  await pause(4);  // until it is known to be silent
  const known = await link.read();
  holds(`eleven points known to be silent took ${known.seconds.toFixed(1)} s`, known.seconds - usual < 1.5);
  device.process.kill('SIGKILL');
  await device.end();
  await device.start();
  await until('it is read again', BACK, async () => (await link.read('Point7')).of.Point7.value === 7);
  return `eleven points ${(all.seconds - usual).toFixed(1)} s`;
}

async function moves(site, stack) {
  const device = await site.device(stack, {properties: temperatures(5)});
  const link = await site.linkTo(device, {Ip: ''}, [TEMPERATURE]);
  await comes(link, 5, BACK);
  await device.end();
  const moved = await site.device(stack, {deviceId: device.settings.deviceId, properties: temperatures(6)});
  holds('another address', moved.machine.address !== device.machine.address);
  await comes(link, 6, BACK);
}

module.exports = [
  ['subscription, unconfirmed', unconfirmed],
  ['subscription, notified with an index', strangeIndex],
  ['subscription, confirmed, and a restart', confirmed],
  ['a silent device, killed, back', silence],
  ['found by Who-Is, moved', moves],
];
