// The rules of a tree: one a leaf, sortable and filterable. Only the lines in view are in the page.
import { amount, counted, el, name, oncePerFrame, percent } from './dom.js';
import { NO_CASES, conditionText, conditions } from './model.js';
import { ruleNodes } from './panel.js';
import { swatch } from './colours.js';

const LINE = 36;       // pixels, as in the style sheet
const SPARE = 8;       // lines beyond the edge
const PRINTED = 300;
const WHOLE = 20;      // on a narrow screen, at a time

/** What a leaf says; its conditions are put together when they are asked for. */
class Rule {
  constructor(tree, node, number) {
    Object.assign(this, { tree, node, number, code: tree.classOf[node] });
    this.support = tree.weight[node];
    this.errors = tree.error[node];
    this.confidence = this.support > 0 ? 1 - tree.wrong(node) / this.support : null;
  }
  get all() { return this.found ??= conditions(this.tree, this.node); }
  get length() { return this.all.length; }
  get text() { return this.line ??= this.all.map(conditionText).join(' and ') || 'every case'; }
}

/** The rules in the order of the tree, those without cases last. */
export function rulesOf(tree) {
  const leaves = [];
  for (let node = 0; node < tree.size; ++node) if (tree.isLeaf(node)) leaves.push(node);
  return [...leaves.filter((node) => tree.hasCases(node)),
          ...leaves.filter((node) => !tree.hasCases(node))]
    .map((node, i) => new Rule(tree, node, i + 1));
}

const COLUMNS = [
  { key: 'number', title: 'No.', value: (r) => r.number },
  { key: 'text', title: 'Where', value: (r) => r.text },
  { key: 'length', title: 'Tests', value: (r) => r.length, fall: false, number: true },
  { key: 'code', title: 'Class', value: (r) => r.code },
  { key: 'support', title: 'Support', value: (r) => r.support, fall: true, number: true },
  { key: 'confidence', title: 'Confidence', value: (r) => r.confidence, fall: true, number: true },
  { key: 'errors', title: 'Errors est.', value: (r) => r.errors, fall: true, number: true },
];

export function sorted(rules, key, falling) {
  const { value } = COLUMNS.find((c) => c.key === key);
  const order = (a, b) => typeof value(a) === 'string'
    ? value(a).localeCompare(value(b), 'en', { numeric: true }) : value(a) - value(b);
  const last = (a, b) => (a.confidence === null) - (b.confidence === null);
  return [...rules].sort((a, b) => last(a, b) || (falling ? -order(a, b) : order(a, b)) ||
                                   a.number - b.number);
}

export class RuleList {
  constructor(model, goTo) {
    this.model = model;
    this.goTo = goTo;
    this.key = 'number';
    this.falling = false;
    this.narrow = matchMedia('(max-width: 700px)');
    this.count = el('span', { class: 'count', role: 'status', 'aria-live': 'polite' });
    this.filter = el('input', { type: 'search', placeholder: 'Filter by text', dir: 'auto',
                                'aria-label': 'Filter the rules', spellcheck: 'false' });
    this.ofClass = el('select', { 'aria-label': 'Class of the rules' },
                      el('option', { value: '' }, 'all classes'));
    model.classNames.forEach((text, code) => {
      if (code > 0) this.ofClass.append(el('option', { value: code, dir: 'auto' }, text));
    });
    this.body = el('tbody');
    this.heads = COLUMNS.map((c) => this.head(c));
    this.table = el('table', { class: 'rules' },
                    el('thead', {}, el('tr', {}, this.heads)), this.body);
    this.scroll = el('div', { class: 'scroll', tabindex: 0, role: 'region',
                              'aria-label': 'List of rules' }, this.table);
    this.filter.addEventListener('input', () => this.refresh());
    this.ofClass.addEventListener('change', () => this.refresh());
    this.narrow.addEventListener('change', () => { this.first = null; this.fill(); });
    this.scroll.addEventListener('scroll', oncePerFrame(() => this.fill()));
    new ResizeObserver(() => this.fill()).observe(this.scroll);
    this.element = el('div', { class: 'rule-list' },
      el('div', { class: 'toolbar' }, this.filter, this.ofClass, this.count), this.scroll);
  }

  head(column) {
    const button = el('button', { type: 'button', onclick: () => this.sortBy(column) },
                      column.title, el('span', { class: 'arrow', 'aria-hidden': 'true' }));
    return el('th', { scope: 'col', class: column.number ? 'number' : null,
                      'data-key': column.key }, button,
              el('span', { class: 'on-paper', 'aria-hidden': 'true' }, column.title));
  }

