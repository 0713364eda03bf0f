// The settings of the tip calculator and the bill, if the till knows it already.

import { isCount, isCurrency, isLocale, isText, readObject, takeMembers } from './documents.js';

const isPercentage = (value) => typeof value === 'number' && value > 0 && value <= 100;

const kSettings = {
  shop: { otherwise: 'Tip', check: isText },
  locale: { otherwise: 'en', check: isLocale },
  currency: { otherwise: 'EUR', check: isCurrency },
  // Four, because the page has six fields: none, these, and an amount of one's own.
  percentages: {
    otherwise: [5, 10, 15, 20],
    check: (value) => Array.isArray(value) && value.length === 4 && value.every(isPercentage),
  },
  // The highest figure is what the display has room for.
  highestBill: { otherwise: 999999, check: (value) => isCount(value) && value <= 99999999 },
  mostPeople: { otherwise: 12, check: (value) => isCount(value) && value <= 99 },
};

/**
 * @param {Record<string, string>} properties  the properties of the invocation
 * @returns the settings; the bill, 0 when the host gave none; what was wrong, as sentences for the log
 */
export function readSettings(properties) {
  const problems = [];
  const document = readObject(properties.wz_confApp, 'confApp.json', problems);
  const settings = takeMembers(document, 'confApp.json', kSettings, problems);

  const isBill = (value) => isCount(value) && value <= settings.highestBill;
  const parameters = readObject(properties.wz_parameters, 'wz_parameters', problems);
  const { amount } = takeMembers(
    parameters,
    'wz_parameters',
    { amount: { otherwise: 0, check: isBill } },
    problems,
  );
  return { settings, bill: amount, problems };
}
