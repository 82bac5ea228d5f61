// How good the predictions are: over all and by class, curves, and what a threshold would change.
// Every figure says of which rows it is.
import { amount, el, name, percent, svg } from './dom.js';
import { classColour, swatch } from './colours.js';
import { across, curve, diagonal, plot, up } from './plot.js';

export const OUT_OF_BAG = 'Out-of-bag rows';

const figure = (x) => x === null || x === undefined ? '–' : x.toFixed(4);

/** The figures of a matrix, null where there are too many classes. */
const figuresOf = (matrix) => matrix.metrics?.tests[0] ?? null;

/** With what it was before calibration, where there is any. */
const beside = (now, before) => before === undefined ? figure(now)
  : `${figure(now)} (before calibration ${figure(before)})`;

const OVERALL = [
  ['Accuracy', (m) => figure(m.accuracy)],
  ['Accuracy, 95 % interval', (m) => m.accuracy_95[0] === null ? '–'
    : m.accuracy_95.map(figure).join(' to ')],
  ['Balanced accuracy (mean recall)', (m) => figure(m.balanced_accuracy)],
  ['Cohen’s kappa', (m) => figure(m.kappa)],
  ['Log-loss', (m) => beside(m.log_loss, m.plain_log_loss)],
  ['Brier score', (m) => beside(m.brier, m.plain_brier)],
  ['Mean F1 of the classes', (m) => figure(m.mean.f1)],
  ['Mean area under the ROC curves', (m) => figure(m.mean.roc_area)],
];

/** All figures of all matrices, side by side. */
export function overallTable(model) {
  const { matrices } = model;
  const line = (label, cells) => el('tr', {}, el('th', { scope: 'row' }, label),
    cells.map((cell) => el('td', { class: 'number' }, cell)));
  const all = matrices.map(figuresOf);
  const known = all.some(Boolean)
    ? OVERALL.map(([label, of]) => line(label, all.map((m) => m ? of(m) : '–'))) : [];
  const counted = matrices[0].figures.map(([label], i) =>
    line(label, matrices.map((m) => m.figures[i][1])));
  return el('div', { class: 'scroll' }, el('table', { class: 'measures' },
    el('thead', {}, el('tr', {}, el('th', { scope: 'col' }, 'Measure'),
       matrices.map((m) => el('th', { scope: 'col', class: 'number' }, m.title)))),
    el('tbody', {}, counted.slice(0, 2), known, counted.slice(2))));
}

const CLASS_COLUMNS = [['Precision', 'precision'], ['Recall', 'recall'], ['F1', 'f1'],
  ['ROC area', 'roc_area'], ['Avg. precision', 'average_precision']];

function classTable(model, metrics) {
  const row = (head, of, support) => el('tr', {}, el('th', { scope: 'row' }, head),
    CLASS_COLUMNS.map(([, key]) => el('td', { class: 'number' }, figure(of[key]))),
    el('td', { class: 'number' }, support));
  return el('div', { class: 'scroll tall', tabindex: 0, role: 'region',
                     'aria-label': 'Figures by class' }, el('table', { class: 'rows by-class' },
    el('thead', {}, el('tr', {}, el('th', { scope: 'col' }, 'Class'),
       [...CLASS_COLUMNS.map(([title]) => title), 'Support'].map((title) =>
         el('th', { scope: 'col', class: 'number' }, title)))),
    el('tbody', {}, metrics.classes.map((c) =>
      row([swatch(c.code), name(model.classNames[c.code])], c, amount(c.support))),
      row('Mean of the classes', metrics.mean, ''),
      row('Mean by support', metrics.weighted_mean, ''))));
}

const marker = (x, y) => svg('circle', { class: 'end', cx: across(x), cy: up(y), r: 4.5 });

const pairs = (bins) => bins.map(([, share, part]) => [share, part]);

function reliability(of) {
  const most = Math.max(...of.reliability.map(([weight]) => weight));
  return plot(`Do shares mean what they say?${of.plain_reliability ? ' Dashed: before calibration' : ''}`,
    'mean share of the class in the prediction',
    'part of the rows that are of it', diagonal(),
    of.plain_reliability && curve(pairs(of.plain_reliability), false, 'before'),
    curve(pairs(of.reliability)),
    of.reliability.map(([weight, share, part]) => svg('circle', {
      class: 'end', cx: across(share), cy: up(part), r: 2.5 + 6 * Math.sqrt(weight / most) },
      svg('title', {}, `${amount(weight)} rows: said ${percent(share)}, found ${percent(part)}`))));
}

