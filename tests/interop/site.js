// What a scenario is played on: machines, foreign devices and clients, links of the panel, and a bacnet-device.
'use strict';

const {once} = require('events');
const path = require('path');
const readline = require('readline');

const {Link} = require('./panel');

const pause = (seconds) => new Promise((resolve) => setTimeout(resolve, seconds * 1000));

// Asks until it holds; the result of `ask` then. `what` names it in the failure.
async function until(what, seconds, ask) {
  const end = Date.now() + seconds * 1000;
  for (;;) {
    const result = await ask();
    if (result) return result;
    if (Date.now() > end) throw new Error(`${what}: not within ${seconds} s`);
    await pause(0.05);
  }
}

// A foreign program, and what it has told so far.
class Foreign {
  events = [];

  constructor(machine, file, args) { Object.assign(this, {machine, command: [path.join(__dirname, file), ...args]}); }

  get commandLine() { return this.command; }

  async start() {
    this.process =
        this.machine.spawn(process.execPath, this.commandLine, {stdio: ['ignore', 'inherit', 'inherit', 'ipc']});
    this.process.on('message', (event) => this.events.push(event));
    this.events = [];
    await this.told('it is ready', 15, (event) => event.event === 'ready');
    return this;
  }

  // The first event told, since place `from` of them, that fits.
  told(what, seconds, fits, from = 0) {
    return until(what, seconds, () => {
      if (this.process.exitCode !== null)
        throw new Error(`${this.command[0]} ended with status ${this.process.exitCode}`);
      return this.events.slice(from).find(fits);
    });
  }

  all(name) { return this.events.filter((event) => event.event === name); }

  async end(signal = 'SIGKILL') {
    if (this.process.exitCode !== null || this.process.signalCode !== null) return;
    const ended = once(this.process, 'exit');
    this.process.kill(signal);
    await ended;
  }
}

class Device extends Foreign {
  constructor(machine, stack, settings) {
    super(machine, 'device.js', [stack]);
    this.settings = settings;
  }

  get commandLine() { return [...super.commandLine, JSON.stringify(this.settings)]; }

  set(place, value) { this.process.send({set: place, value}); }
}

class Client extends Foreign {
  number = 0;

  constructor(machine, stack) { super(machine, 'client.js', [stack]); }

  async call(call, args, written) {
    const number = (this.number += 1);
    this.process.send({number, call, args, written});
    const {result, error} = await this.told(call, 5, (event) => event.event === 'result' && event.number === number);
    if (error !== undefined) throw new Error(error);
    return result;
  }
}

class Site {
  links = [];
  started = [];

  constructor(lan, programs, folder) {
    Object.assign(this, {lan, programs, folder});
    this.nextAddress = 10;
    this.nextDeviceId = 1000;
  }

  machine(isOurs, network) { return this.lan.machine((this.nextAddress += 1), isOurs, network); }

  deviceId() { return (this.nextDeviceId += 1); }

  async panel() {
    this.panelMachine ??= await this.machine(true);
    return this.panelMachine;
  }

  // A foreign device on a machine of its own, and, unless it is told, with an instance number of its own.
  async device(stack, settings) { return this.deviceOn(await this.machine(), stack, settings); }

  deviceOn(machine, stack, settings) {
    return this.start(new Device(machine, stack, {deviceId: settings.deviceId ?? this.deviceId(), ...settings}));
  }

  start(program) {
    this.started.push(program);
    return program.start();
  }

  // A router between the two networks, and a BBMD on the far one; the address that the panel knows of each.
  async router() {
    const gateway = await this.lan.gateway();
    const {address, broadcast, far} = gateway;
    await this.start(
        new Foreign(gateway, 'relay.js', [JSON.stringify({kind: 'router', near: {address, broadcast}, far})]));
    return address;
  }

  async bbmd() {
    await this.lan.gateway();
    const machine = await this.machine(false, 'far');
    const {address, broadcast} = machine;
    await this.start(new Foreign(machine, 'relay.js', [JSON.stringify({kind: 'bbmd', far: {address, broadcast}})]));
    return address;
  }

  async client(stack) { return this.start(new Client(await this.machine(), stack)); }

  async link(elements, points) {
    const link = new Link(await this.panel(), this.programs, this.folder, this.links.length + 1, elements, points);
    this.links.push(link);
    return link;
  }

  linkTo(device, elements, points) {
    return this.link({Ip: device.machine.address, DeviceId: device.settings.deviceId, ...elements}, points);
  }

  // Our own virtual device, on a machine of its own, with the points of a link; no value moves by itself. Its address.
  async virtualDevice(link) {
    const machine = await this.machine(true);
    const args = ['--project', link.folder, '--link', String(link.number), '--address', machine.address, '--still'];
    const device =
        machine.spawn(path.join(this.programs, 'bacnet-device'), args, {stdio: ['ignore', 'pipe', 'inherit']});
    await once(readline.createInterface({input: device.stdout}), 'line');
    this.started.push({end: async () => device.kill()});
    return machine.address;
  }

  async endScenario() { await Promise.all(this.started.splice(0).map((each) => each.end())); }
}

module.exports = {
  Site,
  until,
  pause
};
