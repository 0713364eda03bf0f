// Points and rewards. Points are whole numbers; amounts of money are whole numbers of the currency's
// smallest unit.

/**
 * The points that a purchase earns: one for every full `spendPerPoint`, times a bonus.
 * @param {number} bonusPercent  100 without a bonus, 200 while everything counts double
 */
export function earnedPoints(purchase, spendPerPoint, bonusPercent) {
  return Math.floor((purchase * bonusPercent) / (spendPerPoint * 100));
}

const byCost = (rewards) => [...rewards].sort((a, b) => a.cost - b.cost);

/** The cheapest reward that `points` do not reach yet, with what is missing; null when all are reached. */
export function nextReward(points, rewards) {
  const reward = byCost(rewards).find(({ cost }) => cost > points);
  return reward ? { reward, missing: reward.cost - points } : null;
}

/**
 * At most `count` rewards for a small screen, cheapest first: those nearest to what the points reach,
 * with the first one beyond them, which is what makes people come back.
 */
export function rewardsAround(points, rewards, count) {
  const sorted = byCost(rewards);
  const reached = sorted.filter(({ cost }) => cost <= points).length;
  const end = Math.max(Math.min(reached + 1, sorted.length), Math.min(count, sorted.length));
  return sorted
    .slice(Math.max(end - count, 0), end)
    .map((reward) => ({ ...reward, missing: Math.max(reward.cost - points, 0) }));
}
