// The programs around an application: what they are asked, and what they answer. One `wz host` plays
// them all, and is told its rules as they change.

import { Running } from './wz.js';

const ending = (name) => (error) => {
  error.message = `while waiting for ${name}: ${error.message}`;
  throw error;
};

export class Host {
  #terminal;
  #wz;
  #rules = [];
  #changed = Promise.resolve();
  #failures = [];
  #looked = 0;

  constructor(terminal) {
    this.#terminal = terminal;
  }

  /** Every notification that has come, in order. */
  get asked() {
    return (this.#wz?.events ?? []).filter((event) => event.event === 'asked');
  }

  /**
   * Answers the notifications of a name: by a value, by what a function returns (`undefined`: no
   * answer), after `delay` milliseconds, if `when` holds, at most `times`. What is told last counts first.
   */
  answer(address, name, reply, { when, times, delay, replyName } = {}) {
    const how = { when, times, delay, replyName };
    if (typeof reply === 'function') return this.#add({ address, name, hold: true, ...how }, reply);
    return this.#add({ address, name, reply, ...how });
  }

  /** Takes the notifications of a name and never answers. */
  withhold(address, name, { when, times } = {}) {
    return this.#add({ address, name, silence: true, when, times });
  }

  /** Answers with `{"error": text}`. */
  fail(address, name, text, { when, times, delay } = {}) {
    return this.#add({ address, name, error: text, when, times, delay });
  }

  /** Rules of a host file, as `wz host` takes them, before those that there are. */
  rules(list, address) {
    for (const rule of [...list].reverse()) this.#rules.unshift({ rule: { address, ...rule } });
    return this.#tell();
  }

  /**
   * The next notification of a name that no expect() has given yet; waits for it. A name that nobody
   * has been told to answer is listened for from now on.
   */
  async expect(address, name, { timeout = 10_000 } = {}) {
    if (!this.#rules.some(({ rule }) => rule.address === address && rule.name === name)) {
      await this.withhold(address, name);
    }
    await this.#changed;
    const from = this.#looked;
    const isMeant = (event) => event.event === 'asked' && event.to === address && event.name === name;
    let timer;
    const late = new Promise((_, reject) => {
      timer = setTimeout(
        () => reject(new Error(`no ${name} came to ${address} within ${timeout} ms`)),
        timeout,
      );
    });
    const event = await Promise.race([this.#wz.event(isMeant, from).catch(ending(name)), late]).finally(() =>
      clearTimeout(timer),
    );
    this.#looked = this.#wz.events.indexOf(event) + 1;
    return event;
  }

  #add(rule, handler) {
    this.#rules.unshift({ rule, handler });
    return this.#tell();
  }

  // One after the other, so that each is in force when its promise is.
  #tell() {
    const rules = [...this.#rules];
    this.#changed = this.#changed.then(async () => {
      this.#start();
      const from = this.#wz.events.length;
      this.#inForce = rules;
      this.#wz.tell({ rules: rules.map(({ rule }) => rule) });
      await this.#wz.event((event) => event.event === 'playing', from);
    });
    return this.#changed;
  }

  #inForce = [];

  #start() {
    if (this.#wz) return;
    this.#wz = new Running(this.#terminal.directory, ['host', '--json', '-'], 'pipe');
    this.#wz.onEvent = (event) => {
      if (event.event === 'asked' && event.held !== undefined) this.#reply(event);
    };
  }

  async #reply(event) {
    const handler = this.#inForce[event.rule]?.handler;
    try {
      const reply = await handler?.(event.payload, event);
      this.#wz.tell({ answer: event.held, ...(reply === undefined ? {} : { reply }) });
    } catch (error) {
      this.#failures.push(error);
      this.#wz.tell({ answer: event.held });
    }
  }

  async dispose() {
    await this.#changed.catch(() => {});
    await this.#wz?.stop();
    if (this.#failures.length > 0) throw this.#failures[0];
  }
}
