// The bus: every message with its reply; what plays the programs around an application; and a form to send.

import { html, useLatest, useMemo, useState } from '../base/html.js';
import { applicationsOf, attempt, connection, store, toast, useStore } from '../base/store.js';
import { address, refine, useRoute } from '../base/router.js';
import { clock, count, counted, oneLine, took } from '../base/format.js';
import { hasWords, wordsOf } from '../base/story.js';
import { Badge, bringIntoSight, Button, Choice, Empty, Facts, Failure, Field, Icon, Json, Search, Tabs } from '../parts/common.js';
import { VirtualList } from '../parts/virtual_list.js';
import { Hosts } from './hosts.js';

const kStates = {
  answered: (row) => row.reply !== null,
  open: (row) => row.reply === null && row.kind !== 'bus-reply',
  failed: (row) => row.failed || row.severity === 'error',
};

/** Messages that fit the filters of the address. */
export function filtered(messages, { q, state, from, to }) {
  const words = wordsOf(q);
  const wanted = kStates[state];
  return messages.filter((row) => (!wanted || wanted(row)) && (!from || row.line.from === from) && (!to || row.line.to === to) && hasWords(row, words));
}

function MessageRow({ row }) {
  const { line, reply } = row;
  return html`<span class="cell time">${clock(row.at)}</span><span class="cell way">${line.from} → ${line.to}</span><span class="cell name">${line.name}</span>
    <span class="cell text mono">${oneLine(line.payload)}</span>
    <span class="cell reply mono">${reply ? html`${reply.line.kind === 'error' ? html`<${Icon} name="error" size=${12} title="error" />` : html`<span class="muted">↩</span>`} ${oneLine(reply.line.payload)}` : row.kind === 'bus-reply' ? html`<span class="muted">reply</span>` : html`<span class="muted">no reply</span>`}</span>
    <span class="cell took">${reply ? took(row.took) : ''}</span>`;
}

function MessageDetails({ row, onAgain }) {
  const { line, reply } = row;
  const cause = row.cause && store.story.at(row.cause);
  return html`<div class="message-details"><div class="section-head"><h2>${line.name}</h2>${reply && html`<${Badge} state=${reply.line.kind === 'error' ? 'error' : 'done'}>${took(row.took)}<//>`}</div>
    <${Facts} facts=${[['From', line.from], ['To', line.to], ['At', clock(row.at)], ['Serial', line.serial],
      ['Cause', cause ? html`<a href=${address('story', '', { at: cause.sequence })}><${Icon} name="cause" size=${13} /> ${cause.source}: ${cause.title}</a>` : 'not known'],
      ['In the story', html`<a href=${address('story', '', { at: row.sequence })}>message ${row.sequence}</a>`]]} />
    <h3>Parameters</h3><${Json} value=${line.payload} label="Parameters" />
    <h3>Reply</h3>${reply ? html`<p class="muted small-text">from ${reply.line.from} at ${clock(reply.at)}</p><${Json} value=${reply.line.payload} label="Reply" />` : html`<p class="muted">No reply so far.</p>`}
    <div class="actions"><${Button} small icon="send" onClick=${() => onAgain(row)}>Send it again …<//></div></div>`;
}

function SendForm({ draft, setDraft }) {
  const [answer, setAnswer] = useState(null);
  const [sending, setSending] = useState(false);
  const set = (members) => setDraft({ ...draft, ...members });
  const messages = store.story.messages;
  const known = (pick) => [...new Set(messages.slice(-500).map(pick))].slice(0, 30);
  let wrong = '';
  try {
    JSON.parse(draft.payload || '{}');
  } catch (problem) {
    wrong = problem.message;
  }
  const send = async (event) => {
    event.preventDefault();
    setSending(true);
    try {
      const result = await connection.ask('notify', { to: draft.to, name: draft.name, payload: JSON.parse(draft.payload || '{}'), from: draft.from || undefined, reply: draft.reply });
      const document = result.document ?? result;
      setAnswer(document.ok === false ? { error: document.diagnostics?.[0]?.message ?? 'There was no reply.' } : { value: document.result?.reply ?? null, waited: draft.reply });
    } catch (problem) {
      setAnswer({ error: problem.message });
    }
    setSending(false);
  };
  const text = (label, member, placeholder, list) => html`<${Field} label=${label} make=${(id) => html`<input id=${id} class="mono" placeholder=${placeholder} value=${draft[member]} list=${list && `${id}-list`}
    required=${member === 'to' || member === 'name'} onInput=${(event) => set({ [member]: event.target.value })} />${list && html`<datalist id="${id}-list">${list.map((one) => html`<option value=${one} />`)}</datalist>`}`} />`;
  return html`<form class="send-form" onSubmit=${send} aria-label="Send a notification">
    <div class="field-row">${text('To', 'to', 'till', known((row) => row.line.to))}${text('Name', 'name', 'PAY', known((row) => row.line.name))}${text('From', 'from', 'wz')}</div>
    <${Field} label="Parameters (JSON)" error=${wrong} make=${(id, hint) => html`<textarea id=${id} class="mono" rows="5" spellcheck="false" aria-describedby=${hint} value=${draft.payload} onInput=${(event) => set({ payload: event.target.value })}></textarea>`} />
    <label class="check"><input type="checkbox" checked=${draft.reply} onChange=${(event) => set({ reply: event.target.checked })} /> Wait for a reply</label>
    <button class="button primary" type="submit" disabled=${sending || wrong !== ''}><${Icon} name="send" /><span>${sending ? 'Waiting …' : 'Send'}</span></button>
    ${answer?.error && html`<${Failure} title="No reply" error=${answer.error} />`}
    ${answer && !answer.error && (answer.waited ? html`<h3>Reply</h3><${Json} value=${answer.value} label="Reply" />` : html`<p class="note good" role="status"><${Icon} name="done" /> It was sent.</p>`)}</form>`;
}

