// Tests of the sample applications: wz test examples

import { defineConfig } from '@playwright/test';

export default defineConfig({
  fullyParallel: true,
  workers: '100%', // each test spends most of its time waiting for the browser
  reporter: 'list',
});
