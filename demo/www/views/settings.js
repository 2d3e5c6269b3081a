// Views that consist of forms, one for each record of settings.

import { device } from "../device.js";
import { button, card, el, endpoint, setText } from "../dom.js";
import * as fields from "../fields.js";
import { makeForm } from "../form.js";
import { parameters } from "../kelto-client.js";
import { attempt } from "../news.js";
import { refresh, value } from "../poll.js";

// resource: where the record is read, pick: which member of it, path: where it
// goes.
export function settingsForm({ title, path, groups, resource, pick, extra }) {
  const current = () => {
    const data = value(resource);
    return data && parameters(pick ? data[pick] : data);
  };
  const form = makeForm({
    groups,
    extra,
    async save(given) {
      await device.put(path, given);
      await refresh(resource);
      return current();
    },
  });
  const element = card(title, form.element);
  form.element.hidden = true;
  const update = () => {
    const now = current();
    form.element.hidden = !now;
    if (now) form.load(now);
  };
  return { element, uses: [resource], update };
}

export function formsView(makeParts) {
  return () => {
    const parts = makeParts();
    return {
      element: el("div", { class: "cards" }, ...parts.map((part) => part.element)),
      uses: [...new Set(parts.flatMap((part) => part.uses))],
      update: () => parts.forEach((part) => part.update()),
      leave: () => parts.forEach((part) => part.leave?.()),
    };
  };
}

const ofDecoder = (title, pick, groups, extra) => settingsForm(
  { title, path: `decoder/${pick}`, groups, resource: "decoder", pick, extra });

export const outputs = formsView(() => [
  ofDecoder("Video", "video", fields.video),
  ofDecoder("Audio", "audio", fields.audio),
]);

function talkbackCard() {
  const run = (action, done) => () => attempt(async () => {
    await device.put(`talkback/${action}`);
    await refresh();
  }, done);
  return ofDecoder("Talkback", "talkback", fields.talkback, [
    button("Start talkback", run("start", "Talkback is started.")),
    button("Stop talkback", run("stop", "Talkback is stopped.")),
  ]);
}

export const decoder = formsView(() => [
  ofDecoder("Decoding", "configuration", fields.decoding),
  ofDecoder("VBI and ancillary data", "vbianc", fields.vbianc),
  talkbackCard(),
]);

const mostInterfaces = 34; // that one request can change

// One form for all interfaces: a request replaces the list.
function interfacesCard() {
  const place = el("div", {}, el("p", { class: "muted" }, "Asking the device"));
  const rest = el("p", { class: "hint" });
  let form, ids;
  const current = () => parameters(value("network").slice(0, mostInterfaces));
  function makeAnew(list) {
    form = makeForm({
      groups: list.flatMap(({ id }, i) => fields.networkInterface(i, `Interface ${id}`)),
      async save(given) {
        await device.put("network", given);
        await refresh("network");
        return current();
      },
    });
    place.replaceChildren(list.length ? form.element : el("p", { class: "muted" }, "The device has no interfaces."));
  }
  function update() {
    const all = value("network");
    if (!all) return;
    const list = all.slice(0, mostInterfaces);
    const now = list.map(({ id }) => id).join();
    if (ids !== now) makeAnew(list);
    ids = now;
    form.load(current());
    setText(rest, all.length > list.length ? `Only the first ${list.length} of ${all.length} interfaces can be changed here.` : "");
  }
  const element = card("Interfaces", rest, place);
  element.classList.add("broad");
  return { element, uses: ["network"], update };
}

function announcedCard() {
  const list = el("ul", { class: "plain" });
  const update = () => {
    const streams = value("sapStreams");
    if (!streams) return;
    const texts = streams.map((stream) => [
      `${fields.protocols[stream.protocol] ?? `Code ${stream.protocol}`} ${endpoint(stream)}`,
      `video PID ${stream.videoPid}`, `audio PID ${stream.audio1Pid}`].join(", "));
    list.replaceChildren(...(texts.length ? texts : ["No stream is announced at present."]).map((text) => el("li", {}, text)));
  };
  return { element: card("Announced streams", list), uses: ["sapStreams"], update };
}

export const network = formsView(() => [
  interfacesCard(),
  settingsForm({ title: "SAP announcements", path: "sap", groups: fields.sap, resource: "sap" }),
  announcedCard(),
  settingsForm({ title: "Services", path: "services", groups: fields.services, resource: "services" }),
]);