const kNoDraft = { to: '', name: '', from: '', payload: '{}', reply: true };

export default function BusView() {
  const { query } = useRoute();
  const version = useStore((s) => s.storyVersion);
  const hosts = useStore((s) => s.hosts);
  const [draft, setDraft] = useState(kNoDraft);
  const { messages } = store.story;
  const shown = useMemo(() => filtered(messages, query), [version, query.q, query.state, query.from, query.to]);
  const list = useLatest(shown);
  const at = query.at === undefined ? undefined : Number(query.at);
  const row = at === undefined ? null : messages.find((one) => one.sequence === at || one.reply?.sequence === at);
  const side = query.side ?? (row ? 'message' : 'hosts');
  const again = (message) => {
    setDraft({ to: message.line.to, name: message.line.name, from: message.line.from, payload: JSON.stringify(message.line.payload ?? {}, null, 2), reply: message.reply !== null });
    refine({ side: 'send' });
  };
  const narrowed = query.q || query.state || query.from || query.to;
  const running = hosts.filter((host) => host.on).length;
  return html`<div class="view bus-view"><h1 class="hidden-text">Bus</h1>
    <section class="bus-main" aria-label="Messages"><div class="toolbar"><${Search} label="Search messages" value=${query.q ?? ''} onInput=${(q) => refine({ q })} />
        <${Choice} label="Which messages" value=${query.state ?? ''} onChange=${(state) => refine({ state })}
          options=${[['', 'All'], ['answered', 'Answered'], ['open', 'No reply'], ['failed', 'Errors']]} />
        ${(query.from || query.to) && html`<${Button} small icon="cancel" onClick=${() => refine({ from: '', to: '' })}>${query.from ? `from ${query.from}` : `to ${query.to}`}<//>`}
        <span class="muted tally" role="status">${narrowed ? `${count(shown.length)} of ${count(messages.length)}` : counted(messages.length, 'message')}</span></div>
      <div class="columns bus-columns" aria-hidden="true"><span>Time</span><span>From → to</span><span>Name</span><span>Parameters</span><span>Reply</span><span>Took</span></div>
      <${VirtualList} label="Messages" list=${list} keyOf=${(one) => one.sequence} selected=${row?.sequence} follows onSelect=${(one) => refine({ at: one.sequence, side: 'message' })} onPress=${() => bringIntoSight('.bus-side')}
        empty=${messages.length === 0 ? html`<${Empty} icon="bus" title="No message has been sent yet"><p>Start an application that talks to its host, or send one yourself.</p><//>`
          : html`<${Empty} icon="search" title="No message fits"><${Button} small onClick=${() => refine({ q: '', state: '', from: '', to: '' })}>Show all ${count(messages.length)}<//><//>`}
        row=${(one) => html`<${MessageRow} row=${one} />`} /></section>
    <section class="bus-side" aria-label="Message, send, hosts"><${Tabs} label="Beside the messages" panel="bus-side" value=${side} onChange=${(id) => refine({ side: id })}
        tabs=${[['message', 'Message'], ['send', 'Send'], ['hosts', 'Hosts', running > 0 && html`<span class="pill">${running} on</span>`]]} />
      <div id="bus-side" class="side-panel" role="tabpanel" aria-labelledby="tab-bus-side-${side}" tabindex="0">
        ${side === 'message' && (row ? html`<${MessageDetails} key=${row.sequence} row=${row} onAgain=${again} />` : html`<${Empty} icon="bus" title="Choose a message"><p>Its parameters, its reply and its cause stand here.</p><//>`)}
        ${side === 'send' && html`<${SendForm} draft=${draft} setDraft=${setDraft} />`}
        ${side === 'hosts' && html`<${Hosts} />`}</div></section></div>`;
}
