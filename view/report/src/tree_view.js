// The picture of a tree: zoom, selection, opening and closing, the way of a case.
import { select } from 'd3-selection';
import { zoom, zoomIdentity } from 'd3-zoom';
import { counted, oncePerFrame, svg } from './dom.js';
import { CARD, Layout } from './tree_layout.js';
import { Drawing, READABLE } from './tree_draw.js';
import { listenToKeys } from './tree_keys.js';
import { Tooltip } from './tooltip.js';

const SCALES = [0.0002, 2.5];
const MARGIN = 28;
const LEGIBLE = 1;         // least scale of a picture that is made: its smallest text has 11 pixels
const MANY = 100;          // nodes that are rather seen from afar than one by one
const COMFORTABLE = 0.75;  // scale to which the keyboard brings a node that is too small

export class TreeView extends EventTarget {
  constructor(frame, status) {
    super();
    this.frame = frame;
    this.status = status;
    this.picture = svg('svg', { class: 'picture', role: 'tree', 'aria-label': 'Decision tree' });
    frame.append(this.picture);
    this.tooltip = new Tooltip(frame);
    this.transform = zoomIdentity;
    this.redraw = oncePerFrame(() => this.draw());
    this.zoom = zoom().scaleExtent(SCALES).on('zoom', (event) => this.moved(event.transform))
      .constrain((transform) => this.constrained(transform));
    select(this.picture).call(this.zoom).on('dblclick.zoom', null);
    this.listen();
    listenToKeys(this);
    new ResizeObserver(() => this.resized()).observe(frame);
  }

  show(tree) {
    const { width, height } = this.size();
    this.tree = tree;
    this.layout = new Layout(tree, { width: width - 2 * MARGIN, height: height - 2 * MARGIN });
    this.state = { selected: 0, focused: null, matches: new Set(), shares: null };
    this.drawing = new Drawing(tree, this.layout, this.state);
    this.picture.replaceChildren(this.drawing.root);
    this.fit(LEGIBLE);
    this.draw();
    this.tell();
  }

  listen() {
    const nodeOf = (event) => {
      const card = event.target.closest?.('[data-node]');
      return card ? Number(card.dataset.node) : null;
    };
    this.picture.addEventListener('click', (event) => {
      const node = nodeOf(event);
      if (node === null) return this.selectAt(event);
      event.target.closest('.badge') ? this.toggle(node) : this.select(node);
      this.focus(node, false);
    });
    this.picture.addEventListener('dblclick', (event) => {
      const node = nodeOf(event);
      if (node !== null && !event.target.closest('.badge')) this.toggle(node);
    });
    this.picture.addEventListener('pointermove', (event) => {
      const node = event.buttons ? null : nodeOf(event);
      node === null ? this.tooltip.hide() : this.tooltip.show(this.tree, node, event);
    });
    this.picture.addEventListener('pointerleave', () => this.tooltip.hide());
    this.picture.addEventListener('focusin', (event) => {
      const node = nodeOf(event);
      if (node !== null) this.state.focused = node;
    });
  }

  /** Where nodes are blocks, a click takes the block under the pointer. */
  selectAt(event) {
    const box = this.picture.getBoundingClientRect();
    const { width, k } = { ...this.size(), k: this.transform.k };
    const x = (event.clientX - box.left - this.transform.x) / (k * this.stretch(k, width));
    const y = (event.clientY - box.top - this.transform.y) / k;
    const near = this.layout.visible.find((i) =>
      x >= this.layout.x[i] && x <= this.layout.x[i] + CARD.width &&
      Math.abs(y - this.layout.y[i]) <= Math.max(CARD.height / 2, 2 / k));
    if (near !== undefined) this.goTo(near);
  }

  /**
   * From far away a tree is a thin line: it is stretched to the width of the frame, as long as its
   * nodes are blocks.
   */
  stretch(k, width) {
    if (k >= READABLE || !this.layout) return 1;
    const { left, right } = this.layout.frame;
    return Math.max(1, (width - 2 * MARGIN) / (k * (right - left)));
  }

  constrained(transform) {
    const stretched = this.stretch(transform.k, this.size().width) > 1;
    return stretched ? zoomIdentity.translate(MARGIN, transform.y).scale(transform.k) : transform;
  }

  moved(transform) {
    this.transform = transform;
    const { x, y, k } = transform;
    const across = k * this.stretch(k, this.size().width);
    this.drawing?.root.setAttribute('transform', `translate(${x} ${y}) scale(${across} ${k})`);
    this.tooltip.hide();
    this.redraw();
  }

  size() { return { width: this.frame.clientWidth, height: this.frame.clientHeight }; }

  resized() {
    if (!this.tree) return;
    if (!this.wasSized) this.fit(LEGIBLE);
    this.wasSized = this.size().width > 0;
    this.redraw();
  }

