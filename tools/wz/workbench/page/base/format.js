// Numbers, times and values as people read them.

/** 1234567 as "1,234,567". By hand, and dates below only when there is one: the browser takes 40 ms to make its
 * formatters, in which the page would not show. */
export const count = (n) => String(n).replace(/\B(?=(\d{3})+$)/g, ',');

/** "1 message", "3 messages". */
export const counted = (n, one, many = one + 's') => `${count(n)} ${n === 1 ? one : many}`;

export function octets(n) {
  if (!(n >= 0)) return '';
  if (n < 1024) return counted(n, 'octet');
  if (n < 1024 * 1024) return `${(n / 1024).toFixed(n < 10240 ? 1 : 0)} KiB`;
  return `${(n / 1024 / 1024).toFixed(1)} MiB`;
}

/** Microseconds since a beginning: "0:04.218", "1:02:33.004". */
export function clock(microseconds) {
  const ms = Math.max(0, Math.floor(microseconds / 1000));
  const hours = Math.floor(ms / 3600000);
  const minutes = Math.floor(ms / 60000) % 60;
  const seconds = `${String(Math.floor(ms / 1000) % 60).padStart(2, '0')}.${String(ms % 1000).padStart(3, '0')}`;
  return hours > 0 ? `${hours}:${String(minutes).padStart(2, '0')}:${seconds}` : `${minutes}:${seconds}`;
}

/** A length of time in microseconds: "820 µs", "1.4 ms", "310 ms", "2.31 s". */
export function took(microseconds) {
  if (!(microseconds >= 0)) return '';
  if (microseconds < 1000) return `${Math.round(microseconds)} µs`;
  const ms = microseconds / 1000;
  if (ms < 10) return `${ms.toFixed(1)} ms`;
  if (ms < 1000) return `${Math.round(ms)} ms`;
  return `${(ms / 1000).toFixed(ms < 10000 ? 2 : 1)} s`;
}

let day;

/** A time as documents have it ("2026-11-22T12:45:32Z"), in the reader's own zone. */
export function date(text) {
  const time = Date.parse(text);
  if (Number.isNaN(time)) return String(text ?? '');
  day ??= new Intl.DateTimeFormat('en-GB', { dateStyle: 'medium', timeStyle: 'short' });
  return day.format(time);
}

const kLongestLine = 400;

/** A JSON value on one line, cut where nobody reads on. */
export function oneLine(value) {
  if (value === undefined) return '';
  const text = typeof value === 'string' ? value : JSON.stringify(value) ?? '';
  return text.length > kLongestLine ? `${text.slice(0, kLongestLine)}…` : text;
}

export const pretty = (value) => (value === undefined ? '' : JSON.stringify(value, null, 2));

export const fileName = (path) => String(path ?? '').split('/').filter(Boolean).at(-1) ?? '';

/** The first and the last digits of a digest. */
export const shortDigest = (text) => (text && text.length > 20 ? `${text.slice(0, 8)}…${text.slice(-8)}` : text ?? '');

/** Milliseconds that someone typed, or null. */
export function wholeNumber(text, least, most) {
  if (!/^\d+$/.test(String(text).trim())) return null;
  const n = Number(text);
  return n >= least && n <= most ? n : null;
}
