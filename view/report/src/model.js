// The model of the page, decoded from the data block that the program writes.
//
// The nodes of a tree come in one array a field, each before its children and the first child
// first; a tree is decoded when it is first looked at. Nodes are numbers from then on.
import { shown } from './dom.js';

/** In place of a confidence. */
export const NO_CASES = 'no cases: class of the node above';

/** Reads the fields of one tree. Arrays go by node unless said otherwise. */
class Tree {
  constructor(model, raw, number) {
    const n = raw.children.length;
    this.model = model;
    this.number = number;
    this.size = n;
    this.children = Uint32Array.from(raw.children);
    this.parent = new Int32Array(n).fill(-1);
    this.first = new Int32Array(n).fill(-1);   // first child
    this.next = new Int32Array(n).fill(-1);    // next sibling
    this.branch = new Uint32Array(n);          // place among the siblings
    this.level = new Uint32Array(n);
    this.below = new Uint32Array(n);           // nodes under it
    this.column = new Int32Array(n).fill(-1);  // of the test
    // Of a continuous test the place in the column's cuts; -1 of a branch for every value; of a test
    // of one value -2 less its place.
    this.cut = new Int32Array(n).fill(-1);
    this.weight = new Float64Array(n);
    this.error = Float64Array.from(raw.errors);
    this.classOf = new Uint16Array(n);
    this.start = new Uint32Array(n + 1);       // of its distribution in codes and shares
    this.codes = new Uint16Array(raw.classes);
    this.shares = Float64Array.from(raw.weights);
    this.link();
    this.readTests(raw);
    this.readStatistics(raw);
    this.cases = raw.cases ? Float64Array.from(raw.cases) : this.weight;
  }

  link() {
    const open = [];  // fathers and how many of their children came
    for (let i = 0; i < this.size; ++i) {
      while (open.length > 0 && open.at(-1).came === this.children[open.at(-1).node]) open.pop();
      const father = open.at(-1);
      if (father) {
        this.parent[i] = father.node;
        this.level[i] = this.level[father.node] + 1;
        this.branch[i] = father.came++;
        if (father.last < 0) this.first[father.node] = i;
        else this.next[father.last] = i;
        father.last = i;
      }
      if (this.children[i] > 0) open.push({ node: i, came: 0, last: -1 });
    }
    for (let i = this.size - 1; i > 0; --i) this.below[this.parent[i]] += this.below[i] + 1;
  }

  readTests(raw) {
    let test = 0;
    for (let i = 0; i < this.size; ++i) {
      if (this.children[i] === 0) continue;
      this.column[i] = raw.columns[test];
      this.cut[i] = raw.cuts[test++];
    }
  }

  readStatistics(raw) {
    for (let i = 0, at = 0; i < this.size; ++i) {
      this.start[i] = at;
      let best = 0;
      let most = 0;
      const end = at + raw.kinds[i];
      for (; at < end; ++at) {
        this.weight[i] += this.shares[at];
        if (this.shares[at] > most) {
          most = this.shares[at];
          best = this.codes[at];
        }
      }
      this.classOf[i] = best;
    }
    this.start[this.size] = this.shares.length;
    for (const [i, weight] of raw.odd_weights) this.weight[i] = weight;
    for (const [i, code] of raw.odd_classes) this.classOf[i] = code;
  }

