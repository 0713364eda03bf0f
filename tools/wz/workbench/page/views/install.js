// Installing: packages are dropped, tried on a copy of the terminal, and then installed, with the library's
// own lines beside what they mean.

import { html, useEffect, useLatest, useMemo, useRef, useState } from '../base/html.js';
import { connection, loadApplications, store, toast, useStore } from '../base/store.js';
import { upload } from '../base/connection.js';
import { address, refine, useRoute } from '../base/router.js';
import { counted, octets, shortDigest, took } from '../base/format.js';
import { useAnswer } from '../base/load.js';
import { Answer, Badge, Button, Choose, Code, Empty, Explanation, Failure, Icon, Loading } from '../parts/common.js';
import { VirtualList } from '../parts/virtual_list.js';
import { Chain, Checks } from './chain.js';

const kRemembered = 'wz-workbench-uploads';

function rememberedUploads() {
  try {
    return JSON.parse(sessionStorage.getItem(kRemembered)) ?? {};
  } catch {
    return {};
  }
}

// What the lines of the library mean, by how they begin.
const kMeanings = [
  ['Installing to', 'The run begins. This is where applications go on the terminal.'],
  ['Install /', 'The next package of those that were dropped.'],
  ['Adding OS certificate', "A certificate of the terminal's own joins the store that signers are checked against."],
  ['Adding certificate SN', 'An authority that is compiled into the library joins the store.'],
  ['Adding certificate', 'A certificate that the package brought; it counts for this package alone, and only when an authority accepts it.'],
  ['Found', 'An archive in the package. Its signature is looked for next, and the kind of its signer.'],
  ['Checking dependencies', 'Does every application find the triggers, interfaces and versions that it needs? It is repeated until a pass removes nothing.'],
  ['Checking /', "This manifest's imports are compared with what all manifests export."],
  ['Checking', 'Digest and signature of the archive are verified; behind postinstall: the marketplace rules for an application.'],
  ['Extracting', 'What has been verified is unpacked into the terminal.'],
  ['postinstall', 'All packages have been seen. What may stay is judged now.'],
  ['Reading', 'A manifest is read for what it exports.'],
  ['Removing', 'It is taken away from the terminal.'],
  ['List of installed', 'What is on the terminal now.'],
  ['Overall result', 'What the host is told.'],
];

const meaningOf = (text) => kMeanings.find(([beginning]) => text.startsWith(beginning))?.[1] ?? '';

const kChanges = {
  installed: ['appears', 'add', 'good'],
  replaced: ['is replaced', 'again', 'calm'],
  removed: ['vanishes', 'remove', 'bad'],
};

function Changes({ outcome }) {
  if (outcome.changes.length === 0) return html`<p class="note"><${Icon} name="idle" /> Nothing on the terminal changes.</p>`;
  return html`<ul class="changes">${outcome.changes.map((change) => {
    const [word, icon, tone] = kChanges[change.change] ?? [change.change, 'idle', 'calm'];
    return html`<li key=${change.id} class=${tone}><${Icon} name=${icon} /><div><p><strong>${change.id}</strong> ${word} <span class="muted">${[change.versionBefore, change.versionNow].filter(Boolean).join(' → ')}</span>
      ${change.downgrade && html` <${Badge} state="warning">downgrade<//>`} ${(change.codes ?? []).map((code) => html`<${Code} key=${code} code=${code} /> `)}</p>
      ${change.reasons.map((reason) => html`<p class="mono small-text">${reason}</p>`)}</div></li>`;
  })}</ul>`;
}

function Diagnostics({ list }) {
  if (!list?.length) return null;
  return html`<ul class="diagnostics">${list.map((one, index) => html`<li key=${index} class=${one.severity}>
    <${Icon} name=${one.severity} title=${one.severity} /><div><p><${Code} code=${one.code} /> ${one.message} ${one.file && html`<span class="muted">${one.file}${one.entry ? ` / ${one.entry}` : ''}</span>`}</p>
    ${one.evidence && html`<p class="mono small-text">${one.evidence}</p>`}${one.repair && html`<p><span class="label">Repair</span> ${one.repair}</p>`}</div></li>`)}</ul>`;
}

function DropZone({ onFiles, compact, busy }) {
  const [over, setOver] = useState(false);
  const drop = (event) => {
    event.preventDefault();
    setOver(false);
    onFiles([...event.dataTransfer.files]);
  };
  return html`<div class="drop ${over ? 'over' : ''} ${compact ? 'compact' : ''}" onDragOver=${(event) => { event.preventDefault(); setOver(true); }} onDragLeave=${() => setOver(false)} onDrop=${drop}>
    <${Icon} name="install" size=${compact ? 18 : 30} /><p>${busy ? 'Being read …' : compact ? 'Drop more' : 'Drop packages here'}</p>
    <${Choose} label="Choose packages" kind=${compact ? '' : 'primary'} accept=".zip,.ZIP,application/zip" multiple onFiles=${onFiles} /></div>`;
}

