import assert from 'node:assert/strict';
import { describe, it } from 'node:test';

import { decimalText, moneyFormat } from '../../examples/tip/money.js';

/** The kind of space differs between versions of the locale data. */
const plain = (text) => text.replace(/\s/g, ' ');

describe('decimalText', () => {
  for (const [minor, digits, text] of [
    [0, 2, '0.00'],
    [5, 2, '0.05'],
    [99, 2, '0.99'],
    [100, 2, '1.00'],
    [4250, 2, '42.50'],
    [-1, 2, '-0.01'],
    [-4250, 2, '-42.50'],
    [4250, 0, '4250'],
    [-7, 0, '-7'],
    [1234, 3, '1.234'],
    [Number.MAX_SAFE_INTEGER, 2, '90071992547409.91'],
  ]) {
    it(`writes ${minor} with ${digits} digits as ${text}`, () => {
      assert.equal(decimalText(minor, digits), text);
    });
  }
});

describe('moneyFormat', () => {
  it('takes the digits from the currency', () => {
    const digits = ['EUR', 'JPY', 'KWD'].map((currency) => moneyFormat('en', currency).digits);

    assert.deepEqual(digits, [2, 0, 3]);
  });

  it('writes an amount as the locale does', () => {
    assert.equal(moneyFormat('en-IE', 'EUR').text(123450), '€1,234.50');
    assert.equal(plain(moneyFormat('de-DE', 'EUR').text(123450)), '1.234,50 €');
    assert.equal(moneyFormat('en-US', 'JPY').text(4250), '¥4,250');
  });

  it('loses no cent of any amount that the keypad can enter', () => {
    const money = moneyFormat('en-US', 'USD');
    for (let minor = 0; minor <= 99999999; minor += 9973) {
      assert.equal(Number(money.text(minor).replace(/[^0-9]/g, '')), minor);
    }
  });

  it('names the parts, so that the page can set them in sizes of their own', () => {
    const types = moneyFormat('en-IE', 'EUR')
      .parts(4250)
      .map((part) => part.type);

    assert.deepEqual(types, ['currency', 'integer', 'decimal', 'fraction']);
  });
});
