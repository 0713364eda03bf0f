// The payment is done and the receipt is about to be printed: how many points did the purchase earn,
// and shall they stand on the receipt?

import {
  askDesk,
  byId,
  end,
  kDone,
  pointsText,
  question,
  settings,
  showPanel,
  showProgress,
} from './club.js';
import { moneyFormat } from './money.js';
import { earnedPoints } from './points.js';

const money = moneyFormat(settings.locale, settings.currency);
const number = new Intl.NumberFormat(settings.locale);

/** Tells the desk what was earned. Nobody waits for it: the desk books it when it can. */
async function tellDesk(purchase, earned) {
  try {
    await wz.notify(settings.desk, 'POINTS_EARNED', { card: question.card, purchase, earned });
  } catch (error) {
    wz.log('warning', 'Points not told to the desk', `code ${error.code}`);
  }
}

async function finish(purchase, earned, balance, onReceipt) {
  byId('finished-title').textContent = 'See you soon';
  byId('finished-text').textContent = onReceipt
    ? 'Your points stand on the receipt.'
    : 'Your points are booked.';
  showPanel('finished');
  await tellDesk(purchase, earned);
  wz.log('notice', 'Points earned', pointsText(earned));
  const line = `${settings.shop}: +${pointsText(earned)}, balance ${number.format(balance)}`;
  end(kDone, { outcome: 'earned', points: String(earned), ...(onReceipt && { receiptLine: line }) });
}

function showMessage(title, text) {
  byId('stranger-title').textContent = title;
  byId('stranger-text').textContent = text;
  showPanel('stranger');
}

function showEarned(member) {
  // The terminal's own amount counts; the desk's is for terminals that do not pass one on.
  const purchase = question.amount || member.purchase;
  if (purchase === 0) return showMessage('Nothing to count', 'There was no purchase with this receipt.');

  const earned = earnedPoints(purchase, settings.spendPerPoint, member.bonusPercent);
  const balance = member.points + earned;
  byId('thanks').textContent = `Thank you, ${member.name}`;
  byId('gain').textContent = `+${number.format(earned)}`;
  byId('gain-word').textContent = earned === 1 ? 'point' : 'points';
  byId('purchase').textContent = money.text(purchase);
  byId('bonus').textContent =
    member.bonusPercent === 100 ? 'none' : `× ${number.format(member.bonusPercent / 100)}`;
  byId('balance').textContent = number.format(balance);
  showProgress(balance, member.rewards);
  byId('print').addEventListener('click', () => finish(purchase, earned, balance, true));
  byId('no-line').addEventListener('click', () => finish(purchase, earned, balance, false));
  showPanel('earned');
}

askDesk({
  member: showEarned,
  stranger: () =>
    showMessage('Not in the club yet', 'Ask at the counter: with a card, the next purchase counts.'),
  comfort: 'Keep the receipt: its points can be booked later.',
});
