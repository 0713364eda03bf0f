// Tests of the fixtures themselves, and of how a new application looks. run.sh calls them.

import { defineConfig } from '@playwright/test';

export default defineConfig({
  fullyParallel: true,
  workers: '100%',
  reporter: 'list',
  use: { application: '../shop' },
  snapshotPathTemplate: '{testDir}/pictures/{arg}{ext}',
});
