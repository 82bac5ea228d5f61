// On paper: the tree as it stands open, scaled to the page, and the rules in full.
import { svg } from './dom.js';
import { BADGE, Drawing } from './tree_draw.js';

const MOST_NODES = 600;  // more than these are drawn as they are on the screen
const MARGIN = 12;

function paperTree(view) {
  if (view.layout.visible.length > MOST_NODES) return view.picture.cloneNode(true);
  const state = { ...view.state, selected: null, focused: null };
  const drawing = new Drawing(view.tree, view.layout, state);
  drawing.draw(null, 1);
  const { left, right, top, bottom } = view.layout.frame;
  const box = [left - MARGIN, top - MARGIN, right - left + 2 * MARGIN + BADGE,
               bottom - top + 2 * MARGIN];
  const picture = svg('svg', { class: 'picture', viewBox: box.join(' ') }, drawing.root);
  picture.style.maxWidth = `${box[2]}px`;
  return picture;
}

export function preparePrint(view, rules, main) {
  const paper = document.createElement('div');
  paper.className = 'paper-tree';
  paper.setAttribute('aria-hidden', 'true');
  main.querySelector('.tree-area').after(paper);
  addEventListener('beforeprint', () => {
    paper.replaceChildren(paperTree(view));
    for (const marked of paper.querySelectorAll('[id]')) marked.removeAttribute('id');
    rules.print();
  });
  addEventListener('afterprint', () => {
    paper.replaceChildren();
    rules.refresh();
  });
}
