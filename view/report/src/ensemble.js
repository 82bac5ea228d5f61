// What an ensemble has beside its trees: a choice of the tree that is shown, and figures by tree.
import { counted, el } from './dom.js';
import { errorCurve, sizeBars } from './charts.js';

/** A number and two arrows; `choose` gets the place of the tree. */
export function treePicker(model, choose) {
  if (model.shownTrees < 2) return { element: null, show: () => {} };
  const list = el('select', { 'aria-label': 'Tree of the ensemble' });
  for (let i = 0; i < model.shownTrees; ++i) {
    list.append(el('option', { value: i },
                   `Tree ${i + 1} – ${counted(model.sizes[i][0], 'node', 'nodes')}`));
  }
  list.addEventListener('change', () => choose(Number(list.value)));
  const step = (text, label, by) => el('button', {
    type: 'button', class: 'icon', 'aria-label': label, title: label,
    onclick: () => {
      const to = Number(list.value) + by;
      if (to >= 0 && to < model.shownTrees) choose(to);
    },
  }, text);
  return {
    element: el('div', { class: 'tree-picker' }, step('‹', 'Previous tree', -1), list,
                step('›', 'Next tree', 1)),
    show: (tree) => { list.value = tree; },
  };
}

export function ensembleCharts(model, choose) {
  const charts = [];
  if (model.oob.length > 0) charts.push(errorCurve(model.oob));
  charts.push(sizeBars(model, choose));
  const notes = model.oob_note === '' ? [] : [el('p', { class: 'muted' }, model.oob_note)];
  if (model.shownTrees < model.tree_count) {
    notes.push(el('p', { class: 'muted' }, `The nodes of the first ${model.shownTrees} of
      ${model.tree_count} trees are in this report; figures are of all.`));
  }
  return el('div', {}, el('div', { class: 'charts' }, charts), notes);
}
