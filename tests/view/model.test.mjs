// What the page of a report computes, without a browser, with the programs and the checkout in ORVCMD,
// ORVIK and ORVIK_ROOT. Where the page's packages are missing (npm ci in view/report) the exit status is
// 77 with a word; there, an error where CI is set.
import assert from 'node:assert/strict';
import { existsSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, test } from 'node:test';
import { Workshop } from './page.mjs';

const { ORVCMD, ORVIK, ORVIK_ROOT } = process.env;
if (!existsSync(join(ORVIK_ROOT, 'view', 'report', 'node_modules'))) {
  const lack = 'no packages in view/report (npm ci)';
  console.log(process.env.CI ? `CI tests what the page computes: ${lack}` : `SKIPPED: ${lack}`);
  process.exit(process.env.CI ? 1 : 77);
}
const rentals = join(ORVIK_ROOT, 'tests', 'data', 'rentals');
const golf = join(ORVIK_ROOT, 'examples', 'golf');
const FULL = ['-npp', '-m', '0.5'];
const shop = new Workshop(ORVCMD, ORVIK);
after(() => shop.close());

// As much of a page as the modules ask for before anything is shown.
const page = { data: '' };
globalThis.document = {
  createElement: () => ({ getContext: () => null }),
  getElementById: () => ({ textContent: page.data }),
};
const source = join(ORVIK_ROOT, 'view', 'report', 'src');
const { conditions, conditionText, readModel } = await import(join(source, 'model.js'));
const { predict, readValue } = await import(join(source, 'predict.js'));
const { dependenceOf, gridOf } = await import(join(source, 'dependence.js'));
const { reasonsOf } = await import(join(source, 'reasons.js'));
const { dependencePoints } = await import(join(source, 'reason_plot.js'));
const { rulesOf, sorted } = await import(join(source, 'rules.js'));

function modelOf(file) {
  const html = readFileSync(shop.report(file), 'utf8');
  page.data = html.match(/<script[^>]*id="orvik-model"[^>]*>([^]*?)<\/script>/)[1];
  return readModel();
}

const tableOf = (stem) => ({
  names: readFileSync(`${stem}.names`, 'utf8').trimEnd().split('\n').map((l) => l.split(',')[0]),
  rows: readFileSync(`${stem}.data`, 'utf8').trimEnd().split('\n')
    .map((line) => line.split(',').map((cell) => cell.trim())),
});

/** The values of a row, by column of the model, as the form of the page would read them. */
const valuesOf = (model, names, row) => model.columns.map((c) => {
  if (c.role !== 'discrete' && c.role !== 'continuous') return null;
  const read = readValue(c, row[names.indexOf(c.name)]);
  assert.equal(read.error, undefined, `${c.name}: ${read.error}`);
  return read.value;
});

function assertScores(file, names, rows) {
  const model = modelOf(file);
  const scores = shop.scores(file, rows.map((row) => row.join(',')));
  rows.forEach((row, i) => {
    const { code, confidence } = predict(model, valuesOf(model, names, row));
    const share = Number(confidence.toPrecision(6));  // as the program prints it
    assert.deepEqual([model.classNames[code], share], [scores[i][0], Number(scores[i][1])],
                     row.join(','));
  });
}

test('a case has the class and the confidence that the program gives it', () => {
  const { names, rows } = tableOf(rentals);
  const gaps = rows.map((row, i) => row.map((c, at) => at > 1 && (i + at) % 4 === 0 ? '?' : c));
  const columns = modelOf(shop.grow(rentals)).columns;
  const unseen = rows.map((row, i) => row.map((cell, at) => {
    const { role, type } = columns.find((c) => c.name === names[at]) ?? {};
    if (at !== i % names.length || (role !== 'discrete' && role !== 'continuous')) return cell;
    return type.endsWith('string') ? 'never seen' : '17';
  }));
  for (const options of [[], FULL, ['-fo', '9', '-seed', '3', ...FULL], ['-ba', '2', '-seed', '1'],
                         ['-binary', '-free'], ['-bo', '5', '-soft', '-binary', '-mtry', '2', '-seed', '3'],
                         ['-calibrate', 'isotonic', '-seed', '1'],
                         ['-fo', '5', '-calibrate', 'platt', '-seed', '1']]) {
    assertScores(shop.grow(rentals, ...options), names, [...rows, ...gaps, ...unseen]);
  }
});

test('floats are compared as floats', () => {
  const rows = Array.from({ length: 30 }, (_, i) => [`${i / 10}`, 'abc'[Math.floor(i / 3) % 3]]);
  const stem = shop.file('floats');
  shop.file('floats.names', 'x,float,continuous\nk,string,class\n');
  shop.file('floats.data', rows.map((row) => `${row}\n`).join(''));
  assertScores(shop.grow(stem, '-gain', ...FULL), ['x', 'k'], rows);
});

