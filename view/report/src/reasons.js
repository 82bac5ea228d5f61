// Why a case has its class: what each attribute adds to the share of the class, as the program's -shap
// computes it (Lundberg et al. 2020; docs/reasons.md has the formulas). A leaf's part is an integral of
// a polynomial over [0, 1], which is a sum over the points of Gauss and Legendre.
import { el, largest, name, percent } from './dom.js';
import { branchOf, readValue } from './predict.js';
import { reasonPlot } from './reason_plot.js';

const LISTED = 12;
const MOST_NODES = 500_000;     // to explain a case at once by
const MOST_VISITS = 4_000_000;  // of nodes, for a summary
const rules = [];

/** n points in (0, 1) and their weights. */
function quadrature(n) {
  return rules[n] ??= Array.from({ length: n }, (_, i) => {
    let x = Math.cos(Math.PI * (i + 0.75) / (n + 0.5));
    let slope = 1;
    for (let step = 0; step < 20; ++step) {
      let [before, value] = [1, x];
      for (let k = 2; k <= n; ++k) {
        [before, value] = [value, ((2 * k - 1) * x * value - (k - 1) * before) / k];
      }
      slope = n * (x * value - before) / (x * x - 1);
      x -= value / slope;
    }
    return { t: (1 + x) / 2, weight: 1 / ((1 - x * x) * slope * slope) };
  });
}

/** The share of a class at a leaf; where no case came by its class or by the nearest node above. */
function shareAt(model, tree, leaf, code) {
  if (!tree.hasCases(leaf) && model.averages && model.tree_count > 1 && !model.prior) {
    return tree.classOf[leaf] === code ? 1 : 0;
  }
  while (!tree.hasCases(leaf) && tree.parent[leaf] >= 0) leaf = tree.parent[leaf];
  const own = tree.distribution(leaf).find(([of]) => of === code)?.[1] ?? 0;
  return model.prior ? (own + model.prior[code]) / (tree.weight[leaf] + 1)
    : own && own / tree.weight[leaf];
}

/** The attributes on the way to a child, each with its shares of the branches, and whether the case
 *  agrees: 1, 0, or null where its value is unknown. Null where no part of a case comes. */
function wayTo(way, column, fraction, agrees) {
  const at = way.findIndex((each) => each.column === column);
  const before = at < 0 ? { rest: 1, agrees: 1 } : way[at];
  const rest = before.rest * fraction;
  const own = { column, rest, agrees: agrees === null ? null : before.agrees * agrees };
  if (rest === 0 && own.agrees !== 1) return null;
  const next = [...way];
  next[at < 0 ? way.length : at] = own;
  return next;
}

function addLeaf(way, amount, found) {
  found.base += way.reduce((product, each) => product * each.rest, amount);
  found.share += way.reduce((product, each) => product * (each.agrees ?? each.rest), amount);
  const known = way.filter((each) => each.agrees !== null);
  const unknown = way.filter((each) => each.agrees === null);
  const scale = unknown.reduce((product, each) => product * each.rest, amount);
  const factor = ({ agrees, rest }, t) => t * agrees + (1 - t) * rest;
  for (const { t, weight } of quadrature(Math.ceil(known.length / 2))) {
    const all = known.reduce((product, each) => product * factor(each, t), scale * weight);
    for (const each of known) {
      found.parts[each.column] += all * (each.agrees - each.rest) / factor(each, t);
    }
  }
}

/**
 * What the attributes of a case add to the mean share of a class over the trees of the page.
 * @return {{base, share, parts}} parts: by column
 */
