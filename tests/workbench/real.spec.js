// The page before the real workbench: a terminal, its applications, bus and installer.

import { test as base } from '@playwright/test';
import { expect, rowsOf, watch } from './fixtures.js';
import { kColours, kTill, Workbench } from './workbench.js';

const test = base.extend({
  // One workbench for the file: starting one for each test would test its start.
  bench: [async ({}, use) => {
    const bench = await Workbench.begin({ applications: { colours: kColours, till: kTill } });
    await use(bench);
    expect(await bench.end(), bench.errors).toBe(0);
  }, { scope: 'worker', timeout: 60_000 }],
  // Its address lets in once; the cookie is kept for the tests that follow.
  cookies: [async ({ bench, browser }, use) => {
    const context = await browser.newContext();
    await (await context.newPage()).goto(bench.address);
    await use(await context.cookies());
    await context.close();
  }, { scope: 'worker' }],
  open: async ({ page, context, bench, cookies }, use) => {
    await context.addCookies(cookies);
    const faults = watch(page, bench.origin);
    await use(async (hash = '') => {
      await page.goto(`${bench.origin}/${hash}`);
      await expect(page.getByText('Connected')).toBeVisible();
      return page;
    });
    expect(faults).toEqual([]);
  },
});

test.describe.configure({ mode: 'serial', timeout: 45_000 });

const screenOf = (page) => page.getByRole('application');
const colourOf = (page) => screenOf(page).evaluate((canvas) => [...canvas.getContext('2d').getImageData(canvas.width / 2, canvas.height / 2, 1, 1).data.slice(0, 3)]);
const near = (colour, [red, green, blue]) => Math.abs(colour[0] - red) < 12 && Math.abs(colour[1] - green) < 12 && Math.abs(colour[2] - blue) < 12;

async function start(page, label) {
  await page.getByLabel('Application', { exact: true }).selectOption({ label });
  await page.getByRole('button', { name: /^Start / }).click();
  await expect(screenOf(page)).toBeVisible();
  await expect(page.locator('.screen-wait')).toHaveCount(0, { timeout: 20_000 });
}

