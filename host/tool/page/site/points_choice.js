// Which points are shown, and in what order: the search, the filter, the link and the sorting, as the address has them.
import * as format from './format.js';

const COLLATOR = new Intl.Collator(undefined, {numeric: true, sensitivity: 'base'});
const QUALITY_ORDER = ['failed', 'old', 'good'];

function compareValues(a, b) {
  if (a.value === null || b.value === null) return (a.value === null) - (b.value === null);
  const [x, y] = [a.value, b.value].map((value) => (typeof value === 'boolean' ? Number(value) : value));
  if (typeof x === 'number' && typeof y === 'number') return x - y;
  return (typeof x === 'string') - (typeof y === 'string') || COLLATOR.compare(x, y);
}

// What the table is sorted by: [key, title, order]. Failed points come first unless something else is chosen.
export const COLUMNS = [
  ['state', 'State', (plant) => (a, b) => rank(plant, a) - rank(plant, b)],
  ['name', 'Name', () => (a, b) => COLLATOR.compare(a.name, b.name)],
  ['object', 'Object', () => (a, b) => a.link - b.link || COLLATOR.compare(a.object, b.object)],
  ['value', 'Value', () => compareValues],
  ['unit', 'Unit', () => (a, b) => COLLATOR.compare(format.unit(a), format.unit(b))],
  ['age', 'Age', (plant) => (a, b) => plant.timeOf(b) - plant.timeOf(a)],
];
const rank = (plant, point) => QUALITY_ORDER.indexOf(plant.qualityOf(point));

// [key, title, whether a point of that quality is shown]
export const FILTERS = [
  ['all', 'All', () => true],
  ['failed', 'Failed', (quality) => quality === 'failed'],
  ['old', 'Old', (quality) => quality === 'old'],
  ['good', 'Good', (quality) => quality === 'good'],
  ['writable', 'Writable', (quality, point) => point.writable],
];

const known = (table, key) => (table.some(([each]) => each === key) ? key : table[0][0]);

export class PointsChoice {
  constructor(query) {
    this.search = query.get('q') ?? '';
    this.filter = known(FILTERS, query.get('show'));
    this.link = query.get('link') ?? '';
    this.sort = known(COLUMNS, query.get('sort'));
    this.isDown = query.has('down');
  }

  // The view's address: only what is not the usual.
  get address() {
    const query = new URLSearchParams();
    if (this.search) query.set('q', this.search);
    if (this.filter !== FILTERS[0][0]) query.set('show', this.filter);
    if (this.link) query.set('link', this.link);
    if (this.sort !== COLUMNS[0][0]) query.set('sort', this.sort);
    if (this.isDown) query.set('down', '1');
    const text = String(query);
    return text ? `#/points?${text}` : '#/points';
  }

  // The points that fit, sorted; equal ones in the project's order.
  select(plant) {
    const words = this.search.toLocaleLowerCase().split(/\s+/).filter(Boolean);
    const [, , fits] = FILTERS.find(([key]) => key === this.filter);
    const isWanted = (point) => {
      if (!fits(plant.qualityOf(point), point)) return false;
      if (this.link && String(point.link) !== this.link) return false;
      if (words.length === 0) return true;
      const text = `${point.name} ${point.object} ${point.property} ${format.value(point)} ${format.unit(point)}`
                       .toLocaleLowerCase();
      return words.every((word) => text.includes(word));
    };
    const compare = COLUMNS.find(([key]) => key === this.sort)[2](plant);
    const sign = this.isDown ? -1 : 1;
    return plant.points.filter(isWanted).sort((a, b) => sign * compare(a, b) || a.id - b.id);
  }

  // How many points each filter shows.
  static counts(plant) {
    return FILTERS.map(
        ([, , fits]) =>
            plant.points.reduce((count, point) => count + (fits(plant.qualityOf(point), point) ? 1 : 0), 0));
  }
}
