// The network interfaces, and what is announced and found on the network.

import { device } from "../device.js";
import { card, el, endpoint, setText } from "../dom.js";
import * as fields from "../fields.js";
import { makeForm } from "../form.js";
import { parameters } from "../kelto-client.js";
import { readAnew, refresh, value } from "../poll.js";
import { formsView, settingsForm } from "./settings.js";

const mostInterfaces = 34; // that one request can change

// One form for all interfaces: a request replaces the list.
function interfacesCard() {
  const place = el("div", {}, el("p", { class: "muted" }, "Asking the device"));
  const rest = el("p", { class: "hint" });
  let form, ids;
  const present = () => value("network").slice(0, mostInterfaces);
  const current = () => parameters(present());
  const isOther = () => ids !== present().map(({ id }) => id).join();
  function makeAnew(list) {
    form = makeForm({
      title: "Interfaces",
      groups: list.flatMap(({ id }, i) => fields.networkInterface(i, `Interface ${id}`)),
      read: () => readAnew("network"),
      discarded: update,
      async save(given) {
        if (isOther()) throw new Error("The device has other interfaces by now. Discard the changes to see them.");
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
    const list = present();
    if (isOther() && form?.isChanged()) return;
    if (isOther()) makeAnew(list);
    ids = list.map(({ id }) => id).join();
    form.load(current());
    setText(rest, all.length > list.length ? `Only the first ${list.length} of ${all.length} interfaces can be changed here.` : "");
  }
  const element = card("Interfaces", rest, place);
  element.classList.add("broad");
  return { element, groups: fields.networkInterface(0), uses: ["network"], update };
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
