// Trovix content script, in every frame of every page. While Trovix records, a trusted press of the
// primary button names the control under it and measures it, and the background script takes the
// tab's picture; so does the end of typing into a text field, with what the field then holds (never
// a password field's text). While Trovix does not record, nothing here listens to the page.
(() => {
  'use strict';
  const api = globalThis.browser ?? globalThis.chrome;
  if (!api?.runtime?.id) return;

  const labelLimit = 200;
  // The most characters of a field's text sent; Trovix keeps no more of typing either.
  const textLimit = 100000;
  const textInputs = new Set(['', 'text', 'email', 'search', 'tel', 'url', 'password', 'number']);
  const isTop = window === window.top;
  const interactiveRoles = new Set([
    'button', 'link', 'checkbox', 'radio', 'switch', 'tab', 'menuitem', 'menuitemcheckbox',
    'menuitemradio', 'option', 'combobox', 'textbox', 'searchbox', 'slider', 'spinbutton',
    'treeitem', 'gridcell',
  ]);
  const buttonInputs = new Set(['button', 'submit', 'reset']);
  let recording = false;
  // The text field being typed into, until the typing ends.
  let typing = null;

  const clean = (text) => (text ?? '').replace(/\s+/g, ' ').trim();

  // The element one step up, across shadow roots.
  const parentOf = (element) => element.parentElement ?? element.getRootNode()?.host ?? null;

  function isInteractive(element) {
    const name = element.localName;
    if (['button', 'select', 'textarea', 'summary'].includes(name)) return true;
    if (name === 'a' && element.hasAttribute('href')) return true;
    if (name === 'input') return element.type !== 'hidden';
    const role = clean(element.getAttribute('role')).split(' ')[0];
    if (interactiveRoles.has(role)) return true;
    return element.isContentEditable && !(parentOf(element)?.isContentEditable ?? false);
  }

  // Fields whose text is what the user typed: it names nothing, and never leaves the page.
  function holdsTypedText(element) {
    if (element.localName === 'textarea' || element.isContentEditable) return true;
    return element.localName === 'input' && !buttonInputs.has(element.type) && element.type !== 'image';
  }

  function textOf(node) {
    if (!node) return '';
    return clean(node.innerText ?? node.textContent);
  }

  // The control's own name, in the order its HTML gives one.
  function labelOf(element) {
    const candidates = [
      () => element.getAttribute('aria-label'),
      () => {
        const ids = clean(element.getAttribute('aria-labelledby'));
        if (!ids) return '';
        const root = element.getRootNode();
        return ids.split(' ').map((id) => textOf(root.getElementById?.(id) ?? document.getElementById(id))).join(' ');
      },
      () => Array.from(element.labels ?? [], textOf).join(' '),
      () => (element.localName === 'input' && buttonInputs.has(element.type) ? element.value : ''),
      () => element.getAttribute('alt') ?? element.querySelector?.('img[alt]')?.getAttribute('alt'),
      () => (element.localName === 'select' ? textOf(element.selectedOptions?.[0]) : ''),
      () => (holdsTypedText(element) || element.localName === 'select' ? '' : textOf(element)),
      () => element.getAttribute('title'),
      () => element.getAttribute('placeholder'),
    ];
    for (const candidate of candidates) {
      const label = clean(candidate());
      if (label) return label.slice(0, labelLimit);
    }
    return '';
  }

  function intersect(a, b) {
    const x = Math.max(a.x, b.x);
    const y = Math.max(a.y, b.y);
    const right = Math.min(a.x + a.width, b.x + b.width);
    const bottom = Math.min(a.y + a.height, b.y + b.height);
    return right > x && bottom > y ? { x, y, width: right - x, height: bottom - y } : null;
  }

  // A frame says where to look: not around a speck, nor around most of the page (a ring then marks
  // the click instead).
  function usefulBox(box) {
    if (!box || box.width < 4 || box.height < 4) return null;
    const view = viewport();
    // A frame's own page may be just the control (an embedded button): only the top page is judged.
    return isTop && box.width * box.height > 0.6 * view.width * view.height ? null : box;
  }

  function viewport() {
    return { x: 0, y: 0, width: document.documentElement.clientWidth || innerWidth,
             height: document.documentElement.clientHeight || innerHeight };
  }

  // The password fields showing in this page and in the frames it can reach (same origin), in its
  // viewport's CSS pixels: Trovix covers them on the picture, whatever they show. Only their boxes
  // leave the page, never what they hold.
  function passwordBoxes(doc = document, dx = 0, dy = 0, depth = 0) {
    const boxes = [];
    const selector = 'input[type="password" i], input[autocomplete~="current-password" i], ' +
                     'input[autocomplete~="new-password" i]';
    for (const input of doc.querySelectorAll(selector)) {
      if (input.checkVisibility && !input.checkVisibility({ checkVisibilityCSS: true })) continue;
      const box = input.getBoundingClientRect();
      const seen = intersect({ x: box.x + dx, y: box.y + dy, width: box.width, height: box.height }, viewport());
      if (seen) boxes.push(seen);
    }
    if (depth < 4) {
      for (const holder of doc.querySelectorAll('iframe, frame')) {
        let inner = null;
        try {
          inner = holder.contentDocument;
        } catch {
          inner = null; // another site's frame: out of reach
        }
        if (!inner) continue;
        const box = holder.getBoundingClientRect();
        boxes.push(...passwordBoxes(inner, dx + box.x + holder.clientLeft, dy + box.y + holder.clientTop, depth + 1));
      }
    }
    return boxes.slice(0, 256);
  }

  function token() {
    const bytes = new Uint8Array(16);
    crypto.getRandomValues(bytes);
    return Array.from(bytes, (b) => b.toString(16).padStart(2, '0')).join('');
  }

  // Sends a press or typing report: the top page adds what it knows of itself; a frame's place in the
  // top viewport comes up the chain of parents.
  function report(message) {
    if (isTop) {
      Object.assign(message, { page: clean(document.title), scale: devicePixelRatio, clip: viewport(), dx: 0, dy: 0,
                               passwords: passwordBoxes() });
    } else {
      window.parent.postMessage({ trovixOffset: message.token, dx: 0, dy: 0, clip: viewport() }, '*');
    }
    api.runtime.sendMessage(message).catch?.(() => {});
  }

  // The field whose text the user types, for an element an input event came from.
  function textFieldOf(element) {
    if (element?.nodeType !== Node.ELEMENT_NODE) element = element?.parentElement;
    if (!element) return null;
    if (element.localName === 'textarea') return element;
    if (element.localName === 'input') return textInputs.has(element.type) ? element : null;
    if (!element.isContentEditable) return null;
    // The editing host: the outermost editable element.
    while (parentOf(element)?.isContentEditable) element = parentOf(element);
    return element;
  }

  function isPassword(field) {
    if (field.localName !== 'input') return false;
    const hints = clean(field.getAttribute('autocomplete')).toLowerCase().split(' ');
    return field.type === 'password' || hints.includes('current-password') || hints.includes('new-password');
  }

  function onInput(event) {
    if (!event.isTrusted) return;
    const field = textFieldOf(event.composedPath?.()[0] ?? event.target);
    if (!field) return;
    if (typing && typing.field !== field) endTyping();
    if (!typing) {
      typing = { field };
      // A press in another frame comes before this field loses the focus: it waits for the report.
      api.runtime.sendMessage({ trovix: 'typing' }).catch?.(() => {});
    }
  }

  // The typing ends: the field is named, measured and, unless it holds a password, read.
  function endTyping() {
    if (!typing) return;
    const { field } = typing;
    typing = null;
    const box = field.getBoundingClientRect();
    const seen = intersect({ x: box.x, y: box.y, width: box.width, height: box.height }, viewport());
    const frame = seen && seen.width >= 4 && seen.height >= 4 ? seen : null;
    const password = isPassword(field);
    const message = {
      trovix: 'typed', token: token(), label: labelOf(field), password, frame,
      x: frame ? frame.x + frame.width / 2 : 0, y: frame ? frame.y + frame.height / 2 : 0,
    };
    // A password field's text never leaves the page, not even to the extension's own scripts.
    if (!password) {
      const text = field.localName === 'input' || field.localName === 'textarea' ? field.value : field.innerText;
      message.text = String(text ?? '').slice(0, textLimit);
    }
    report(message);
  }

  function onFocusOut(event) {
    if (typing && event.composedPath?.().includes(typing.field)) endTyping();
  }

  function onKey(event) {
    if (!event.isTrusted || !typing || event.isComposing) return;
    // Enter ends the typing in a one-line field; in a text area it types a new line.
    const multiLine = typing.field.localName === 'textarea' || typing.field.isContentEditable;
    if (event.key === 'Tab' || (event.key === 'Enter' && !multiLine)) endTyping();
  }

  function onPress(event) {
    if (!event.isTrusted || event.button !== 0 || !event.isPrimary) return;
    // A press elsewhere ends the typing, whose report goes first.
    if (typing && !event.composedPath?.().includes(typing.field)) endTyping();
    let target = event.composedPath?.()[0] ?? event.target;
    if (target?.nodeType !== Node.ELEMENT_NODE) target = target?.parentElement;
    if (!target) return;
    let control = null;
    for (let element = target; element; element = parentOf(element)) {
      if (isInteractive(element)) {
        control = element;
        break;
      }
    }
    const box = control ? control.getBoundingClientRect() : null;
    const frame = box ? usefulBox(intersect({ x: box.x, y: box.y, width: box.width, height: box.height }, viewport())) : null;
    const click = {
      trovix: 'click',
      token: token(),
      label: control ? labelOf(control) : '',
      x: event.clientX,
      y: event.clientY,
      frame,
    };
    report(click);
  }

  // A child frame's press, on its way up: add where that frame sits in this one.
  function onFrameMessage(event) {
    const data = event.data;
    if (!data || typeof data.trovixOffset !== 'string' || !event.source) return;
    const holder = Array.from(document.querySelectorAll('iframe, frame')).find(
      (element) => element.contentWindow === event.source);
    if (!holder) return;
    const box = holder.getBoundingClientRect();
    const style = getComputedStyle(holder);
    const left = box.x + holder.clientLeft + parseFloat(style.paddingLeft || '0');
    const top = box.y + holder.clientTop + parseFloat(style.paddingTop || '0');
    const content = { x: left, y: top, width: holder.clientWidth - parseFloat(style.paddingLeft || '0') - parseFloat(style.paddingRight || '0'),
                      height: holder.clientHeight - parseFloat(style.paddingTop || '0') - parseFloat(style.paddingBottom || '0') };
    const moved = data.clip ? { x: data.clip.x + left, y: data.clip.y + top, width: data.clip.width, height: data.clip.height } : null;
    const clip = moved ? intersect(intersect(moved, content) ?? { x: 0, y: 0, width: 0, height: 0 }, viewport()) : null;
    const offset = { trovixOffset: data.trovixOffset, dx: data.dx + left, dy: data.dy + top, clip };
    if (isTop) {
      api.runtime.sendMessage({ trovix: 'offset', token: data.trovixOffset, dx: offset.dx, dy: offset.dy,
                                clip, page: clean(document.title), scale: devicePixelRatio,
                                passwords: passwordBoxes() }).catch?.(() => {});
    } else {
      window.parent.postMessage(offset, '*');
    }
  }

  function setRecording(on) {
    if (on === recording) return;
    recording = on;
    const listeners = { pointerdown: onPress, message: onFrameMessage, input: onInput, focusout: onFocusOut,
                        keydown: onKey };
    for (const [type, listener] of Object.entries(listeners)) {
      if (on) window.addEventListener(type, listener, true);
      else if (type !== 'message') window.removeEventListener(type, listener, true);
    }
    if (on) return;
    // The typing under way ends with the recording, and still becomes a step: a frame's report
    // still finds its way up for a moment.
    endTyping();
    setTimeout(() => {
      if (!recording) window.removeEventListener('message', onFrameMessage, true);
    }, 3000);
  }

  api.runtime.onMessage.addListener((message) => {
    if (message?.trovix === 'recording') setRecording(Boolean(message.on));
  });
  const asked = api.runtime.sendMessage({ trovix: 'state' });
  if (asked?.then) asked.then((state) => setRecording(Boolean(state?.on)), () => {});
})();
