// A workbench without a terminal: serves the page and speaks its protocol, so that tests can put the page
// before 10,000 messages, a connection that is lost, refusals and hostile texts, in milliseconds. What it
// answers has been printed by wz (documents.json).

import { createServer } from 'node:http';
import { createHash } from 'node:crypto';
import { readFile } from 'node:fs/promises';
import { extname, join, normalize } from 'node:path';
import { fileURLToPath } from 'node:url';
import { WebSocketServer } from 'ws';

const kTypes = { '.html': 'text/html', '.js': 'text/javascript', '.css': 'text/css', '.svg': 'image/svg+xml' };
const kPolicy = "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; connect-src 'self'; "
  + "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";
const here = fileURLToPath(new URL('.', import.meta.url));

const kTerminal = { serial: '10000000001', model: 'T30', modelName: 'T30', width: 480, height: 800, colour: true, memoryKB: 524288, keys: 0,
  touch: true, sponsor: '123456', sponsorText: 'Example sponsor', platform: '480x800C0T', notes: [], folder: '/terminals/counter' };

const none = { exportsTriggers: [], exportsInterfaces: [], importsTriggers: [], importsInterfaces: [], platforms: [], versions: [] };
const kApplications = {
  installed: [
    { ...none, id: 'loyalty', name: 'Loyalty', version: '1.0.0', source: 'installed', path: 'flash/etc/config/wzapp/wz/loyalty', icon: true, sponsors: ['123456'],
      hasMarketplaceManifest: true, hasStandIn: false, versions: ['triggers_min_version 1.0', 'wzruntime_min_version 2.46'],
      entries: [{ entry: 'CARD_PRESENTED', file: 'card.html', parameters: [{ name: 'card', description: 'number of the card', value: '990017' }] }, { entry: 'RECEIPT', file: 'receipt.html', optional: true, parameters: [] }],
      importsTriggers: [{ id: 'CARD_PRESENTED', optional: false }, { id: 'RECEIPT', optional: true }], importsInterfaces: [{ id: 'POINTS', optional: false }] },
    { ...none, id: 'points', name: 'Points', version: '2.1.0', source: 'installed', path: 'flash/etc/config/wzapp/wz/points', icon: false, sponsors: ['123456'],
      hasMarketplaceManifest: true, hasStandIn: false, entries: [], exportsInterfaces: ['POINTS'], exportsTriggers: ['REWARD'] },
    { ...none, id: 'tip', name: 'Tip', version: '1.0.0', source: 'installed', path: 'flash/etc/config/wzapp/wz/tip', icon: true, sponsors: ['123456'],
      hasMarketplaceManifest: true, hasStandIn: false, entries: [{ entry: 'desktop', name: 'Tip', file: 'index.html', parameters: [] }] },
  ],
  folders: [
    { ...none, id: 'shop', name: 'Shop', version: '1.0.0', source: 'folder', path: '/home/you/shop', icon: true, sponsors: ['123456'],
      entries: [{ entry: 'desktop', name: 'Shop', file: 'index.html', parameters: [] }], importsTriggers: [{ id: 'REWARD', optional: true }], importsInterfaces: [{ id: 'PRINT', optional: false }] },
  ],
  terminal: { exportsTriggers: ['CARD_PRESENTED', 'RECEIPT'], exportsInterfaces: [] },
};

/** A picture of one colour (BMP, which needs no library). */
export function plainPicture(width, height, [red, green, blue]) {
  const rowSize = Math.ceil((width * 3) / 4) * 4;
  const picture = Buffer.alloc(54 + rowSize * height);
  picture.write('BM');
  picture.writeUInt32LE(picture.length, 2);
  picture.writeUInt32LE(54, 10);
  picture.writeUInt32LE(40, 14);
  picture.writeInt32LE(width, 18);
  picture.writeInt32LE(height, 22);
  picture.writeUInt16LE(1, 26);
  picture.writeUInt16LE(24, 28);
  for (let y = 0; y < height; y++) {
    for (let x = 0; x < width; x++) picture.set([blue, green, red], 54 + y * rowSize + x * 3);
  }
  return picture;
}

const kColours = [[178, 66, 31], [11, 92, 115], [10, 99, 72], [107, 70, 168]];

