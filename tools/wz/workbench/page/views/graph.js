// Who exports what, and who imports it: exporters on the left, what they export in the middle, importers on
// the right. What nobody exports is marked by a sign, a word and a broken outline.

import { html, useMemo } from '../base/html.js';
import { address } from '../base/router.js';
import { keyOf } from '../base/store.js';
import { Empty } from '../parts/common.js';

const kRow = 44;
const kBox = { width: 176, height: 34 };
const kColumns = { exporter: 8, feature: 292, importer: 576 };
const kWidth = 760;
const kTerminal = 'the terminal';

/** {exporters, features, importers, edges}, each with its place. */
export function graphOf(applications, terminal) {
  const features = new Map(); // "trigger ID": {kind, id, exporters, importers}
  const feature = (kind, id) => {
    const key = `${kind} ${id}`;
    if (!features.has(key)) features.set(key, { key, kind, id, exporters: [], importers: [] });
    return features.get(key);
  };
  const exportsOf = (owner, triggers = [], interfaces = []) => {
    for (const id of triggers) feature('trigger', id).exporters.push(owner);
    for (const id of interfaces) feature('interface', id).exporters.push(owner);
  };
  exportsOf(kTerminal, terminal?.exportsTriggers, terminal?.exportsInterfaces);
  for (const one of applications) {
    exportsOf(keyOf(one), one.exportsTriggers, one.exportsInterfaces);
    for (const { id, optional } of one.importsTriggers ?? []) feature('trigger', id).importers.push({ key: keyOf(one), optional });
    for (const { id, optional } of one.importsInterfaces ?? []) feature('interface', id).importers.push({ key: keyOf(one), optional });
  }
  // What is neither imported nor an application's own says nothing about the applications.
  const shown = [...features.values()].filter((one) => one.importers.length > 0 || one.exporters.some((owner) => owner !== kTerminal));
  shown.sort((a, b) => (a.exporters[0] ?? '').localeCompare(b.exporters[0] ?? '') || a.key.localeCompare(b.key));
  const order = (keys) => [...new Set(keys)].map((key, index) => ({ key, y: index * kRow }));
  return {
    exporters: order(shown.flatMap((one) => one.exporters)),
    features: shown.map((one, index) => ({ ...one, y: index * kRow })),
    importers: order(shown.flatMap((one) => one.importers.map(({ key }) => key))),
  };
}

const curve = (x1, y1, x2, y2) => `M${x1} ${y1}C${(x1 + x2) / 2} ${y1} ${(x1 + x2) / 2} ${y2} ${x2} ${y2}`;
const cut = (text, most) => (text.length > most ? `${text.slice(0, most - 1)}…` : text);

function Owner({ node, x, nameOf }) {
  const box = html`<rect x=${x} y=${node.y} width=${kBox.width} height=${kBox.height} rx="6" class="graph-box" />
    <text x=${x + 12} y=${node.y + 22} class="graph-name">${cut(nameOf(node.key), 20)}</text>`;
  if (node.key === kTerminal) return html`<g class="graph-terminal">${box}</g>`;
  return html`<a href=${address('applications', node.key)} aria-label=${nameOf(node.key)} class="graph-application">${box}</a>`;
}

export function Graph({ applications, terminal }) {
  const graph = useMemo(() => graphOf(applications, terminal), [applications, terminal]);
  if (graph.features.length === 0) {
    return html`<${Empty} icon="link" title="Nothing is exported or imported"><p>Triggers and interfaces of manifests are drawn here.</p><//>`;
  }
  const nameOf = (key) => (key === kTerminal ? 'Terminal software' : key.replace(/^folder:.*\/([^/]+)\/?$/, '$1 (folder)'));
  const placeIn = (nodes, key) => nodes.find((node) => node.key === key).y + kBox.height / 2;
  const height = Math.max(graph.exporters.length, graph.features.length, graph.importers.length) * kRow;
  const middle = kBox.height / 2;
  return html`<div class="graph-frame" tabindex="0" role="region" aria-label="Graph of exports and imports">
    <div class="graph-heads" aria-hidden="true"><span>Exports</span><span>Trigger or interface</span><span>Imports</span></div>
    <svg class="graph" viewBox="0 0 ${kWidth} ${height}" width=${kWidth} height=${height} role="group" aria-label="Exports and imports">
      ${graph.features.map((one) => html`<g key=${`e${one.key}`}>
        ${one.exporters.map((owner) => html`<path class="edge" d=${curve(kColumns.exporter + kBox.width, placeIn(graph.exporters, owner), kColumns.feature, one.y + middle)} />`)}
        ${one.importers.map(({ key, optional }) => html`<path class="edge ${optional ? 'optional' : ''} ${one.exporters.length === 0 ? 'broken' : ''}"
          d=${curve(kColumns.feature + kBox.width, one.y + middle, kColumns.importer, placeIn(graph.importers, key))} />`)}</g>`)}
      ${graph.exporters.map((node) => html`<${Owner} key=${`x${node.key}`} node=${node} x=${kColumns.exporter} nameOf=${nameOf} />`)}
      ${graph.importers.map((node) => html`<${Owner} key=${`i${node.key}`} node=${node} x=${kColumns.importer} nameOf=${nameOf} />`)}
      ${graph.features.map((one) => html`<g key=${one.key} class="graph-feature ${one.kind} ${one.exporters.length === 0 ? 'missing' : ''}">
        <title>${one.kind} ${one.id}${one.exporters.length === 0 ? ', exported by nobody' : ''}</title>
        <rect x=${kColumns.feature} y=${one.y} width=${kBox.width} height=${kBox.height} rx=${one.kind === 'trigger' ? 17 : 3} />
        <text x=${kColumns.feature + 14} y=${one.y + 15} class="graph-kind">${one.exporters.length === 0 ? `⚠ ${one.kind}, missing` : one.kind}</text>
        <text x=${kColumns.feature + 14} y=${one.y + 28} class="graph-id">${cut(one.id, 24)}</text></g>`)}
    </svg>
    <p class="legend"><span class="line-sample"></span> needed <span class="line-sample optional"></span> optional <span class="line-sample broken"></span> exported by nobody</p></div>`;
}

/** The same as a list, for those who do not look at pictures. */
export function GraphTable({ applications, terminal }) {
  const graph = useMemo(() => graphOf(applications, terminal), [applications, terminal]);
  return html`<div class="table-frame" tabindex="0" role="region" aria-label="Exports and imports as a table"><table><thead><tr><th scope="col">Trigger or interface</th><th scope="col">Exported by</th><th scope="col">Imported by</th></tr></thead>
    <tbody>${graph.features.map((one) => html`<tr key=${one.key}><th scope="row">${one.kind} ${one.id}</th>
      <td>${one.exporters.join(', ') || '⚠ nobody'}</td><td>${one.importers.map(({ key, optional }) => `${key}${optional ? ' (optional)' : ''}`).join(', ') || 'nobody'}</td></tr>`)}</tbody></table></div>`;
}
