// What a bill comes to once there is a tip, a number of people and a wish for round sums. All amounts
// are whole numbers of the smallest unit of the currency.

/** A part of an amount in hundredths of a per cent (1250 is 12.5 %), halves rounded up. */
export function percentOf(amount, hundredths) {
  return Math.floor((amount * hundredths + 5000) / 10000);
}

/**
 * The tip that a choice stands for, before rounding.
 * @param {{kind: 'none'} | {kind: 'percent', hundredths: number} | {kind: 'amount', amount: number}} choice
 */
export function chosenTip(bill, choice) {
  if (choice.kind === 'percent') return percentOf(bill, choice.hundredths);
  if (choice.kind === 'amount') return choice.amount;
  return 0;
}

/** No rounding: sums stay as they are and shares may differ by one smallest unit. */
export const kExact = 0;

/**
 * The steps to which sums can be rounded up: not at all, half a unit of the currency, a whole one. A
 * currency without a smaller unit is counted in larger numbers, so it gets larger steps.
 * @param {number} digits  how many digits the currency has behind the point
 */
export function roundingSteps(digits) {
  const unit = digits === 0 ? 100 : 10 ** digits;
  return [kExact, unit / 2, unit];
}

/**
 * What each of `people` pays, as groups of equal shares, the larger share first. The shares differ by
 * one smallest unit at most and always add up to `total`.
 * @returns {{count: number, amount: number}[]}
 */
export function splitShares(total, people) {
  const larger = total % people;
  const amount = (total - larger) / people;
  const groups = [
    { count: larger, amount: amount + 1 },
    { count: people - larger, amount },
  ];
  return groups.filter((group) => group.count > 0);
}

function roundUp(amount, multiple) {
  const beyond = amount % multiple;
  return beyond === 0 ? amount : amount + multiple - beyond;
}

/**
 * The whole calculation. Rounding goes up, so that each person pays a multiple of `step`, and what it
 * adds belongs to the tip. Without a tip nothing is rounded: nobody pays more than the bill unasked.
 */
export function settle({ bill, choice, people, step }) {
  const tip = chosenTip(bill, choice);
  const exact = bill + tip;
  const total = tip > 0 && step !== kExact ? roundUp(exact, step * people) : exact;
  return { bill, tip: total - bill, total, shares: splitShares(total, people) };
}
