// Draws the part of a tree that is in view.
//
// Near, nodes are cards; far, where nobody could read them, blocks in the colour of their class,
// many to a path. Links are paths by width. What is drawn is bounded by the screen, not by the
// tree: nodes and links that would fall on the same pixels are drawn once.
import { amount, clipped, svg } from './dom.js';
import { classColour, hatching, markPath } from './colours.js';
import { CARD } from './tree_layout.js';

export const READABLE = 0.42;  // least scale of a card
const FONT = '13px Inter, "Segoe UI", system-ui, sans-serif';
const TITLE_FONT = `600 ${FONT}`;
const SMALL_FONT = FONT.replace('13px', '11px');
const LABEL_ROOM = 112;
const WIDEST_LINK = 13;
const WAY = 7;           // width of a whole case's way; of parts of it
const WAY_LEAST = 2.5;
export const BADGE = 9;

const linkPath = (x0, y0, x1, y1) => {
  const middle = (x0 + x1) / 2;
  return `M${x0} ${y0}C${middle} ${y0} ${middle} ${y1} ${x1} ${y1}`;
};

const round = (x) => Math.round(x * 10) / 10;

export class Drawing {
  constructor(tree, layout, state) {
    this.tree = tree;
    this.layout = layout;
    this.state = state;  // selected, focused, matches (Set), shares (Map or null)
    this.links = svg('g', { class: 'links', 'aria-hidden': 'true' });
    this.blocks = svg('g', { class: 'blocks', 'aria-hidden': 'true' });
    this.cards = svg('g', { class: 'cards', role: 'none' });
    this.root = svg('g', { role: 'none' }, this.links, this.blocks, this.cards);
    this.made = new Map();
  }

  /** `view`: the rectangle in view in the layout's units, or null for everything. */
  draw(view, scale) {
    const near = scale >= READABLE || view === null;
    this.drawLinks(view, scale);
    this.drawBlocks(near ? null : view, scale);
    this.drawCards(near ? view : { left: 1, right: 0, top: 1, bottom: 0 });
  }

  linkWidth(i) {
    const all = this.tree.weight[0];
    return all > 0 ? Math.max(1.2, WIDEST_LINK * this.tree.weight[i] / all) : 1.2;
  }

  drawLinks(view, scale) {
    const { x, y } = this.layout;
    const { shares } = this.state;
    const groups = new Map();
    const taken = new Set();
    for (const i of this.layout.visible) {
      const father = this.tree.parent[i];
      if (father < 0 || !this.linkInView(i, father, view)) continue;
      const width = Math.round(this.linkWidth(i) * 2) / 2;
      const onPath = shares?.has(i);
      if (view && scale < READABLE && !onPath) {
        const key = `${x[i]} ${Math.round(y[i] * scale)} ${Math.round(y[father] * scale / 2)}`;
        if (taken.has(key)) continue;
        taken.add(key);
      }
      const share = onPath ? Math.max(WAY_LEAST, WAY * shares.get(i)) : 0;
      const key = onPath ? `path ${Math.round(share * 2) / 2}` : `link ${width}`;
      if (!groups.has(key)) groups.set(key, []);
      groups.get(key).push(linkPath(round(x[father] + CARD.width), round(y[father]),
                                    round(x[i]), round(y[i])));
    }
    const keys = [...groups.keys()].sort();  // the way of a case lies on top
    this.links.replaceChildren(...keys.map((key) => {
      const [kind, width] = key.split(' ');
      const far = scale < READABLE && view !== null;  // then in pixels
      return svg('path', { class: far ? `${kind} far` : kind, d: groups.get(key).join(''),
                           'stroke-width': far ? Math.max(width * scale, 0.7) : width });
    }));
  }

  linkInView(i, father, view) {
    if (view === null) return true;
    const { x, y } = this.layout;
    return x[i] >= view.left && x[father] <= view.right &&
      Math.max(y[i], y[father]) >= view.top && Math.min(y[i], y[father]) <= view.bottom;
  }

  inView(i, view) {
    if (view === null) return true;
    const { x, y } = this.layout;
    return x[i] + CARD.width + 24 >= view.left && x[i] - LABEL_ROOM <= view.right &&
      y[i] + CARD.height >= view.top && y[i] - CARD.height <= view.bottom;
  }

  drawBlocks(view, scale) {
    const groups = new Map();
    const taken = new Set();
    for (const i of view === null ? [] : this.layout.visible) {
      if (!this.inView(i, view)) continue;
      const special = i === this.state.selected ? 'selected'
        : this.state.matches.has(i) ? 'match' : '';
      const x = this.layout.x[i];
      const y = round(this.layout.y[i] - CARD.height / 2);
      const place = `${x} ${Math.round(y * scale)}`;
      if (taken.has(place) && !special) continue;
      taken.add(place);
      const key = special || classColour(this.tree.classOf[i]);
      if (!groups.has(key)) groups.set(key, []);
      const height = Math.max(CARD.height, 1 / scale);
      groups.get(key).push(`M${x} ${y}h${CARD.width}v${round(height)}h-${CARD.width}z`);
    }
    const rank = (key) => key === 'selected' ? 2 : key === 'match' ? 1 : 0;
    const keys = [...groups.keys()].sort((a, b) => rank(a) - rank(b));
    this.blocks.replaceChildren(...keys.map((key) => svg('path', {
      d: groups.get(key).join(''), class: rank(key) ? `block ${key}` : 'block',
      style: rank(key) ? {} : { fill: key },
    })));
  }

