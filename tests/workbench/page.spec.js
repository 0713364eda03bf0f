import AxeBuilder from '@axe-core/playwright';
import { expect, rowsOf, test } from './fixtures.js';

const kViews = ['#/terminal', '#/applications', '#/applications/loyalty', '#/install', '#/bus', '#/bus?side=send', '#/bus?at=4', '#/story', '#/story?at=4', '#/files', '#/files/terminal.json', '#/files?log=tip', '#/health'];

/** A workbench in the middle of its work. */
function busy(mock) {
  mock._start({ application: 'tip', entry: 'desktop', parameters: { lane: '3' } }); // 1 to 3
  mock.talk({ name: 'PAY', payload: { amount: 1 }, reply: { paid: true } });
  mock.talk({ name: 'PAY', payload: { amount: 1 }, reply: { error: 'closed' } });
  mock.tell('run 1', { event: 'console', app: 'tip', level: 'warning', text: 'no locale' });
  mock._host({ path: '/home/you/host.json', on: true, fault: 'silence' });
  mock.file('terminal.json', '{ "serial": "1" }\n');
  mock.file('flash/etc/a.MFT', 'x');
  mock.logs = { tip: [{ time: '2026-11-22T12:45:33.563Z', level: 3, kind: 'APP_ERROR', message: 'printer', detail: '-11', event: 'LAUNCH' }] };
}

const kLooked = ['#/terminal', '#/applications', '#/applications/loyalty', '#/install', '#/bus', '#/bus?side=send', '#/bus?at=4', '#/story?at=4', '#/files', '#/files/terminal.json', '#/files?log=tip', '#/health'];

for (const scheme of ['light', 'dark']) {
  for (const view of kLooked) {
    test(`axe-core finds no barrier in ${view}, ${scheme}`, async ({ open, mock, page, narrow }) => {
      test.skip((narrow || scheme === 'dark' && !/bus.at|install/.test(view)) && !process.env.WZ_LONG, 'a long test');
      await page.emulateMedia({ colorScheme: scheme });
      busy(mock);
      await open(view);
      if (view === '#/install') {
        await page.getByLabel('Choose packages').first().setInputFiles({ name: 'bad.zip', mimeType: 'application/zip', buffer: Buffer.from('x') });
        await expect(page.getByText('Who signed what')).toBeVisible();
      }
      await expect(page.locator('.loading')).toHaveCount(0);
      const { violations } = await new AxeBuilder({ page }).withTags(['wcag2a', 'wcag2aa', 'wcag21a', 'wcag21aa', 'wcag22aa', 'best-practice']).analyze();
      expect(violations.map((one) => `${one.id}: ${one.nodes.map((node) => node.target).join(' ')} ${one.nodes[0].failureSummary}`)).toEqual([]);
    });
  }
}

test('nothing is wider than the page', async ({ open, mock, page }) => {
  busy(mock);
  await open('#/terminal');
  for (const view of kViews) {
    await page.goto(mock.url + view);
    await expect(page.locator('.loading')).toHaveCount(0);
    expect(await page.evaluate(() => document.documentElement.scrollWidth), view).toBeLessThanOrEqual(page.viewportSize().width);
  }
});

test('every view is reached by keyboard alone', async ({ open }) => {
  const page = await open('#/terminal');
  const titles = ['Terminal', 'Applications', 'Install', 'Bus', 'Story', 'Files and logs', 'Health'];
  for (const [index, title] of titles.entries()) {
    await page.keyboard.press(`Alt+Digit${index + 1}`);
    await expect(page).toHaveTitle(`${title} – wz workbench`);
  }
  await page.keyboard.press('Alt+Digit5');
  await expect(page.getByLabel('Search the story')).toBeVisible();
  await page.keyboard.press('/');
  await expect(page.getByLabel('Search the story')).toBeFocused();
});

test('starts an application by keyboard alone', async ({ open, mock }) => {
  const page = await open('#/terminal');
  const start = page.getByRole('button', { name: /^Start / });
  await page.getByLabel('Application', { exact: true }).focus();
  for (let i = 0; i < 12 && !(await start.evaluate((element) => element === document.activeElement)); i++) await page.keyboard.press('Tab');
  await page.keyboard.press('Enter');
  await expect(page.getByRole('application')).toBeVisible();
  expect(mock.asked.filter((one) => one.do === 'start')).toHaveLength(1);
});

test('an address that changes while the page is first drawn is not missed', async ({ open, page }) => {
  await page.addInitScript(() => {
    new MutationObserver((_, observer) => {
      if (!document.getElementById('view')) return;
      observer.disconnect();
      location.hash = '#/health';
    }).observe(document, { childList: true, subtree: true });
  });
  await open('#/terminal');
  await expect(page.getByRole('heading', { name: 'The workbench' })).toBeVisible();
});

test('a view that could not come does when it is asked for again', async ({ open, page }) => {
  await page.route('**/views/health.js', (route) => route.abort('connectionrefused'));
  await open('#/health');
  await expect(page.getByText('this view had not come yet')).toBeVisible();
  await page.unroute('**/views/health.js');
  await page.getByRole('button', { name: 'Try again' }).click();
  await expect(page.getByRole('heading', { name: 'The workbench' })).toBeVisible();
});

