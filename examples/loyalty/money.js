// Amounts are whole numbers of the currency's smallest unit (cents for euros) from the keypad to the
// result. They turn into text here and nowhere else, so no sum ever meets a binary fraction.

/** `4250` with two digits reads "42.50": a decimal text made without a division. */
export function decimalText(minor, digits) {
  const sign = minor < 0 ? '-' : '';
  const text = String(Math.abs(minor)).padStart(digits + 1, '0');
  if (digits === 0) return sign + text;
  return `${sign}${text.slice(0, -digits)}.${text.slice(-digits)}`;
}

/**
 * The writer of one currency's amounts.
 * @param {string} locale    language tag, such as "en-IE"
 * @param {string} currency  ISO 4217 code; it also settles how many digits stand behind the point
 */
export function moneyFormat(locale, currency) {
  const formatter = new Intl.NumberFormat(locale, { style: 'currency', currency });
  const digits = formatter.resolvedOptions().maximumFractionDigits;
  return {
    currency,
    digits,
    text: (minor) => formatter.format(decimalText(minor, digits)),
    parts: (minor) => formatter.formatToParts(decimalText(minor, digits)),
  };
}
