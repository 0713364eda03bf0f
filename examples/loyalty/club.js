// What the two pages of the club have in common: the shop's head and campaign, asking the club desk
// with its waiting and its failures, and the terminal's own Enter and Cancel keys.

import { kAbsent, kLate, kMember, kStranger, kUnreadable, lookUpMember } from './desk.js';
import { nextReward } from './points.js';
import { readSettings } from './settings.js';

export const kDone = 0;
const kSkipped = 1;

const kAttempts = 3;

export const byId = (id) => document.getElementById(id);
const { settings, question, problems } = readSettings(wz.properties);
export { settings, question };

/** Shows one panel of the page and hides the others. */
export function showPanel(name) {
  for (const panel of document.querySelectorAll('.panel')) panel.hidden = panel.id !== name;
}

let ended = false;

/** Ends the application, once: whatever is touched until the terminal has closed the page counts no more. */
export function end(result, properties) {
  if (ended) return;
  ended = true;
  wz.exit(result, properties);
}

/** "1 point", "36 points" */
export function pointsText(points) {
  return `${new Intl.NumberFormat(settings.locale).format(points)} ${points === 1 ? 'point' : 'points'}`;
}

/** Draws the way to the next reward: a bar and a sentence, or neither where there are no rewards. */
export function showProgress(points, rewards) {
  const next = nextReward(points, rewards);
  byId('progress').hidden = byId('progress-text').hidden = rewards.length === 0;
  const reached = next ? Math.floor((points * 100) / next.reward.cost) : 100;
  byId('progress').style.setProperty('--reached', `${reached}%`);
  byId('progress-text').textContent = next
    ? `${pointsText(next.missing)} to go: ${next.reward.title}`
    : 'Enough for every reward';
}

const kTroubles = {
  [kAbsent]: { title: 'The club desk is away', text: 'Nobody answers at the moment.' },
  [kLate]: { title: 'That took too long', text: 'The club desk is busy.' },
  [kUnreadable]: { title: 'An answer we can’t read', text: 'The club desk said something unexpected.' },
};

function logTrouble(outcome, code, attempt) {
  const what = `Member lookup: ${outcome}`;
  const detail = `attempt ${attempt}${code === undefined ? '' : `, code ${code}`}`;
  // A desk that answers nonsense is a fault to be mended; one that is away happens every day.
  if (outcome === kUnreadable) wz.log('error', 'loyalty_2', what, detail);
  else wz.log('warning', what, detail);
}

function showTrouble(outcome, attempt, comfort) {
  const last = attempt === kAttempts;
  byId('trouble-title').textContent = kTroubles[outcome].title;
  byId('trouble-text').textContent = `${kTroubles[outcome].text} ${comfort}`;
  byId('trouble-count').textContent = last
    ? 'Please go on without the club.'
    : `Try ${attempt} of ${kAttempts}`;
  byId('again').hidden = last;
  byId('trouble').dataset.last = last;
  showPanel('trouble');
}

/**
 * Asks the desk, up to three times if the customer wants it, and hands over to the page.
 * @param {{member: (member) => void, stranger: () => void, comfort: string}} page  what shows a member
 *        and a stranger, and a sentence for those who get no answer
 */
export function askDesk(page) {
  let attempt = 0;

  async function ask() {
    attempt += 1;
    showPanel('looking');
    const answer = await lookUpMember(wz, settings, question);
    if (answer.outcome === kMember) return page.member(answer.member);
    if (answer.outcome === kStranger) return page.stranger();
    logTrouble(answer.outcome, answer.code, attempt);
    showTrouble(answer.outcome, attempt, page.comfort);
  }

  byId('looking').style.setProperty('--patience', `${settings.timeoutMs}ms`);
  byId('again').addEventListener('click', ask);
  for (const button of document.querySelectorAll('[data-skip]')) {
    button.addEventListener('click', () => end(kSkipped, { outcome: 'skipped' }));
  }
  ask();
}

function showCampaign() {
  byId('campaign').hidden = settings.campaign === null;
  if (settings.campaign === null) return;
  byId('campaign-text').textContent = settings.campaign.text;
  // The picture lies over the text. One that cannot be had leaves the text to be read.
  const picture = byId('campaign-image');
  picture.addEventListener('load', () => {
    picture.hidden = false;
  });
  picture.src = settings.campaign.image;
}

function pressVisible(selector) {
  const button = [...document.querySelectorAll(selector)].find((candidate) => candidate.checkVisibility());
  button?.click();
}

function onKey(event) {
  if (event.target instanceof HTMLButtonElement || !['Enter', 'Escape'].includes(event.key)) return;
  event.preventDefault();
  if (!event.repeat) pressVisible(event.key === 'Enter' ? 'button.main:enabled' : 'button.quiet');
}

for (const problem of problems) wz.log('error', 'loyalty_1', 'Settings', problem);
byId('shop').textContent = settings.shop;
showCampaign();
document.addEventListener('keydown', onKey);
// A touched button does not keep the focus, so that Enter always means the main button.
document.addEventListener('mousedown', (event) => {
  if (event.target.closest('button')) event.preventDefault();
});
