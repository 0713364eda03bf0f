// What every part of the page draws with. Texts in templates become text nodes; nothing on this page
// makes markup of what an application or a package says.

import { h, Fragment, render } from '../vendor/preact.js';
import htm from '../vendor/htm.js';

export { Fragment, render };
export { useCallback, useEffect, useId, useLayoutEffect, useMemo, useReducer, useRef, useState } from '../vendor/hooks.js';
export const html = htm.bind(h);
