import assert from 'node:assert/strict';
import { describe, it } from 'node:test';

import { readSettings as readClub } from '../../examples/loyalty/settings.js';
import { readSettings as readTip } from '../../examples/tip/settings.js';

const json = JSON.stringify;

describe('settings of the tip calculator', () => {
  it('have defaults for everything', () => {
    const { settings, bill, problems } = readTip({});

    assert.deepEqual(settings.percentages, [5, 10, 15, 20]);
    assert.equal(settings.currency, 'EUR');
    assert.equal(bill, 0);
    assert.deepEqual(problems, []);
  });

  it('come from the configuration document', () => {
    const { settings, problems } = readTip({
      wz_confApp: json({ shop: 'Here', currency: 'CHF', unknown: 1 }),
    });

    assert.equal(settings.shop, 'Here');
    assert.equal(settings.currency, 'CHF');
    assert.equal('unknown' in settings, false);
    assert.deepEqual(problems, []);
  });

  for (const [key, value] of [
    ['shop', ''],
    ['shop', 7],
    ['locale', 'no such locale'],
    ['locale', null],
    ['currency', 'EURO'],
    ['currency', ['EUR']],
    ['percentages', 10],
    ['percentages', [5, 10, 15]],
    ['percentages', [5, 10, 15, 0]],
    ['percentages', [5, 10, 15, 100.5]],
    ['percentages', [5, 10, 15, '20']],
    ['highestBill', 100000000],
    ['highestBill', 0.5],
    ['mostPeople', 0],
    ['mostPeople', 100],
  ]) {
    it(`keep the default where ${key} is ${json(value)}, and say so`, () => {
      const { settings, problems } = readTip({ wz_confApp: json({ [key]: value }) });

      assert.deepEqual(settings[key], readTip({}).settings[key]);
      assert.deepEqual(problems, [`confApp.json: "${key}" is not usable`]);
    });
  }

  for (const text of ['', 'not JSON', '[]', 'null', '7', '{"shop": "Here"']) {
    it(`survive the document ${json(text)}`, () => {
      const { settings, problems } = readTip({ wz_confApp: text });

      assert.deepEqual(settings, readTip({}).settings);
      assert.deepEqual(problems, ['confApp.json is not a JSON object']);
    });
  }

  it('take over a bill from the host', () => {
    assert.equal(readTip({ wz_parameters: json({ amount: 4250 }) }).bill, 4250);
  });

  for (const amount of [0, -1, 42.5, '4250', 1000000, null]) {
    it(`refuse the bill ${json(amount)}`, () => {
      const { bill, problems } = readTip({ wz_parameters: json({ amount }) });

      assert.equal(bill, 0);
      assert.deepEqual(problems, ['wz_parameters: "amount" is not usable']);
    });
  }
});

describe('settings of the club', () => {
  it('hand over what the terminal knows about the customer', () => {
    const { question } = readClub({
      wz_parameters: json({ card: 'c-17', amount: 1840, wz_merchantId: 'm' }),
    });

    assert.deepEqual(question, { card: 'c-17', amount: 1840 });
  });

  it('do without', () => {
    const { question, settings, problems } = readClub({});

    assert.deepEqual(question, { card: '', amount: 0 });
    assert.equal(settings.campaign, null);
    assert.deepEqual(problems, []);
  });

  for (const [key, value] of [
    ['desk', ''],
    ['timeoutMs', -1],
    ['timeoutMs', 60001],
    ['spendPerPoint', 0],
    ['campaign', { text: 'Bread week' }],
    ['campaign', 'Bread week'],
  ]) {
    it(`keep the default where ${key} is ${json(value)}, and say so`, () => {
      const { settings, problems } = readClub({ wz_confApp: json({ [key]: value }) });

      assert.deepEqual(settings[key], readClub({}).settings[key]);
      assert.deepEqual(problems, [`confApp.json: "${key}" is not usable`]);
    });
  }
});
