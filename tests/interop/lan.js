// Networks of their own: two bridges, and machines on them with an address each. They live in the namespace that the
// run was started in, so nothing sent here leaves it. A machine on both passes on what is not broadcast.
'use strict';

const {execFileSync, spawn} = require('child_process');
const {once} = require('events');
const readline = require('readline');

const NETWORKS = {
  lan: '192.0.2',
  far: '198.51.100'
};
const broadcastOf = (network) => `${NETWORKS[network]}.255`;
const BROADCAST = broadcastOf('lan');
const GATEWAY = 1;  // on both

const run = (...command) => execFileSync(command[0], command.slice(1), {stdio: ['ignore', 'pipe', 'pipe']});

class Machine {
  constructor(keeper, address, broadcast, isOurs) { Object.assign(this, {keeper, address, broadcast, isOurs}); }

  // Sets this machine's network up.
  ip(...command) { run('nsenter', `--net=/proc/${this.keeper.pid}/ns/net`, 'ip', ...command); }
  set(name, value) {
    run('nsenter', `--net=/proc/${this.keeper.pid}/ns/net`, 'sh', '-c', `echo ${value} >/proc/sys/net/ipv4/${name}`);
  }

  // Starts a program on this machine; what it is given besides is spawn's.
  spawn(command, args, options) {
    return spawn('nsenter', [`--net=/proc/${this.keeper.pid}/ns/net`, command, ...args], options);
  }
}

class Lan {
  machines = [];
  ports = 0;

  constructor() {
    run('ip', 'link', 'set', 'lo', 'up');
    for (const bridge of Object.keys(NETWORKS)) {
      run('ip', 'link', 'add', bridge, 'type', 'bridge');
      run('ip', 'link', 'set', bridge, 'up');
    }
  }

  // A machine at that number of a network. `isOurs`: it is a program of this project that sends from there.
  async machine(number, isOurs = false, network = 'lan') {
    const keeper = spawn(
        'unshare', ['--net', 'sh', '-c', 'echo made && exec sleep infinity'], {stdio: ['ignore', 'pipe', 'inherit']});
    await once(keeper.stdout, 'data');
    const machine = new Machine(keeper, `${NETWORKS[network]}.${number}`, broadcastOf(network), isOurs);
    machine.set('ip_local_port_range', '49152 65535');  // tshark takes the lower port's protocol
    machine.ip('link', 'set', 'lo', 'up');
    this.plug(machine, network, machine.address, 'eth0');
    if (number !== GATEWAY) machine.ip('route', 'add', 'default', 'via', `${NETWORKS[network]}.${GATEWAY}`);
    this.machines.push(machine);
    return machine;
  }

  plug(machine, network, address, device) {
    const port = `port${(this.ports += 1)}`;
    run('ip', 'link', 'add', port, 'type', 'veth', 'peer', 'name', device, 'netns', String(machine.keeper.pid));
    run('ip', 'link', 'set', port, 'master', network, 'up');
    machine.ip('addr', 'add', `${address}/24`, 'broadcast', broadcastOf(network), 'dev', device);
    machine.ip('link', 'set', device, 'up');
  }

  // The machine on both networks.
  async gateway() {
    if (this.joining) return this.joining;
    this.joining = await this.machine(GATEWAY);
    const far = {address: `${NETWORKS.far}.${GATEWAY}`, broadcast: broadcastOf('far')};
    this.plug(this.joining, 'far', far.address, 'eth1');
    this.joining.set('ip_forward', 1);
    return Object.assign(this.joining, {far});
  }

  // Records every IPv4 datagram of the first network in `file` until the returned operation is called.
  async capture(file) {
    const recorder =
        spawn('dumpcap', ['-q', '-i', 'lan', '-f', 'ip', '-w', file], {stdio: ['ignore', 'ignore', 'pipe']});
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
