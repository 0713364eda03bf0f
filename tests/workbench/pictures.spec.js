// The pictures of the documentation: of the real workbench, so that they stay true.

import { expect, test } from '@playwright/test';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { kTill, manifestOf, Workbench } from './workbench.js';
import { rowsOf } from './fixtures.js';

const kFolder = join(process.env.WZ_SOURCE, 'docs/workbench');

// Who needs whom, and one that needs what nobody exports.
const kApplications = {
  till: { ...kTill, 'manifest.mft': manifestOf('counter-till', { imports_api: [{ id: 'POINTS' }], imports_trigger: [{ id: 'REWARD', file: 'index.html', optional: true }] }) },
  points: { 'manifest.mft': manifestOf('points', { exports_api: [{ id: 'POINTS' }], exports_trigger: [{ id: 'REWARD' }] }), 'index.html': '<!doctype html>' },
  queue: { 'manifest.mft': manifestOf('queue', { imports_api: [{ id: 'TICKETS' }, { id: 'POINTS', optional: true }] }), 'index.html': '<!doctype html>' },
};

test('pictures', async ({ browser }) => {
  test.setTimeout(180_000);
  const bench = await Workbench.begin({ applications: kApplications, root: join(tmpdir(), 'demo') });
  const context = await browser.newContext({ viewport: { width: 1280, height: 800 } });
  const page = await context.newPage();
  const show = async (hash) => {
    await page.goto(`${bench.origin}/${hash}`);
    await expect(page.locator('.loading')).toHaveCount(0, { timeout: 20_000 });
  };
  const picture = async (name, of = page) => {
    await of.evaluate(() => document.fonts.ready);
    await of.screenshot({ path: join(kFolder, `${name}.png`) });
  };
  const start = async (name) => {
    await page.getByLabel('Application', { exact: true }).selectOption({ label: name });
    await page.getByRole('button', { name: /^Start / }).click();
    await expect(page.locator('.screen-wait')).toHaveCount(0, { timeout: 20_000 });
  };
  try {
    await page.goto(bench.address);
    await show('#/bus?side=hosts');
    await page.getByRole('button', { name: 'Play' }).first().click();
    await expect(page.getByRole('switch')).toHaveAttribute('aria-checked', 'true');
    await show('#/terminal');
    await start('counter-till  1.0.0');
    const box = await page.getByRole('application').boundingBox();
    const scale = box.width / 480;
    for (let i = 0; i < 6; i++) {
      await page.getByRole('application').click({ position: { x: 60 * scale, y: 110 * scale } });
      await expect(page.locator('.run-story .row').filter({ hasText: 'paid: true' })).toHaveCount(i + 1);
    }
    await show('#/terminal?application=tip');
    await page.getByLabel('wz_parameters').fill('{"amount": 4250}');
    await start('Tip  1.0.0');
    await expect(page.getByText('Tip started, with a bill from the till')).toBeVisible();
    await page.waitForTimeout(600);
    await picture('terminal');

    await show('#/applications');
    await picture('applications');
    const file = bench.pack('kiosk', { ...kTill, 'manifest.mft': kTill['manifest.mft'].replaceAll('counter-till', 'kiosk') });
    await show('#/install');
    await page.getByLabel('Choose packages').first().setInputFiles(file);
    const rehearsal = page.getByRole('region', { name: 'Rehearsal' });
    await expect(rehearsal.getByText('kiosk appears 1.0.0')).toBeVisible({ timeout: 20_000 });
    await rehearsal.getByRole('button', { name: 'Install' }).click();
    await expect(page.getByText('Overall result: OK').first()).toBeVisible({ timeout: 20_000 });
    await page.getByRole('button', { name: 'Close' }).click();
    await picture('install');

    await show('#/bus');
    await rowsOf(page, 'Messages').first().click();
    await picture('bus');
    await page.getByRole('tabpanel').getByRole('link', { name: /Message sent/ }).click();
    await picture('story');

    const narrow = await browser.newContext({ viewport: { width: 390, height: 844 }, colorScheme: 'dark', hasTouch: true, deviceScaleFactor: 2 });
    await narrow.addCookies(await context.cookies());
    const telephone = await narrow.newPage();
    await telephone.goto(`${bench.origin}/#/terminal`);
    await expect(telephone.locator('.screen-wait')).toHaveCount(0, { timeout: 20_000 });
    await picture('narrow', telephone);
  } finally {
    await bench.end();
  }
});
