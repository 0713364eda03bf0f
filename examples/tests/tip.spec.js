// The tip calculator as its guests use it.

import { expect, test } from 'wzapp-playwright';

test.use({ application: '../tip' });

const total = (page) => page.locator('#total');

test('a tip is added to the bill', async ({ app }) => {
  const page = await app.run();

  for (const key of ['4', '2', '00']) await page.getByRole('button', { name: key, exact: true }).click();
  await page.getByRole('button', { name: 'Continue' }).click();
  await page.getByRole('radio', { name: '10%' }).click();
  await expect(total(page)).toHaveText('€46.20');
  await page.getByRole('button', { name: 'Charge €46.20' }).click();

  const { result, properties } = await app.exit();
  expect(result).toBe(0);
  expect(properties).toMatchObject({ bill: '4200', tip: '420', total: '4620', people: '1' });
});

test("the terminal's keys do what the buttons do", async ({ app }) => {
  const page = await app.run();

  for (const key of '4250') await page.keyboard.press(key);
  await page.keyboard.press('Enter');
  await expect(page.locator('#title')).toHaveText('Bill €42.50');
  await page.keyboard.press('Enter');

  expect((await app.exit()).properties).toMatchObject({ total: '4250', tip: '0' });
});

test('a bill from the till skips the keypad', async ({ app }) => {
  const page = await app.run({ parameters: { wz_parameters: { amount: 1999 } } });

  await expect(page.locator('#title')).toHaveText('Bill €19.99');
  await expect(page.locator('#keypad')).toBeHidden();
});

test('the bill is shared without losing a cent', async ({ app }) => {
  const page = await app.run({ parameters: { wz_parameters: { amount: 1000 } } });

  await page.getByRole('button', { name: 'One person more' }).click();
  await page.getByRole('button', { name: 'One person more' }).click();
  await page.locator('#charge').click();

  expect((await app.exit()).properties.shares).toBe('1x334,2x333');
});

test('cancelling is a result of its own', async ({ app }) => {
  const page = await app.run();

  await page.getByRole('button', { name: 'Cancel' }).click();

  expect(await app.exit()).toMatchObject({ result: 1, properties: { outcome: 'cancelled' } });
  expect(app.log.at(-1).texts).toEqual(['Tip cancelled', 'on the view "bill"']);
});

test('a bill that is too high is refused', async ({ app }) => {
  const page = await app.run();

  for (const key of '99999999') await page.keyboard.press(key);

  await expect(page.locator('#entry-hint')).toHaveText('€9,999.99 at most');
  await expect(page.locator('#entry-amount')).toHaveText('€9,999.99');
});

test('it says which terminal this is', async ({ app }) => {
  const page = await app.run();

  await page.getByRole('button', { name: 'About this terminal' }).click();

  await expect(page.getByRole('dialog')).toContainText('10000000001');
  expect(app.properties.wz_terminalModel).toBe('T30');
});

for (const size of ['320x480', '480x800']) {
  test(`nothing is cut off at ${size}`, async ({ app }) => {
    const page = await app.run({ size, parameters: { wz_parameters: { amount: 123456 } } });

    const box = await page.locator('#charge').boundingBox();
    const [width, height] = size.split('x').map(Number);
    expect(box.x + box.width).toBeLessThanOrEqual(width);
    expect(box.y + box.height).toBeLessThanOrEqual(height);
    expect(await page.evaluate(() => document.documentElement.scrollHeight)).toBe(height);
  });
}

test.describe('on a terminal with another serial number', () => {
  test.use({ profile: { serial: '4711' } });

  test('an installed application runs like its folder', async ({ app, terminal }) => {
    await terminal.install('../tip');
    await app.run('tip');

    expect(app.properties).toMatchObject({ wz_appId: 'tip', wz_terminalSerialNo: '4711' });
  });
});
