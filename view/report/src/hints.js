// Sentences for models that need one.
import { el, name, percent } from './dom.js';

const STRONG = 10;  // times as many cases

export function hintsOf(model) {
  const hints = [];
  const tree = model.tree(0);
  if (!model.ensemble && tree.size === 1) {
    hints.push(['The model is one leaf: nothing separates the classes better than chance. Try ',
      'other columns, less pruning (-np, or a larger -c), a smaller -m, or more rows.']);
  }
  const classes = tree.distribution(0).filter(([code]) => code > 0).sort((a, b) => b[1] - a[1]);
  const [most] = classes;
  const least = classes.at(-1);
  if (classes.length > 1 && most[1] >= STRONG * least[1]) {
    hints.push(['The classes are far apart in number: ', name(model.classNames[most[0]]),
      ` has ${percent(most[1] / tree.weight[0])} of the training cases, `,
      name(model.classNames[least[0]]), ` ${percent(least[1] / tree.weight[0])}. The error alone `,
      'says little then: look at recall, balanced accuracy and kappa, and try case weights.']);
  }
  return hints.map((parts) => el('p', { class: 'model-hint' }, parts));
}
