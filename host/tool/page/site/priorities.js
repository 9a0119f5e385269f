// The sixteen priorities of a point's object, which of them decides, and the release of one.
import {get} from './api.js';
import {release} from './command.js';
import {make, nothing, setText} from './dom.js';
import * as format from './format.js';

const RESERVED = 6;  // minimum on and off times: the device's own

const cell = (name, ...children) => make('td', {class: name}, ...children);

// Whether it makes sense to ask the device.
function hasPriorities({object, property}) {
  return !/-input,/.test(object) && (property === 'present-value' || property === 'priority-array');
}

// Who gave a slot its value, and when, as far as the device tells.
function origin({value, who, since}) {
  if (value === null) return '';
  return [who && `by ${who}`, since && `since ${since}`].filter(Boolean).join(', ');
}

export class Priorities {
  constructor(plant, point, signal) {
    Object.assign(this, {plant, point, signal});
    this.body = make('tbody');
    const head = (title, name) => make('th', {scope: 'col', class: name}, title);
    const heads = [head('Priority'), head('Meant for'), head('Value', 'value'), make('td')];
    this.table =
        make('table', {class: 'priorities', hidden: true}, make('thead', {}, make('tr', {}, ...heads)), this.body);
    this.trouble = make('div');
    this.result = make('p', {class: 'result', role: 'status', 'aria-live': 'polite'});
    const again = make('button', {type: 'button', onclick: () => this.load()}, 'Read again');
    this.element = make('div', {}, this.table, this.trouble, make('div', {class: 'bar'}, again, this.result));
    if (!hasPriorities(point)) this.element.replaceChildren(nothing('This point has no priorities.'));
    this.load();
  }

  // Asks the device.
  async load() {
    if (!hasPriorities(this.point)) return;
    try {
      const answer = await get(`api/points/${this.point.id}/priorities`, this.signal);
      const slots = answer.slots.map((slot) => this.makeSlot(slot, slot.priority === answer.active));
      this.body.replaceChildren(...slots, this.makeRow('Default', '', answer.default, answer.active === null));
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

  makeRow(title, meaning, value, decides, from = '', button = null) {
    const state = decides ? 'decides' : value === null ? 'empty' : '';
    const mark = decides ? make('span', {class: 'decides-word'}, 'decides') : null;
    return make(
        'tr', {class: state}, make('th', {scope: 'row'}, title),
        cell('meaning', meaning, ' ', mark, make('span', {class: 'origin'}, from)),
        cell('value', format.anyValue(value, this.point)), cell('act', button));
  }

  makeSlot(slot, decides) {
    const {priority, value, level} = slot;
    const onclick = () => this.release(slot);
    const label = `Release priority ${priority}`;
    const canRelease = value !== null && priority !== RESERVED && this.point.releasable;
    const button = make('button', {type: 'button', class: 'release', 'aria-label': label, onclick}, 'Release …');
    return this.makeRow(String(priority), level ?? '', value, decides, origin(slot), canRelease ? button : null);
  }

  async release(slot) {
    const said = await release(this.plant, this.point, slot);
    if (said === null) return;
    setText(this.result, said);
    this.load();
  }
}
