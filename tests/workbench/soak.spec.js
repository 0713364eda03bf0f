// Ten minutes with an application that chatters: what page and server take does not grow.

import { expect, test } from '@playwright/test';
import { kChatter, Workbench } from './workbench.js';

const kMinutes = Number(process.env.WZ_SOAK_MINUTES ?? 10);

test(`soak: ${kMinutes} minutes of chatter leave the memory of page and server within 20 %`, async ({ page }) => {
  const bench = await Workbench.begin({ applications: { chatter: kChatter }, install: [] });
  try {
    await page.goto(bench.address);
    await page.goto(`${bench.origin}/#/bus?side=hosts`);
    await page.getByRole('button', { name: 'Play' }).click();
    await page.goto(`${bench.origin}/#/terminal`);
    await page.getByRole('button', { name: 'Start chatter' }).click();
    await expect(page.getByRole('application')).toBeVisible();

    const session = await page.context().newCDPSession(page);
    const heap = async () => {
      await session.send('HeapProfiler.collectGarbage');
      return (await session.send('Runtime.getHeapUsage')).usedSize;
    };
    const views = ['terminal', 'bus', 'story'];
    const samples = [];
    for (let minute = 0; minute <= kMinutes; minute++) {
      await page.goto(`${bench.origin}/#/${views[minute % views.length]}`);
      await page.waitForTimeout(minute === 0 ? 5_000 : 60_000);
      await page.goto(`${bench.origin}/#/story`);
      samples.push({ minute, page: await heap(), server: bench.memory(), events: await page.locator('.tally').textContent() });
      console.log(`  ${minute} min: page ${(samples.at(-1).page / 1048576).toFixed(1)} MiB, server ${(samples.at(-1).server / 1024).toFixed(1)} MiB, ${samples.at(-1).events}`);
    }
    const [, first, ...later] = samples;
    const last = later.at(-1);
    expect(last.events).not.toBe(samples[0].events);
    expect(last.server / first.server).toBeLessThan(1.2);
    // The page's own memory grows until it keeps as many events as it ever will.
    const full = samples.find((one, index) => index > 0 && /^1[89]|^20/.test(one.events)) ?? first;
    expect(last.page / full.page).toBeLessThan(1.2);
  } finally {
    await bench.end();
  }
});
