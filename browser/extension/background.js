"use strict";
// Sends the browser's bookmarks to the host and applies the plans that it returns. The host decides what changes. This
// script decides when to ask, applies one operation at a time, and notices concurrent changes.

const isFirefox = chrome.runtime.getURL("").startsWith("moz-extension:");
const api = isFirefox ? browser : chrome;
const HOST = "org.tarvel.browser_host";
const PROTOCOL = 1;
const MOST_ATTEMPTS = 10;
/// Milliseconds without a foreign change before a run begins or continues.
const PAUSE = 300;
/// Milliseconds between two reports of progress: a screen reader announces each of them.
const PROGRESS_PAUSE = 500;
const LONGEST_WAIT = 60000;
const DEFAULT_LATENCY = 30;
/// Of the title of the folder that cleaning up makes.
const LANGUAGE = api.i18n.getMessage("language");

/// The run in progress: {expected, isForeign, count}. One at a time.
let run = null;
/// When this worker last saw a foreign change.
let lastChange = 0;
const pages = new Set();
const sleep = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

/// A failure with a code; the page has a message for each code.
class Problem extends Error {
  constructor(code, details = "") {
    super(details);
    this.code = code;
  }
}

/// One connection to the host.
class Host {
  constructor() {
    this.waiting = null;
    this.isGreeted = false;
    this.port = api.runtime.connectNative(HOST);
    this.port.onMessage.addListener((message) => this.receive(message));
    this.port.onDisconnect.addListener((port) => {
      const reason = (port.error ?? api.runtime.lastError)?.message ?? "";
      this.ended = new Problem(this.isGreeted || !/not found|no such|forbidden/i.test(reason) ? "crashed" : "absent", reason);
      this.waiting?.reject(this.ended);
    });
  }

  receive(message) {
    if (message.type === "error") return this.waiting?.reject(new Problem(message.code, message.text));
    this.waiting?.list.push(...(message.list ?? []));
    if (message.last !== false) this.waiting?.resolve({ ...message, list: this.waiting.list });
  }

  /// The answer, joined from its pieces.
  ask(message) {
    return new Promise((resolve, reject) => {
      if (this.ended) return reject(this.ended);
      this.waiting = { resolve, reject, list: [] };
      this.port.postMessage(message);
    });
  }

  close() {
    this.port.disconnect();
  }
}

/// The name of this profile, made once. Two callers at the first start get the same one.
let profileName = null;
async function makeProfileName() {
  const { profile = crypto.randomUUID() } = await api.storage.local.get("profile");
  await api.storage.local.set({ profile });
  return profile;
}

/// Connects and greets. The latency in the answer is stored for the next change.
async function connect() {
  const profile = await (profileName ??= makeProfileName());
  const host = new Host();
  try {
    host.hello = await host.ask({ type: "hello", protocol: PROTOCOL, profile });
    if (host.hello.protocol !== PROTOCOL) throw new Problem(host.hello.protocol < PROTOCOL ? "old" : "new");
    host.isGreeted = true;
    await api.storage.local.set({ latency: host.hello.latency });
    return host;
  } catch (problem) {
    host.close();
    throw problem;
  }
}

async function withHost(use) {
  const host = await connect();
  try {
    return await use(host);
  } finally {
    host.close();
  }
}

/// Whether an event is the one that the current operation causes. It arrives before the operation's promise is fulfilled,
/// so any event that does not match is a foreign change.
function isExpected(kind, id, info) {
  const expected = run?.expected;
  if (expected?.kind !== kind || (expected.id && expected.id !== id)) return false;
  if (kind !== "moved" && kind !== "created") return true;
  const index = info.index ?? expected.index;
  return info.parentId === expected.parent && (index === expected.index || expected.isAtEnd);
}

function heard(kind, id, info) {
  if (isExpected(kind, id, info)) {
    run.expected = null;
    return;
  }
  lastChange = Date.now();
  if (run) run.isForeign = true;
  tellPages({ type: "changed" });
  scheduleAutomatic();
}

async function scheduleAutomatic() {
  const { latency = DEFAULT_LATENCY } = await api.storage.local.get("latency");
  api.alarms.create("quiet", { when: (lastChange || Date.now()) + latency * 1000 });
}

/// The error of the last automatic run, shown as a badge and on the page; null for none. Without a usable host the page
/// shows the reason anyway, as it is then.
async function setTrouble(trouble) {
  await api.storage.local.set({ trouble: ["absent", "old", "new"].includes(trouble?.code) ? null : trouble });
  api.action.setBadgeText({ text: trouble ? "!" : "" });
}

/// Called when the latency is over. The current settings decide.
async function sortAutomatically() {
  if (run) return scheduleAutomatic();
  try {
    await withHost(async (host) => {
      const { automatic, latency } = host.hello;
      if (!automatic) return setTrouble(null);
      if (Date.now() < lastChange + latency * 1000) return scheduleAutomatic();
      // One attempt: a foreign change postpones the run.
      await perform(host, "sort", "", 1);
    });
  } catch (problem) {
    if (problem.code === "busy" || problem.code === "unsettled") return scheduleAutomatic();
    await setTrouble({ code: problem.code ?? "failed", text: problem.message });
  }
}

