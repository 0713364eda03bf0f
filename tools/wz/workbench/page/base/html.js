// What every part of the page draws with. Texts in templates become text nodes; nothing on this page
// makes markup of what an application or a package says.

import { h, Fragment, render } from '../vendor/preact.js';
import { useRef } from '../vendor/hooks.js';
import htm from '../vendor/htm.js';

export { Fragment, render };
export { useCallback, useEffect, useId, useLayoutEffect, useMemo, useReducer, useRef, useState } from '../vendor/hooks.js';

/** A ref whose `current` is the value. Long lists are handed on so: what has been drawn once is kept for a
 * while, with all that it was given, and should not keep thousands of rows that have left the page. */
export function useLatest(value) {
  const latest = useRef(value);
  latest.current = value;
  return latest;
}

// htm would keep what is the same in every drawing, and with it the view that it stood in last and all
// that this showed; 3 tells it not to.
function element(...parts) {
  this[0] = 3;
  return h(...parts);
}

export const html = htm.bind(element);
