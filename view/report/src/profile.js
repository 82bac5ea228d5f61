// The page on the training: settings, and what the columns of the given rows hold.
import { amount, el, name, percent, svg } from './dom.js';
import { classColour, hatching } from './colours.js';
import { classKey } from './key.js';
import { numberOf } from './model.js';

const WIDTH = 260;
const HEIGHT = 64;

const sum = (numbers) => numbers.reduce((a, b) => a + b, 0);
const short = (x) => String(+x.toPrecision(4));

/** The bins of a column side by side, each divided by classes; `cut` is a number or null. */
export function columnHistogram(model, profile, cut = null) {
  const most = Math.max(...profile.bins.map(sum), Number.MIN_VALUE);
  const room = WIDTH / Math.max(1, profile.bins.length);
  const bars = profile.bins.map((bin, i) => {
    let top = HEIGHT;
    const parts = bin.map((weight, at) => {
      const code = bin.length > 1 ? at + 1 : 0;
      const height = HEIGHT * weight / most;
      top -= height;
      if (height === 0) return [];
      const box = { x: i * room + 0.5, y: top, width: Math.max(1, room - 1), height };
      return [svg('rect', { ...box, style: { fill: classColour(code) } }),
              hatching(code) ? svg('rect', { ...box, fill: hatching(code) }) : null];
    });
    return svg('g', {}, svg('title', {}, binText(model, profile, i)), parts,
               svg('rect', { class: 'hit', x: i * room, y: 0, width: room, height: HEIGHT }));
  });
  return svg('svg', { class: 'histogram', viewBox: `0 0 ${WIDTH} ${HEIGHT}`, role: 'img',
                      'aria-label': 'Histogram by class', preserveAspectRatio: 'none' },
             bars, cutLine(model, profile, cut));
}

function binText(model, profile, i) {
  const bin = profile.bins[i];
  const [from, to] = profile.range ?? [];
  const step = profile.range ? (to - from) / profile.bins.length : 0;
  const where = !profile.range ? profile.labels[i]
    : i === 0 ? `up to ${short(from + step)}`
    : i + 1 === profile.bins.length ? `above ${short(to - step)}`
    : `${short(from + i * step)} to ${short(from + (i + 1) * step)}`;
  const classes = bin.length > 1 ? bin.map((w, at) => [w, at + 1]).filter(([w]) => w > 0)
    .map(([w, code]) => `\n${model.classNames[code]}: ${amount(w)}`).join('') : '';
  return `${where}: ${amount(sum(bin))}${classes}`;
}

function cutLine(model, profile, cut) {
  if (cut === null) return null;
  let x = null;
  if (profile.range) {
    const [from, to] = profile.range;
    x = WIDTH * Math.min(1, Math.max(0, (cut - from) / (to - from)));
  } else {
    const column = model.columns[profile.column];
    const below = profile.labels.filter((label) => column.type === 'ostring'
      ? column.values.indexOf(label) + 1 <= cut : numberOf(column, label) <= cut);
    x = WIDTH * below.length / Math.max(1, profile.labels.length);
  }
  return svg('line', { class: 'cut', x1: x, x2: x, y1: 0, y2: HEIGHT });
}

export function rangeText(profile) {
  if (profile.range) return `${short(profile.range[0])} … ${short(profile.range[1])}`;
  const some = profile.labels.slice(0, 4).join(', ');
  return profile.distinct > 4 ? `${some}, …` : some;
}

function profileRow(model, profile) {
  const column = model.columns[profile.column];
  return el('tr', {},
    el('th', { scope: 'row' }, name(column.name, { title: column.name }),
       el('div', { class: 'muted' }, `${column.type}, ${column.role}`)),
    el('td', { class: 'number' }, profile.unknown > 0 ? percent(profile.unknown) : '–'),
    el('td', { class: 'number' }, profile.distinct.toLocaleString('en')),
    el('td', {}, columnHistogram(model, profile),
       el('div', { class: 'muted small' }, name(rangeText(profile)),
          profile.others > 0 ? ` (further values: ${amount(profile.others)})` : '')));
}

function profileTable(model) {
  const all = [...model.profile.values()];
  return el('div', { class: 'scroll tall', tabindex: 0, role: 'region',
                     'aria-label': 'Profile of the rows given' },
    el('table', { class: 'rows profile' },
      el('thead', {}, el('tr', {}, ['Column', 'Unknown', 'Distinct', 'Values by class'].map(
        (title, i) => el('th', { scope: 'col', class: i === 1 || i === 2 ? 'number' : null },
                         title)))),
      el('tbody', {}, all.map((p) => profileRow(model, p)))));
}

export function trainingPage(model) {
  const facts = el('dl', { class: 'facts settings' }, model.training.map(([label, text]) =>
    [el('dt', {}, label), el('dd', {}, name(text))]),
    el('dt', {}, 'Made by'), el('dd', {}, model.made_by),
    model.cases > 0 ? [el('dt', {}, model.ensemble ? 'Training cases of a tree' : 'Training cases'), el('dd', {}, amount(model.cases))] : []);
  const profile = model.profile.size > 0
    ? [el('h3', {}, 'Profile of the rows given'), classKey(model), profileTable(model)]
    : [el('p', { class: 'muted' }, 'A profile of the table needs rows: --data.')];
  return el('div', {}, facts, profile);
}
