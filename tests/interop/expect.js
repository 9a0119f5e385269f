// Comparisons that say what differs.
'use strict';

const {isDeepStrictEqual} = require('util');

const text = (value) => JSON.stringify(value);

function equal(what, got, wanted) {
  if (!isDeepStrictEqual(got, wanted)) throw new Error(`${what}: ${text(got)} instead of ${text(wanted)}`);
}

// Each of { name: value } as wanted; all that differ in one message.
function allEqual(got, wanted) {
  const differing = Object.keys(wanted).filter((name) => !isDeepStrictEqual(got[name], wanted[name]));
  if (differing.length > 0)
    throw new Error(differing.map((name) => `${name}: ${text(got[name])} instead of ${text(wanted[name])}`).join('; '));
}

function holds(what, isSo) {
  if (!isSo) throw new Error(what);
}

module.exports = {
  equal,
  allEqual,
  holds
};
