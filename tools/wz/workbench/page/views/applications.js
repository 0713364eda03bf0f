// Applications: what is installed and what folders hold; who needs whom; why each is here, and what would
// take it away.

import { html, useMemo, useState } from '../base/html.js';
import { applicationsOf, attempt, changed, connection, keyOf, loadApplications, store, toast, useStore } from '../base/store.js';
import { address, go, refine, useRoute } from '../base/router.js';
import { date, fileName, octets, shortDigest } from '../base/format.js';
import { useAnswer } from '../base/load.js';
import { Answer, Badge, Button, Choice, Code, Dialog, Empty, Facts, Failure, Icon, Loading, Search } from '../parts/common.js';
import { Graph, GraphTable } from './graph.js';

const kTerminalSoftware = "the terminal's own software";

function ApplicationIcon({ application, size = 32 }) {
  const [broken, setBroken] = useState(false);
  const what = application.source === 'folder' ? `folder=${encodeURIComponent(application.path)}` : `application=${encodeURIComponent(application.id)}`;
  if (!application.icon || broken) return html`<span class="app-icon letter" aria-hidden="true">${(application.name || application.id || '?').slice(0, 1)}</span>`;
  return html`<img class="app-icon" src="/icon?${what}" width=${size} height=${size} alt="" onError=${() => setBroken(true)} />`;
}

function ApplicationRow({ application, selected }) {
  return html`<li><a class="app-row ${selected ? 'selected' : ''}" href=${address('applications', keyOf(application))} aria-current=${selected ? 'true' : undefined}>
    <${ApplicationIcon} application=${application} />
    <span class="app-row-text"><span class="app-row-name">${application.name || application.id} <span class="muted">${application.version}</span></span>
      <span class="muted small-text">${application.source === 'folder' ? application.path : (application.entries ?? []).map((one) => one.entry).join(', ') || 'no page of its own'}</span></span>
    ${application.problem ? html`<${Badge} state="warning">problem<//>` : application.hasStandIn ? html`<${Badge} state="running">stand-in<//>` : ''}</a></li>`;
}

function FolderForm({ onDone }) {
  const [path, setPath] = useState('');
  const [error, setError] = useState('');
  const add = async (event) => {
    event.preventDefault();
    try {
      await connection.ask('addFolder', { path });
      await loadApplications();
      setPath('');
      onDone?.();
    } catch (problem) {
      setError(problem.message);
    }
  };
  return html`<form class="folder-form" onSubmit=${add}><label for="folder-path">Folder with a manifest.mft</label>
    <div class="pair"><input id="folder-path" class="mono" value=${path} placeholder="/home/you/shop" aria-describedby="folder-error"
      onInput=${(event) => { setPath(event.target.value); setError(''); }} /><button class="button" type="submit" disabled=${path.trim() === ''}>Add</button></div>
    <p id="folder-error" class="hint bad-text" role="alert">${error}</p></form>`;
}

/** What would take an installed application away, by what wz why knows. */
export function removersOf(application, why) {
  const found = [];
  for (const { kind, id, optional, exporters } of why.imports) {
    if (optional) continue;
    const others = exporters.filter((one) => one !== kTerminalSoftware);
    if (exporters.length === 0) found.push(`The next installation: nobody exports ${kind} ${id}.`);
    else if (others.length === exporters.length && others.length === 1) found.push(`Removing ${others[0]}: it alone exports ${kind} ${id}.`);
  }
  if (application.sponsors?.length > 0) found.push(`A marketplace manifest that no longer lists this terminal's sponsor (now ${application.sponsors.join(', ')}).`);
  for (const version of application.versions ?? []) found.push(`Terminal software outside the bound ${version}.`);
  if (application.platforms?.length > 0) found.push(`A terminal other than ${application.platforms.join(', ')}.`);
  found.push('A signed removal package (wz remove).');
  return found;
}

function Cause({ cause }) {
  return html`<li><span><${Code} code=${cause.code} /> ${cause.title}</span><p class="mono small-text">${cause.line}</p>
    ${cause.exporter && html`<p>It had been exported by ${cause.exporter} ${cause.exporterVersion}${cause.how ? `, ${cause.how}` : ''}.</p>`}
    ${cause.because?.length > 0 && html`<ul class="causes">${cause.because.map((one) => html`<${Cause} cause=${one} />`)}</ul>`}</li>`;
}