/// Applies one operation of a plan. Plans have final indexes; Chromium's index counts the entry at its old place too.
async function apply([kind, id, ...rest], state) {
  if (kind === "move") {
    const [parent, index, isDown] = rest;
    const parentId = parent || state.created;
    run.expected = { kind: "moved", id, parent: parentId, index };
    await api.bookmarks.move(id, { parentId, index: !isFirefox && isDown ? index + 1 : index });
  } else if (kind === "create") {
    const [parentId, index, title] = rest;
    run.expected = { kind: "created", parent: parentId, index, isAtEnd: true };
    state.created = (await api.bookmarks.create({ parentId, index, title })).id;
  } else if (kind === "retitle") {
    run.expected = { kind: "changed", id };
    await api.bookmarks.update(id, { title: rest[0] });
  } else {
    run.expected = { kind: "removed", id };
    await api.bookmarks.remove(id);
  }
  run.expected = null;
}

/// Applies a plan. Stops at a foreign change and returns false.
async function applyAll(operations) {
  const state = {};
  let reported = 0;
  for (const [done, operation] of operations.entries()) {
    if (run.isForeign) return false;
    if (Date.now() >= reported + PROGRESS_PAUSE) {
      reported = Date.now();
      tellPages({ type: "progress", done, total: operations.length });
    }
    try {
      await apply(operation, state);
      run.count++;
    } catch (error) {
      run.expected = null;
      // The entry may be gone by a foreign change whose event is still to come.
      await sleep(PAUSE);
      if (!run.isForeign) throw new Problem("refused", error.message);
    }
  }
  return !run.isForeign;
}

/// Waits until there has been no foreign change for a moment.
async function settle() {
  const end = Date.now() + LONGEST_WAIT;
  for (let left; (left = lastChange + PAUSE - Date.now()) > 0; ) {
    if (Date.now() > end) throw new Problem("unsettled");
    await sleep(left);
  }
}

/// A whole run: asks for a plan, applies it, and starts again after a foreign change. A plan that the user agreed to is
/// not replaced by another one: then the user is asked again.
async function perform(host, task, agreed = "", attempts = MOST_ATTEMPTS) {
  if (run) throw new Problem("busy");
  run = { expected: null, isForeign: false, count: 0 };
  tellPages({ type: "began" });
  try {
    for (let attempt = 0; attempt < attempts; attempt++) {
      if (attempt && agreed) throw new Problem("changed");
      await settle();
      run.isForeign = false;
      const tree = await api.bookmarks.getTree();
      const { list } = await host.ask({ type: "plan", task, preview: false, agreed, language: LANGUAGE, tree });
      if (run.isForeign || !(await applyAll(list))) continue;
      await host.ask({ type: "done" });
      await setTrouble(null);
      return { type: "ended", task, count: run.count };
    }
    throw new Problem("unsettled");
  } finally {
    run = null;
    tellPages({ type: "finished" });
  }
}

async function preview(task) {
  if (run) throw new Problem("busy");
  return withHost(async (host) => {
    const tree = await api.bookmarks.getTree();
    const changes = await host.ask({ type: "plan", task, preview: true, language: LANGUAGE, tree });
    const { trouble = null } = await api.storage.local.get("trouble");
    await setTrouble(trouble);
    return { ...changes, task, hello: host.hello, trouble };
  });
}

const requests = {
  preview: ({ task }) => preview(task),
  run: ({ task, agreed }) => withHost((host) => perform(host, task, agreed)),
  set: ({ automatic }) => withHost((host) => host.ask({ type: "set", automatic })),
};

/// Sends to one page, which may have been closed a moment ago: a run must not end by that.
function tell(page, message) {
  try {
    page.postMessage(message);
  } catch {
    pages.delete(page);
  }
}

const tellPages = (message) => pages.forEach((page) => tell(page, message));

api.runtime.onConnect.addListener((page) => {
  pages.add(page);
  page.onDisconnect.addListener(() => pages.delete(page));
  page.onMessage.addListener(async (message) => {
    try {
      const answer = await requests[message.request](message);
      tell(page, { ...answer, request: message.request });
    } catch (problem) {
      const code = problem.code ?? "failed";
      tell(page, { type: "problem", code, text: problem.message, request: message.request });
    }
  });
});

api.bookmarks.onCreated.addListener((id, info) => heard("created", id, info));
api.bookmarks.onRemoved.addListener((id, info) => heard("removed", id, info));
api.bookmarks.onChanged.addListener((id, info) => heard("changed", id, info));
api.bookmarks.onMoved.addListener((id, info) => heard("moved", id, info));
api.bookmarks.onChildrenReordered?.addListener((id, info) => heard("reordered", id, info));
api.bookmarks.onImportEnded?.addListener(() => heard("imported"));
api.alarms.onAlarm.addListener(sortAutomatically);
// Sorts a change that was made just before the browser was closed.
api.runtime.onStartup.addListener(scheduleAutomatic);
api.runtime.onInstalled.addListener(scheduleAutomatic);
api.action.onClicked.addListener(() => api.tabs.create({ url: api.runtime.getURL("page.html") }));
