// Opens reports in a browser and uses them as people do.
//
// Usage: node report_test.mjs ORVCMD ORVIK ROOT, where ROOT is the checkout. Exit status 0 if all
// is well, 77 with a word where there is no browser or no playwright-core; there, an error where CI
// is set.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { join } from 'node:path';
import { Browser, Workshop, missing } from './page.mjs';

const [orvcmd, orvik, root] = process.argv.slice(2);
const lack = await missing();
if (lack) {
  console.log(process.env.CI ? `CI tests the page: ${lack}` : `SKIPPED: ${lack}`);
  process.exit(process.env.CI ? 1 : 77);
}

const golf = join(root, 'examples', 'golf');
const rentals = join(root, 'tests', 'data', 'rentals');
const FULL = ['-npp', '-m', '0.5'];
const FOREST = ['-fo', '9', '-seed', '3', ...FULL];
const shop = new Workshop(orvcmd, orvik);
const browser = await Browser.start();

const linesOf = (file) => readFileSync(file, 'utf8').trimEnd().split('\n');
const cards = (page) => page.locator('[role=treeitem]').count();
const focused = (page) => page.evaluate(() => document.activeElement.dataset.node);
const status = (page) => page.textContent('#tree-status');
const heading = (page) => page.textContent('#node-panel h3');
const numbers = (page, column) => page.$$eval('.rules tbody tr[data-node]', (rows, i) =>
  rows.map((row) => parseFloat(row.cells[i].textContent)), column);

/** Puts the cells of a line into the form, by the names of the columns, and asks for the class. */
async function typed(page, names, line) {
  const cells = line.split(',').map((cell) => cell.trim());
  return page.evaluate(([columns, values]) => {
    for (const field of document.querySelectorAll('.case .field')) {
      const value = values[columns.indexOf(field.querySelector('label').title)];
      const input = field.querySelector('input, select');
      input.value = value === '?' ? '' : value;
    }
    document.querySelector('.case button[type=submit]').click();
    return [document.querySelector('.predicted').textContent,
            document.querySelector('.answer .muted').textContent];
  }, [names, cells]);
}

function sameAnswer([predicted, confidence], [wanted, share], what) {
  assert.equal(predicted, wanted, what);
  const shown = parseFloat(confidence.match(/([\d.]+) %/)[1]);
  assert.ok(Math.abs(shown - 100 * Number(share)) <= 0.051, `${what}: ${confidence}, not ${share}`);
}

