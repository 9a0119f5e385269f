// A point's row in the table of all points, whose cells are touched only where they change.
import {make, makeQuality, setAttribute, setQuality, setText} from './dom.js';
import * as format from './format.js';
import {makeTrend} from './trend.js';

const cell = (name, ...children) => make('td', {class: name, role: 'cell'}, ...children);

export class PointRow {
  constructor(plant, point) {
    Object.assign(this, {plant, point});
    const object = format.object(point);
    this.quality = makeQuality(plant.qualityOf(point));
    this.value = cell('value');
    this.age = cell('age');
    this.trend = makeTrend();
    const link = make('a', {href: `#/point/${point.id}`, title: point.name}, point.name);
    this.element = make(
        'tr', {role: 'row'}, cell('quality', this.quality),
        make('th', {class: 'name', scope: 'row', role: 'rowheader'}, link),
        make(
            'td', {class: 'object', role: 'cell', title: object},
            plant.links.length > 1 ? `${point.link}: ${object}` : object),
        this.value, cell('unit', format.unit(point)), this.age, cell('trend', this.trend.element));
    this.update();
  }

  update() {
    const {plant, point} = this;
    const quality = plant.qualityOf(point);
    const words = plant.wordsOf(point);
    setQuality(this.quality, quality);
    setAttribute(this.quality, 'title', words);
    setAttribute(this.element, 'data-quality', quality);
    // A point that has no value says why in its place.
    const isWithout = quality !== 'good' && point.value === null && words !== '';
    this.value.classList.toggle('words', isWithout);
    setText(this.value, isWithout ? words : format.value(point));
    setAttribute(this.value, 'title', isWithout ? words : point.text);
    this.trend.update(point, plant.now());
    this.tick();
  }

  // Once a second: what is not good has become older.
  tick() {
    const {plant, point} = this;
    const ms = plant.timeOf(point);
    const isNow = plant.phase === 'live' && point.quality === 'good';
    setText(this.age, isNow ? 'now' : ms === null ? 'never' : format.age(plant.now() - ms));
  }
}
