// A package drawn: the authority, the signer that it issued, the signature, and the archive that the
// signature covers, a line for each archive. What a terminal refuses has a sign and a broken line, not only
// a colour.

import { html } from '../base/html.js';
import { octets } from '../base/format.js';
import { Icon } from '../parts/common.js';

const kKinds = { 1: 'root', 2: 'authority', 3: 'application certificate', 4: 'manifest certificate' };

const nameOf = (subject) => /(?:^|,\s*)CN=([^,]+)/.exec(subject ?? '')?.[1] ?? subject ?? '';

/** A row for each archive: {archive, signer, size, signatureSize, trusted}. */
export function chainOf(pack) {
  const certificates = (pack.certificates ?? []).filter((one) => one.isCertificate);
  const sizes = new Map((pack.entries ?? []).map((entry) => [entry.name, entry.octets]));
  return (pack.archives ?? []).map((archive) => {
    const said = archive.checks.find((check) => check.name === 'signer known')?.detail ?? '';
    const key = /\(([0-9A-F]+)\)$/.exec(said)?.[1];
    const signer = certificates.find((one) => one.subjectKeyId === key);
    return {
      archive,
      signer,
      size: sizes.get(archive.entry),
      signatureSize: sizes.get(archive.signature),
      trusted: Boolean(signer) && /^Accepted/.test(signer.acceptance),
    };
  });
}

function Box({ icon, good, head, lines, caption }) {
  return html`<div class="chain-box ${good ? '' : 'bad'}"><span class="label">${caption}</span>
    <p class="chain-head"><${Icon} name=${good ? icon : 'error'} size=${14} title=${good ? undefined : 'refused'} /> ${head}</p>
    ${lines.filter(Boolean).map((line) => html`<p class="small-text muted">${line}</p>`)}</div>`;
}

const Arrow = ({ word, good }) => html`<div class="chain-arrow ${good ? '' : 'bad'}"><span>${word}</span></div>`;

function ChainRow({ archive, signer, size, signatureSize, trusted }) {
  const digest = archive.checks.find((check) => check.name === 'digest of the archive')?.detail;
  const kind = signer && (kKinds[signer.kind] ?? `kind ${signer.kind}`);
  return html`<li class="chain-row">
    <${Box} caption="Authority" icon="key" good=${trusted} head=${nameOf(signer?.issuer) || 'not known'}
      lines=${[signer ? signer.acceptance : 'The package has no certificate of the signer.']} />
    <${Arrow} word="issued" good=${trusted} />
    <${Box} caption="Signer" icon="certificate" good=${Boolean(signer)} head=${nameOf(signer?.subject) || 'not known'}
      lines=${signer ? [signer.entry, `${kind}, ${signer.keyBits} bits`, signer.dates === 'valid' ? '' : signer.dates] : []} />
    <${Arrow} word="made" good=${Boolean(signer)} />
    <${Box} caption="Signature" icon="link" good=${archive.accepted} head=${archive.signature || 'none'}
      lines=${[digest, signatureSize === undefined ? '' : octets(signatureSize)]} />
    <${Arrow} word="covers" good=${archive.accepted} />
    <${Box} caption=${archive.kind} icon="file" good=${archive.accepted} head=${archive.entry}
      lines=${[`of ${archive.id || 'no application'}`, `${octets(size)}, ${archive.entries.length} ${archive.entries.length === 1 ? 'file' : 'files'}`]} /></li>`;
}

export function Chain({ pack }) {
  const rows = chainOf(pack);
  if (rows.length === 0) return html`<p class="muted">There is no signed archive in it.</p>`;
  return html`<ul class="chain" aria-label="Signatures of ${pack.file}">${rows.map((row) => html`<${ChainRow} key=${row.archive.entry} ...${row} />`)}</ul>`;
}

export function Checks({ archive }) {
  const failed = archive.checks.find((check) => !check.passed);
  return html`<details class="checks" open=${!archive.accepted}>
    <summary>${archive.entry}: ${archive.accepted ? `all ${archive.checks.length} checks passed` : `refused at “${failed?.name ?? 'a check'}”`}</summary>
    <ol>${archive.checks.map((check) => html`<li key=${check.name} class=${check.passed ? '' : 'bad-text'}>
      <${Icon} name=${check.passed ? 'done' : 'error'} size=${13} title=${check.passed ? 'passed' : 'failed'} />
      <span class="strong">${check.name}</span><span class="muted">${check.detail}</span></li>`)}</ol></details>`;
}
