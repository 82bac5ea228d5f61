// How the contribution of an attribute goes with its value: a point a row.
import { scaleLinear } from 'd3-scale';
import { classColour } from './colours.js';
import { FRAME, framed, numberTicks, placeTicks } from './dependence.js';
import { el, svg } from './dom.js';
import { inPoints, reasonsOf } from './reasons.js';

const APART = 7;  // points of one category lie side by side

const isNumber = (column) => column.role === 'continuous' && column.type !== 'ostring';

/** Of the cases with a value: their numbers, values and contributions to the share of a class. */
export function dependencePoints(model, cases, column, code) {
  return cases.map((values, row) => ({ row, value: values[column.place] }))
    .filter(({ value }) => value !== null)
    .map((each) => ({ ...each, part: reasonsOf(model, cases[each.row], code).parts[column.place] }));
}

function chartOf(model, cases, column, code) {
  const { width, height, left, right, top, bottom } = FRAME;
  const points = dependencePoints(model, cases, column, code);
  const numeric = isNumber(column);
  const first = column.role === 'continuous' ? 1 : 0;  // place of an ordered text
  const at = ({ row, value }) => numeric ? value
    : value - first + 0.5 + 0.08 * (row % APART - (APART - 1) / 2);
  const [low, high] = numeric ? [Math.min(...points.map(at)), Math.max(...points.map(at))]
    : [0, column.values.length];
  const margin = numeric ? (high - low || 1) * 0.04 : 0;
  const x = scaleLinear([low - margin, high + margin], [left, width - right]);
  const parts = points.map(({ part }) => part);
  const y = scaleLinear([Math.min(0, ...parts), Math.max(0, ...parts)], [height - bottom, top]).nice(4);
  const label = (value) => numeric ? value : column.values[value - first];
  return framed(`Contributions to ${model.classNames[code]} by ${column.name}`, column.name, x,
    numeric ? numberTicks(x) : placeTicks(column.values), y, (t) => `${+(100 * t).toFixed(1)}`,
    points.map((each) => svg('circle', { class: 'reason', cx: x(at(each)), cy: y(each.part), r: 3.5,
      style: { fill: classColour(model.rows.actual[each.row]) } },
      svg('title', {}, `Row ${each.row + 1}: ${label(each.value)}, ${inPoints(each.part)}, ` +
          model.classNames[model.rows.actual[each.row]]))));
}

/** To choose from: the attributes by the mean sizes of their contributions, and the classes. */
export function reasonPlot(model, cases, sizes) {
  const columns = model.columns.filter((c) => sizes[c.place] > 0)
    .sort((a, b) => sizes[b.place] - sizes[a.place]);
  if (columns.length === 0) return null;
  const chooser = (id, title, options) => el('select', { id, 'aria-label': title },
    options.map(([value, text]) => el('option', { value, dir: 'auto' }, text)));
  const attribute = chooser('reasons-of', 'Attribute', columns.map((c) => [c.place, c.name]));
  const code = chooser('reasons-for', 'Class',
                       [...model.classNames.entries()].slice(1));
  const area = el('div', {});
  const show = () => area.replaceChildren(
    chartOf(model, cases, model.columns[attribute.value], Number(code.value)));
  attribute.addEventListener('change', show);
  code.addEventListener('change', show);
  show();
  return el('div', {}, el('div', { class: 'toolbar' }, attribute, code),
    el('p', { class: 'muted' }, 'What the attribute adds to the share of the class, in points, in each row ',
       'that has a value; in the colour of the class that the row has.'), area);
}
