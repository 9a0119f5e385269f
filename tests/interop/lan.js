// A network of its own: a bridge, and machines on it with an address each. It lives in the namespace that the run was
// started in, so nothing sent here leaves it.
'use strict';

const {execFileSync, spawn} = require('child_process');
const {once} = require('events');
const readline = require('readline');

const BRIDGE = 'lan';
const BROADCAST = '192.0.2.255';

const run = (...command) => execFileSync(command[0], command.slice(1), {stdio: ['ignore', 'pipe', 'pipe']});

class Machine {
  constructor(keeper, address, isOurs) { Object.assign(this, {keeper, address, isOurs}); }

  // Starts a program on this machine; what it is given besides is spawn's.
  spawn(command, args, options) {
    return spawn('nsenter', [`--net=/proc/${this.keeper.pid}/ns/net`, command, ...args], options);
  }
}

class Lan {
  machines = [];

  constructor() {
    run('ip', 'link', 'set', 'lo', 'up');
    run('ip', 'link', 'add', BRIDGE, 'type', 'bridge');
    run('ip', 'link', 'set', BRIDGE, 'up');
  }

  // A machine at 192.0.2.`number`. `isOurs`: it is a program of this project that sends from there.
  async machine(number, isOurs = false) {
    const address = `192.0.2.${number}`;
    const keeper = spawn(
        'unshare', ['--net', 'sh', '-c', 'echo made && exec sleep infinity'], {stdio: ['ignore', 'pipe', 'inherit']});
    await once(keeper.stdout, 'data');
    const port = `port${this.machines.length}`;
    run('ip', 'link', 'add', port, 'type', 'veth', 'peer', 'name', 'eth0', 'netns', String(keeper.pid));
    run('ip', 'link', 'set', port, 'master', BRIDGE, 'up');
    const inside = (...command) => run('nsenter', `--net=/proc/${keeper.pid}/ns/net`, 'ip', ...command);
    inside('link', 'set', 'lo', 'up');
    inside('addr', 'add', `${address}/24`, 'broadcast', BROADCAST, 'dev', 'eth0');
    inside('link', 'set', 'eth0', 'up');
    const machine = new Machine(keeper, address, isOurs);
    this.machines.push(machine);
    return machine;
  }

  // Records every IPv4 datagram of the network in `file` until the returned operation is called.
  async capture(file) {
    const recorder =
        spawn('dumpcap', ['-q', '-i', BRIDGE, '-f', 'ip', '-w', file], {stdio: ['ignore', 'ignore', 'pipe']});
    const lines = readline.createInterface({input: recorder.stderr});
    const said = [];
    await new Promise((resolve, reject) => {
      lines.on('line', (line) => {
        said.push(line);
        if (line.startsWith('File:')) resolve();
      });
      recorder.on('exit', () => reject(new Error(`dumpcap: ${said.join('; ')}`)));
    });
    return async () => {
      recorder.kill('SIGINT');
      if (recorder.exitCode === null) await once(recorder, 'exit');
    };
  }
}

module.exports = {
  Lan,
  BROADCAST
};
