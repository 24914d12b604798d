// Trovix background script: the link between the pages and Trovix. It keeps a native messaging port
// to trovix-browser-host open, tells every frame when Trovix starts or stops recording, and turns
// each press, and each typing that ends, a page reports into a press message at once and a click
// message with the tab's picture.
'use strict';
const api = globalThis.browser ?? globalThis.chrome;
const hostName = 'io.github.trovix.browser_host';
// A frame's place in the top viewport arrives from its parents within a few milliseconds.
const offsetWaitMs = 2000;
const reconnectMs = 5000;
// The typing a stop ends in a page is reported just after it; Trovix takes it for a few seconds.
const lateTypingMs = 2000;

let port = null;
let recording = false;
let stoppedAt = 0;
let nextId = 1;
// Presses waiting for their picture or their frame's offset, by the page's token.
const pending = new Map();
// Pictures are taken one after another: the browser refuses more than a few a second.
let capturing = Promise.resolve();
// A press in one frame reaches here before the typing it ends in another frame (whose field loses the
// focus only then): while a tab's frames are typing, its presses in other frames wait for their
// reports, a moment at most.
const typingWaitMs = 500;
const typingFrames = new Map(); // tab id → ids of frames typing
const heldPresses = new Map(); // tab id → presses waiting, in order

function send(message) {
  try {
    port?.postMessage(message);
  } catch (error) {
    console.warn('Trovix: cannot reach trovix-browser-host:', error);
  }
}

function connect() {
  try {
    port = api.runtime.connectNative(hostName);
  } catch (error) {
    console.warn('Trovix: trovix-browser-host is not installed:', error);
    port = null;
    setTimeout(connect, reconnectMs);
    return;
  }
  port.onMessage.addListener(fromHost);
  port.onDisconnect.addListener(() => {
    const error = api.runtime.lastError ?? port?.error;
    if (error) console.warn('Trovix: trovix-browser-host stopped:', error.message ?? error);
    port = null;
    setRecording(false);
    setTimeout(connect, reconnectMs);
  });
  send({ type: 'hello', browser: navigator.userAgent });
}

function fromHost(message) {
  if (message?.type === 'recording') setRecording(Boolean(message.on));
  else if (message?.type === 'trovix' && !message.running) setRecording(false);
  else if (message?.type === 'refused') console.warn('Trovix refused a message:', message.reason);
}

async function setRecording(on) {
  if (on === recording) return;
  recording = on;
  if (!on) {
    stoppedAt = Date.now();
    pending.clear();
    typingFrames.clear();
    heldPresses.clear();
  }
  const tabs = await api.tabs.query({});
  for (const tab of tabs) {
    const sent = api.tabs.sendMessage(tab.id, { trovix: 'recording', on });
    sent?.catch?.(() => {});
  }
}

function isRefusedForRate(error) {
  return /quota|rate|too many|MAX_CAPTURE/i.test(String(error?.message ?? error));
}

function delay(ms) {
  return new Promise((resolve) => setTimeout(resolve, ms));
}

// The visible tab as a PNG data URL, retried while the browser's rate limit refuses it.
async function capture(windowId) {
  for (let attempt = 0; ; ++attempt) {
    try {
      return await api.tabs.captureVisibleTab(windowId, { format: 'png' });
    } catch (error) {
      if (attempt >= 20 || !isRefusedForRate(error)) throw error;
      await delay(150);
    }
  }
}

function finish(entry) {
  if (!entry.picture || !entry.offset || entry.done) return;
  entry.done = true;
  pending.delete(entry.token);
  clearTimeout(entry.timer);
  const { dx, dy, clip, page, scale } = entry.offset;
  const passwords = Array.isArray(entry.offset.passwords) ? entry.offset.passwords : [];
  const click = entry.click;
  const moved = click.frame ? { x: click.frame.x + dx, y: click.frame.y + dy, width: click.frame.width, height: click.frame.height } : null;
  const frame = moved && clip ? intersect(moved, clip) : null;
  const message = {
    type: 'click', id: entry.id, label: click.label, page, scale,
    x: click.x + dx, y: click.y + dy, frame, passwords, picture: entry.picture,
  };
  // What a text field holds when the typing ends; a password field's text is never sent.
  if (click.trovix === 'typed') {
    const password = Boolean(click.password);
    message.typing = password ? { password } : { password, text: String(click.text ?? '') };
  }
  send(message);
}