function Why({ application, why }) {
  const { since } = why;
  return html`<section><h3>Why it is ${why.installed ? 'here' : 'not here'}</h3>
      <p>${since ? html`${since.change === 'appeared' ? 'Installed' : since.change} on ${date(since.time)} by <strong>${fileName(since.package) || 'an unknown package'}</strong>${
        since.sha256 && html` <code title=${since.sha256}>${shortDigest(since.sha256)}</code>`}.` : 'The history does not tell.'}</p>
      ${why.causes.length > 0 && html`<ul class="causes">${why.causes.map((cause) => html`<${Cause} cause=${cause} />`)}</ul>`}
      ${why.imports.length > 0 && html`<ul class="plain">${why.imports.map(({ kind, id, optional, exporters }) => html`<li key=${kind + id}>
        <${Icon} name=${kind} size=${13} /> It imports ${kind} <strong>${id}</strong>${optional ? ' (optional)' : ''}, exported by ${exporters.join(', ') || html`<span class="bad-text">nobody</span>`}.</li>`)}</ul>`}</section>
    ${why.installed && html`<section><h3>What would remove it</h3><ul class="plain reasons">${removersOf(application, why).map((text) => html`<li key=${text}>${text}</li>`)}</ul></section>`}
    ${why.smallestChange.length > 0 && html`<section><h3>The smallest change that keeps it</h3><ul class="plain">${why.smallestChange.map((text) => html`<li>${text}</li>`)}</ul></section>`}
    ${why.users.length > 0 && html`<section><h3>Who uses it</h3><p>${why.users.join(', ')} would lose what it exports.</p></section>`}
    ${why.steps.length > 0 && html`<section><h3>Its history</h3><ol class="steps">${[...why.steps].reverse().map((step) => html`<li key=${step.event}>
      <span class="muted">${date(step.time)}</span> ${step.change} ${step.versionBefore && `${step.versionBefore} → `}${step.versionNow} <span class="muted">by ${fileName(step.package)}</span></li>`)}</ol></section>`}`;
}

function RemoveDialog({ application, why, onClose }) {
  const [state, setState] = useState({ at: 'asked', error: '', document: null });
  const remove = async () => {
    setState({ at: 'running', error: '', document: null });
    try {
      const document = await connection.wz('remove', { id: application.id });
      if (document.ok) {
        toast(`${application.id} is removed.`);
        await loadApplications();
        onClose();
        go('applications');
        return;
      }
      setState({ at: 'asked', error: document.diagnostics?.[0]?.message ?? document.result?.resultWord ?? 'It was not removed.', document });
    } catch (error) {
      setState({ at: 'asked', error: error.message, document: null });
    }
  };
  const users = why?.users ?? [];
  return html`<${Dialog} title="Remove ${application.id}?" onClose=${onClose} actions=${html`<${Button} onClick=${onClose}>Keep it<//>
      <${Button} kind="danger" icon="remove" disabled=${state.at === 'running'} onClick=${remove}>${state.at === 'running' ? 'Removing …' : 'Remove'}<//>`}>
    <p>A removal package is made, signed with the development keys, and installed. Stored data of ${application.id} stays on the terminal.</p>
    ${users.length > 0 && html`<p class="note warn"><${Icon} name="warning" /> ${users.join(', ')} ${users.length === 1 ? 'imports' : 'import'} what it exports and may go with it.</p>`}
    ${state.error && html`<${Failure} title="It is still there" error=${state.error} />`}<//>`;
}

