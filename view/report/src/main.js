// Builds the page from the model in it.
import { amount, counted, el, name } from './dom.js';
import { readModel } from './model.js';
import { hatchings, themeSwitch } from './colours.js';
import { classKey } from './key.js';
import { TreeView } from './tree_view.js';
import { nodePanel } from './panel.js';
import { searchBox } from './search.js';
import { caseForm } from './case_form.js';
import { RuleList } from './rules.js';
import { matrices } from './matrices.js';
import { classFigures, OUT_OF_BAG, overallTable } from './metrics.js';
import { dependenceSection } from './dependence.js';
import { hintsOf } from './hints.js';
import { trainingPage } from './profile.js';
import { importanceBars } from './charts.js';
import { ensembleCharts, treePicker } from './ensemble.js';
import { preparePrint } from './print.js';

const section = (id, title, ...content) =>
  el('section', { id, 'aria-labelledby': `${id}-title` },
     el('h2', { id: `${id}-title` }, title), content);

const shortPercent = (x) => `${Number.isFinite(x) ? +x.toPrecision(3) : '–'} %`;

function figures(model) {
  const of = (label, value) => el('div', { class: 'figure' }, el('span', { class: 'value' }, value),
                                  el('span', { class: 'label' }, label));
  const sum = (field) => model.sizes.reduce((a, s) => a + s[field], 0);
  const all = [model.ensemble ? of('trees', model.tree_count.toLocaleString('en')) : null,
    of('nodes', sum(0).toLocaleString('en')), of('leaves', sum(1).toLocaleString('en')),
    of(model.ensemble ? 'largest depth' : 'depth',
       String(model.sizes.reduce((most, s) => Math.max(most, s[2]), 0))),
    of('attributes tested', String(model.importance.filter((each) => each.tested).length))];
  for (const matrix of model.matrices) {
    all.push(of(`error, ${matrix.title.toLowerCase()}`,
                shortPercent(parseFloat(matrix.figures[0][1]))));
  }
  const told = model.matrices.some((matrix) => matrix.title === OUT_OF_BAG);
  if (!told && model.oob.length > 0 && model.oob.at(-1) !== null) {
    all.push(of('error, out of bag', shortPercent(100 * model.oob.at(-1))));
  }
  return el('div', { class: 'figures' }, all);
}

function header(model) {
  const button = el('button', { type: 'button', class: 'theme', id: 'theme' });
  themeSwitch(button);
  const target = model.columns[model.class];
  return el('header', {},
    el('div', { class: 'title' },
       el('div', {}, el('h1', {}, name(model.name, { title: model.name })),
          el('p', { class: 'muted' }, model.kind, ' for ', name(target.name), ', ',
             counted(model.classNames.length - 1, 'class', 'classes'),
             model.cases > 0
               ? `, ${model.ensemble ? 'each ' : ''}grown on ${amount(model.cases)} cases` : '')), button),
    figures(model), hintsOf(model));
}

const button = (label, act, attributes = {}) =>
  el('button', { type: 'button', onclick: act, ...attributes }, label);

function levelChoice(view) {
  const choice = el('select', { 'aria-label': 'Levels to show', id: 'levels' },
                    el('option', { value: '' }, 'Levels'));
  for (let i = 1; i <= 8; ++i) choice.append(el('option', { value: i }, `${i} deep`));
  choice.addEventListener('change', () => {
    if (choice.value) view.change((layout) => layout.openTo(Number(choice.value)));
    choice.value = '';
  });
  return choice;
}

function treeSection(model) {
  const status = el('span', { class: 'count', role: 'status', id: 'tree-status' });
  const frame = el('div', { class: 'frame', id: 'tree-frame' });
  const panel = el('aside', { class: 'panel', 'aria-label': 'Selected node', 'aria-live': 'polite',
                              id: 'node-panel' });
  const view = new TreeView(frame, status);
  const search = searchBox(view);
  const tools = el('div', { class: 'toolbar' },
    el('div', { class: 'group' },
       button('Expand all', () => view.change((l) => l.openAll()), { id: 'expand-all' }),
       button('Collapse all', () => view.change((l) => l.openTo(0)), { id: 'collapse-all' }),
       levelChoice(view)),
    el('div', { class: 'group' }, button('−', () => view.zoomBy(1 / 1.4),
         { class: 'icon', 'aria-label': 'Zoom out' }),
       button('+', () => view.zoomBy(1.4), { class: 'icon', 'aria-label': 'Zoom in' }),
       button('Fit', () => view.fit(), { id: 'fit' })),
    search.element, status);
  const update = nodePanel(panel, view);
  view.addEventListener('select', (event) => update(event.detail));
  return { view, search, update, tools, element: section('tree', model.ensemble ? 'Trees' : 'Tree',
    tools, classKey(model), el('div', { class: 'tree-area' }, frame, panel),
    el('p', { class: 'muted hint' }, 'Drag to move, wheel to zoom. Keys: arrows walk the tree, ',
       'Enter opens and closes, ', el('kbd', {}, '/'), ' searches, ', el('kbd', {}, '+'), ' ',
       el('kbd', {}, '−'), ' ', el('kbd', {}, '0'),
       ' zoom. Lines are as wide as the cases are many.')) };
}

function importanceSection(model) {
  if (!model.importance.some((each) => each.gain !== 0)) return null;
  const charts = [importanceBars(model, 'gain', 'Information gained, in bits a case')];
  if (model.importance.some((each) => each.permutation)) {
    charts.push(importanceBars(model, 'permutation', model.permutation_title));
  }
  return section('importance', 'Importance of the attributes',
                 el('div', { class: 'columns' }, charts));
}

/** Everything but the tree, in the order of the page. */
function otherSections(model, form, rules, choose) {
  const dependence = dependenceSection(model);
  return [
    section('case', 'Classify a case', form.element),
    section('rules', 'Rules', rules.element),
    model.matrices.length > 0 ? section('errors', 'Errors and figures', overallTable(model),
                                        matrices(model), classFigures(model)) : null,
    importanceSection(model),
    dependence ? section('dependence', 'Dependence on an attribute', dependence) : null,
    model.ensemble ? section('ensemble', 'Ensemble', ensembleCharts(model, choose)) : null,
    section('training', 'Training', trainingPage(model)),
  ].filter(Boolean);
}

function build() {
  const model = readModel();
  const tree = treeSection(model);
  const goTo = (node) => {
    tree.view.goTo(node);
    tree.element.scrollIntoView();
    tree.view.focus(node);
  };
  const form = caseForm(model, tree.view, goTo);
  const rules = new RuleList(model, goTo);
  const choose = (i) => {
    tree.view.show(model.tree(i));
    tree.search.reset();
    tree.update(0);
    rules.show(model.tree(i));
    form.mark();
    picker.show(i);
  };
  const picker = treePicker(model, choose);
  if (picker.element) tree.tools.prepend(picker.element);
  const sections = [tree.element, ...otherSections(model, form, rules, choose)];
  const links = sections.map((s) =>
    el('a', { href: `#${s.id}` }, s.querySelector('h2').textContent));
  const main = el('main', {}, sections);
  document.getElementById('no-script').replaceWith(
    header(model), el('nav', { 'aria-label': 'Sections' }, links), main,
    el('footer', { class: 'muted' }, model.made_by), hatchings());
  choose(0);
  preparePrint(tree.view, rules, main);
  performance.mark('orvik-report-ready');
}

build();
