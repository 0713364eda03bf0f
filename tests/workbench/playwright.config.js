// Tests of the workbench's page, at the width of a desk and of a telephone. run.sh calls them.

import { defineConfig } from '@playwright/test';

// What needs wz itself.
const kOfTheRealOne = /(soak|real|bench|pictures)\.spec/;

// What a telephone's width changes most. Everything else at that width is a long test.
const kOfTheWidth = /wider than the page|a touch stays|live picture|by entry|draws who/;

// What is run with every change: of each view what it is for.
const kQuick =
  /live picture|by entry|draws who needs|arriving live|refused package|jumps to its cause|less than 100 ms|its cause, and on|never become markup|by keyboard alone|\/terminal, light|\/bus, light/;

const wide = { viewport: { width: 1280, height: 800 } };
const narrow = { viewport: { width: 390, height: 844 }, hasTouch: true };

export default defineConfig({
  fullyParallel: true,
  workers: 2,
  reporter: 'list',
  timeout: 60_000, // for a machine that is slow, or busy with a build
  expect: { timeout: 20_000 },
  // The soak, too, tells within a minute that something to click is not there.
  use: { actionTimeout: 60_000, launchOptions: { executablePath: process.env.WZ_BROWSER ?? '/usr/bin/chromium' } },
  projects: [
    { name: 'quick', use: wide, testIgnore: kOfTheRealOne, grep: kQuick },
    { name: 'wide', use: wide, testIgnore: kOfTheRealOne },
    { name: 'narrow', use: narrow, testIgnore: kOfTheRealOne, grep: process.env.WZ_LONG ? /./ : kOfTheWidth },
    { name: 'real-wide', use: wide, testMatch: /real\.spec/, fullyParallel: false },
    { name: 'real-narrow', use: narrow, testMatch: /real\.spec/, fullyParallel: false },
    { name: 'bench', use: wide, testMatch: /bench\.spec/ },
    { name: 'pictures', use: wide, testMatch: /pictures\.spec/ },
    { name: 'soak', use: wide, testMatch: /soak\.spec/, timeout: 15 * 60_000 },
  ],
});
