// One point: its value, its plot, who commands it, its last errors.
import {get, getBlob} from './api.js';
import {WriteForm} from './command.js';
import {make, makeQuality, nothing, problem, setAttribute, setQuality, setText} from './dom.js';
import * as format from './format.js';
import {plotted} from './plant.js';
import {Plot} from './plot.js';
import {Priorities} from './priorities.js';

const DOWNLOAD_BEGUN_MS = 60000;

function section(title, ...children) {
  const id = `section-${title.toLowerCase().replaceAll(' ', '-')}`;
  return make('section', {'aria-labelledby': id}, make('h2', {id}, title), ...children);
}

// The value, large, and how good it is.
class Present {
  constructor(plant, point) {
    Object.assign(this, {plant, point});
    this.quality = makeQuality(plant.qualityOf(point));
    this.value = make('span', {class: 'value'});
    this.since = make('span', {class: 'since'});
    this.words = make('p', {class: 'words'});
    const unit = make('span', {class: 'unit'}, format.unit(point));
    this.element = make(
        'div', {class: 'present'}, make('p', {class: 'large'}, this.value, ' ', unit),
        make('p', {class: 'how'}, this.quality, this.since), this.words);
    this.update();
  }

  update() {
    const {plant, point} = this;
    const isNow = plant.phase === 'live' && point.quality === 'good';
    setQuality(this.quality, plant.qualityOf(point));
    setText(this.value, point.value === null ? 'No value' : format.value(point));
    setAttribute(this.value, 'title', point.text);
    setText(this.since, isNow ? 'now' : `value of ${format.time(plant.timeOf(point))}`);
    setText(this.words, plant.wordsOf(point));
    this.words.hidden = point.code === 0;
  }
}

class Errors {
  constructor(point, signal) {
    Object.assign(this, {point, signal});
    this.element = make('ul', {class: 'errors'});
    this.load();
  }

  async load() {
    try {
      const errors = await get(`api/points/${this.point.id}/errors`, this.signal);
      const line = ({time, code, words}) => make(
          'li', {}, make('time', {datetime: new Date(time).toISOString()}, format.time(time)),
          make('span', {}, `${words} (code ${code})`));
      this.element.replaceChildren(...errors.map(line));
      if (errors.length === 0) this.element.append(make('li', {class: 'nothing'}, 'None since the start.'));
    } catch (error) {
      if (!this.signal.aborted) this.element.replaceChildren(make('li', {}, error.message));
    }
  }
}

// The file of what was seen, as the browser saves any other.
async function saveCsv(point) {
  const address = URL.createObjectURL(await getBlob(`api/points/${point.id}/history?format=csv`));
  make('a', {href: address, download: `${point.name.replace(/[^\w.-]+/g, '_')}.csv`}).click();
  setTimeout(() => URL.revokeObjectURL(address), DOWNLOAD_BEGUN_MS);
}

// The plot; a text has none.
function makeHistory(plant, point, signal) {
  const trouble = make('div');
  const say = (error) => signal.aborted || trouble.replaceChildren(problem(error.message));
  const csv = make('button', {type: 'button', onclick: () => saveCsv(point).catch(say)}, 'Save as CSV');
  if (point.type === 'STRING') {
    const bar = make('div', {class: 'bar'}, csv);
    return {element: section('History', nothing('A text has no plot; its file has all that was seen.'), bar, trouble)};
  }
  const plot = new Plot(plant, point, csv);
  const load = async () => plot.take(await get(`api/points/${point.id}/history`, signal), signal);
  load().catch(say);
  plant.addEventListener('points', () => load().catch(say), {signal});  // what was seen while there was no connection
  return {element: section('History', plot.element, trouble), plot};
}

// The device is written and read by its link.
function about(plant, point) {
  const device = plant.links.find((link) => link.link === point.link)?.device;
  return [format.object(point), point.type ?? 'raw', `link ${point.link}`, device].filter(Boolean).join(', ');
}

export function showPoint(main, plant, {item, points, signal}) {
  const back = make('p', {class: 'back'}, make('a', {href: points}, '← Points'));
  const point = plant.points[Number(item)];
  if (!point) {
    main.append(back, make('h1', {tabindex: '-1'}, 'No such point'), problem('The project has no such point.'));
    return 'No such point';
  }
  const present = new Present(plant, point);
  const {element: history, plot} = makeHistory(plant, point, signal);
  const priorities = new Priorities(plant, point, signal);
  const errors = new Errors(point, signal);
  const form = point.writable ? new WriteForm(plant, point, () => priorities.load()) : null;
  main.append(
      back, make('h1', {tabindex: '-1'}, point.name), make('p', {class: 'lead'}, about(plant, point)),
      make(
          'div', {class: 'point'},
          make(
              'div', {class: 'column'}, present.element,
              section('Write', form?.element ?? nothing(plant.forbidden ?? 'This point cannot be written.')),
              section('Last errors', errors.element)),
          make('div', {class: 'column'}, history, section('Priorities', priorities.element))));

  let code = point.code;
  const update = () => {
    present.update();
    form?.update();
    priorities.update();
    if (point.code !== code) errors.load();
    code = point.code;
  };
  const onValues = ({detail}) => {
    if (!detail.has(point.id)) return;
    plot?.append(plant.valuesTime, point.quality === 'good' ? plotted(point.value) : null);
    update();
  };
  plant.addEventListener('values', onValues, {signal});
  plant.addEventListener('connection', update, {signal});
  const ticking = setInterval(() => {
    present.update();
    plot?.tick();
  }, 1000);
  signal.addEventListener('abort', () => clearInterval(ticking));
  return point.name;
}
