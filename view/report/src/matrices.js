// Confusion matrices as heat maps.
import { amount, el, name, percent } from './dom.js';

const WIDE = 14;  // classes from which cells have no second line

function cell(matrix, i, j, sum) {
  const weight = matrix.cells[i][j];
  const share = sum > 0 ? weight / sum : 0;
  const kind = i === j ? 'right' : 'wrong';
  const classes = `heat ${kind}${share > 0.8 ? ' strong' : ''}${weight === 0 ? ' zero' : ''}`;
  const td = el('td', { class: classes, title:
    `${matrix.names[i]} predicted as ${matrix.names[j]}: ${amount(weight)} (${percent(share)})` },
    el('span', { class: 'amount' }, amount(weight)));
  td.style.setProperty('--share', `${Math.round(100 * (weight > 0 ? 0.06 + 0.94 * share : 0))}%`);
  if (matrix.names.length < WIDE) td.append(el('span', { class: 'share' }, percent(share)));
  return td;
}

/** Class 0, the unknown one, has a row and a column only if there is any weight in them. */
function codesOf(matrix) {
  const any = matrix.cells[0].some((w) => w > 0) || matrix.cells.some((row) => row[0] > 0);
  return [...matrix.names.keys()].slice(any ? 0 : 1);
}

function heatMap(matrix) {
  const codes = codesOf(matrix);
  const heads = codes.map((j) => el('th', { scope: 'col' },
    name(matrix.names[j], { class: 'head', title: matrix.names[j] })));
  const rows = codes.map((i) => {
    const sum = matrix.cells[i].reduce((a, b) => a + b, 0);
    return el('tr', {}, el('th', { scope: 'row' },
      name(matrix.names[i], { class: 'head', title: matrix.names[i] })),
      codes.map((j) => cell(matrix, i, j, sum)), el('td', { class: 'number sum' }, amount(sum)));
  });
  const sums = codes.map((j) => matrix.cells.reduce((a, row) => a + row[j], 0));
  return el('table', { class: codes.length < WIDE ? 'matrix' : 'matrix wide' },
    el('caption', {}, matrix.title),
    el('thead', {},
       el('tr', {}, el('td'), el('th', { colspan: codes.length, scope: 'colgroup',
                                         class: 'axis' }, 'predicted class'), el('td')),
       el('tr', {}, el('th', { scope: 'col', class: 'axis' }, 'class of the case'), heads,
          el('th', { scope: 'col', class: 'number' }, 'all'))),
    el('tbody', {}, rows),
    el('tfoot', {}, el('tr', {}, el('th', { scope: 'row' }, 'all'),
       sums.map((sum) => el('td', { class: 'number sum' }, amount(sum))),
       el('td', { class: 'number sum' }, amount(sums.reduce((a, b) => a + b, 0))))));
}

export function matrices(model) {
  const listed = model.matrices.filter((matrix) => matrix.cells.length > 0);
  if (listed.length === 0) {
    return el('p', { class: 'muted' }, 'There are too many classes for a picture of the matrix.');
  }
  return el('div', { class: 'matrices' }, listed.map((matrix) =>
    el('div', { class: 'scroll tall', tabindex: 0, role: 'region', 'aria-label': matrix.title },
       heatMap(matrix))));
}
