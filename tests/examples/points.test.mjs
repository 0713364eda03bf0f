import assert from 'node:assert/strict';
import { describe, it } from 'node:test';

import { earnedPoints, nextReward, rewardsAround } from '../../examples/loyalty/points.js';

const rewards = [400, 60, 240, 150].map((cost) => ({ id: `r${cost}`, title: `Reward ${cost}`, cost }));
const costs = (shown) => shown.map(({ cost }) => cost);

describe('earnedPoints', () => {
  for (const [purchase, bonusPercent, points] of [
    [0, 100, 0],
    [99, 100, 0],
    [100, 100, 1],
    [199, 100, 1],
    [1840, 100, 18],
    [1840, 200, 36],
    [150, 200, 3],
    [49, 200, 0],
    [1840, 150, 27],
    [1840, 0, 0],
  ]) {
    it(`are ${points} for ${purchase} at ${bonusPercent} %`, () => {
      assert.equal(earnedPoints(purchase, 100, bonusPercent), points);
    });
  }

  it('follow the price of a point', () => {
    assert.equal(earnedPoints(1840, 500, 100), 3);
    assert.equal(earnedPoints(1840, 1, 100), 1840);
  });
});

describe('nextReward', () => {
  for (const [points, cost, missing] of [
    [0, 60, 60],
    [59, 60, 1],
    [60, 150, 90],
    [184, 240, 56],
    [399, 400, 1],
  ]) {
    it(`after ${points} points is the one for ${cost}`, () => {
      const next = nextReward(points, rewards);

      assert.equal(next.reward.cost, cost);
      assert.equal(next.missing, missing);
    });
  }

  it('is none when all are reached, or there are none', () => {
    assert.equal(nextReward(400, rewards), null);
    assert.equal(nextReward(0, []), null);
  });
});

describe('rewardsAround', () => {
  for (const [points, shown] of [
    [0, [60, 150, 240]],
    [60, [60, 150, 240]],
    [150, [60, 150, 240]],
    [240, [150, 240, 400]],
    [1000, [150, 240, 400]],
  ]) {
    it(`${points} points are ${shown.join(', ')}`, () => {
      assert.deepEqual(costs(rewardsAround(points, rewards, 3)), shown);
    });
  }

  it('shows fewer where there are fewer', () => {
    assert.deepEqual(costs(rewardsAround(100, rewards.slice(0, 2), 3)), [60, 400]);
    assert.deepEqual(rewardsAround(100, [], 3), []);
  });

  it('tells what is missing and leaves the list alone', () => {
    const before = structuredClone(rewards);

    assert.deepEqual(
      rewardsAround(184, rewards, 3).map(({ missing }) => missing),
      [0, 0, 56],
    );
    assert.deepEqual(rewards, before);
  });
});
