"use strict";
// The page: shows what would change, and asks the background script to do it.

const api = chrome.runtime.getURL("").startsWith("moz-extension:") ? browser : chrome;
/// Up to this number of entries every folder of the list is open.
const SMALL_LIST = 300;
const REFRESH_PAUSE = 1000;
const element = (id) => document.getElementById(id);
const text = (key, ...parts) => api.i18n.getMessage(key, parts.map(String)) || key;

/// What the list shows: "sort" or "clean".
let task = "sort";
let shown = null;
let isBusy = false;
let refreshTimer = 0;
let port = null;
/// The request that the message in "problem" is about; empty for no message.
let failedRequest = "";

function send(message) {
  // A new connection starts the background script if it has ended.
  if (!port) {
    port = api.runtime.connect();
    port.onDisconnect.addListener(disconnected);
    port.onMessage.addListener((message) => receivers[message.type]?.(message));
  }
  port.postMessage(message);
}

function disconnected() {
  port = null;
  if (!isBusy) return;
  setBusy(false);
  receivers.problem({ code: "failed", text: "", request: "run" });
}

function make(name, className, content = "") {
  const made = document.createElement(name);
  made.className = className;
  made.append(content);
  return made;
}

/// Isolates a title, so that its writing direction does not affect the text around it.
const quoted = (title) => text("quoted", `\u2068${title}\u2069`);
const pathText = (path) => path.map((title) => `\u2068${title}\u2069`).join(" / ");

function explanation([kind, ...details]) {
  switch (kind) {
    case "moved":
      return details[0] === details[1] ? text("whyMovedPast", details[1]) : text("whyMoved", ...details);
    case "removed":
      if (details[0] === "empty") return text("whyEmpty");
      if (details[0] === "address") return text("whyNoAddress");
      return text("whyDuplicate", quoted(details[1]), pathText(details[2]));
    case "renamed":
      return text("whyRenamed", quoted(details[0]));
    default:
      return text("whyNamed", quoted(details[0]));
  }
}

function entryRow(entry) {
  const row = make("li", entry.url === undefined ? "folder" : "");
  const title = make("bdi", entry.title ? "t" : "t untitled", entry.title || text("untitled"));
  row.append(title);
  for (const change of entry.changes) {
    row.append(" ", make("span", `k k-${change[0]}`, text(change[0])), " ", make("span", "why", explanation(change)));
  }
  if (entry.url) {
    const address = make("bdi", "u", entry.url);
    address.dir = "ltr";
    row.append(address);
  }
  return row;
}

function folderSection(folder, isOpen) {
  const section = document.createElement("details");
  const summary = make("summary", "", make("bdi", "t", pathText(folder.path)));
  const count = make("span", "n", String(folder.entries.length));
  count.setAttribute("aria-label", text("entries", folder.entries.length));
  summary.append(" ", count);
  section.append(summary);
  // A closed folder gets its rows when it is opened.
  const fill = () => {
    if (section.open && section.children.length === 1) {
      const list = document.createElement("ul");
      list.append(...folder.entries.map(entryRow));
      section.append(list);
    }
  };
  section.addEventListener("toggle", fill);
  section.open = isOpen;
  fill();
  return section;
}

/// Joins folders that were split between two pieces.
function joined(pieces) {
  const folders = new Map();
  for (const piece of pieces) {
    const known = folders.get(piece.number);
    if (known) known.entries.push(...piece.entries);
    else folders.set(piece.number, piece);
  }
  return [...folders.values()];
}

/// How much would change. A folder can be in order and still have positions to repair.
function summary(changes, total) {
  const repairs = changes.repaired ? text("repairs", changes.repaired) : "";
  if (total) return `${text("counts", changes.moved, changes.removed, changes.renamed)} ${repairs}`.trim();
  return repairs || text(task === "clean" ? "nothingToClean" : "nothingToSort");
}

