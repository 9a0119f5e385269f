// The links and their devices.
import {make, makeMark, nothing} from './dom.js';
import * as format from './format.js';

const MARKS = {
  connected: 'good',
  connecting: 'old',
  lost: 'failed'
};
const WORDS = {
  connected: 'Connected',
  connecting: 'Connecting',
  lost: 'Lost'
};

// A helper may be connected while the device behind it is silent; a state that nobody hears of any more is an old one.
function makeState(plant, link) {
  if (plant.phase !== 'live') return makeMark('old', `${WORDS[link.state]} (old)`);
  const isSilent = link.state === 'connected' && link.points > 0 && link.old === link.points;
  return isSilent ? makeMark('old', 'No answer') : makeMark(MARKS[link.state], WORDS[link.state]);
}

export function showLinks(main, plant, {signal}) {
  const body = make('tbody');
  const cell = (name, ...children) => make('td', {class: name}, ...children);
  const row = (link) => {
    const of = `#/points?link=${link.link}`;
    const count = (number, filter, name) =>
        cell(`number ${name}`, number === 0 ? '0' : make('a', {href: `${of}&show=${filter}`}, String(number)));
    return make(
        'tr', {}, cell('quality', makeState(plant, link)),
        make('th', {scope: 'row', class: 'name'}, make('a', {href: of}, `Link ${link.link}`)),
        cell('device', link.device), cell('number', String(link.points)), count(link.good, 'good', 'is-good'),
        count(link.old, 'old', 'is-old'), count(link.failed, 'failed', 'is-failed'),
        cell('time', format.time(link.lastAnswer)),
        cell('reason', link.code === 0 ? '' : link.words || `code ${link.code}`));
  };
  const draw = () => {
    const focused = document.activeElement?.closest('tbody') === body && document.activeElement.hash;
    body.replaceChildren(...plant.links.map(row));
    if (focused) [...body.querySelectorAll('a')].find((link) => link.hash === focused)?.focus();
  };
  const heads = [
    ['quality', 'State'], ['name', 'Link'], ['device', 'Device'], ['number', 'Points'], ['number', 'Good'],
    ['number', 'Old'], ['number', 'Failed'], ['time', 'Last answer'], ['reason', 'Why']
  ];
  main.append(
      make('h1', {tabindex: '-1'}, 'Links'),
      plant.links.length === 0 ?
          nothing('The project has no link.') :
          make(
              'div', {class: 'wide', tabindex: '0', role: 'region', 'aria-label': 'Links'},
              make(
                  'table', {class: 'links'},
                  make(
                      'thead', {},
                      make('tr', {}, ...heads.map(([name, title]) => make('th', {class: name, scope: 'col'}, title)))),
                  body)));
  plant.addEventListener('links', draw, {signal});
  plant.addEventListener('connection', draw, {signal});
  draw();
  return 'Links';
}