export class Mock {
  asked = []; // every question, for tests to look at
  runs = [];
  hosts = [];
  bus = 'up';
  applications = structuredClone(kApplications);
  terminal = { ...kTerminal };
  refuse = new Map(); // by question: the error to answer with
  #events = [];
  #untold = []; // those of them that the pages have not been sent
  #clients = new Set();
  #uploads = new Map();
  #files = new Map();
  #began = Date.now();
  #server;
  #id = String(Math.random());

  static async begin({ page, port = 0 }) {
    const mock = new Mock();
    mock.page = page;
    mock.documents = JSON.parse(await readFile(join(here, 'documents.json'), 'utf8'));
    await mock.listen(port);
    return mock;
  }

  async listen(port) {
    this.#server = createServer((request, response) => this.#answer(request, response).catch((error) => response.writeHead(500).end(String(error))));
    new WebSocketServer({ server: this.#server, path: '/socket' }).on('connection', (socket) => this.#connected(socket));
    await new Promise((resolve) => this.#server.listen(port, '127.0.0.1', resolve));
    this.port = this.#server.address().port;
    this.url = `http://127.0.0.1:${this.port}/`;
  }

  /** Ends; with `keep`, what has happened stays for the next listen(). */
  async end() {
    for (const { socket } of this.#clients) socket.terminate();
    this.#server.closeAllConnections();
    await new Promise((resolve) => this.#server.close(resolve));
  }

  /** Adds an event to the story. */
  tell(source, line, at = (Date.now() - this.#began) * 1000) {
    const event = { event: 'story', sequence: this.#events.length + 1, at, source, line };
    this.#events.push(event);
    if (this.#untold.push(event) === 1) setImmediate(() => this.#tellAll());
    return event.sequence;
  }

  // What happens at once goes in one message.
  #tellAll() {
    const events = this.#untold.splice(0);
    const message = JSON.stringify(events.length === 1 ? events[0] : { event: 'stories', events });
    for (const client of this.#clients) if (client.follows) client.socket.send(message);
  }

  /** A message on the bus and its reply. */
  talk({ from = 'shop', to = 'till', name = 'PAY', payload = {}, reply, took = 1200, at }) {
    this.serial = (this.serial ?? 0) + 1;
    const serial = this.serial;
    const when = at ?? (Date.now() - this.#began) * 1000;
    this.tell('bus', { event: 'bus-message', from, to, name, payload, kind: 'notify', serial }, when);
    if (reply === undefined) return;
    this.serial++;
    this.tell('bus', { event: 'bus-message', from: to, to: from, name: `${name}_reply`, payload: reply, kind: reply.error ? 'error' : 'reply', serial: this.serial, replyTo: serial, took }, when + took);
  }

  /** Tells all pages how runs, hosts and the bus are. */
  state() {
    this.#all({ event: 'state', runs: this.runs, hosts: this.hosts, bus: this.bus });
  }

  changed(...what) {
    this.#all({ event: 'changed', what });
  }

  file(path, text) {
    this.#files.set(path, text);
  }

  frame(run, picture, width = 480, height = 800) {
    const header = Buffer.alloc(16);
    run.frame = (run.frame ?? 0) + 1;
    [run.run, run.frame, width, height].forEach((value, index) => header.writeUInt32BE(value, index * 4));
    for (const client of this.#clients) if (client.looks.has(run.run)) client.socket.send(Buffer.concat([header, picture]));
  }

  #all(message) {
    for (const { socket } of this.#clients) socket.send(JSON.stringify(message));
  }

  async #answer(request, response) {
    const url = new URL(request.url, this.url);
    if (request.method === 'POST' && url.pathname === '/upload') {
      const parts = [];
      for await (const part of request) parts.push(part);
      const body = Buffer.concat(parts);
      if (body.length > 1 << 20) return void response.writeHead(413).end();
      const upload = `u${this.#uploads.size + 1}`;
      this.#uploads.set(upload, { name: url.searchParams.get('name'), body });
      return void response.writeHead(200, { 'Content-Type': 'application/json' })
        .end(JSON.stringify({ upload, name: url.searchParams.get('name'), size: body.length, sha256: createHash('sha256').update(body).digest('hex') }));
    }
    if (url.pathname === '/file') {
      const text = this.#files.get(url.searchParams.get('path'));
      return void response.writeHead(text === undefined ? 404 : 200, { 'Content-Type': 'text/plain' }).end(text);
    }
    if (url.pathname === '/icon') {
      return void response.writeHead(200, { 'Content-Type': 'image/svg+xml' })
        .end('<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 32 32"><rect width="32" height="32" rx="7" fill="#b3421f"/><circle cx="16" cy="16" r="8" fill="#f4efe6"/></svg>');
    }
    if (url.pathname === '/saved') return void response.writeHead(200, { 'Content-Type': 'application/octet-stream' }).end('{"recording":1}\n');
    const name = normalize(url.pathname === '/' ? '/index.html' : url.pathname);
    try {
      response.writeHead(200, { 'Content-Type': kTypes[extname(name)] ?? 'text/plain', 'Content-Security-Policy': kPolicy, 'Cache-Control': 'no-cache' })
        .end(await readFile(join(this.page, name)));
    } catch {
      response.writeHead(404).end();
    }
  }

  #connected(socket) {
    const client = { socket, looks: new Set(), follows: false };
    this.#clients.add(client);
    socket.on('close', () => this.#clients.delete(client));
    socket.on('message', (data) => void this.#question(client, JSON.parse(String(data))));
    socket.send(JSON.stringify({ event: 'hello', version: '1.4.0', server: this.#id, terminal: this.terminal, last: this.#events.length }));
    socket.send(JSON.stringify({ event: 'state', runs: this.runs, hosts: this.hosts, bus: this.bus }));
  }

  async #question(client, question) {
    this.asked.push(question);
    const reply = (members) => client.socket.send(JSON.stringify({ id: question.id, ...members }));
    if (this.refuse.has(question.do)) return reply({ ok: false, error: this.refuse.get(question.do) });
    try {
      reply({ ok: true, result: (await this[`_${question.do}`]?.(question, client)) ?? {} });
    } catch (error) {
      reply({ ok: false, error: error.message });
    }
  }

  _follow({ from }, client) {
    client.follows = true;
    client.socket.send(JSON.stringify({ event: 'stories', events: this.#events.slice(from - 1) }));
  }

  _applications() {
    return this.applications;
  }

  _addFolder({ path }) {
    if (!path.startsWith('/')) throw new Error(`wz: there is no manifest.mft in '${path}'`);
    this.applications.folders.push({ ...none, id: path.split('/').at(-1), name: path.split('/').at(-1), version: '0.1.0', source: 'folder', path, icon: false, sponsors: [], entries: [{ entry: 'desktop', parameters: [] }] });
    this.changed('applications');
    return this.applications;
  }

  _removeFolder({ path }) {
    this.applications.folders = this.applications.folders.filter((one) => one.path !== path);
    return this.applications;
  }

  _start(question) {
    const run = { run: this.runs.length + 1, application: question.application ?? question.folder.split('/').at(-1), folder: question.folder, entry: question.entry,
      parameters: question.parameters, display: question.display ?? { width: 480, height: 800 }, locale: question.locale, touch: question.touch ?? true, keypad: question.keypad,
      state: 'running', began: (Date.now() - this.#began) * 1000, recording: `run-${this.runs.length + 1}.jsonl` };
    this.runs.push(run);
    const source = `run ${run.run}`;
    this.tell('workbench', { event: 'run-started', run: run.run, application: run.application, entry: run.entry });
    this.tell(source, { schema: 1, time: 0, event: 'launched', app: run.application, entry: run.entry, parameters: run.parameters });
    this.tell(source, { schema: 1, time: 1, event: 'painted', app: run.application });
    this.state();
    return { run: run.run };
  }

  _cancel({ run }) {
    this.finish(run, 0, {});
  }

  finish(id, result, properties) {
    const run = this.runs.find((one) => one.run === id);
    Object.assign(run, { state: 'ended', result, properties });
    this.tell(`run ${id}`, { schema: 1, time: 2, event: 'exited', app: run.application, result, properties });
    this.tell('workbench', { event: 'run-ended', run: id, application: run.application, result });
    this.state();
  }

  _look({ run, on }, client) {
    if (!on) return void client.looks.delete(run);
    client.looks.add(run);
    const one = this.runs.find((found) => found.run === run);
    setTimeout(() => this.frame(one, this.picture ?? plainPicture(48, 80, kColours[0]), one.display.width, one.display.height), 5);
  }

  _pointer({ run, type }) {
    if (type !== 'down') return;
    const one = this.runs.find((found) => found.run === run);
    one.clicks = (one.clicks ?? 0) + 1;
    this.frame(one, plainPicture(48, 80, kColours[one.clicks % kColours.length]));
  }

  _screenshot({ run }) {
    return { name: `picture-${run}.png` };
  }

  async _notify({ to, name, payload, reply }) {
    this.talk({ from: 'wz', to, name, payload, ...(reply && { reply: { paid: true } }) });
    return { exit: 0, document: { schema: 'urn:wzapp:notify:1', command: 'notify', ok: true, result: { reply: reply ? { paid: true } : null }, diagnostics: [] } };
  }

  _hosts() {
    return { hosts: this.hosts, offers: [{ path: '/home/you/shop/host.json', name: 'shop/host.json' }] };
  }

  _host(question) {
    if (question.text !== undefined) JSON.parse(question.text);
    let host = this.hosts.find((one) => one.host === question.host);
    if (!host) {
      host = { host: `h${this.hosts.length + 1}`, name: question.path?.split('/').at(-1) ?? this.#uploads.get(question.upload)?.name ?? 'written here', path: question.path,
        addresses: ['till'], rules: 2, asked: 0, answered: 0, delay: 0, fault: '' };
      this.hosts.push(host);
    }
    for (const member of ['on', 'delay', 'fault']) if (question[member] !== undefined) host[member] = question[member];
    this.state();
    return { hosts: this.hosts };
  }

  _files({ path }) {
    const entries = new Map();
    for (const [name, text] of this.#files) {
      if (path !== '' && !name.startsWith(`${path}/`)) continue;
      const [first, ...more] = (path === '' ? name : name.slice(path.length + 1)).split('/');
      entries.set(first, { name: first, kind: more.length > 0 ? 'folder' : 'file', size: text.length, mode: more.length > 0 ? 'rwxr-xr-x' : 'rw-r--r--', modified: '2026-11-22T12:45:32Z' });
    }
    if (path !== '' && entries.size === 0) throw new Error(`wz: there is no folder '${path}' in the terminal`);
    return { path, entries: [...entries.values()] };
  }

  _log({ application }) {
    return { application, entries: (this.logs ?? {})[application] ?? [] };
  }

  _openStory({ upload }) {
    const { name, body } = this.#uploads.get(upload);
    return { name, events: String(body).trim().split('\n').map((line, index) => ({ at: index * 1000, source: name, line: JSON.parse(line) })) };
  }

  _bus() {
    this.bus = 'up';
    this.state();
  }

  async _wz({ command, arguments: members = {} }) {
    const named = (members.uploads ?? []).map((id) => this.#uploads.get(id)?.name ?? id);
    switch (command) {
      case 'inspect':
      case 'rehearse':
      case 'install': {
        const bad = named.some((name) => name.includes('bad'));
        const document = structuredClone(this.documents[bad ? `${command === 'install' ? 'rehearse' : command} refused` : command]);
        if (command === 'inspect') Object.assign(document.result, { file: named[0] });
        if (command === 'install') await this.#install(named, document);
        return { exit: document.ok ? 0 : 1, document };
      }
      case 'why': {
        const document = structuredClone(this.documents.why);
        Object.assign(document.result, { id: members.id, ...(this.why?.[members.id] ?? {}) });
        return { exit: 0, document };
      }
      case 'remove':
        this.applications.installed = this.applications.installed.filter((one) => one.id !== members.id);
        this.changed('applications', 'history');
        return { exit: 0, document: this.documents.install };
      default:
        return { exit: 0, document: this.documents[command] };
    }
  }

  async #install(files, document) {
    this.tell('installer', { event: 'install-begun', files, dryRun: false });
    for (const text of document.result.log) {
      this.tell('installer', { event: 'install-line', text, ...(/unknown certificate/.test(text) && { code: 'WZ-0302' }) });
      await new Promise((resolve) => setTimeout(resolve, this.pace ?? 2));
    }
    this.tell('installer', { event: 'install-done', result: document.result.result, done: document.result.done });
  }
}
