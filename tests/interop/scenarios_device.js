// A foreign client at our virtual device.
'use strict';

const {equal, holds} = require('./expect');
const {PROPERTY} = require('./points');

const {presentValue, priorityArray, description, units} = PROPERTY;
const POINTS = [
  {name: 'Temp', object: [0, 1], property: presentValue, type: 'REAL'},
  {name: 'Setpoint', object: [2, 1], property: presentValue, type: 'REAL'},
  {name: 'Switch', object: [5, 1], property: presentValue, type: 'BOOL'},
  {name: 'Mode', object: [19, 1], property: presentValue, type: 'UDINT'},
  {name: 'Text', object: [40, 1], property: presentValue, type: 'STRING'},
];
const id = ([type, instance]) => ({type, instance});
const SETPOINT = id([2, 1]);

async function fails(what, promise, wanted) {
  const message = await promise.then(() => 'no error', (error) => error.message);
  holds(`${what}: ${message}`, wanted.test(message));
}

async function served(site, stack) {
  const deviceId = site.deviceId();
  const address = await site.virtualDevice(await site.link({DeviceId: deviceId}, POINTS));
  const at = {address};
  const client = await site.client(stack);

  await client.call('whoIs', [{lowLimit: deviceId, highLimit: deviceId}]);
  const found = await client.told('I-Am', 5, (event) => event.event === 'iAm' && event.deviceId === deviceId);
  equal('it is at', found.from, address);
  holds(`its largest APDU ${found.maxApdu}`, found.maxApdu === 1476);

  const read = async (object, property, options = {}) =>
      (await client.call('readProperty', [at, object, property, options])).values;
  equal('name', await read(SETPOINT, 77), [{text: 'Setpoint'}]);
  equal('slots', (await read(SETPOINT, priorityArray)).length, 16);

  const write = (object, property, value, priority) =>
      client.call('writeProperty', [at, object, property], {values: [value], options: {priority}});
  await write(SETPOINT, presentValue, {real: 21.5}, 8);
  await write(SETPOINT, presentValue, {real: 30}, 12);
  equal('written', await read(SETPOINT, presentValue), [{real: 21.5}]);
  await write(SETPOINT, presentValue, {null: null}, 8);
  equal('released', await read(SETPOINT, presentValue), [{real: 30}]);
  equal('its slot', await read(SETPOINT, priorityArray, {arrayIndex: 12}), [{real: 30}]);
  await write(SETPOINT, presentValue, {null: null}, 12);
  await write(id([5, 1]), presentValue, {enumerated: 1}, 8);
  await write(id([19, 1]), presentValue, {unsigned: 2}, 8);
  await write(id([40, 1]), presentValue, {text: 'Über Süd'}, 8);

  const wanted = [
    [[5, 1], [presentValue]], [[19, 1], [presentValue]], [[40, 1], [presentValue, description]], [[2, 1], [units, 9999]]
  ];
  const request = wanted.map(
      ([object, properties]) =>
          ({objectId: id(object), properties: properties.map((each) => ({id: each, index: 0xffffffff}))}));
  const {values: answers} = await client.call('readPropertyMultiple', [at, request, {}]);
  const first = answers.slice(0, 3).map((each) => each.values[0].value);
  equal('several', first, [[{enumerated: 1}], [{unsigned: 2}], [{text: 'Über Süd'}]]);
  const [, missing] = answers[3].values;
  holds(`a property that is not there: ${JSON.stringify(missing)}`, /32/.test(JSON.stringify(missing.value)));

  await fails('unknown object', read(id([2, 77]), presentValue), /Code:31\b|UNKNOWN_OBJECT/);
  await fails('unknown property', read(SETPOINT, 9999), /Code:32\b|UNKNOWN_PROPERTY/);
  await fails('write of an input', write(id([0, 1]), presentValue, {real: 1}), /Code:40\b|WRITE_ACCESS_DENIED/);
  await fails('write of another type', write(id([5, 1]), presentValue, {real: 1}, 8), /Code:9\b|INVALID_DATA_TYPE/);

  for (const isConfirmed of [false, true]) {
    const processId = isConfirmed ? 8 : 7;
    const since = client.events.length;
    await client.call('subscribeCov', [at, SETPOINT, processId, false, isConfirmed, 60, {}]);
    const fits = (value) => (event) => event.event === 'notification' && event.processId === processId &&
        event.isConfirmed === isConfirmed &&
        event.properties.some(
            ([property, [held]]) => property === presentValue && (value === undefined || held.real === value));
    await client.told('a first notification', 5, fits(), since);
    const value = isConfirmed ? 25 : 24;
    await write(SETPOINT, presentValue, {real: value}, 8);
    await client.told(`a notification of ${value}`, 5, fits(value), since);
    await client.call('subscribeCov', [at, SETPOINT, processId, true, false, 0, {}]);
  }
}

module.exports = [['a client at bacnet-device', served]];
