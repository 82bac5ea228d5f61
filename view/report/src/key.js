// The classes beside their marks.
import { el, name } from './dom.js';
import { swatch } from './colours.js';

const KEYED = 30;  // classes named in the key

export function classKey(model) {
  const n = model.classNames.length - 1;
  const codes = Array.from({ length: Math.min(n, KEYED) }, (_, i) => i + 1);
  return el('ul', { class: 'key', 'aria-label': 'Colours of the classes' },
    codes.map((code) => el('li', {}, swatch(code), name(model.classNames[code]))),
    n > KEYED ? el('li', { class: 'muted' }, `and ${n - KEYED} more`) : null);
}
