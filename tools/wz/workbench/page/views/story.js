// The story: everything that happens, on one time line, with a way from each event to its cause.

import { html, useLatest, useMemo, useState } from '../base/html.js';
import { attempt, connection, store, toast, useStore } from '../base/store.js';
import { upload } from '../base/connection.js';
import { address, refine, useRoute } from '../base/router.js';
import { clock, count, counted } from '../base/format.js';
import { hasWords, kLanes, Story, wordsOf } from '../base/story.js';
import { bringIntoSight, Button, Choice, Choose, Code, Dialog, Empty, Explanation, Facts, Failure, Icon, Json, save, Search } from '../parts/common.js';
import { VirtualList } from '../parts/virtual_list.js';
import { Ruler } from './ruler.js';

/** Rows that fit the filters of the address. */
export function filteredStory(rows, { q, lane, source, level }) {
  const words = wordsOf(q);
  return rows.filter((row) => (!lane || row.lane === lane) && (!source || row.source === source)
    && (!level || (level === 'error' ? row.severity === 'error' : row.severity !== '')) && hasWords(row, words));
}

/** A story of a file, with sequences of its own. */
function storyOf(opened) {
  const story = new Story();
  (opened.events ?? []).forEach((event, index) => story.add({ ...event, sequence: index + 1 }));
  return story;
}

function EventDetails({ row, story }) {
  const cause = row.cause ? story.at(row.cause) : null;
  const effects = useMemo(() => story.rows.filter((one) => one.cause === row.sequence).slice(0, 12), [row, story.version]);
  const message = row.line.event === 'bus-message';
  const link = (one) => html`<a href=${address('story', '', { at: one.sequence })}><span class="muted">${clock(one.at)}</span> ${one.source}: ${one.title}</a>`;
  return html`<div class="event-details" aria-live="polite"><div class="section-head"><h2>${row.title}</h2>${row.severity && html`<span class="${row.severity === 'error' ? 'bad-text' : 'warn-text'}"><${Icon} name=${row.severity} size=${13} /> ${row.severity}</span>`}</div>
    <${Facts} facts=${[['At', clock(row.at)], ['Source', html`<a href=${address('story', '', { source: row.source, at: row.sequence })}>${row.source}</a>`],
      ['Cause', cause ? link(cause) : 'none is known'],
      ['Place', row.line.file && `${row.line.file}:${row.line.line ?? ''}`],
      ['On the bus', message && html`<a href=${address('bus', '', { at: row.sequence })}>this message</a>`]]} />
    ${effects.length > 0 && html`<h3>What followed</h3><ul class="plain">${effects.map((one) => html`<li key=${one.sequence}>${link(one)}</li>`)}</ul>`}
    ${row.line.code && /^WZ-/.test(row.line.code) && html`<${Explanation} key=${row.line.code} code=${row.line.code} />`}
    <h3>The event</h3><${Json} value=${row.line} label="The event" /></div>`;
}

function ExportDialog({ story, runs, onClose }) {
  const lines = () => story.rows.map((row) => JSON.stringify({ sequence: row.sequence, at: row.at, source: row.source, line: row.line })).join('\n') + '\n';
  const recorded = runs.filter((run) => run.recording);
  return html`<${Dialog} title="Export" onClose=${onClose} actions=${html`<${Button} onClick=${onClose}>Close<//>`}>
    <h3>Recordings, for wz replay</h3>
    ${recorded.length === 0 ? html`<p class="muted">No run of this workbench has a recording yet.</p>`
      : html`<ul class="plain">${recorded.map((run) => html`<li key=${run.run} class="offer"><span>${run.application}, run ${run.run} <span class="muted">${run.recording}</span></span>
        <a class="button small" href=${`/saved?name=${encodeURIComponent(run.recording)}`} download><${Icon} name="export" /><span>Save</span></a></li>`)}</ul>`}
    <h3>Everything, as lines of JSON</h3><p class="offer"><span>${counted(story.rows.length, 'event')}</span>
      <${Button} small icon="export" onClick=${() => save('story.jsonl', lines(), 'application/x-ndjson')}>Save<//></p><//>`;
}