function showChanges(changes) {
  if (changes.task !== task) return; // Outdated.
  shown = changes;
  const folders = joined(changes.list);
  const total = folders.reduce((sum, folder) => sum + folder.entries.length, 0);
  element("list").textContent = text(task === "clean" ? "listClean" : "listSort");
  element("counts").textContent = summary(changes, total);
  element("changes").replaceChildren(...folders.map((folder) => folderSection(folder, total <= SMALL_LIST)));
  const wasHidden = element("question").hidden;
  element("question").hidden = task !== "clean" || !total || !changes.steps;
  if (wasHidden && !element("question").hidden) element("agree").focus();
  element("automatic").checked = changes.hello.automatic;
  // The message about a run or a setting stays until the next one; others are replaced by the current state.
  if (!["run", "set"].includes(failedRequest)) showProblem(changes.trouble, "automatic");
  showState();
}

/// Shows a problem, {code, text}, or none. An unchanged message is not announced again.
function showProblem(problem, request) {
  failedRequest = problem ? request : "";
  const message = problem ? text(`problem_${PROBLEMS.includes(problem.code) ? problem.code : "failed"}`, problem.text) : "";
  if (element("problem").textContent !== message) element("problem").textContent = message;
}

function showState() {
  const ready = shown !== null && !isBusy;
  element("sort").disabled = !ready || (task === "sort" && !shown.steps);
  element("clean").disabled = !ready;
  element("undo").disabled = !ready || !shown.hello.runs;
  element("undo").title = shown?.hello.last ? text("undoLast", shown.hello.last) : "";
  element("automatic").disabled = !ready;
  element("agree").disabled = element("decline").disabled = !ready;
  document.body.setAttribute("aria-busy", String(isBusy));
}

function look(wanted) {
  clearTimeout(refreshTimer);
  task = wanted;
  send({ request: "preview", task: wanted });
}

function lookSoon() {
  clearTimeout(refreshTimer);
  refreshTimer = setTimeout(() => isBusy || look(task), REFRESH_PAUSE);
}

function begin(wanted, agreed = "") {
  element("status").textContent = "";
  showProblem(null);
  element("question").hidden = true;
  task = "sort";
  send({ request: "run", task: wanted, agreed });
}

/// Also for runs of other windows and automatic ones. The page that asked for a run is told its result afterwards.
function setBusy(busy, status = "") {
  isBusy = busy;
  element("status").textContent = status;
  showState();
}

const PROBLEMS = ["absent", "busy", "changed", "crashed", "new", "old", "record", "refused", "settings", "unreadable", "unsettled"];

const receivers = {
  changes: showChanges,
  changed: () => isBusy || lookSoon(),
  ok: () => look(task),
  began: () => setBusy(true, text("working")),
  progress({ done, total }) {
    element("status").textContent = text("progress", done, total);
  },
  finished() {
    setBusy(false);
    lookSoon();
  },
  ended(message) {
    element("status").textContent = message.count ? text("done", message.count) : text("nothingDone");
    look("sort");
  },
  problem(message) {
    if (message.code === "busy" && message.request === "preview") return lookSoon();
    showProblem(message, message.request);
    if (message.code === "changed") look("clean");
    else if (message.request === "set") look(task);
  },
};

for (const labelled of document.querySelectorAll("[data-text]")) labelled.textContent = text(labelled.dataset.text);
document.documentElement.lang = api.i18n.getMessage("language");
element("sort").addEventListener("click", () => (task === "sort" ? begin("sort") : look("sort")));
element("clean").addEventListener("click", () => look("clean"));
element("agree").addEventListener("click", () => begin("clean", shown.agreed));
element("decline").addEventListener("click", () => {
  look("sort");
  element("clean").focus();
});
element("undo").addEventListener("click", () => begin("undo"));
element("automatic").addEventListener("change", (event) => send({ request: "set", automatic: event.target.checked }));
// Tries again when the user comes back from setting up the host.
window.addEventListener("focus", () => failedRequest === "preview" && look(task));
look("sort");
