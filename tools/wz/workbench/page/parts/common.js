// The small parts that views are made of.

import { html, useEffect, useId, useRef, useState } from '../base/html.js';
import { Icon } from './icons.js';
import { pretty } from '../base/format.js';
import { connection } from '../base/store.js';
import { useAnswer } from '../base/load.js';

export { Icon };

/** A button with a sign and a word. kind: "", "primary", "danger", "quiet". */
export function Button({ icon, kind = '', children, small, ...more }) {
  return html`<button type="button" class="button ${kind} ${small ? 'small' : ''}" ...${more}>
    ${icon && html`<${Icon} name=${icon} />`}${children && html`<span>${children}</span>`}</button>`;
}

const kStates = {
  done: ['done', 'good'],
  running: ['running', 'good'],
  ended: ['ended', 'calm'],
  starting: ['again', 'calm'],
  error: ['error', 'bad'],
  warning: ['warning', 'warn'],
  calm: ['idle', 'calm'],
};

/** A state by sign, word and colour. */
export function Badge({ state, children }) {
  const [icon, tone] = kStates[state] ?? kStates.calm;
  return html`<span class="badge ${tone}"><${Icon} name=${icon} size=${12} /><span>${children}</span></span>`;
}

/** What stands where nothing is: a sign, a sentence, and what to do. */
export function Empty({ icon, title, children }) {
  return html`<div class="empty"><${Icon} name=${icon} size=${28} /><p class="empty-title">${title}</p>
    ${children && html`<div class="empty-more">${children}</div>`}</div>`;
}

export function Loading({ what }) {
  return html`<div class="loading" role="status"><span class="loading-bar"></span><span class="loading-bar short"></span>
    <span class="loading-bar"></span><span class="hidden-text">${what} …</span></div>`;
}

export function Failure({ error, again, title = 'That did not work' }) {
  return html`<div class="failure" role="alert"><${Icon} name="error" /><div><p class="strong">${title}</p><p>${error}</p>
    ${again && html`<${Button} small icon="again" onClick=${again}>Try again<//>`}</div></div>`;
}

/** What an answer holds, or the state that it is in. */
export function Answer({ answer, what, children }) {
  if (answer.state === 'loading') return html`<${Loading} what=${what} />`;
  if (answer.state === 'failed') return html`<${Failure} error=${answer.error} again=${answer.again} />`;
  return children(answer.value);
}

/** A label above a field. `make(id)` draws the field. */
export function Field({ label, hint, error, make, wide }) {
  const id = useId();
  return html`<div class="field ${wide ? 'wide' : ''}"><label for=${id}>${label}</label>${make(id, hint || error ? `${id}-hint` : undefined)}
    ${(hint || error) && html`<p id="${id}-hint" class="hint ${error ? 'bad-text' : ''}">${error && html`<${Icon} name="warning" size=${12} /> `}${error || hint}</p>`}</div>`;
}

export function Search({ label, value, onInput, hold = false }) {
  return html`<div class="search"><${Icon} name="search" /><input type="search" aria-label=${label} placeholder=${label} value=${value}
    data-search onInput=${(event) => onInput(event.target.value)} autofocus=${hold} /></div>`;
}

/** A choice of a few: buttons of which one is pressed. */
export function Choice({ label, options, value, onChange }) {
  return html`<div class="choice" role="group" aria-label=${label}>${options.map(([id, name, icon]) => html`
    <button type="button" key=${id} aria-pressed=${value === id ? 'true' : 'false'} onClick=${() => onChange(id)}>
      ${icon && html`<${Icon} name=${icon} size=${14} />`}<span>${name}</span></button>`)}</div>`;
}

/** Tabs, with the arrow keys between them. */
export function Tabs({ label, tabs, value, onChange, panel }) {
  const list = useRef(null);
  const move = (event) => {
    const step = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
    if (!step) return;
    event.preventDefault();
    const at = tabs.findIndex(([id]) => id === value);
    const next = tabs[(at + step + tabs.length) % tabs.length][0];
    onChange(next);
    requestAnimationFrame(() => list.current?.querySelector('[aria-selected=true]')?.focus());
  };
  return html`<div class="tabs" role="tablist" aria-label=${label} ref=${list} onKeyDown=${move}>${tabs.map(([id, name, extra]) => html`
    <button type="button" key=${id} role="tab" id="tab-${panel}-${id}" aria-controls=${value === id ? panel : undefined}
      aria-selected=${value === id ? 'true' : 'false'} tabindex=${value === id ? 0 : -1} onClick=${() => onChange(id)}>
      <span>${name}</span>${extra}</button>`)}</div>`;
}

