// The settings of the club and what is known about the customer in front of the terminal.

import { isCount, isCurrency, isLocale, isText, readObject, takeMembers } from './documents.js';

const kSettings = {
  shop: { otherwise: 'Loyalty', check: isText },
  locale: { otherwise: 'en', check: isLocale },
  currency: { otherwise: 'EUR', check: isCurrency },
  desk: { otherwise: 'loyalty-desk', check: isText },
  timeoutMs: { otherwise: 8000, check: (value) => isCount(value) && value <= 60000 },
  spendPerPoint: { otherwise: 100, check: isCount },
  campaign: { otherwise: null, check: (value) => isText(value?.text) && isText(value?.image) },
};

const kQuestion = {
  card: { otherwise: '', check: isText },
  amount: { otherwise: 0, check: isCount },
};

/**
 * @param {Record<string, string>} properties  the properties of the invocation
 * @returns the settings; the question for the club desk (`card` as the terminal read it, empty when the
 *          host gave none; `amount` of the purchase, 0 when the host gave none); what was wrong, as
 *          sentences for the log
 */
export function readSettings(properties) {
  const problems = [];
  const document = readObject(properties.wz_confApp, 'confApp.json', problems);
  const settings = takeMembers(document, 'confApp.json', kSettings, problems);
  const parameters = readObject(properties.wz_parameters, 'wz_parameters', problems);
  const question = takeMembers(parameters, 'wz_parameters', kQuestion, problems);
  return { settings, question, problems };
}
