// What the page knows of the plant: state, links and points as the server last told them, and how the connection is.
// Listeners hear 'points' (all anew; whether they are the same ones), 'values' (ids of those that changed), 'links' and
// 'connection'.
import {get, readEvents, RequestError} from './api.js';

const TREND_SAMPLES = 60;
const SILENCE_MS = 20000;  // the server sends a sign of life each 15 s
const FIRST_RETRY_MS = 500;
const LAST_RETRY_MS = 5000;

const pause = (ms, signal) => new Promise((resolve) => {
  const timer = setTimeout(resolve, ms);
  signal.addEventListener('abort', () => {
    clearTimeout(timer);
    resolve();
  }, {once: true});
});

// A value as a number for a plot: null where it is a text or there is none.
export function plotted(value) {
  if (typeof value === 'boolean') return value ? 1 : 0;
  return typeof value === 'number' ? value : null;
}

// Appends a sample that holds until the next one: between far samples the old value is said to have stood until now.
export function appendSample(samples, ms, value, pollMs) {
  const last = samples[samples.length - 1];
  if (last && ms - last[0] > 2 * pollMs) samples.push([ms - pollMs, last[1]]);
  samples.push([ms, value]);
}

// What a view is built of; the rest comes and goes.
const description = ({link, name, object, property, type, unit, texts, writable, releasable, priority}) =>
    JSON.stringify([link, name, object, property, type, unit, texts, writable, releasable, priority]);

export class Plant extends EventTarget {
  state = null;
  links = [];
  points = [];
  phase = 'connecting';  // 'connecting', 'live', 'lost', or 'refused' when the token is missing or wrong
  trouble = '';          // why it is lost or refused
  lastSign = null;       // when the server was last heard, by its clock
  words = new Map();     // what codes mean
  valuesTime = null;     // of the last values, by the server's clock
  clockAhead = 0;        // ms that the server's clock is ahead of the viewer's

  // By the server's clock, whose times all values have.
  now() { return Date.now() + this.clockAhead; }

  // A good value is old when nobody can tell whether it still holds.
  qualityOf(point) { return point.quality === 'good' && this.phase !== 'live' ? 'old' : point.quality; }

  // When the value was last known to be true.
  timeOf(point) { return point.quality === 'good' ? (this.phase === 'live' ? this.now() : this.lastSign) : point.time; }

  wordsOf(point) { return point.code === 0 ? '' : this.words.get(point.code) || `code ${point.code}`; }

  // Why nothing may be written; null when it may.
  get forbidden() {
    if (this.state.readOnly) return 'hmi-host was started with --read-only.';
    if (!this.state.writes) return 'hmi-host listens to the network and was started without --allow-write.';
    return this.phase === 'live' ? null : 'There is no connection to hmi-host.';
  }

  tell(name, detail) { this.dispatchEvent(new CustomEvent(name, {detail})); }

  setPhase(phase, trouble = '') {
    if (phase === this.phase && trouble === this.trouble) return;
    Object.assign(this, {phase, trouble});
    this.tell('connection');
  }

  // Stays connected for as long as the page lives.
  async run() {
    let wait = FIRST_RETRY_MS;
    for (;;) {
      const wake = new AbortController();
      this.wake = () => wake.abort();
      try {
        await this.follow(() => {
          wait = FIRST_RETRY_MS;
        });
        this.setPhase('lost', 'hmi-host has ended the connection');
      } catch (error) {
        if (error instanceof RequestError && error.status === 401) {
          this.setPhase('refused', error.message);
          wait = LAST_RETRY_MS;
        } else {
          this.setPhase('lost', error.message);
        }
      }
      await pause(wait, wake.signal);
      wait = Math.min(2 * wait, LAST_RETRY_MS);
    }
  }

  // Tries again at once: somebody is looking, or the network is back.
  hurry() {
    if (this.phase !== 'live') this.wake();
  }

  // One connection: events are kept until the points they speak of are there.
  async follow(onLive) {
    const abort = new AbortController();
    let silence;
    const onSign = () => {
      clearTimeout(silence);
      silence = setTimeout(() => abort.abort(), SILENCE_MS);
      this.lastSign = this.state ? this.now() : null;
    };
    let waiting = [];
    const apply = (name, data) => (name === 'values' ? this.applyValues(data) : this.applyLinks(data));
    const load = async () => {
      await this.load(abort.signal);
      for (const [name, data] of waiting ?? []) apply(name, data);
      waiting = null;
      onSign();
      onLive();
      this.setPhase('live');
    };
    let loading = null;
    const onEvent = (name, data) => {
      if (name === 'hello') {
        waiting ??= [];
        loading = load();
        loading.catch(() => abort.abort());
      } else if (name === 'values' || name === 'links') {
        if (waiting) {
          waiting.push([name, data]);
        } else {
          apply(name, data);
        }
      }
    };
    try {
      silence = setTimeout(() => abort.abort(), SILENCE_MS);
      await readEvents('api/events', abort.signal, onEvent, onSign);
    } catch (error) {
      if (error instanceof RequestError) throw error;
      await loading?.catch((reason) => {
        if (reason instanceof RequestError) throw reason;
      });
      throw new RequestError(0, abort.signal.aborted ? 'hmi-host is silent' : 'hmi-host is gone');
    } finally {
      clearTimeout(silence);
      abort.abort();
    }
  }

  async load(signal) {
    const [state, links, points] =
        await Promise.all(['state', 'links', 'points'].map((what) => get(`api/${what}`, signal)));
    this.clockAhead = state.now - Date.now();
    // Points that are described as before stay the same objects, whoever holds them.
    const isSame = points.length === this.points.length &&
        points.every((point, id) => description(point) === description(this.points[id]));
    this.points = isSame ? points.map((point, id) => Object.assign(this.points[id], point)) : points;
    Object.assign(this, {state, links});
    for (const point of points) {
      if (point.words) this.words.set(point.code, point.words);
    }
    this.tell('points', isSame);
    this.tell('links');
  }

  applyLinks(links) {
    this.links = links;
    this.tell('links');
  }

  applyValues({time, values}) {
    this.valuesTime = time;
    const ids = new Set();
    for (const [id, value, text, code, quality] of values) {
      const point = this.points[id];
      if (!point) continue;
      if (quality === 'good') {
        point.time = time;
      } else if (point.quality === 'good') {
        point.time = time - this.state.pollMs;
      }
      Object.assign(point, {value, text, code, quality});
      appendSample(point.trend, time, quality === 'good' ? plotted(value) : null, this.state.pollMs);
      if (point.trend.length > TREND_SAMPLES) point.trend.splice(0, point.trend.length - TREND_SAMPLES);
      if (code !== 0 && !this.words.has(code)) this.learnWords(id, code);
      ids.add(id);
    }
    this.tell('values', ids);
  }

  // Events carry codes only; the errors of a point have their words.
  async learnWords(id, code) {
    this.words.set(code, `code ${code}`);
    try {
      const errors = await get(`api/points/${id}/errors`);
      for (const error of errors) this.words.set(error.code, error.words);
      this.tell('values', new Set(this.points.filter((point) => point.code === code).map((point) => point.id)));
    } catch {
      this.words.delete(code);
    }
  }
}
