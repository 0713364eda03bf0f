// Tests of the application: wz test (run it in the folder above, or name that).

import { defineConfig } from '@playwright/test';

export default defineConfig({
  fullyParallel: true,
  workers: '100%',
  reporter: 'list',
  use: { application: '..' },
});