function intersect(a, b) {
  const x = Math.max(a.x, b.x);
  const y = Math.max(a.y, b.y);
  const right = Math.min(a.x + a.width, b.x + b.width);
  const bottom = Math.min(a.y + a.height, b.y + b.height);
  return right > x && bottom > y ? { x, y, width: right - x, height: bottom - y } : null;
}

function giveUp(entry) {
  if (entry.done) return;
  entry.done = true;
  pending.delete(entry.token);
  send({ type: 'lost', id: entry.id });
}

function entryFor(token) {
  let entry = pending.get(token);
  if (!entry) {
    entry = { token };
    pending.set(token, entry);
    entry.timer = setTimeout(() => {
      if (!entry.offset) entry.id ? giveUp(entry) : pending.delete(token);
    }, offsetWaitMs);
  }
  return entry;
}

// Whether a page's report is taken: while recording, and the typing a stop ended just after it.
function taken(message) {
  return recording || (message.trovix === 'typed' && Date.now() - stoppedAt < lateTypingMs);
}

function pressed(message, sender) {
  if (!taken(message) || !port || !sender.tab || typeof message.token !== 'string') return;
  const entry = entryFor(message.token);
  entry.id = nextId++;
  entry.click = message;
  // A typing's press holds its place among the clicks; it is no click the desktop may see.
  send(message.trovix === 'typed' ? { type: 'press', id: entry.id, typing: true } : { type: 'press', id: entry.id });
  if (sender.frameId === 0) entry.offset = message;
  const windowId = sender.tab.windowId;
  capturing = capturing.then(() => capture(windowId)).then(
    (picture) => {
      entry.picture = picture;
      finish(entry);
    },
    (error) => {
      console.warn('Trovix: cannot take the tab\'s picture:', error);
      giveUp(entry);
    });
}

function release(tabId) {
  const held = heldPresses.get(tabId);
  heldPresses.delete(tabId);
  typingFrames.delete(tabId);
  if (!held) return;
  clearTimeout(held.timer);
  for (const { message, sender } of held.presses) pressed(message, sender);
}

function reported(message, sender) {
  const tabId = sender.tab?.id;
  if (!taken(message) || tabId === undefined) return;
  const typing = typingFrames.get(tabId);
  if (message.trovix === 'typing') {
    if (!typing) typingFrames.set(tabId, new Set([sender.frameId]));
    else typing.add(sender.frameId);
    return;
  }
  if (message.trovix === 'typed') {
    typing?.delete(sender.frameId);
    pressed(message, sender);
    if (!typing?.size) release(tabId);
    return;
  }
  const held = heldPresses.get(tabId);
  if (held) {
    held.presses.push({ message, sender });
  } else if (typing && [...typing].some((frame) => frame !== sender.frameId)) {
    heldPresses.set(tabId, { presses: [{ message, sender }], timer: setTimeout(() => release(tabId), typingWaitMs) });
  } else {
    pressed(message, sender);
  }
}

api.runtime.onMessage.addListener((message, sender, sendResponse) => {
  if (message?.trovix === 'state') {
    sendResponse({ on: recording });
  } else if (['click', 'typed', 'typing'].includes(message?.trovix)) {
    reported(message, sender);
  } else if (message?.trovix === 'offset' && sender.frameId === 0 && typeof message.token === 'string') {
    if (!recording && Date.now() - stoppedAt >= lateTypingMs) return;
    const entry = entryFor(message.token);
    entry.offset = message;
    if (entry.id) finish(entry);
  }
});

connect();
