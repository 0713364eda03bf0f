import assert from 'node:assert/strict';
import { describe, it } from 'node:test';

import {
  kAbsent,
  kLate,
  kMember,
  kStranger,
  kUnreadable,
  lookUpMember,
  readAnswer,
} from '../../examples/loyalty/desk.js';

const ines = { known: true, name: 'Ines', points: 184 };
const settings = { desk: 'oatmere-club', timeoutMs: 8000 };

describe('readAnswer', () => {
  it('fills in what a short answer leaves out', () => {
    assert.deepEqual(readAnswer(ines), {
      outcome: kMember,
      member: { name: 'Ines', points: 184, bonusPercent: 100, purchase: 0, rewards: [] },
    });
  });

  it('leaves out rewards that make no sense', () => {
    const coffee = { id: 'coffee', title: 'Filter coffee', cost: 60 };
    const answer = {
      ...ines,
      rewards: [null, 7, { id: 'x' }, { ...coffee, cost: 0 }, { ...coffee, cost: '60' }, coffee],
    };

    assert.deepEqual(readAnswer(answer).member.rewards, [coffee]);
  });

  it('knows a stranger', () => {
    assert.deepEqual(readAnswer({ known: false }), { outcome: kStranger });
  });

  for (const answer of [
    undefined,
    null,
    '',
    [],
    {},
    { known: 1 },
    { known: true },
    { ...ines, name: '' },
    { ...ines, points: -1 },
    { ...ines, points: 1.5 },
    { ...ines, points: '184' },
    { ...ines, bonusPercent: 'double' },
    { ...ines, purchase: -1 },
    { ...ines, rewards: {} },
  ]) {
    it(`cannot read ${JSON.stringify(answer)}`, () => {
      assert.deepEqual(readAnswer(answer), { outcome: kUnreadable });
    });
  }
});

describe('lookUpMember', () => {
  /** A terminal on which asking takes `waitedMs` and then ends as `settle` says. */
  function terminal(waitedMs, settle) {
    const asked = [];
    let now = 1000;
    const wz = {
      async notifyAndWait(...args) {
        asked.push(args);
        now += waitedMs;
        return settle();
      },
    };
    return { wz, asked, clock: () => now };
  }

  const refuse = () => {
    throw Object.assign(new Error('no reply'), { code: -11 });
  };

  it('asks the desk by the name that it knows, with a limit of time', async () => {
    const { wz, asked, clock } = terminal(20, () => ines);

    const answer = await lookUpMember(wz, settings, { card: 'c-17', amount: 0 }, clock);

    assert.deepEqual(asked, [
      ['oatmere-club', 'MEMBER_LOOKUP', { card: 'c-17', amount: 0 }, { timeout: 8000 }],
    ]);
    assert.equal(answer.outcome, kMember);
  });

  for (const [waitedMs, outcome] of [
    [0, kAbsent],
    [30, kAbsent],
    [7949, kAbsent],
    [7950, kLate],
    [8000, kLate],
    [9000, kLate],
  ]) {
    it(`takes a failure after ${waitedMs} ms for "${outcome}"`, async () => {
      const { wz, clock } = terminal(waitedMs, refuse);

      assert.deepEqual(await lookUpMember(wz, settings, {}, clock), { outcome, code: -11 });
    });
  }
});
