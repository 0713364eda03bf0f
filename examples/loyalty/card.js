// A customer has presented a card: who is it, how many points are there, and shall some be used now?

import { askDesk, byId, end, kDone, pointsText, settings, showPanel, showProgress } from './club.js';
import { rewardsAround } from './points.js';

const kRewardsShown = 3;

let chosen = null;

function finish(properties, title, text) {
  byId('finished-title').textContent = title;
  byId('finished-text').textContent = text;
  showPanel('finished');
  end(kDone, properties);
}

function choose(reward) {
  chosen = reward;
  byId('use').disabled = reward === null;
  byId('use').textContent = reward === null ? 'Use points' : `Use ${pointsText(reward.cost)}`;
}

function rewardLabel(reward) {
  const label = document.createElement('label');
  const input = Object.assign(document.createElement('input'), {
    type: 'radio',
    name: 'reward',
    value: reward.id,
    disabled: reward.missing > 0,
  });
  const title = document.createElement('span');
  const cost = document.createElement('small');
  title.textContent = reward.title;
  cost.textContent = reward.missing > 0 ? `${reward.missing} to go` : reward.cost;
  label.append(input, title, cost);
  input.addEventListener('click', () => {
    // A second touch takes the choice back.
    input.checked = chosen !== reward;
    choose(input.checked ? reward : null);
  });
  return label;
}

function showMember(member) {
  wz.log('info', 'Member found', pointsText(member.points));
  byId('name').textContent = `Hello ${member.name}`;
  byId('points').textContent = new Intl.NumberFormat(settings.locale).format(member.points);
  byId('points-word').textContent = member.points === 1 ? 'point' : 'points';
  showProgress(member.points, member.rewards);
  byId('rewards').replaceChildren(
    ...rewardsAround(member.points, member.rewards, kRewardsShown).map(rewardLabel),
  );
  byId('rewards').hidden = byId('use').hidden = member.rewards.length === 0;
  byId('no-rewards').hidden = member.rewards.length > 0;
  choose(null);
  showPanel('member');
}

byId('collect').addEventListener('click', () => {
  finish({ outcome: 'collect' }, 'Collecting', 'Your points come with the receipt.');
});
byId('use').addEventListener('click', () => {
  wz.log('notice', 'Reward used', `${chosen.id}, ${pointsText(chosen.cost)}`);
  finish(
    { outcome: 'reward', reward: chosen.id, points: String(chosen.cost) },
    chosen.title,
    `${pointsText(chosen.cost)} used. Enjoy it.`,
  );
});
byId('join').addEventListener('click', () => {
  finish({ outcome: 'join' }, 'Welcome', 'We’ll take your details at the counter.');
});
askDesk({
  member: showMember,
  stranger: () => showPanel('stranger'),
  comfort: 'Your points stay as they are.',
});
