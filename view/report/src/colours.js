// A colour and a mark for each class: eight colours that colour-blind people tell apart (Okabe and
// Ito, lightened or darkened by the theme), the same again with another shape of the mark and
// another hatching of areas. A colour never stands alone: its class is named beside it or in the
// tooltip.
import { el, svg } from './dom.js';

const COLOURS = 8;
const SHAPES = [  // in a box of 10
  'M5 .5a4.5 4.5 0 1 0 0 9a4.5 4.5 0 1 0 0-9z', 'M1 1h8v8h-8z', 'M5 .3l4.9 8.9h-9.8z',
  'M5-.3L10.3 5L5 10.3L-.3 5z', 'M3.4 0h3.2v3.4H10v3.2H6.6V10H3.4V6.6H0V3.4h3.4z',
  'M5 9.7l4.9-8.9h-9.8z', 'M0 3h10v4h-10z', 'M3 0h4v10h-4z',
];
const ANGLES = [45, -45, 0, 90, 20, -20, 70];  // of the hatchings, from the second round on

const roundOf = (code) => code === 0 ? 0 : Math.floor((code - 1) / COLOURS) % SHAPES.length;

/** A CSS colour for a class code; code 0 is the unknown class. */
export const classColour = (code) =>
  code === 0 ? 'var(--class-none)' : `var(--class-${(code - 1) % COLOURS + 1})`;

/** The mark of a class, in a box of 10. */
export const markPath = (code, attributes = {}) =>
  svg('path', { d: SHAPES[roundOf(code)], style: { fill: classColour(code) }, ...attributes });

export const swatch = (code) =>
  svg('svg', { class: 'swatch', viewBox: '-.5 -.5 11 11', 'aria-hidden': 'true' }, markPath(code));

/** The dashes of a line for a class, as SVG has them. */
export const dashes = (code) => ['none', '7 4', '2 3', '9 3 2 3'][Math.min(3, roundOf(code))];

/** The hatching of a class, as the fill of a shape over the colour; null where there is none. */
export const hatching = (code) => roundOf(code) > 0 ? `url(#hatch-${roundOf(code)})` : null;

/** A bar of so many percent of its cell. */
export const classBar = (code, percent) => el('span', {
  class: roundOf(code) > 0 ? 'bar hatched' : 'bar', style: {
    width: `${percent.toFixed(2)}%`, backgroundColor: classColour(code),
    ...(roundOf(code) > 0 ? { '--angle': `${ANGLES[roundOf(code) - 1]}deg` } : {}),
  },
});

/** What shapes refer to; once a page. */
export const hatchings = () => svg('svg', { class: 'definitions', 'aria-hidden': 'true' },
  svg('defs', {}, ANGLES.map((angle, i) => svg('pattern', {
    id: `hatch-${i + 1}`, width: 4, height: 4, patternUnits: 'userSpaceOnUse',
    patternTransform: `rotate(${angle})` },
    svg('rect', { class: 'hatch', width: 1.6, height: 4 })))));

export function themeSwitch(button) {
  const root = document.documentElement;
  const dark = () => root.dataset.theme
    ? root.dataset.theme === 'dark' : matchMedia('(prefers-color-scheme: dark)').matches;
  const say = () => {
    button.textContent = dark() ? 'Light' : 'Dark';
    button.setAttribute('aria-label', `Use ${dark() ? 'light' : 'dark'} colours`);
  };
  button.addEventListener('click', () => {
    root.dataset.theme = dark() ? 'light' : 'dark';
    say();
  });
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', say);
  say();
}
