import { expect, rowsOf, test } from './fixtures.js';

const packageOf = (name) => ({ name, mimeType: 'application/zip', buffer: Buffer.from(`content of ${name}`) });
const choose = (page, ...names) => page.getByLabel('Choose packages').first().setInputFiles(names.map(packageOf));

test('rehearses, then installs with lines arriving live beside what they mean', async ({ open, mock }) => {
  mock.pace = 40;
  const page = await open('#/install');
  await expect(page.getByText('No package is looked at')).toBeVisible();
  await choose(page, 'shop.zip');

  const rehearsal = page.getByRole('region', { name: 'Rehearsal' });
  await expect(rehearsal.getByText('shop appears 1.0.0')).toBeVisible();
  expect(mock.asked.some((one) => one.command === 'install')).toBe(false);
  await expect(page.getByText(/^sha256 [0-9a-f]{8}…[0-9a-f]{8}$/)).toBeVisible();

  await rehearsal.getByRole('button', { name: 'Install' }).click();
  const run = page.getByRole('region', { name: 'The installation' });
  await expect(run.getByText('running')).toBeVisible();
  await expect(rowsOf(run, 'Lines of the installer').first()).toBeVisible();
  await expect(run.getByText('done', { exact: true })).toBeVisible();
  await expect(run.getByText('Overall result: OK')).toHaveCount(2);
  await rowsOf(run, 'Lines of the installer').filter({ hasText: 'Checking dependencies' }).click();
  await expect(run.getByText(/repeated until a pass removes nothing/)).toBeVisible();
  expect(mock.asked.find((one) => one.command === 'install').arguments).toEqual({ uploads: ['u1'] });
});

test('draws who signed what, and the checks of each archive', async ({ open }) => {
  const page = await open('#/install');
  await choose(page, 'shop.zip');
  const chain = page.getByRole('list', { name: 'Signatures of shop.zip' });
  await expect(chain.getByRole('listitem')).toHaveCount(2);
  await expect(chain).toContainText('Development application signer');
  await expect(chain).toContainText('covers');
  await expect(page.getByText('A second verifier of its own code says the same.')).toBeVisible();
  await page.getByText('shop.zip: all 9 checks passed').click();
  await expect(page.getByText("verified with the signer's key").last()).toBeVisible();
  await expect(page.getByRole('row', { name: /shop\/app\.js shop\.zip 3\.3 KiB/ })).toBeVisible();
});

test('a refused package says why, with codes that explain themselves', async ({ open }) => {
  const page = await open('#/install');
  await choose(page, 'bad.zip');
  await expect(page.getByText('refused', { exact: true })).toBeVisible();
  const chain = page.getByRole('list', { name: 'Signatures of bad.zip' });
  await expect(chain.getByRole('img', { name: 'refused' }).first()).toBeVisible();
  const rehearsal = page.getByRole('region', { name: 'Rehearsal' });
  await expect(rehearsal.getByText('not every package will be done')).toBeVisible();
  await expect(rehearsal.getByRole('button', { name: 'Install all the same' })).toBeEnabled();
  await rehearsal.getByRole('button', { name: /^Explain WZ-/ }).first().click();
  await expect(page.getByRole('dialog').getByText('The signer is not known to the terminal')).toBeVisible();
  await page.keyboard.press('Escape');
  await expect(page.getByRole('dialog')).toHaveCount(0);
});

test('keeps packages in its address, puts them aside, and refuses what is too large', async ({ open, mock }) => {
  const page = await open('#/install');
  await choose(page, 'shop.zip', 'bad.zip');
  await expect(page).toHaveURL(/packages=u1%2Cu2&package=u1/);
  await page.reload();
  await expect(page.getByRole('link', { name: /shop\.zip/ })).toBeVisible();
  await page.getByRole('button', { name: 'Put bad.zip aside' }).click();
  await expect(page).toHaveURL(/packages=u1$/);
  await page.getByLabel('Choose packages').first().setInputFiles([{ ...packageOf('huge.zip'), buffer: Buffer.alloc(2 << 20) }]);
  await expect(page.getByText('huge.zip is larger than the workbench takes.')).toBeVisible();
});

test('a package that is dropped on another view goes to Install', async ({ open }) => {
  const page = await open('#/bus');
  const dropped = await page.evaluateHandle(() => {
    const data = new DataTransfer();
    data.items.add(new File(['x'], 'shop.zip'));
    return data;
  });
  await page.locator('main').dispatchEvent('drop', { dataTransfer: dropped });
  await expect(page).toHaveURL(/#\/install$/);
  await page.locator('.drop').dispatchEvent('drop', { dataTransfer: dropped });
  await expect(page.getByRole('link', { name: /shop\.zip/ })).toBeVisible();
});
