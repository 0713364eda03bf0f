// What the fixtures do, where the sample applications' tests do not show it.

import { mkdtemp, mkdir, writeFile } from 'node:fs/promises';
import { join } from 'node:path';

import { expect, test } from 'wzapp-playwright';

// An application whose page runs a script.
async function folderWith(testInfo, script) {
  await mkdir(testInfo.outputDir, { recursive: true });
  const folder = await mkdtemp(join(testInfo.outputDir, 'app-'));
  const manifest = { application: { id: 'probe' }, desktop: { file: 'index.html' }, sponsors: ['123456'] };
  await writeFile(join(folder, 'manifest.mft'), JSON.stringify(manifest));
  await writeFile(join(folder, 'index.html'), `<!doctype html><title>Probe</title><script>${script}</script>`);
  return folder;
}

test('an application that ends at once is no failure of the test', async ({ app }, testInfo) => {
  await app.run(await folderWith(testInfo, "wz.exit(3, { why: 'early' })"));

  expect(await app.exit()).toMatchObject({ result: 3, properties: { why: 'early' } });
});

test('errors and log of the page are at hand', async ({ app }, testInfo) => {
  await app.run(await folderWith(testInfo, "wz.log('info', 'here'); nothing.there"));
  await app.event(({ event, uncaught }) => event === 'console' && uncaught);

  expect(app.console.at(-1)).toMatchObject({ uncaught: true, file: 'index.html', line: 1 });
  expect(app.log).toMatchObject([{ level: 'info', texts: ['here'] }]);
});

test('one application after the other', async ({ app }, testInfo) => {
  const folder = await folderWith(testInfo, '');
  await app.run(folder);
  await expect(app.run(folder)).rejects.toThrow('runs already');
  await app.stop();

  await expect(await app.run(folder)).toHaveTitle('Probe');
});

test('what comes later answers first, and so many times', async ({ app, host }, testInfo) => {
  await host.answer('desk', 'ASK', { from: 'value' });
  await host.answer('desk', 'ASK', () => ({ from: 'function' }), { times: 1 });
  await host.fail('desk', 'ASK', 'closed', { when: { day: 'Sunday' } });
  const page = await app.run(await folderWith(testInfo, ''));
  const ask = (payload) => page.evaluate((value) => wz.notifyAndWait('desk', 'ASK', value), payload);

  expect(await ask({})).toEqual({ from: 'function' });
  expect(await ask({})).toEqual({ from: 'value' });
  expect(await ask({ day: 'Sunday' })).toEqual({ error: 'closed' });
  expect(host.asked.map(({ payload }) => payload)).toEqual([{}, {}, { day: 'Sunday' }]);
});

test('a function may think for a while', async ({ app, host }, testInfo) => {
  let answer;
  const thought = new Promise((resolve) => (answer = resolve));
  await host.answer('desk', 'ASK', () => thought);
  const page = await app.run(await folderWith(testInfo, ''));
  const asked = page.evaluate(() => wz.notifyAndWait('desk', 'ASK', {}));
  await host.expect('desk', 'ASK');

  answer(42);

  expect(await asked).toBe(42);
});

test('what nobody sends is not waited for for ever', async ({ host }) => {
  await expect(host.expect('desk', 'NEVER', { timeout: 200 })).rejects.toThrow('no NEVER came to desk');
});

test("requests of the page can be answered by Playwright's routes", async ({ app }, testInfo) => {
  const page = await app.run(await folderWith(testInfo, ''));
  await page.route('**/data.json', (route) => route.fulfill({ json: { routed: true } }));

  expect(await page.evaluate(() => fetch('data.json').then((response) => response.json()))).toEqual({
    routed: true,
  });
});

test('whoever does not know the path finds nothing', async ({ app }, testInfo) => {
  await app.run(await folderWith(testInfo, ''));
  const { url } = await app.event('debugging');
  const { origin } = new URL(url);

  expect((await (await fetch(`${url}/json/list`)).json()).length).toBe(1);
  for (const path of ['/', '/json/list', '/json/version', '/devtools/browser', '/0/json/list']) {
    expect((await fetch(origin + path)).status).toBe(404);
  }
});

test('a package is installed, listed and removed', async ({ terminal }) => {
  await terminal.install(await terminal.pack('../shop'));
  expect((await terminal.list()).applications.map(({ id }) => id)).toEqual(['shop']);
  expect(await terminal.file('/mnt/flash/etc/config/wzapp/wz/shop/index.html')).toContain('shop');

  await terminal.remove('shop');
  expect((await terminal.list()).applications).toEqual([]);
});

test.describe('on a small terminal without colours', () => {
  test.use({ profile: { display: '240x320', colour: false, model: 'N255k' } });

  test('the page has its size', async ({ app }) => {
    const page = await app.run();

    expect(await page.evaluate(() => [innerWidth, innerHeight])).toEqual([240, 320]);
  });
});
