// Which nodes are open, and where they stand: the root at the left, children to the right of their
// father. Only nodes whose ancestors are all open have a place.
import { hierarchy, tree as tidyTree } from 'd3-hierarchy';

export const CARD = { width: 168, height: 46 };
const PITCH = { across: 296, down: 60 };
const FIRST_PICTURE = 16;  // lines of nodes, at most, at first

export class Layout {
  constructor(tree) {
    this.tree = tree;
    this.open = new Uint8Array(tree.size);
    this.x = new Float32Array(tree.size);
    this.y = new Float32Array(tree.size);
    this.visible = [];
    this.openFirst();
    this.arrange();
  }

  /** Level by level, while it stays a picture to be read at a glance. */
  openFirst() {
    let level = [0];
    let ends = 0;  // leaves above the level
    while (level.length > 0) {
      const below = level.flatMap((i) => this.tree.kids(i));
      ends += level.filter((i) => this.tree.isLeaf(i)).length;
      if (level[0] !== 0 && ends + below.length > FIRST_PICTURE) break;
      for (const i of level) this.setOpen(i, true);
      level = below;
    }
  }

  isOpen(i) { return this.open[i] === 1; }
  setOpen(i, open) { this.open[i] = open && !this.tree.isLeaf(i) ? 1 : 0; }
  openAll() { for (let i = 0; i < this.tree.size; ++i) this.setOpen(i, true); }
  /** Opens what lies above `depth` and closes the rest. */
  openTo(depth) {
    for (let i = 0; i < this.tree.size; ++i) this.setOpen(i, this.tree.level[i] < depth);
  }
  openBelow(node) {
    for (let i = node; i <= node + this.tree.below[node]; ++i) this.setOpen(i, true);
  }
  /** Opens the ancestors of a node. @return whether any was closed */
  reveal(node) {
    let changed = false;
    for (let i = this.tree.parent[node]; i >= 0; i = this.tree.parent[i]) {
      if (this.open[i]) continue;
      this.open[i] = 1;
      changed = true;
    }
    return changed;
  }

  arrange() {
    const kids = (i) => this.open[i] ? this.tree.kids(i) : null;
    const place = tidyTree().nodeSize([PITCH.down, PITCH.across])
      .separation((a, b) => a.parent === b.parent ? 1 : 1.15);
    const root = place(hierarchy(0, kids));
    this.visible = [];
    root.eachBefore((n) => {
      this.x[n.data] = n.y;
      this.y[n.data] = n.x;
      this.visible.push(n.data);
    });
    this.findLevels();
  }

  /** Visible nodes of one level, from top to bottom; and the frame of all. */
  findLevels() {
    this.levels = [];
    this.frame = { left: 0, right: CARD.width, top: Infinity, bottom: -Infinity };
    for (const i of this.visible) {
      (this.levels[this.tree.level[i]] ??= []).push(i);
      this.frame.right = Math.max(this.frame.right, this.x[i] + CARD.width);
      this.frame.top = Math.min(this.frame.top, this.y[i] - CARD.height / 2);
      this.frame.bottom = Math.max(this.frame.bottom, this.y[i] + CARD.height / 2);
    }
  }

  /** The visible node above (-1) or below (1) on the same level. */
  beside(node, step) {
    const level = this.levels[this.tree.level[node]];
    return level[level.indexOf(node) + step] ?? node;
  }
}
