// The pages of the tip calculator: what is on the screen follows from `state`, every touch or key
// changes the state, and render() brings the screen up to date.

import { playDemo } from './demo.js';
import { withKeys, withoutLastKey } from './keypad.js';
import { moneyFormat } from './money.js';
import { readSettings } from './settings.js';
import { chosenTip, kExact, roundingSteps, settle } from './tip.js';

const kCharged = 0;
const kCancelled = 1;

const byId = (id) => document.getElementById(id);
const { settings, bill: givenBill, problems } = readSettings(wz.properties);
const money = moneyFormat(settings.locale, settings.currency);
const steps = roundingSteps(money.digits);
const percentText = new Intl.NumberFormat(settings.locale, { style: 'percent', maximumFractionDigits: 2 });

const state = {
  view: givenBill > 0 ? 'tip' : 'bill', // bill, tip, ownTip, finish, ended
  bill: givenBill,
  choice: { kind: 'none' },
  ownTip: 0,
  people: 1,
  step: kExact,
  refused: false, // the last key would have passed the limit
};

const choices = [
  { label: 'None', choice: { kind: 'none' } },
  ...settings.percentages.map((percent) => ({
    label: percentText.format(percent / 100),
    choice: { kind: 'percent', hundredths: Math.round(percent * 100) },
  })),
  { label: 'Other', choice: { kind: 'amount' } },
];

// ---- the two keypad views: the bill, and a tip of the guest's own ------------------------------

const entries = {
  bill: {
    caption: 'Bill',
    cancel: 'Cancel',
    done: 'Continue',
    key: 'bill',
    highest: () => settings.highestBill,
    mayFinish: () => state.bill > 0,
    finish: () => show('tip'),
    leave: () => cancel(),
  },
  ownTip: {
    caption: 'Tip',
    cancel: 'Back',
    done: 'Set tip',
    key: 'ownTip',
    // A tip above the bill is nearly always a slip of the finger.
    highest: () => state.bill,
    mayFinish: () => state.ownTip > 0,
    finish: () => {
      state.choice = { kind: 'amount', amount: state.ownTip };
      show('tip');
    },
    leave: () => show('tip'),
  },
};

function pressKey(key) {
  const entry = entries[state.view];
  const amount = state[entry.key];
  const next = key === 'delete' ? withoutLastKey(amount) : withKeys(amount, key, entry.highest());
  state.refused = next === null;
  if (next !== null) state[entry.key] = next;
  render();
}

// ---- changing the state ------------------------------------------------------------------------

function show(view) {
  state.view = view;
  state.refused = false;
  render();
}

function back() {
  if (state.view === 'ownTip') return show('tip');
  // A tip fixed for another bill may be above what this one allows.
  if (state.choice.kind === 'amount') state.choice = { kind: 'none' };
  state.ownTip = 0;
  show('bill');
}

function choose(choice) {
  if (choice.kind === 'amount') return show('ownTip');
  state.choice = choice;
  render();
}

function changePeople(difference) {
  state.people = Math.min(Math.max(state.people + difference, 1), settings.mostPeople);
  render();
}

function charge() {
  const result = settle(state);
  show('finish');
  wz.log(
    'notice',
    'Tip settled',
    `tip ${result.tip} of ${result.bill} ${money.currency}, ${state.people} people`,
  );
  wz.exit(kCharged, {
    outcome: 'charged',
    currency: money.currency,
    bill: String(result.bill),
    tip: String(result.tip),
    total: String(result.total),
    people: String(state.people),
    shares: result.shares.map((share) => `${share.count}x${share.amount}`).join(','),
  });
}

function cancel() {
  wz.log('info', 'Tip cancelled', `on the view "${state.view}"`);
  // What is touched until the terminal has closed the page counts no more.
  state.view = 'ended';
  document.body.inert = true;
  wz.exit(kCancelled, { outcome: 'cancelled' });
}

// ---- bringing the screen up to date ------------------------------------------------------------

function showAmount(element, minor) {
  const parts = money.parts(minor).map((part) => {
    const span = document.createElement('span');
    span.className = part.type;
    span.textContent = part.value;
    return span;
  });
  element.replaceChildren(...parts);
  element.classList.toggle('long', element.textContent.length > 9);
}

// No-break spaces keep a share in one piece where the line has to turn.
const sharesText = (shares) =>
  shares.map((share) => `${share.count}\u00a0×\u00a0${money.text(share.amount)}`).join(' + ');

function detailText(result) {
  if (result.tip === 0 && state.people === 1) return 'No tip yet';
  const tip = result.tip === 0 ? 'No tip' : `Tip\u00a0${money.text(result.tip)}`;
  return state.people === 1 ? tip : `${tip} · ${sharesText(result.shares)}`;
}

function renderEntry() {
  const entry = entries[state.view];
  byId('entry-caption').textContent = entry.caption;
  showAmount(byId('entry-amount'), state[entry.key]);
  byId('entry-amount').classList.toggle('empty', state[entry.key] === 0);
  byId('entry-hint').textContent = state.refused ? `${money.text(entry.highest())} at most` : '';
  byId('entry-cancel').textContent = entry.cancel;
  byId('entry-done').textContent = entry.done;
  byId('entry-done').disabled = !entry.mayFinish();
}

