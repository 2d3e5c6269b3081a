// The frame of the page: which view is shown, and what holds for all of them.

import { ask } from "./dialog.js";
import { el, button, setText } from "./dom.js";
import { onConnection, value, watch } from "./poll.js";
import { say } from "./news.js";
import { dropAll, losses } from "./unsaved.js";
import { overview } from "./views/overview.js";
import { streams } from "./views/streams.js";
import { decoder, outputs } from "./views/settings.js";
import { network } from "./views/network.js";
import { configurations } from "./views/configurations.js";
import { system } from "./views/system.js";

const views = { overview, streams, outputs, decoder, network, configurations, system };
const titles = {
  overview: "Overview", streams: "Streams", outputs: "Outputs", decoder: "Decoder",
  network: "Network", configurations: "Configurations", system: "System",
};

const byId = (id) => document.getElementById(id);
const links = Object.entries(titles).map(([name, title]) => el("a", { href: `#/${name}` }, title));
let leave = () => {};

// "#/streams/3" shows the view streams with the rest "3".
function route() {
  const [name, ...rest] = location.hash.replace(/^#\/?/, "").split("/");
  return name in views ? [name, rest.join("/")] : ["overview", ""];
}

function show(moveFocus) {
  const [name, rest] = route();
  leave();
  say("");
  const view = views[name](rest);
  for (const link of links) {
    if (link.hash === `#/${name}`) link.setAttribute("aria-current", "page");
    else link.removeAttribute("aria-current");
  }
  setText(byId("title"), view.title ?? titles[name]);
  document.title = `${view.title ?? titles[name]} – System management`;
  byId("view").replaceChildren(view.element);
  const unwatch = watch(view.uses, () => view.update?.());
  leave = () => {
    unwatch();
    dropAll();
  };
  openMenu(false);
  if (!moveFocus) return;
  byId("main").focus({ preventScroll: true });
  scrollTo(0, 0);
}

// The entries of the history are numbered, so that a step to another view can be
// taken back, in whichever direction it went.
let place = history.state?.place ?? 0, isAsking = false, mayLeave = false;
history.replaceState({ place }, "");

async function moved() {
  const there = history.state?.place ?? place + 1;
  history.replaceState({ place: there }, "");
  if (there === place) return; // a step that was taken back
  if (losses().length && !mayLeave) {
    const step = there - place;
    history.go(-step);
    if (isAsking) return;
    isAsking = true;
    mayLeave = await ask({ title: "Leave this view?", text: ["This would be lost:", ...losses()], cancel: "Stay", action: "Leave" });
    isAsking = false;
    if (mayLeave) history.go(step);
    return;
  }
  mayLeave = false;
  place = there;
  show(true);
}

function openMenu(isOpen) {
  byId("menu").setAttribute("aria-expanded", String(isOpen));
  byId("nav").classList.toggle("open", isOpen);
}

// Software that is newer than the page comes with a page of its own.
let softwareOfPage;
function showDevice() {
  const { hardware, software } = value("general") ?? {};
  if (software === undefined) return;
  softwareOfPage ??= software;
  byId("device").replaceChildren(`${hardware}, software ${software}`);
  if (software === softwareOfPage) return;
  byId("device").append(" ", button("Reload the page", () => location.reload(), { class: "small" }));
}

const api = el("a", { href: "reference/index.html" }, "API");
byId("nav").append(el("ul", {}, ...[...links, api].map((link) => el("li", {}, link))));
byId("menu").addEventListener("click", () => openMenu(byId("menu").getAttribute("aria-expanded") === "false"));
byId("skip").addEventListener("click", (event) => {
  event.preventDefault(); // the address belongs to the views
  byId("main").focus();
});
addEventListener("keydown", (event) => event.key === "Escape" && openMenu(false));
addEventListener("hashchange", moved);
onConnection((texts) => setText(byId("trouble"), texts.join(" ")));
watch(["general"], showDevice);
show(false);
