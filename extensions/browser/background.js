// Trovix background script: the link between the pages and Trovix. It keeps a native messaging port
// to trovix-browser-host open, tells every frame when Trovix starts or stops recording, and turns
// each press a page reports into a press message at once and a click message with the tab's picture.
'use strict';
const api = globalThis.browser ?? globalThis.chrome;
const hostName = 'io.github.trovix.browser_host';
// A frame's place in the top viewport arrives from its parents within a few milliseconds.
const offsetWaitMs = 2000;
const reconnectMs = 5000;

let port = null;
let recording = false;
let nextId = 1;
// Presses waiting for their picture or their frame's offset, by the page's token.
const pending = new Map();
// Pictures are taken one after another: the browser refuses more than a few a second.
let capturing = Promise.resolve();

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
  if (!on) pending.clear();
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
  send({
    type: 'click', id: entry.id, label: click.label, page, scale,
    x: click.x + dx, y: click.y + dy, frame, passwords, picture: entry.picture,
  });
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

function pressed(message, sender) {
  if (!recording || !port || !sender.tab || typeof message.token !== 'string') return;
  const entry = entryFor(message.token);
  entry.id = nextId++;
  entry.click = message;
  send({ type: 'press', id: entry.id });
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

api.runtime.onMessage.addListener((message, sender, sendResponse) => {
  if (message?.trovix === 'state') {
    sendResponse({ on: recording });
  } else if (message?.trovix === 'click') {
    pressed(message, sender);
  } else if (message?.trovix === 'offset' && sender.frameId === 0 && typeof message.token === 'string') {
    if (!recording) return;
    const entry = entryFor(message.token);
    entry.offset = message;
    if (entry.id) finish(entry);
  }
});

connect();
