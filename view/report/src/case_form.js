// A case, typed or picked from the rows of the table: its class and its way through the tree.
import { el, largest, name, percent, shown } from './dom.js';
import { classify, predict, readValue } from './predict.js';
import { classBar, swatch } from './colours.js';
import { NO_CASES } from './model.js';
import { reasonBars, reasonSummary } from './reasons.js';

const CHOICES = 300;  // values, at most, of a list to choose from
const LISTED = 6;     // columns of the table of rows

/** The columns that the trees of the page test, the most useful first. */
export function testedColumns(model) {
  const tested = new Set();
  for (let i = 0; i < model.shownTrees; ++i) for (const c of model.trees[i].columns) tested.add(c);
  const first = model.importance.map((each) => each.column).filter((c) => tested.delete(c));
  return [...first, ...tested].map((place) => model.columns[place]);
}

function chooser(column, id) {
  const input = el('select', { id }, el('option', { value: '' }, '(unknown)'));
  column.values.forEach((value, place) =>
    input.append(el('option', { value: column.rawValues[place], dir: 'auto' }, value)));
  return input;
}

function fieldOf(column, id) {
  const listed = column.values.length > 0 && column.values.length <= CHOICES;
  const input = listed ? chooser(column, id) : el('input', {
    id, type: 'text', dir: 'auto', autocomplete: 'off', spellcheck: 'false',
    inputmode: column.type === 'string' ? 'text' : 'decimal',
    placeholder: column.range ? `${column.range[0]} … ${column.range[1]}` : 'unknown',
  });
  const note = el('span', { class: 'note', id: `${id}-note` });
  input.setAttribute('aria-describedby', note.id);
  const field = el('div', { class: 'field' },
                   el('label', { for: id, title: column.name }, name(column.name)), input, note);
  return { column, input, note, field };
}

/** Reads all fields into values by column, telling beside a field what is wrong with it. */
function readFields(fields) {
  const values = [];
  let good = true;
  for (const { column, input, note } of fields) {
    const { value = null, unseen, error } = readValue(column, input.value);
    values[column.place] = value;
    note.textContent = error ?? (unseen ? 'not in training: taken as unknown' : '');
    input.setAttribute('aria-invalid', Boolean(error));
    if (error) good = false;
  }
  return good ? values : null;
}

function voteBars(model, result) {
  const sums = result.votes ?? result.sums;
  if (!sums) return null;
  const most = largest([...sums]);
  const order = [...sums.keys()].filter((code) => sums[code] > 0)
    .sort((a, b) => sums[b] - sums[a]).slice(0, 8);
  return el('table', { class: 'distribution' },
    el('caption', { class: 'quiet' }, !result.votes ? 'Shares of the case'
      : model.averages ? 'Shares of the trees, added' : 'Votes of the trees'),
    el('tbody', {}, order.map((code) => el('tr', {},
      el('th', { scope: 'row' }, swatch(code), name(model.classNames[code])),
      el('td', { class: 'bar-cell' }, classBar(code, 100 * sums[code] / most)),
      el('td', { class: 'number' }, !result.votes ? percent(sums[code])
        : Number.isInteger(sums[code]) ? String(sums[code]) : sums[code].toFixed(2))))));
}

/** The leaf that the largest part of the case came to. */
function mainEnd(tree, shares) {
  let end = 0;
  for (const [node, share] of shares) {
    if (tree.isLeaf(node) && (!tree.isLeaf(end) || share > shares.get(end))) end = node;
  }
  return end;
}

function answer(model, result, actual, values) {
  const parts = [el('p', { class: 'answer' }, 'Class ',
    el('strong', { class: 'predicted' }, swatch(result.code),
       name(model.classNames[result.code])),
    el('span', { class: 'muted' }, result.noCases ? ` (${NO_CASES})`
      : ` with confidence ${percent(result.confidence)}`))];
  if (actual) {
    const right = actual === result.code;
    parts.push(el('p', { class: right ? 'right' : 'wrong' }, right ? 'As in the table.'
      : el('span', {}, 'In the table it is ', name(model.classNames[actual]), '.')));
  }
  if (model.shownTrees < model.tree_count) {
    parts.push(el('p', { class: 'muted' },
                  `By the ${model.shownTrees} trees that this report holds.`));
  }
  return [...parts, voteBars(model, result), reasonBars(model, values, result.code)].filter(Boolean);
}

