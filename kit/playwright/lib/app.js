// An application that runs, and its page.

import { resolve } from 'node:path';

import { Running } from './wz.js';

const wanted = (name) => (event) => event.event === name;

// Application ids and folders look alike; what has a slash in it, or is ".", is a folder.
const isFolder = (application) => /[/\\]|^\.+$/.test(application);

export class App {
  #terminal;
  #connect;
  #browser;
  #wz;
  #page;
  #isRunning = false;

  constructor(terminal, connect) {
    this.#terminal = terminal;
    this.#connect = connect;
  }

  /**
   * Runs an application, a folder or the id of an installed one, and attaches to its page.
   * Resolves with the page once it has loaded.
   */
  async run(application, { entry, parameters = {}, size, keys, touch, monochrome, locale, timeout = 60 } = {}) {
    if (this.#isRunning) throw new Error('the application runs already; end it with app.exit() or app.stop()');
    this.#page = undefined;
    const args = ['run', isFolder(application) ? resolve(application) : application];
    args.push('--json', '--headless', '--remote-debugging', '--timeout', String(timeout));
    if (entry !== undefined) args.push('--entry', entry);
    for (const [name, value] of Object.entries(parameters)) {
      args.push('--param', `${name}=${typeof value === 'string' ? value : JSON.stringify(value)}`);
    }
    if (size !== undefined) args.push('--size', size);
    if (keys !== undefined) args.push('--keys', String(keys));
    if (touch === false) args.push('--no-touch');
    if (monochrome) args.push('--monochrome');
    if (locale !== undefined) args.push('--locale', locale);
    this.#isRunning = true;
    this.#wz = new Running(this.#terminal.directory, args);
    const { url } = await this.#wz.event(wanted('debugging'));
    await this.#wz.event(wanted('properties'));
    try {
      this.#browser = await this.#connect(url);
      const context = this.#browser.contexts()[0];
      this.#page = context.pages()[0] ?? (await context.waitForEvent('page', { timeout: 10_000 }));
      await this.#page.waitForURL((address) => address.protocol !== 'about:', { waitUntil: 'load' });
    } catch (error) {
      // An application may end before anybody has looked at it.
      if (!(await this.#hasEnded())) throw error;
    }
    return this.#page;
  }

  async #hasEnded() {
    if (this.#wz.events.some(wanted('exited'))) return true;
    const pause = new Promise((done) => setTimeout(done, 500, false));
    return Promise.race([this.#wz.ended.then(() => true, () => true), pause]);
  }

  /** The page of the running application. */
  get page() {
    if (!this.#page) throw new Error('no application runs; begin with app.run()');
    return this.#page;
  }

  /** Everything that has happened, as `wz run --json` tells it. */
  get story() {
    return this.#wz?.events ?? [];
  }

  /** What the page has written to its console: level, text, file, line, column, uncaught. */
  get console() {
    return this.story.filter(wanted('console'));
  }

  /** What the page has written to the application's log: level, texts. */
  get log() {
    return this.story.filter(wanted('log'));
  }

  /** The properties that the page was handed. */
  get properties() {
    return this.story.find(wanted('properties'))?.properties;
  }

  /** The first event of the story from now on, or before, that is meant; waits for it. */
  event(isMeant) {
    return this.#wz.event(typeof isMeant === 'string' ? wanted(isMeant) : isMeant);
  }

  /** Waits until the application has ended by itself: its result and the properties that it leaves. */
  async exit() {
    if (!this.#wz) throw new Error('no application runs; begin with app.run()');
    const { result, properties, error } = await this.#wz.event(wanted('exited'));
    await this.#end(false);
    return error === undefined ? { result, properties } : { result, properties, error };
  }

  /** Cancels the application if it runs. */
  async stop() {
    if (this.#isRunning) await this.#end(true);
  }

  // What has been told stays to be looked at.
  async #end(isCancelled) {
    const wz = this.#wz;
    if (isCancelled) await Promise.all([this.#browser?.close().catch(() => {}), wz.stop()]);
    await wz.ended;
    await this.#browser?.close().catch(() => {});
    this.#browser = undefined;
    this.#isRunning = false;
  }
}
