// Charts whose axes both go from 0 to 1.
import { scaleLinear } from 'd3-scale';
import { el, svg } from './dom.js';

const FRAME = { width: 340, height: 320, left: 58, right: 12, top: 10, bottom: 42 };
const TICKS = [0, 0.25, 0.5, 0.75, 1];

export const across = scaleLinear([0, 1], [FRAME.left, FRAME.width - FRAME.right]);
export const up = scaleLinear([0, 1], [FRAME.height - FRAME.bottom, FRAME.top]);

function axes(xTitle, yTitle) {
  const { width, height, left, right, bottom } = FRAME;
  const middle = (height - bottom) / 2;
  return svg('g', { class: 'axes' },
    TICKS.map((t) => [
      svg('line', { class: 'grid', x1: left, x2: width - right, y1: up(t), y2: up(t) }),
      svg('text', { x: left - 6, y: up(t) + 4, 'text-anchor': 'end' }, String(t)),
      svg('text', { x: across(t), y: height - bottom + 17, 'text-anchor': 'middle' }, String(t)),
    ]),
    svg('text', { x: across(0.5), y: height - 6, 'text-anchor': 'middle' }, xTitle),
    svg('text', { transform: `translate(12 ${middle}) rotate(-90)`, 'text-anchor': 'middle' },
        yTitle));
}

export const diagonal = () =>
  svg('line', { class: 'chance', x1: across(0), y1: up(0), x2: across(1), y2: up(1) });

/** A line through points [x, y]; with `steps` level up to each; `kind` is one more class of style. */
export function curve(points, steps = false, kind = '') {
  const d = points.map(([x, y], i) => i === 0 ? `M${across(x)} ${up(y)}`
    : steps ? `V${up(y)}H${across(x)}` : `L${across(x)} ${up(y)}`).join('');
  return svg('path', { class: `curve ${kind}`.trim(), d });
}

export const plot = (caption, xTitle, yTitle, ...children) => el('figure', { class: 'square' },
  el('figcaption', {}, caption),
  svg('svg', { class: 'chart', viewBox: `0 0 ${FRAME.width} ${FRAME.height}`, role: 'img',
               'aria-label': `${yTitle} by ${xTitle}` }, axes(xTitle, yTitle), children));
