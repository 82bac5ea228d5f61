// The class of a case, by the rules of the program.
//
// A case that has no value for a test goes down every branch, in proportion to the weight of the
// training cases that did; its class is the first of the largest sum. Trees of an ensemble have one
// vote each, boosted ones their own, or their shares are averaged. Sums add up in the program's order: they come out alike to the last bit.

import { numberOf } from './model.js';

function argmax(values) {
  let best = 0;
  for (let i = 1; i < values.length; ++i) if (values[i] > values[best]) best = i;
  return best;
}

/** The known class of the least expected cost, the first of equals but for their rounding. */
function cheapest(shares, costs) {
  const n = shares.length;
  const sums = new Float64Array(n - 1);
  for (let actual = 1; actual < n; ++actual) {
    for (let p = 1; p < n; ++p) sums[p - 1] += shares[actual] * costs[actual * n + p];
  }
  const least = sums.reduce((a, b) => Math.min(a, b), Infinity);
  return shares.some((share, code) => code > 0 && share > 0)
    ? 1 + sums.findIndex((sum) => sum <= least * (1 + 1e-9)) : 0;
}

/** What the model answers for the shares of the classes. */
const decide = (model, shares) =>
  model.costs ? cheapest(shares, model.costs) : argmax(shares);

/** The branch of a value that is known. */
export function branchOf(tree, node, value) {
  const cut = tree.cut[node];
  if (cut < -1) return value === -2 - cut ? 0 : 1;
  if (cut < 0) return value;
  return value > tree.model.columns[tree.column[node]].cutNumbers[cut] ? 1 : 0;
}

/** Follows known values down; `visit` is called with every node on the way. */
function descend(tree, node, values, share, visit) {
  visit(node, share);
  while (!tree.isLeaf(node)) {
    const value = values[tree.column[node]];
    if (value === null || value === undefined) break;
    node = tree.kid(node, branchOf(tree, node, value));
    visit(node, share);
  }
  return node;
}

function addLeaf(tree, leaf, share, sums, prior) {
  if (tree.weight[leaf] > 0) {
    const whole = tree.weight[leaf] + (prior ? 1 : 0);
    for (let at = tree.start[leaf]; at < tree.start[leaf + 1]; ++at) {
      sums[tree.codes[at]] += share * tree.shares[at] / whole;
    }
    prior?.forEach((p, code) => { sums[code] += share * p / whole; });
    if (Number.isNaN(share)) sums.fill(NaN);  // from a branch that no weight came down
  } else {
    sums[tree.classOf[leaf]] += share;
  }
}

/** Takes a case from a node down all its branches where a value is unknown. */
function spread(tree, start, values, visit, add, amount = 1) {
  const open = [[start, amount]];
  while (open.length > 0) {
    const [from, share] = open.pop();
    const node = descend(tree, from, values, share, visit);
    if (tree.isLeaf(node)) {
      add(node, share);
      continue;
    }
    const kids = tree.kids(node).reverse();  // the first child is taken first
    for (const kid of kids) {
      open.push([kid, share * tree.weight[kid] / tree.weight[node]]);
    }
  }
}

/** Adds what a tree answers by to the shares of all: of a leaf that no case came to its class, unless
 *  shares lean on prior ones. */
function addAnswer(tree, values, sums, own) {
  if (tree.model.prior) shareOut(tree, values, sums, own);
  else spread(tree, 0, values, () => {}, (leaf, share) => addLeaf(tree, leaf, share, sums), own);
}

/** Adds what is likely of a case: where no training case came, by the nearest node above. */
function shareOut(tree, values, sums, amount = 1) {
  spread(tree, 0, values, () => {}, (leaf, share) => {
    while (!tree.hasCases(leaf) && tree.parent[leaf] >= 0) leaf = tree.parent[leaf];
    addLeaf(tree, leaf, share, sums, tree.model.prior);
  }, amount);
}

/**
 * Classifies by one tree. `values` has, by column, null (unknown), the number of a continuous
 * column or the place of a discrete column's value.
 * @return {{code, confidence, shares: Map}} shares: what part of the case came to which node
 */
export function classify(tree, values) {
  const shares = new Map();
  const visit = (node, share) => shares.set(node, share);
  const end = descend(tree, 0, values, 1, visit);
  if (tree.isLeaf(end)) {
    const right = tree.distribution(end).find(([code]) => code === tree.classOf[end]);
    const confidence = tree.weight[end] > 0 ? (right ? right[1] : 0) / tree.weight[end] : 1;
    return { code: tree.classOf[end], confidence, shares, noCases: !tree.hasCases(end) };
  }
  const sums = new Float64Array(tree.model.classNames.length);
  spread(tree, end, values, visit, (leaf, share) => addLeaf(tree, leaf, share, sums));
  const code = argmax(sums);
  return { code, confidence: sums[code], shares, sums };
}