test('a text that is no value of a column is told of, or counts as unknown', () => {
  const column = (type, role, rawValues = []) => ({ type, role, rawValues, unknown: '?' });
  const whole = { error: 'not a whole number' }, real = { error: 'not a number' };
  for (const [type, role, text, expected] of [
    ['integer', 'continuous', '-7 ', { value: -7 }], ['integer', 'continuous', '1.5', whole],
    ['uinteger', 'continuous', '0x1f', whole], ['double', 'continuous', '.5e1', { value: 5 }],
    ['double', 'continuous', '1e', real], ['double', 'continuous', 'Infinity', real],
    ['float', 'continuous', '0.1', { value: Math.fround(0.1) }],
    ['double', 'continuous', ' ? ', { value: null }], ['string', 'discrete', '', { value: null }],
    ['string', 'discrete', 'b', { value: 1 }], ['ostring', 'continuous', 'b', { value: 2 }],
    ['string', 'discrete', 'B', { unseen: true, value: null }],
    ['integer', 'discrete', '+07', { value: 2 }],
  ]) {
    assert.deepEqual(readValue(column(type, role, ['a', 'b', '7']), text), expected, `${type} ${text}`);
  }
});

test('rules are the leaves: each case without gaps fits one, and they hold all the weight', () => {
  const { names, rows } = tableOf(golf);
  const model = modelOf(shop.grow(golf));
  const tree = model.tree(0);
  const rules = rulesOf(tree);
  assert.deepEqual(sorted(rules, 'support', true).map((r) => r.support), [4, 3, 3, 2, 2]);
  assert.deepEqual(sorted(rules, 'length', false).map((r) => r.length), [1, 2, 2, 2, 2]);
  assert.equal(rules.reduce((sum, r) => sum + r.support, 0), tree.weight[0]);
  const fits = (values) => (c) => {
    const value = values[c.column.place];
    if (c.relation === '=') return c.column.values[value] === c.value;
    return (c.above === undefined || value > c.above) && (c.upTo === undefined || value <= c.upTo);
  };
  for (const row of rows) {
    const values = valuesOf(model, names, row);
    const fitting = rules.filter((r) => conditions(tree, r.node).every(fits(values)));
    assert.deepEqual(fitting.map((r) => model.classNames[r.code]), [row.at(-1)]);
  }
  assert.equal(conditions(tree, rules.at(-1).node).map(conditionText).join(' and '), rules.at(-1).text);
});

test('two cuts of one column on a way are one condition', () => {
  const stem = shop.file('steps');
  shop.file('steps.names', 'x,integer,continuous\nk,string,class\n');
  shop.file('steps.data', Array.from({ length: 24 }, (_, i) => `${i},${'abcd'[i >> 3]}\n`).join(''));
  const rules = rulesOf(modelOf(shop.grow(stem, ...FULL)).tree(0));
  assert.deepEqual(rules.map((r) => r.text).sort(), ['7 < x ≤ 15', 'x > 15', 'x ≤ 7']);
});

test('the dependence on an attribute is what a case gets of which nothing else is known', () => {
  const flats = [rentals, 'rent', 'heating'];
  for (const [[table, ...names], ...options] of [[flats, ...FULL], [flats, '-fo', '5', '-seed', '2', ...FULL],
                                                 [[golf, 'humidity', 'outlook'], '-bo', '4', '-seed', '2'],
                                                 [flats, '-calibrate', 'platt', '-seed', '1', '-laplace', ...FULL]]) {
    const file = shop.grow(table, ...options);
    const model = modelOf(file);
    for (const name of names) {
      const column = model.columns.find((c) => c.name === name);
      const grid = gridOf(column).slice(0, -1);  // the last is behind all cuts
      const lines = grid.map(([value, label]) => model.columns.slice(0, -1).map((c) =>
        c !== column ? '?' : c.values.length > 0 ? label : value).join(','));
      const wanted = shop.scores(file, lines, '-prob').map((line) => line.slice(2).map(Number));
      const own = dependenceOf(model, column).slice(0, -1).map((shares) =>
        [...shares].slice(1).map((share) => Number(share.toPrecision(6))));
      assert.deepEqual(own, wanted, name);
    }
  }
});

test('the reasons for a class are those that the program gives', () => {
  const { names, rows } = tableOf(rentals);
  const some = rows.slice(0, 12).map((row, i) => row.map((c, at) => (i + at) % 5 === 0 ? '?' : c));
  for (const options of [FULL, ['-ba', '4', '-seed', '1', ...FULL], ['-bo', '4', '-soft', '-binary', '-seed', '3'],
                         ['-rf', '4', '-laplace', '-seed', '1'], ['-laplace', '-calibrate', 'platt', '-seed', '1', ...FULL]]) {
    const file = shop.grow(rentals, ...options);
    const model = modelOf(file);
    const [titles, ...lines] = shop.reasons(file, some.map((row) => row.join(',')));
    lines.forEach((line, i) => {
      const code = i % (model.classNames.length - 1) + 1;
      const row = some[Math.floor(i / (model.classNames.length - 1))];
      const { base, share, parts } = reasonsOf(model, valuesOf(model, names, row), code);
      const own = [base, ...titles.slice(3, -1).map((t) => parts[names.indexOf(t)]), share];
      own.forEach((x, k) => assert.ok(Math.abs(x - line[k + 2]) < 1e-12, `${options} ${titles} ${line} ${own}`));
    });
    const cases = some.map((row) => valuesOf(model, names, row));
    const points = dependencePoints(model, cases, model.columns.find((c) => c.name === 'rent'), 2);
    const at = [names.indexOf('rent'), titles.indexOf('rent')];
    assert.deepEqual(points.map(({ row }) => row), [...cases.keys()].filter((i) => some[i][at[0]] !== '?'));
    points.forEach(({ row, value, part }) => assert.ok(value === Number(some[row][at[0]]) &&
      Math.abs(part - lines[3 * row + 1][at[1]]) < 1e-12, `${options} ${row}`));
  }
});
