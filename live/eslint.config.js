// The style of the live page and its tests.

import js from '@eslint/js';
import globals from 'globals';

export default [
  {ignores: ['live/node_modules/**']},
  js.configs.recommended,
  {
    rules: {
      'camelcase': ['error', {properties: 'never', ignoreDestructuring: true}],
      'eqeqeq': 'error',
      'indent': ['error', 2, {SwitchCase: 1, ignoredNodes: ['ConditionalExpression', 'TemplateLiteral *']}],
      'max-len': ['error', {code: 100, ignoreStrings: true, ignoreTemplateLiterals: true}],
      'max-lines': ['error', 299],
      'max-lines-per-function': ['error', 60],
      'no-shadow': 'error',
      'no-var': 'error',
      'prefer-const': 'error',
      'quotes': ['error', 'single', {avoidEscape: true}],
      'semi': 'error',
    },
  },
  {files: ['live/page.js', 'live/view/*.js'], languageOptions: {globals: globals.browser}},
  // The arithmetic knows no page.
  {
    files: ['live/model/*.js', 'tests/live/*.mjs'],
    languageOptions: {globals: globals['shared-node-browser']},
  },
];