function rowTable(model, fields, pick) {
  const { rows, actual, predicted, confidence } = model.rows;
  const only = el('input', { type: 'checkbox', id: 'only-wrong' });
  const body = el('tbody');
  const columns = fields.slice(0, LISTED).map((f) => f.column);
  rows.forEach((row, i) => {
    const wrong = actual[i] !== predicted[i];
    const button = el('button', { type: 'button', class: 'link', onclick: () => pick(i) },
                      String(i + 1));
    body.append(el('tr', { 'data-row': i, class: wrong ? 'is-wrong' : '' }, el('td', {}, button),
      columns.map((c) => el('td', { class: 'cell' }, name(shown(row[c.place])))),
      el('td', { class: 'cell' }, name(model.classNames[actual[i]])),
      el('td', { class: 'cell' }, name(model.classNames[predicted[i]])),
      el('td', { class: 'number' }, percent(confidence[i]))));
  });
  const table = el('table', { class: 'rows' }, el('thead', {}, el('tr', {},
    ['Row', ...columns.map((c) => name(c.name)), 'Class', 'Predicted', 'Confidence']
      .map((title) => el('th', { scope: 'col' }, title)))), body);
  only.addEventListener('change', () => table.classList.toggle('only-wrong', only.checked));
  return el('div', { class: 'picker' },
    el('label', { class: 'check' }, only, 'only those predicted wrong'),
    el('div', { class: 'scroll', tabindex: 0, role: 'region', 'aria-label': 'Rows of the table' },
       table));
}

/** `goTo` shows a node of the tree. */
export function caseForm(model, view, goTo) {
  const fields = testedColumns(model).map((column, i) => fieldOf(column, `case-${i}`));
  const result = el('div', { class: 'result', 'aria-live': 'polite' });
  let actual = null;
  let way = null;  // of the latest case: values by column
  const mark = () => {
    if (way) view.setWay(classify(view.tree, way).shares);
  };
  const answerCase = () => {
    way = readFields(fields);
    if (!way) return result.replaceChildren(el('p', { class: 'wrong' }, 'Mend the marked values.'));
    result.replaceChildren(...answer(model, predict(model, way), actual, way),
      el('button', { type: 'button', onclick: () => {
        goTo(mainEnd(view.tree, classify(view.tree, way).shares));
      } }, 'Show the way in the tree'));
    mark();
  };
  const clear = () => {
    for (const { input } of fields) input.value = '';
    readFields(fields);
    actual = way = null;
    result.replaceChildren();
    view.setWay(null);
  };
  const pick = (row) => {
    for (const { column, input } of fields) {
      const cell = model.rows.rows[row][column.place];
      input.value = cell === column.unknown ? '' : cell;
    }
    actual = model.rows.actual[row];
    for (const line of document.querySelectorAll('tr[data-row]')) {
      line.toggleAttribute('aria-current', Number(line.dataset.row) === row);
    }
    answerCase();
    result.scrollIntoView({ block: 'nearest' });
  };
  const form = el('form', { class: 'case', onsubmit: (event) => {
    event.preventDefault();
    actual = null;
    answerCase();
  } }, el('div', { class: 'fields' }, fields.map((f) => f.field)),
    el('div', { class: 'buttons' }, el('button', { type: 'submit', class: 'main' }, 'Classify'),
       el('button', { type: 'button', onclick: clear }, 'Clear')));
  const hint = el('p', { class: 'muted' }, fields.length === 0
    ? 'The model asks for no attribute: every case has the same class.'
    : 'Empty fields are unknown values. The way of the case is marked in the tree.');
  const parts = [hint, form, result];
  if (model.rows) {
    parts.push(el('h3', {}, 'Rows of the table'),
      el('p', { class: 'muted' }, `The first ${model.rows.rows.length} rows; a row's number puts it
        into the form.`), rowTable(model, fields, pick), reasonSummary(model));
  }
  return { element: el('div', {}, parts), mark };
}
