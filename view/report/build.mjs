// Bundles the script and the style of the report, and gathers the licences of what goes in.
//
// Writes bundle.js, bundle.css, bundle.csp (the hash by which the page allows its script) and
// THIRD_PARTY_LICENSES. The same sources and lock file give the same bytes.
import { createHash } from 'node:crypto';
import { readFileSync, writeFileSync } from 'node:fs';
import { build } from 'esbuild';

const common = {
  bundle: true, minify: true, charset: 'ascii', write: false, legalComments: 'none',
};
const script = await build({
  ...common, entryPoints: ['src/main.js'], format: 'iife', target: 'es2022', metafile: true,
});
const style = await build({ ...common, entryPoints: ['src/style.css'], target: 'chrome111' });

const code = script.outputFiles[0].text;
const hash = createHash('sha256').update(code).digest('base64');
writeFileSync('bundle.js', code);
writeFileSync('bundle.css', style.outputFiles[0].text);
writeFileSync('bundle.csp', `sha256-${hash}`);

const packages = new Set(Object.entries(Object.values(script.metafile.outputs)[0].inputs)
  .filter(([, input]) => input.bytesInOutput > 0)
  .map(([path]) => path.match(/^node_modules\/((?:@[^/]+\/)?[^/]+)/)?.[1]).filter(Boolean));
const licences = [...packages].sort().map((name) => {
  const { version, license } = JSON.parse(readFileSync(`node_modules/${name}/package.json`));
  const text = readFileSync(`node_modules/${name}/LICENSE`, 'utf8').trim();
  return `${name} ${version} (${license})\n\n${text}\n`;
});
writeFileSync('THIRD_PARTY_LICENSES',
              'The report that orvik writes holds parts of these packages.\n\n' +
              licences.join(`\n${'-'.repeat(78)}\n\n`));
console.log(`bundle.js ${code.length} bytes, ${packages.size} packages`);
