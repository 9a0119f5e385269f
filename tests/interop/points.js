// The points that both foreign devices have: what the device holds, and what a host reads of it.
'use strict';

const DEVICE = 8;
const PROPERTY = {
  presentValue: 85,
  priorityArray: 87,
  statusFlags: 111,
  outOfService: 81,
  units: 117,
  relinquishDefault: 104,
  covIncrement: 22,
  stateText: 110,
  description: 28,
  profile: 512
};
const {presentValue, priorityArray, statusFlags, outOfService, units, stateText, description, profile} = PROPERTY;

const AI = 0, AV = 2, BI = 3, BV = 5, MSV = 19, BITS = 39, TEXT = 40, DATE = 42, INTEGER = 45, DOUBLE = 46, OCTETS = 47,
      POSITIVE = 48, TIME = 50;

const key = (object, property) => [...object, ...(property === undefined ? [] : [property])].join(',');

const SIGNED_EDGES = [-1, 0, 127, -128, 128, -129, 32767, -32768, 32768, 8388607, -8388608, 2147483647, -2147483648];

const STATES = [{text: 'Aus'}, {text: 'Lüften'}, {text: 'Kühlen'}];

// name, object, property, data type, what the device holds, what is read: a value, or { code }.
const READ = [
  ['Real', [AI, 1], presentValue, 'REAL', {real: 21.5}, 21.5],
  ['Real.Negative', [AI, 2], presentValue, 'REAL', {real: -40.25}, -40.25],
  ['Real.Rounded', [AI, 3], presentValue, 'UDINT', {real: 2.5}, 3],
  ['Real.TooLarge', [AI, 4], presentValue, 'UDINT', {real: 1e20}, {code: 23}],
  ['Real.Text', [AI, 1], presentValue, 'STRING', {real: 21.5}, '21.5'],
  ['Double', [DOUBLE, 1], presentValue, 'DOUBLE', {double: Math.PI}, Math.PI],
  ['Unsigned', [POSITIVE, 1], presentValue, 'UDINT', {unsigned: 4294967295}, 4294967295],
  ['Unsigned.Small', [POSITIVE, 2], presentValue, 'UDINT', {unsigned: 200}, 200],
  ...SIGNED_EDGES.map(
      (edge, at) => [`Signed.${at}`, [INTEGER, at + 1], presentValue, 'STRING', {signed: edge}, String(edge)]),
  ['Signed.Words', [INTEGER, 1], presentValue, 'UDINT', {signed: -1}, 4294967295],
  ['Boolean', [AI, 1], outOfService, 'BOOL', {boolean: true}, true],
  ['Boolean.False', [AI, 2], outOfService, 'BOOL', {boolean: false}, false],
  ['Enumerated', [BI, 1], presentValue, 'BOOL', {enumerated: 1}, true],
  ['Enumerated.Units', [AI, 1], units, 'UDINT', {enumerated: 62}, 62],
  ['Flag.Alarm', [AI, 1], statusFlags, 'BOOL', {bits: '0101'}, false, {bit: 0}],
  ['Flag.Fault', [AI, 1], statusFlags, 'BOOL', {bits: '0101'}, true, {bit: 1}],
  ['Flag.OutOfService', [AI, 1], statusFlags, 'BOOL', {bits: '0101'}, true, {bit: 3}],
  ['Flag.Beyond', [AI, 1], statusFlags, 'BOOL', {bits: '0101'}, {code: 23}, {bit: 4}],
  ['Bits', [BITS, 1], presentValue, 'STRING', {bits: '1000000001'}, '1000000001'],
  ['Text.Utf8', [TEXT, 1], presentValue, 'STRING', {text: 'Lüftung Süd € 5'}, 'Lüftung Süd € 5'],
  ['Text.Latin1', [TEXT, 2], presentValue, 'STRING', {text: 'Kühlraum Ä', charset: 'latin-1'}, 'Kühlraum Ä'],
  ['Text.Ucs2', [TEXT, 3], presentValue, 'STRING', {text: 'Größe Ω', charset: 'ucs-2'}, 'Größe Ω'],
  ['Text.Empty', [TEXT, 4], presentValue, 'STRING', {text: ''}, ''],
  ['Text.Number', [TEXT, 1], presentValue, 'REAL', {text: 'Lüftung Süd € 5'}, {code: 23}],
  ['Date', [DATE, 1], presentValue, 'STRING', {date: [2026, 7, 29]}, '2026-07-29'],
  ['Time', [TIME, 1], presentValue, 'STRING', {time: [13, 5, 9, 250]}, '13:05:09.25'],
  ['Object', [AI, 1], profile, 'STRING', {object: [AV, 4194302]}, '2,4194302'],
  ['Octets', [OCTETS, 1], presentValue, 'STRING', {octets: '00ff0a7f'}, '00ff0a7f'],
  ['Null', [AV, 1], priorityArray, 'REAL', null, {code: 22}, {index: 3}],
  ['States.Count', [MSV, 1], stateText, 'UDINT', STATES, 3, {index: 0}],
  ['States', [MSV, 1], stateText, 'STRING', STATES, 'Lüften', {index: 2}],
  ['States.Beyond', [MSV, 1], stateText, 'STRING', STATES, {code: 1042}, {index: 4}],
  ['States.List', [MSV, 1], stateText, 'STRING', STATES, 'Aus,Lüften,Kühlen'],
  ['States.Number', [MSV, 1], stateText, 'UDINT', STATES, {code: 23}],
].map(([name, object, property, type, holds, reads, more]) => ({name, object, property, type, holds, reads, ...more}));