function Details({ application }) {
  const installed = application.source !== 'folder';
  const stamp = useStore((s) => s.stamps.history + s.stamps.applications);
  const answer = useAnswer(() => (installed ? connection.wz('why', { id: application.id }) : Promise.resolve(null)), [application.id, stamp]);
  const [removing, setRemoving] = useState(false);
  const features = (list) => list.map((one) => (typeof one === 'string' ? one : `${one.id}${one.optional ? ' (optional)' : ''}`)).join(', ');
  const forget = async () => {
    if (await attempt('removeFolder', { path: application.path })) {
      await loadApplications();
      go('applications');
    }
  };
  return html`<article class="details" aria-label=${application.id}><header class="details-head"><a class="back-link" href="#/applications"><${Icon} name="back" /> All</a>
      <${ApplicationIcon} application=${application} size=${48} /><div><h2>${application.name || application.id}</h2>
      <p class="muted">${application.id} ${application.version} · ${installed ? 'installed' : 'folder'}</p></div></header>
    <div class="actions">${application.entries?.length > 0 && html`<a class="button primary" href=${address('terminal', '', { application: keyOf(application) })}><${Icon} name="running" /><span>Start …</span></a>`}
      ${installed && html`<a class="button" href=${address('files', '', { log: application.id })}><${Icon} name="file" /><span>Log</span></a>`}
      ${installed ? html`<${Button} icon="remove" kind="danger" onClick=${() => setRemoving(true)}>Remove<//>` : html`<${Button} icon="cancel" onClick=${forget}>Offer it no longer<//>`}</div>
    ${application.problem && html`<${Failure} title="Its manifest has a mistake" error=${application.problem} />`}
    <${Facts} facts=${[['Path', html`<code>${application.path}</code>`], ['Sponsors', application.sponsors?.join(', ')],
      ['Entries', features((application.entries ?? []).map((one) => one.entry))],
      ['Exports triggers', features(application.exportsTriggers ?? [])], ['Exports interfaces', features(application.exportsInterfaces ?? [])],
      ['Imports triggers', features(application.importsTriggers ?? [])], ['Imports interfaces', features(application.importsInterfaces ?? [])],
      ['Bounds', application.versions?.join(', ')], ['Platforms', application.platforms?.join(', ')],
      ['Marketplace manifest', installed && application.hasMarketplaceManifest === false ? 'missing: the next installation removes it' : undefined]]} />
    ${installed && html`<${Answer} answer=${answer} what="The reasons are looked up">${(document) => (document?.result
      ? html`<${Why} application=${application} why=${document.result} />`
      : html`<${Failure} error=${document?.diagnostics?.[0]?.message ?? 'wz why has no answer.'} />`)}<//>`}
    ${removing && html`<${RemoveDialog} application=${application} why=${answer.value?.result} onClose=${() => setRemoving(false)} />`}</article>`;
}

function History() {
  const stamp = useStore((s) => s.stamps.history);
  const answer = useAnswer(() => connection.wz('history', { count: 50 }), [stamp]);
  const kWords = ['ok', 'no package', 'error', 'warning'];
  return html`<section class="history"><h2>History</h2><${Answer} answer=${answer} what="The history is read">${(document) => {
    const events = [...(document.result?.events ?? [])].reverse();
    if (events.length === 0) return html`<p class="muted">Nothing has been installed or removed yet.</p>`;
    return html`<ol class="steps">${events.map((event) => html`<li key=${event.number}>
      <span class="muted">${date(event.time)}</span> <span class="strong">${event.kind}</span>
      <${Badge} state=${event.interrupted || event.result === 2 ? 'error' : event.result === 3 ? 'warning' : 'done'}>${event.interrupted ? 'interrupted' : kWords[event.result] ?? 'no result'}<//>
      <span>${event.changes.filter((one) => one.thing === 'application').map((one) => `${one.id} ${one.change}${one.versionNow ? ` ${one.versionNow}` : ''}`).join(', ') || 'nothing changed'}</span>
      <span class="muted small-text">${event.packages.map((one) => `${fileName(one.file)} (${octets(one.octets)})`).join(', ')}</span></li>`)}</ol>`;
  }}<//></section>`;
}

function Overview({ all, terminal }) {
  const { query } = useRoute();
  const table = query.as === 'table';
  return html`<section class="overview"><div class="section-head"><h2>Exports and imports</h2>
      <${Choice} label="Shown as" value=${table ? 'table' : 'graph'} options=${[['graph', 'Graph'], ['table', 'Table']]} onChange=${(as) => refine({ as: as === 'table' ? 'table' : '' })} /></div>
    ${table ? html`<${GraphTable} applications=${all} terminal=${terminal} />` : html`<${Graph} applications=${all} terminal=${terminal} />`}
    <${History} /></section>`;
}

export default function ApplicationsView() {
  const { rest, query } = useRoute();
  const { state, value, error } = useStore((s) => s.applications);
  const all = useMemo(() => applicationsOf(value), [value]);
  const words = (query.q ?? '').toLowerCase();
  const fits = (one) => `${one.id} ${one.name} ${one.path}`.toLowerCase().includes(words);
  const application = rest === '' ? null : all.find((one) => keyOf(one) === rest);
  if (state === 'loading' && !value) return html`<div class="view"><h1 class="hidden-text">Applications</h1><${Loading} what="Applications are looked for" /></div>`;
  if (state === 'failed' && !value) return html`<div class="view"><h1 class="hidden-text">Applications</h1><${Failure} error=${error} again=${loadApplications} /></div>`;
  const group = (name, list) => list?.filter(fits).length > 0 && html`<h2>${name} <span class="muted">${list.length}</span></h2>
    <ul class="app-list">${list.filter(fits).map((one) => html`<${ApplicationRow} key=${keyOf(one)} application=${one} selected=${one === application} />`)}</ul>`;
  return html`<div class="view applications-view ${rest === '' ? '' : 'has-rest'}"><h1 class="hidden-text">Applications</h1>
    <section class="app-side" aria-label="All applications"><${Search} label="Search applications" value=${query.q ?? ''} onInput=${(q) => refine({ q })} />
      ${all.length === 0 && html`<${Empty} icon="applications" title="No application yet"><p>Drop a package under <a href="#/install">Install</a>, or add a folder.</p><//>`}
      ${group('Installed', value.installed)}${group('Folders', value.folders)}
      ${all.length > 0 && all.filter(fits).length === 0 && html`<p class="muted pad">No application is called so.</p>`}<${FolderForm} /></section>
    <div class="app-main">${application ? html`<${Details} key=${rest} application=${application} />`
      : rest !== '' ? html`<${Empty} icon="applications" title="${rest} is not here"><p><a href="#/applications">All applications</a></p><//>`
      : html`<${Overview} all=${all} terminal=${value.terminal} />`}</div></div>`;
}
