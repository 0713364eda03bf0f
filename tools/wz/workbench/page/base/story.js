// The story: everything that happens, as rows that lists can show. Rows know their cause, where there is
// one, and a message knows its reply.

import { fileName, oneLine } from './format.js';

/** Rows, and messages of the bus, that the page keeps; the oldest go first. The workbench itself keeps all. */
export const kKept = 20000;
export const kKeptMessages = 12000;
const kDropped = 500; // at once, so that dropping costs little and what is kept is nearly the same at any time
const kRightBehind = 500_000; // microseconds

export const kLanes = [
  { id: 'workbench', name: 'Workbench' },
  { id: 'installer', name: 'Installer' },
  { id: 'run', name: 'Applications' },
  { id: 'bus', name: 'Bus' },
  { id: 'host', name: 'Hosts' },
];

const laneOf = (source) => {
  const first = String(source).split(' ', 1)[0];
  return kLanes.some((lane) => lane.id === first) ? first : 'run';
};

const kLevels = ['emergency', 'alert', 'critical', 'error', 'warning', 'notice', 'info', 'debug'];
export const levelName = (level) => (typeof level === 'number' ? kLevels[level] ?? String(level) : String(level ?? ''));

/** "error", "warning" or "" for what a level says. */
export function severityOf(level) {
  const name = levelName(level);
  if (['emergency', 'alert', 'critical', 'error'].includes(name)) return 'error';
  return name === 'warning' || name === 'warn' ? 'warning' : '';
}

const messageText = (line) => `${line.from} → ${line.to}  ${line.name}  ${oneLine(line.payload)}`;
const resultSeverity = (line) => (line.error || (line.result ?? 0) !== 0 ? 'error' : '');
const installSeverity = (line) => (/^Error/.test(line.text) ? 'error' : /^Warning/.test(line.text) ? 'warning' : '');

// By event: its title, its text, and how bad it is.
const kKinds = {
  launched: ['Launched', (l) => `${l.app}, entry ${l.entry}  ${oneLine(l.parameters)}`],
  properties: ['Properties', (l) => oneLine(l.properties)],
  console: ['Console', (l) => l.text, (l) => (l.uncaught ? 'error' : severityOf(l.level))],
  log: ['Script log', (l) => (l.texts ?? []).map((text) => oneLine(text)).join(', '), (l) => severityOf(l.level)],
  requestFailed: ['Request failed', (l) => `${l.status} ${l.url}`, () => 'error'],
  painted: ['First paint', (l) => l.app],
  messageSent: ['Message sent', messageText],
  reply: ['Reply received', (l) => (l.code === 0 || l.code === undefined ? messageText(l) : `${l.name}: no reply, code ${l.code}`),
    (l) => (l.code ? 'warning' : '')],
  messageReceived: ['Message to wz', messageText],
  undelivered: ['Nobody there', (l) => `${messageText(l)}`, () => 'warning'],
  input: ['Input', (l) => [l.action, l.target, l.text].filter(Boolean).join(' ')],
  reloaded: ['Loaded anew', (l) => l.because],
  screenshot: ['Picture', (l) => l.file],
  exited: ['Ended', (l) => `${l.app}, result ${l.result}${l.error ? `: ${l.error}` : ''}`, resultSeverity],
  debugging: ['Debugging', () => 'the page is reached by the workbench'],
  received: ['Host received', messageText],
  asked: ['Host asked', messageText],
  answered: ['Host answers', (l) => `${messageText(l)}${l.malformed ? '  (malformed)' : ''}`, (l) => (l.malformed ? 'warning' : '')],
  'not answered': ['Host is silent', (l) => `${l.name}: ${l.reason}`, () => 'warning'],
  playing: ['Host plays', (l) => oneLine(l.file ?? '')],
  'bus-message': ['Message', messageText, (l) => (l.kind === 'error' ? 'error' : '')],
  'install-begun': ['Installation', (l) => (l.files ?? []).join(', ')],
  'install-line': ['Installer', (l) => l.text, installSeverity],
  'install-done': ['Installed', (l) => (l.done ? 'all packages are done' : 'not every package is done'), (l) => (l.done ? '' : 'error')],
  'run-started': ['Start', (l) => `${fileName(l.application)} ${l.entry ?? ''}`],
  'run-ended': ['End', (l) => `${fileName(l.application)}${l.result === undefined ? '' : `, result ${l.result}`}${l.error ? `: ${l.error}` : ''}`, resultSeverity],
  'host-started': ['Host on', (l) => l.name ?? l.host],
  'host-ended': ['Host off', (l) => `${l.name ?? l.host}${l.error ? `: ${l.error}` : ''}`, (l) => (l.error ? 'error' : '')],
  'bus-lost': ['Bus lost', (l) => l.error ?? 'the message bus has ended', () => 'error'],
  'bus-back': ['Bus back', () => 'the message bus runs'],
};

