// Partial dependence: the shares of the classes when one attribute has a value and nothing else is
// known. A tree then shares the case out by its training cases, so no rows are needed and nothing is
// drawn at random (Friedman 2001, section 8.2); of several trees it is the mean, by their votes.
import { scaleLinear } from 'd3-scale';
import { el, name, svg } from './dom.js';
import { classColour, dashes, swatch } from './colours.js';
import { sharesOf } from './predict.js';
import { testedColumns } from './case_form.js';

export const FRAME = { width: 640, height: 250, left: 44, right: 16, top: 12, bottom: 44 };
const MOST_VALUES = 40;
const MOST_CLASSES = 8;
const MOST_LABELS = 9;
const short = (x) => String(+x.toPrecision(4));

/** Values to look at: each between two cuts, or each category. @return pairs of value and label */
export function gridOf(column) {
  if (column.role !== 'continuous') {
    return column.values.slice(0, MOST_VALUES).map((text, place) => [place, text]);
  }
  const cuts = [...new Set(column.cutNumbers)].sort((a, b) => a - b);
  const step = Math.max(1, Math.ceil(cuts.length / MOST_VALUES));
  const some = cuts.filter((_, i) => i % step === 0);
  const label = (cut) => column.type === 'ostring' ? column.values[cut - 1] : cut;
  const last = label(some.at(-1));
  return [...some.map((cut) => [cut, label(cut)]),
          [Infinity, column.type === 'ostring' ? `> ${last}` : last]];
}

/** By value of the grid the shares of the classes, by code: those that the model gives. */
export function dependenceOf(model, column) {
  return gridOf(column).map(([value]) => {
    const values = [];
    values[column.place] = value;
    return sharesOf(model, values);
  });
}

/** A picture on axes; `ticks` are pairs of x and label, `shown` writes a y. */
export function framed(label, title, x, ticks, y, shown, ...shapes) {
  const { width, height, left, right, bottom } = FRAME;
  return svg('svg', { class: 'chart', viewBox: `0 0 ${width} ${height}`, role: 'img', 'aria-label': label },
    y.ticks(4).map((t) => [
      svg('line', { class: 'grid', x1: left, x2: width - right, y1: y(t), y2: y(t) }),
      svg('text', { x: left - 6, y: y(t) + 4, 'text-anchor': 'end' }, shown(t))]),
    ticks.map(([t, text]) => svg('text', { x: x(t), y: height - bottom + 17,
                                           'text-anchor': 'middle' }, text)),
    svg('text', { x: (left + width - right) / 2, y: height - 6, 'text-anchor': 'middle' },
        title.slice(0, 60)), shapes);
}

/** Pairs of place and label, of columns whose values have places side by side. */
export const placeTicks = (labels) => labels.map((label, i) => [i + 0.5, String(label).slice(0, 10)])
  .filter((_, i) => i % Math.ceil(labels.length / MOST_LABELS) === 0);
export const numberTicks = (x) => x.ticks(6).map((t) => [t, short(t)]);

function chartOf(model, column) {
  const { width, height, left, right, top, bottom } = FRAME;
  const grid = gridOf(column);
  const shares = dependenceOf(model, column);
  const numeric = column.role === 'continuous' && column.type !== 'ostring';
  const ends = numeric ? [grid[0][1], grid.at(-1)[1]] : [0, grid.length];
  const margin = numeric ? (ends[1] - ends[0] || 1) * 0.08 : 0;
  const x = scaleLinear([ends[0] - margin, ends[1] + margin], [left, width - right]);
  const most = Math.max(...shares.map((s) => Math.max(...s)));
  const y = scaleLinear([0, most], [height - bottom, top]).nice(4);
  // A cut's value holds up to it: steps from one cut to the next.
  const from = (i) => numeric ? i === 0 ? ends[0] - margin : grid[i - 1][1] : i;
  const to = (i) => numeric ? i + 1 === grid.length ? ends[1] + margin : grid[i][1] : i + 1;
  const codes = [...model.classNames.keys()].slice(1)
    .sort((a, b) => spread(shares, b) - spread(shares, a)).slice(0, MOST_CLASSES).sort((a, b) => a - b);
  const lines = codes.map((code) => svg('path', { class: 'curve',
    style: { stroke: classColour(code), strokeDasharray: dashes(code) },
    d: grid.map((_, i) => `${i === 0 ? 'M' : 'L'}${x(from(i))} ${y(shares[i][code])}H${x(to(i))}`)
      .join('') }, svg('title', {}, model.classNames[code])));
  const ticks = numeric ? numberTicks(x) : placeTicks(grid.map(([, label]) => label));
  const picture = framed(`Shares of the classes by ${column.name}`, column.name, x, ticks, y,
                         (t) => `${+(100 * t).toFixed(1)} %`, lines);
  return el('div', {}, picture, el('ul', { class: 'key' }, codes.map((code) =>
    el('li', {}, swatch(code), name(model.classNames[code])))));
}

const spread = (shares, code) => {
  const own = shares.map((s) => s[code]);
  return Math.max(...own) - Math.min(...own);
};

export function dependenceSection(model) {
  const columns = testedColumns(model);
  if (columns.length === 0) return null;
  const area = el('div');
  const list = el('select', { 'aria-label': 'Attribute', id: 'dependence-of' },
    columns.map((c, i) => el('option', { value: i, dir: 'auto' }, c.name)));
  const show = () => area.replaceChildren(chartOf(model, columns[list.value]));
  list.addEventListener('change', show);
  list.value = 0;
  show();
  return el('div', {}, el('div', { class: 'toolbar' }, list),
    el('p', { class: 'muted' }, 'Shares of the classes of a case of which only this attribute is ',
       'known: by the training cases in the tree, exact, without rows', model.shownTrees > 1
         ? `; the mean of ${model.shownTrees} trees. ` : '. ', 'At most ', MOST_CLASSES,
       ' classes and ', MOST_VALUES, ' values are drawn.'), area);
}