  isLeaf(i) { return this.children[i] === 0; }
  /** A leaf without cases has the class of the node above. */
  hasCases(i) { return this.weight[i] > 0; }
  kids(i) {
    const all = [];
    for (let k = this.first[i]; k >= 0; k = this.next[k]) all.push(k);
    return all;
  }
  kid(i, branch) {
    let k = this.first[i];
    for (; branch > 0 && k >= 0; --branch) k = this.next[k];
    return k;
  }
  /** Pairs of class code and weight, of the classes that the node has. */
  distribution(i) {
    const all = [];
    for (let at = this.start[i]; at < this.start[i + 1]; ++at) {
      all.push([this.codes[at], this.shares[at]]);
    }
    return all;
  }
  className(i) { return this.model.classNames[this.classOf[i]]; }
  /** Weight of the cases that are not of the node's class. */
  wrong(i) {
    let right = 0;
    for (const [code, share] of this.distribution(i)) if (code === this.classOf[i]) right = share;
    return this.weight[i] - right;
  }
  title(i) {
    return this.isLeaf(i) ? this.className(i) : this.model.columns[this.column[i]].name;
  }
  /** What leads from the father to the node; null at the root. */
  test(i) {
    const father = this.parent[i];
    return father < 0 ? null : this.testOf(father, this.branch[i]);
  }
  testOf(node, branch) {
    const column = this.model.columns[this.column[node]];
    if (this.cut[node] < -1) {
      return { column, relation: branch === 0 ? '=' : '≠', value: column.values[-2 - this.cut[node]] };
    }
    if (this.cut[node] < 0) {
      return { column, relation: '=', value: column.values[branch] ?? '?' };
    }
    return { column, relation: branch === 0 ? '≤' : '>', value: column.cuts[this.cut[node]],
             cut: this.cut[node] };
  }
  /** From the root to the node. */
  path(i) {
    const nodes = [];
    for (; i >= 0; i = this.parent[i]) nodes.push(i);
    return nodes.reverse();
  }
}

/**
 * The conditions of the way to a node, one a column and side: of two cuts the closer one counts.
 */
export function conditions(tree, node) {
  const found = new Map();
  for (const i of tree.path(node).slice(1)) {
    const test = tree.test(i);
    const known = found.get(test.column);
    if (test.relation === '≠' && known) known.value += `, ≠ ${test.value}`;
    else if (test.relation === '=' || !known) found.set(test.column, { ...test, ...bound(test) });
    else Object.assign(known, bound(test));
  }
  return [...found.values()];
}

const bound = (test) => test.relation === '≤' ? { upTo: test.value }
  : test.relation === '>' ? { above: test.value } : {};

/** A condition as pieces of text: [before, name of the column, after]. */
export function conditionParts(c) {
  if (c.relation === '=' || c.relation === '≠') {
    return ['', c.column.name, ` ${c.relation} ${c.value}`];
  }
  if (c.above !== undefined && c.upTo !== undefined) {
    return [`${c.above} < `, c.column.name, ` ≤ ${c.upTo}`];
  }
  return ['', c.column.name, c.above !== undefined ? ` > ${c.above}` : ` ≤ ${c.upTo}`];
}

export const conditionText = (c) => conditionParts(c).join('');

/** The number that the column's own type has for a text: of a float the nearest float. */
export function numberOf(column, text) {
  return column.type === 'float' ? Math.fround(Number(text)) : Number(text);
}

export function readModel() {
  const raw = JSON.parse(document.getElementById('orvik-model').textContent);
  const decoded = [];
  const model = { ...raw };
  model.columns = raw.columns.map((c, place) => ({
    ...c, place, rawValues: c.values ?? [], values: (c.values ?? []).map(shown),
    name: shown(c.name), cuts: (c.cuts ?? []).map(shown),
    cutNumbers: (c.cut_places ?? c.cuts ?? []).map((text) => numberOf(c, text)),
  }));
  model.classNames = ['?', ...model.columns[raw.class].values];
  model.matrices = raw.matrices.map((m) => ({ ...m, names: model.classNames }));
  model.profile = new Map((raw.profile ?? []).map((p) =>
    [p.column, { ...p, labels: p.labels.map(shown) }]));
  model.nodeProfiles = new Map((raw.node_profiles ?? []).map((p) =>
    [p.node, { ...p, labels: p.labels.map(shown) }]));  // of the first tree
  model.name = shown(raw.name);
  model.tree = (i) => decoded[i] ??= new Tree(model, raw.trees[i], i);
  model.shownTrees = raw.trees.length;
  return model;
}
