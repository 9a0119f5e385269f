// The doctor, step by step with remedies.
import {get} from './api.js';
import {announce, make, makeMark, problem} from './dom.js';
import * as format from './format.js';

const RESULTS = {
  ok: ['good', 'OK'],
  warning: ['warning', 'Warning'],
  failed: ['failed', 'Failed'],
  skipped: ['skipped', 'Skipped'],
};

function makeStep({step, result, text, remedy}) {
  const [kind, word] = RESULTS[result];
  return make(
      'li', {'data-result': result}, makeMark(kind, word),
      make(
          'div', {}, make('h2', {}, step), make('p', {class: 'detail'}, text),
          remedy ? make('p', {class: 'remedy'}, make('strong', {}, 'Remedy: '), remedy) : null));
}

export function showDoctor(main, plant, {signal}) {
  const steps = make('ol', {class: 'steps'});
  const summary = make('p', {class: 'summary'}, 'Looking …');
  const again = make('button', {type: 'button', onclick: () => run()}, 'Look again');
  main.append(
      make('h1', {tabindex: '-1'}, 'Doctor'),
      make('p', {class: 'lead'}, 'Walks from the plug-in to the first read, and says what to do where it stops.'),
      make('div', {class: 'bar'}, again, summary), steps);

  async function run() {
    again.disabled = true;
    summary.textContent = 'Looking …';
    try {
      const answer = await get('api/doctor', signal);
      const count = (result) => answer.steps.filter((step) => step.result === result).length;
      steps.replaceChildren(...answer.steps.map(makeStep));
      const failed = count('failed');
      summary.textContent = `${failed === 0 ? 'All well' : format.count(failed, 'step failed', 'steps failed')}, ` +
          `${format.count(count('warning'), 'warning', 'warnings')}, at ${format.time(Date.now())}`;
      announce(summary.textContent);
    } catch (error) {
      if (signal.aborted) return;
      steps.replaceChildren(problem(error.message));
      summary.textContent = '';
    }
    again.disabled = false;
  }
  run();
  return 'Doctor';
}