  drawCards(view) {
    const wanted = new Set(this.layout.visible.filter((i) => this.inView(i, view)));
    if (this.state.focused !== null) wanted.add(this.state.focused);  // keeps the keyboard's place
    for (const [i, card] of this.made) {
      if (wanted.has(i)) continue;
      card.remove();
      this.made.delete(i);
    }
    for (const i of wanted) {
      if (!this.made.has(i)) {
        const card = this.makeCard(i);
        this.made.set(i, card);
        this.cards.append(card);
      }
      this.updateCard(i, this.made.get(i));
    }
  }

  card(i) { return this.made.get(i) ?? null; }

  makeCard(i) {
    const { tree } = this;
    const leaf = tree.isLeaf(i);
    const left = leaf ? 26 : 12;
    const title = clipped(tree.title(i), TITLE_FONT, CARD.width - left - 10);
    const card = svg('g', {
      class: leaf ? 'card leaf' : 'card', role: 'treeitem', tabindex: -1, id: `node-${i}`,
      'data-node': i, 'aria-level': tree.level[i] + 1, 'aria-posinset': tree.branch[i] + 1,
      'aria-setsize': tree.parent[i] < 0 ? 1 : tree.children[tree.parent[i]],
      'aria-label': this.spoken(i),
    });
    const { width, height } = CARD;
    card.append(svg('rect', { class: 'frame', y: -height / 2, width, height, rx: leaf ? 14 : 6 }));
    if (leaf) {
      card.append(markPath(tree.classOf[i], { transform: 'translate(10 -13)' }));
    }
    card.append(svg('text', { class: 'title', x: left, y: -4 }, title),
                svg('text', { class: 'counts', x: 12, y: 10 },
                    this.counts(i, width - 22)),
                this.shareBar(i));
    const label = this.branchLabel(i);
    if (label) card.append(label);
    if (!leaf) card.append(this.badge(i));
    return card;
  }

  /** Cases and estimated errors; in the short form of the text tree where they are long. */
  counts(i, room) {
    if (!this.tree.hasCases(i)) return 'no cases';
    const cases = amount(this.tree.weight[i]);
    const errors = amount(this.tree.error[i]);
    if (!(this.tree.error[i] > 0)) return clipped(`${cases} cases`, SMALL_FONT, room);
    const full = `${cases} cases · ${errors} errors`;
    return clipped(full, SMALL_FONT, room) === full ? full
      : clipped(`${cases} / ${errors}`, SMALL_FONT, room);
  }

  spoken(i) {
    const test = this.tree.test(i);
    const way = test ? `${test.column.name} ${test.relation} ${test.value}: ` : '';
    const what = `${this.tree.isLeaf(i) ? 'class' : 'test of'} ${this.tree.title(i)}`;
    return `${way}${what}, ${amount(this.tree.weight[i])} cases`;
  }

  /** The classes of the node's cases, side by side. */
  shareBar(i) {
    const room = CARD.width - 24;
    const bar = svg('g', { class: 'bar' });
    let at = 12;
    const parts = this.tree.weight[i] > 0 ? this.tree.distribution(i) : [];
    for (const [code, share] of parts) {
      const width = room * share / this.tree.weight[i];
      if (width >= 0.3) {
        const box = { x: round(at), y: 14.5, width: round(width), height: 4 };
        bar.append(svg('rect', { ...box, style: { fill: classColour(code) } }));
        if (hatching(code)) bar.append(svg('rect', { ...box, fill: hatching(code) }));
      }
      at += width;
    }
    if (parts.length === 0) {
      bar.append(svg('rect', { class: 'none', x: 12, y: 14.5, width: room, height: 4 }));
    }
    return bar;
  }

  branchLabel(i) {
    const test = this.tree.test(i);
    if (!test) return null;
    const text = test.relation === '=' ? test.value : `${test.relation} ${test.value}`;
    const short = clipped(text, SMALL_FONT, LABEL_ROOM - 16);
    return svg('text', { class: 'label', x: -7, 'text-anchor': 'end' }, short);
  }

  /** On the side of the line that the line does not come from. */
  placeLabel(i, card) {
    const { y } = this.layout;
    const share = this.state.shares?.get(i);
    const beside = (share ? Math.max(WAY_LEAST, WAY * share) : this.linkWidth(i)) / 2;
    const father = this.tree.parent[i];
    card.querySelector('.label')?.setAttribute(
      'y', round(father >= 0 && y[i] > y[father] + 1 ? beside + 11 : -beside - 3.5));
  }

  badge(i) {
    return svg('g', { class: 'badge', transform: `translate(${CARD.width} 0)` },
               svg('circle', { r: BADGE }), svg('path', { class: 'sign' }));
  }

  updateCard(i, card) {
    const { state, layout } = this;
    card.setAttribute('transform', `translate(${round(layout.x[i])} ${round(layout.y[i])})`);
    this.placeLabel(i, card);
    card.classList.toggle('selected', i === state.selected);
    card.classList.toggle('match', state.matches.has(i));
    card.classList.toggle('on-path', state.shares?.has(i) ?? false);
    card.classList.toggle('off-path', state.shares !== null && !state.shares.has(i));
    card.setAttribute('aria-selected', i === state.selected);
    if (this.tree.isLeaf(i)) return;
    const open = layout.isOpen(i);
    card.setAttribute('aria-expanded', open);
    card.querySelector('.sign').setAttribute('d', open ? 'M-4 0H4' : 'M-4 0H4M0 -4V4');
  }
}
