// The panel: project directories, and hmi-host with the driver and its helper in them.
'use strict';

const fs = require('fs');
const path = require('path');

const escape = (text) => text.replace(/&/g, '&amp;').replace(/</g, '&lt;');

function symbol(point, at) {
  const name = point.index === undefined ? point.name : `${point.name}[${point.index}]`;
  const fields = {
    Name: escape(name),
    RegId: at + 1,
    ObjectType: point.object[0],
    Instance: point.object[1],
    PropID: point.property,
    DataType: point.type,
    BitNum: point.bit ?? 0,
    PriorityReset: point.isRelease ?? false,
  };
  return `<Symbol>${Object.entries(fields).map(([tag, held]) => `<${tag}>${held}</${tag}>`).join('')}</Symbol>`;
}

const valueOf = (result) => (result?.code === 0 ? result.value : {code: result?.code});

// Runs hmi-host; its status, and its records as it gives them in JSON. What it says goes to a log in the project's
// folder.
async function runHost({machine, programs, folder}, ...args) {
  const log = fs.openSync(path.join(folder, 'hmi-host.log'), 'a');
  const fixed = ['--project', `${folder}/`, '--format', 'json'];
  const host = machine.spawn(path.join(programs, 'hmi-host'), [...fixed, ...args].map(String), {
    stdio: ['ignore', 'pipe', log],
    env: {...process.env, SHELL: '/bin/sh'},
  });
  fs.closeSync(log);
  let output = '';
  host.stdout.setEncoding('utf8').on('data', (text) => (output += text));
  const status = await new Promise((resolve) => host.on('close', resolve));
  return {status, records: output.split('\n').filter(Boolean).map((line) => JSON.parse(line))};
}

// One link of a panel, with a project directory and a helper of its own.
class Link {
  constructor(machine, programs, folder, number, elements, points) {
    Object.assign(this, {machine, programs, number, points, folder: path.join(folder, `link_${number}`)});
    fs.mkdirSync(this.folder, {recursive: true});
    const link =
        Object.entries({EnableReadPropm: true, ...elements}).map(([tag, held]) => `<${tag}>${held}</${tag}>`).join('');
    fs.writeFileSync(
        path.join(this.folder, 'BACnetLabel.xml'),
        `<ProjectInfo><BACnet LinkID="${number}">${link}</BACnet>` +
            `<Symbols LinkID="${number}">\n${points.map(symbol).join('\n')}\n</Symbols></ProjectInfo>\n`);
    fs.copyFileSync(path.join(programs, 'BACnet_Velix'), path.join(this.folder, 'BACnet_Velix'));
  }

  // Runs hmi-host, which has to show something, and takes the time in seconds.
  async tool(...args) {
    const started = process.hrtime.bigint();
    const {status, records} = await runHost(this, '--link', this.number, '--string-bytes', 128, ...args);
    const seconds = Number(process.hrtime.bigint() - started) / 1e9;
    if (records.length === 0) throw new Error(`hmi-host ended with status ${status} and says: ${this.lastWords()}`);
    return {status, seconds, records};
  }

  // The same by point.
  async host(...args) {
    const {status, seconds, records} = await this.tool(...args);
    return {status, seconds, of: Object.fromEntries(records.map((each) => [this.points[each.regId - 1].name, each]))};
  }

  register(name) { return this.points.findIndex((each) => each.name === name) + 1; }

  // Reads the named points in one batch, or all.
  read(...names) {
    return this.host('read', ...(names.length > 0 ? names.map((each) => this.register(each)) : ['--all']));
  }

  // Writes pairs of name and value.
  write(...pairs) {
    const assignments = [];
    for (let at = 0; at < pairs.length; at += 2) assignments.push(`${this.register(pairs[at])}=${pairs[at + 1]}`);
    return this.host('write', ...assignments);
  }

  // A point's value, or { code }.
  async value(name) { return valueOf((await this.read(name)).of[name]); }

  lastWords() { return fs.readFileSync(path.join(this.folder, 'hmi-host.log'), 'utf8').trim().split('\n').pop(); }
}

module.exports = {
  Link,
  runHost,
  valueOf
};
