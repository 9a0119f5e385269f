// All points: searched, filtered, sorted, and live.
import {announce, make, setAttribute, setText} from './dom.js';
import * as format from './format.js';
import {PointRow} from './point_row.js';
import {COLUMNS, FILTERS, PointsChoice} from './points_choice.js';
import {VirtualRows} from './virtual_rows.js';

const SEARCH_PAUSE_MS = 150;
const STEPS = {
  ArrowDown: 1,
  ArrowUp: -1,
  PageDown: 10,
  PageUp: -10,
  Home: -Infinity,
  End: Infinity
};

const field = (name, label, input, isSeen = false) => make(
    'span', {class: `field ${name}`}, make('label', {'for': input.id, class: isSeen ? null : 'unseen'}, label), input);

// The bar above the table: search, filters with their counts, link, and on a phone the sorting.
function makeBar(plant, choice, choose) {
  const search = make('input', {
    id: 'search',
    type: 'search',
    placeholder: 'Name, object or value',
    value: choice.search,
    autocomplete: 'off',
    spellcheck: 'false',
  });
  let timer;
  search.addEventListener('input', () => {
    clearTimeout(timer);
    timer = setTimeout(() => choose({search: search.value.trim()}), SEARCH_PAUSE_MS);
  });

  const counts = FILTERS.map(() => make('span', {class: 'count'}));
  const segments = FILTERS.map(([key, title], i) => {
    const onchange = () => choose({filter: key});
    const input = make('input', {type: 'radio', name: 'filter', value: key, checked: key === choice.filter, onchange});
    return make('label', {class: 'segment'}, input, make('span', {}, `${title} `, counts[i]));
  });

  const link = make(
      'select', {id: 'link', onchange: () => choose({link: link.value})}, make('option', {value: ''}, 'All links'),
      ...plant.links.map((each) => {
        const value = String(each.link);
        return make('option', {value, selected: value === choice.link}, `Link ${value}`);
      }));

  const onorder = () => choose({sort: order.value.split(' ')[0], isDown: order.value.endsWith(' down')});
  const order = make(
      'select', {id: 'order', onchange: onorder},
      ...COLUMNS.flatMap(
          ([key, title]) =>
              [make('option', {value: key}, `${title} ↑`),
               make('option', {value: `${key} down`}, `${title} ↓`),
  ]));

  const shown = make('p', {class: 'shown'});
  const element = make(
      'form', {class: 'bar', role: 'search', onsubmit: (event) => event.preventDefault()},
      field('search', 'Search', search),
      make('fieldset', {class: 'segments'}, make('legend', {class: 'unseen'}, 'Show'), ...segments),
      plant.links.length > 1 ? field('link', 'Link', link) : null, field('order', 'Sort by', order, true), shown);
  return {element, search, counts, order, shown};
}

function makeTable(choice, choose) {
  const heads = COLUMNS.map(([key, title]) => {
    const onclick = () => choose({sort: key, isDown: choice.sort === key && !choice.isDown});
    return make(
        'th', {class: key, scope: 'col', role: 'columnheader'}, make('button', {type: 'button', onclick}, title));
  });
  const trend = make('th', {class: 'trend', scope: 'col', role: 'columnheader'}, 'Trend');
  const body = make('tbody', {role: 'rowgroup'});
  const element = make(
      'table', {class: 'points', role: 'table', 'aria-label': 'Points'},
      make('thead', {role: 'rowgroup'}, make('tr', {role: 'row'}, ...heads, trend)), body);
  return {element, heads, body};
}

class PointsView {
  changed = new Set();  // ids of the points to be drawn in the next frame
  isAllChanged = false;
  isDue = false;

  constructor(main, plant, {query, rename, signal}) {
    const choice = new PointsChoice(query);
    const choose = (changes) => this.choose(changes);
    Object.assign(this, {plant, choice, rename});
    this.bar = makeBar(plant, choice, choose);
    this.table = makeTable(choice, choose);
    this.notice = make('p', {class: 'notice'});
    this.empty = make('p', {class: 'nothing'}, 'No point fits.');
    main.append(make('h1', {tabindex: '-1'}, 'Points'), this.notice, this.bar.element, this.table.element, this.empty);
    this.rows = new VirtualRows(this.table.body, (point) => new PointRow(plant, point), signal);

    this.table.element.addEventListener('keydown', (event) => this.walk(event));
    document.addEventListener('keydown', (event) => this.startSearch(event), {signal});
    plant.addEventListener('values', ({detail}) => this.draw(detail), {signal});
    plant.addEventListener('points', () => this.drawAll(), {signal});
    plant.addEventListener('connection', () => this.drawAll(), {signal});
    plant.addEventListener('links', () => this.showLostLinks(), {signal});
    const ticking = setInterval(() => this.rows.forEach((row) => row.tick()), 1000);
    signal.addEventListener('abort', () => clearInterval(ticking));

    this.showChoice();
    this.showLostLinks();
    this.select();
  }

  choose(changes) {
    Object.assign(this.choice, changes);
    this.showChoice();
    this.select();
    announce(this.bar.shown.textContent);
  }

  showChoice() {
    const {sort, isDown} = this.choice;
    COLUMNS.forEach(([key], i) => {
      const direction = isDown ? 'descending' : 'ascending';
      setAttribute(this.table.heads[i], 'aria-sort', key === sort ? direction : 'none');
    });
    this.bar.order.value = isDown ? `${sort} down` : sort;
    this.rename(this.choice.address);
  }

  showLostLinks() {
    const lost = this.plant.links.filter((link) => link.state === 'lost');
    this.notice.hidden = lost.length === 0;
    const why = (link) => `Link ${link.link} is lost: ${link.words || `code ${link.code}`}.`;
    setText(this.notice, lost.map(why).join(' '));
  }

  select() {
    const points = this.choice.select(this.plant);
    this.rows.setItems(points);
    setAttribute(this.table.element, 'aria-rowcount', String(points.length + 1));
    this.empty.hidden = points.length > 0;
    setText(this.bar.shown, `${points.length} of ${format.count(this.plant.points.length, 'point', 'points')}`);
    PointsChoice.counts(this.plant).forEach((count, i) => setText(this.bar.counts[i], String(count)));
  }

  // Whatever comes until the next frame is drawn in one go.
  draw(ids) {
    for (const id of ids) this.changed.add(id);
    if (this.isDue) return;
    this.isDue = true;
    requestAnimationFrame(() => {
      this.select();
      this.rows.forEach((row, point) => (this.isAllChanged || this.changed.has(point.id)) && row.update());
      this.changed.clear();
      this.isAllChanged = this.isDue = false;
    });
  }

  drawAll() {
    this.isAllChanged = true;
    this.draw([]);
  }

  // Arrow keys go from row to row.
  walk(event) {
    if (!(event.key in STEPS) || event.target.closest('thead')) return;
    event.preventDefault();
    this.rows.step(STEPS[event.key]);
  }

  startSearch(event) {
    if (event.key !== '/' || event.ctrlKey || event.altKey || event.metaKey) return;
    if (event.target.matches('input, select')) return;
    event.preventDefault();
    this.bar.search.focus();
  }
}

export function showPoints(...context) {
  new PointsView(...context);
  return 'Points';
}