  draw() {
    if (!this.tree) return;
    const { width, height } = this.size();
    const { x, y, k } = this.transform;
    const across = k * this.stretch(k, width);
    this.drawing.draw({ left: -x / across, top: -y / k, right: (width - x) / across,
                        bottom: (height - y) / k }, k);
    const focused = this.state.focused ?? this.state.selected;
    for (const [i, card] of this.drawing.made) card.tabIndex = i === focused ? 0 : -1;
    if (!this.drawing.card(focused)) this.picture.tabIndex = 0;
    else this.picture.removeAttribute('tabindex');
  }

  setTransform(transform) {
    select(this.picture).call(this.zoom.transform, this.constrained(transform));
  }
  zoomBy(factor) { select(this.picture).call(this.zoom.scaleBy, factor); }

  /** The scale at which all that is open is in view, at most 1. */
  fittingScale() {
    const { width, height } = this.size();
    const { left, right, top, bottom } = this.layout.frame;
    return Math.min(1, (width - 2 * MARGIN) / (right - left + 24),
                    (height - 2 * MARGIN) / (bottom - top));
  }

  /** Brings all into view; or, not smaller than `least`, the root. */
  fit(least = 0) {
    const { width, height } = this.size();
    const { left, right, top, bottom } = this.layout.frame;
    if (width === 0) return;
    const k = Math.max(this.fittingScale(), least, SCALES[0]);
    const fitsAcross = k * (right - left) <= width - 2 * MARGIN + 1;
    const x = fitsAcross ? (width - k * (right + left)) / 2 : MARGIN;
    const fitsDown = k * (bottom - top) <= height - 2 * MARGIN + 1;
    const y = fitsDown ? (height - k * (top + bottom)) / 2 : height / 2 - k * this.layout.y[0];
    this.setTransform(zoomIdentity.translate(x, y).scale(k));
  }

  /** Moves as little as brings the node into view, at a scale that can be read. */
  bringIntoView(node, centred = false) {
    const { width, height } = this.size();
    const old = this.transform;
    const k = old.k < 0.5 ? COMFORTABLE : old.k;
    let x = old.k === k ? old.x : width / 3 - k * this.layout.x[node];
    let y = old.k === k ? old.y : height / 2 - k * this.layout.y[node];
    const left = x + k * (this.layout.x[node] - 100);
    const right = x + k * (this.layout.x[node] + CARD.width + 20);
    const middle = y + k * this.layout.y[node];
    if (left < 0) x -= left - 8;
    else if (right > width) x -= right - width + 8;
    if (centred && (middle < 40 || middle > height - 40)) y += height / 2 - middle;
    else if (middle < 40) y += 40 - middle;
    else if (middle > height - 40) y -= middle - height + 40;
    this.setTransform(zoomIdentity.translate(x, y).scale(k));
  }

  select(node) {
    this.state.selected = node;
    this.redraw();
    this.dispatchEvent(new CustomEvent('select', { detail: node }));
  }

  /** Opens the way to a node, selects it and brings it into view. */
  goTo(node) {
    if (this.layout.reveal(node)) this.layout.arrange();
    this.select(node);
    this.bringIntoView(node, true);
    this.draw();
    this.tell();
  }

  focus(node, move = true) {
    this.state.focused = node;
    if (move) this.bringIntoView(node);
    this.draw();
    this.drawing.card(node)?.focus({ preventScroll: true });
  }

  toggle(node) {
    if (this.tree.isLeaf(node)) return;
    this.layout.setOpen(node, !this.layout.isOpen(node));
    this.rearranged(node);
  }

  /** After nodes were opened or closed; `still` keeps its place on the screen. */
  rearranged(still = 0) {
    const before = this.layout.y[still];
    this.layout.arrange();
    const visible = new Set(this.layout.visible);
    for (const key of ['selected', 'focused']) {
      while (this.state[key] !== null && !visible.has(this.state[key])) {
        this.state[key] = this.tree.parent[this.state[key]];
      }
    }
    const shift = this.transform.k * (before - this.layout.y[still]);
    this.setTransform(zoomIdentity.translate(this.transform.x, this.transform.y + shift)
      .scale(this.transform.k));
    this.draw();
    this.tell();
  }

  /**
   * Opens or closes nodes. Then all is in view, unless its texts were too small for that; of many
   * nodes it is, as blocks, which have no texts.
   */
  change(act, fit = true) {
    act(this.layout);
    this.rearranged();
    const many = this.layout.visible.length > MANY && this.fittingScale() < READABLE;
    if (fit) this.fit(many ? 0 : LEGIBLE);
    this.select(this.state.selected);
  }

  setMatches(nodes) {
    this.state.matches = new Set(nodes);
    this.redraw();
  }

  /** Marks the way of a case: node to the part of the case that came to it; null: none. */
  setWay(shares) {
    this.state.shares = shares;
    if (shares) {
      let changed = false;
      for (const i of shares.keys()) changed = this.layout.reveal(i) || changed;
      if (changed) this.rearranged();
    }
    this.redraw();
  }

  tell() {
    const seen = this.layout.visible.length;
    const all = counted(this.tree.size, 'node', 'nodes');
    this.status.textContent =
      seen === this.tree.size ? all : `${seen.toLocaleString('en')} of ${all}`;
  }
}
