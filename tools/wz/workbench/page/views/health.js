// What wz doctor finds on this machine, and what the workbench itself is.

import { html, useState } from '../base/html.js';
import { connection, store, toast, useStore } from '../base/store.js';
import { count, octets } from '../base/format.js';
import { useAnswer } from '../base/load.js';
import { Answer, Badge, Button, Code, Facts, Icon } from '../parts/common.js';

function Finding({ one }) {
  return html`<li class=${one.severity}><${Icon} name=${one.severity} title=${one.severity} /><div><p><span class="strong">${one.message}</span> <${Code} code=${one.code} /></p>
    ${one.evidence && html`<p class="small-text muted">${one.evidence}</p>`}${one.repair && html`<p><span class="label">Repair</span> ${one.repair}</p>`}</div></li>`;
}

export default function HealthView() {
  const online = useStore((s) => s.link.state === 'open');
  const terminal = useStore((s) => s.terminal);
  const bus = useStore((s) => s.bus);
  const version = useStore((s) => s.version);
  const held = useStore((s) => s.story.rows.length);
  const [repairing, setRepairing] = useState(false);
  const answer = useAnswer(() => (online ? connection.wz('doctor', {}) : new Promise(() => {})), [online]);
  const repair = async () => {
    setRepairing(true);
    try {
      await connection.wz('doctor', { repair: true });
      toast('What could be mended has been mended.');
    } catch (error) {
      toast(error.message, { kind: 'error' });
    }
    setRepairing(false);
    answer.again();
  };
  return html`<div class="view health-view"><h1 class="hidden-text">Health</h1>
    <section class="health-main"><div class="section-head"><h2>This machine</h2><span class="toolbar-end"><${Button} small icon="again" onClick=${answer.again}>Look again<//>
        <${Button} small icon="health" disabled=${repairing} onClick=${repair}>${repairing ? 'Mending …' : 'Mend what can be'}<//></span></div>
      <${Answer} answer=${answer} what="wz doctor looks">${(document) => html`
        <ul class="facts-list">${(document.result?.facts ?? []).map((fact) => html`<li key=${fact.name}><${Badge} state=${fact.good ? 'done' : 'warning'}>${fact.good ? 'good' : 'not there'}<//>
          <span class="strong">${fact.name}</span><span class="muted">${fact.found || '–'}</span></li>`)}</ul>
        ${document.diagnostics?.length > 0 && html`<h2>What to do</h2><ul class="diagnostics">${document.diagnostics.map((one, index) => html`<${Finding} key=${index} one=${one} />`)}</ul>`}`}<//></section>
    <section class="health-side" aria-label="Terminal and workbench"><h2>The terminal</h2>
      ${terminal ? html`<${Facts} facts=${[['Model', terminal.modelName], ['Serial', terminal.serial], ['Display', `${terminal.width} × ${terminal.height}, ${terminal.colour ? 'colours' : 'black and white'}`],
        ['Touch', terminal.touch ? 'yes' : 'no'], ['Keys', String(terminal.keys)], ['Memory', octets(terminal.memoryKB * 1024)], ['Sponsor', terminal.sponsor && `${terminal.sponsor}, ${terminal.sponsorText}`],
        ['Platform', terminal.platform], ['Folder', terminal.folder && html`<code>${terminal.folder}</code>`]]} />` : html`<p class="muted">Not told yet.</p>`}
      ${(terminal?.notes ?? []).map((note) => html`<p class="note" key=${note}><${Icon} name="idle" /> ${note}</p>`)}
      <h2>The workbench</h2><${Facts} facts=${[['Version', version], ['Bus', html`<${Badge} state=${bus === 'down' ? 'error' : 'done'}>${bus || 'not told'}<//>`], ['Events on this page', count(held)]]} /></section></div>`;
}
