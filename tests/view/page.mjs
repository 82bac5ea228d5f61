// Reports made by the programs and opened in a browser, for the tests of the page.
import { execFileSync } from 'node:child_process';
import { existsSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { pathToFileURL } from 'node:url';

const BROWSERS = ['/usr/bin/chromium', '/usr/bin/chromium-browser', '/usr/bin/google-chrome'];

/** What is missing for these tests, as a text; empty if nothing is. */
export async function missing() {
  if (!BROWSERS.some(existsSync)) return 'no chromium here';
  try {
    await import('playwright-core');
  } catch {
    return 'no playwright-core here (npm ci in tests/view)';
  }
  return '';
}

export class Workshop {
  constructor(orvcmd, orvik) {
    this.orvcmd = orvcmd;
    this.orvik = orvik;
    this.folder = mkdtempSync(join(tmpdir(), 'orvik-'));
  }

  file(name, text) {
    const path = join(this.folder, name);
    if (text !== undefined) writeFileSync(path, text);
    return path;
  }

  /** Grows a model on a table; `table` is the stem of its files. */
  grow(table, ...options) {
    const model = this.file('model.tree');
    execFileSync(this.orvcmd, ['-nl', '-f', table, ...options, '-tb', model]);
    return model;
  }

  report(model, ...options) {
    const page = this.file('report.html');
    execFileSync(this.orvik, ['view', model, '-o', page, ...options]);
    return page;
  }

  /** Pairs of class and confidence that the program gives to lines of text. */
  scores(model, lines, ...options) {
    const out = this.file('scores');
    execFileSync(this.orvcmd, ['-nl', '-bt', model, '-unseen', ...options, '-s', out,
                               '-fs', this.file('rows', `${lines.join('\n')}\n`)]);
    return execFileSync('cat', [out], { encoding: 'utf8' }).trimEnd().split('\n')
      .map((line) => line.split(','));
  }

  /** The table of reasons that the program gives to lines of text: names, then a line a row and class. */
  reasons(model, lines) {
    const out = this.file('reasons');
    execFileSync(this.orvcmd, ['-nl', '-bt', model, '-unseen', '-shap', out,
                               '-fs', this.file('rows', `${lines.join('\n')}\n`)]);
    return readFileSync(out, 'utf8').trimEnd().split('\n').map((line) => line.split(','));
  }

  close() { rmSync(this.folder, { recursive: true }); }
}

/** Opens pages; whatever a page should not do is in `faults`. */
export class Browser {
  static async start() {
    const { chromium } = await import('playwright-core');
    const own = new Browser();
    own.browser = await chromium.launch({ executablePath: BROWSERS.find(existsSync),
                                          args: ['--no-sandbox'] });
    own.faults = [];
    return own;
  }

  async open(file) {
    await this.page?.close();
    const url = pathToFileURL(file).href;
    this.page = await this.browser.newPage({ viewport: { width: 1400, height: 1000 } });
    this.page.setDefaultTimeout(20000);
    this.page.on('pageerror', (error) => this.faults.push(`error: ${error.message}`));
    this.page.on('dialog', (dialog) => {
      this.faults.push(`dialog: ${dialog.message()}`);
      dialog.dismiss();
    });
    this.page.on('console', (message) => {
      if (message.type() === 'error') this.faults.push(`console: ${message.text()}`);
    });
    this.page.on('request', (request) => {
      if (request.url() !== url) this.faults.push(`request: ${request.url()}`);
    });
    await this.page.goto(url);
    return this.page;
  }

  close() { return this.browser.close(); }
}
