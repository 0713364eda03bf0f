// `wz` as a program: once to its end, or for as long as a test needs it, with what it says as JSON
// objects, a line each.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { createInterface } from 'node:readline';

/** `wz test` names itself; otherwise it is the one in the PATH. */
export const program = () => process.env.WZ_PROGRAM || 'wz';

// However the test's process ends, what it has started ends with it.
const environment = (terminal) => ({
  ...process.env,
  WZ_TERMINAL: terminal ?? '',
  WZ_END_WITH_PARENT: '1',
});

class WzError extends Error {
  constructor(args, code, output) {
    super(`wz ${args.join(' ')} ended with ${code}\n${output}`.trim());
    this.name = 'WzError';
    this.code = code;
    this.output = output;
  }
}

const notFound = (error) =>
  error.code === 'ENOENT'
    ? new Error(`there is no program ${program()}; start the tests with "wz test", or put wz into the PATH`)
    : error;

/** Runs `wz` to its end. Its standard output; an error with what it has said for any exit code but 0. */
export async function wz(terminal, args) {
  const child = spawn(program(), args, { env: environment(terminal), stdio: ['ignore', 'pipe', 'pipe'] });
  const texts = { out: '', errors: '' };
  child.stdout.setEncoding('utf8').on('data', (text) => (texts.out += text));
  child.stderr.setEncoding('utf8').on('data', (text) => (texts.errors += text));
  const [code] = await once(child, 'close').catch((error) => {
    throw notFound(error);
  });
  if (code !== 0) throw new WzError(args, code, texts.out + texts.errors);
  return texts.out;
}

/** A `wz` that runs on and tells what happens. */
export class Running {
  #child;
  #waiting = new Set();
  #errors = '';
  #over = false;

  /** What it has told so far. @type {object[]} */
  events = [];
  /** Resolves with the exit code. @type {Promise<number>} */
  ended;

  constructor(terminal, args, stdin = 'ignore') {
    this.args = args;
    this.#child = spawn(program(), args, { env: environment(terminal), stdio: [stdin, 'pipe', 'pipe'] });
    this.#child.stderr.setEncoding('utf8').on('data', (text) => (this.#errors += text));
    createInterface({ input: this.#child.stdout }).on('line', (line) => this.#take(line));
    this.ended = new Promise((resolve, reject) => {
      this.#child.on('close', (code, signal) => {
        this.#over = true;
        this.#look();
        resolve(code ?? signal);
      });
      this.#child.on('error', (error) => {
        this.#over = true;
        this.#look();
        reject(notFound(error));
      });
    });
    this.ended.catch(() => {}); // whoever waits for an event gets it
  }

  /** Called for each event as it comes. @type {((event: object) => void) | undefined} */
  onEvent;

  #take(line) {
    const event = JSON.parse(line);
    this.events.push(event);
    this.onEvent?.(event);
    this.#look();
  }

  #look() {
    for (const waiting of [...this.#waiting]) {
      const found = this.events.slice(waiting.from).find(waiting.isMeant);
      if (!found && !this.#over) continue;
      this.#waiting.delete(waiting);
      if (found) waiting.resolve(found);
      else this.ended.then((code) => waiting.reject(new WzError(this.args, code, this.#errors)), waiting.reject);
    }
  }

  /** The first event from the number `from` on for which `isMeant` holds; waits for it. */
  event(isMeant, from = 0) {
    return new Promise((resolve, reject) => {
      this.#waiting.add({ isMeant, from, resolve, reject });
      this.#look();
    });
  }

  /** Writes one JSON object to its standard input. */
  tell(object) {
    this.#child.stdin.write(`${JSON.stringify(object)}\n`);
  }

  /** Ends it in order, and waits for that. */
  async stop() {
    if (!this.#over) this.#child.kill('SIGTERM');
    const late = setTimeout(() => this.#child.kill('SIGKILL'), 10_000);
    await this.ended.catch(() => {});
    clearTimeout(late);
  }
}
