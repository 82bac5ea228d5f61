// Lint of the report's script and of the tests beside this file, from the root of the checkout:
// eslint --config tests/view/eslint.config.mjs view/report tests/view
import js from '@eslint/js';

const names = (list) => Object.fromEntries(list.split(' ').map((name) => [name, 'readonly']));
const page = names('document window matchMedia requestAnimationFrame ResizeObserver innerWidth ' +
                   'innerHeight addEventListener getComputedStyle CSS Blob URL navigator setTimeout ' +
                   'clearTimeout performance location EventTarget CustomEvent');
const node = names('process console');

export default [
  { ignores: ['**/bundle.js', '**/node_modules/'] },
  {
    ...js.configs.recommended,
    languageOptions: { ecmaVersion: 2023, sourceType: 'module' },
    rules: {
      ...js.configs.recommended.rules,
      'no-control-regex': 'off',  // controls of texts are made visible
      'no-unused-vars': ['error', { args: 'none' }],
      'no-var': 'error',
      'prefer-const': 'error',
      eqeqeq: 'error',
      'no-implicit-globals': 'error',
      'no-shadow': 'error',
      'no-restricted-properties': ['error', { property: 'innerHTML' }, { property: 'outerHTML' },
                                   { property: 'insertAdjacentHTML' }],  // texts are never markup
    },
  },
  { files: ['view/report/src/**'], languageOptions: { globals: page } },
  { files: ['**/*.mjs'], languageOptions: { globals: { ...page, ...node } } },
];
