// A small trend: the last values of a point, the newest at the right edge.
import {makeSvg} from './dom.js';
import {isReal} from './format.js';

const WIDTH = 100;
const HEIGHT = 24;
const EDGE = 3;
const SPAN_MS = 120000;

// The samples of the last two minutes; what was before them reaches to their beginning.
function recent(samples, now) {
  const from = now - SPAN_MS;
  const first = samples.findLastIndex(([ms]) => ms <= from);
  return first < 0 ? samples : [[from, samples[first][1]], ...samples.slice(first + 1)];
}

// The line's path. Values between which nothing is known are not joined.
function path(samples, now, isStepped) {
  const known = samples.filter(([, value]) => value !== null).map(([, value]) => value);
  if (known.length === 0) return '';
  const low = Math.min(...known);
  const high = Math.max(...known);
  const from = samples[0][0];
  const span = Math.max(now - from, 1);
  const scale = high === low ? 0 : (HEIGHT - 2 * EDGE) / (high - low);
  const x = (ms) => (((ms - from) / span) * WIDTH).toFixed(1);
  const y = (value) => (scale === 0 ? HEIGHT / 2 : HEIGHT - EDGE - (value - low) * scale).toFixed(1);
  let line = '';
  let last = null;
  for (const [ms, value] of samples) {
    if (value !== null) {
      line += last === null ? `M${x(ms)} ${y(value)}` : `${isStepped ? `H${x(ms)}` : ''}L${x(ms)} ${y(value)}`;
    } else if (last !== null) {
      line += `H${x(ms)}`;
    }
    last = value;
  }
  return last === null ? line : `${line}H${WIDTH}`;
}

export function makeTrend() {
  const line = makeSvg('path', {'vector-effect': 'non-scaling-stroke'});
  const element = makeSvg(
      'svg', {class: 'trend', viewBox: `0 0 ${WIDTH} ${HEIGHT}`, preserveAspectRatio: 'none', 'aria-hidden': 'true'},
      line);
  const update = (point, now) => {
    line.setAttribute('d', path(recent(point.trend, now), now, !isReal(point)));
  };
  return {element, update};
}
