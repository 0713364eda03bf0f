// A page before a mock workbench. Whatever a test does: the page asks nobody but its own origin, throws
// nothing and writes no error.

import { test as base, expect } from '@playwright/test';
import { fileURLToPath } from 'node:url';
import { Mock } from './mock.js';

export { expect };

export const kPage = process.env.WZ_WORKBENCH_PAGE ?? fileURLToPath(new URL('../../tools/wz/workbench/page/', import.meta.url));

/** Notes what a page does that it must not. */
export function watch(page, origin) {
  const faults = [];
  page.on('pageerror', (error) => faults.push(`thrown: ${error.message}`));
  page.on('console', (message) => {
    if (message.type() === 'error' && !/WebSocket connection|ERR_CONNECTION_REFUSED|status of 4/.test(message.text())) faults.push(`console: ${message.text()}`);
  });
  page.on('request', (request) => {
    const url = new URL(request.url());
    if (url.protocol !== 'blob:' && url.protocol !== 'data:' && url.origin !== origin) faults.push(`request: ${request.url()}`);
  });
  return faults;
}

export const test = base.extend({
  mock: async ({}, use) => {
    const mock = await Mock.begin({ page: kPage });
    await use(mock);
    await mock.end();
  },
  /** Opens an address of the page: open('#/bus'). */
  open: async ({ page, mock }, use) => {
    const faults = watch(page, new URL(mock.url).origin);
    await use(async (hash = '') => {
      await page.goto(mock.url + hash);
      await expect(page.getByText('Connected')).toBeVisible();
      return page;
    });
    expect(faults).toEqual([]);
  },
  narrow: async ({ viewport }, use) => use(viewport.width < 760),
});

/** A list that keeps only the rows in sight. */
export const rowsOf = (page, name) => page.getByRole('listbox', { name }).getByRole('option');
