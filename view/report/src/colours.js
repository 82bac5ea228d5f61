// One colour a class: eight that colour-blind people tell apart (Okabe and Ito, lightened or
// darkened by the theme), beyond these a walk round the circle of hues. A colour never stands
// alone: its class is named beside it or in the tooltip.

const DISTINCT = 8;
const GOLDEN_ANGLE = 137.508;

/** A CSS colour for a class code; code 0 is the unknown class. */
export function classColour(model, code) {
  if (code === 0) return 'var(--class-none)';
  const n = model.classNames.length - 1;
  if (n <= DISTINCT) return `var(--class-${code})`;
  const hue = (30 + code * GOLDEN_ANGLE) % 360;
  return `oklch(var(--class-light-${code % 3}) 0.12 ${hue.toFixed(0)})`;
}

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
