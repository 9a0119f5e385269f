// Plays every scenario with each foreign stack and judges what went over the network: run.js PROGRAMS FOLDER [PATTERN].
// To be started by scripts/interop, in namespaces of its own. Exit status: 0 when all passed.
'use strict';

const {once} = require('events');
const fs = require('fs');
const path = require('path');

const {judge, samples} = require('./judge');
const {Lan} = require('./lan');
const {CUT} = require('./provoke');
const {judgePorts, sharedPort} = require('./scenarios_ports');
const {foreign, routed} = require('./scenarios_routes');
const {Site, until} = require('./site');

const STACKS = ['node-bacnet', '@bacnet-js/client'];
const PER_STACK = [
  ...require('./scenarios_values'), ...require('./scenarios_changes'), ...require('./scenarios_device'),
  ...require('./scenarios_commissioning')
];
const SHOWN_REMARKS = 12;

const [programs, folder, pattern = ''] = process.argv.slice(2);
let passed = 0;
let failed = 0;

async function attempt(name, act) {
  const started = Date.now();
  try {
    const remark = await act();
    passed += 1;
    console.log(`ok    ${name} (${((Date.now() - started) / 1000).toFixed(1)} s${remark ? `, ${remark}` : ''})`);
  } catch (error) {
    failed += 1;
    console.log(`FAIL  ${name}: ${error.message}`);
  }
}

function judgeAll(capture, site, lan, provoker) {
  const ours = new Set(lan.machines.filter((machine) => machine.isOurs).map((machine) => machine.address));
  const {faults, remarks, frames, sent} = judge(capture, ours, provoker);
  remarks.slice(0, SHOWN_REMARKS).forEach((line) => console.log(`      ${line}`));
  if (remarks.length > SHOWN_REMARKS) console.log(`      and ${remarks.length - SHOWN_REMARKS} more`);
  samples(frames, ours).forEach((line) => console.log(`      ${line}`));
  if (site.sharing) judgePorts(frames, site.sharing);
  if (faults.length > 0) throw new Error(`${faults.length} faults\n      ${faults.join('\n      ')}`);
  if (sent === 0) throw new Error('no frame of ours was captured');
  return `${frames.length} frames, ${sent} of them ours, ${remarks.length} remarks`;
}

// What judges has to find what it is there for.
async function provoke(site, capture) {
  const machine = await site.machine();
  const {address} = await site.panel();
  const sender = machine.spawn(process.execPath, [path.join(__dirname, 'provoke.js'), address], {stdio: 'inherit'});
  await once(sender, 'exit');
  await until('all of it is captured', 10, () => fs.readFileSync(capture).includes(Buffer.from(CUT, 'hex')));
  return machine.address;
}

function judgeProvoked(capture, provoker) {
  const {faults} = judge(capture, new Set([provoker]));
  for (const fault of [/^repeated after 0\.1/, /^invoke id 1 again/, /^malformed/]) {
    if (!faults.some((each) => fault.test(each))) throw new Error(`${fault} was not found among: ${faults.join('; ')}`);
  }
}

async function main() {
  const lan = new Lan();
  const capture = path.join(folder, 'capture.pcapng');
  const endCapture = await lan.capture(capture);
  const site = new Site(lan, programs, folder);
  const play = async (name, act) => {
    if (!name.includes(pattern)) return;
    await attempt(name, act);
    await site.endScenario();
  };
  for (const [name, scenario] of PER_STACK) {
    for (const stack of STACKS) await play(`${name}: ${stack}`, () => scenario(site, stack));
  }
  for (const [name, scenario] of foreign) {
    for (const stack of STACKS) await play(`${name}: ${stack}`, () => scenario(site, stack));
  }
  await play('a device behind a router', () => routed(site));
  await play('one port for three links', () => sharedPort(site, STACKS));
  const provoker = await provoke(site, capture);
  await endCapture();
  await attempt('the judge finds what is provoked', () => judgeProvoked(capture, provoker));
  await attempt('frames, judged by tshark', () => judgeAll(capture, site, lan, provoker));
  console.log(`${passed} passed, ${failed} failed`);
  process.exit(failed === 0 ? 0 : 1);
}

main().catch((error) => {
  console.error(error);
  process.exit(1);
});
