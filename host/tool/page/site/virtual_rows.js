// The rows of a long table: only those near the visible part of the page are in the document, the rest is the height of
// two empty rows. All rows are equally high, as the style sheet says.
import {make, setAttribute} from './dom.js';

const SPARE_ROWS = 10;  // beyond the visible part, so that the next row is there when the keyboard gets to it

export class VirtualRows {
  rows = new Map();  // by item
  left = null;       // the item that had the keyboard when its row went out of sight
  items = [];
  height = 40;

  // makeRow(item) gives a row with its `update()`; the table's first row counts from `firstIndex` for screen readers.
  constructor(body, makeRow, signal) {
    Object.assign(this, {body, makeRow, table: body.closest('table')});
    this.table.tabIndex = -1;
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

  // Puts the rows of the visible part into the document. Whoever is in a row stays there, wherever it goes.
  arrange() {
    const top = this.body.getBoundingClientRect().top;
    const first = Math.max(0, Math.min(this.items.length, Math.floor(-top / this.height)) - SPARE_ROWS);
    const end = Math.max(first, Math.min(this.items.length, Math.ceil((innerHeight - top) / this.height) + SPARE_ROWS));
    const focused = this.focused();
    this.fill(this.items.slice(first, end), first);
    this.above.firstChild.style.height = `${first * this.height}px`;
    this.below.firstChild.style.height = `${(this.items.length - end) * this.height}px`;
    this.above.hidden = first === 0;
    this.below.hidden = end === this.items.length;
    if (focused) this.focus(focused);
    if (!this.isMeasured && this.rows.size > 0) {
      this.isMeasured = true;
      this.measure();
    }
  }

  fill(wanted, first) {
    const keep = new Set(wanted);
    this.rows.forEach((row, item) => {
      if (keep.has(item)) return;
      row.element.remove();
      this.rows.delete(item);
    });
    let before = this.above;
    wanted.forEach((item, i) => {
      if (!this.rows.has(item)) this.rows.set(item, this.makeRow(item));
      const {element} = this.rows.get(item);
      setAttribute(element, 'aria-rowindex', String(first + i + 2));  // the head is row 1
      if (before.nextSibling !== element) before.after(element);
      before = element;
    });
  }

  // The item whose row has the keyboard; once that row is out of sight, the table has it in its place.
  focused() {
    const at = document.activeElement;
    if (at === this.table) return this.left;
    for (const [item, row] of this.rows) {
      if (row.element.contains(at)) return item;
    }
    return null;
  }

  focus(item) {
    const row = this.rows.get(item);
    this.left = row ? null : item;
    const target = row ? row.element.querySelector('a') : this.table;
    if (document.activeElement !== target) target.focus({preventScroll: true});
  }

  forEach(act) { this.rows.forEach((row, item) => act(row, item)); }

  // Goes so many rows on, as far as there are any, and scrolls there.
  step(by) {
    const from = this.items.indexOf(this.focused());
    if (from < 0) return;
    const index = Math.max(0, Math.min(this.items.length - 1, from + by));
    const top = this.body.getBoundingClientRect().top + index * this.height;
    const room = 4 * this.height;  // for what stays on top of the page
    if (top < room) scrollBy(0, top - room);
    if (top + 2 * this.height > innerHeight) scrollBy(0, top + 2 * this.height - innerHeight);
    this.arrange();
    this.focus(this.items[index]);
  }
}
