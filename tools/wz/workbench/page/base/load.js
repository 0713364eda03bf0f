// Something that is asked for when a part is shown, and again when what it depends on has changed.

import { useCallback, useEffect, useState } from './html.js';

/** {state: "loading"|"ready"|"failed", value, error, again}. An older answer stays while a new one is awaited. */
export function useAnswer(ask, dependencies) {
  const [answer, setAnswer] = useState({ state: 'loading', value: null, error: '' });
  const [turn, setTurn] = useState(0);
  useEffect(() => {
    let wanted = true;
    setAnswer((before) => ({ ...before, state: before.value === null ? 'loading' : before.state }));
    ask().then(
      (value) => wanted && setAnswer({ state: 'ready', value, error: '' }),
      (error) => wanted && setAnswer({ state: 'failed', value: null, error: error.message }),
    );
    return () => {
      wanted = false;
    };
  }, [...dependencies, turn]);
  const again = useCallback(() => setTurn((n) => n + 1), []);
  return { ...answer, again };
}
