// Ten minutes with an application that chatters: what page and server take does not grow.

import { expect, test } from '@playwright/test';
import { chatterEvery, Workbench } from './workbench.js';

const kMinutes = Number(process.env.WZ_SOAK_MINUTES ?? 10);

// So much that the lists of the page, which keep 20,000 events and 12,000 messages, are full after a minute.
const kLoudly = 4; // milliseconds between two messages

test(`soak: ${kMinutes} minutes of chatter leave the memory of page and server within 20 %`, async ({ page }) => {
  const bench = await Workbench.begin({ applications: { chatter: chatterEvery(kLoudly) }, install: [] });
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
    const views = ['terminal', 'bus', 'story']; // the bus in the first minute
    const samples = [];
    for (let minute = 0; minute <= kMinutes; minute++) {
      await page.goto(`${bench.origin}/#/${views[minute % views.length]}`);
      await page.waitForTimeout(minute === 0 ? 5_000 : 60_000);
      // A machine that is slow, or busy with other tests, has a longer first minute.
      if (minute === 1) await expect(page.locator('.tally')).toContainText(/^11,[5-9]\d\d messages|^12,/, { timeout: 240_000 });
      await page.goto(`${bench.origin}/#/story`);
      const lists = `${await page.locator('.tally').textContent()}, ${await page.locator('a[href="#/bus"] .nav-count').textContent()}`;
      samples.push({ minute, page: await heap(), server: bench.memory(), lists });
      console.log(`  ${minute} min: page ${(samples.at(-1).page / 1048576).toFixed(1)} MiB, server ${(samples.at(-1).server / 1024).toFixed(1)} MiB, ${lists}`);
    }
    const [, first, ...later] = samples;
    expect(first.lists).not.toBe(samples[0].lists);
    for (const one of later) {
      expect(one.server / first.server).toBeLessThan(1.2);
      expect(one.page / first.page).toBeLessThan(1.2);
    }
  } finally {
    await bench.end();
  }
});
