// The hosts that play the programs around an application: on and off, slower, and wrong on purpose.

import { html, useEffect, useState } from '../base/html.js';
import { attempt, connection, useStore } from '../base/store.js';
import { upload } from '../base/connection.js';
import { count, wholeNumber } from '../base/format.js';
import { Badge, Button, Choose, Empty, Failure, Field, Icon, Switch } from '../parts/common.js';

const kFaults = [
  ['', 'none: answers as its file says'],
  ['silence', 'silence: no reply at all'],
  ['error', 'error: a reply that is an error'],
  ['malformed', 'malformed: a reply that is not JSON'],
];
const kExample = `{
  "address": "till",
  "rules": [
    { "name": "PAY", "delay": 300,
      "reply": { "paid": true } }
  ]
}`;
const kLongestDelay = 60000;

function Host({ host }) {
  const [delay, setDelay] = useState(String(host.delay ?? 0));
  useEffect(() => setDelay(String(host.delay ?? 0)), [host.delay]);
  const change = (members) => attempt('host', { host: host.host, on: host.on, delay: host.delay ?? 0, fault: host.fault ?? '', ...members });
  const number = wholeNumber(delay, 0, kLongestDelay);
  const settle = () => number !== null && number !== host.delay && change({ delay: number });
  return html`<li class="host"><div class="host-head"><${Switch} label=${host.name} on=${host.on} onChange=${(on) => change({ on })} />
      <div><p class="strong">${host.name}</p><p class="muted small-text">${(host.addresses ?? []).join(', ') || 'no address'}${host.rules ? `, ${host.rules} rules` : ''}</p></div>
      <span class="muted small-text host-tally">${count(host.asked ?? 0)} asked, ${count(host.answered ?? 0)} answered</span></div>
    ${host.error && html`<${Failure} title="It has ended" error=${host.error} />`}
    <div class="field-row"><${Field} label="Delay (ms)" error=${number === null ? `From 0 to ${kLongestDelay}.` : ''} make=${(id, hint) => html`<input id=${id} aria-describedby=${hint} class="mono" inputmode="numeric" value=${delay}
        onInput=${(event) => setDelay(event.target.value)} onBlur=${settle} onKeyDown=${(event) => event.key === 'Enter' && settle()} />`} />
      <${Field} label="Fault" make=${(id) => html`<select id=${id} value=${host.fault ?? ''} onChange=${(event) => change({ fault: event.target.value })}>
        ${kFaults.map(([value, name]) => html`<option key=${value} value=${value}>${name}</option>`)}</select>`} /></div>
    ${host.fault && html`<p class="note warn"><${Icon} name="warning" /> It answers wrongly on purpose: ${host.fault}.</p>`}</li>`;
}

export function Hosts() {
  const hosts = useStore((s) => s.hosts);
  const applications = useStore((s) => s.stamps.applications);
  const [offers, setOffers] = useState([]);
  const [text, setText] = useState('');
  const [writing, setWriting] = useState(false);
  const [error, setError] = useState('');
  useEffect(() => {
    connection.ask('hosts').then((answer) => setOffers(answer.offers ?? []), () => {});
  }, [hosts.length, applications]);
  const add = async (members) => {
    setError('');
    try {
      await connection.ask('host', { on: true, ...members });
      return true;
    } catch (problem) {
      setError(problem.message);
      return false;
    }
  };
  const take = async ([file]) => {
    try {
      const { upload: id } = await upload(file);
      await add({ upload: id });
    } catch (problem) {
      setError(problem.message);
    }
  };
  const playing = new Set(hosts.map((host) => host.path));
  const open = offers.filter((offer) => !playing.has(offer.path));
  return html`<div class="hosts">
    ${hosts.length === 0 && html`<${Empty} icon="host" title="No host plays"><p>A host file answers what applications send: the till, the printer, the loyalty service.</p><//>`}
    <ul class="host-list">${hosts.map((host) => html`<${Host} key=${host.host} host=${host} />`)}</ul>
    ${open.length > 0 && html`<h2 class="subhead">From application folders</h2><ul class="plain">${open.map((offer) => html`<li key=${offer.path} class="offer"><span>${offer.name} <span class="muted small-text">${offer.path}</span></span>
      <${Button} small icon="running" onClick=${() => add({ path: offer.path })}>Play<//></li>`)}</ul>`}
    <div class="actions"><${Choose} label="A host file …" accept=".json" small onFiles=${take} />
      <${Button} small icon="add" aria-expanded=${writing ? 'true' : 'false'} onClick=${() => { setWriting(!writing); if (!text) setText(kExample); }}>Write one<//></div>
    ${writing && html`<${Field} label="Host file" make=${(id) => html`<textarea id=${id} class="mono" rows="9" spellcheck="false" value=${text} onInput=${(event) => setText(event.target.value)}></textarea>`} />
      <${Button} kind="primary" small icon="running" onClick=${async () => (await add({ text })) && setWriting(false)}>Play it<//>`}
    ${error && html`<${Failure} title="It does not play" error=${error} />`}</div>`;
}
