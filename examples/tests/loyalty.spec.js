// The customer club, with its desk in every mood.

import { expect, test } from 'wzapp-playwright';

test.use({ application: '../loyalty' });

const desk = 'oatmere-club';
const ines = {
  known: true,
  name: 'Ines',
  points: 184,
  bonusPercent: 200,
  purchase: 1840,
  rewards: [
    { id: 'coffee', title: 'Filter coffee', cost: 60 },
    { id: 'cake', title: 'Plum cake, whole', cost: 240 },
  ],
};
const present = (card) => ({ entry: 'CARD_PRESENTED', parameters: { wz_parameters: { card } } });

test('a member uses points for a reward', async ({ app, host }) => {
  await host.answer(desk, 'MEMBER_LOOKUP', ines);
  const page = await app.run(present('4711'));

  await page.getByRole('radio', { name: 'Filter coffee' }).click();
  await page.getByRole('button', { name: 'Use 60 points' }).click();

  expect(await app.exit()).toMatchObject({ result: 0, properties: { reward: 'coffee', points: '60' } });
  expect(host.asked[0]).toMatchObject({ from: 'loyalty', payload: { card: '4711' } });
});

test('the desk answers each card with its own member', async ({ app, host }) => {
  await host.answer(desk, 'MEMBER_LOOKUP', ({ card }) => ({ ...ines, name: `Member ${card}`, points: 1 }));
  const page = await app.run(present('42'));

  await expect(page.locator('#name')).toHaveText('Hello Member 42');
  await expect(page.getByText('1 point', { exact: true })).toBeVisible();
});

test('a reward that costs too much cannot be chosen', async ({ app, host }) => {
  await host.answer(desk, 'MEMBER_LOOKUP', ines);
  const page = await app.run(present('4711'));

  await expect(page.getByLabel('Plum cake, whole')).toBeDisabled();
  await expect(page.locator('#progress-text')).toHaveText('56 points to go: Plum cake, whole');
});

test('who is not in the club may join', async ({ app, host }) => {
  await host.answer(desk, 'MEMBER_LOOKUP', { known: false });
  const page = await app.run(present('1'));

  await page.getByRole('button', { name: 'Join the club' }).click();

  expect((await app.exit()).properties.outcome).toBe('join');
});

test('a desk that is away is asked again', async ({ app, host }) => {
  const page = await app.run(present('4711'));
  await expect(page.locator('#trouble-title')).toHaveText(
    'The club desk is away',
  );

  await host.answer(desk, 'MEMBER_LOOKUP', ines);
  await page.getByRole('button', { name: 'Try again' }).click();

  await expect(page.locator('#name')).toHaveText('Hello Ines');
});

test('while the desk thinks, the customer may leave', async ({ app, host }) => {
  await host.withhold(desk, 'MEMBER_LOOKUP');
  const page = await app.run(present('4711'));
  await host.expect(desk, 'MEMBER_LOOKUP');

  await page.getByRole('button', { name: 'Skip the club' }).click();

  expect(await app.exit()).toMatchObject({ result: 1, properties: { outcome: 'skipped' } });
});

test('a late answer is shown as soon as it comes', async ({ app, host }) => {
  let answer;
  await host.answer(desk, 'MEMBER_LOOKUP', () => new Promise((resolve) => (answer = resolve)));
  const page = await app.run(present('4711'));
  await host.expect(desk, 'MEMBER_LOOKUP');
  await expect(page.getByText('Looking for your card')).toBeVisible();

  answer(ines);

  await expect(page.locator('#name')).toHaveText('Hello Ines');
});

test('an answer without sense is told and logged', async ({ app, host }) => {
  await host.answer(desk, 'MEMBER_LOOKUP', { known: 'perhaps' });
  const page = await app.run(present('4711'));

  await expect(page.locator('#trouble-title')).toHaveText('An answer we can’t read');
  expect(app.log.find(({ level }) => level === 'error').texts[0]).toBe('loyalty_2');
});

test('the receipt tells the desk what was earned', async ({ app, host }) => {
  await host.answer(desk, 'MEMBER_LOOKUP', ines);
  await host.withhold(desk, 'POINTS_EARNED');
  const page = await app.run({ entry: 'RECEIPT', parameters: { wz_parameters: { card: '4711', amount: 1250 } } });

  await page.locator('#print').click();

  expect((await host.expect(desk, 'POINTS_EARNED')).payload).toEqual({ card: '4711', purchase: 1250, earned: 25 });
  expect((await app.exit()).properties.points).toBe('25');
});
