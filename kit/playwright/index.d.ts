import type { Page } from '@playwright/test';
import type { TestType, PlaywrightTestArgs, PlaywrightTestOptions, PlaywrightWorkerArgs, PlaywrightWorkerOptions } from '@playwright/test';

export { expect } from '@playwright/test';

/** What `wz terminal create` is told; what is left out is as it tells. */
export interface TerminalProfile {
  serial?: string;
  model?: string;
  /** "480x800" */
  display?: string;
  colour?: boolean;
  /** In units of 1024 octets. */
  memory?: number;
  keys?: number;
  touch?: boolean;
  /** Six digits; '': none. */
  sponsor?: string;
  sponsorText?: string;
  /** Folder of DER certificates. */
  roots?: string;
  triggers?: string[];
  interfaces?: string[];
  triggersVersion?: string;
}

/** A terminal of the test's own, gone with it. */
export interface Terminal {
  /** Its folder, for `wz --terminal`. */
  readonly directory: string;
  /** Runs a command of `wz` on it; its standard output. Rejects for any exit code but 0. */
  wz(...args: string[]): Promise<string>;
  /** Installs packages (*.zip) and folders of applications; what `wz install --json` tells. */
  install(...packages: string[]): Promise<any>;
  /** Makes a package of an application's folder; the path of the package. */
  pack(folder: string, ...args: string[]): Promise<string>;
  remove(id: string): Promise<any>;
  /** What `wz list --json` tells. */
  list(): Promise<any>;
  /** What programs see below /mnt/flash or /home, as a path of this machine. */
  path(path: string): string;
  /** The text of such a file. */
  file(path: string): Promise<string>;
}

export interface RunOptions {
  /** 'desktop' unless told, or the id of a trigger. */
  entry?: string;
  /** Properties for the application; values that are no texts are written as JSON. */
  parameters?: Record<string, unknown>;
  size?: string;
  keys?: number;
  touch?: boolean;
  monochrome?: boolean;
  locale?: string;
  /** Seconds after which the application is cancelled; 60 unless told. */
  timeout?: number;
}

/** One line of `wz run --json`; see docs/script-api.md. */
export interface StoryEvent {
  schema: number;
  /** Microseconds since the launch. */
  time: number;
  event: string;
  [member: string]: any;
}

export interface ConsoleLine extends StoryEvent {
  level: string;
  text: string;
  file?: string;
  line?: number;
  column?: number;
  uncaught?: boolean;
}

export interface LogLine extends StoryEvent {
  level: string;
  texts: string[];
}

export interface App {
  /** Runs the application of the configuration. Resolves with its page once that has loaded. */
  run(options?: RunOptions): Promise<Page>;
  /** Runs another one: a folder (with a slash in its name), or the id of an installed one. */
  run(application: string, options?: RunOptions): Promise<Page>;
  readonly page: Page;
  readonly story: StoryEvent[];
  readonly console: ConsoleLine[];
  readonly log: LogLine[];
  readonly properties: Record<string, string> | undefined;
  /** The first event of the story that is meant; waits for it. */
  event(isMeant: string | ((event: StoryEvent) => boolean)): Promise<StoryEvent>;
  /** Waits until the application has ended. `error` is there when it failed. */
  exit(): Promise<{ result: number; properties: Record<string, string>; error?: string }>;
  /** Cancels the application if it runs. */
  stop(): Promise<void>;
}

/** A notification that has come. */
export interface Asked {
  from: string;
  to: string;
  name: string;
  flags: number;
  payload: any;
  /** Microseconds. */
  time: number;
}

export interface RuleOptions {
  /** Conditions on what the notification carries, as in a host file. */
  when?: Record<string, unknown>;
  times?: number;
  /** Milliseconds. */
  delay?: number;
  replyName?: string;
}

export type Reply = unknown | ((payload: any, asked: Asked) => unknown | Promise<unknown>);

/** The programs around the application. What is told last counts first. */
export interface Host {
  /** Answers the notifications of a name; a function that returns undefined gives no answer. */
  answer(address: string, name: string, reply: Reply, options?: RuleOptions): Promise<void>;
  /** Takes the notifications of a name and never answers. */
  withhold(address: string, name: string, options?: Pick<RuleOptions, 'when' | 'times'>): Promise<void>;
  /** Answers with `{ "error": text }`. */
  fail(address: string, name: string, text: string, options?: RuleOptions): Promise<void>;
  /** Rules of a host file. */
  rules(list: object[], address?: string): Promise<void>;
  /** The next notification of a name; waits for it, 10 seconds unless told. */
  expect(address: string, name: string, options?: { timeout?: number }): Promise<Asked>;
  /** Every notification that has come. */
  readonly asked: Asked[];
}

export interface Fixtures {
  terminal: Terminal;
  host: Host;
  app: App;
}

export interface Options {
  /** The terminal of each test. */
  profile: TerminalProfile;
  /** The application that app.run() runs: a folder, '..' unless told. */
  application: string;
}

export const test: TestType<
  PlaywrightTestArgs & PlaywrightTestOptions & Fixtures & Options,
  PlaywrightWorkerArgs & PlaywrightWorkerOptions
>;