function renderTip() {
  const result = settle(state);
  showAmount(byId('total'), result.total);
  byId('detail').textContent = detailText(result);
  byId('people').textContent = state.people;
  byId('fewer').disabled = state.people === 1;
  byId('more').disabled = state.people === settings.mostPeople;
  byId('rounding-label').textContent = state.people === 1 ? 'Round up' : 'Round each';
  byId('rounding').disabled = chosenTip(state.bill, state.choice) === 0;
  byId('charge').textContent = `Charge ${money.text(result.total)}`;
  renderChoices();
  for (const input of byId('segments').querySelectorAll('input')) {
    input.checked = Number(input.value) === state.step;
  }
}

function renderChoices() {
  choices.forEach(({ choice }, index) => {
    const label = byId('choices').children[index];
    const checked = choice.kind === state.choice.kind && choice.hundredths === state.choice.hundredths;
    const unset = choice.kind === 'amount' && !checked;
    const tip = checked ? state.choice : choice;
    label.querySelector('input').checked = checked;
    label.querySelector('small').textContent = unset ? 'amount' : money.text(chosenTip(state.bill, tip));
  });
}

function renderFinish() {
  const result = settle(state);
  showAmount(byId('finish-amount'), result.total);
  byId('finish-detail').textContent = detailText(result);
}

const views = {
  bill: { element: 'entry', title: () => settings.shop, render: renderEntry },
  tip: { element: 'tip', title: () => `Bill ${money.text(state.bill)}`, render: renderTip },
  ownTip: { element: 'entry', title: () => `Bill ${money.text(state.bill)}`, render: renderEntry },
  finish: { element: 'finish', title: () => settings.shop, render: renderFinish },
};

function render() {
  const view = views[state.view];
  for (const element of document.querySelectorAll('.view')) element.hidden = element.id !== view.element;
  document.body.dataset.view = state.view;
  byId('title').textContent = view.title();
  byId('mark').hidden = state.view === 'tip' || state.view === 'ownTip';
  byId('back').hidden = !byId('mark').hidden;
  view.render();
}

// ---- parts of the page that depend on the settings ---------------------------------------------

function radioLabel(name, value, text) {
  const label = document.createElement('label');
  const input = Object.assign(document.createElement('input'), { type: 'radio', name, value });
  const caption = document.createElement('span');
  caption.textContent = text;
  label.append(input, caption);
  return label;
}

function buildChoices() {
  choices.forEach(({ label: text, choice }, index) => {
    const label = radioLabel('choice', index, text);
    label.append(document.createElement('small'));
    // A click, not a change: "Other" opens its keypad again when it is already chosen.
    label.querySelector('input').addEventListener('click', () => choose(choice));
    byId('choices').append(label);
  });
}

function buildSegments() {
  for (const step of steps) {
    const label = radioLabel('step', step, step === kExact ? 'Exact' : money.text(step));
    label.querySelector('input').addEventListener('change', () => {
      state.step = step;
      render();
    });
    byId('segments').append(label);
  }
}

const kFacts = [
  ['Serial number', (p) => p.wz_terminalSerialNo],
  ['Model', (p) => p.wz_terminalModel],
  ['Sponsor', (p) => p.wz_sponsorId],
  ['Application', (p) => p.wz_appId],
  ['Version', (p) => p.wz_appVersion],
  ['Currency', () => money.currency],
];

function buildFacts() {
  for (const [name, read] of kFacts) {
    const term = document.createElement('dt');
    const value = document.createElement('dd');
    term.textContent = name;
    value.textContent = read(wz.properties) || 'not known';
    byId('facts').append(term, value);
  }
}

// ---- touches and keys --------------------------------------------------------------------------

const kKeyActions = {
  Backspace: () => state.view in entries && pressKey('delete'),
  Enter: (event) => {
    if (event.target instanceof HTMLButtonElement) event.target.click();
    else if (state.view === 'tip') charge();
    else if (entries[state.view]?.mayFinish()) entries[state.view].finish();
  },
  Escape: () => {
    if (state.view === 'tip') back();
    else entries[state.view]?.leave();
  },
};

function onKey(event) {
  // A key that is held down does not walk through the views: the last step takes money.
  if (byId('sheet').open || (event.repeat && event.key !== 'Backspace')) return;
  if (/^[0-9]$/.test(event.key) && state.view in entries) {
    pressKey(event.key);
  } else if (event.key in kKeyActions) {
    event.preventDefault();
    kKeyActions[event.key](event);
  }
}

function listen() {
  byId('keypad').addEventListener('click', (event) => {
    const key = event.target.closest('[data-key]');
    if (key) pressKey(key.dataset.key);
  });
  byId('entry-done').addEventListener('click', () => entries[state.view].finish());
  byId('entry-cancel').addEventListener('click', () => entries[state.view].leave());
  byId('back').addEventListener('click', back);
  byId('fewer').addEventListener('click', () => changePeople(-1));
  byId('more').addEventListener('click', () => changePeople(1));
  byId('charge').addEventListener('click', charge);
  byId('tip-cancel').addEventListener('click', cancel);
  byId('info').addEventListener('click', () => byId('sheet').showModal());
  byId('sheet-close').addEventListener('click', () => byId('sheet').close());
  document.addEventListener('keydown', onKey);
  // A touched button does not keep the focus, so that the terminal's own Enter key always means the
  // main button. Whoever moves the focus with Tab presses what is focused.
  document.addEventListener('mousedown', (event) => {
    if (event.target.closest('button')) event.preventDefault();
  });
}

for (const problem of problems) wz.log('error', 'tip_1', 'Settings', problem);
wz.log('info', 'Tip started', state.bill > 0 ? 'with a bill from the till' : 'waiting for a bill');
buildChoices();
buildSegments();
buildFacts();
listen();
render();
if (wz.properties.demo === '1') playDemo();
