/** What every page of an application finds before its first script runs. */
declare const wz: Wz;

interface Wz {
  /** Texts by name: what the host handed over, and what the terminal adds. */
  readonly properties: Readonly<WzProperties>;

  /** Sends a notification. Rejected with a WzError when it could not be sent. */
  notify(to: string, name: string, payload?: WzValue, options?: WzNotifyOptions): Promise<void>;

  /** Sends a notification and waits for the reply to it, without holding up the page. */
  notifyAndWait(
    to: string, name: string, payload?: WzValue, options?: WzWaitOptions): Promise<any>;

  /** The same, but the script stands still until the reply is there. Throws a WzError. */
  notifyAndWaitSync(to: string, name: string, payload?: WzValue, options?: WzWaitOptions): any;

  /**
   * Writes a line to the application's log: a message and a detail; at level error an error code, an
   * error name and a message.
   */
  log(level: WzLevel, ...texts: string[]): void;

  /** Ends the application; the properties go back to the host. */
  exit(result?: number, properties?: Record<string, string>): void;
}

interface WzProperties {
  wz_appId?: string;
  wz_appVersion?: string;
  wz_terminalSerialNo?: string;
  wz_terminalModel?: string;
  /** Six digits; empty without a sponsor. */
  wz_sponsorId?: string;
  /** The whole of confApp.json, where there is one. */
  wz_confApp?: string;
  /** The whole of confOwner.json, where there is one. */
  wz_confOwner?: string;
  [name: string]: string | undefined;
}

type WzValue = string | number | boolean | null | WzValue[] | { [key: string]: WzValue };

type WzLevel =
  | 0 | 1 | 2 | 3 | 4 | 5 | 6 | 7
  | 'emergency' | 'alert' | 'critical' | 'error' | 'warning' | 'notice' | 'info' | 'debug';

interface WzNotifyOptions {
  /** The sender's address; otherwise the application's id. */
  from?: string;
  /** A number that is passed on. */
  flags?: number;
}

interface WzWaitOptions extends WzNotifyOptions {
  /** The name of the notification that answers; otherwise `name` with `_reply` behind it. */
  replyName?: string;
  /** Milliseconds, otherwise 30000; below 0 without limit. */
  timeout?: number;
}

/** A call that the platform could not carry out. */
interface WzError extends Error {
  /** -1: not sent; -11: no reply; -12: the platform refused the arguments. */
  readonly code: number;
}