function PackageList({ list, chosen, documents, onRemove }) {
  return html`<ul class="packages">${list.map((one) => {
    const pack = documents.get(one.upload);
    return html`<li key=${one.upload} class=${one.upload === chosen ? 'selected' : ''}>
      <a href=${address('install', '', { packages: list.map((p) => p.upload).join(','), package: one.upload })} aria-current=${one.upload === chosen ? 'true' : undefined}>
        <span class="strong">${one.name}</span><span class="muted">${octets(one.size)}</span>
        ${pack ? html`<${Badge} state=${pack.accepted ? 'done' : 'error'}>${pack.accepted ? 'accepted' : 'refused'}<//>` : ''}
        ${one.sha256 && html`<code class="digest" title=${one.sha256}>sha256 ${shortDigest(one.sha256)}</code>`}</a>
      <${Button} kind="quiet" small icon="cancel" aria-label="Put ${one.name} aside" onClick=${() => onRemove(one.upload)} /></li>`;
  })}</ul>`;
}

function Package({ pack, sha256 }) {
  const files = (pack.archives ?? []).flatMap((archive) => archive.entries.map((entry) => ({ ...entry, archive: archive.entry })));
  return html`<section class="package"><h2>${pack.file}</h2>
    ${pack.refusal && html`<${Failure} title="A terminal refuses it" error=${pack.refusal} />`}
    ${(pack.warnings ?? []).map((warning) => html`<p class="note warn"><${Icon} name="warning" /> ${warning}</p>`)}
    <h3>Who signed what</h3><${Chain} pack=${pack} />
    ${pack.secondVerifier?.asked && html`<p class="second-verifier small-text muted"><${Icon} name=${pack.secondVerifier.differences.length === 0 ? 'done' : 'warning'} size=${12} /> A second verifier of its own code ${pack.secondVerifier.differences.length === 0 ? 'says the same' : 'does not say the same'}.</p>`}
    <h3>Checks</h3>${(pack.archives ?? []).map((archive) => html`<${Checks} key=${archive.entry} archive=${archive} />`)}
    <h3>Contents</h3>${sha256 && html`<p class="digest-line"><span class="label">SHA-256</span> <code>${sha256}</code></p>`}
    <div class="table-frame" tabindex="0" role="region" aria-label="Contents"><table><thead><tr><th scope="col">File</th><th scope="col">Archive</th><th scope="col" class="number">Size</th></tr></thead>
      <tbody>${files.map((file) => html`<tr key=${file.archive + file.name}><td class="mono">${file.name}</td><td class="muted">${file.archive}</td><td class="number">${octets(file.octets)}</td></tr>`)}
      ${(pack.certificates ?? []).map((one) => html`<tr key=${one.entry}><td class="mono">${one.entry}</td><td class="muted">certificate</td><td class="number">${octets(pack.entries.find((entry) => entry.name === one.entry)?.octets)}</td></tr>`)}</tbody></table></div></section>`;
}

function Rehearsal({ answer, onInstall, running, again }) {
  return html`<section class="rehearsal" aria-label="Rehearsal"><div class="section-head"><h2>Rehearsal</h2><span class="muted">on a copy; the terminal stays as it is</span></div>
    <${Answer} answer=${{ ...answer, again }} what="It is tried on a copy of the terminal">${(document) => html`
      ${document.result ? html`<${Changes} outcome=${document.result} />` : ''}<${Diagnostics} list=${document.diagnostics} />
      <div class="actions"><${Button} kind="primary" icon="install" disabled=${running || !document.result} onClick=${onInstall}>${running ? 'Installing …' : document.ok ? 'Install' : 'Install all the same'}<//>
        ${document.result && html`<${Badge} state=${document.ok ? 'done' : 'error'}>${document.ok ? 'every package will be done' : 'not every package will be done'}<//>`}</div>`}<//></section>`;
}

/** The newest installation of the story: its lines, and whether it has ended. */
function useInstallation() {
  const version = useStore((s) => s.storyVersion);
  return useMemo(() => {
    const { rows } = store.story;
    let begin = -1;
    for (let i = rows.length - 1; i >= 0 && begin < 0; i--) if (rows[i].kind === 'install-begun') begin = i;
    if (begin < 0) return null;
    const own = rows.slice(begin).filter((row) => row.lane === 'installer');
    return { begun: own[0], lines: own.filter((row) => row.kind === 'install-line'), done: own.find((row) => row.kind === 'install-done') ?? null };
  }, [version]);
}

