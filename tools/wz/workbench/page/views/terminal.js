// The terminal: the drawn device in the middle, what to start beside it, and what comes of it.

import { html, useEffect, useLatest, useMemo } from '../base/html.js';
import { attempt, store, toast, useStore } from '../base/store.js';
import { address, refine, useRoute } from '../base/router.js';
import { clock, oneLine } from '../base/format.js';
import { Badge, bringIntoSight, Button, Choice, Empty, Facts, Failure, Icon, Tabs } from '../parts/common.js';
import { VirtualList } from '../parts/virtual_list.js';
import { Device, KeyRow } from './device.js';
import { StartForm } from './start_form.js';

const isLive = (run) => run.state !== 'ended';
const failed = (run) => run.state === 'ended' && (Boolean(run.error) || (run.result ?? 0) !== 0);
const stateOf = (run) => (run.state === 'ended' ? (failed(run) ? 'error' : 'ended') : run.state);
const wordOf = (run) => (run.state === 'ended' ? (run.error ? 'failed' : `ended, result ${run.result}`) : run.state);

const savedAddress = (name) => `/saved?name=${encodeURIComponent(name)}`;

function Tools({ run }) {
  const picture = async () => {
    const made = await attempt('screenshot', { run: run.run });
    if (made) toast(`${made.name} is saved.`, { href: savedAddress(made.name), link: 'Open it' });
  };
  return html`<div class="device-tools" role="group" aria-label="The running application">
    <${Button} small icon="picture" onClick=${picture} disabled=${!isLive(run)}>Picture<//>
    ${run.recording && html`<a class="button small" href=${savedAddress(run.recording)} download><${Icon} name="record" /><span>Recording</span></a>`}
    <${Button} small icon="cancel" kind="danger" onClick=${() => attempt('cancel', { run: run.run })} disabled=${!isLive(run)}>Cancel<//></div>`;
}

function RunStory({ run }) {
  const version = useStore((s) => s.storyVersion);
  const source = `run ${run.run}`;
  const rows = useMemo(() => store.story.rows.filter((row) => row.source === source).slice(-500), [version, source]);
  const list = useLatest(rows);
  return html`<section class="run-story" aria-label="Story of this run"><div class="section-head"><h3>Story</h3>
      <a href=${address('story', '', { source })}>all of it</a></div>
    <${VirtualList} label="Story of this run" list=${list} keyOf=${(row) => row.sequence} follows
      onActivate=${(row) => { location.hash = address('story', '', { at: row.sequence }); }}
      onSelect=${(row) => { location.hash = address('story', '', { source, at: row.sequence }); }}
      empty=${html`<p class="muted pad">Nothing yet.</p>`}
      row=${(row) => html`<span class="cell time">${clock(row.at)}</span><span class="cell kind">${row.severity && html`<${Icon} name=${row.severity} size=${12} title=${row.severity} />`} ${row.title}</span><span class="cell text">${row.text}</span>`} /></section>`;
}

function RunPanel({ run }) {
  const parameters = Object.entries(run.parameters ?? {});
  const properties = Object.entries(run.properties ?? {});
  return html`<section class="run-panel" aria-label="The run">
    <div class="section-head"><h2>${run.application}</h2><${Badge} state=${stateOf(run)}>${wordOf(run)}<//></div>
    ${run.error && html`<${Failure} title="It has not ended well" error=${run.error} />`}
    <${Facts} facts=${[['Entry', run.entry], ['Folder', run.folder], ['Display', run.display && `${run.display.width} × ${run.display.height}`],
      ['Language', run.locale], ['Began', run.began !== undefined && clock(run.began)],
      ...parameters.map(([name, value]) => [name, oneLine(value)])]} />
    ${run.state === 'ended' && properties.length > 0 && html`<h3>Properties</h3>
      <${Facts} facts=${properties.filter(([name]) => !name.startsWith('wz_')).map(([name, value]) => [name, value === '' ? '(empty)' : oneLine(value)])} />
      <details><summary>Those of the terminal</summary><${Facts} facts=${properties.filter(([name]) => name.startsWith('wz_')).map(([name, value]) => [name, oneLine(value)])} /></details>`}
    <${RunStory} key=${run.run} run=${run} /></section>`;
}

function Rest({ run, terminal }) {
  if (!run) return html`<p class="rest-title">${terminal?.sponsorText || 'Ready'}</p><p>Nothing runs. Choose an application and start it.</p>`;
  return html`<p class="rest-title">${run.application} has ended</p><p>${run.error || `Result ${run.result}`}</p>`;
}

export default function TerminalView() {
  const { query } = useRoute();
  const runs = useStore((s) => s.runs);
  const terminal = useStore((s) => s.terminal);
  const live = runs.filter(isLive);
  const wanted = query.run === undefined ? undefined : runs.find((run) => String(run.run) === query.run);
  const run = wanted ?? live.at(-1) ?? runs.at(-1);
  const all = query.show === 'all' && live.length > 1;
  useEffect(() => {
    if (wanted && isLive(wanted)) bringIntoSight('.stage');
  }, [wanted?.run]);
  return html`<div class="view terminal-view"><h1 class="hidden-text">Terminal</h1>
    <section class="start-panel" aria-label="Start"><h2>Start</h2><${StartForm} /></section>
    <section class="stage" aria-label="Terminal">
      <div class="stage-head">${runs.length > 0
        ? html`<${Tabs} label="Runs" panel="stage" value=${run?.run} onChange=${(id) => refine({ run: id, show: '' })}
            tabs=${runs.slice(-6).map((one) => [one.run, one.application, html`<${Badge} state=${stateOf(one)}>${isLive(one) ? one.state : failed(one) ? 'failed' : 'ended'}<//>`])} />`
        : html`<span class="muted">No run yet</span>`}
        ${live.length > 1 && html`<${Choice} label="Displays" value=${all ? 'all' : 'one'} options=${[['one', 'One'], ['all', `All ${live.length}`]]}
          onChange=${(value) => refine({ show: value === 'all' ? 'all' : '' })} />`}</div>
      <div class="stage-floor ${all ? 'many' : ''}" id="stage" role=${runs.length > 0 ? 'tabpanel' : undefined} aria-labelledby=${run ? `tab-stage-${run.run}` : undefined}>
        ${all ? live.map((one) => html`<figure key=${one.run}><${Device} small terminal=${terminal} run=${one} /><figcaption>${one.application}, run ${one.run}</figcaption></figure>`)
          : html`<${Device} key=${run?.run ?? 0} terminal=${terminal} run=${run}><${Rest} run=${run} terminal=${terminal} /><//>`}</div>
      ${run && html`<${Tools} run=${run} />`}${run && isLive(run) && html`<${KeyRow} run=${run.run} />`}</section>
    <div class="run-side">${run ? html`<${RunPanel} run=${run} />`
      : html`<${Empty} icon="terminal" title="What a run tells stands here"><p>Its console, log, messages and result, as they come.</p><//>`}</div></div>`;
}
