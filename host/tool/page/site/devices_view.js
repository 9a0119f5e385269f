// The devices that a search found.
import {get, post} from './api.js';
import {announce, make, nothing, problem} from './dom.js';
import * as format from './format.js';

const COLUMNS = [
  ['number', 'Device', (device) => device.device],
  ['name', 'Name', (device) => device.name],
  ['text', 'Vendor', (device) => device.vendor],
  ['text', 'Model', (device) => device.model],
  ['address', 'Address', (device) => device.address],
  ['number', 'Network', (device) => device.network],
  ['address', 'MAC', (device) => device.mac],
];
const ASK_MS = 1000;
const PATIENCE_MS = 60000;

function makeTable(devices) {
  const row = (device) =>
      make('tr', {}, ...COLUMNS.map(([kind, , of]) => make('td', {class: kind}, String(of(device) ?? ''))));
  return make(
      'div', {class: 'wide', tabindex: '0', role: 'region', 'aria-label': 'Devices'},
      make(
          'table', {class: 'devices'},
          make(
              'thead', {},
              make('tr', {}, ...COLUMNS.map(([kind, title]) => make('th', {class: kind, scope: 'col'}, title)))),
          make('tbody', {}, ...devices.map(row))));
}

export function showDevices(main, plant, {signal}) {
  const result = make('div');
  const summary = make('p', {class: 'summary'});
  const button = make('button', {type: 'button', onclick: () => attempt(search)}, 'Search');
  main.append(
      make('h1', {tabindex: '-1'}, 'Devices'),
      make(
          'p', {class: 'lead'},
          'Devices that answer a search in the network. A search asks all of them who they are, and changes nothing.'),
      make('div', {class: 'bar'}, button, summary), result);

  function show({devices, searched, error}) {
    if (error) throw new Error(error);
    summary.textContent =
        searched ? `${format.count((devices ?? []).length, 'device', 'devices')} at ${format.time(searched)}` : '';
    if (searched) announce(summary.textContent);
    const none = searched ? 'No device answered.' : 'Nobody has searched yet.';
    result.replaceChildren(devices?.length > 0 ? makeTable(devices) : nothing(none));
  }

  // Shows what the last search found, once it has ended.
  async function look() {
    const end = Date.now() + PATIENCE_MS;
    for (;;) {
      const answer = await get('api/discover', signal);
      if (!answer.isSearching) return show(answer);
      if (Date.now() > end) throw new Error('The search has not ended.');
      summary.textContent = 'Searching …';
      await new Promise((resolve) => setTimeout(resolve, ASK_MS));
    }
  }

  async function search() {
    await post('api/discover', {});
    await look();
  }

  async function attempt(act) {
    button.disabled = true;
    try {
      await act();
    } catch (error) {
      if (signal.aborted) return;
      summary.textContent = '';
      result.replaceChildren(problem(error.message));
    }
    button.disabled = false;
  }
  attempt(look);
  return 'Devices';
}
