import { expect, test } from 'wzapp-playwright';

test('what is sold is charged, and the books hear of it', async ({ app, host }) => {
  await host.withhold('books', 'SOLD');
  const page = await app.run();

  await page.getByRole('button', { name: 'Espresso' }).click();
  await page.getByRole('button', { name: 'Pot of tea' }).click();
  await page.getByRole('button', { name: 'Charge 6.00 €' }).click();

  expect(await app.exit()).toMatchObject({ result: 0, properties: { total: '600', count: '2' } });
  expect((await host.expect('books', 'SOLD')).payload).toEqual({ total: 600, count: 2 });
});

test('clearing takes everything back', async ({ app }) => {
  const page = await app.run();

  await page.getByRole('button', { name: 'Slice of cake' }).click();
  await page.getByRole('button', { name: 'Clear' }).click();

  await expect(page.getByRole('status')).toHaveText('Nothing chosen');
  await expect(page.getByRole('button', { name: 'Charge' })).toBeDisabled();
});

for (const size of ['320x480', '480x800', '1024x600']) {
  test(`everything is on the screen at ${size}`, async ({ app }) => {
    const page = await app.run({ size });

    await expect(page.getByRole('button', { name: 'Charge' })).toBeInViewport({ ratio: 1 });
    await expect(page.getByRole('button', { name: 'Espresso' })).toBeInViewport({ ratio: 1 });
  });
}
