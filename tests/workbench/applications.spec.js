import { expect, test } from './fixtures.js';

test('lists what is installed and what folders hold, and draws who needs whom', async ({ open, narrow }) => {
  const page = await open('#/applications');
  await expect(page.getByRole('link', { name: /Loyalty 1\.0\.0/ })).toBeVisible();
  await expect(page.getByRole('link', { name: /Shop 1\.0\.0/ })).toBeVisible();

  const graph = page.getByRole('region', { name: 'Graph of exports and imports' });
  await expect(graph.getByText('⚠ interface, missing')).toBeVisible();
  await expect(graph.locator('.edge.broken')).toHaveCount(1);
  await page.getByRole('button', { name: 'Table' }).click();
  await expect(page.getByRole('row', { name: /interface PRINT/ })).toContainText('nobody');
  await expect(page).toHaveURL(/as=table/);
  await page.getByRole('button', { name: 'Graph' }).click();
  await graph.getByRole('link', { name: 'loyalty' }).click();
  await expect(page).toHaveURL(/#\/applications\/loyalty$/);
  if (narrow) await expect(page.getByLabel('Search applications')).toBeHidden();
});

test('tells why an application is here and what would remove it', async ({ open, mock }) => {
  mock.why = { loyalty: { imports: [{ kind: 'interface', id: 'POINTS', optional: false, exporters: ['points'] }], users: ['shop'] } };
  const page = await open('#/applications/loyalty');
  await expect(page.getByText('exported by points')).toBeVisible();
  await expect(page.getByText('Removing points: it alone exports interface POINTS.')).toBeVisible();
  await expect(page.getByText('shop would lose what it exports.')).toBeVisible();
  await expect(page.getByText('loyalty.zip', { exact: true })).toBeVisible();
});

test('removes an application after a question', async ({ open, mock }) => {
  const page = await open('#/applications/tip');
  await page.getByRole('button', { name: 'Remove' }).click();
  const dialog = page.getByRole('dialog', { name: 'Remove tip?' });
  await dialog.getByRole('button', { name: 'Keep it' }).click();
  await expect(dialog).toBeHidden();
  expect(mock.asked.some((one) => one.command === 'remove')).toBe(false);

  await page.getByRole('button', { name: 'Remove' }).click();
  await dialog.getByRole('button', { name: 'Remove' }).click();
  await expect(page).toHaveURL(/#\/applications$/);
  await expect(page.getByRole('link', { name: /^Tip 1/ })).toHaveCount(0);
  expect(mock.asked.find((one) => one.command === 'remove').arguments).toEqual({ id: 'tip' });
});

test('adds a folder, says what is wrong with another, and starts from it', async ({ open }) => {
  const page = await open('#/applications');
  await page.getByLabel('Folder with a manifest.mft').fill('nowhere');
  await page.getByRole('button', { name: 'Add' }).click();
  await expect(page.getByText("there is no manifest.mft in 'nowhere'")).toBeVisible();
  await page.getByLabel('Folder with a manifest.mft').fill('/home/you/kiosk');
  await page.keyboard.press('Enter');
  await page.getByRole('link', { name: /kiosk 0\.1\.0/ }).click();
  await page.getByRole('link', { name: 'Start …' }).click();
  await expect(page.getByRole('button', { name: 'Start kiosk' })).toBeVisible();
});

test('a terminal without applications says what to do', async ({ open, mock }) => {
  mock.applications.installed = [];
  mock.applications.folders = [];
  const page = await open('#/applications');
  await expect(page.getByText('No application yet')).toBeVisible();
  await page.goto(`${mock.url}#/terminal`);
  await expect(page.getByText('There is no application yet')).toBeVisible();
});
