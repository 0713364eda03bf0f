// @ts-check
/// <reference path=".wz/wz.d.ts" />

// A till for a handful of things: press what is sold, charge the sum. What there is to sell stands in
// confApp.json. Amounts are whole numbers of the currency's smallest unit.

/** @typedef {{ name: string, price: number }} Item */
/** @typedef {{ currency: string, decimals: number, items: Item[] }} Settings */

/** @returns {Settings} */
function readSettings() {
  try {
    const settings = JSON.parse(wz.properties.wz_confApp ?? '');
    if (Array.isArray(settings.items)) return settings;
    wz.log('error', 'SETTINGS', 'confApp.json', 'names no items');
  } catch (error) {
    wz.log('error', 'SETTINGS', 'confApp.json', String(error));
  }
  return { currency: '', decimals: 2, items: [] };
}

/** @param {string} id */
const element = (id) => /** @type {HTMLElement} */ (document.getElementById(id));
/** @param {string} id */
const button = (id) => /** @type {HTMLButtonElement} */ (document.getElementById(id));

const settings = readSettings();
/** How often each item has been chosen. @type {Map<Item, number>} */
const chosen = new Map();

/** @param {number} amount */
function money(amount) {
  const text = (amount / 10 ** settings.decimals).toFixed(settings.decimals);
  return `${text} ${settings.currency}`.trim();
}

/** @param {Item} item */
function makeButton(item) {
  const result = document.createElement('button');
  result.type = 'button';
  result.className = 'item';
  for (const [part, text] of [['name', item.name], ['price', money(item.price)], ['badge', '']]) {
    const span = document.createElement('span');
    span.className = part;
    span.textContent = text;
    result.append(span);
  }
  result.addEventListener('click', () => {
    chosen.set(item, (chosen.get(item) ?? 0) + 1);
    show();
  });
  return result;
}

const buttons = new Map(settings.items.map((item) => [item, makeButton(item)]));

function sum() {
  let total = 0;
  let count = 0;
  for (const [item, times] of chosen) {
    total += times * item.price;
    count += times;
  }
  return { total, count };
}

function show() {
  for (const [item, itemButton] of buttons) {
    const times = chosen.get(item) ?? 0;
    const badge = /** @type {HTMLElement} */ (itemButton.querySelector('.badge'));
    badge.textContent = String(times);
    badge.hidden = times === 0;
    itemButton.classList.toggle('chosen', times > 0);
  }
  const { total, count } = sum();
  element('count').textContent =
    count === 0 ? 'Nothing chosen' : count === 1 ? '1 thing' : `${count} things`;
  button('charge').textContent = count === 0 ? 'Charge' : `Charge ${money(total)}`;
  button('charge').disabled = count === 0;
  button('clear').disabled = count === 0;
}

button('clear').addEventListener('click', () => {
  chosen.clear();
  show();
});

button('charge').addEventListener('click', async () => {
  const { total, count } = sum();
  wz.log('info', 'Charged', money(total));
  // Whoever keeps the books hears of it; `wz host host.json` plays them.
  await wz.notify('books', 'SOLD', { total, count });
  wz.exit(0, { total: String(total), count: String(count) });
});

// The terminal's Cancel key ends the application without a sale.
document.addEventListener('keydown', (event) => {
  if (event.key === 'Escape') wz.exit(1);
});

element('items').append(...buttons.values());
show();