export function Switch({ label, on, onChange, ...more }) {
  return html`<button type="button" class="switch" role="switch" aria-checked=${on ? 'true' : 'false'} aria-label=${label}
    onClick=${() => onChange(!on)} ...${more}><span class="switch-track"><span class="switch-thumb"></span></span>
    <span class="switch-word">${on ? 'on' : 'off'}</span></button>`;
}

/** A JSON value with its parts told apart by weight and colour. Large ones are cut. */
export function Json({ value, label = 'JSON' }) {
  const kMost = 60000;
  const text = pretty(value) ?? '';
  if (value === undefined) return html`<p class="muted">none</p>`;
  const shown = text.length > kMost ? text.slice(0, kMost) : text;
  const pieces = shown.split(/("(?:[^"\\]|\\.)*"(?:\s*:)?)/);
  return html`<pre class="json" tabindex="0" role="region" aria-label=${label}>${pieces.map((piece) =>
    piece.startsWith('"') ? html`<span class=${piece.endsWith(':') ? 'json-name' : 'json-text'}>${piece}</span>` : piece)}${
    text.length > kMost ? '\n…' : ''}</pre>`;
}

/** Names and values. */
export function Facts({ facts }) {
  return html`<dl class="facts">${facts.filter(([, value]) => value !== undefined && value !== null && value !== '' && value !== false)
    .map(([name, value]) => html`<div key=${name}><dt>${name}</dt><dd>${value}</dd></div>`)}</dl>`;
}

/** A dialogue over the page; the browser keeps the focus in it. */
export function Dialog({ title, onClose, children, actions }) {
  const box = useRef(null);
  useEffect(() => {
    const dialog = box.current;
    dialog.showModal();
    return () => dialog.close();
  }, []);
  const id = useId();
  return html`<dialog ref=${box} aria-labelledby=${id} onCancel=${(event) => { event.preventDefault(); onClose(); }}
      onClick=${(event) => event.target === box.current && onClose()}>
    <div class="dialog-body"><header><h2 id=${id}>${title}</h2><${Button} kind="quiet" icon="cancel" aria-label="Close" onClick=${onClose} /></header>
      ${children}<footer>${actions}</footer></div></dialog>`;
}

const explained = new Map(); // by code: a promise of what wz explain says of it

function explain(code) {
  if (!explained.has(code)) {
    const answer = connection.wz('explain', { text: code }).then((document) => document.result?.codes?.[0] ?? null);
    answer.catch(() => explained.delete(code));
    explained.set(code, answer);
  }
  return explained.get(code);
}

/** What a code means: rule, causes, repair. */
export function Explanation({ code }) {
  const answer = useAnswer(() => explain(code), [code]);
  return html`<${Answer} answer=${answer} what="The explanation is looked up">${(found) => !found
    ? html`<p class="muted">No explanation of ${code} is known.</p>`
    : html`<div class="explanation"><p class="strong">${found.title} <span class="code">${found.code}</span></p><p>${found.rule}</p>
      ${found.causes && html`<p><span class="label">Causes</span> ${found.causes}</p>`}
      <p><span class="label">Repair</span> ${found.repair}</p>${found.command && html`<p><code>${found.command}</code></p>`}</div>`}<//>`;
}

/** A code that tells what it means when it is pressed. */
export function Code({ code }) {
  const [open, setOpen] = useState(false);
  if (!code) return null;
  return html`<button type="button" class="code-button" aria-label="Explain ${code}" onClick=${() => setOpen(true)}>${code}</button>
    ${open && html`<${Dialog} title=${code} onClose=${() => setOpen(false)}
      actions=${html`<${Button} kind="primary" onClick=${() => setOpen(false)}>Close<//>`}><${Explanation} code=${code} /><//>`}`;
}

/** Where a page is too narrow for columns: scrolls to what has changed. */
export function bringIntoSight(selector) {
  if (!matchMedia('(max-width: 760px)').matches) return;
  requestAnimationFrame(() => document.querySelector(selector)?.scrollIntoView({ block: 'start' }));
}

/** Offers a text as a file. */
export function save(name, text, type = 'application/json') {
  const url = URL.createObjectURL(new Blob([text], { type }));
  const link = Object.assign(document.createElement('a'), { href: url, download: name });
  link.click();
  setTimeout(() => URL.revokeObjectURL(url), 1000);
}

/** A button that lets files be chosen. */
export function Choose({ label, icon = 'open', accept, multiple, kind, onFiles, small }) {
  const input = useRef(null);
  return html`<input ref=${input} class="hidden-text" type="file" accept=${accept} multiple=${multiple} tabindex="-1" aria-label=${label}
      onChange=${(event) => { onFiles([...event.target.files]); event.target.value = ''; }} />
    <${Button} kind=${kind} small=${small} icon=${icon} onClick=${() => input.current.click()}>${label}<//>`;
}
