// The plot of one point: what was seen since the start, following the present or standing still where it was zoomed to.
/* global Dygraph */
import {make, setText} from './dom.js';
import * as format from './format.js';
import {appendSample, plotted} from './plant.js';

const RANGES = [
  {title: '1 min', ms: 60e3},
  {title: '10 min', ms: 600e3},
  {title: '1 h', ms: 3600e3},
  {title: 'All', ms: Infinity},
];
// Axes and grid: the page says the rest itself, and the library's legend needs a style that the content policy forbids.
Dygraph.PLUGINS = [Dygraph.Plugins.Axes, Dygraph.Plugins.Grid];
const MAX_SAMPLES = 50000;
const NARROWEST_MS = 2000;

const colour = (name) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

// The plotting library takes the texts at an axis as markup.
const escaped = (text) => text.replace(/[&<>"']/g, (character) => `&#${character.charCodeAt(0)};`);

export class Plot {
  range = RANGES[1].ms;
  isFollowing = true;
  samples = [];

  constructor(plant, point, csv) {
    Object.assign(this, {plant, point});
    this.isStepped = !format.isReal(point);
    this.area = make('div', {class: 'plot', role: 'img'});
    this.reading = make('p', {class: 'reading'});
    const onrange = (ms) => () => this.follow(ms);
    this.ranges = RANGES.map(({title, ms}) => make('button', {type: 'button', onclick: onrange(ms)}, title));
    const step = (label, sign, onclick) =>
        make('button', {type: 'button', 'aria-label': label, title: label, onclick}, sign);
    const ranges = make('div', {class: 'buttons', role: 'group', 'aria-label': 'Time shown'}, ...this.ranges);
    const steps = make(
        'div', {class: 'buttons', role: 'group', 'aria-label': 'Zoom'}, step('Zoom in', '+', () => this.zoom(0.5)),
        step('Zoom out', '−', () => this.zoom(2)), step('Earlier', '←', () => this.pan(-0.5)),
        step('Later', '→', () => this.pan(0.5)));
    this.element = make('div', {}, make('div', {class: 'bar plot-bar'}, ranges, steps, csv), this.area, this.reading);
  }

  // Takes the history, [ms, number or null] each; the element has to be in the document by now.
  take({samples}, signal) {
    this.samples = samples;
    if (this.graph) {
      this.tick();
    } else {
      this.draw(signal);
    }
  }

  draw(signal) {
    this.graph = new Dygraph(this.area, this.rows(), {
      labels: ['Time', 'Value'],
      stepPlot: this.isStepped,
      connectSeparatedPoints: false,
      strokeWidth: 1.6,
      axisLabelFontSize: 12,
      xRangePad: 0,
      yRangePad: 12,
      gridLineWidth: 1,
      interactionModel: Dygraph.defaultInteractionModel,
      axes: {
        x: {axisLabelWidth: 64},
        y: {
          axisLabelWidth: this.point.texts ? 84 : 56,
          axisLabelFormatter: (value) => this.label(value),
          ticker: this.ticker()
        },
      },
      highlightCallback: (event, x, points) => this.show(x, points[0].yval),
      unhighlightCallback: () => {
        this.isPointed = false;
        this.summarize();
      },
      zoomCallback: () => this.stand(),
      drawCallback: (graph, isInitial) => isInitial || this.summarize(),
      ...(this.isBinary() ? {valueRange: [-0.2, 1.2]} : {}),
      ...this.look(),
      ...this.span(),
    });
    const dark = matchMedia('(prefers-color-scheme: dark)');
    dark.addEventListener('change', () => this.graph.updateOptions(this.look()), {signal});
    const sizes = new ResizeObserver(() => this.graph.resize());
    sizes.observe(this.area);
    // Drawing anew would end what the pointer has begun.
    const hold = () => {
      this.isHeld = true;
    };
    const letGo = () => {
      if (this.isHeld) this.noticePan();
      this.isHeld = false;
    };
    for (const name of ['mousedown', 'touchstart']) this.area.addEventListener(name, hold, {capture: true, signal});
    for (const name of ['mouseup', 'touchend', 'touchcancel']) addEventListener(name, letGo, {signal});
    signal.addEventListener('abort', () => {
      sizes.disconnect();
      this.graph.destroy();
      this.graph = null;
    });
    this.showRange();
    this.summarize();
  }

  look() { return {colors: [colour('--line')], axisLineColor: colour('--edge'), gridLineColor: colour('--faint')}; }

  isBinary() { return this.point.type === 'BOOL' || this.point.object.startsWith('binary'); }

  // States have a line each, numbers the library's own choice.
  ticker() {
    if (!this.isStepped || (!this.point.texts && !this.isBinary())) return Dygraph.numericTicks;
    return (low, high) => {
      const ticks = [];
      for (let value = Math.ceil(low); value <= high && ticks.length < 12;
           value += Math.max(1, Math.ceil((high - low) / 10))) {
        ticks.push({v: value, label: this.label(value)});
      }
      return ticks;
    };
  }

  label(value) {
    const text = format.stateText(this.point, value);
    return text === null ? String(Number(value.toPrecision(6))) : escaped(text);
  }

  words(value) {
    return format.stateText(this.point, value) ??
        format.withUnit(this.isStepped ? String(value) : format.number(value), this.point);
  }

  // The samples, and the present, to which the last value holds.
  rows() {
    const rows = this.samples.map(([ms, value]) => [new Date(ms), value]);
    const last = this.samples[this.samples.length - 1];
    const now = this.plant.timeOf(this.point);
    if (last && this.point.quality === 'good' && now > last[0]) rows.push([new Date(now), last[1]]);
    return rows.length > 0 ? rows : [[new Date(this.plant.now()), null]];
  }

  first() { return this.samples.length > 0 ? this.samples[0][0] : this.plant.now() - RANGES[0].ms; }

  // The window that follows the present.
  span() {
    const now = this.plant.now();
    const from = Math.max(now - this.range, Math.min(this.first(), now - NARROWEST_MS));
    return {dateWindow: [Number.isFinite(this.range) ? now - this.range : from, now]};
  }

  append(ms, value) {
    if (!this.graph) return;
    appendSample(this.samples, ms, value, this.plant.state.pollMs);
    if (this.samples.length > MAX_SAMPLES) this.samples.splice(0, this.samples.length - MAX_SAMPLES);
  }

  // Once a second: the present has moved.
  tick() {
    if (this.graph && !this.isHeld)
      this.graph.updateOptions({file: this.rows(), ...(this.isFollowing ? this.span() : {})});
  }

  follow(ms) {
    Object.assign(this, {range: ms, isFollowing: true});
    this.showRange();
    this.tick();
  }

  stand() {
    this.isFollowing = !this.graph.isZoomed('x');
    this.showRange();
  }

  // A drag with the shift key held, or two fingers, move the window without a word of the library.
  noticePan() {
    const [, to] = this.graph.xAxisRange();
    if (this.isFollowing && Math.abs(to - this.plant.now()) > NARROWEST_MS) {
      this.isFollowing = false;
      this.showRange();
    }
  }

  showSpan(from, to) {
    this.isFollowing = false;
    this.graph.updateOptions({dateWindow: [from, to]});
    this.showRange();
  }

  zoom(factor) {
    const [from, to] = this.graph.xAxisRange();
    const width = Math.max(NARROWEST_MS, (to - from) * factor);
    const middle = this.isFollowing ? to - width / 2 : (from + to) / 2;
    this.showSpan(middle - width / 2, middle + width / 2);
  }

  pan(part) {
    const [from, to] = this.graph.xAxisRange();
    const by = (to - from) * part;
    this.showSpan(from + by, to + by);
  }

  showRange() {
    this.ranges.forEach(
        (button, i) => button.setAttribute('aria-pressed', String(this.isFollowing && this.range === RANGES[i].ms)));
  }

  show(ms, value) {
    this.isPointed = true;
    setText(this.reading, `${format.time(ms)}  ${value === null ? 'no value' : this.words(value)}`);
  }

  // Says in words what the plot shows.
  summarize() {
    if (!this.graph || this.isPointed) return;
    const [from, to] = this.graph.xAxisRange();
    const isShown = ([date, value]) => date >= from && date <= to && value !== null;
    const values = this.rows().filter(isShown).map(([, value]) => value);
    let text = `${format.time(from)} to ${format.time(to)}: `;
    if (values.length === 0) {
      text += 'no value';
    } else if (format.stateText(this.point, values[0]) !== null) {
      text += format.count(values.length, 'sample', 'samples');
    } else {
      const [low, high] = [Math.min(...values), Math.max(...values)];
      text += `lowest ${this.words(low)}, highest ${this.words(high)}`;
    }
    setText(this.reading, text);
    this.area.setAttribute('aria-label', `Plot of ${this.point.name}, ${text}`);
  }
}
