// The rows of a long table: only those near the visible part of the page are in the document, the rest is the height of
// two empty rows. All rows are equally high, as the style sheet says.
import {make} from './dom.js';

const SPARE_ROWS = 10;  // beyond the visible part, so that the next row is there when the keyboard gets to it

export class VirtualRows {
  rows = new Map();  // by item
  items = [];
  height = 40;

  // makeRow(item) gives a row with its `update()`; the table's first row counts from `firstIndex` for screen readers.
  constructor(body, makeRow, signal) {
    Object.assign(this, {body, makeRow});
    this.above = make('tr', {class: 'room', 'aria-hidden': 'true'}, make('td'));
    this.below = make('tr', {class: 'room', 'aria-hidden': 'true'}, make('td'));
    body.replaceChildren(this.above, this.below);
    addEventListener('scroll', () => this.arrange(), {passive: true, signal});
    addEventListener('resize', () => this.measure(), {signal});
  }

  setItems(items) {
    this.items = items;
    this.arrange();
  }

  measure() {
    const first = this.rows.values().next().value;
    if (first) this.height = first.element.getBoundingClientRect().height || this.height;
    this.arrange();
  }

  // Puts the rows of the visible part into the document.
  arrange() {
    const top = this.body.getBoundingClientRect().top;
    const first = Math.max(0, Math.min(this.items.length, Math.floor(-top / this.height)) - SPARE_ROWS);
    const end = Math.max(first, Math.min(this.items.length, Math.ceil((innerHeight - top) / this.height) + SPARE_ROWS));
    const wanted = this.items.slice(first, end);
    const keep = new Set(wanted);
    for (const [item, row] of this.rows) {
      if (keep.has(item)) continue;
      row.element.remove();
      this.rows.delete(item);
    }
    let before = this.above;
    wanted.forEach((item, i) => {
      let row = this.rows.get(item);
      if (!row) {
        row = this.makeRow(item);
        this.rows.set(item, row);
      }
      row.element.setAttribute('aria-rowindex', first + i + 2);  // the head is row 1
      if (before.nextSibling !== row.element) before.after(row.element);
      before = row.element;
    });
    this.above.firstChild.style.height = `${first * this.height}px`;
    this.below.firstChild.style.height = `${(this.items.length - end) * this.height}px`;
    this.above.hidden = first === 0;
    this.below.hidden = end === this.items.length;
    if (!this.isMeasured && this.rows.size > 0) {
      this.isMeasured = true;
      this.measure();
    }
  }

  forEach(act) { this.rows.forEach((row, item) => act(row, item)); }

  // Scrolls until the row of that index, or the nearest there is, can be seen, and gives its element.
  reach(index) {
    const nearest = Math.max(0, Math.min(this.items.length - 1, index));
    const top = this.body.getBoundingClientRect().top + nearest * this.height;
    const room = 4 * this.height;  // for what stays on top of the page
    if (top < room) scrollBy(0, top - room);
    if (top + 2 * this.height > innerHeight) scrollBy(0, top + 2 * this.height - innerHeight);
    this.arrange();
    return this.rows.get(this.items[nearest]).element;
  }
}
