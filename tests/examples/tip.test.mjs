import assert from 'node:assert/strict';
import { describe, it } from 'node:test';

import { chosenTip, kExact, percentOf, roundingSteps, settle, splitShares } from '../../examples/tip/tip.js';

const sum = (shares) => shares.reduce((total, { count, amount }) => total + count * amount, 0);
const percent = (hundredths) => ({ kind: 'percent', hundredths });

describe('percentOf', () => {
  for (const [amount, hundredths, part] of [
    [4250, 1000, 425],
    [4250, 1250, 531], // 531.25
    [4250, 1500, 638], // 637.5
    [10, 500, 1], // 0.5
    [9, 500, 0], // 0.45
    [1, 10000, 1],
    [0, 1500, 0],
    [115, 1000, 12], // 11.5, where 115 * 0.1 is a little more and 1.15 * 10 a little less
    [99999999, 10000, 99999999],
  ]) {
    it(`of ${amount} at ${hundredths / 100} % is ${part}`, () => {
      assert.equal(percentOf(amount, hundredths), part);
    });
  }
});

describe('chosenTip', () => {
  it('is nothing, a part of the bill, or the amount itself', () => {
    assert.equal(chosenTip(4250, { kind: 'none' }), 0);
    assert.equal(chosenTip(4250, percent(1000)), 425);
    assert.equal(chosenTip(4250, { kind: 'amount', amount: 700 }), 700);
  });
});

describe('roundingSteps', () => {
  for (const [digits, steps] of [
    [2, [0, 50, 100]],
    [3, [0, 500, 1000]],
    [0, [0, 50, 100]],
  ]) {
    it(`with ${digits} digits are ${steps.join(', ')}`, () => {
      assert.deepEqual(roundingSteps(digits), steps);
    });
  }
});

describe('splitShares', () => {
  it('gives everybody the same where it can', () => {
    assert.deepEqual(splitShares(4800, 3), [{ count: 3, amount: 1600 }]);
  });

  it('lets as few as needed pay one more', () => {
    assert.deepEqual(splitShares(4781, 3), [
      { count: 2, amount: 1594 },
      { count: 1, amount: 1593 },
    ]);
  });

  it('manages more people than cents', () => {
    assert.deepEqual(splitShares(2, 3), [
      { count: 2, amount: 1 },
      { count: 1, amount: 0 },
    ]);
  });

  it('always adds up, with shares at most one apart', () => {
    for (let total = 0; total < 2000; total += 1) {
      for (let people = 1; people <= 12; people += 1) {
        const shares = splitShares(total, people);

        assert.equal(sum(shares), total);
        assert.equal(
          shares.reduce((all, { count }) => all + count, 0),
          people,
        );
        assert.ok(shares[0].amount - shares.at(-1).amount <= 1);
      }
    }
  });
});

describe('settle', () => {
  const bill = 4250;

  it('adds the tip to the bill', () => {
    const result = settle({ bill, choice: percent(1250), people: 1, step: kExact });

    assert.deepEqual(result, { bill, tip: 531, total: 4781, shares: [{ count: 1, amount: 4781 }] });
  });

  it('rounds nothing on Exact, however many share', () => {
    assert.equal(settle({ bill, choice: percent(1250), people: 3, step: kExact }).total, 4781);
  });

  it('rounds up so that everybody pays a round sum, for the benefit of the tip', () => {
    const result = settle({ bill, choice: percent(1250), people: 3, step: 50 });

    assert.deepEqual(result, { bill, tip: 550, total: 4800, shares: [{ count: 3, amount: 1600 }] });
  });

  it('leaves a sum alone that is round already', () => {
    assert.equal(settle({ bill: 4000, choice: percent(1000), people: 4, step: 100 }).total, 4400);
  });

  it('never rounds a bill without a tip', () => {
    assert.equal(settle({ bill, choice: { kind: 'none' }, people: 4, step: 100 }).total, bill);
  });

  it('takes a tip that comes to nothing for none', () => {
    assert.equal(settle({ bill: 9, choice: percent(500), people: 1, step: 100 }).total, 9);
  });

  it('holds together for every bill, choice, number of people and step', () => {
    for (let amount = 1; amount < 20000; amount += 137) {
      for (const hundredths of [500, 1250, 10000]) {
        for (let people = 1; people <= 12; people += 1) {
          for (const step of roundingSteps(2)) {
            const result = settle({ bill: amount, choice: percent(hundredths), people, step });
            const added = result.tip - percentOf(amount, hundredths);

            assert.equal(result.bill + result.tip, result.total);
            assert.equal(sum(result.shares), result.total);
            assert.ok(added >= 0 && added < Math.max(step * people, 1));
            if (step !== kExact && result.tip > 0) assert.equal(result.shares[0].amount % step, 0);
          }
        }
      }
    }
  });
});
