// The page of the workbench: a rail of views, the state of the connection, and the view of the address.

import { html, render, useEffect, useState } from './base/html.js';
import { attempt, dismiss, store, useStore } from './base/store.js';
import { address, go, here, useRoute } from './base/router.js';
import { count } from './base/format.js';
import { useAnswer } from './base/load.js';
import { Answer, Button, Empty, Icon } from './parts/common.js';

// In the order of Alt+1 to Alt+7. The second name is for narrow pages. A view comes when it is first shown, so that
// the first does not wait for all of them.
const kViews = [
  ['terminal', 'Terminal', 'Terminal', () => import('./views/terminal.js')],
  ['applications', 'Applications', 'Apps', () => import('./views/applications.js')],
  ['install', 'Install', 'Install', () => import('./views/install.js')],
  ['bus', 'Bus', 'Bus', () => import('./views/bus.js')],
  ['story', 'Story', 'Story', () => import('./views/story.js')],
  ['files', 'Files and logs', 'Files', () => import('./views/files.js')],
  ['health', 'Health', 'Health', () => import('./views/health.js')],
];
const components = new Map(); // of the views that have come

async function fetchView([id, , , load]) {
  if (components.has(id)) return;
  try {
    components.set(id, (await load()).default);
  } catch {
    throw new Error('The workbench does not answer, and this view had not come yet.');
  }
}

const kTheme = 'wz-workbench-theme';
const kThemes = { '': 'light', light: 'dark', dark: '' }; // and which comes next
const kThemeNames = { '': 'Auto', light: 'Light', dark: 'Dark' };

function useTheme() {
  const [theme, setTheme] = useState(() => localStorage.getItem(kTheme) ?? '');
  useEffect(() => {
    document.documentElement.dataset.theme = theme;
    localStorage.setItem(kTheme, theme);
  }, [theme]);
  return [theme, () => setTheme(kThemes[theme] ?? '')];
}

function Counts({ view }) {
  const runs = useStore((s) => s.runs.filter((run) => run.state !== 'ended').length);
  const messages = useStore((s) => s.story.messages.length);
  const n = { terminal: runs, bus: messages }[view] ?? 0;
  return n > 0 ? html`<span class="nav-count">${count(n)}<span class="hidden-text"> ${view === 'bus' ? 'messages' : 'running'}</span></span>` : null;
}

function LinkState() {
  const link = useStore((s) => s.link);
  const [, tick] = useState(0);
  useEffect(() => {
    if (link.state !== 'lost') return undefined;
    const timer = setInterval(() => tick((n) => n + 1), 500);
    return () => clearInterval(timer);
  }, [link.state]);
  const seconds = Math.max(0, Math.ceil(((link.retryAt ?? 0) - Date.now()) / 1000));
  const [icon, word] = { open: ['done', 'Connected'], connecting: ['again', 'Connecting …'], lost: ['warning', `Lost; again in ${seconds} s`] }[link.state];
  return html`<p class="link-state ${link.state}" role="status"><${Icon} name=${icon} size=${13} /><span>${word}</span></p>`;
}

function Rail({ view }) {
  const terminal = useStore((s) => s.terminal);
  const [theme, nextTheme] = useTheme();
  return html`<header class="rail"><a class="brand" href="#/terminal"><span class="brand-mark"><${Icon} name="terminal" size=${20} /></span><span class="brand-text"><strong>${terminal?.modelName ?? 'Workbench'}</strong>
      <span class="muted">${terminal ? terminal.serial || 'no serial number' : 'wz workbench'}</span></span></a>
    <nav aria-label="Views"><ul>${kViews.map(([id, name, short]) => html`<li key=${id}><a href=${address(id)} aria-current=${view === id ? 'page' : undefined}>
      <${Icon} name=${id} size=${18} /><span class="long-name">${name}</span><span class="short-name">${short}</span><${Counts} view=${id} /></a></li>`)}</ul></nav>
    <div class="rail-end"><${LinkState} /><${Button} kind="quiet" small icon="light" onClick=${nextTheme} aria-label="${kThemeNames[theme]} colours" title="Colours of the page">${kThemeNames[theme]}<//></div></header>`;
}

function Banners() {
  const link = useStore((s) => s.link.state);
  const bus = useStore((s) => s.bus);
  return html`<div class="banners">${link === 'lost' && html`<p class="banner bad" role="alert"><${Icon} name="warning" /> The workbench does not answer. What is shown is what was seen last; it goes on by itself when the connection is back. A workbench that was started anew prints an address of its own.</p>`}
    ${bus === 'down' && html`<p class="banner bad" role="alert"><${Icon} name="error" /> The message bus has ended. Applications get no replies. <${Button} small icon="again" onClick=${() => attempt('bus', {})}>Start it again<//></p>`}</div>`;
}

function Toasts() {
  const toasts = useStore((s) => s.toasts);
  return html`<div class="toasts" role="status" aria-live="polite">${toasts.map((one) => html`<div key=${one.id} class="toast ${one.kind}"><${Icon} name=${one.kind} /><span>${one.text}${one.href && html` <a href=${one.href} target="_blank" rel="noopener">${one.link}</a>`}</span>
    <${Button} kind="quiet" small icon="cancel" aria-label="Close" onClick=${() => dismiss(one.id)} /></div>`)}</div>`;
}

function View({ found }) {
  const [id, name] = found;
  const open = useStore((s) => s.link.state === 'open');
  const answer = useAnswer(() => fetchView(found), [open]);
  const Component = components.get(id);
  return Component ? html`<${Component} />` : html`<div class="view"><${Answer} answer=${answer} what=${name} /></div>`;
}

function Page() {
  const { view } = useRoute();
  const found = kViews.find(([id]) => id === view);
  useEffect(() => {
    document.title = `${found?.[1] ?? 'Not here'} – wz workbench`;
  }, [view]);
  return html`<a class="skip" href="#view" onClick=${(event) => { event.preventDefault(); document.getElementById('view').focus(); }}>To the view</a><${Rail} view=${view} />
    <main id="view" tabindex="-1"><${Banners} />${found ? html`<${View} key=${view} found=${found} />` : html`<div class="view"><${Empty} icon="help" title="There is no view “${view}”"><p><a href="#/terminal">The terminal</a></p><//></div>`}</main><${Toasts} />`;
}

/** Alt and a digit choose a view; the slash goes to its search. */
function shortcuts(event) {
  if (event.altKey && !event.ctrlKey && /^Digit[1-7]$/.test(event.code)) {
    event.preventDefault();
    go(kViews[Number(event.code.slice(5)) - 1][0]);
    return;
  }
  if (event.key !== '/' || event.target.closest?.('input, textarea, select, canvas')) return;
  const search = document.querySelector('[data-search]');
  if (!search) return;
  event.preventDefault();
  search.focus();
}

addEventListener('keydown', shortcuts);
// A package that is dropped beside the place for it must not replace the page.
for (const type of ['dragover', 'drop']) {
  addEventListener(type, (event) => {
    event.preventDefault();
    if (type === 'drop' && here().view !== 'install') go('install');
  });
}

render(html`<${Page} />`, document.body);
// The others as soon as there is time: a workbench that has ended can no longer give them.
(globalThis.requestIdleCallback ?? setTimeout)(() => Promise.allSettled(kViews.map(fetchView)));
