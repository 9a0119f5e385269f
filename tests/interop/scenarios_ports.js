// One UDP port for several helpers.
'use strict';

const {equal} = require('./expect');
const {PROPERTY, key} = require('./points');

const POINT = {
  name: 'Value',
  object: [2, 1],
  property: PROPERTY.presentValue,
  type: 'REAL',
  holds: {real: 1}
};
const holding = (value) => ({[key(POINT.object, POINT.property)]: {real: value}});

// Two links with a device each, and a third with the first one's device; which ports they use, the capture tells.
async function sharedPort(site, stacks) {
  const first = await site.device(stacks[0], {properties: holding(1)});
  const second = await site.device(stacks[1], {properties: holding(2)});
  const links = [];
  for (const device of [first, second, first]) {
    links.push(await site.linkTo(device, {}, [POINT]));
  }
  for (let round = 0; round < 3; round += 1) {
    equal('all at once', await Promise.all(links.map((link) => link.value('Value'))), [1, 2, 1]);
  }
  site.sharing = {panel: site.panelMachine.address, first: first.machine.address, second: second.machine.address};
}

// By the capture: each device has been asked from the standard port, the shared one from another port as well.
function judgePorts(frames, {panel, first, second}) {
  const portsTo =
      (device) => [...new Set(frames.filter((frame) => frame.source === panel && frame.to === `${device}:47808`)
                                  .map((frame) => frame.from.split(':')[1]))];
  const [toFirst, toSecond] = [portsTo(first), portsTo(second)];
  equal('ports towards the first device', [toFirst.length, toFirst.includes('47808')], [2, true]);
  equal('ports towards the second device', toSecond, ['47808']);
}

module.exports = {
  sharedPort,
  judgePorts
};