const kAnswers = { reply: 'Reply', error: 'Error reply' }; // of the bus

/** A row of lists: {sequence, at, source, lane, kind, title, text, severity, line, cause, reply}. */
export function rowOf(event) {
  const line = event.line ?? {};
  const kind = String(line.event ?? 'other');
  const [title, text, severity] = kKinds[kind] ?? [kind, (l) => oneLine(l)];
  const answer = kind === 'bus-message' && kAnswers[line.kind];
  return {
    sequence: event.sequence,
    at: event.at,
    source: event.source,
    lane: laneOf(event.source),
    kind: answer ? 'bus-reply' : kind,
    title: answer || title,
    text: String(text(line) ?? ''),
    severity: severity ? severity(line) : '',
    line,
    cause: 0,
    reply: null, // of a message: the row that answers it
    took: 0,
    failed: false, // its reply is an error
    searched: null,
  };
}

/** Whether a row has every word, in any of its texts. */
export function hasWords(row, words) {
  if (words.length === 0) return true;
  row.searched ??= `${row.source} ${row.title} ${row.text} ${row.severity} ${row.line.app ?? ''}`.toLowerCase();
  return words.every((word) => row.searched.includes(word));
}

export const wordsOf = (text) => String(text ?? '').toLowerCase().split(/\s+/).filter(Boolean);

export class Story {
  rows = [];
  messages = []; // of the bus, in order; replies stand with what they answer
  dropped = 0;
  last = 0;
  version = 0;
  #launched = new Map(); // by source: sequence
  #prompts = new Map(); // by source: the row of the last input or reply
  #sent = new Map(); // by "from to name": sequence of what a script or the page sent
  #bySerial = new Map(); // bus: row of the message
  #asked = new Map(); // by source and message: sequence
  #install = 0;

  /** False for what has been seen before, as after a connection was lost. */
  add(event) {
    if (event.sequence !== undefined && event.sequence <= this.last) return false;
    const row = rowOf(event);
    this.last = row.sequence ?? this.last;
    this.#findCause(row);
    this.rows.push(row);
    if (row.line.event === 'bus-message') this.#addMessage(row);
    if (this.rows.length > kKept) this.#drop();
    this.version++;
    return true;
  }

  at(sequence) {
    const index = this.indexOf(sequence);
    return index < 0 ? null : this.rows[index];
  }

  /** Rows are in order of their sequences, which may have gaps. */
  indexOf(sequence) {
    let low = 0;
    let high = this.rows.length - 1;
    while (low <= high) {
      const middle = (low + high) >> 1;
      const found = this.rows[middle].sequence;
      if (found === sequence) return middle;
      if (found < sequence) low = middle + 1;
      else high = middle - 1;
    }
    return -1;
  }

