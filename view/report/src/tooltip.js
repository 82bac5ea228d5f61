// What a node says when the pointer rests on it.
import { amount, el, name, percent } from './dom.js';
import { NO_CASES } from './model.js';
import { swatch } from './colours.js';

const LISTED = 6;

/** The largest classes of a node, the rest as one line. */
function shares(tree, node) {
  const parts = tree.distribution(node).sort((a, b) => b[1] - a[1]);
  const rows = parts.slice(0, LISTED).map(([code, share]) =>
    el('tr', {}, el('td', {}, swatch(code), name(tree.model.classNames[code])),
       el('td', { class: 'number' }, amount(share)),
       el('td', { class: 'number' }, percent(share / tree.weight[node]))));
  if (parts.length > LISTED) {
    rows.push(el('tr', {}, el('td', { colspan: 3 }, `and ${parts.length - LISTED} more classes`)));
  }
  return el('table', {}, el('tbody', {}, rows));
}

export class Tooltip {
  constructor(frame) {
    this.frame = frame;
    this.box = el('div', { class: 'tooltip', role: 'tooltip', hidden: true });
    frame.append(this.box);
  }

  show(tree, node, event) {
    if (this.node !== node || this.tree !== tree) {
      this.node = node;
      this.tree = tree;
      const heading = tree.isLeaf(node) ? 'Class ' : 'Test of ';
      this.box.replaceChildren(
        el('strong', {}, heading, name(tree.title(node))),
        el('div', { class: 'muted' },
           tree.hasCases(node)
             ? `${amount(tree.weight[node])} cases · ${amount(tree.error[node])} errors estimated`
             : NO_CASES),
        shares(tree, node));
    }
    this.box.hidden = false;
    const frame = this.frame.getBoundingClientRect();
    const x = event.clientX - frame.left + 14;
    const y = event.clientY - frame.top + 14;
    const { offsetWidth, offsetHeight } = this.box;
    this.box.style.left = `${Math.max(4, Math.min(x, frame.width - offsetWidth - 6))}px`;
    const below = y + offsetHeight <= frame.height;
    this.box.style.top = `${below ? y : Math.max(4, y - offsetHeight - 28)}px`;
  }

  hide() {
    this.box.hidden = true;
    this.node = null;
  }
}
