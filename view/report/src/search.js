// Finds nodes by the attribute they test, by the value that leads to them or by their class.
import { el } from './dom.js';

/** Nodes one of whose texts holds every word. */
export function matchesOf(tree, text) {
  const words = text.toLowerCase().split(/\s+/).filter(Boolean);
  if (words.length === 0) return [];
  const found = [];
  for (let i = 0; i < tree.size; ++i) {
    const test = tree.test(i);
    const way = test ? `${test.column.name} ${test.relation} ${test.value}`.toLowerCase() : '';
    const title = tree.title(i).toLowerCase();
    if (words.every((word) => title.includes(word)) ||
        words.every((word) => way.includes(word))) found.push(i);
  }
  return found;
}

export function searchBox(view) {
  let matches = [];
  let at = -1;
  const count = el('span', { class: 'count', role: 'status', 'aria-live': 'polite' });
  const input = el('input', {
    type: 'search', id: 'search', placeholder: 'Attribute, value or class', dir: 'auto',
    'aria-label': 'Search the tree', spellcheck: 'false', autocomplete: 'off',
  });
  const step = (by) => {
    if (matches.length === 0) return;
    at = (at + by + matches.length) % matches.length;
    view.goTo(matches[at]);
    tell();
  };
  const tell = () => {
    count.textContent = input.value.trim() === '' ? ''
      : matches.length === 0 ? 'nothing found'
      : `${at < 0 ? '' : `${at + 1} of `}${matches.length.toLocaleString('en')}`;
    for (const button of [previous, next]) button.disabled = matches.length === 0;
  };
  const find = () => {
    matches = matchesOf(view.tree, input.value);
    at = -1;
    view.setMatches(matches);
    tell();
  };
  const arrow = (text, label, by) => el('button', {
    type: 'button', class: 'icon', 'aria-label': label, title: label, disabled: true,
    onclick: () => step(by),
  }, text);
  const previous = arrow('↑', 'Previous match', -1);
  const next = arrow('↓', 'Next match', 1);
  input.addEventListener('input', find);
  input.addEventListener('keydown', (event) => {
    if (event.key === 'Enter') step(event.shiftKey ? -1 : 1);
    if (event.key === 'Escape') {
      input.value = '';
      find();
    }
  });
  document.addEventListener('keydown', (event) => {
    if (event.key !== '/' || event.target.closest('input, select, textarea')) return;
    event.preventDefault();
    input.focus();
    input.select();
  });
  return { element: el('div', { class: 'search', role: 'search' }, input, count, previous, next),
           reset: () => { input.value = ''; find(); } };
}