test('runs a folder: live picture, touch, keys, result and properties', async ({ open }) => {
  const page = await open('#/terminal');
  await start(page, 'colours  1.0.0');
  await expect.poll(async () => near(await colourOf(page), [178, 66, 31])).toBe(true);
  const box = await screenOf(page).boundingBox();
  await screenOf(page).click({ position: { x: box.width / 2, y: box.height / 4 } });
  await expect.poll(async () => near(await colourOf(page), [11, 92, 115])).toBe(true);
  await expect(page.getByText(/^touched at (239|240|241) (199|200|201)$/)).toBeVisible();

  await page.getByRole('button', { name: 'Picture' }).click();
  const picture = page.getByRole('link', { name: 'Open it' });
  await expect(picture).toBeVisible();
  expect((await page.request.get(await picture.evaluate((link) => link.href))).headers()['content-type']).toMatch(/png|octet-stream/);

  await screenOf(page).focus();
  await page.keyboard.press('Enter');
  await expect(page.getByText('ended, result 0')).toBeVisible();
  await expect(page.locator('.run-panel dd').filter({ hasText: /^1$/ })).toBeVisible();
  const recording = await page.request.get(await page.getByRole('link', { name: 'Recording' }).evaluate((link) => link.href));
  const lines = await recording.text();
  expect(lines.split('\n')[0]).toContain('"recording"');

  await page.goto(page.url().replace(/#.*/, '#/story'));
  await page.getByLabel('Open …').setInputFiles({ name: 'mine.jsonl', mimeType: 'application/x-ndjson', buffer: Buffer.from(lines) });
  await expect(page.getByText('This is mine.jsonl, not this terminal.')).toBeVisible();
  await expect(rowsOf(page, 'Events').filter({ hasText: 'touched at' })).toBeVisible();
});

test('runs an installed application with parameters, in another size', async ({ open }) => {
  const page = await open('#/terminal?application=tip');
  await page.getByLabel('wz_parameters').fill('{"amount": 4250}');
  await page.getByText('Display, language, keys').click();
  await page.getByLabel('Size').fill('320x480');
  await start(page, 'Tip  1.0.0');
  await expect.poll(() => screenOf(page).evaluate((canvas) => `${canvas.width} ${canvas.height}`)).toBe('320 480');
  await expect(page.getByText('Tip started, with a bill from the till')).toBeVisible();
  await page.getByRole('button', { name: 'Cancel' }).click();
  await expect(page.locator('.run-panel .badge')).toContainText(/ended|failed/);
});

test('a host plays: the message, its reply and its cause; then it fails on purpose', async ({ open }) => {
  const page = await open('#/bus?side=hosts');
  await page.getByRole('listitem').filter({ hasText: 'till/host.json' }).getByRole('button', { name: 'Play' }).click();
  await expect(page.getByRole('switch', { name: 'host.json' })).toHaveAttribute('aria-checked', 'true');

  await page.goto(page.url().replace(/#.*/, '#/terminal'));
  await start(page, 'counter-till  1.0.0');
  const box = await screenOf(page).boundingBox();
  const scale = box.width / 480;
  await screenOf(page).click({ position: { x: 60 * scale, y: 110 * scale } });
  await expect(page.getByText('paid: true')).toBeVisible();

  await page.goto(page.url().replace(/#.*/, '#/bus?q=PAY'));
  const message = rowsOf(page, 'Messages').filter({ hasText: '{"amount":1250}' }).last();
  await expect(message).toContainText('{"paid":true}');
  await message.click();
  await page.getByRole('tabpanel', { name: 'Message' }).getByRole('link', { name: /Message sent/ }).click();
  await expect(page.getByRole('region', { name: 'Chosen event' }).getByRole('heading', { level: 2 })).toHaveText('Message sent');

  await page.goto(page.url().replace(/#.*/, '#/bus?side=hosts'));
  await page.getByLabel('Fault').selectOption('error');
  await expect(page.getByText('It answers wrongly on purpose: error.')).toBeVisible();
  await page.getByRole('tab', { name: 'Send' }).click();
  await page.getByLabel('To', { exact: true }).fill('till');
  await page.getByLabel('Name', { exact: true }).fill('PAY');
  await page.getByRole('button', { name: 'Send', exact: true }).click();
  await expect(page.getByRole('region', { name: 'Reply' })).toContainText('"error"');
  await page.getByRole('tab', { name: 'Hosts' }).click();
  await page.getByRole('switch', { name: 'host.json' }).click();
  await expect(page.getByRole('switch', { name: 'host.json' })).toHaveAttribute('aria-checked', 'false');
  await page.getByLabel('Fault').selectOption('');
});

test('rehearses and installs a package, tells why it is here, and removes it', async ({ open, bench }) => {
  const file = bench.pack('kiosk', { ...kColours, 'manifest.mft': kColours['manifest.mft'].replaceAll('colours', 'kiosk') });
  const page = await open('#/install');
  await page.getByLabel('Choose packages').first().setInputFiles(file);
  const rehearsal = page.getByRole('region', { name: 'Rehearsal' });
  await expect(rehearsal.getByText('kiosk appears 1.0.0')).toBeVisible({ timeout: 20_000 });
  await expect(page.getByRole('list', { name: 'Signatures of kiosk.zip' }).getByRole('listitem')).toHaveCount(2);
  await expect(page.getByText(/^sha256 [0-9a-f]{8}…/)).toBeVisible();
  await rehearsal.getByRole('button', { name: 'Install' }).click();
  const run = page.getByRole('region', { name: 'The installation' });
  await expect(run.getByText('done', { exact: true })).toBeVisible({ timeout: 20_000 });
  await expect(run.getByText('Overall result: OK').first()).toBeVisible();

  await page.goto(page.url().replace(/#.*/, '#/applications/kiosk'));
  await expect(page.getByText('Installed on')).toBeVisible();
  await page.getByRole('button', { name: 'Remove' }).click();
  await page.getByRole('dialog').getByRole('button', { name: 'Remove' }).click();
  await expect(page).toHaveURL(/#\/applications$/, { timeout: 20_000 });
  await expect(page.getByRole('link', { name: /^kiosk 1/ })).toHaveCount(0);
});

test('files, logs, applications and health are those of the terminal and the machine', async ({ open }) => {
  const page = await open('#/files');
  await page.getByRole('link', { name: 'terminal.json' }).click();
  await expect(page.getByRole('region', { name: 'Content of terminal.json' })).toContainText('"model"');
  await page.getByRole('link', { name: 'tip', exact: true }).click();
  await expect(page.getByRole('row', { name: /Tip started/ }).first()).toBeVisible();
  await page.goto(page.url().replace(/#.*/, '#/health'));
  await expect(page.getByText('message bus', { exact: true })).toBeVisible({ timeout: 20_000 });
  await page.goto(page.url().replace(/#.*/, '#/applications'));
  await expect(page.getByRole('region', { name: 'Graph of exports and imports' }).getByText('CARD_PRESENTED', { exact: true })).toBeVisible();
});

test('a bus and a browser that die are shown, and others begin', async ({ open, bench }) => {
  const page = await open('#/terminal');
  await start(page, 'colours  1.0.0');
  bench.kill('dbus-daemon');
  await expect(page.getByText('The message bus has ended.')).toBeVisible();
  await expect(page.getByText('The message bus has ended.')).toHaveCount(0);
  bench.kill('remote-debugging-pipe');
  await expect(page.getByText('It has not ended well')).toBeVisible();
  await start(page, 'colours  1.0.0');
});
