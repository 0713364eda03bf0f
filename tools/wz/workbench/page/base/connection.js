// The WebSocket to the workbench: questions with answers, numbered events, frames of running
// applications. A connection that is lost is made again, and the events go on behind the last one seen.

const kFirstWait = 400;
const kLongestWait = 5000;
const kFrameHeader = 16;

export class Connection {
  #socket = null;
  #asked = new Map(); // by the question's id
  #lookers = new Map(); // by run: Set of functions
  #nextId = 1;
  #opening = []; // what waits for the first connection
  #wait = kFirstWait;
  #handlers;

  /** `handlers`: status({state, retryAt}), hello, event, state, changed. */
  constructor(handlers) {
    this.#handlers = handlers;
  }

  open() {
    this.#handlers.status({ state: 'connecting' });
    const scheme = location.protocol === 'https:' ? 'wss' : 'ws';
    const socket = new WebSocket(`${scheme}://${location.host}/socket`);
    socket.binaryType = 'arraybuffer';
    socket.onmessage = ({ data }) => (typeof data === 'string' ? this.#text(data) : this.#frame(data));
    socket.onclose = () => this.#lost();
    this.#socket = socket;
  }

  /** Answers with the result, or fails with an Error that has the server's words (and `document`). */
  async ask(what, members = {}) {
    if (this.#opening) await new Promise((resolve) => this.#opening.push(resolve));
    if (this.#socket?.readyState !== WebSocket.OPEN) throw new Error('There is no connection to the workbench.');
    const id = this.#nextId++;
    this.#socket.send(JSON.stringify({ ...members, id, do: what }));
    return new Promise((resolve, reject) => this.#asked.set(id, { resolve, reject }));
  }

  /** The same where nobody waits for the answer: pointers, keys, frames seen. */
  tell(what, members = {}) {
    if (this.#socket?.readyState !== WebSocket.OPEN) return;
    this.#socket.send(JSON.stringify({ ...members, id: this.#nextId++, do: what }));
  }

  /** The JSON document that a command of wz prints. Fails when there is none. */
  async wz(command, members = {}) {
    const result = await this.ask('wz', { command, arguments: members });
    return result.document ?? result;
  }

  /** Calls `show(blob, {frame, width, height})` with the pictures of a run; returns what ends it. */
  look(run, show) {
    if (!this.#lookers.has(run)) this.#lookers.set(run, new Set());
    const lookers = this.#lookers.get(run);
    lookers.add(show);
    if (lookers.size === 1) this.ask('look', { run, on: true }).catch(() => {});
    return () => {
      lookers.delete(show);
      if (lookers.size > 0) return;
      this.#lookers.delete(run);
      this.ask('look', { run, on: false }).catch(() => {});
    };
  }

  #text(data) {
    const message = JSON.parse(data);
    if (message.id !== undefined && this.#asked.has(message.id)) {
      const { resolve, reject } = this.#asked.get(message.id);
      this.#asked.delete(message.id);
      if (message.ok) resolve(message.result ?? {});
      else reject(Object.assign(new Error(message.error || 'The workbench refused.'), { document: message.document }));
      return;
    }
    if (message.event === 'hello') this.#begun(message);
    else if (message.event === 'story') this.#handlers.event(message);
    else if (message.event === 'stories') message.events.forEach(this.#handlers.event);
    else if (message.event === 'state') this.#handlers.state(message);
    else if (message.event === 'changed') this.#handlers.changed(message.what ?? []);
  }

  #begun(hello) {
    this.#wait = kFirstWait;
    this.#nowOpen();
    const from = this.#handlers.hello(hello);
    this.#handlers.status({ state: 'open' });
    this.ask('follow', { from }).catch(() => {});
    for (const run of this.#lookers.keys()) this.ask('look', { run, on: true }).catch(() => {});
  }

  #nowOpen() {
    for (const go of this.#opening ?? []) go();
    this.#opening = null;
  }

  #frame(data) {
    const view = new DataView(data);
    if (view.byteLength <= kFrameHeader) return;
    const run = view.getUint32(0);
    const frame = view.getUint32(4);
    const about = { frame, width: view.getUint32(8), height: view.getUint32(12) };
    const picture = new Blob([new Uint8Array(data, kFrameHeader)]);
    const shown = [...(this.#lookers.get(run) ?? [])].map((show) => show(picture, about));
    // The next one is asked for when this one is on the screen, so a slow page gets fewer.
    Promise.allSettled(shown).then(() => this.tell('seen', { run, frame }));
  }

  #lost() {
    this.#nowOpen(); // to be told that there is none
    for (const { reject } of this.#asked.values()) reject(new Error('The connection to the workbench was lost.'));
    this.#asked.clear();
    const wait = this.#wait;
    this.#wait = Math.min(kLongestWait, this.#wait * 2);
    this.#handlers.status({ state: 'lost', retryAt: Date.now() + wait });
    setTimeout(() => this.open(), wait);
  }
}

/** Streams a file to the workbench. */
export async function upload(file) {
  let answer;
  try {
    answer = await fetch(`/upload?name=${encodeURIComponent(file.name)}`, { method: 'POST', body: file });
  } catch {
    throw new Error(`${file.name} did not reach the workbench: there is no connection.`);
  }
  if (answer.status === 413) throw new Error(`${file.name} is larger than the workbench takes.`);
  if (!answer.ok) throw new Error(`${file.name} was not taken (HTTP ${answer.status}).`);
  return answer.json();
}