export default function StoryView() {
  const { query } = useRoute();
  const version = useStore((s) => s.storyVersion);
  const runs = useStore((s) => s.runs);
  const [opened, setOpened] = useState(null);
  const [error, setError] = useState('');
  const [exporting, setExporting] = useState(false);
  const story = opened?.story ?? store.story;
  const shown = useMemo(() => filteredStory(story.rows, query), [story, opened ? 0 : version, query.q, query.lane, query.source, query.level]);
  const list = useLatest(shown);
  const at = query.at === undefined ? undefined : Number(query.at);
  const row = at === undefined ? null : story.at(at);
  const open = async ([file]) => {
    setError('');
    try {
      const { upload: id } = await upload(file);
      const answer = await connection.ask('openStory', { upload: id });
      setOpened({ name: answer.name ?? file.name, story: storyOf(answer) });
      refine({ at: '', q: '', lane: '', source: '', level: '' });
    } catch (problem) {
      setError(problem.message);
    }
  };
  const close = () => {
    setOpened(null);
    refine({ at: '' });
  };
  const narrowed = query.q || query.lane || query.source || query.level;
  const all = story.rows.length;
  return html`<div class="view story-view"><h1 class="hidden-text">Story</h1>
    <section class="story-main" aria-label="Events"><div class="toolbar"><${Search} label="Search the story" value=${query.q ?? ''} onInput=${(q) => refine({ q })} />
        <${Choice} label="Source" value=${query.lane ?? ''} onChange=${(lane) => refine({ lane, source: '' })} options=${[['', 'All'], ...kLanes.map((lane) => [lane.id, lane.name])]} />
        <${Choice} label="Severity" value=${query.level ?? ''} onChange=${(level) => refine({ level })} options=${[['', 'Any'], ['warning', 'Warnings', 'warning'], ['error', 'Errors', 'error']]} />
        ${query.source && html`<${Button} small icon="cancel" onClick=${() => refine({ source: '' })}>${query.source}<//>`}
        <span class="muted tally" role="status">${narrowed ? `${count(shown.length)} of ${count(all)}` : counted(all, 'event')}</span>
        <span class="toolbar-end"><${Choose} label="Open …" small accept=".jsonl,.json,.log,.txt" onFiles=${open} /><${Button} small icon="export" onClick=${() => setExporting(true)}>Export<//></span></div>
      ${error && html`<${Failure} error=${error} title="The file does not open" />`}
      ${opened && html`<p class="note" role="status"><${Icon} name="file" /> This is ${opened.name}, not this terminal. <${Button} small icon="back" onClick=${close}>Back to the terminal<//></p>`}
      ${!opened && story.dropped > 0 && html`<p class="note"><${Icon} name="idle" /> ${counted(story.dropped, 'earlier event')} left this page; recordings of runs still have theirs.</p>`}
      <${Ruler} list=${list} selected=${row} onSelect=${(one) => refine({ at: one.sequence })} />
      <${VirtualList} label="Events" list=${list} keyOf=${(one) => one.sequence} selected=${at} follows=${!opened} onSelect=${(one) => refine({ at: one.sequence })} onPress=${() => bringIntoSight('.story-side')}
        empty=${all === 0 ? html`<${Empty} icon="story" title="Nothing has happened yet"><p>Start an application, install a package or send a message.</p><//>`
          : html`<${Empty} icon="search" title="No event fits"><${Button} small onClick=${() => refine({ q: '', lane: '', source: '', level: '' })}>Show all ${count(all)}<//><//>`}
        row=${(one) => html`<span class="cell time">${clock(one.at)}</span><span class="cell source"><i class="lane-mark lane-${one.lane}" aria-hidden="true"></i>${one.source}</span>
          <span class="cell kind">${one.severity && html`<${Icon} name=${one.severity} size=${12} title=${one.severity} /> `}${one.title}</span><span class="cell text">${one.text}</span>`} /></section>
    <section class="side-panel story-side" aria-label="Chosen event" tabindex="0">${row ? html`<${EventDetails} key=${`${opened?.name ?? ''} ${row.sequence}`} row=${row} story=${story} />`
      : html`<${Empty} icon="story" title="Choose an event"><p>Its cause and what followed from it stand here.</p><//>`}</section>
    ${exporting && html`<${ExportDialog} story=${story} runs=${runs} onClose=${() => setExporting(false)} />`}</div>`;
}