  show(tree) {
    this.tree = tree;
    this.rules = rulesOf(tree);
    this.refresh();
  }

  sortBy(column) {
    this.falling = this.key === column.key ? !this.falling : column.fall === true;
    this.key = column.key;
    this.refresh();
  }

  refresh() {
    const words = this.filter.value.toLowerCase().split(/\s+/).filter(Boolean);
    const code = Number(this.ofClass.value);
    const wanted = this.rules.filter((r) => (code === 0 || r.code === code) &&
      words.every((word) => r.text.toLowerCase().includes(word) ||
                  this.model.classNames[r.code].toLowerCase().includes(word)));
    this.lines = sorted(wanted, this.key, this.falling);
    for (const head of this.heads) {
      const own = head.dataset.key === this.key;
      own ? head.setAttribute('aria-sort', this.falling ? 'descending' : 'ascending')
        : head.removeAttribute('aria-sort');
    }
    const all = counted(this.rules.length, 'rule', 'rules');
    this.count.textContent = wanted.length === this.rules.length ? all
      : `${wanted.length.toLocaleString('en')} of ${all}`;
    this.scroll.scrollTop = 0;
    this.first = null;
    this.fill();
  }

  /** On a narrow screen rules stand one below the other in full, more of them when asked for. */
  fillWhole(more = 0) {
    if (this.first === 'whole' && more === 0) return;
    this.wholeLines = (this.first === 'whole' ? this.wholeLines : WHOLE) + more;
    this.first = 'whole';
    const rest = this.lines.length - this.wholeLines;
    this.body.replaceChildren(...this.lines.slice(0, this.wholeLines).map((r) => this.line(r)));
    if (rest <= 0) return;
    this.body.append(el('tr', {}, el('td', {}, el('button', { type: 'button',
      onclick: () => this.fillWhole(WHOLE) }, `${counted(rest, 'more rule', 'more rules')}`))));
  }

  /** Puts the lines in view, and empty space for those above and below. */
  fill() {
    if (!this.lines) return;
    if (this.narrow.matches) return this.fillWhole();
    const room = Math.ceil((this.scroll.clientHeight || 480) / LINE);
    const top = Math.max(0, Math.floor(this.scroll.scrollTop / LINE) - SPARE);
    const end = Math.min(this.lines.length, top + room + 2 * SPARE);
    if (this.first === top && this.end === end) return;
    this.first = top;
    this.end = end;
    const space = (lines) => el('tr', { class: 'space', 'aria-hidden': 'true' },
      el('td', { colspan: COLUMNS.length, style: { height: `${lines * LINE}px` } }));
    this.body.replaceChildren(space(top), ...this.lines.slice(top, end).map((r) => this.line(r)),
                              space(this.lines.length - end));
    this.table.setAttribute('aria-rowcount', this.lines.length + 1);
  }

  line(rule) {
    const whole = this.tree.weight[0];
    const go = el('button', { type: 'button', class: 'link', title: 'Show in the tree',
                              'aria-label': `Rule ${rule.number}: show in the tree`,
                              onclick: () => this.goTo(rule.node) }, String(rule.number));
    return el('tr', { 'data-node': rule.node }, el('td', {}, go),
      el('td', { class: 'text', title: rule.text }, ...ruleNodes(this.tree, rule.node)),
      el('td', { class: 'number', 'data-title': 'Tests' }, String(rule.length)),
      el('td', { class: 'cell' }, swatch(rule.code),
         name(this.model.classNames[rule.code])),
      ...(rule.confidence === null ? [el('td', { class: 'muted', colspan: 3 }, NO_CASES)] : [
        el('td', { class: 'number', 'data-title': 'Support' }, amount(rule.support),
           el('span', { class: 'muted' }, ` ${percent(rule.support / whole)}`)),
        el('td', { class: 'number', 'data-title': 'Confidence' }, percent(rule.confidence)),
        el('td', { class: 'number', 'data-title': 'Errors est.' }, amount(rule.errors))]));
  }

  /** On paper the first rules stand in full. */
  print() {
    this.first = null;
    this.body.replaceChildren(...this.lines.slice(0, PRINTED).map((r) => this.line(r)));
    if (this.lines.length > PRINTED) {
      this.body.append(el('tr', {}, el('td', { colspan: COLUMNS.length },
        `and ${(this.lines.length - PRINTED).toLocaleString('en')} more rules`)));
    }
  }
}
