import assert from 'node:assert/strict';
import { describe, it } from 'node:test';

import { withKeys, withoutLastKey } from '../../examples/tip/keypad.js';

describe('withKeys', () => {
  for (const [minor, keys, next] of [
    [0, '0', 0],
    [0, '00', 0],
    [0, '7', 7],
    [4, '2', 42],
    [42, '00', 4200],
    [99999, '9', 999999],
    [99999, '00', null],
    [100000, '0', null],
  ]) {
    it(`makes ${next} of ${minor} and the key ${keys}`, () => {
      assert.equal(withKeys(minor, keys, 999999), next);
    });
  }

  it('lets the limit itself through', () => {
    assert.equal(withKeys(425, '0', 4250), 4250);
    assert.equal(withKeys(425, '1', 4250), null);
  });
});

describe('withoutLastKey', () => {
  for (const [minor, next] of [
    [0, 0],
    [7, 0],
    [42, 4],
    [4250, 425],
    [999999, 99999],
  ]) {
    it(`makes ${next} of ${minor}`, () => {
      assert.equal(withoutLastKey(minor), next);
    });
  }
});
