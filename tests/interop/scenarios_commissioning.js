// A plant without a project file: found, made into a project, checked, read, written, released, and checked again after
// something in it has changed.
'use strict';

const fs = require('fs');
const path = require('path');

const {equal, holds} = require('./expect');
const {runHost} = require('./panel');
const {DEVICE, PROPERTY, key} = require('./points');

const {presentValue, statusFlags, units} = PROPERTY;
const OBJECT_LIST = 76;
const NAME = 77;
const DEGREES = 62;

// What each of our own devices has.
const OWN = [
  {name: 'Temp', object: [0, 1], property: presentValue, type: 'REAL'},
  {name: 'Setpoint', object: [2, 1], property: presentValue, type: 'REAL'},
  {name: 'Pump', object: [4, 1], property: presentValue, type: 'BOOL'},
  {name: 'Mode', object: [19, 1], property: presentValue, type: 'UDINT'},
  {name: 'Text', object: [40, 1], property: presentValue, type: 'STRING'},
];

const FOREIGN = [
  {name: 'Zulufttemperatur Süd', object: [0, 1], holds: {real: 21.5}},
  {name: 'Setpoint', object: [2, 1], holds: {real: 20}},
  {name: 'Pump', object: [5, 1], holds: {enumerated: 0}},
  {name: 'Stufe', object: [19, 1], holds: {unsigned: 2}},
];

function foreignProperties(deviceId) {
  const properties = {};
  for (const {name, object, holds: value} of FOREIGN) {
    properties[key(object, presentValue)] = value;
    properties[key(object, NAME)] = {text: name};
    properties[key(object, statusFlags)] = {bits: '0000'};
  }
  properties[key([0, 1], units)] = {enumerated: DEGREES};
  properties[key([DEVICE, deviceId], OBJECT_LIST)] =
      [[DEVICE, deviceId], ...FOREIGN.map(({object}) => object)].map((object) => ({object}));
  return properties;
}

// hmi-host on the panel, on a project directory of its own.
class Commissioning {
  constructor(machine, programs, folder, firstLink) {
    Object.assign(this, {machine, programs, folder, firstLink});
    fs.mkdirSync(folder, {recursive: true});
    fs.copyFileSync(path.join(programs, 'BACnet_Velix'), path.join(folder, 'BACnet_Velix'));
  }

  file(name) { return path.join(this.folder, name); }

  host(...args) { return runHost(this, '--interface', 'eth0', ...args); }

  // The same where nothing may go wrong.
  async well(...args) {
    const {status, records} = await this.host(...args);
    if (status !== 0) {
      const said = fs.readFileSync(this.file('hmi-host.log'), 'utf8').trim().split('\n').slice(-3).join(' / ');
      throw new Error(`hmi-host ${args.join(' ')}: status ${status}, ${JSON.stringify(records)}, ${said}`);
    }
    return records;
  }

  onLink(number, ...args) { return this.well('--link', number, ...args); }
}

// Writes a set point, sees that it is commanded there, and gives it up again.
async function command(panel, link, isForeign) {
  const [written] = await panel.onLink(link, 'write', 'Setpoint=23.5');
  equal('written', written.code, 0);
  const [read] = await panel.onLink(link, 'read', 'Setpoint');
  equal('read back', read.value, 23.5);
  const slots = await panel.onLink(link, 'priorities', 'Setpoint');
  equal(
      'who commands', slots.filter(({active}) => active).map(({priority, value}) => [priority, value]), [[8, '23.5']]);
  await panel.onLink(link, 'release', 'Setpoint');
  const [released] = await panel.onLink(link, 'read', 'Setpoint');
  equal('released', released.value, isForeign ? 20 : 0);
}

async function commissioned(site, stack) {
  const ids = [site.deviceId(), site.deviceId(), site.deviceId(), site.deviceId()];
  const addresses = [];
  for (const DeviceId of ids.slice(0, 3)) addresses.push(await site.virtualDevice(await site.link({DeviceId}, OWN)));
  const foreign = await site.device(stack, {deviceId: ids[3], properties: foreignProperties(ids[3])});
  addresses.push(foreign.machine.address);
  const firstLink = 1000 + 10 * site.links.length;
  const panel = new Commissioning(
      await site.panel(), site.programs, path.join(site.folder, `commissioning_${firstLink}`), firstLink);

  const found = await panel.well('discover', '--from', ids[0], '--to', ids[3], '--timeout', 2);
  equal(
      'found', found.map(({device, address}) => [device, address]),
      ids.map((id, place) => [id, `${addresses[place]}:47808`]));

  await panel.well('objects', ids[3], '--timeout', 1, '--save', panel.file('foreign.json'));
  await panel.well(
      '--link', firstLink, 'make-project', '--with-release', ...addresses.slice(0, 3), panel.file('foreign.json'));
  await panel.well('check', '--strict');
  const links = await panel.well('links');
  equal('links', links.map(({link, deviceId}) => [link, deviceId]), ids.map((id, place) => [firstLink + place, id]));

  const report = panel.file('first.csv');
  equal('differences', await panel.well('check', '--live', '--report', report, '--report', panel.file('first.md')), []);
  for (const [place, {link, points}] of links.entries()) {
    const values = await panel.onLink(link, '--string-bytes', 64, 'read', '--all');
    equal(`points read of link ${link}`, values.filter(({code}) => code === 0).length, points);
    await command(panel, link, place === 3);
  }
  const got = foreign.all('write').map(({values, priority}) => [values, priority]);
  equal('what the foreign device got', got, [[[{real: 23.5}], 8], [[{null: null}], 8]]);

  equal(
      'the objects are the same',
      await panel.well('objects', ids[3], '--timeout', 1, '--compare', panel.file('foreign.json')), []);
  foreign.set(key([2, 1], NAME), {text: 'Sollwert'});
  foreign.set(key([0, 1], presentValue), {text: 'kaputt'});
  const renamed = await panel.well('objects', ids[3], '--timeout', 1, '--compare', panel.file('foreign.json'));
  equal(
      'what has become of the objects', renamed.map(({change, was, is}) => [change, was, is]),
      [['renamed', 'Setpoint', 'Sollwert']]);
  const {status, records} = await panel.host('check', '--live', '--since', report);
  equal('status of a check that finds something', status, 7);
  equal(
      'what is new', records.map(({change, link, where, check}) => [change, link, where, check]),
      [['new', firstLink + 3, 'Zulufttemperatur Süd', 'type']]);
  holds(
      'the report to hand over has each point',
      links.every(({link}) => fs.readFileSync(panel.file('first.md'), 'utf8').includes(`| ${link} | 1 | `)));
}

module.exports = [['a plant is commissioned', commissioned]];