function LiveRun({ installation }) {
  const [chosen, setChosen] = useState(undefined);
  const { begun, lines, done } = installation;
  const list = useLatest(lines);
  const shown = lines.find((row) => row.sequence === chosen) ?? [...lines].reverse().find((row) => row.line.code) ?? lines.at(-1);
  return html`<section class="live-run" aria-label="The installation"><div class="section-head"><h2>Installation</h2>
      <${Badge} state=${!done ? 'running' : done.line.done ? 'done' : 'error'}>${!done ? 'running' : done.line.done ? 'done' : 'not every package is done'}<//>
      <a href=${address('story', '', { lane: 'installer', at: begun.sequence })}>in the story</a></div>
    <div class="live-columns"><${VirtualList} label="Lines of the installer" list=${list} keyOf=${(row) => row.sequence} selected=${chosen} onSelect=${(row) => setChosen(row.sequence)} follows
        empty=${html`<${Loading} what="The first line is awaited" />`}
        row=${(row) => html`<span class="cell time">${took(row.at - begun.at)}</span><span class="cell text mono">${row.severity && html`<${Icon} name=${row.severity} size=${12} title=${row.severity} /> `}${row.text}</span>
          ${row.line.code && html`<span class="code">${row.line.code}</span>`}`} />
      <aside class="meaning" aria-live="polite" aria-label="What the line means">${shown ? html`<p class="mono strong">${shown.text}</p>
        ${shown.line.code ? html`<${Explanation} key=${shown.line.code} code=${shown.line.code} />` : html`<p>${meaningOf(shown.text) || 'An application, by its id.'}</p>`}` : ''}</aside></div></section>`;
}

export default function InstallView() {
  const { query } = useRoute();
  const known = useRef(rememberedUploads());
  const [error, setError] = useState('');
  const [busy, setBusy] = useState(false);
  const [running, setRunning] = useState(false);
  const stamp = useStore((s) => s.stamps.applications);
  const installation = useInstallation();
  const uploads = (query.packages ?? '').split(',').filter(Boolean);
  const list = uploads.map((id) => known.current[id] ?? { upload: id, name: id, size: NaN });
  const key = uploads.join(',');
  const online = useStore((s) => s.link.state === 'open');
  const inspected = useAnswer(() => (uploads.length > 0 && online ? connection.wz('inspect', { uploads }) : new Promise(() => {})), [key, online]);
  const rehearsed = useAnswer(() => (uploads.length > 0 && online ? connection.wz('rehearse', { uploads }) : new Promise(() => {})), [key, stamp, online]);

  const packs = useMemo(() => {
    const result = inspected.value?.result;
    return !result ? [] : result.packages ?? [result];
  }, [inspected.value]);
  // In the order in which they were named.
  const documents = useMemo(() => new Map(uploads.map((id, index) => [id, packs[index]])), [packs, key]);
  const chosen = uploads.includes(query.package) ? query.package : uploads[0];

  const take = async (files) => {
    setError('');
    setBusy(true);
    const taken = [];
    for (const file of files) {
      try {
        const made = await upload(file);
        known.current[made.upload] = made;
        taken.push(made.upload);
      } catch (problem) {
        setError(problem.message);
      }
    }
    sessionStorage.setItem(kRemembered, JSON.stringify(known.current));
    setBusy(false);
    if (taken.length > 0) refine({ packages: [...uploads, ...taken].join(','), package: taken[0] });
  };
  const aside = (id) => refine({ packages: uploads.filter((one) => one !== id).join(','), package: '' });
  const install = async () => {
    setRunning(true);
    try {
      const document = await connection.wz('install', { uploads });
      toast(document.ok ? `${counted(uploads.length, 'package')} installed.` : 'Not every package is done: see its lines.', document.ok ? {} : { kind: 'error' });
      await loadApplications();
    } catch (problem) {
      setError(problem.message);
    }
    setRunning(false);
  };

  const pack = documents.get(chosen);
  return html`<div class="view install-view"><h1 class="hidden-text">Install</h1>
    <div class="install-side"><${DropZone} onFiles=${take} compact=${uploads.length > 0} busy=${busy} />
      ${error && html`<${Failure} error=${error} title="A file was not taken" />`}
      ${uploads.length > 0 && html`<${PackageList} list=${list} chosen=${chosen} documents=${documents} onRemove=${aside} />
        <${Rehearsal} answer=${rehearsed} onInstall=${install} running=${running} again=${rehearsed.again} />`}</div>
    <div class="install-main">${installation && html`<${LiveRun} key=${installation.begun.sequence} installation=${installation} />`}
      ${uploads.length > 0 ? html`<${Answer} answer=${inspected} what="The packages are inspected">${(document) => (pack ? html`<${Package} key=${chosen} pack=${pack} sha256=${known.current[chosen]?.sha256} />`
          : html`<${Diagnostics} list=${document?.diagnostics} />`)}<//>`
        : !installation && html`<${Empty} icon="install" title="No package is looked at"><p>A dropped package is inspected and tried on a copy of this terminal first. Nothing is installed until you say so.</p><//>`}</div></div>`;
}
