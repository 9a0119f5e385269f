// Reading and writing values at a foreign device.
'use strict';

const {allEqual, equal, holds} = require('./expect');
const {valueOf} = require('./panel');
const {PROPERTY, READ, WRITE, key, propertiesOf} = require('./points');

const values = (results) =>
    Object.fromEntries(Object.entries(results.of).map(([name, result]) => [name, valueOf(result)]));
const wantedOf = (points) => Object.fromEntries(points.map((point) => [point.name, point.reads]));

async function everyType(site, stack) {
  const device = await site.device(stack, {properties: propertiesOf([...READ, ...WRITE])});
  for (const EnableReadPropm of [true, false]) {
    const link = await site.linkTo(device, {EnableReadPropm}, READ);
    allEqual(values(await link.read()), wantedOf(READ));
  }
}

// Ten good points, one of an object and one of a property that are not there.
async function badPoint(site, stack) {
  const good = READ.filter((point) => point.type === 'REAL' && typeof point.reads === 'number')
                   .concat(READ.filter((point) => point.type === 'BOOL'))
                   .slice(0, 8);
  const bad = [
    {name: 'NoObject', object: [0, 99], property: 85, type: 'REAL', reads: {code: 1031}},
    {name: 'NoProperty', object: [0, 1], property: 65, type: 'REAL', reads: {code: 1032}}
  ];
  const points = [...good.slice(0, 4), ...bad, ...good.slice(4)];
  const device = await site.device(stack, {properties: propertiesOf(READ)});
  const link = await site.linkTo(device, {}, points);
  allEqual(values(await link.read()), wantedOf(points));
  holds('it was read in a batch', device.all('readMultiple').length > 0);
}

async function noReadMultiple(site, stack) {
  const points = READ.slice(0, 6);
  const device = await site.device(stack, {properties: propertiesOf(READ), hasReadMultiple: false});
  const link = await site.linkTo(device, {}, points);
  for (let time = 0; time < 3; time += 1) allEqual(values(await link.read()), wantedOf(points));
  holds('ReadPropertyMultiple tried more than once', device.all('readMultiple').length <= 1);
}

async function writes(site, stack) {
  const [setpoint] = WRITE;
  const more = [
    {...setpoint, name: 'Release', isRelease: true},
    {...setpoint, name: 'Ten', property: PROPERTY.priorityArray, index: 10, holds: undefined},
    {...setpoint, name: 'ReleaseTen', property: PROPERTY.priorityArray, index: 10, isRelease: true, holds: undefined},
    {name: 'Input', object: [0, 1], property: PROPERTY.presentValue, type: 'REAL', holds: {real: 1}},
  ];
  const points = [...WRITE, ...more];
  const device =
      await site.device(stack, {properties: propertiesOf(points), isReadOnly: [key([0, 1], PROPERTY.presentValue)]});
  const link = await site.linkTo(device, {}, points);

  // What the device got of one write, and the code of it.
  const write = async (name, text) => {
    const before = device.events.length;
    const {of} = await link.write(name, text);
    const got = device.events.slice(before).filter((event) => event.event === 'write');
    equal(`${name}: writes`, got.length, 1);
    const {object, property, index, values: written, priority} = got[0];
    return {code: of[name]?.code, object, property, index, values: written, priority};
  };
  for (const {name, object, property, written, gets, priority} of WRITE) {
    equal(name, await write(name, written), {code: 0, object, property, index: null, values: [gets], priority});
  }
  const sent = (value, priority) =>
      ({code: 0, object: setpoint.object, property: PROPERTY.presentValue, index: null, values: [value], priority});
  equal('priority 10', await write('Ten', '30'), sent({real: 30}, 10));
  equal('slot 10', await link.value('Ten'), 30);
  equal('the higher priority', await link.value('Setpoint'), 22.5);
  equal('release', await write('Release', '0'), sent({null: null}, 8));
  equal('the lower priority', await link.value('Setpoint'), 30);
  equal('release of 10', await write('ReleaseTen', '0'), sent({null: null}, 10));
  equal('an empty slot', await link.value('Ten'), {code: 22});
  equal('the default', await link.value('Setpoint'), 18);
  equal('refused', (await write('Input', '5')).code, 1040);
}

// Three properties of one object at once, by WritePropertyMultiple or, where the device does not know that, one by one.
async function writesTogether(site, stack) {
  const {presentValue, relinquishDefault, covIncrement} = PROPERTY;
  const written = [['Value', presentValue, 8], ['Default', relinquishDefault, 16], ['Increment', covIncrement, 16]];
  const points = written.map(([name, property]) => ({name, object: [2, 1], property, type: 'REAL', holds: {real: 0}}));
  for (const hasWriteMultiple of [true, false]) {
    const device = await site.device(stack, {properties: propertiesOf(points), hasWriteMultiple});
    const link = await site.linkTo(device, {EnableWritePropm: true}, points);
    const {of} = await link.write('Value', 5, 'Default', 5, 'Increment', 5);
    equal('codes', Object.values(of).map((each) => each.code), [0, 0, 0]);
    equal('requests with several', device.all('writeMultiple').length, hasWriteMultiple ? 1 : 0);
    equal(
        'what the device got',
        device.all('write').map(({property, values: got, priority}) => [property, got, priority || 16]),
        written.map(([, property, priority]) => [property, [{real: 5}], priority]));
    allEqual(values(await link.read()), {Value: 5, Default: 5, Increment: 5});
  }
}

module.exports = [
  ['every data type', everyType],
  ['a batch with bad points', badPoint],
  ['a device without ReadPropertyMultiple', noReadMultiple],
  ['writes, priorities, release', writes],
  ['a batch of writes', writesTogether],
];
