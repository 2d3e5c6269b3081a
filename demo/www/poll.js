// What is known of the device. Each round reads the counters of changes, and
// then of what the page shows only the resources whose counters moved.

import { getList, getOne, getWithNotice } from "./device.js";
import { isNoAnswer } from "./news.js";

const period = 2000;
const longestPause = 10000;
const patience = 5; // seconds; then it is said that an answer is missing

const whenMoved = (read, path, ...groups) => ({ read, path, groups });
const live = (read, path, seconds = 0) => ({ read, path, groups: [], milliseconds: seconds * 1000 });

const resources = {
  streams: whenMoved(getList, "stream", "channelList", "channelInfo"),
  channel: whenMoved(getOne, "channel", "channelInfo", "channelList"),
  configurations: whenMoved(getList, "configuration", "configList"),
  ports: whenMoved(getOne, "ports", "portsInfo"),
  leds: whenMoved(getOne, "leds", "portsInfo", "channelInfo", "decoderParameters", "datetimeParameters"),
  decoder: whenMoved(getOne, "decoder", "decoderParameters"),
  network: whenMoved(getList, "network", "networkParameters"),
  datetime: whenMoved(getOne, "sysdatetime", "datetimeParameters"),
  general: whenMoved(getOne, "general", "software"),
  // Nothing counts the changes of these.
  uptime: live(getOne, "uptime"),
  channelInfo: live(getOne, "channel/info"),
  zixi: live(getOne, "zixiStats"),
  srt: live(getOne, "srtStats"),
  upgrade: live(getOne, "general/upgradeStatus"),
  freespace: live(getOne, "general/freespace", 30),
  notice: live(getWithNotice, "notice", 30),
  sap: live(getOne, "sap", 30),
  sapStreams: live(getList, "sap/stream", 10),
  security: live(getWithNotice, "security", 30),
  services: live(getOne, "services", 30),
};

// Of each resource: value, whether it is stale, when it was read, its error.
const states = Object.fromEntries(Object.keys(resources).map((name) => [name, { stale: true, at: 0 }]));
const watchers = new Set();
let counters; // undefined: nothing that is known may be trusted
let timer, running, failures = 0;
let answered; // when the last round went well
let trouble; // the error that ended the last round
let onTrouble = () => {};

export const value = (name) => states[name].value;

// Calls back now with what is known, and whenever one of the resources was
// read. Returns the function that ends this.
export function watch(names, callback) {
  const watcher = { names, callback };
  watchers.add(watcher);
  for (const name of names) if (!resources[name].groups.length) states[name].stale = true;
  if (names.some((name) => states[name].value !== undefined)) callback();
  refresh();
  return () => watchers.delete(watcher);
}

export function onConnection(callback) {
  onTrouble = callback;
}

// Reads one anew, and fails when it cannot be read.
export async function readAnew(name) {
  await refresh(name);
  if (states[name].stale) throw states[name].error ?? trouble;
}

// Reads these anew, and then all that moved by it.
export async function refresh(...names) {
  for (const name of names) states[name].stale = true;
  while (running) await running;
  await round();
}

function isDue(name) {
  const { groups, milliseconds } = resources[name];
  const state = states[name];
  return state.stale || (!groups.length && Date.now() - state.at >= milliseconds);
}

async function readCounters() {
  const now = await getOne("changes");
  for (const [name, { groups }] of Object.entries(resources)) {
    if (!counters || groups.some((group) => counters[group] !== now[group])) states[name].stale = true;
  }
  counters = now;
}

async function readOne(name) {
  const state = states[name];
  try {
    state.value = await resources[name].read(resources[name].path);
    state.stale = false;
    state.error = undefined;
  } catch (error) {
    state.stale = true;
    state.error = error;
    if (isNoAnswer(error)) throw error;
  }
  state.at = Date.now();
}

// One after the other: each would wait for a device that does not answer, and
// hold up everybody else as long.
async function readAll() {
  await readCounters();
  const watched = new Set([...watchers].flatMap(({ names }) => names));
  const due = [...watched].filter(isDue);
  for (const name of due) await readOne(name);
  for (const { names, callback } of [...watchers]) {
    if (names.some((name) => due.includes(name) && !states[name].error)) callback();
  }
  return [...watched].filter((name) => states[name].error)
    .map((name) => `${resources[name].path}: ${states[name].error.message}`);
}

const clock = (time) => new Date(time).toLocaleTimeString("en-GB");

// Told from a device that can't be reached by a file of the server's own, which
// it sends without asking the service.
async function isServerThere() {
  try {
    return (await fetch("icon.svg", { method: "HEAD", cache: "no-store", signal: AbortSignal.timeout(3000) })).ok;
  } catch {
    return false;
  }
}

const ofServer = (isThere) => (isThere ? " Its web server is there, but the service behind it is busy or hangs." : "");

function waiting(isThere) {
  const since = answered ? `The device has not answered since ${clock(answered)}.` : "The device has not answered yet.";
  return [`${since}${ofServer(isThere)} An answer can take 30 seconds, and other requests wait in line behind it.`];
}

function failing(error, seconds, isThere) {
  const isLate = isNoAnswer(error) && seconds >= patience;
  return [
    isLate ? `The device did not answer for ${seconds} seconds.${ofServer(isThere)}` : error.message,
    answered ? `What is shown is from ${clock(answered)}.` : "",
    "Trying again.",
  ].filter(Boolean);
}

function round() {
  clearTimeout(timer);
  const began = Date.now();
  let isThere = false;
  const slow = setTimeout(async () => {
    onTrouble(waiting(isThere));
    const mine = running;
    isThere = await isServerThere();
    if (mine === running) onTrouble(waiting(isThere));
  }, patience * 1000);
  running = readAll()
    .then((problems) => {
      failures = problems.length ? failures + 1 : 0;
      answered = Date.now();
      onTrouble(problems.length ? [...problems, "Trying again."] : []);
    })
    .catch((error) => {
      // The device may be another one, or know nothing of before, when it
      // answers again.
      counters = undefined;
      trouble = error;
      ++failures;
      onTrouble(failing(error, Math.round((Date.now() - began) / 1000), isThere));
    })
    .finally(() => {
      clearTimeout(slow);
      running = undefined;
      schedule();
    });
  return running;
}

function schedule() {
  clearTimeout(timer);
  if (document.hidden) return;
  timer = setTimeout(refresh, Math.min(period * 2 ** Math.min(failures, 3), longestPause));
}

document.addEventListener("visibilitychange", () => {
  if (document.hidden) clearTimeout(timer);
  else refresh();
});
addEventListener("online", () => refresh());
