// The drawn terminal, with the live picture of a running application. What is pointed at, touched and
// typed there goes to the application.

import { html, useEffect, useRef, useState } from '../base/html.js';
import { connection, useStore } from '../base/store.js';
import { Icon } from '../parts/common.js';

// What a keypad's keys are on a PC, and how they are named on the drawn one.
const kKeys = [
  ['1', '1'], ['2', '2'], ['3', '3'], ['4', '4'], ['5', '5'], ['6', '6'], ['7', '7'], ['8', '8'], ['9', '9'],
  ['*', '*'], ['0', '0'], ['#', '#'],
  ['Escape', 'Cancel', 'red', 'cancel'], ['Backspace', 'Correct', 'yellow', 'back'], ['Enter', 'Confirm', 'green', 'done'],
];
const kMoreKeys = [['ArrowUp', 'Up'], ['ArrowDown', 'Down'], ['F1', 'F1'], ['F2', 'F2'], ['F3', 'F3'], ['F4', 'F4'], ['Tab', 'Tab']];

const kButtons = ['left', 'middle', 'right'];

const codeOf = (key) => (/^\d$/.test(key) ? `Digit${key}` : key.length > 1 ? key : '');

function pressKey(run, key) {
  const text = key.length === 1 ? key : undefined;
  connection.tell('key', { run, type: 'press', key, code: codeOf(key), ...(text && { text }) });
}

/** The picture of a run on a canvas. `touch`: pointers are fingers. */
function Screen({ run, width, height, touch, name }) {
  const canvas = useRef(null);
  const [seen, setSeen] = useState(false);

  useEffect(() => {
    setSeen(false);
    const context = canvas.current.getContext('2d', { alpha: false });
    let newest = 0;
    return connection.look(run, async (picture, { frame, width: w, height: h }) => {
      const bitmap = await createImageBitmap(picture);
      const element = canvas.current;
      if (element && frame >= newest) {
        newest = frame;
        if (element.width !== w || element.height !== h) Object.assign(element, { width: w, height: h });
        context.drawImage(bitmap, 0, 0, element.width, element.height);
        element.dataset.frame = String(frame);
        setSeen(true);
      }
      bitmap.close();
    });
  }, [run]);

  const place = (event) => {
    const box = canvas.current.getBoundingClientRect();
    return {
      x: Math.round(((event.clientX - box.left) / box.width) * width * 10) / 10,
      y: Math.round(((event.clientY - box.top) / box.height) * height * 10) / 10,
    };
  };
  const moved = useRef(null);
  const send = (type, event, more = {}) =>
    connection.tell('pointer', { run, type, ...place(event), button: kButtons[event.button] ?? 'none', ...(touch && { touch: true }), ...more });
  const down = (event) => {
    event.preventDefault();
    send('down', event);
    canvas.current.focus({ preventScroll: true });
    canvas.current.setPointerCapture(event.pointerId);
  };
  const move = (event) => {
    if (touch && event.buttons === 0) return; // a finger that does not touch is not there
    // One place a picture is enough.
    const first = moved.current === null;
    moved.current = { clientX: event.clientX, clientY: event.clientY, button: event.buttons & 1 ? 0 : -1 };
    if (first) requestAnimationFrame(() => {
      if (moved.current && canvas.current) send('move', moved.current);
      moved.current = null;
    });
  };
  const up = (event) => {
    if (moved.current) send('move', moved.current);
    moved.current = null;
    send('up', event);
  };
  const wheel = (event) => {
    event.preventDefault();
    send('wheel', event, { button: 'none', dx: Math.round(event.deltaX), dy: Math.round(event.deltaY) });
  };
  // The wheel's own listener: one that may keep the page from scrolling.
  useEffect(() => {
    const element = canvas.current;
    element.addEventListener('wheel', wheel, { passive: false });
    return () => element.removeEventListener('wheel', wheel);
  });
  // Tab leaves the screen, as everywhere on this page; the drawn key sends it.
  const key = (type) => (event) => {
    if (event.key === 'Tab' || event.altKey || event.ctrlKey || event.metaKey) return;
    event.preventDefault();
    const text = type === 'down' && event.key.length === 1 ? { text: event.key } : {};
    connection.tell('key', { run, type, key: event.key, code: event.code, ...text });
  };

  return html`<div class="screen">
    <canvas ref=${canvas} width=${width} height=${height} tabindex="0" role="application" aria-label="Screen of ${name}. What you type here goes to it; Tab leaves."
      onPointerDown=${down} onPointerMove=${move} onPointerUp=${up} onPointerCancel=${up} onContextMenu=${(event) => event.preventDefault()}
      onKeyDown=${key('down')} onKeyUp=${key('up')}></canvas>
    ${!seen && html`<div class="screen-wait" role="status">Waiting for the first picture …</div>`}</div>`;
}

function Keypad({ run }) {
  return html`<div class="keypad" role="group" aria-label="Keys of the terminal">${kKeys.map(([key, name, colour, icon]) => html`
    <button type="button" key=${key} class="key ${colour ?? ''}" aria-label=${name} disabled=${!run} onClick=${() => pressKey(run, key)}>
      ${icon ? html`<${Icon} name=${icon} />` : name}</button>`)}</div>`;
}

/** Keys in a row, for a terminal that has none: the PC's keyboard reaches the page all the same. */
export function KeyRow({ run }) {
  return html`<details class="key-row"><summary>Keys</summary><div role="group" aria-label="Keys">
    ${[...kKeys.slice(12), ...kMoreKeys].map(([key, name]) => html`<button type="button" key=${key} class="button small" onClick=${() => pressKey(run, key)}>${name}</button>`)}</div></details>`;
}

/** The terminal by its model: a touch screen alone, or a screen above keys. */
export function Device({ terminal, run, small, children }) {
  const width = run?.display?.width || terminal?.width || 480;
  const height = run?.display?.height || terminal?.height || 800;
  const keys = run?.keypad ?? terminal?.keys ?? 0;
  const touch = run?.touch ?? terminal?.touch ?? true;
  const live = run && run.state !== 'ended';
  const server = useStore((s) => s.server); // another one counts runs and pictures anew
  return html`<div class="device ${keys > 0 ? 'with-keys' : ''} ${small ? 'small' : ''} ${width > height ? 'lying' : ''}" data-model=${terminal?.model}>
    <div class="device-top"><span class="lights" aria-hidden="true"><i class=${live ? 'lit' : ''}></i><i></i><i></i><i></i></span>
      <span class="device-name">${terminal?.modelName || terminal?.model || 'Terminal'}</span>
      <svg class="waves" width="16" height="16" viewBox="0 0 20 20" fill="none" stroke="currentColor" stroke-width="1.6" stroke-linecap="round" aria-hidden="true">
        <path d="M5 7a5 5 0 0 1 0 6M8 4.500a9 9 0 0 1 0 11M11 2a13 13 0 0 1 0 16" /></svg></div>
    ${live
      ? html`<${Screen} key=${`${server} ${run.run}`} run=${run.run} width=${width} height=${height} touch=${touch} name=${run.application} />`
      : html`<div class="screen dark"><div class="screen-rest">${children}</div>
          <canvas width=${width} height=${height} aria-hidden="true"></canvas></div>`}
    ${keys > 0 && html`<${Keypad} run=${live ? run.run : 0} />`}
    <div class="device-slot" aria-hidden="true"></div></div>`;
}