/** What a share is worth: linear between the knots of a map, or 1 / (1 + exp(a share + b)). */
function mapped({ x, y, a, b }, share) {
  if (x.length === 0) {
    const at = a * share + b;
    return at >= 0 ? Math.exp(-at) / (1 + Math.exp(-at)) : 1 / (1 + Math.exp(at));
  }
  const above = x.findIndex((knot) => knot > share);
  if (above < 1) return above === 0 ? y[0] : y[y.length - 1];
  const part = (share - x[above - 1]) / (x[above] - x[above - 1]);
  return Math.min(y[above - 1] + part * (y[above] - y[above - 1]), y[above]);
}

/** Calibrates shares in place: of two classes by one map, of more by one each, scaled to 1. */
function calibrate(maps, shares) {
  if (shares.length === 3) {
    const second = mapped(maps[0], shares[2]);
    shares.set([0, 1 - second, second]);
    return;
  }
  const values = maps.map((map, i) => mapped(map, shares[i + 1]));
  const sum = values.reduce((all, value) => all + value, 0);
  if (sum > 0) shares.set([0, ...values.map((value) => value / sum)]);
}

/** The shares of the classes by code: the mean over the trees by their votes, calibrated. */
export function sharesOf(model, values) {
  const sums = new Float64Array(model.classNames.length);
  const votes = model.votes?.slice(0, model.shownTrees) ?? [1];
  const all = votes.reduce((a, b) => a + b, 0);
  const add = model.averages && model.tree_count > 1 ? addAnswer : shareOut;
  votes.forEach((own, i) => add(model.tree(i), values, sums, own));
  sums.forEach((sum, code) => { sums[code] = sum / all; });
  if (model.maps) calibrate(model.maps, sums);
  return sums;
}

/** Classifies by the model: by its tree, or by what its trees say where there are several. */
export function predict(model, values) {
  if (model.tree_count === 1) {
    const found = classify(model.tree(0), values);
    if (!model.costs && !model.prior && !model.maps) return found;
    const sums = new Float64Array(model.classNames.length);
    shareOut(model.tree(0), values, sums);
    if (model.maps) calibrate(model.maps, sums);
    const code = decide(model, sums);
    return { ...found, code, confidence: sums[code], ...(found.sums && { sums }) };
  }
  const votes = new Float64Array(model.classNames.length);
  let all = 0;
  for (let i = 0; i < model.shownTrees; ++i) {
    const tree = model.tree(i);
    const own = model.votes[i];
    if (model.averages) addAnswer(tree, values, votes, own);
    else votes[classify(tree, values).code] += own;
    all += own;
  }
  if (model.maps) {
    for (let i = 0; i < votes.length; ++i) votes[i] /= all;
    calibrate(model.maps, votes);
    all = 1;
  }
  const code = decide(model, votes);
  return { code, confidence: votes[code] / all, votes };
}

const WHOLE = /^[+-]?\d+$/;
const DECIMAL = /^[+-]?(\d+\.?\d*|\.\d+)(e[+-]?\d+)?$/i;

/**
 * Reads a text as the column does.
 * @return {{value}|{unseen: true}|{error: string}} value null: unknown
 */
export function readValue(column, text) {
  const cell = text.trim();
  const own = column.rawValues?.indexOf(column.unknown) ?? -1; // unknown cells as a value
  const unknown = own < 0 ? null : own;
  if (cell === '' || cell === column.unknown) return { value: unknown };
  if (column.role === 'continuous' && column.type !== 'ostring') {
    const whole = column.type === 'integer' || column.type === 'uinteger';
    if (!(whole ? WHOLE : DECIMAL).test(cell)) {
      return { error: whole ? 'not a whole number' : 'not a number' };
    }
    return { value: numberOf(column, cell) };
  }
  let place = column.rawValues.indexOf(cell);
  if (place < 0 && column.type !== 'string' && column.type !== 'ostring') {
    const number = numberOf(column, cell);
    place = column.rawValues.findIndex((value) => numberOf(column, value) === number);
  }
  if (place < 0) return { unseen: true, value: unknown };
  return { value: column.role === 'continuous' ? place + 1 : place };
}
