// The conversation with the club desk, a program outside of this application that knows the members.
// It is asked by the notification MEMBER_LOOKUP and answers by MEMBER_LOOKUP_reply.

/** What came of asking. */
export const kMember = 'member'; // with `member`
export const kStranger = 'stranger'; // the desk does not know the card
export const kLate = 'late'; // the desk took too long
export const kAbsent = 'absent'; // nobody is there
export const kUnreadable = 'unreadable'; // the answer makes no sense

const isCount = (value) => Number.isSafeInteger(value) && value >= 0;
const isText = (value) => typeof value === 'string' && value.trim() !== '';

function readReward(reward) {
  const usable = isText(reward?.id) && isText(reward?.title) && isCount(reward?.cost) && reward.cost > 0;
  return usable ? [{ id: reward.id, title: reward.title, cost: reward.cost }] : [];
}

/** The desk's answer as one of the outcomes above. A reward that makes no sense is left out. */
export function readAnswer(reply) {
  if (reply?.known === false) return { outcome: kStranger };
  if (reply?.known !== true || !isText(reply.name) || !isCount(reply.points)) return { outcome: kUnreadable };
  const { name, points, bonusPercent = 100, purchase = 0, rewards = [] } = reply;
  if (!isCount(bonusPercent) || !isCount(purchase) || !Array.isArray(rewards))
    return { outcome: kUnreadable };
  return {
    outcome: kMember,
    member: { name, points, bonusPercent, purchase, rewards: rewards.flatMap(readReward) },
  };
}

/**
 * Asks the desk once.
 * @param wz        the terminal's script interface
 * @param settings  `desk` is the desk's address, `timeoutMs` how long it may take
 * @param question  what is known about the customer: `card` and `amount`
 * @param clock     milliseconds that only ever grow
 */
export async function lookUpMember(wz, settings, question, clock = () => performance.now()) {
  const { desk, timeoutMs } = settings;
  const start = clock();
  try {
    return readAnswer(await wz.notifyAndWait(desk, 'MEMBER_LOOKUP', question, { timeout: timeoutMs }));
  } catch (error) {
    // One code stands for a desk that is silent and for one that is not there, but word of the second
    // comes at once. The margin is for clocks that tick coarsely.
    const outcome = clock() - start >= timeoutMs - 50 ? kLate : kAbsent;
    return { outcome, code: error.code };
  }
}
