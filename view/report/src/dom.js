// Elements, numbers and texts of the page, made in one way.
//
// Texts of the model reach the page only as text nodes and attribute values, never as markup.

const SVG = 'http://www.w3.org/2000/svg';

function setStyle(style, values) {
  for (const [property, value] of Object.entries(values)) {
    property.startsWith('--') ? style.setProperty(property, value) : style[property] = value;
  }
}

function fill(element, attributes, children) {
  for (const [name, value] of Object.entries(attributes)) {
    if (value === null || value === undefined || value === false) continue;
    if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
    else if (name === 'style') setStyle(element.style, value);
    else element.setAttribute(name, value === true ? '' : value);
  }
  const present = (child) => child !== null && child !== undefined;
  element.append(...children.flat(Infinity).filter(present));
  return element;
}

/** An HTML element; attributes named "on..." are listeners, "style" is an object. */
export const el = (tag, attributes = {}, ...children) =>
  fill(document.createElement(tag), attributes, children);

export const svg = (tag, attributes = {}, ...children) =>
  fill(document.createElementNS(SVG, tag), attributes, children);

/** A text of the model: its direction is its own, and does not reach its neighbours. */
export const name = (text, attributes = {}) => el('bdi', { dir: 'auto', ...attributes }, text);

const CONTROLS = /[\u0000-\u001f\u007f-\u009f\u200e\u200f\u2028-\u202e\u2066-\u2069\ufeff]/g;

/** Controls made visible: none may turn or hide what stands beside it. */
export function shown(text) {
  if (text === '') return '“”';
  return text.replace(CONTROLS, (c) =>
    c < ' ' ? String.fromCharCode(0x2400 + c.charCodeAt(0)) : '\ufffd');
}

/** Of any number of numbers; `none` without any. */
export const largest = (numbers, none = 0) => numbers.reduce((a, b) => Math.max(a, b), none);

/** As "%.1f" writes it: a tie goes to the even digit. */
export function oneDecimal(x) {
  const tenths = x * 10;
  const tie = Number.isInteger(x * 4) && tenths - Math.floor(tenths) === 0.5;
  if (!tie) return x.toFixed(1);
  const below = Math.floor(tenths);
  return ((below % 2 === 0 ? below : below + 1) / 10).toFixed(1);
}

/** A weight or an error, without a decimal that says nothing. */
export const amount = (x) => oneDecimal(x).replace(/\.0$/, '');

export function percent(share) {
  if (!Number.isFinite(share)) return '–';
  if (share === 0 || share === 1) return `${100 * share} %`;
  return `${(100 * share).toFixed(Math.abs(share) >= 0.1 ? 1 : 2)} %`;
}

export const counted = (n, one, many) => `${n.toLocaleString('en')} ${n === 1 ? one : many}`;

const ruler = document.createElement('canvas').getContext('2d');
const widths = new Map();

function widthOf(text, font) {
  const key = `${font}\n${text}`;
  let width = widths.get(key);
  if (width === undefined) {
    ruler.font = font;
    width = ruler.measureText(text).width;
    if (widths.size > 50000) widths.clear();
    widths.set(key, width);
  }
  return width;
}

/** The text, or as much of it as fits with an ellipsis. */
export function clipped(text, font, room) {
  const start = text.length > 400 ? text.slice(0, 400) : text;
  if (start === text && widthOf(text, font) <= room) return text;
  let low = 0;
  let high = start.length;
  while (low < high) {
    const middle = (low + high + 1) >> 1;
    if (widthOf(`${start.slice(0, middle)}…`, font) <= room) low = middle;
    else high = middle - 1;
  }
  if (low > 0 && /[\ud800-\udbff]/.test(start[low - 1])) --low;  // not half a character
  return `${start.slice(0, low)}…`;
}

/** Calls `act` at most once a frame. */
export function oncePerFrame(act) {
  let waiting = false;
  return () => {
    if (waiting) return;
    waiting = true;
    requestAnimationFrame(() => {
      waiting = false;
      act();
    });
  };
}
