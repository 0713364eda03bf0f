// What to start, with what, and on which display. What has been filled in is remembered for each entry.

import { html, useEffect, useMemo, useState } from '../base/html.js';
import { applicationsOf, attempt, keyOf, store, toast, useStore } from '../base/store.js';
import { go, useRoute } from '../base/router.js';
import { wholeNumber } from '../base/format.js';
import { Button, Empty, Failure, Field, Loading } from '../parts/common.js';

// What hosts hand over, whatever the manifest names.
const kHostParameters = [
  { name: 'wz_parameters', description: 'JSON; the application finds it in wz.properties', json: true },
  { name: 'wz_system', description: 'the system that starts it' },
];
const kSizes = ['320x480', '480x800', '480x854', '1024x600'];
const remembered = new Map(); // by application and entry

const textOf = (value) => (value === undefined || value === null ? '' : typeof value === 'string' ? value : JSON.stringify(value));

function parametersOf(entry) {
  const own = entry?.parameters ?? [];
  const names = new Set(own.map(({ name }) => name));
  return [...own, ...kHostParameters.filter(({ name }) => !names.has(name))];
}

function wrongJson(parameter, value) {
  const looks = parameter.json || /^\s*[{[]/.test(value);
  if (!looks || value.trim() === '') return '';
  try {
    JSON.parse(value);
    return '';
  } catch {
    return 'This is not JSON yet.';
  }
}

function ParameterFields({ entry, values, setValues, own, setOwn }) {
  return html`<fieldset class="parameters"><legend>Parameters</legend>
    ${parametersOf(entry).map((parameter) => html`<${Field} key=${parameter.name} label=${parameter.name} hint=${parameter.description}
      error=${wrongJson(parameter, values[parameter.name] ?? '')} make=${(id, hint) => html`<textarea id=${id} aria-describedby=${hint} rows="1"
        class="grows mono" spellcheck="false" value=${values[parameter.name] ?? textOf(parameter.value)}
        onInput=${(event) => setValues({ ...values, [parameter.name]: event.target.value })}></textarea>`} />`)}
    ${own.map((pair, index) => html`<div class="pair" key=${index}>
      <input class="mono" aria-label="Name of parameter ${index + 1}" placeholder="name" value=${pair[0]}
        onInput=${(event) => setOwn(own.map((one, i) => (i === index ? [event.target.value, one[1]] : one)))} />
      <input class="mono" aria-label="Value of parameter ${index + 1}" placeholder="value" value=${pair[1]}
        onInput=${(event) => setOwn(own.map((one, i) => (i === index ? [one[0], event.target.value] : one)))} />
      <${Button} kind="quiet" small icon="cancel" aria-label="Take parameter ${index + 1} away" onClick=${() => setOwn(own.filter((one, i) => i !== index))} /></div>`)}
    <${Button} kind="quiet" small icon="add" onClick=${() => setOwn([...own, ['', '']])}>Another parameter<//></fieldset>`;
}

function DisplayFields({ terminal, display, setDisplay }) {
  const set = (members) => setDisplay({ ...display, ...members });
  const own = terminal ? `${terminal.width}x${terminal.height}` : '480x800';
  const sizes = kSizes.includes(own) ? kSizes : [own, ...kSizes];
  const sizeError = display.size && !/^[1-9]\d{0,4}x[1-9]\d{0,4}$/.test(display.size) ? 'Write it as 480x800.' : '';
  const keysError = display.keypad !== '' && wholeNumber(display.keypad, 0, 255) === null ? 'A number from 0 to 255.' : '';
  return html`<details class="display-fields"><summary>Display, language, keys</summary><div class="field-row">
    <${Field} label="Size" hint=${`of the terminal: ${own}`} error=${sizeError} make=${(id, hint) => html`<input id=${id} aria-describedby=${hint} class="mono" list="sizes"
      placeholder=${own} value=${display.size} onInput=${(event) => set({ size: event.target.value.trim() })} /><datalist id="sizes">${sizes.map((size) => html`<option value=${size} />`)}</datalist>`} />
    <${Field} label="Language" hint="as de or en-IE" make=${(id, hint) => html`<input id=${id} aria-describedby=${hint} class="mono" placeholder="the machine's" value=${display.locale}
      onInput=${(event) => set({ locale: event.target.value.trim() })} />`} />
    <${Field} label="Keys" hint=${`of the terminal: ${terminal?.keys ?? 0}`} error=${keysError} make=${(id, hint) => html`<input id=${id} aria-describedby=${hint} class="mono" inputmode="numeric"
      placeholder=${String(terminal?.keys ?? 0)} value=${display.keypad} onInput=${(event) => set({ keypad: event.target.value.trim() })} />`} />
    <label class="check"><input type="checkbox" checked=${display.touch} onChange=${(event) => set({ touch: event.target.checked })} /> Touch screen</label></div>
    <p class="hint">For the next start; the terminal stays as it is.</p></details>`;
}

/** The members of the question "start". */
function questionOf(application, entry, values, own, display, terminal) {
  const parameters = {};
  for (const parameter of parametersOf(entry)) {
    const value = values[parameter.name] ?? textOf(parameter.value);
    if (value !== '') parameters[parameter.name] = value;
  }
  for (const [name, value] of own) if (name.trim() !== '') parameters[name.trim()] = value;
  const size = /^(\d+)x(\d+)$/.exec(display.size);
  const keypad = wholeNumber(display.keypad, 0, 255);
  return {
    ...(application.source === 'folder' ? { folder: application.path } : { application: application.id }),
    entry: entry.entry,
    parameters,
    record: true,
    ...(size && { display: { width: Number(size[1]), height: Number(size[2]) } }),
    ...(display.locale && { locale: display.locale }),
    ...(terminal && display.touch !== terminal.touch && { touch: display.touch }),
    ...(display.keypad !== '' && keypad !== null && { keypad }),
  };
}

export function StartForm() {
  const { state, value, error } = useStore((s) => s.applications);
  const terminal = useStore((s) => s.terminal);
  const { query } = useRoute();
  const all = useMemo(() => applicationsOf(value), [value]);
  const [chosen, setChosen] = useState(query.application ?? '');
  const [entryName, setEntryName] = useState(query.entry ?? '');
  const [values, setValues] = useState({});
  const [own, setOwn] = useState([]);
  const [display, setDisplay] = useState({ size: '', locale: '', keypad: '', touch: terminal?.touch ?? true });
  const [starting, setStarting] = useState(false);

  useEffect(() => {
    if (query.application) setChosen(query.application);
    if (query.entry) setEntryName(query.entry);
  }, [query.application, query.entry]);
  useEffect(() => {
    if (terminal) setDisplay((before) => ({ ...before, touch: terminal.touch }));
  }, [terminal?.touch]);

  const application = all.find((one) => keyOf(one) === chosen) ?? all.find((one) => one.entries?.some(({ entry: name }) => name === 'desktop')) ?? all.find((one) => one.entries?.length > 0) ?? all[0];
  const entry = application?.entries?.find((one) => one.entry === entryName) ?? application?.entries?.[0];
  const place = application && entry ? `${keyOf(application)} ${entry.entry}` : '';
  useEffect(() => {
    const before = remembered.get(place);
    setValues(before?.values ?? {});
    setOwn(before?.own ?? []);
  }, [place]);

  if (state === 'loading' && !value) return html`<${Loading} what="Applications are looked for" />`;
  if (state === 'failed' && !value) return html`<${Failure} error=${error} />`;
  if (!application) {
    return html`<${Empty} icon="applications" title="There is no application yet"><p>Install a package, or add a folder with an application.</p>
      <p class="actions"><a class="button" href="#/install">Install</a><a class="button" href="#/applications">Add a folder</a></p><//>`;
  }

  const start = async (event) => {
    event.preventDefault();
    remembered.set(place, { values, own });
    setStarting(true);
    const answer = await attempt('start', questionOf(application, entry, values, own, display, terminal));
    setStarting(false);
    if (answer) go('terminal', '', { run: answer.run });
  };
  const options = (list) => list.map((one) => html`<option key=${keyOf(one)} value=${keyOf(one)}>${one.name || one.id}${one.version ? `  ${one.version}` : ''}</option>`);
  return html`<form class="start-form" onSubmit=${start} aria-label="Start an application">
    <${Field} label="Application" make=${(id) => html`<select id=${id} value=${keyOf(application)} onChange=${(event) => { setChosen(event.target.value); setEntryName(''); }}>
      ${value.installed?.length > 0 && html`<optgroup label="Installed">${options(value.installed)}</optgroup>`}
      ${value.folders?.length > 0 && html`<optgroup label="Folders">${options(value.folders)}</optgroup>`}</select>`} />
    ${application.problem && html`<p class="hint bad-text">${application.problem}</p>`}
    ${entry ? html`
      <${Field} label="Entry" make=${(id) => html`<select id=${id} value=${entry.entry} onChange=${(event) => setEntryName(event.target.value)}>
        ${application.entries.map((one) => html`<option key=${one.entry} value=${one.entry}>${one.entry}${one.name && one.name !== one.entry ? ` (${one.name})` : ''}</option>`)}</select>`} />
      <${ParameterFields} entry=${entry} values=${values} setValues=${setValues} own=${own} setOwn=${setOwn} />
      <${DisplayFields} terminal=${terminal} display=${display} setDisplay=${setDisplay} />
      <button type="submit" class="button primary start-button" disabled=${starting}>${starting ? 'Starting …' : `Start ${application.name || application.id}`}</button>`
    : html`<p class="muted">Its manifest names no page to start.</p>`}</form>`;
}
