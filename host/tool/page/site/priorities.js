// The sixteen priorities of a point's object, which of them decides, and the release of one.
import {get} from './api.js';
import {release} from './command.js';
import {make, nothing, setText} from './dom.js';
import * as format from './format.js';

// What the standard says of some priorities.
const MEANINGS = {
  1: 'manual life safety',
  2: 'automatic life safety',
  5: 'critical equipment',
  6: 'minimum on/off',
  8: 'manual operator'
};

const cell = (name, ...children) => make('td', {class: name}, ...children);

export class Priorities {
  constructor(plant, point, signal) {
    Object.assign(this, {plant, point, signal});
    this.body = make('tbody');
    const heads = ['Priority', 'Value', 'By', ''].map((title) => make('th', {scope: 'col'}, title));
    this.table =
        make('table', {class: 'priorities', hidden: true}, make('thead', {}, make('tr', {}, ...heads)), this.body);
    this.trouble = make('div');
    this.result = make('p', {class: 'result', role: 'status', 'aria-live': 'polite'});
    const again = make('button', {type: 'button', onclick: () => this.load()}, 'Read again');
    this.element = make('div', {}, this.table, this.trouble, make('div', {class: 'bar'}, again, this.result));
    this.load();
  }

  // Asks the device.
  async load() {
    try {
      const answer = await get(`api/points/${this.point.id}/priorities`, this.signal);
      const first = answer.slots.find(({value}) => value !== null);
      const slots = answer.slots.map((slot) => this.makeSlot(slot, slot === first));
      this.body.replaceChildren(...slots, this.makeRow('Default', '', answer.default, !first, ''));
      this.table.hidden = false;
      this.trouble.replaceChildren();
      this.update();
    } catch (error) {
      if (this.signal.aborted) return;
      this.table.hidden = true;
      this.trouble.replaceChildren(nothing(error.message));
    }
  }

  update() {
    for (const button of this.body.querySelectorAll('button')) button.disabled = this.plant.forbidden !== null;
  }

  makeRow(title, meaning, value, decides, who, button = null) {
    const state = decides ? 'decides' : value === null ? 'empty' : '';
    const mark = decides ? make('span', {class: 'decides-word'}, 'decides') : null;
    return make(
        'tr', {class: state}, make('th', {scope: 'row'}, title, ' ', make('span', {class: 'meaning'}, meaning)),
        cell('value', format.anyValue(value, this.point)), cell('who', who, ' ', mark), cell('act', button));
  }

  makeSlot(slot, decides) {
    const {priority, value, who} = slot;
    const button =
        make('button', {type: 'button', class: 'release', 'aria-label': `Release priority ${priority}`}, 'Release …');
    button.addEventListener('click', () => this.release(slot));
    return this.makeRow(
        String(priority), MEANINGS[priority] ?? '', value, decides, who ?? '',
        value !== null && this.point.releasable ? button : null);
  }

  async release(slot) {
    const said = await release(this.plant, this.point, slot);
    if (said === null) return;
    setText(this.result, said);
    this.load();
  }
}
