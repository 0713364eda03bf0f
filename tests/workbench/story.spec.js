import { expect, rowsOf, test } from './fixtures.js';
import { readFile } from 'node:fs/promises';

function aStory(mock) {
  mock._start({ application: 'shop', entry: 'desktop', parameters: {} }); // 1 to 3
  mock.tell('run 1', { event: 'console', app: 'shop', level: 'warning', text: 'no locale' });
  mock.tell('run 1', { event: 'messageSent', app: 'shop', from: 'shop', to: 'till', name: 'PAY', awaitsReply: true, payload: { amount: 1 } });
  mock.talk({ name: 'PAY', payload: { amount: 1 }, reply: { error: 'closed' } }); // 6, 7
  mock.tell('run 1', { event: 'reply', app: 'shop', from: 'till', to: 'shop', name: 'PAY_reply', code: 0, payload: { error: 'closed' } });
}

test('tells everything on one time line, with filters in the address', async ({ open, mock }) => {
  aStory(mock);
  const page = await open('#/story');
  const rows = rowsOf(page, 'Events');
  await expect(rows).toHaveCount(8);
  await page.getByRole('button', { name: 'Bus', exact: true }).click();
  await expect(rows).toHaveCount(2);
  await page.getByRole('button', { name: 'All', exact: true }).click();
  await page.getByRole('button', { name: 'Errors' }).click();
  await expect(rows).toHaveText([/Error reply/]);
  await page.getByRole('button', { name: 'Warnings' }).click();
  await expect(rows).toHaveCount(2);
  await page.getByRole('button', { name: 'Any' }).click();
  await page.getByLabel('Search the story').fill('locale');
  await expect(rows).toHaveCount(1);
  await expect(page).toHaveURL(/#\/story\?q=locale$/);
});

test('goes from a message to its cause, and on to the launch', async ({ open, mock }) => {
  aStory(mock);
  const page = await open('#/story?at=7');
  const side = page.locator('.story-side');
  await expect(side.getByRole('heading', { level: 2 })).toHaveText('Error reply');
  for (const [cause, heading] of [[/bus: Message/, 'Message'], [/run 1: Message sent/, 'Message sent'], [/run 1: Launched/, 'Launched'], [/workbench: Start/, 'Start']]) {
    await side.getByRole('definition').filter({ has: page.getByRole('link', { name: cause }) }).getByRole('link').click();
    await expect(side.getByRole('heading', { level: 2 })).toHaveText(heading);
  }
  await expect(page).toHaveURL(/at=1$/);
});

test('the time line is one stop of the Tab key, with the arrow keys', async ({ open, mock }) => {
  aStory(mock);
  const page = await open('#/story?at=3');
  const line = page.getByRole('slider', { name: 'Time line' });
  await line.focus();
  await page.keyboard.press('ArrowRight');
  await expect(line).toHaveAttribute('aria-valuetext', /run 1, Console/);
  await page.keyboard.press('End');
  await expect(line).toHaveAttribute('aria-valuenow', '7');
  await line.click({ position: { x: 5, y: 20 } });
  await expect(page).toHaveURL(/at=\d/);
});

test('exports lines and recordings, and opens a recording', async ({ open, mock }) => {
  aStory(mock);
  const page = await open('#/story');
  await page.getByRole('button', { name: 'Export' }).click();
  const dialog = page.getByRole('dialog', { name: 'Export' });
  await expect(dialog.getByRole('link', { name: 'Save' })).toHaveAttribute('href', '/saved?name=run-1.jsonl');
  const [download] = await Promise.all([page.waitForEvent('download'), dialog.getByRole('button', { name: 'Save' }).click()]);
  const lines = (await readFile(await download.path(), 'utf8')).trim().split('\n').map((line) => JSON.parse(line));
  expect(lines).toHaveLength(8);
  expect(lines[5]).toMatchObject({ source: 'bus', line: { name: 'PAY' } });
  await page.keyboard.press('Escape');

  await page.getByLabel('Open …').setInputFiles({ name: 'pay.jsonl', mimeType: 'application/json', buffer: Buffer.from('{"event":"launched","app":"old","entry":"desktop","parameters":{}}\n{"event":"exited","app":"old","result":7}') });
  await expect(page.getByText('This is pay.jsonl, not this terminal.')).toBeVisible();
  await expect(rowsOf(page, 'Events')).toHaveCount(2);
  await expect(rowsOf(page, 'Events').last()).toContainText('result 7');
  await page.getByRole('button', { name: 'Back to the terminal' }).click();
  await expect(rowsOf(page, 'Events')).toHaveCount(8);
});

test('keeps 20,000 events and says how many have left the page', async ({ open, mock, narrow }) => {
  test.skip(narrow, 'the width does not matter');
  const page = await open('#/story');
  for (let i = 0; i < 20_500; i++) mock.tell('run 1', { event: 'console', app: 'shop', level: 'info', text: `line ${i}` }, i * 100);
  await expect(page.getByText(/500 earlier events left this page/)).toBeVisible({ timeout: 15_000 });
  await expect(page.locator('.tally')).toHaveText('20,000 events');
  expect(await rowsOf(page, 'Events').count()).toBeLessThan(60);
  await expect(rowsOf(page, 'Events').last()).toContainText('line 20499');
});
