// The terminal's files, to look at alone, and the logs that its applications have published.

import { html, useMemo } from '../base/html.js';
import { applicationsOf, connection, store, useStore } from '../base/store.js';
import { address, refine, useRoute } from '../base/router.js';
import { date, octets, oneLine } from '../base/format.js';
import { useAnswer } from '../base/load.js';
import { levelName, severityOf } from '../base/story.js';
import { Answer, Badge, Choice, Empty, Facts, Failure, Icon, Search } from '../parts/common.js';

const kMostShown = 512 * 1024;
const kPictures = /\.(png|jpe?g|gif|webp|svg)$/i;
const fileAddress = (path, more = '') => `/file?path=${encodeURIComponent(path)}${more}`;
const parentOf = (path) => path.split('/').slice(0, -1).join('/');

function Crumbs({ path, folder }) {
  const parts = path === '' ? [] : path.split('/');
  return html`<nav class="crumbs" aria-label="Folders"><ol><li><a href=${address('files')}>${folder?.split('/').filter(Boolean).at(-1) ?? 'terminal'}</a></li>
    ${parts.map((part, index) => html`<li key=${index}><a href=${address('files', parts.slice(0, index + 1).join('/'))} aria-current=${index === parts.length - 1 ? 'page' : undefined}>${part}</a></li>`)}</ol></nav>`;
}

function Listing({ path, entries, words }) {
  const order = (one) => (one.kind === 'folder' ? 0 : 1);
  const shown = entries.filter((one) => one.name.toLowerCase().includes(words)).sort((a, b) => order(a) - order(b) || a.name.localeCompare(b.name));
  if (entries.length === 0) return html`<${Empty} icon="files" title="This folder is empty" />`;
  if (shown.length === 0) return html`<p class="muted pad">No file is called so.</p>`;
  return html`<div class="table-frame" tabindex="0" role="region" aria-label="Files"><table class="file-table"><thead><tr><th scope="col">Name</th><th scope="col" class="number">Size</th><th scope="col">Changed</th><th scope="col">Mode</th></tr></thead>
    <tbody>${shown.map((one) => html`<tr key=${one.name}><td><a href=${address('files', path === '' ? one.name : `${path}/${one.name}`)}>
      <${Icon} name=${{ folder: 'files', link: 'link' }[one.kind] ?? 'file'} size=${14} title=${one.kind} /> ${one.name}</a></td>
      <td class="number">${one.kind === 'folder' ? '' : octets(one.size)}</td><td class="muted">${date(one.modified)}</td><td class="mono muted">${one.mode}</td></tr>`)}</tbody></table></div>`;
}

async function textOf(path) {
  const answer = await fetch(fileAddress(path));
  if (!answer.ok) throw new Error(answer.status === 404 ? 'The file is no longer there.' : `The file cannot be read (HTTP ${answer.status}).`);
  const blob = await answer.blob();
  const text = await blob.slice(0, kMostShown).text();
  const binary = /[\u0000-\u0008\u000e-\u001a]/.test(text.slice(0, 4000));
  return { size: blob.size, text: binary ? null : text, picture: kPictures.test(path) ? path : null };
}

function FileContent({ path }) {
  const stamp = useStore((s) => s.stamps.files);
  const answer = useAnswer(() => textOf(path), [path, stamp]);
  return html`<section class="file-content" aria-label=${path}><div class="section-head"><h2 class="mono">${path.split('/').at(-1)}</h2>
      <a class="button small" href=${fileAddress(path, '&download')} download><${Icon} name="export" /><span>Save</span></a></div>
    <${Answer} answer=${answer} what="The file is read">${({ size, text }) => html`<p class="muted small-text">${octets(size)}${size > kMostShown ? `, the first ${octets(kMostShown)} are shown` : ''}</p>
      ${text === null ? html`<${Empty} icon="file" title="This is not text"><p>Save it to look at it with a program of its kind.</p><//>`
        : text === '' ? html`<p class="muted">The file is empty.</p>`
        : html`<pre class="file-text" tabindex="0" role="region" aria-label="Content of ${path}">${text}</pre>`}`}<//></section>`;
}

// The newest published log that the story has of an application, in the form of the question "log".
function publishedInStory(id) {
  const entries = [];
  for (const row of store.story.rows) {
    const data = row.kind === 'messageReceived' && row.line.name === '_WZLog' && row.line.payload?.data;
    if (!data || data.sSys !== id) continue;
    for (const one of data.msgs ?? []) entries.push({ time: one.t, level: one.s, kind: one.msgT, message: one.msg, detail: one.aD, event: one.aE });
  }
  return entries;
}