  #addMessage(row) {
    const { serial, replyTo, kind, took } = row.line;
    const asked = replyTo === undefined ? undefined : this.#bySerial.get(replyTo);
    if (serial !== undefined) this.#bySerial.set(serial, row);
    if (!asked || asked.reply || kind === 'notify') {
      this.messages.push(row);
      if (this.messages.length > kKeptMessages) this.#dropMessages();
      return;
    }
    asked.reply = row;
    asked.took = took ?? row.at - asked.at;
    asked.searched = `${asked.searched ?? `${asked.source} ${asked.title} ${asked.text}`} ${row.text}`.toLowerCase();
    asked.failed = kind === 'error';
  }

  // What a row follows from, by what its line says.
  #findCause(row) {
    const { line, source } = row;
    const key = `${line.from} ${line.to} ${line.name}`;
    switch (line.event) {
      case 'launched':
        row.cause = this.#launched.get(`start ${source}`) ?? 0;
        this.#launched.set(source, row.sequence);
        return;
      case 'run-started':
        this.#launched.set(`start run ${line.run}`, row.sequence);
        return;
      case 'run-ended':
        row.cause = this.#launched.get(`end run ${line.run}`) ?? this.#launched.get(`run ${line.run}`) ?? 0;
        return;
      case 'input':
        row.cause = this.#launched.get(source) ?? 0;
        this.#prompts.set(source, row);
        return;
      case 'messageSent':
        row.cause = this.#prompted(row);
        this.#sent.set(key, row.sequence);
        return;
      case 'bus-message':
        row.cause = line.replyTo === undefined
          ? this.#sent.get(key) ?? 0
          : this.#bySerial.get(line.replyTo)?.sequence ?? 0;
        return;
      case 'asked':
      case 'received':
        row.cause = this.#messageLike(line)?.sequence ?? this.#sent.get(key) ?? 0;
        this.#asked.set(`${source} ${line.from} ${line.to}`, row.sequence);
        return;
      case 'answered':
      case 'not answered':
        row.cause = this.#asked.get(`${source} ${line.to} ${line.from}`) ?? this.#asked.get(`${source} ${line.from} ${line.to}`) ?? 0;
        return;
      case 'reply':
        row.cause = this.#sentTo(line) ?? this.#launched.get(source) ?? 0;
        this.#prompts.set(source, row);
        return;
      case 'install-begun':
        this.#install = row.sequence;
        return;
      case 'install-line':
      case 'install-done':
        row.cause = this.#install;
        return;
      case 'exited':
        row.cause = this.#launched.get(source) ?? 0;
        this.#launched.set(`end ${source}`, row.sequence);
        return;
      default:
        row.cause = this.#prompted(row);
    }
  }

  // What an application does right behind an input or a reply follows from that, otherwise from its launch.
  #prompted(row) {
    const prompt = this.#prompts.get(row.source);
    return prompt && row.at - prompt.at < kRightBehind ? prompt.sequence : this.#launched.get(row.source) ?? 0;
  }

  // The message on the bus that a host's line tells of: the newest of its name between the two.
  #messageLike(line) {
    for (let i = this.messages.length - 1; i >= 0 && i >= this.messages.length - 200; i--) {
      const message = this.messages[i].line;
      if (message.name === line.name && message.from === line.from && message.to === line.to) return this.messages[i];
    }
    return null;
  }

  // A reply goes the other way, under the message's name or that name with "_reply".
  #sentTo(line) {
    const plain = String(line.name ?? '').replace(/_reply$/, '');
    for (const [from, to] of [[line.to, line.from], [line.from, line.to]]) {
      const found = this.#sent.get(`${from} ${to} ${plain}`) ?? this.#sent.get(`${from} ${to} ${line.name}`);
      if (found) return found;
    }
    return undefined;
  }

  #dropMessages() {
    this.messages.splice(0, kDropped);
    const first = this.messages[0].sequence;
    for (const [serial, row] of this.#bySerial) {
      if (row.sequence >= first) break; // in order of arrival
      this.#bySerial.delete(serial);
    }
  }

  #drop() {
    const gone = this.rows.splice(0, kDropped);
    this.dropped += gone.length;
    const first = this.rows[0].sequence;
    for (const map of [this.#sent, this.#asked]) {
      for (const [key, sequence] of map) if (sequence < first) map.delete(key);
    }
  }
}
