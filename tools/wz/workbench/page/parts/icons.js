// The page's signs, drawn on a grid of 20. They stand beside words, so they are hidden from readers.

import { html } from '../base/html.js';

const kPaths = {
  terminal: 'M5.5 2h9A1.5 1.5 0 0 1 16 3.5v13a1.5 1.5 0 0 1-1.5 1.5h-9A1.5 1.5 0 0 1 4 16.5v-13A1.5 1.5 0 0 1 5.5 2zM6.5 5h7v7h-7zM8 15h4',
  applications: 'M3 3h6v6H3zM11 3h6v6h-6zM3 11h6v6H3zM11 11h6v6h-6z',
  install: 'M10 2.5v9M6.5 8.5 10 12l3.5-3.5M3 13v4h14v-4',
  bus: 'M3 6h11M11 3l3 3-3 3M17 14H6M9 11l-3 3 3 3',
  story: 'M3 4v12M3 6h6M3 10h10M3 14h7M11 6h1M15 10h2M12 14h3',
  files: 'M2.5 5.5A1.5 1.5 0 0 1 4 4h4l2 2h6a1.5 1.5 0 0 1 1.5 1.5V15A1.5 1.5 0 0 1 16 16.5H4A1.5 1.5 0 0 1 2.5 15z',
  health: 'M2 10.5h4l2-5 4 9 2-4h4',
  file: 'M5 2h7l3.5 3.5V18H5zM12 2v3.5h3.5',
  link: 'M8 12l4-4M7 9l-2 2a2.8 2.8 0 0 0 4 4l2-2M13 11l2-2a2.8 2.8 0 0 0-4-4L9 7',
  done: 'M4 10.5 8 14.5 16 5.5',
  error: 'M6.5 2h7L18 6.5v7L13.5 18h-7L2 13.5v-7zM7 7l6 6M13 7l-6 6',
  warning: 'M10 2.5 18.5 17h-17zM10 8v4M10 14v.8',
  running: 'M6 3.5v13l11-6.5z',
  ended: 'M5 5h10v10H5z',
  idle: 'M10 3a7 7 0 1 0 0 14a7 7 0 1 0 0-14z',
  search: 'M8.5 3a5.5 5.5 0 1 0 0 11a5.5 5.5 0 1 0 0-11zM12.5 12.5 17 17',
  picture: 'M3 4h14v12H3zM3 13l4-4 3 3 2-2 5 5M13 7.5h.5',
  record: 'M10 5.5a4.5 4.5 0 1 0 0 9a4.5 4.5 0 1 0 0-9z',
  cancel: 'M5 5l10 10M15 5 5 15',
  add: 'M10 4v12M4 10h12',
  remove: 'M4 6h12M8 6V4h4v2M5.5 6l.7 11h7.6l.7-11M8.5 9v5M11.5 9v5',
  export: 'M10 12V3M6.5 6 10 2.5 13.5 6M3 12v5h14v-5',
  open: 'M3 16V4h5l2 2h6v2M3 16l3-8h12l-3 8z',
  back: 'M12 4l-6 6 6 6',
  cause: 'M15 16v-4a4 4 0 0 0-4-4H4M7.5 4.5 4 8l3.5 3.5',
  light: 'M10 6.5a3.5 3.5 0 1 0 0 7a3.5 3.5 0 1 0 0-7zM10 1.5v2M10 16.5v2M1.5 10h2M16.5 10h2M4 4l1.4 1.4M14.6 14.6 16 16M4 16l1.4-1.4M14.6 5.4 16 4',
  again: 'M15.5 6.5A6.5 6.5 0 1 0 16.5 11M16 3v4h-4',
  send: 'M2.5 10 17.5 3l-4 14-4-5.5zM9.5 11.5l8-8.5',
  host: 'M3 4h14v5H3zM3 11h14v5H3zM6 6.5h.5M6 13.5h.5',
  trigger: 'M11 2 4.5 11.5H9L8 18l7-10h-4.5z',
  interface: 'M7 3v4M13 3v4M5 7h10v3a5 5 0 0 1-10 0zM10 15v3',
  certificate: 'M10 3a4 4 0 1 0 0 8a4 4 0 1 0 0-8zM7.5 10.5 6.5 17l3.5-2 3.5 2-1-6.5',
  key: 'M7 6a4 4 0 1 0 0 8a4 4 0 1 0 0-8zM11 10h7M15 10v3M18 10v2',
  help: 'M10 2.5a7.5 7.5 0 1 0 0 15a7.5 7.5 0 1 0 0-15zM8 8a2 2 0 1 1 2.8 1.9c-.5.3-.8.7-.8 1.6M10 14v.6',
  pause: 'M6.5 4v12M13.5 4v12',
  follow: 'M10 3v10M6 9.5l4 4 4-4M4 17h12',
};

/** A sign of 16 pixels; `size` another. */
export function Icon({ name, size = 16, title }) {
  return html`<svg class="icon icon-${name}" width=${size} height=${size} viewBox="0 0 20 20" fill="none" stroke="currentColor"
    stroke-width="1.6" stroke-linecap="round" stroke-linejoin="round" aria-hidden=${title ? undefined : 'true'}
    role=${title ? 'img' : undefined} aria-label=${title}><path d=${kPaths[name] ?? kPaths.file} /></svg>`;
}