export function reasonsOf(model, values, code) {
  const found = { base: 0, share: 0, parts: new Float64Array(model.columns.length) };
  const votes = model.votes?.slice(0, model.shownTrees) ?? [1];
  const all = votes.reduce((a, b) => a + b, 0);
  for (let i = 0; i < model.shownTrees; ++i) {
    const tree = model.tree(i);
    const open = [[0, []]];
    while (open.length > 0) {
      const [node, way] = open.pop();
      if (tree.isLeaf(node)) {
        const share = shareAt(model, tree, node, code);
        if (share > 0) addLeaf(way, share * votes[i] / all, found);
        continue;
      }
      const column = tree.column[node];
      const value = values[column] ?? null;
      const taken = value === null ? null : branchOf(tree, node, value);
      for (const kid of tree.kids(node)) {
        const fraction = tree.weight[node] > 0 ? tree.weight[kid] / tree.weight[node] : 0;
        const agrees = taken === null ? null : Number(tree.branch[kid] === taken);
        const next = wayTo(way, column, fraction, agrees);
        if (next) open.push([kid, next]);
      }
    }
  }
  return found;
}

export const inPoints = (x) => `${x < 0 ? '−' : '+'}${(100 * Math.abs(x)).toFixed(1)}`;

/** Maps have no parts that add up. */
const before = (model) => model.maps ? ' before calibration' : '';

/** Bars by column, the largest first; `shown` writes a number. */
function bars(model, parts, title, shown) {
  const order = [...parts.keys()].filter((c) => parts[c] !== 0)
    .sort((a, b) => Math.abs(parts[b]) - Math.abs(parts[a]));
  const most = largest(order.map((c) => Math.abs(parts[c])), Number.MIN_VALUE);
  const row = (label, value) => el('tr', {}, el('th', { scope: 'row' }, label),
    el('td', { class: 'bar-cell' }, el('span', { class: value < 0 ? 'bar negative' : 'bar',
      style: { width: `${Math.min(100, 100 * Math.abs(value) / most).toFixed(2)}%` } })),
    el('td', { class: 'number' }, shown(value)));
  const rest = order.slice(LISTED);
  return el('table', { class: 'bars' }, el('caption', {}, title), el('tbody', {},
    order.slice(0, LISTED).map((c) => row(name(model.columns[c].name), parts[c])),
    rest.length > 0 ? row(`${rest.length} others`, rest.reduce((sum, c) => sum + parts[c], 0)) : []));
}

const nodesOf = (model) =>
  model.sizes.slice(0, model.shownTrees).reduce((sum, [nodes]) => sum + nodes, 0);

/** The reasons for the class of a case; null where there are none, or too much to go through. */
export function reasonBars(model, values, code) {
  if (nodesOf(model) > MOST_NODES) return null;
  const { base, share, parts } = reasonsOf(model, values, code);
  if (parts.every((part) => part === 0)) return null;
  return bars(model, parts, el('span', {}, 'Reasons: ', name(model.classNames[code]),
    ` from ${percent(base)}, with nothing known, to ${percent(share)}${before(model)}, in points`), inPoints);
}

/** The values, by column, of the first rows of the page: as many as do not take long to explain. */
export function casesOf(model) {
  return model.rows.rows.slice(0, Math.max(1, Math.floor(MOST_VISITS / nodesOf(model))))
    .map((row) => model.columns.map((c) => c.role === 'discrete' || c.role === 'continuous'
      ? readValue(c, row[c.place]).value ?? null : null));
}

/** The mean size of the contributions to the predicted classes. */
function meanReasons(model, cases) {
  const sums = new Float64Array(model.columns.length);
  cases.forEach((values, i) => {
    reasonsOf(model, values, model.rows.predicted[i]).parts.forEach((part, c) => {
      sums[c] += Math.abs(part) / cases.length;
    });
  });
  return sums;
}

/** Computed when it is asked for. */
export function reasonSummary(model) {
  const area = el('div', {});
  const show = () => {
    const cases = casesOf(model);
    const sizes = meanReasons(model, cases);
    area.replaceChildren(bars(model, sizes,
      `Mean size of the contributions${before(model)} over ${cases.length} rows, in points`,
      (x) => (100 * x).toFixed(1)), reasonPlot(model, cases, sizes));
  };
  area.append(el('button', { type: 'button', id: 'sum-up-reasons', onclick: show },
                 'Reasons over these rows'));
  return area;
}
