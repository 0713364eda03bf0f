// What `wz new` makes looks right on the displays that there are.

import { expect, test } from 'wzapp-playwright';

// Letters are drawn a little differently by other versions of the browser and its fonts.
const likeness = { maxDiffPixelRatio: 0.03, threshold: 0.3 };

for (const size of ['320x480', '480x800', '1024x600']) {
  test(`a new application at ${size}`, async ({ app }) => {
    const page = await app.run({ size });
    await page.getByRole('button', { name: 'Espresso' }).click();

    await expect(page).toHaveScreenshot(`shop-${size}.png`, likeness);
  });

  test(`nothing lies outside at ${size}`, async ({ app }) => {
    const page = await app.run({ size });

    const outside = await page.evaluate(() =>
      [...document.body.querySelectorAll('*')]
        .filter((element) => {
          const box = element.getBoundingClientRect();
          return box.width > 0 && (box.left < 0 || box.right > innerWidth || box.top < 0);
        })
        .map((element) => element.outerHTML),
    );
    expect(outside).toEqual([]);
    for (const button of await page.getByRole('button').all()) {
      if (await button.isVisible()) expect((await button.boundingBox()).height).toBeGreaterThanOrEqual(48);
    }
  });
}
