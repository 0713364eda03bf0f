// Runs in every document before its first script and gives the application's own documents their
// `wz`. `config` (binding, deliver, origin, callUrl, appId, properties as JSON text) comes from the
// platform. What the page may later replace is taken hold of here.
((config) => {
  'use strict';

  // Tells what the user does, in words from which it can be done again: elements by a selector that
  // means them alone, keys by their names.
  const recordInput = (root, send) => {
    const { document } = root;
    const isAlone = (selector) => document.querySelectorAll(selector).length === 1;
    const selectorOf = (element) => {
      if (element === document.body || element === document.documentElement) return '';
      for (const name of ['id', 'data-testid', 'name', 'aria-label']) {
        const value = element.getAttribute(name);
        if (value === null || value === '') continue;
        const selector = name === 'id' ? `#${CSS.escape(value)}` : `[${name}=${quoted(value)}]`;
        if (isAlone(selector)) return selector;
      }
      const parent = element.parentElement;
      if (parent === null) return element.localName;
      const kin = Array.from(parent.children).filter((one) => one.localName === element.localName);
      const which = kin.length > 1 ? `:nth-of-type(${kin.indexOf(element) + 1})` : '';
      return `${selectorOf(parent) || 'body'} > ${element.localName}${which}`;
    };
    const quoted = (text) => JSON.stringify(text);
    // A click on what a button holds is one on the button.
    const meant = (node) => {
      const element = node instanceof Element ? node : document.body;
      return element.closest('button, a, label, select, input, textarea') || element;
    };
    const tell = (action, target, text, at) => {
      send(JSON.stringify({ op: 'input', action, target, text, at }));
    };
    const listen = (type, listener) => {
      root.addEventListener(type, (event) => { if (event.isTrusted) listener(event); }, true);
    };

    // A key on a button, and a label, make clicks that no pointer has made.
    let pressed = false;
    listen('pointerdown', () => { pressed = true; });
    listen('click', (event) => {
      if (!pressed) return;
      pressed = false;
      const element = meant(event.target);
      if (element.localName === 'select') return;
      const isLarge = element === document.body || element === document.documentElement
        || element.localName === 'canvas' || element.localName === 'svg';
      const box = element.getBoundingClientRect();
      const at = [Math.round(event.clientX - box.x), Math.round(event.clientY - box.y)];
      tell('click', selectorOf(element), '', isLarge ? at : undefined);
    });
    listen('keydown', (event) => {
      if (event.ctrlKey || event.altKey || event.metaKey || event.isComposing) return;
      if (event.key === 'Shift' || event.key === 'Unidentified') return;
      tell('key', selectorOf(document.activeElement || document.body), event.key);
    });
    listen('change', (event) => {
      if (event.target.localName === 'select') tell('choose', selectorOf(event.target), event.target.value);
    });
  };

  const root = globalThis;
  const send = root[config.binding];
  delete root[config.binding];
  if (typeof send !== 'function' || root.origin !== config.origin) return;

  const { apply, ownKeys, getOwnPropertyDescriptor } = Reflect;
  const { stringify, parse } = JSON;
  const { defineProperty, freeze, create } = Object;
  const { isInteger } = Number;
  const { isArray } = Array;
  const { Promise, TypeError, String, XMLHttpRequest, reportError } = root;
  const toWellFormed = String.prototype.toWellFormed;
  const { open: xhrOpen, send: xhrSend } = XMLHttpRequest.prototype;
  const xhrText = getOwnPropertyDescriptor(XMLHttpRequest.prototype, 'responseText').get;

  const LEVELS = freeze({
    __proto__: null,
    emergency: 0, alert: 1, critical: 2, error: 3, warning: 4, notice: 5, info: 6, debug: 7,
  });
  const MAX_LENGTH = 16 * 1024 * 1024;
  const MAX_BACKLOG = 1024 * 1024;
  const CALL_COST = 256;
  const NOT_DELIVERED = -102;
  const TOO_LONG = -103;

  class WzError extends Error {
    constructor(message, code) {
      super(message);
      defineProperty(this, 'code', { value: code, enumerable: true });
    }
  }
  defineProperty(WzError.prototype, 'name', { value: 'WzError' });

  const quote = (text) => stringify(apply(toWellFormed, text, []));

  const wantString = (value, what) => {
    if (typeof value !== 'string') throw new TypeError(`wz: ${what} must be a string`);
    return value;
  };

  const wantInteger = (value, what, least, most) => {
    if (!isInteger(value) || value < least || value > most) {
      throw new TypeError(`wz: ${what} must be an integer from ${least} to ${most}`);
    }
    return value;
  };

  const wantOptions = (value) => {
    if (value === undefined) return create(null);
    if (typeof value !== 'object' || value === null || isArray(value)) {
      throw new TypeError('wz: the options must be an object');
    }
    return value;
  };

  const wantPayload = (value) => {
    const json = stringify(value === undefined ? {} : value);
    if (typeof json !== 'string') throw new TypeError('wz: the payload has no JSON form');
    return json;
  };

  // A request that the platform holds until what it asks for is there.
  const fetchHeld = (id) => {
    const request = new XMLHttpRequest();
    apply(xhrOpen, request, ['GET', config.callUrl + id, false]);
    apply(xhrSend, request, []);
    return apply(xhrText, request, []);
  };

  // A page can call faster than anybody works. Every so often it is made to wait until the platform
  // has caught up; where its own policy forbids that, calls that are too many get lost.
  let backlog = 0;
  const waitForPlatform = () => {
    backlog = 0;
    try {
      fetchHeld(0);
    } catch (error) {
      // Forbidden.
    }
  };

  const post = (message) => {
    if (message.length > MAX_LENGTH) throw new WzError('the call is too long', TOO_LONG);
    send(message);
    backlog += message.length + CALL_COST;
    if (backlog > MAX_BACKLOG) waitForPlatform();
  };

  // Replies find their call by a number that no other document of this page uses.
  let nextId = Math.floor(Math.random() * 2 ** 30) * 2 ** 20;
  const pending = create(null);

  const replyValue = (reply) => (reply === '' ? undefined : parse(reply));

  const settle = (call, code, text) => {
    try {
      if (code === 0) call.resolve(replyValue(text));
      else call.reject(new WzError(text, code));
    } catch (error) {
      call.reject(new WzError('the reply is not JSON', NOT_DELIVERED));
    }
  };

  defineProperty(root, config.deliver, {
    value: (id, code, text) => {
      if (id === 0) return reportError(new WzError(text, code));
      const call = pending[id];
      if (call === undefined) return undefined;
      delete pending[id];
      return settle(call, code, text);
    },
  });

  const postForReply = (id, message) => new Promise((resolve, reject) => {
    pending[id] = { __proto__: null, resolve, reject };
    try {
      post(message);
    } catch (error) {
      delete pending[id];
      reject(error);
    }
  });

  const notification = (op, id, to, name, payload, options) => {
    const { from = config.appId, flags = 0 } = options;
    return `{"op":"${op}","id":${id},"to":${quote(wantString(to, 'the receiver'))}`
      + `,"name":${quote(wantString(name, 'the name'))}`
      + `,"json":${quote(wantPayload(payload))}`
      + `,"flags":${wantInteger(flags, 'flags', 0, 4294967295)}`
      + `,"from":${quote(wantString(from, 'from'))}`;
  };

  const waitingNotification = (op, id, to, name, payload, options) => {
    const head = notification(op, id, to, name, payload, options);
    const { replyName = `${name}_reply`, timeout = 30000 } = options;
    return `${head},"replyName":${quote(wantString(replyName, 'replyName'))}`
      + `,"timeout":${wantInteger(timeout, 'timeout', -2147483648, 2147483647)}}`;
  };

  const wz = {
    properties: freeze(parse(config.properties)),

    notify(to, name, payload, options) {
      const id = ++nextId;
      const message = notification('notify', id, to, name, payload, wantOptions(options));
      return postForReply(id, `${message}}`);
    },

    notifyAndWait(to, name, payload, options) {
      const id = ++nextId;
      const message = waitingNotification('wait', id, to, name, payload, wantOptions(options));
      return postForReply(id, message);
    },

    // The request is held by the platform until the reply is there.
    notifyAndWaitSync(to, name, payload, options) {
      const id = ++nextId;
      post(waitingNotification('waitSync', id, to, name, payload, wantOptions(options)));
      let text;
      try {
        text = fetchHeld(id);
      } catch (error) {
        send(`{"op":"drop","id":${id}}`);
        throw new WzError("the page's policy or state forbids blocking calls", NOT_DELIVERED);
      }
      let outcome;
      try {
        outcome = parse(text);
        if (outcome.code === 0) return replyValue(outcome.text);
      } catch (error) {
        throw new WzError('the reply is not JSON', NOT_DELIVERED);
      }
      throw new WzError(outcome.text, outcome.code);
    },

    log(level, ...texts) {
      const number = typeof level === 'string' ? LEVELS[level] : level;
      if (!isInteger(number) || number < 0 || number > 7) {
        throw new TypeError('wz: the level must be 0 to 7 or the name of one');
      }
      let list = '';
      for (let i = 0; i < texts.length; ++i) {
        list += (i === 0 ? '' : ',') + quote(wantString(texts[i], 'a text'));
      }
      post(`{"op":"log","level":${number},"texts":[${list}]}`);
    },

    exit(result = 0, properties = {}) {
      wantInteger(result, 'the result', -2147483648, 2147483647);
      if (typeof properties !== 'object' || properties === null || isArray(properties)) {
        throw new TypeError('wz: the properties must be an object of strings');
      }
      let list = '';
      const keys = ownKeys(properties);
      for (let i = 0; i < keys.length; ++i) {
        const key = wantString(keys[i], "a property's name");
        const value = wantString(properties[key], `the property "${key}"`);
        list += `${i === 0 ? '' : ','}[${quote(key)},${quote(value)}]`;
      }
      post(`{"op":"exit","result":${result},"properties":[${list}]}`);
    },
  };

  defineProperty(root, 'WzError', { value: WzError, configurable: true, writable: true });
  defineProperty(root, 'wz', { value: freeze(wz), configurable: true, enumerable: true });

  // Every pixel becomes black or white, whichever is nearer.
  if (config.monochrome) {
    const sheet = new root.CSSStyleSheet();
    sheet.replaceSync(':root { filter: grayscale(1) contrast(1000) !important; }');
    root.document.adoptedStyleSheets = [sheet];
  }

  if (config.recordsInput && root.top === root) recordInput(root, send);

  // A browser lets a page close its window only in some states; an application always may.
  if (root.top === root) {
    defineProperty(root, 'close', {
      value: () => { send('{"op":"close"}'); },
      configurable: true, enumerable: true, writable: true,
    });
  }
})