function Log({ id }) {
  const version = useStore((s) => s.runs);
  const { query } = useRoute();
  const answer = useAnswer(() => connection.ask('log', { application: id }).then(
    (value) => (value.entries?.length > 0 ? value : { entries: publishedInStory(id) }),
    (error) => {
      const entries = publishedInStory(id);
      if (entries.length > 0) return { entries };
      throw error;
    }), [id, version]);
  const words = (query.q ?? '').toLowerCase();
  return html`<section class="log-content" aria-label="Log of ${id}"><div class="section-head"><h2>Log of ${id}</h2></div>
    <${Answer} answer=${answer} what="The log is read">${({ entries = [], file }) => {
      const shown = entries.filter((one) => oneLine(one).toLowerCase().includes(words));
      if (entries.length === 0) return html`<${Empty} icon="file" title="${id} has published no log yet"><p>It is published when the application ends.</p><//>`;
      return html`${file && html`<p class="muted small-text mono">${file}</p>`}<div class="table-frame" tabindex="0" role="region" aria-label="Log lines"><table class="log-table"><thead><tr><th scope="col">Time</th><th scope="col">Level</th><th scope="col">Kind</th><th scope="col">Message</th></tr></thead>
        <tbody>${shown.map((one, index) => {
          const severity = severityOf(one.level);
          return html`<tr key=${index} class=${severity}><td class="mono muted">${String(one.time ?? '').replace('T', ' ').replace(/\+00:00(:00)?$|Z$/, '')}</td>
            <td>${severity && html`<${Icon} name=${severity} size=${12} /> `}${levelName(one.level)}</td><td class="muted">${one.kind}</td>
            <td>${one.message}${one.detail ? html` <span class="muted">${oneLine(one.detail)}</span>` : ''}${one.event ? html` <span class="code">${one.event}</span>` : ''}</td></tr>`;
        })}</tbody></table></div>`;
    }}<//></section>`;
}

function Logs({ chosen }) {
  const { value } = useStore((s) => s.applications);
  const ids = [...new Set([...applicationsOf(value).map((one) => one.id), ...store.runs.map((run) => run.application)])].filter(Boolean);
  return html`<section class="log-list" aria-label="Logs of applications"><h2>Logs</h2>${ids.length === 0 ? html`<p class="muted">No application.</p>`
    : html`<ul class="plain">${ids.map((id) => html`<li key=${id}><a class="log-link ${id === chosen ? 'selected' : ''}" aria-current=${id === chosen ? 'true' : undefined} href=${address('files', '', { log: id })}><${Icon} name="story" size=${14} /> ${id}</a></li>`)}</ul>`}</section>`;
}

function Folder({ path }) {
  const { query } = useRoute();
  const stamp = useStore((s) => s.stamps.files);
  const answer = useAnswer(() => connection.ask('files', { path }), [path, stamp]);
  return html`<${Answer} answer=${answer} what="The folder is read">${(value) => html`<${Listing} path=${path} entries=${value.entries ?? []} words=${(query.q ?? '').toLowerCase()} />`}<//>`;
}

// A path is a folder or a file: its own folder knows.
function Place({ path }) {
  const stamp = useStore((s) => s.stamps.files);
  const answer = useAnswer(async () => {
    if (path === '') return 'folder';
    const { entries } = await connection.ask('files', { path: parentOf(path) });
    const found = entries.find((one) => one.name === path.split('/').at(-1));
    if (!found) throw new Error(`There is no ${path} in the terminal's folder.`);
    return found.kind === 'folder' ? 'folder' : 'file';
  }, [path, stamp]);
  return html`<${Answer} answer=${answer} what="The place is looked up">${(kind) => (kind === 'folder' ? html`<${Folder} key=${path} path=${path} />`
    : html`<${FileContent} key=${path} path=${path} />`)}<//>`;
}

export default function FilesView() {
  const { rest, query } = useRoute();
  const terminal = useStore((s) => s.terminal);
  const online = useStore((s) => s.link.state === 'open');
  return html`<div class="view files-view"><h1 class="hidden-text">Files and logs</h1><${Logs} chosen=${query.log} />
    <section class="files-main" aria-label="Folder or log"><div class="toolbar"><${Crumbs} path=${rest} folder=${terminal?.folder} /><${Search} label=${query.log ? 'Search the log' : 'Search names'} value=${query.q ?? ''} onInput=${(q) => refine({ q })} /></div>
      ${!online ? html`<p class="muted pad">Without a connection nothing can be read.</p>` : query.log ? html`<${Log} key=${query.log} id=${query.log} />` : html`<${Place} key=${rest} path=${rest} />`}</section></div>`;
}
