// A list of any length: only the rows in sight are in the page. One stop of the Tab key; the arrow keys,
// Page Up and Down, Home and End move in it.

import { html, useEffect, useId, useLayoutEffect, useRef, useState } from '../base/html.js';
import { Button } from './common.js';

const kBeyond = 6; // rows above and below those in sight

/**
 * list: a ref of the items (useLatest); keyOf(item), row(item), label; selected: a key; onSelect(item) at every step; onPress(item) when a
 * pointer chose it, or the Enter key; onActivate(item) for two presses.
 * follows: stays at the end while nobody has scrolled away from it; empty: what stands in place of no rows.
 * The height of a row is the style sheet's --row.
 */
export function VirtualList({ list, keyOf, row, label, selected, onSelect, onPress, onActivate, follows, empty }) {
  const box = useRef(null);
  const id = useId();
  const [top, setTop] = useState(0);
  const [size, setSize] = useState({ height: 400, row: 28 });
  const [atEnd, setAtEnd] = useState(Boolean(follows) && selected === undefined);
  const items = list.current; // for this drawing alone: functions that outlive it read the list
  const { length } = items;
  const none = length === 0;

  useLayoutEffect(() => {
    if (none) return undefined;
    const measure = () => {
      const style = getComputedStyle(box.current);
      const next = { height: box.current.clientHeight, row: parseFloat(style.getPropertyValue('--row')) || 28 };
      setSize((before) => (before.height === next.height && before.row === next.row ? before : next));
    };
    measure();
    const watcher = new ResizeObserver(measure);
    watcher.observe(box.current);
    return () => watcher.disconnect();
  }, [none]);

  useLayoutEffect(() => {
    if (!none && follows && atEnd) box.current.scrollTop = length * size.row;
  }, [items, length, atEnd, size, none]);

  const at = selected === undefined ? -1 : items.findIndex((item) => keyOf(item) === selected);

  // What has been selected elsewhere (an address, a cause) comes into sight.
  useEffect(() => {
    if (at < 0 || none) return;
    const element = box.current;
    const above = at * size.row;
    if (above >= element.scrollTop && above + size.row <= element.scrollTop + element.clientHeight) return;
    element.scrollTop = Math.max(0, above - element.clientHeight / 2);
  }, [selected, none, size]);

  if (none) return html`<div class="list empty-list">${empty}</div>`;

  const scrolled = () => {
    const element = box.current;
    setTop(element.scrollTop);
    if (follows) setAtEnd(element.scrollTop + element.clientHeight >= length * size.row - size.row);
  };
  const choose = (index) => {
    const to = Math.max(0, Math.min(length - 1, index));
    const element = box.current;
    if (to * size.row < element.scrollTop) element.scrollTop = to * size.row;
    if ((to + 1) * size.row > element.scrollTop + element.clientHeight) element.scrollTop = (to + 1) * size.row - element.clientHeight;
    if (follows) setAtEnd(false);
    onSelect?.(list.current[to]);
  };
  const page = Math.max(1, Math.floor(size.height / size.row) - 1);
  const key = (event) => {
    const steps = { ArrowDown: at + 1, ArrowUp: at < 0 ? length - 1 : at - 1, PageDown: at + page, PageUp: at - page, Home: 0, End: length - 1 };
    if (event.key in steps && !event.altKey && !event.ctrlKey && !event.metaKey) {
      event.preventDefault();
      choose(steps[event.key]);
    } else if (event.key === 'Enter' && at >= 0) {
      (onActivate ?? onPress)?.(list.current[at]);
    }
  };

  const first = Math.max(0, Math.floor(top / size.row) - kBeyond);
  const last = Math.min(length, Math.ceil((top + size.height) / size.row) + kBeyond);
  const seen = items.slice(first, last);
  const active = at >= first && at < last ? `${id}-${keyOf(items[at])}` : undefined;
  return html`<div class="list-frame"><div class="list" ref=${box} role="listbox" tabindex="0" aria-label=${label} aria-activedescendant=${active}
      onScroll=${scrolled} onKeyDown=${key}>
    <div role="presentation" class="list-space" style=${{ height: `${length * size.row}px` }}>
      <div role="presentation" class="list-seen" style=${{ transform: `translateY(${first * size.row}px)` }}>
        ${seen.map((item, index) => {
          const name = keyOf(item);
          return html`<div key=${name} id="${id}-${name}" class="row ${item.severity || ''} ${item.failed ? 'failed' : ''}" role="option" aria-selected=${name === selected ? 'true' : 'false'}
            aria-setsize=${length} aria-posinset=${first + index + 1} onClick=${() => { if (follows) setAtEnd(false); onSelect?.(item); onPress?.(item); }}
            onDblClick=${() => onActivate?.(item)}>${row(item)}</div>`;
        })}
      </div></div></div>
    ${follows && !atEnd && length * size.row > size.height && html`<div class="to-end"><${Button} small icon="follow" onClick=${() => setAtEnd(true)}>Follow the newest<//></div>`}</div>`;
}
