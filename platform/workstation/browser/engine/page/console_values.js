// Runs in the page, called with the objects of one console line: the text of each, as a console
// shows it. Unless one of them is an error, whose stack only the page's own code can tell, the
// browser sees to it that nothing of the page runs by it; where something would, it refuses.
function (...values) {
  const MAX_DEPTH = 4;
  const MAX_ENTRIES = 100;
  const MAX_TEXT = 20000;
  const MAX_CAUSES = 8;

  const { getOwnPropertyDescriptor, getPrototypeOf } = Object;
  const { ownKeys } = Reflect;
  const path = [];
  let left = MAX_TEXT;

  const shortened = (text) => (text.length > MAX_TEXT ? `${text.slice(0, MAX_TEXT)}…` : text);
  const quoted = (text) => JSON.stringify(shortened(text));

  const isPlainName = (name) => {
    for (let i = 0; i < name.length; ++i) {
      const c = name[i];
      const isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c === '_' || c === '$';
      if (!isLetter && (i === 0 || c < '0' || c > '9')) return false;
    }
    return name.length > 0;
  };

  const keyText = (key) => {
    if (typeof key === 'symbol') return `[${String(key)}]`;
    return isPlainName(key) ? key : quoted(key);
  };

  const classOf = (object) => {
    for (let home = getPrototypeOf(object); home !== null; home = getPrototypeOf(home)) {
      const made = getOwnPropertyDescriptor(home, 'constructor');
      if (made === undefined || typeof made.value !== 'function') continue;
      const name = getOwnPropertyDescriptor(made.value, 'name');
      return name !== undefined && typeof name.value === 'string' ? name.value : '';
    }
    return '[null prototype]';
  };

  const functionText = (value) => {
    const name = getOwnPropertyDescriptor(value, 'name');
    return `ƒ ${name !== undefined && typeof name.value === 'string' ? name.value : ''}()`;
  };

  const nodeText = (node) => {
    if (node.nodeType === 3) return quoted(node.data);
    if (node.nodeType !== 1) return node.nodeName;
    let tag = `<${node.localName}`;
    for (let i = 0; i < node.attributes.length && i < 10; ++i) {
      tag += ` ${node.attributes[i].name}=${quoted(node.attributes[i].value)}`;
    }
    if (node.firstChild === null) return `${tag}>`;
    const text = node.firstChild === node.lastChild && node.firstChild.nodeType === 3
      ? node.firstChild.data : '…';
    return `${tag}>${text.length > 80 ? `${text.slice(0, 80)}…` : text}</${node.localName}>`;
  };

  const entryText = (object, key) => {
    const entry = getOwnPropertyDescriptor(object, key);
    if (entry === undefined) return undefined;
    return 'value' in entry ? textOf(entry.value) : '(...)';
  };

  const listed = (open, parts, close, more) => {
    const all = more ? [...parts, '…'] : parts;
    return all.length === 0 ? open + close : `${open}${all.join(', ')}${close}`;
  };

  const arrayText = (array, name) => {
    const parts = [];
    for (let i = 0; i < array.length && i < MAX_ENTRIES && left > 0; ++i) {
      let holes = 0;
      while (i + holes < array.length && holes < MAX_ENTRIES
        && getOwnPropertyDescriptor(array, i + holes) === undefined) ++holes;
      if (holes > 0) {
        parts.push(holes === 1 ? 'empty' : `empty × ${holes}`);
        i += holes - 1;
      } else {
        parts.push(entryText(array, i));
      }
    }
    return listed(`${name === 'Array' ? '' : `${name}(${array.length}) `}[`, parts, ']',
      array.length > MAX_ENTRIES || left <= 0);
  };

  const mapText = (map, name) => {
    const parts = [];
    for (const [key, value] of map) {
      if (parts.length === MAX_ENTRIES || left <= 0) break;
      parts.push(`${textOf(key)} => ${textOf(value)}`);
    }
    return listed(`${name}(${map.size}) {`, parts, '}', map.size > parts.length);
  };

  const setText = (set, name) => {
    const parts = [];
    for (const value of set) {
      if (parts.length === MAX_ENTRIES || left <= 0) break;
      parts.push(textOf(value));
    }
    return listed(`${name}(${set.size}) {`, parts, '}', set.size > parts.length);
  };

  const plainText = (object, name) => {
    const parts = [];
    const keys = ownKeys(object);
    for (let i = 0; i < keys.length && i < MAX_ENTRIES && left > 0; ++i) {
      const entry = getOwnPropertyDescriptor(object, keys[i]);
      if (entry === undefined || !entry.enumerable) continue;
      parts.push(`${keyText(keys[i])}: ${'value' in entry ? textOf(entry.value) : '(...)'}`);
    }
    return listed(name === 'Object' ? '{' : `${name} {`, parts, '}',
      keys.length > MAX_ENTRIES || left <= 0);
  };

  // Of an error inside of another value: without its stack, which would fill the line.
  const errorText = (error) => `[${error.name}: ${error.message}]`;

  const contentText = (object) => {
    const name = classOf(object);
    const isList = ArrayBuffer.isView(object) && !(object instanceof DataView);
    if (Array.isArray(object) || isList) return arrayText(object, name);
    if (object instanceof Map) return mapText(object, name);
    if (object instanceof Set) return setText(object, name);
    return plainText(object, name);
  };

  const objectText = (object) => {
    if (object instanceof Error) return errorText(object);
    if (object instanceof Node) return nodeText(object);
    if (object instanceof Date) {
      return isNaN(object.getTime()) ? 'Invalid Date' : object.toISOString();
    }
    // Its source is a getter that a page may have replaced.
    if (object instanceof RegExp) return `/…/${object.flags}`;
    if (path.includes(object)) return '[Circular]';
    if (path.length >= MAX_DEPTH) {
      return Array.isArray(object) ? `Array(${object.length})` : `${classOf(object)} {…}`;
    }
    path.push(object);
    const text = contentText(object);
    path.pop();
    return text;
  };

  const textOf = (value) => {
    let text;
    if (typeof value === 'string') text = quoted(value);
    else if (typeof value === 'bigint') text = `${value}n`;
    else if (typeof value === 'symbol') text = String(value);
    else if (typeof value === 'function') text = functionText(value);
    else if (Object.is(value, -0)) text = '-0';
    else if (typeof value !== 'object' || value === null) text = `${value}`;
    else text = objectText(value);
    left -= text.length;
    return text;
  };

  // Of an error by itself: its stack, its own properties, and what caused it.
  const wholeError = (error, causes) => {
    const stack = typeof error.stack === 'string' ? error.stack : '';
    const head = `${error}`;
    let text = stack.includes(head) ? stack : `${head}\n${stack}`;
    const further = [];
    for (const key of ownKeys(error)) {
      const entry = getOwnPropertyDescriptor(error, key);
      if (key === 'cause' || key === 'stack' || key === 'message' || !entry.enumerable) continue;
      if ('value' in entry && further.length < MAX_ENTRIES) {
        further.push(`${keyText(key)}: ${textOf(entry.value)}`);
      }
    }
    if (further.length > 0) text += ` {${further.join(', ')}}`;
    const cause = getOwnPropertyDescriptor(error, 'cause');
    if (cause === undefined || !('value' in cause)) return text;
    const isError = cause.value instanceof Error && causes < MAX_CAUSES;
    const reason = isError ? wholeError(cause.value, causes + 1) : textOf(cause.value);
    return `${text}\nCaused by: ${reason}`;
  };

  return values.map((value) => {
    left = MAX_TEXT;
    return value instanceof Error ? wholeError(value, 0) : textOf(value);
  });
}
