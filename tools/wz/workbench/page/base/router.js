// Addresses: "#/VIEW/REST?QUERY". What a view shows and how it is filtered stands there, so that loading
// anew, going back and passing an address on keep it.

import { useEffect, useReducer } from './html.js';

function parse(hash) {
  const [path, query = ''] = hash.replace(/^#\/?/, '').split('?', 2);
  const slash = path.indexOf('/');
  const decode = (text) => {
    try {
      return decodeURIComponent(text);
    } catch {
      return text;
    }
  };
  return {
    view: (slash < 0 ? path : path.slice(0, slash)) || 'terminal',
    rest: slash < 0 ? '' : path.slice(slash + 1).split('/').map(decode).join('/'),
    query: Object.fromEntries(new URLSearchParams(query)),
  };
}

let current = parse(location.hash);
const listeners = new Set();

function tell() {
  current = parse(location.hash);
  for (const listener of listeners) listener();
}

addEventListener('hashchange', tell);

/** "#/bus?q=PAY"; members that are empty are left out. */
export function address(view, rest = '', query = {}) {
  const path = rest === '' ? view : `${view}/${rest.split('/').map(encodeURIComponent).join('/')}`;
  const members = Object.entries(query).filter(([, value]) => value !== '' && value !== undefined && value !== null);
  return `#/${path}${members.length > 0 ? `?${new URLSearchParams(members)}` : ''}`;
}

export const here = () => current;

export function go(view, rest = '', query = {}) {
  location.hash = address(view, rest, query);
}

/** Changes members of the query; no step for "back", as filters are typed letter by letter. */
export function refine(members) {
  history.replaceState(null, '', address(current.view, current.rest, { ...current.query, ...members }));
  tell();
}

export function useRoute() {
  const [, again] = useReducer((n) => n + 1, 0);
  const drawn = current;
  useEffect(() => {
    listeners.add(again);
    if (current !== drawn) again(); // it has changed between the drawing and now
    return () => listeners.delete(again);
  }, []);
  return current;
}