test('a lost connection is shown, comes back by itself, and misses nothing', async ({ open, mock }) => {
  mock.talk({ name: 'FIRST' });
  const page = await open('#/bus');
  const { port } = mock;
  await mock.end();
  await expect(page.getByText('The workbench does not answer.')).toBeVisible();
  mock.talk({ name: 'MEANWHILE' });
  await mock.listen(port);
  await expect(page.getByText('Connected')).toBeVisible({ timeout: 10_000 });
  await expect(rowsOf(page, 'Messages')).toHaveText([/FIRST/, /MEANWHILE/]);
  const follows = mock.asked.filter((one) => one.do === 'follow').map((one) => one.from);
  expect(follows).toEqual([1, 2]);
});

test('a bus that has ended is shown and started again', async ({ open, mock }) => {
  const page = await open('#/bus');
  mock.bus = 'down';
  mock.state();
  await page.getByRole('button', { name: 'Start it again' }).click();
  await expect(page.getByText('The message bus has ended.')).toHaveCount(0);
  expect(mock.bus).toBe('up');
});

test('two tabs see the same', async ({ open, mock, context }) => {
  const page = await open('#/terminal');
  const other = await context.newPage();
  await other.goto(`${mock.url}#/story`);
  await page.getByRole('button', { name: /^Start / }).click();
  await expect(rowsOf(other, 'Events').filter({ hasText: 'Launched' })).toBeVisible();
  await other.goto(`${mock.url}#/terminal`);
  await expect(other.getByRole('application')).toHaveAccessibleName(await page.getByRole('application').getAttribute('aria-label'));
});

test('texts of applications never become markup', async ({ open, mock, page }) => {
  const hostile = '<img src=x onerror="document.title=\'taken\'"><script>document.title="taken"</script>';
  mock._start({ application: hostile, entry: hostile, parameters: { [hostile]: hostile } });
  mock.tell('run 1', { event: 'console', app: 'x', level: 'error', text: hostile, file: hostile, line: 1 });
  mock.tell('run 1', { event: hostile, app: 'x' });
  mock.talk({ from: hostile, to: hostile, name: hostile, payload: { [hostile]: hostile, constructor: { __html: hostile }, type: 'script', props: {} }, reply: { dangerouslySetInnerHTML: { __html: hostile } } });
  mock._host({ text: '{}', on: true });
  mock.hosts[0].name = hostile;
  mock.applications.installed[0].name = hostile;
  mock.applications.installed[1].exportsInterfaces = [hostile];
  mock.file(`flash/${hostile.replaceAll('/', '')}`, hostile);
  mock.logs = { tip: [{ time: hostile, level: 3, kind: hostile, message: hostile, detail: { html: hostile } }] };
  await open('#/terminal');
  for (const view of [...kViews, '#/bus?at=6', '#/story?at=4', '#/story?at=5', '#/story?at=6', '#/files/flash', `#/${encodeURIComponent(hostile)}`, `#/applications/${encodeURIComponent(hostile)}`]) {
    await page.goto(mock.url + view);
    await expect(page.locator('.loading')).toHaveCount(0);
    expect(await page.locator('img[src=x], body script').count(), view).toBe(0);
    expect(await page.title(), view).not.toBe('taken');
  }
});

test('what cannot be read says so and can be tried again', async ({ open, mock, page }) => {
  mock.refuse.set('applications', 'wz: the terminal is in use');
  await open('#/applications');
  await expect(page.getByRole('alert')).toContainText('the terminal is in use');
  mock.refuse.clear();
  await page.getByRole('button', { name: 'Try again' }).click();
  await expect(page.getByRole('link', { name: /Loyalty/ })).toBeVisible();
  await page.goto(`${mock.url}#/nowhere`);
  await expect(page.getByText('There is no view “nowhere”')).toBeVisible();
});

test('files are looked at and saved, logs are read', async ({ open, mock, page }) => {
  busy(mock);
  mock.file('flash/blob.bin', '\u0000\u0001\u0002');
  await open('#/files');
  await page.getByRole('link', { name: 'flash' }).click();
  await expect(page).toHaveURL(/#\/files\/flash$/);
  await page.getByRole('link', { name: 'blob.bin' }).click();
  await expect(page.getByText('This is not text')).toBeVisible();
  await expect(page.getByRole('link', { name: 'Save' })).toHaveAttribute('href', '/file?path=flash%2Fblob.bin&download');
  await page.goto(`${mock.url}#/files/terminal.json`);
  await expect(page.getByRole('region', { name: 'Content of terminal.json' })).toHaveText('{ "serial": "1" }\n');
  await page.goto(`${mock.url}#/files/gone.txt`);
  await expect(page.getByText("There is no gone.txt in the terminal's folder.")).toBeVisible();
  await page.getByRole('link', { name: 'tip', exact: true }).click();
  await expect(page.getByRole('row', { name: /error APP_ERROR printer -11/ })).toBeVisible();
  await page.getByRole('link', { name: 'points', exact: true }).click();
  await expect(page.getByText('points has published no log yet')).toBeVisible();
});

test('health tells what wz doctor finds, and mends', async ({ open, mock, page }) => {
  await open('#/health');
  await expect(page.getByText('there is no display server')).toBeVisible();
  await page.getByRole('button', { name: 'Mend what can be' }).click();
  await expect.poll(() => mock.asked.some((one) => one.command === 'doctor' && one.arguments.repair === true)).toBe(true);
});
