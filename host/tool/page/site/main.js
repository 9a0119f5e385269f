// The page: what the address names is shown, and the line on top says how the connection is.
import {setToken, takeToken} from './api.js';
import {showDevices} from './devices_view.js';
import {showDoctor} from './doctor_view.js';
import {make, setText} from './dom.js';
import * as format from './format.js';
import {showLinks} from './links_view.js';
import {Plant} from './plant.js';
import {showPoint} from './point_view.js';
import {showPoints} from './points_view.js';

const VIEWS = {
  points: showPoints,
  point: showPoint,
  links: showLinks,
  doctor: showDoctor,
  devices: showDevices,
};

const main = document.getElementById('main');
const plant = new Plant();
let shown = null;         // the address of the view that is shown
let leave = null;         // takes that view's listeners back
const kept = new Map();   // how far each address was scrolled
let points = '#/points';  // the address of the points as they were last filtered and sorted

function askForToken() {
  const input = make('input', {id: 'token', type: 'password', autocomplete: 'off', required: true});
  const enter = (event) => {
    event.preventDefault();
    setToken(input.value.trim());
    plant.hurry();
  };
  main.replaceChildren(
      make('h1', {}, 'Token needed'),
      make(
          'p', {},
          'hmi-host printed an address with a token when it was started. Open that address, or enter the token:'),
      make(
          'form', {class: 'token', onsubmit: enter}, make('label', {'for': 'token'}, 'Token'), input,
          make('button', {class: 'primary'}, 'Open')));
  input.focus();
}

// Shows what the address names: `#/VIEW/ITEM?KEY=VALUE`.
function show() {
  if (!plant.state || shown === location.hash) return;
  const [, name, item, query] = /^#\/([a-z]*)(?:\/([^?]*))?(?:\?(.*))?$/.exec(location.hash) || [];
  if (!VIEWS[name]) {
    location.replace('#/points');
    return;
  }
  const isFirst = shown === null;
  if (leave) leave.abort();
  leave = new AbortController();
  shown = location.hash;
  main.replaceChildren();
  main.dataset.view = name;
  for (const link of document.querySelectorAll('nav a')) {
    const isCurrent = link.hash === `#/${name === 'point' ? 'points' : name}`;
    if (isCurrent) {
      link.setAttribute('aria-current', 'page');
    } else {
      link.removeAttribute('aria-current');
    }
  }
  // A view may write its filter into the address: that is no other view.
  const rename = (hash) => {
    history.replaceState(null, '', hash);
    shown = hash;
    points = hash;
  };
  const context = {item, query: new URLSearchParams(query), points, rename, signal: leave.signal};
  const title = VIEWS[name](main, plant, context);
  document.title = `${title} – hmi-host`;
  scrollTo(0, kept.get(shown) || 0);
  if (!isFirst) main.querySelector('h1').focus({preventScroll: true});
}

const CONNECTION = {
  connecting: () => 'Connecting …',
  live: () => 'Live',
  lost: () =>
      (plant.lastSign === null ? `No connection: ${plant.trouble}; trying again` :
                                 `Connection lost, last values of ${format.time(plant.lastSign)}`),
  refused: () => 'The token is missing or wrong',
};

function showConnection() {
  const line = document.getElementById('connection');
  line.dataset.phase = plant.phase;
  document.body.dataset.phase = plant.phase;
  setText(line, CONNECTION[plant.phase]());
  if (plant.phase === 'refused' && !plant.state) askForToken();
}

function showProject() {
  const place = document.getElementById('project');
  setText(place, plant.state.project.replace(/\/+$/, '').split('/').pop());
  place.title = `${plant.state.project}, hmi-host ${plant.state.version}`;
}

takeToken();
history.scrollRestoration = 'manual';
plant.addEventListener('points', ({detail: isSame}) => {
  showProject();
  if (!isSame) shown = null;
  show();
});
plant.addEventListener('connection', showConnection);
addEventListener('hashchange', show);
addEventListener('scroll', () => kept.set(shown, scrollY), {passive: true});
addEventListener('online', () => plant.hurry());
document.addEventListener('visibilitychange', () => document.hidden || plant.hurry());
plant.run();