/** The curves of one class; `show(i)` marks point i of the first, if any is to be marked. */
function curvesOf(model, of, marked) {
  const mark = marked ? marker(0, 0) : null;
  const begin = of.precision_recall[0];
  const charts = el('div', { class: 'charts three' },
    plot(['ROC curve of ', name(model.classNames[of.code]), `, area ${figure(of.roc_area)}`], 'false positives', 'true positives', diagonal(),
         curve(of.roc), mark),
    plot(`Precision and recall, average precision ${figure(of.average_precision)}`, 'recall',
         'precision', curve([[0, begin[1]], ...of.precision_recall], true)),
    reliability(of));
  return { charts, show: (i) => {
    mark.setAttribute('cx', across(of.roc[i][0]));
    mark.setAttribute('cy', up(of.roc[i][1]));
  } };
}

/** The matrix of two classes when rows of at least a share are taken for the one. */
function thresholdPanel(model, of, other, show) {
  const slider = el('input', { type: 'range', min: 0, max: of.roc.length - 1, step: 1,
                               id: 'threshold', 'aria-label': 'Threshold' });
  const label = el('output', { for: 'threshold' });
  const table = el('table', { class: 'matrix small' });
  const said = el('p', { class: 'muted', id: 'threshold-figures' });
  const update = () => {
    const [falsely, truly, threshold] = of.roc[slider.value];
    const right = truly * of.support;
    const wrong = falsely * other.support;
    const taken = right + wrong;
    const all = of.support + other.support;
    const precision = taken > 0 ? right / taken : 0;
    label.textContent = threshold === null ? 'above every share' : `from a share of ${threshold} on`;
    const cells = [[right, of.support - right], [wrong, other.support - wrong]];
    const head = (c) => el('th', { scope: 'col' }, name(model.classNames[c.code]));
    table.replaceChildren(
      el('thead', {}, el('tr', {}, el('th', { class: 'axis' }, 'class / predicted'), head(of),
                         head(other))),
      el('tbody', {}, [of, other].map((c, i) => el('tr', {}, el('th', { scope: 'row' },
        name(model.classNames[c.code])), cells[i].map((w) => el('td', {}, amount(w)))))));
    said.textContent = `accuracy ${figure((right + other.support - wrong) / all)}, precision ${
      figure(precision)}, recall ${figure(truly)}, F1 ${
      figure(precision + truly > 0 ? 2 * precision * truly / (precision + truly) : 0)}`;
    show(Number(slider.value));
  };
  const half = of.roc.findLastIndex(([, , t]) => t === null || t >= 0.5);
  slider.value = Math.max(0, half);
  slider.addEventListener('input', update);
  update();
  return el('div', { class: 'threshold' },
    el('label', { for: 'threshold' }, 'Predict ', name(model.classNames[of.code]), ' ', label),
    slider, table, said);
}

function choice(label, texts, act) {
  const list = el('select', { 'aria-label': label }, texts.map((text, i) =>
    el('option', { value: i, dir: 'auto' }, text)));
  list.addEventListener('change', () => act(Number(list.value)));
  return list;
}

/** Table and curves of the rows and the class that are chosen; null without figures. */
export function classFigures(model) {
  const sets = model.matrices.filter(figuresOf);
  if (sets.length === 0) return null;
  const body = el('div');
  const show = (matrix) => {
    const metrics = figuresOf(matrix);
    const drawn = metrics.classes.filter((c) => c.roc.length > 0);
    const area = el('div');
    const draw = (i) => {
      const of = drawn[i];
      const two = drawn.length === 2 && metrics.classes.length === 2;
      const { charts, show: mark } = curvesOf(model, of, two);
      charts.style.setProperty('--class-color', classColour(of.code));
      area.replaceChildren(charts,
        ...(two ? [thresholdPanel(model, of, drawn[1 - i], mark)] : []));
    };
    const curves = drawn.length === 0
      ? [el('p', { class: 'muted' }, 'Curves need rows: give --data.')]
      : [el('div', { class: 'toolbar' }, el('span', {}, 'Curves of the class'),
          choice('Class of the curves', drawn.map((c) => model.classNames[c.code]), draw),
          el('span', { class: 'muted' }, 'against the others')), area];
    body.replaceChildren(el('p', { class: 'muted', id: 'figures-of' },
      `Of ${metrics.rows.toLowerCase()}${metrics.n_unknown > 0
        ? `, without ${metrics.n_unknown} of unknown class` : ''}.`),
      classTable(model, metrics), ...curves);
    if (drawn.length > 0) draw(0);
  };
  // Those that flatter least: rows that the trees have not seen, where there are such.
  const unseen = sets.findIndex((m) => m.title === OUT_OF_BAG);
  const first = unseen >= 0 ? unseen : sets.length - 1;
  const rows = choice('Rows of the figures', sets.map((m) => m.title), (i) => show(sets[i]));
  rows.value = first;
  show(sets[first]);
  return el('div', { class: 'class-figures' },
    el('div', { class: 'toolbar' }, el('h3', {}, 'By class'), sets.length > 1 ? rows : null), body);
}
