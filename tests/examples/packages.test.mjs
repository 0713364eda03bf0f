// What can be said about the applications without running them: manifests, references, colours.

import assert from 'node:assert/strict';
import { existsSync, readFileSync, readdirSync } from 'node:fs';
import { describe, it } from 'node:test';
import { fileURLToPath } from 'node:url';

const examples = fileURLToPath(new URL('../../examples/', import.meta.url));
const read = (app, file) => readFileSync(`${examples}${app}/${file}`, 'utf8');
const manifestOf = (app) => JSON.parse(read(app, 'manifest.mft'));

function startFiles({ desktop, imports_trigger: triggers = [] }) {
  return [...(desktop ? [desktop.file] : []), ...triggers.map(({ file }) => file)];
}

/** Files that a page, a style sheet or a script names. */
function references(text) {
  const patterns = [/(?:src|href)="([^"]+)"/g, /url\(["']?([^"')]+)/g, /from '(\.\/[^']+)'/g];
  return patterns.flatMap((pattern) => [...text.matchAll(pattern)].map((match) => match[1]));
}

for (const app of ['tip', 'loyalty']) {
  describe(`the application ${app}`, () => {
    it('is named after its folder and has a version and a sponsor', () => {
      const { application, sponsors } = manifestOf(app);

      assert.equal(application.id, app);
      assert.match(application.version, /^\d+\.\d+\.\d+$/);
      assert.ok(sponsors.length > 0);
      for (const sponsor of sponsors) assert.match(sponsor, /^\d{6}$/);
    });

    it('has the pages that its manifest starts', () => {
      const files = startFiles(manifestOf(app));

      assert.ok(files.length > 0);
      for (const file of files) assert.ok(existsSync(`${examples}${app}/${file}`), file);
    });

    it('refers to its own files only', () => {
      for (const file of readdirSync(`${examples}${app}`).filter((name) => /\.(html|css|js)$/.test(name))) {
        for (const reference of references(read(app, file))) {
          assert.ok(existsSync(`${examples}${app}/${reference}`), `${file}: ${reference}`);
        }
      }
    });

    it('asks for an element only that all of its pages have', () => {
      const shared = { tip: ['app.js'], loyalty: ['club.js'] }[app];
      const pages = readdirSync(`${examples}${app}`).filter((name) => name.endsWith('.html'));
      const scriptsOf = (page) =>
        [...shared, page.replace('.html', '.js')].filter((file) => existsSync(`${examples}${app}/${file}`));

      for (const page of pages) {
        for (const script of scriptsOf(page)) {
          for (const [, id] of read(app, script).matchAll(/byId\('([^']+)'\)/g)) {
            assert.ok(read(app, page).includes(`id="${id}"`), `${page} lacks #${id} of ${script}`);
          }
        }
      }
    });
  });
}

describe('the campaign picture of the club', () => {
  it('is missing on purpose: its request is the one that fails and shows in the log', () => {
    const { campaign } = JSON.parse(read('loyalty', 'confApp.json'));

    assert.equal(existsSync(`${examples}loyalty/${campaign.image}`), false);
  });
});

describe('modules that both applications carry', () => {
  for (const file of ['money.js', 'documents.js']) {
    it(`${file} is the same in both: packages share nothing once they are installed`, () => {
      assert.equal(read('tip', file), read('loyalty', file));
    });
  }
});

describe('contrast', () => {
  function luminance(hex) {
    const [r, g, b] = [1, 3, 5].map((at) => {
      const channel = parseInt(hex.slice(at, at + 2), 16) / 255;
      return channel <= 0.04045 ? channel / 12.92 : ((channel + 0.055) / 1.055) ** 2.4;
    });
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
  }

  /** The ratio of WCAG 2.1 between two colours. */
  function ratio(one, other) {
    const [dark, light] = [luminance(one), luminance(other)].sort((a, b) => a - b);
    return (light + 0.05) / (dark + 0.05);
  }

  /** The colours that a style sheet names at its top. */
  function colours(app) {
    const [root] = read(app, 'app.css').match(/:root \{[^}]*\}/);
    return Object.fromEntries(
      [...root.matchAll(/--([a-z-]+): (#[0-9a-f]{6});/g)].map(([, name, hex]) => [name, hex]),
    );
  }

  for (const [app, text, ground] of [
    ['tip', 'text', 'ground'],
    ['tip', 'text', 'raised'],
    ['tip', 'muted', 'ground'],
    ['tip', 'muted', 'raised'],
    ['tip', 'brass', 'ground'],
    ['tip', 'warning', 'ground'],
    ['tip', 'on-brass', 'brass'],
    ['tip', 'ground', 'text'],
    ['loyalty', 'ink', 'butter'],
    ['loyalty', 'ink', 'paper'],
    ['loyalty', 'ink', 'tint'],
    ['loyalty', 'butter', 'ink'],
    ['loyalty', 'paper', 'ink'],
    ['loyalty', 'soft', 'paper'],
    ['loyalty', 'tomato', 'paper'],
    ['loyalty', 'paper', 'tomato'],
  ]) {
    it(`of ${text} on ${ground} in ${app} is at least 4.5`, () => {
      const palette = colours(app);

      assert.ok(ratio(palette[text], palette[ground]) >= 4.5);
    });
  }
});
