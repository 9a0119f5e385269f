// Making elements. Text becomes text nodes only, so that no text of a device can be markup.

const SVG = 'http://www.w3.org/2000/svg';

function fill(element, attributes, children) {
  for (const [name, value] of Object.entries(attributes)) {
    if (name.startsWith('on')) {
      element.addEventListener(name.slice(2), value);
    } else if (value === true) {
      element.setAttribute(name, '');
    } else if (value !== false && value !== null && value !== undefined) {
      element.setAttribute(name, value);
    }
  }
  element.append(...children.filter((child) => child !== null && child !== undefined));
  return element;
}

// An element with attributes (`onclick` and the like are listeners, false leaves one out) and children or texts.
export const make = (tag, attributes = {}, ...children) => fill(document.createElement(tag), attributes, children);
export const makeSvg = (tag, attributes = {}, ...children) =>
    fill(document.createElementNS(SVG, tag), attributes, children);

// Touches the document only where the text is another one.
export function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

export function setAttribute(element, name, value) {
  if (element.getAttribute(name) !== value) element.setAttribute(name, value);
}

const QUALITY_WORDS = {
  good: 'Good',
  old: 'Old',
  failed: 'Failed'
};

// A shape and a word; the shape alone would tell nothing to who cannot see it, the colour nothing to who sees none.
export function makeMark(kind, word) {
  return make(
      'span', {class: 'mark', 'data-kind': kind},
      makeSvg('svg', {'aria-hidden': 'true'}, makeSvg('use', {href: `#mark-${kind}`})),
      make('span', {class: 'word'}, word));
}

export const makeQuality = (quality) => makeMark(quality, QUALITY_WORDS[quality]);

export function setQuality(mark, quality) {
  if (mark.dataset.kind === quality) return;
  mark.dataset.kind = quality;
  mark.querySelector('use').setAttribute('href', `#mark-${quality}`);
  setText(mark.querySelector('.word'), QUALITY_WORDS[quality]);
}

// Said by a screen reader once it has finished what it says.
export function announce(text) { setText(document.getElementById('announcement'), text); }

export const nothing = (text) => make('p', {class: 'nothing'}, text);
export const problem = (text) => make('p', {class: 'problem', role: 'alert'}, text);