// name, object, property, data type, what the device held before, what the host writes, what the device gets, priority.
// 16 is what both stacks say for "none".
const WRITE = [
  ['Setpoint', [AV, 1], presentValue, 'REAL', {real: 18}, '22.5', {real: 22.5}, 8],
  ['Switch', [BV, 1], presentValue, 'BOOL', {enumerated: 0}, 'true', {enumerated: 1}, 8],
  ['Mode', [MSV, 1], presentValue, 'UDINT', {unsigned: 1}, '3', {unsigned: 3}, 8],
  ['Fine', [DOUBLE, 2], presentValue, 'DOUBLE', {double: 0}, '-2.718281828459045', {double: -2.718281828459045}, 8],
  ['Offset', [INTEGER, 20], presentValue, 'REAL', {signed: 5}, '-300', {signed: -300}, 8],
  ['Counter', [POSITIVE, 3], presentValue, 'UDINT', {unsigned: 5}, '4000000000', {unsigned: 4000000000}, 8],
  ['Message', [TEXT, 5], presentValue, 'STRING', {text: ''}, 'Zulüfter', {text: 'Zulüfter'}, 8],
  ['Mask', [BITS, 2], presentValue, 'STRING', {bits: '000000'}, '010011', {bits: '010011'}, 8],
  ['Key', [OCTETS, 2], presentValue, 'STRING', {octets: '00'}, '0a0bff', {octets: '0a0bff'}, 8],
  ['Holiday', [DATE, 2], presentValue, 'STRING', {date: [2026, 1, 1]}, '2026-05-14', {date: [2026, 5, 14]}, 8],
  ['Start', [TIME, 2], presentValue, 'STRING', {time: [0, 0, 0, 0]}, '06:30:00.00', {time: [6, 30, 0, 0]}, 8],
  ['Out', [AV, 1], outOfService, 'BOOL', {boolean: false}, 'true', {boolean: true}, 16],
  ['Unit', [AV, 1], units, 'UDINT', {enumerated: 62}, '64', {enumerated: 64}, 16],
  ['Label', [AV, 1], description, 'STRING', {text: 'alt'}, 'Büro', {text: 'Büro'}, 16],
  ['Own', [AV, 1], profile, 'REAL', {unsigned: 7}, '9', {unsigned: 9}, 16],
].map(([name, object, property, type, holds, written, gets,
        priority]) => ({name, object, property, type, holds, written, gets, priority}));

// What a device with these points holds.
function propertiesOf(points) {
  const held = {};
  for (const point of points)
    if (point.holds) held[key(point.object, point.property)] = point.holds;
  return held;
}

module.exports = {
  DEVICE,
  PROPERTY,
  READ,
  WRITE,
  key,
  propertiesOf
};
