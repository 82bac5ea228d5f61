// Bars and curves: importances, the out-of-bag error, the sizes of the trees.
import { scaleLinear } from 'd3-scale';
import { line } from 'd3-shape';
import { el, largest, name, svg } from './dom.js';

const LISTED = 30;
const MOST_BARS = 400;
const LABEL = 56;  // behind the end of a curve
const FRAME = { width: 640, height: 220, left: 52, right: 16, top: 14, bottom: 34 };

/** Attributes by what they owe the model; bars share a scale. */
export function importanceBars(model, field, title) {
  const all = model.importance.map((each) => ({ ...each, value: each[field] }))
    .filter((each) => each.value !== 0).sort((a, b) => b.value - a.value);
  const most = largest(all.map((each) => Math.abs(each.value)), Number.MIN_VALUE);
  const row = (each) => el('tr', {},
    el('th', { scope: 'row' }, name(model.columns[each.column].name,
                                    { title: model.columns[each.column].name })),
    el('td', { class: 'bar-cell' }, el('span', {
      class: each.value < 0 ? 'bar negative' : 'bar',
      style: { width: `${(100 * Math.abs(each.value) / most).toFixed(2)}%` } })),
    el('td', { class: 'number' }, each.value.toFixed(4).replace(/^-(0\.0+)$/, '$1')));
  const table = el('table', { class: 'bars' }, el('caption', {}, title),
                   el('tbody', {}, all.slice(0, LISTED).map(row)));
  if (all.length <= LISTED) return table;
  const rest = el('table', { class: 'bars' }, el('tbody', {}, all.slice(LISTED).map(row)));
  return el('div', {}, table,
            el('details', {}, el('summary', {}, `${all.length - LISTED} more attributes`), rest));
}

function axes(x, y, xTitle, format) {
  const { width, height, left, right, bottom } = FRAME;
  const rows = y.ticks(5).map((tick) => svg('g', { transform: `translate(0 ${y(tick)})` },
    svg('line', { class: 'grid', x1: left, x2: width - right }),
    svg('text', { x: left - 8, y: 4, 'text-anchor': 'end' }, format(tick))));
  const whole = x.ticks(8).filter(Number.isInteger);
  const columns = whole.map((tick) => svg('text', {
    x: x(tick), y: height - bottom + 16, 'text-anchor': 'middle' }, String(tick)));
  return svg('g', { class: 'axes' }, rows, columns,
    svg('text', { class: 'axis-title', x: (left + width - right) / 2, y: height - 3,
                  'text-anchor': 'middle' }, xTitle));
}

const chart = (label, ...children) => svg('svg', {
  class: 'chart', viewBox: `0 0 ${FRAME.width} ${FRAME.height}`, role: 'img', 'aria-label': label,
}, children);

export function errorCurve(errors) {
  const { width, height, left, right, top, bottom } = FRAME;
  const points = errors.map((error, i) => [i + 1, error]).filter(([, error]) => error !== null);
  const x = scaleLinear([1, Math.max(errors.length, 2)], [left, width - right - LABEL]);
  const most = largest(points.map((p) => p[1]), 0.0001);
  const y = scaleLinear([0, most], [height - bottom, top]).nice();
  const last = points.at(-1);
  const percentTick = (v) => `${+(100 * v).toFixed(2)} %`;
  const path = line((p) => x(p[0]), (p) => y(p[1]))(points);
  return el('figure', {}, el('figcaption', {}, 'Out-of-bag error by number of trees'),
    chart(`Out-of-bag error from ${percentTick(points[0][1])} with ${points[0][0]} trees to ` +
          `${percentTick(last[1])} with ${last[0]}`,
          axes(x, y, 'trees', percentTick), svg('path', { class: 'curve', d: path }),
          svg('circle', { class: 'end', cx: x(last[0]), cy: y(last[1]), r: 4 }),
          svg('text', { class: 'end-label', x: x(last[0]) + 9, y: y(last[1]) + 4 },
              percentTick(last[1]))));
}

/** A bar a tree; of many trees several share one, the mean. */
export function sizeBars(model, choose) {
  const { width, height, left, right, top, bottom } = FRAME;
  const sizes = model.sizes.map((s) => s[0]);
  const most = largest(sizes);
  const least = -largest(sizes.map((size) => -size), -Infinity);
  const group = Math.ceil(sizes.length / MOST_BARS);
  const bars = [];
  for (let i = 0; i < sizes.length; i += group) {
    const some = sizes.slice(i, i + group);
    bars.push(some.reduce((a, b) => a + b, 0) / some.length);
  }
  const x = scaleLinear([0.5, sizes.length + 0.5], [left, width - right]);
  const y = scaleLinear([0, most], [height - bottom, top]).nice();
  const room = (x(1.5) - x(0.5)) * group;
  const gap = room > 4 ? Math.min(6, 0.2 * room) : 0;
  const drawn = bars.map((size, i) => {
    const tree = i * group;
    const shown = tree < model.shownTrees;
    const [, leaves, depth] = model.sizes[tree];
    const bar = svg('rect', { class: shown ? 'size' : 'size absent', x: x(tree + 0.5) + gap / 2,
      y: y(size), width: Math.max(0.5, room - gap), height: height - bottom - y(size) },
      svg('title', {}, group > 1 ? `Trees from ${tree + 1}: ${size.toFixed(0)} nodes on average`
        : `Tree ${tree + 1}: ${size} nodes, ${leaves} leaves, depth ${depth}`));
    if (shown) bar.addEventListener('click', () => choose(tree));
    return bar;
  });
  return el('figure', {}, el('figcaption', {}, 'Sizes of the trees'),
    chart(`Sizes of ${sizes.length} trees, from ${least} to ${most} nodes`,
          axes(x, y, 'tree', (v) => v.toLocaleString('en')), drawn));
}
