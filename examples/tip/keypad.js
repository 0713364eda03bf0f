// What the keys of the keypad make of an amount in the smallest unit of the currency.

/** The amount after the keys "0" to "9" or "00"; null when it would pass `highest`. */
export function withKeys(minor, keys, highest) {
  const next = Number(`${minor}${keys}`);
  return next <= highest ? next : null;
}

/** The amount without its last digit. */
export function withoutLastKey(minor) {
  return (minor - (minor % 10)) / 10;
}
