// Fixtures of Playwright's test runner for applications of a terminal.

import { test as base, expect } from '@playwright/test';

import { App } from './lib/app.js';
import { Host } from './lib/host.js';
import { Terminal } from './lib/terminal.js';

export { expect };

export const test = base.extend({
  // Options, for `use` in playwright.config.js and test.use().
  profile: [{}, { option: true }],
  application: ['..', { option: true }],

  terminal: async ({ profile }, use) => {
    const terminal = await Terminal.create(profile);
    await use(terminal);
    await terminal.dispose();
  },

  host: async ({ terminal }, use) => {
    const host = new Host(terminal);
    await use(host);
    await host.dispose();
  },

  app: async ({ terminal, playwright, application }, use) => {
    const app = new App(terminal, (url) => playwright.chromium.connectOverCDP(url));
    const run = app.run.bind(app);
    // The options may stand alone: then it is the application of the configuration that runs.
    app.run = (given, options) =>
      typeof given === 'string' ? run(given, options) : run(application, given);
    await use(app);
    await app.stop();
  },
});
