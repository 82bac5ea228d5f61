// Which nodes are open, and where they stand: the root at the left, children to the right of their
// father. Only nodes whose ancestors are all open have a place.
import { hierarchy, tree as tidyTree } from 'd3-hierarchy';

export const CARD = { width: 156, height: 46 };
const PITCH = { across: 268, down: 56 };
const APART = 1.15;  // cousins, in units of siblings

/** How many levels and lines of nodes stand in a frame of that size, in its pixels. */
const roomOf = ({ width, height }) => ({
  levels: Math.max(2, 1 + Math.floor((width - CARD.width) / PITCH.across)),
  lines: Math.max(2, Math.floor(height / PITCH.down / (1 + (APART - 1) / 2))),
});

export class Layout {
  /** `frame`: the room that the first picture is to fit in. */
  constructor(tree, frame) {
    this.tree = tree;
    this.open = new Uint8Array(tree.size);
    this.x = new Float32Array(tree.size);
    this.y = new Float32Array(tree.size);
    this.visible = [];
    this.openFirst(roomOf(frame));
    this.arrange();
  }

  /** Level by level as far as they fit, at least one. */
  openFirst(room) {
    let level = [0];
    let ends = 0;  // leaves above the level
    for (let depth = 1; level.length > 0 && depth < room.levels; ++depth) {
      const below = level.flatMap((i) => this.tree.kids(i));
      ends += level.filter((i) => this.tree.isLeaf(i)).length;
      if (depth > 1 && ends + below.length > room.lines) break;
      for (const i of level) this.setOpen(i, true);
      level = below;
    }
    this.openHeaviest(level, ends + level.length, room);
  }

  /** Of a level that does not fit as a whole, and below it, the nodes of the most cases that do. */
  openHeaviest(level, lines, room) {
    const { tree } = this;
    const closed = level.filter((i) => !tree.isLeaf(i));
    while (closed.length > 0) {
      closed.sort((a, b) => tree.weight[b] - tree.weight[a]);
      const next = closed.shift();
      const fits = lines + tree.children[next] - 1 <= room.lines;
      if (!fits || tree.level[next] + 1 >= room.levels) continue;
      this.setOpen(next, true);
      lines += tree.children[next] - 1;
      closed.push(...tree.kids(next).filter((i) => !tree.isLeaf(i)));
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
      .separation((a, b) => a.parent === b.parent ? 1 : APART);
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