// The tree of golf: outlook, below it a leaf, windy and humidity, each with two leaves.
const tests = {
  async 'nodes open and close'() {
    const page = await browser.open(shop.report(shop.grow(golf)));
    assert.equal(await cards(page), 8);
    await page.click('#collapse-all');
    assert.equal(await cards(page), 1);
    assert.equal(await status(page), '1 of 8 nodes');
    await page.click('#node-0 .badge');
    assert.equal(await cards(page), 4);
    assert.equal(await page.getAttribute('#node-0', 'aria-expanded'), 'true');
    await page.click('#expand-all');
    assert.equal(await cards(page), 8);
    await page.click('#node-2 .badge');
    assert.equal(await status(page), '6 of 8 nodes');
    await page.click('#node-5');
    assert.equal(await heading(page), 'humidity');
    assert.match(await page.textContent('#node-panel .rule'), /outlook = sunny/);
  },

  async 'the keyboard walks the tree'() {
    const page = await browser.open(shop.report(shop.grow(golf)));
    await page.focus('#node-0');
    const walk = [['ArrowLeft', '0', 1], ['ArrowRight', '0', 8], ['ArrowRight', '1', 8],
                  ['ArrowDown', '2', 8], ['ArrowDown', '5', 8], ['ArrowDown', '5', 8],
                  ['ArrowRight', '6', 8], ['ArrowUp', '4', 8], ['ArrowLeft', '2', 8],
                  ['ArrowLeft', '2', 6], ['Enter', '2', 8], ['Home', '0', 8]];
    for (const [key, node, count] of walk) {
      await page.keyboard.press(key);
      assert.deepEqual([await focused(page), await cards(page)], [node, count], key);
    }
    await page.keyboard.press('/');
    assert.equal(await page.evaluate(() => document.activeElement.id), 'search');
  },

  async 'search finds attributes, values and classes'() {
    const page = await browser.open(shop.report(shop.grow(golf)));
    await page.click('#collapse-all');
    const count = () => page.textContent('.search .count');
    for (const [text, found, first] of [['HUMID', '3', 'humidity'], ['humidity 75', '2', 'yes'],
                                        ['sunny', '1', 'humidity'], ['no', '2', 'no'],
                                        ['hail', 'nothing found', null]]) {
      await page.fill('#search', text);
      assert.equal(await count(), found, text);
      await page.press('#search', 'Enter');
      if (first) assert.equal(await heading(page), first, text);
    }
    await page.fill('#search', 'humidity');
    await page.press('#search', 'Enter');
    await page.press('#search', 'Enter');
    assert.equal(await count(), '2 of 3');
  },

  async 'figures follow the rows, the class and the threshold that are chosen'() {
    const page = await browser.open(shop.report(shop.grow(golf), '--names', `${golf}.names`,
                                                '--data', `${golf}.data`));
    const said = () => page.textContent('#figures-of');
    assert.equal(await said(), 'Of rows given.');
    await page.fill('#threshold', '0');
    assert.deepEqual(await page.$$eval('.threshold td', (all) => all.map((c) => c.textContent)),
                     ['0', '5', '0', '9']);
    assert.match(await page.textContent('#threshold-figures'), /recall 0.0000/);
    await page.selectOption('[aria-label="Rows of the figures"]', '0');
    assert.equal(await said(), 'Of training rows.');
    assert.equal(await page.locator('.profile tbody tr').count(), 5);
    await page.click('#node-5');
    assert.equal(await page.locator('.tested .cut').count(), 1);
    const maps = await browser.open(shop.report(shop.grow(golf, '-calibrate', 'platt', '-seed', '1'), '--names',
                                                `${golf}.names`, '--data', `${golf}.data`));
    assert.match(await maps.textContent('.measures'), /[\d.]+ \(before calibration [\d.]+\)/);
    assert.equal(await maps.locator('.curve.before').count(), 1);
  },

  async 'the first picture can be read, and phones get whole rules'() {
    const page = await browser.open(shop.report(shop.grow(rentals, ...FULL)));
    const scale = () => page.$eval('.card .counts', (t) => t.getScreenCTM().d);
    assert.ok(await scale() >= 1);
    for (const levels of [1, 2, 3]) {
      await page.selectOption('#levels', String(levels));
      assert.ok(await scale() >= 1, `${levels} levels, ${await status(page)}`);
    }
    await page.setViewportSize({ width: 390, height: 844 });
    await page.waitForTimeout(100);
    const cut = await page.$$eval('.rules td.text', (all) =>
      all.filter((c) => c.scrollWidth > c.clientWidth + 1 || c.scrollHeight > c.clientHeight + 1).length);
    assert.equal(cut, 0);
    assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth));
  },

  // What is computed of a case is tested without a browser.
  async 'a case is taken from the form and from a row'() {
    const names = linesOf(`${rentals}.names`).map((line) => line.split(',')[0]);
    const lines = linesOf(`${rentals}.data`);
    const model = shop.grow(rentals, ...FOREST);
    const page = await browser.open(shop.report(model, '--names', `${rentals}.names`,
                                                '--data', `${rentals}.data`));
    const scores = shop.scores(model, lines);
    for (const [i, line] of lines.slice(0, 10).entries()) {
      sameAnswer(await typed(page, names, line), scores[i], line);
    }
    for (const [i, button] of (await page.$$('tr[data-row] button')).entries()) {
      await button.evaluate((b) => b.click());
      sameAnswer([await page.textContent('.predicted'), await page.textContent('.answer .muted')],
                 scores[i], `row ${i}`);
    }
  },

  async 'the way of a case is marked and shared out where a value is unknown'() {
    const page = await browser.open(shop.report(shop.grow(golf)));
    const marked = () => page.$$eval('.on-path', (all) => all.map((c) => Number(c.dataset.node)));
    const names = ['outlook', 'temperature', 'humidity', 'windy'];
    await typed(page, names, 'rainy,?,?,true');
    await page.waitForSelector('.on-path');
    assert.deepEqual((await marked()).sort(), [0, 2, 4]);
    await typed(page, names, '?,?,?,false');
    await page.waitForSelector('#node-6.on-path');
    assert.deepEqual((await marked()).sort(), [0, 1, 2, 3, 5, 6, 7]);
    await page.fill('#case-0', 'damp');
    await page.click('.case button[type=submit]');
    assert.equal(await page.textContent('#case-0-note'), 'not a whole number');
  },

  async 'rules are sorted and filtered'() {
    const page = await browser.open(shop.report(shop.grow(golf)));
    const press = (key) => page.click(`.rules th[data-key=${key}] button`);
    await press('support');
    assert.deepEqual(await numbers(page, 4), [4, 3, 3, 2, 2]);
    assert.equal(await page.getAttribute('th[data-key=support]', 'aria-sort'), 'descending');
    await press('support');
    assert.deepEqual(await numbers(page, 4), [2, 2, 3, 3, 4]);
    await press('length');
    assert.deepEqual(await numbers(page, 2), [1, 2, 2, 2, 2]);
    await page.fill('.rule-list input', 'humidity');
    assert.deepEqual(await numbers(page, 0), [4, 5]);
    await page.selectOption('.rule-list select', '1');
    assert.deepEqual(await numbers(page, 0), [5]);
    await page.click('.rules tbody button');
    assert.equal(await focused(page), '7');
  },

  async 'names do nothing but show'() {
    const hostile = ['<script>alert(1)</script>', '</script><img src=x onerror=alert(2)>',
                     '"\'&quot;', 'x'.repeat(5000), '\u0645\u0631\u062d\u0628\u0627', '\u202egnp\u202c', '-->',
                     '${alert(3)}', '\\u003c', 'javascript:alert(4)', 'http://example.org/x.png'];
    const rows = hostile.flatMap((v, i) => [`${v},${i % 5},${hostile[i % 5]}`,
                                            `${v},${i % 4},${hostile[i % 5]}`]);
    const stem = shop.file('hostile');
    shop.file('hostile.names', `<b onclick=alert(5)>a</b>,string,discrete\n` +
              `${'n'.repeat(3000)},integer,continuous\n<!-- class,string,class\n`);
    shop.file('hostile.data', `${rows.join('\n')}\n`);
    const model = shop.grow(stem, ...FULL);
    const page = await browser.open(shop.report(model, '--names', `${stem}.names`, '--data',
                                                `${stem}.data`));
    await page.click('#expand-all');
    for (const i of [0, 1, 2, 3]) await page.click(`#node-${i}`, { force: true });
    await page.hover('#node-1');
    await page.fill('#search', '<script>');
    await page.press('#search', 'Enter');
    await page.evaluate(() => document.querySelector('tr[data-row] button').click());
    assert.equal(await page.locator('script').count(), 2);
    assert.equal(await page.locator('main img, main b, main script').count(), 0);
    assert.ok((await page.textContent('.rules')).includes('= <script>alert(1)</script>'));
    const wide = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
    assert.ok(wide <= 0, `the page is ${wide} pixels too wide`);
    assert.ok(!(await page.textContent('main')).includes('\u202e'));
  },

  async 'a large tree leaves little in the page'() {
    let seed = 1;
    const draw = (n) => (seed = (seed * 48271) % 2147483647) % n;
    const rows = Array.from({ length: 9000 }, () =>
      `${draw(22)},${draw(22)},${draw(22)},${'abc'[draw(3)]}`);
    shop.file('large.names', `${['x', 'y', 'z'].map((c) => `${c},string,discrete`).join('\n')}
k,string,class\n`);
    shop.file('large.data', `${rows.join('\n')}\n`);
    const page = await browser.open(shop.report(shop.grow(shop.file('large'), ...FULL)));
    await page.click('#expand-all');
    const size = parseInt((await status(page)).replace(',', ''), 10);
    assert.ok(size > 8000, `${size} nodes`);
    await page.keyboard.press('Tab');
    await page.evaluate(() => { document.querySelector('.rule-list .scroll').scrollTop = 50000; });
    await page.waitForTimeout(100);
    assert.ok(await page.locator('svg *').count() < 3000);
    assert.ok(await page.locator('.rules tr').count() < 80);
    assert.equal((await numbers(page, 0)).includes(1389), true);
  },

  async 'reasons are summed up, and shown by the values of an attribute'() {
    const page = await browser.open(shop.report(shop.grow(golf, '-npp'), '--names', `${golf}.names`,
                                                '--data', `${golf}.data`));
    await page.click('#sum-up-reasons');
    const titles = () => page.$$eval('circle.reason title', (all) => all.map((t) => t.textContent));
    assert.equal((await titles())[0], 'Row 1: sunny, +44.3, no');
    await page.selectOption('#reasons-of', { label: 'humidity' });
    await page.selectOption('#reasons-for', { label: 'yes' });
    assert.equal((await titles())[0], 'Row 1: 85, \u221227.1, no');
    const [low, high] = await page.$$eval('circle.reason', (all) => [0, 8].map((i) => all[i].cy.baseVal.value));
    assert.ok(low > high, 'humid days speak against playing');
    assert.equal((await titles()).length, 14);
  },

  async 'an ensemble shows the tree that is chosen'() {
    const model = shop.grow(rentals, ...FOREST);
    const page = await browser.open(shop.report(model, '--names', `${rentals}.names`, '--data',
                                                `${rentals}.data`, '--seed', '3'));
    const label = await page.locator('.tree-picker option').nth(4).textContent();
    await page.selectOption('.tree-picker select', '4');
    assert.ok(label.endsWith(`– ${(await status(page)).split(' of ').at(-1)}`), label);
    assert.equal(await page.locator('#ensemble .curve').count(), 1);
    assert.equal(await page.locator('rect.size').count(), 9);
  },
};

let failed = 0;
for (const [name, test] of Object.entries(tests)) {
  browser.faults = [];
  try {
    await test();
    assert.deepEqual(browser.faults, []);
    console.log(`ok   ${name}`);
  } catch (error) {
    ++failed;
    console.log(`FAIL ${name}\n${error.stack}\n${browser.faults.join('\n')}`);
  }
}
await browser.close();
shop.close();
process.exit(failed > 0 ? 1 : 0);
