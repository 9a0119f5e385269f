// Judges a capture: what this project sent has to be without fault, of what others sent faults are only listed.
'use strict';

const {execFileSync} = require('child_process');

const FIELDS = [
  'frame.number', 'frame.time_epoch', 'ip.src', 'udp.srcport', 'ip.dst', 'udp.dstport', 'bacapp.type',
  'bacapp.invoke_id', 'bacapp.confirmed_service', 'bacapp.unconfirmed_service', '_ws.malformed', '_ws.expert.severity',
  '_ws.expert.message', 'udp.payload', '_ws.col.Info', 'bvlc.function', 'bacnet.mesgtyp'
];
const TYPE = {
  confirmedRequest: 0,
  simpleAck: 2,
  complexAck: 3,
  error: 5,
  reject: 6,
  abort: 7
};
const ENDS = [TYPE.simpleAck, TYPE.complexAck, TYPE.error, TYPE.reject, TYPE.abort];
const WITHOUT_NPDU = ['0x00', '0x05'];  // result, registration
const EXPERT_WARNING = 6291456;
const EXPERT_ERROR = 8388608;

const SOONEST_REPEAT = 0.99;      // a second, as the capture's clock sees it
const ANSWER_STILL_COUNTS = 5.9;  // six seconds, likewise

function readCapture(file) {
  const fields = FIELDS.flatMap((field) => ['-e', field]);
  const text = execFileSync(
      'tshark', ['-n', '-r', file, '-Y', 'udp', '-T', 'fields', '-E', 'separator=/t', '-E', 'occurrence=a', ...fields],
      {
        encoding: 'utf8',
        maxBuffer: 1 << 28,
        stdio: ['ignore', 'pipe', 'ignore'],
      });
  const numberOf = (text) => (text === '' ? null : Number(text.split(',')[0]));
  return text.split('\n').filter(Boolean).map((line) => {
    const held = line.split('\t');
    const of = (field) => held[FIELDS.indexOf(field)];
    return {
      number: Number(of('frame.number')),
      time: Number(of('frame.time_epoch')),
      source: of('ip.src'),
      from: `${of('ip.src')}:${of('udp.srcport')}`,
      to: `${of('ip.dst')}:${of('udp.dstport')}`,
      type: numberOf(of('bacapp.type')),
      invokeId: numberOf(of('bacapp.invoke_id')),
      confirmed: numberOf(of('bacapp.confirmed_service')),
      unconfirmed: numberOf(of('bacapp.unconfirmed_service')),
      isMalformed: of('_ws.malformed') !== '',
      severity: Math.max(0, ...of('_ws.expert.severity').split(',').map(Number)),
      message: of('_ws.expert.message'),
      payload: of('udp.payload'),
      info: of('_ws.col.Info'),
      isBelowApdus: of('bacnet.mesgtyp') !== '' || WITHOUT_NPDU.includes(of('bvlc.function')),
    };
  });
}

const show = (frame) => `frame ${frame.number} ${frame.from} > ${frame.to} ${frame.info}`;

// Faults in the use of invoke ids and repeats, of requests from one of `ours`.
function judgeTransactions(frames, ours) {
  const faults = [];
  const open = new Map();  // the last request of each direction and invoke id
  for (const frame of frames) {
    if (frame.type === TYPE.confirmedRequest && ours.has(frame.source)) {
      const place = `${frame.from} ${frame.to} ${frame.invokeId}`;
      const last = open.get(place);
      const since = last && frame.time - last.time;
      if (last && last.payload === frame.payload && last.answers === 0) {
        if (since < SOONEST_REPEAT) faults.push(`repeated after ${since.toFixed(3)} s: ${show(frame)}`);
        open.set(place, {...last, time: frame.time, tries: last.tries + 1});
        continue;
      }
      if (last && last.answers < last.tries && since < ANSWER_STILL_COUNTS) {
        faults.push(`invoke id ${frame.invokeId} again after ${since.toFixed(3)} s, ${last.answers} answers to ${
            last.tries} tries: ${show(frame)}`);
      }
      open.set(place, {time: frame.time, payload: frame.payload, tries: 1, answers: 0});
    } else if (ENDS.includes(frame.type)) {
      const request = open.get(`${frame.to} ${frame.from} ${frame.invokeId}`);
      if (request) request.answers += 1;
    }
  }
  return faults;
}

// Result: faults of ours, remarks (ours that are no faults, faults of others), and the frames; without those from
// `left`.
function judge(file, ours, left) {
  const frames = readCapture(file).filter((frame) => frame.source !== left);
  const isFaulty = (frame) => frame.isMalformed || frame.severity >= EXPERT_ERROR;
  const what = (frame) => `${frame.isMalformed ? 'malformed' : frame.message}: ${show(frame)}`;
  const sent = frames.filter((frame) => ours.has(frame.source));
  const faults = [...sent.filter(isFaulty).map(what), ...judgeTransactions(frames, ours)];
  const unread = sent.filter((frame) => frame.type === null && !frame.isBelowApdus && !frame.isMalformed)
                     .map((frame) => `not BACnet: ${show(frame)}`);
  const warned = sent.filter((frame) => !isFaulty(frame) && frame.severity >= EXPERT_WARNING)
                     .map((frame) => `warning, ${what(frame)}`);
  const foreign = frames.filter((frame) => !ours.has(frame.source) && frame.severity >= EXPERT_WARNING)
                      .map((frame) => `theirs, ${what(frame)}`);
  return {faults: [...faults, ...unread], remarks: [...warned, ...foreign], frames, sent: sent.length};
}

const SERVICE = {
  readProperty: 12,
  writeProperty: 15,
  unconfirmedNotification: 2
};
const APPLICATION_NULL = '3e003f';  // a value of Null between its opening and closing tag

// One line each of a read, a write, a release and a notification.
function samples(frames, ours) {
  const request = (service, fits = () => true) => frames.find(
      (frame) =>
          frame.type === TYPE.confirmedRequest && frame.confirmed === service && ours.has(frame.source) && fits(frame));
  const isRelease = (frame) => frame.payload.includes(APPLICATION_NULL);
  const found = {
    read: request(SERVICE.readProperty, (frame) => frame.info.includes('present-value')),
    write: request(SERVICE.writeProperty, (frame) => !isRelease(frame)),
    release: request(SERVICE.writeProperty, isRelease),
    notification:
        frames.find((frame) => frame.unconfirmed === SERVICE.unconfirmedNotification && !ours.has(frame.source)),
  };
  return Object.entries(found).map(([name, frame]) => `${name.padEnd(12)} ${frame ? show(frame) : 'none'}`);
}

module.exports = {
  judge,
  samples
};
