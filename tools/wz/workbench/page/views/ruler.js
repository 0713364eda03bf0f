// The time line: a lane for each kind of source, a mark for each event, a ruler above. Marks differ by lane
// and by shape, so that nothing is told by colour alone.

import { html, useEffect, useLayoutEffect, useRef, useState } from '../base/html.js';
import { kLanes } from '../base/story.js';
import { clock } from '../base/format.js';

const kLaneHeight = 17;
const kHead = 18;
const kSteps = [1e3, 2e3, 5e3, 1e4, 2e4, 5e4, 1e5, 2e5, 5e5, 1e6, 2e6, 5e6, 1e7, 3e7, 6e7, 1.2e8, 3e8, 6e8, 1.8e9, 3.6e9, 1.44e10];
const kLabelRoom = 84; // pixels between labels of the ruler

/** The range of times of rows, never empty. */
export function rangeOf(rows) {
  if (rows.length === 0) return [0, 1e6];
  const first = rows[0].at;
  const last = rows.at(-1).at;
  return last > first ? [first, last] : [first, first + 1e6];
}

/** Gives the value of a colour's name in the style sheet, which differs between light and dark. */
function coloursOf(element) {
  const known = new Map();
  return (name) => {
    if (!known.has(name)) {
      element.style.color = `var(${name})`;
      known.set(name, getComputedStyle(element).color);
    }
    return known.get(name);
  };
}

function draw(canvas, rows, [first, last], selected, names) {
  const scale = devicePixelRatio || 1;
  const width = canvas.clientWidth;
  const height = canvas.clientHeight;
  if (canvas.width !== width * scale || canvas.height !== height * scale) Object.assign(canvas, { width: width * scale, height: height * scale });
  const style = getComputedStyle(canvas);
  const colour = coloursOf(canvas);
  const context = canvas.getContext('2d');
  context.setTransform(scale, 0, 0, scale, 0, 0);
  context.clearRect(0, 0, width, height);
  const left = names;
  const x = (at) => left + ((at - first) / (last - first)) * (width - left - 8);

  context.font = `11px ${style.fontFamily}`;
  context.textBaseline = 'middle';
  const step = kSteps.find((one) => x(first + one) - left >= kLabelRoom) ?? kSteps.at(-1);
  context.fillStyle = colour('--muted');
  context.strokeStyle = colour('--line');
  for (let at = Math.ceil(first / step) * step; at <= last; at += step) {
    context.beginPath();
    context.moveTo(Math.round(x(at)) + 0.5, kHead - 5);
    context.lineTo(Math.round(x(at)) + 0.5, height);
    context.stroke();
    if (x(at) + 60 < width) context.fillText(clock(at).replace(/\.000$/, ''), x(at) + 4, kHead / 2);
  }
  kLanes.forEach((lane, index) => {
    const y = kHead + index * kLaneHeight + kLaneHeight / 2;
    if (left > 0) {
      context.fillStyle = colour('--muted');
      context.fillText(lane.name, 2, y);
    }
    context.strokeStyle = colour('--line');
    context.beginPath();
    context.moveTo(left, Math.round(y) + 0.5);
    context.lineTo(width, Math.round(y) + 0.5);
    context.stroke();
  });

  const laneIndex = Object.fromEntries(kLanes.map((lane, index) => [lane.id, index]));
  const taken = new Set(); // one mark for each pixel of a lane is enough
  for (const row of rows) {
    const px = Math.round(x(row.at));
    const key = `${row.lane} ${px} ${row.severity}`;
    if (taken.has(key)) continue;
    taken.add(key);
    const y = kHead + laneIndex[row.lane] * kLaneHeight + kLaneHeight / 2;
    if (row.severity === '') {
      context.fillStyle = colour(`--lane-${row.lane}`);
      context.fillRect(px - 1, y - 5, 2, 10);
    } else {
      // A triangle for a warning, a diamond for an error.
      context.fillStyle = colour(row.severity === 'error' ? '--bad' : '--warn');
      context.beginPath();
      context.moveTo(px, y - 6);
      context.lineTo(px + 5, row.severity === 'error' ? y : y + 5);
      context.lineTo(row.severity === 'error' ? px : px - 5, row.severity === 'error' ? y + 6 : y + 5);
      if (row.severity === 'error') context.lineTo(px - 5, y);
      context.fill();
    }
  }
  if (selected) {
    context.strokeStyle = colour('--accent');
    context.lineWidth = 2;
    context.strokeRect(x(selected.at) - 4, kHead + laneIndex[selected.lane] * kLaneHeight + 1, 8, kLaneHeight - 2);
    context.lineWidth = 1;
  }
}

/** list: a ref of the rows that are shown; onSelect(row) when a place is pressed. Arrow keys go from mark to mark. */
export function Ruler({ list, selected, onSelect }) {
  const canvas = useRef(null);
  const rows = list.current; // for this drawing alone: functions that outlive it read the list
  const { length } = rows;
  const [size, setSize] = useState(0);
  const range = rangeOf(rows);
  const names = size > 560 ? 92 : 0;
  useLayoutEffect(() => {
    const watcher = new ResizeObserver(() => setSize(canvas.current?.clientWidth ?? 0));
    watcher.observe(canvas.current);
    const scheme = matchMedia('(prefers-color-scheme: dark)');
    const again = () => setSize((n) => n + 0.001);
    scheme.addEventListener('change', again);
    const theme = new MutationObserver(again);
    theme.observe(document.documentElement, { attributeFilter: ['data-theme'] });
    return () => {
      watcher.disconnect();
      theme.disconnect();
      scheme.removeEventListener('change', again);
    };
  }, []);
  useEffect(() => {
    if (canvas.current.clientWidth > 0) draw(canvas.current, list.current, range, selected, names);
  });
  const press = (event) => {
    const box = canvas.current.getBoundingClientRect();
    const at = range[0] + ((event.clientX - box.left - names) / (box.width - names - 8)) * (range[1] - range[0]);
    const lane = kLanes[Math.floor((event.clientY - box.top - kHead) / kLaneHeight)]?.id;
    let nearest = null;
    for (const row of list.current) {
      const far = Math.abs(row.at - at) + (lane && row.lane !== lane ? (range[1] - range[0]) / 20 : 0);
      if (!nearest || far < nearest.far) nearest = { row, far };
    }
    if (nearest) onSelect(nearest.row);
  };
  const index = selected ? rows.indexOf(selected) : -1;
  const key = (event) => {
    const to = { ArrowRight: index + 1, ArrowUp: index + 1, ArrowLeft: index - 1, ArrowDown: index - 1, Home: 0, End: length - 1, PageUp: index + 50, PageDown: index - 50 }[event.key];
    if (to === undefined || length === 0) return;
    event.preventDefault();
    onSelect(list.current[Math.max(0, Math.min(length - 1, to))]);
  };
  return html`<canvas class="ruler" ref=${canvas} tabindex="0" role="slider" aria-label="Time line" aria-valuemin="0" aria-valuemax=${Math.max(0, length - 1)}
    aria-valuenow=${Math.max(0, index)} aria-valuetext=${selected ? `${clock(selected.at)}, ${selected.source}, ${selected.title}` : 'nothing is selected'} onPointerDown=${press} onKeyDown=${key}></canvas>`;
}
