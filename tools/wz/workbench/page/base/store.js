// What the page knows, in one place. Parts ask for a piece with useStore and are drawn anew when it is
// another one; many changes at once are told once, before the next picture.

import { useEffect, useReducer, useRef } from './html.js';
import { Connection } from './connection.js';
import { Story } from './story.js';

export const store = {
  link: { state: 'connecting' },
  version: '',
  server: '',
  terminal: null,
  runs: [],
  hosts: [],
  bus: '',
  story: new Story(),
  storyVersion: 0,
  applications: { state: 'loading', value: null, error: '' },
  stamps: { applications: 0, history: 0, files: 0 }, // go up when such things have changed
  toasts: [],
};

const listeners = new Set();

const kCalm = 60; // milliseconds between two drawings for events that flood in

let lastTold = 0;
let waiting = 0; // the timer of a telling that is put off
let asked = false; // one is due before the next picture

function tell() {
  asked = false;
  lastTold = performance.now();
  for (const listener of [...listeners]) listener();
}

function tellSoon() {
  clearTimeout(waiting);
  waiting = 0;
  if (asked) return;
  asked = true;
  // A tab that is not looked at gets no pictures, but must not fall behind.
  if (document.hidden) tell();
  else requestAnimationFrame(tell);
}

/** Says that the store has changed. What comes in floods may be put off until `calm` milliseconds after the last
 * telling. */
export function changed(calm = 0) {
  const wait = lastTold + calm - performance.now();
  if (wait <= 0) tellSoon();
  else if (!asked) waiting ||= setTimeout(tellSoon, wait);
}

export function useStore(pick) {
  const [, again] = useReducer((n) => n + 1, 0);
  const value = pick(store);
  const last = useRef(value);
  last.current = value;
  const picker = useRef(pick);
  picker.current = pick;
  useEffect(() => {
    const look = () => {
      if (picker.current(store) !== last.current) again();
    };
    listeners.add(look);
    look();
    return () => listeners.delete(look);
  }, []);
  return value;
}

export const connection = new Connection({
  status(link) {
    store.link = link;
    changed();
  },
  hello(hello) {
    // Another start of the workbench counts its events anew.
    if (store.server !== '' && hello.server !== store.server) store.story = new Story();
    store.server = hello.server ?? '';
    store.version = hello.version ?? '';
    store.terminal = hello.terminal ?? null;
    void loadApplications();
    changed();
    return store.story.last + 1;
  },
  event(event) {
    if (!store.story.add(event)) return;
    store.storyVersion++;
    changed(kCalm);
  },
  state({ runs, hosts, bus }) {
    if (runs) store.runs = runs;
    if (hosts) store.hosts = hosts;
    if (bus !== undefined) store.bus = bus;
    changed();
  },
  changed(what) {
    const stamps = { ...store.stamps };
    for (const one of what) stamps[one] = (stamps[one] ?? 0) + 1;
    store.stamps = stamps;
    if (what.includes('applications')) void loadApplications();
    changed();
  },
});

export async function loadApplications() {
  try {
    store.applications = { state: 'ready', value: await connection.ask('applications'), error: '' };
  } catch (error) {
    store.applications = { state: 'failed', value: store.applications.value, error: error.message };
  }
  changed();
}

/** All applications: those in folders behind those installed. */
export function applicationsOf(value) {
  return value ? [...(value.installed ?? []), ...(value.folders ?? [])] : [];
}

/** What names an application in addresses: an id for one that is installed, "folder:PATH" for a folder. */
export const keyOf = (application) => (application.source === 'folder' ? `folder:${application.path}` : application.id);

let nextToast = 1;

/** Says something for a moment: {text, kind: "done"|"error", href?, link?}. */
export function toast(text, more = {}) {
  const id = nextToast++;
  store.toasts = [...store.toasts.slice(-3), { id, text, kind: 'done', ...more }];
  changed();
  setTimeout(() => dismiss(id), more.kind === 'error' ? 12000 : 6000);
}

export function dismiss(id) {
  store.toasts = store.toasts.filter((one) => one.id !== id);
  changed();
}

/** Asks, and tells of a failure. Answers with undefined then. */
export async function attempt(what, members) {
  try {
    return await connection.ask(what, members);
  } catch (error) {
    toast(error.message, { kind: 'error' });
    return undefined;
  }
}
