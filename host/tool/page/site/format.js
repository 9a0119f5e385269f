// Values and times as people read them, times in the viewer's zone.

const CLOCK =
    new Intl.DateTimeFormat(undefined, {hour: '2-digit', minute: '2-digit', second: '2-digit', hour12: false});
const DAY_AND_CLOCK = new Intl.DateTimeFormat(
    undefined, {day: '2-digit', month: 'short', hour: '2-digit', minute: '2-digit', second: '2-digit', hour12: false});
const DAY_MS = 24 * 3600 * 1000;

// The time of day; with the day where that is not today.
export function time(ms) {
  if (ms === null) return 'never';
  const today = Math.abs(Date.now() - ms) < DAY_MS && new Date(ms).getDate() === new Date().getDate();
  return (today ? CLOCK : DAY_AND_CLOCK).format(ms);
}

export function age(ms) {
  const seconds = Math.max(0, Math.round(ms / 1000));
  if (seconds < 120) return `${seconds} s`;
  if (seconds < 7200) return `${Math.floor(seconds / 60)} min`;
  if (seconds < 172800) return `${Math.floor(seconds / 3600)} h`;
  return `${Math.floor(seconds / 86400)} d`;
}

// Two digits behind the point, so that points stand below each other; very large and very small numbers by their
// digits.
export function number(value) {
  const size = Math.abs(value);
  return size !== 0 && (size < 0.005 || size >= 1e9) ? String(Number(value.toPrecision(5))) : value.toFixed(2);
}

export const isReal = (point) => point.type === 'REAL' || point.type === 'DOUBLE';

// The value short enough for a table; the text of its state where it is one. Its full text is point.text.
export function value(point) {
  if (point.value === null) return '–';
  const isNumber = typeof point.value === 'number' && isReal(point);
  return stateText(point, point.value) ?? (isNumber ? number(point.value) : point.text);
}

// The value as it stands in a sentence.
export const fullValue = (point) => withUnit(stateText(point, point.value) ?? (point.text || '–'), point);

// A unit that says "none" is none.
export const unit = (point) => (point.unit === null || point.unit === 'no-units' ? '' : point.unit);

export const withUnit = (text, point) => (unit(point) ? `${text} ${unit(point)}` : text);

// The number of the first state: binary ones count from 0, multi-state ones from 1.
export const firstState = (point) => (point.object.startsWith('multi-state') ? 1 : 0);

// The text of a state, null where there is none.
export const stateText = (point, value) => point.texts?.[Number(value) - firstState(point)] ?? null;

// Any value of the point's kind, as those of its priorities are: a number may come as a text.
export function anyValue(value, point) {
  if (value === null || value === undefined) return '–';
  const isNumber = isReal(point) && Number.isFinite(Number(value));
  return stateText(point, value) ?? withUnit(isNumber ? number(Number(value)) : String(value), point);
}

// The object, and the property where it is not the present value.
export const object = (point) =>
    (point.property === 'present-value' ? point.object : `${point.object} ${point.property}`);

export const count = (n, one, many) => `${n} ${n === 1 ? one : many}`;
