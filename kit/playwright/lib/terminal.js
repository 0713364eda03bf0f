// A terminal: a folder that `wz` makes, for one test, and what a test looks at in it.

import { mkdtemp, readFile, rm } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join, resolve } from 'node:path';

import { wz } from './wz.js';

// What `wz terminal create` is told, by the members of the profile that a test names.
const options = {
  serial: (value) => ['--serial', value],
  model: (value) => ['--model', value],
  display: (value) => ['--display', value],
  colour: (value) => [value ? '--colour' : '--monochrome'],
  memory: (value) => ['--memory', String(value)],
  keys: (value) => ['--keys', String(value)],
  touch: (value) => [value ? '--touch' : '--no-touch'],
  sponsor: (value) => ['--sponsor', value],
  sponsorText: (value) => ['--sponsor-text', value],
  roots: (value) => ['--roots', resolve(value)],
  triggers: (value) => value.flatMap((id) => ['--trigger', id]),
  interfaces: (value) => value.flatMap((id) => ['--interface', id]),
  triggersVersion: (value) => ['--triggers-version', value],
};

function createArguments(profile) {
  return Object.entries(profile).flatMap(([name, value]) => {
    if (!(name in options)) {
      throw new TypeError(`a terminal has no ${name}; it has ${Object.keys(options).join(', ')}`);
    }
    return value === undefined ? [] : options[name](value);
  });
}

export class Terminal {
  /** The terminal's folder. */
  directory;
  #folder;

  static async create(profile = {}) {
    const terminal = new Terminal();
    const args = createArguments(profile);
    // Short, since the path of the terminal's message bus must be.
    terminal.#folder = await mkdtemp(join(tmpdir(), 'wz-'));
    terminal.directory = join(terminal.#folder, 't');
    await wz(undefined, ['terminal', 'create', ...args, terminal.directory]);
    return terminal;
  }

  /** Runs a command of `wz` on this terminal; its output. */
  wz(...args) {
    return wz(this.directory, args);
  }

  /** Installs packages, and the folders of applications as packages of them. What has changed. */
  async install(...packages) {
    const files = [];
    for (const path of packages) {
      if (path.endsWith('.zip')) files.push(resolve(path));
      else files.push(await this.pack(path));
    }
    return this.#json('install', ...files);
  }

  /** Makes a package of an application's folder; the package's file, which goes with the terminal. */
  async pack(folder, ...args) {
    const file = join(await mkdtemp(join(this.#folder, 'p-')), 'package.zip');
    await this.wz('pack', resolve(folder), '-o', file, ...args);
    return file;
  }

  async remove(id) {
    return this.#json('remove', id);
  }

  /** What is installed, as `wz list --json` tells it. */
  async list() {
    return this.#json('list');
  }

  // The result of a command's document.
  async #json(command, ...args) {
    return JSON.parse(await this.wz(command, '--json', ...args)).result;
  }

  /** What programs see as `path`: a file below /mnt/flash or /home, as a path of this machine. */
  path(path) {
    if (path.startsWith('/mnt/flash/')) return join(this.directory, 'flash', path.slice(11));
    if (path.startsWith('/home/')) return join(this.directory, 'home', path.slice(6));
    throw new RangeError(`${path} is not below /mnt/flash or /home`);
  }

  /** The text of a file of the terminal. */
  file(path) {
    return readFile(this.path(path), 'utf8');
  }

  async dispose() {
    await rm(this.#folder, { recursive: true, force: true, maxRetries: 3 });
  }
}
