// What there is to say of the selected node.
import { amount, counted, el, name, percent } from './dom.js';
import { NO_CASES, conditionParts, conditions } from './model.js';
import { classBar, swatch } from './colours.js';
import { columnHistogram, rangeText } from './profile.js';

const LISTED = 40;  // classes

export function conditionNode(c) {
  const [before, column, after] = conditionParts(c);
  const cut = after.search(/[=\u2264>] /);
  return el('span', { class: 'condition' }, before && name(before), name(column),
            after.slice(0, cut + 2), name(after.slice(cut + 2)));
}

/** A node's rule in words; at the root there is nothing to ask. */
export function ruleNodes(tree, node) {
  const all = conditions(tree, node);
  return all.length === 0 ? [el('span', { class: 'muted' }, 'every case')]
    : all.flatMap((c, i) => i === 0 ? [conditionNode(c)]
      : [el('span', { class: 'and' }, ' and '), conditionNode(c)]);
}

function distribution(tree, node) {
  const parts = tree.distribution(node).sort((a, b) => b[1] - a[1]);
  const most = parts[0]?.[1] ?? 1;  // has the longest bar
  const rows = parts.slice(0, LISTED).map(([code, share]) => {
    const part = share / tree.weight[node];
    return el('tr', {},
      el('th', { scope: 'row' }, swatch(code), name(tree.model.classNames[code])),
      el('td', { class: 'bar-cell' }, classBar(code, 100 * share / most)),
      el('td', { class: 'number' }, amount(share)),
      el('td', { class: 'number muted' }, percent(part)));
  });
  if (parts.length > LISTED) {
    rows.push(el('tr', {}, el('td', { colspan: 4 }, `and ${parts.length - LISTED} more classes`)));
  }
  return parts.length === 0 ? el('p', { class: 'muted' }, 'No training case came here.')
    : el('table', { class: 'distribution' },
         el('caption', { class: 'quiet' }, 'Classes of the training cases here'),
         el('tbody', {}, rows));
}

const fact = (label, value) => [el('dt', {}, label), el('dd', {}, value)];

function facts(tree, node) {
  if (!tree.hasCases(node)) {
    return el('dl', { class: 'facts' }, fact('Class', el('span', {}, swatch(tree.classOf[node]),
      name(tree.className(node)))), fact('Confidence', NO_CASES));
  }
  const list = el('dl', { class: 'facts' },
    fact('Cases', el('span', {}, amount(tree.weight[node]), el('span', { class: 'muted' },
      ` · ${percent(tree.weight[node] / tree.weight[0])} of all`))),
    fact('Class', el('span', {}, swatch(tree.classOf[node]),
                     name(tree.className(node)))));
  list.append(...fact('Confidence', percent(1 - tree.wrong(node) / tree.weight[node])),
              ...fact('Of other classes', amount(tree.wrong(node))),
              ...fact('Errors estimated', amount(tree.error[node])));
  if (!tree.isLeaf(node)) list.append(...fact('Below', counted(tree.below[node], 'node', 'nodes')));
  return list;
}

/**
 * The values of the tested column with the node's cut: of the rows given that come here, or where
 * that is not known of all of them.
 */
function testedHistogram(tree, node) {
  const { model } = tree;
  const test = tree.testOf(node, 0);
  const here = tree.number === 0 ? model.nodeProfiles.get(node) : undefined;
  const profile = here ?? model.profile.get(test.column.place);
  if (!profile) return null;
  const cut = tree.cut[node] < 0 ? null : test.column.cutNumbers[tree.cut[node]];
  return el('figure', { class: 'tested' },
    el('figcaption', {}, name(test.column.name),
       here ? ' of the rows given that come here' : ' of all rows given',
       cut === null ? '' : `, cut at ${test.value}`),
    columnHistogram(model, profile, cut),
    el('div', { class: 'muted small' }, name(rangeText(profile))));
}

export function nodePanel(panel, view) {
  return (node) => {
    const { tree } = view;
    const leaf = tree.isLeaf(node);
    const open = view.layout.isOpen(node);
    const buttons = leaf ? null : el('div', { class: 'buttons' },
      el('button', { type: 'button', onclick: () => { view.toggle(node); view.select(node); } },
         open ? 'Collapse' : 'Expand'),
      el('button', { type: 'button', onclick: () => {
        view.layout.openBelow(node);
        view.rearranged(node);
        view.select(node);
      } }, 'Expand all below'));
    const test = tree.test(node);
    panel.replaceChildren(...[
      el('p', { class: 'kind' }, leaf ? 'Leaf' : node === 0 ? 'Root, a test of' : 'Test of'),
      el('h3', {}, name(tree.title(node))),
      test && el('p', { class: 'reached' }, 'reached where ', conditionNode(
        { ...test, upTo: test.relation === '≤' ? test.value : undefined,
          above: test.relation === '>' ? test.value : undefined })),
      facts(tree, node), distribution(tree, node), leaf ? null : testedHistogram(tree, node),
      el('h4', {}, 'Rule'), el('p', { class: 'rule' }, ...ruleNodes(tree, node)), buttons,
    ].filter(Boolean));
  };
}
