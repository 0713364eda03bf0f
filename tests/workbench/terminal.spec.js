import { expect, test } from './fixtures.js';

const colourAt = (page, x, y) =>
  page.locator('canvas[role=application]').evaluate((canvas, [px, py]) => [...canvas.getContext('2d').getImageData(px, py, 1, 1).data.slice(0, 3)], [x, y]);

test('starts an application by entry, with parameters of its manifest', async ({ open, mock }) => {
  const page = await open('#/terminal');
  await expect(page.getByText('Nothing runs.')).toBeVisible();

  await page.getByLabel('Application', { exact: true }).selectOption({ label: 'Loyalty  1.0.0' });
  await expect(page.getByLabel('card', { exact: true })).toHaveValue('990017');
  await page.getByLabel('wz_parameters').fill('{"amount": ');
  await expect(page.getByText('This is not JSON yet.')).toBeVisible();
  await page.getByLabel('wz_parameters').fill('{"amount": 1250}');
  await page.getByRole('button', { name: 'Another parameter' }).click();
  await page.getByLabel('Name of parameter 1').fill('lane');
  await page.getByLabel('Value of parameter 1').fill('3');
  await page.getByRole('button', { name: 'Start Loyalty' }).click();

  await expect(page).toHaveURL(/#\/terminal\?run=1$/);
  await expect(page.getByRole('tab', { name: /loyalty/ })).toHaveAttribute('aria-selected', 'true');
  const { application, entry, parameters, record } = mock.asked.find((one) => one.do === 'start');
  expect({ application, entry, parameters, record }).toEqual({ application: 'loyalty', entry: 'CARD_PRESENTED',
    parameters: { card: '990017', wz_parameters: '{"amount": 1250}', lane: '3' }, record: true });
});

test('starts a folder with another display, language, keys and no touch', async ({ open, mock }) => {
  const page = await open('#/terminal?application=folder%3A%2Fhome%2Fyou%2Fshop');
  await page.getByText('Display, language, keys').click();
  await page.getByLabel('Size').fill('320x');
  await expect(page.getByText('Write it as 480x800.')).toBeVisible();
  await page.getByLabel('Size').fill('320x480');
  await page.getByLabel('Language').fill('de');
  await page.getByLabel('Keys').fill('15');
  await page.getByLabel('Touch screen').uncheck();
  await page.getByRole('button', { name: 'Start Shop' }).click();

  await expect(page.getByRole('application')).toBeVisible();
  expect(mock.asked.find((one) => one.do === 'start')).toMatchObject({ folder: '/home/you/shop', entry: 'desktop',
    display: { width: 320, height: 480 }, locale: 'de', keypad: 15, touch: false });
  await page.getByRole('button', { name: 'Confirm' }).click();
  await expect.poll(() => mock.asked.findLast((one) => one.do === 'key')).toMatchObject({ run: 1, type: 'press', key: 'Enter' });
});

test('shows the live picture, and what is pointed at and typed reaches the application', async ({ open, mock }) => {
  const run = mock._start({ application: 'tip', entry: 'desktop', parameters: {} });
  const page = await open(`#/terminal?run=${run.run}`);
  const screen = page.getByRole('application');
  await expect.poll(() => colourAt(page, 240, 400)).toEqual([178, 66, 31]);

  const box = await screen.boundingBox();
  await page.mouse.click(box.x + box.width / 2, box.y + box.height / 4);
  await expect.poll(() => colourAt(page, 240, 400)).toEqual([11, 92, 115]);
  const down = mock.asked.find((one) => one.do === 'pointer' && one.type === 'down');
  expect(down).toMatchObject({ run: 1, button: 'left', touch: true });
  expect(Math.abs(down.x - 240)).toBeLessThan(2);
  expect(Math.abs(down.y - 200)).toBeLessThan(2);
  expect(mock.asked.some((one) => one.do === 'pointer' && one.type === 'up')).toBe(true);

  await page.keyboard.press('a');
  await page.keyboard.press('Escape');
  await page.mouse.wheel(0, 120);
  const keys = () => mock.asked.filter((one) => one.do === 'key').map((one) => `${one.type} ${one.key} ${one.text ?? ''}`.trim());
  await expect.poll(keys).toEqual(['down a a', 'up a', 'down Escape', 'up Escape']);
  await expect.poll(() => mock.asked.some((one) => one.do === 'pointer' && one.type === 'wheel' && one.dy === 120)).toBe(true);
  // Each picture is asked for when the one before is on the screen.
  await expect.poll(() => mock.asked.filter((one) => one.do === 'seen').map((one) => one.frame)).toEqual([1, 2]);

  await page.keyboard.press('Tab');
  await expect(screen).not.toBeFocused();
});

test('a touch stays where it is when the page scrolls to the screen', async ({ open, mock, narrow }) => {
  test.skip(!narrow, 'the screen is in sight there');
  const run = mock._start({ application: 'tip', entry: 'desktop', parameters: {} });
  const page = await open(`#/terminal?run=${run.run}`);
  const screen = page.getByRole('application');
  await expect.poll(() => colourAt(page, 240, 400)).toEqual([178, 66, 31]);
  await page.evaluate(() => scrollTo(0, 180));
  const box = await screen.boundingBox();
  expect(box.y).toBeLessThan(0);
  await page.mouse.click(box.x + box.width / 2, box.y + box.height / 2);
  await expect.poll(() => mock.asked.find((one) => one.type === 'down')?.y).toBeCloseTo(400, -1);
});

test('takes a picture, offers the recording, cancels, and tells result and properties', async ({ open, mock }) => {
  mock._start({ application: 'tip', entry: 'desktop', parameters: {} });
  const page = await open('#/terminal');
  await page.getByRole('button', { name: 'Picture' }).click();
  await expect(page.getByRole('link', { name: 'Open it' })).toHaveAttribute('href', '/saved?name=picture-1.png');
  await expect(page.getByRole('link', { name: 'Recording' })).toHaveAttribute('href', '/saved?name=run-1.jsonl');

  await page.getByRole('button', { name: 'Cancel' }).click();
  await expect.poll(() => mock.asked.some((one) => one.do === 'cancel' && one.run === 1)).toBe(true);

  mock.finish(1, 0, { outcome: 'charged', wz_appId: 'tip' });
  await expect(page.getByText('ended, result 0')).toBeVisible();
  await expect(page.getByRole('definition').filter({ hasText: 'charged' })).toBeVisible();
  await expect(page.getByRole('button', { name: 'Picture' })).toBeDisabled();
});

test('shows several running applications at once', async ({ open, mock }) => {
  for (const application of ['tip', 'loyalty', 'tip']) mock._start({ application, entry: 'desktop', parameters: {} });
  const page = await open('#/terminal');
  await expect(page.getByRole('tab')).toHaveCount(3);
  await expect(page.getByRole('application')).toHaveCount(1);
  await page.getByRole('button', { name: 'All 3' }).click();
  await expect(page.getByRole('application')).toHaveCount(3);
  await expect(page).toHaveURL(/show=all/);
  await page.getByRole('tab').nth(1).click();
  await expect(page.getByRole('application')).toHaveAccessibleName(/loyalty/);
  await expect.poll(() => mock.asked.filter((one) => one.do === 'look' && !one.on).length).toBeGreaterThan(0);
});

test('says why an application does not start', async ({ open, mock }) => {
  mock.refuse.set('start', 'wz: tip: the manifest names no page index.html');
  const page = await open('#/terminal');
  await page.getByRole('button', { name: /^Start / }).click();
  await expect(page.getByText('the manifest names no page index.html')).toBeVisible();
});
