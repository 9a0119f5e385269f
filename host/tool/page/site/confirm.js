// Nothing is changed without a question that shows what is there, what will be, and at which priority.
import {make} from './dom.js';

// Asks, and gives true when the answer is yes. Facts are [name, value]; a value may be a function, which is asked again
// each second for as long as the dialog is open.
export function confirm({title, facts, action, warning}) {
  return new Promise((resolve) => {
    const values = facts.map(([, value]) => make('dd', {}, typeof value === 'function' ? value() : value));
    const dialog = make(
        'dialog', {'aria-labelledby': 'dialog-title'},
        make(
            'form', {method: 'dialog'}, make('h2', {id: 'dialog-title'}, title),
            make('dl', {class: 'facts'}, ...facts.flatMap(([name], i) => [make('dt', {}, name), values[i]])),
            warning ? make('p', {class: 'warning'}, warning) : null,
            make(
                'div', {class: 'buttons end'}, make('button', {value: 'no', autofocus: true}, 'Cancel'),
                make('button', {value: 'yes', class: 'primary'}, action))));
    const ticking = setInterval(
        () => facts.forEach(([, value], i) => {
          if (typeof value === 'function') values[i].textContent = value();
        }),
        1000);
    dialog.addEventListener('close', () => {
      clearInterval(ticking);
      dialog.remove();
      resolve(dialog.returnValue === 'yes');
    });
    document.body.append(dialog);
    dialog.showModal();
  });
}
