// Writing a point, and releasing a priority of its object: the only two things that change anything.
import {post} from './api.js';
import {confirm} from './confirm.js';
import {make, setText} from './dom.js';
import * as format from './format.js';

const NUMBERS = ['REAL', 'DOUBLE', 'UINT', 'UDINT'];

// What can be written where the point has states: [what is sent, what is shown]; null where it has none.
function choices(point) {
  const texts = point.texts ?? (point.type === 'BOOL' ? ['false', 'true'] : null);
  return texts &&
      texts.map((text, i) => [point.type === 'BOOL' ? String(i === 1) : String(i + format.firstState(point)), text]);
}

// The present value, and how far it can be trusted.
function presentValue(plant, point) {
  const quality = plant.qualityOf(point);
  const text = format.fullValue(point);
  return quality === 'good' ? text : `${text} (${quality}, of ${format.time(plant.timeOf(point))})`;
}

// Sends it, and gives [whether it was done, a line that says what became of it].
async function send(path, body, done, notDone) {
  try {
    const {code, words} = await post(path, body);
    return code === 0 ? [true, done] : [false, `${notDone}: ${words} (code ${code})`];
  } catch (error) {
    return [
      false, error.status === 0 ? `${error.message}; nobody knows whether it was done` : `${notDone}: ${error.message}`
    ];
  }
}

// The form that writes a point; onDone is called when something was sent.
export class WriteForm {
  constructor(plant, point, onDone) {
    Object.assign(this, {plant, point, onDone, choices: choices(point)});
    const attributes = {id: 'new-value', required: true, 'aria-describedby': 'forbidden'};
    const options = [['', 'Choose …'], ...(this.choices ?? [])].map(([value, text]) => make('option', {value}, text));
    const inputmode = NUMBERS.includes(point.type) ? 'decimal' : 'text';
    this.input = this.choices ? make('select', attributes, ...options) :
                                make('input', {...attributes, inputmode, autocomplete: 'off'});
    this.button = make('button', {class: 'primary'}, 'Write …');
    this.reason = make('p', {class: 'reason', id: 'forbidden'});
    this.result = make('p', {class: 'result', role: 'status', 'aria-live': 'polite'});
    const onsubmit = (event) => {
      event.preventDefault();
      this.write();
    };
    this.element = make(
        'form', {class: 'write', onsubmit}, make('label', {'for': 'new-value'}, 'New value'),
        make('div', {class: 'entry'}, this.input, make('span', {class: 'unit'}, format.unit(point)), this.button),
        this.reason, this.result);
    this.update();
  }

  update() {
    const why = this.plant.forbidden;
    this.input.disabled = this.button.disabled = why !== null;
    this.reason.hidden = why === null;
    setText(this.reason, why ?? '');
  }

  say(kind, text) {
    this.result.dataset.kind = kind;
    setText(this.result, text);
  }

  async write() {
    const {plant, point} = this;
    // A number may come with a comma.
    const value = NUMBERS.includes(point.type) ? this.input.value.trim().replace(',', '.') : this.input.value;
    const chosen = this.choices?.find(([sent]) => sent === value);
    const shown = format.withUnit(chosen ? chosen[1] : value, point);
    const isMeant = await confirm({
      title: `Write ${point.name}?`,
      facts: [
        ['Object', format.object(point)],
        ['Old value', () => presentValue(plant, point)],
        ['New value', shown],
        ['Priority', point.priority ? String(point.priority) : 'none'],
      ],
      action: `Write ${shown}`,
    });
    if (!isMeant) return this.say('', 'Not written.');
    this.say('', 'Writing …');
    const done = `Written at ${format.time(plant.now())}: ${shown}`;
    const [isDone, said] = await send(`api/points/${point.id}/write`, {value}, done, 'Not written');
    this.say(isDone ? 'good' : 'failed', said);
    if (isDone) this.input.value = '';
    this.onDone();
  }
}

// Asks, releases, and gives a line that says what became of it; null when it was not meant.
export async function release(plant, point, {priority, value}) {
  const isMeant = await confirm({
    title: `Release priority ${priority} of ${point.name}?`,
    facts: [
      ['Object', format.object(point)],
      ['Old value', () => presentValue(plant, point)],
      ['Priority', `${priority}, with ${format.anyValue(value, point)}`],
      ['New value', 'of the next priority that has one, or the default'],
    ],
    action: `Release priority ${priority}`,
  });
  if (!isMeant) return null;
  const done = `Priority ${priority} released at ${format.time(plant.now())}.`;
  const [, said] = await send(`api/points/${point.id}/release`, {priority}, done, 'Not released');
  return said;
}
