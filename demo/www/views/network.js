// The network interfaces, and what is announced and found on the network.

import { device } from "../device.js";
import { card, el, endpoint, setText } from "../dom.js";
import * as fields from "../fields.js";
import { makeForm } from "../form.js";
import { parameters } from "../kelto-client.js";
import { addressAt, mover } from "../moving.js";
import { readAnew, refresh, value } from "../poll.js";
import { formsView, settingsForm } from "./settings.js";

const mostInterfaces = 34; // that one request can change
const automatic = 1; // of ip4Type and ip6Type

// What decides where the device is found.
const ofAddress = [
  "type", "ip4Type", "ipAddress", "networkMask", "defaultGateway", "ip6Type", "ip6ManualAddress", "ip6ManualPrefix",
  "isManagementAccess", "isPrimaryDefaultGateway",
];

const pageHost = location.hostname.replace(/[[\]]/g, "");
const ipAddresses = ["ipAddress", "ip6AutoAddress", "ip6ManualAddress"];
const isPageHere = (one) => ipAddresses.some((key) => one[key] === pageHost);

// Where an interface is found after a change, and what can't be known of it.
function placesOf(now, before) {
  const hosts = [], unknown = [];
  const look = (version, type, given, fixed) => {
    if (now[type] !== automatic) hosts.push(now[fixed]);
    else if (before[type] === automatic) hosts.push(before[given]);
    else unknown.push(`Interface ${now.id} gets its ${version} address automatically: which one is not known here.`);
  };
  look("IPv4", "ip4Type", "ipAddress", "ipAddress");
  look("IPv6", "ip6Type", "ip6AutoAddress", "ip6ManualAddress");
  return { hosts: hosts.filter((host) => host && host !== "0.0.0.0" && host !== "::"), unknown };
}

// What to ask before the interfaces are changed; nothing where the page's way to
// the device stays as it is.
function moveOf(before, now) {
  const differs = (i) => ofAddress.some((key) => String(before[i][key]) !== String(now[i][key]));
  const matters = (i) => before[i].isManagementAccess || now[i].isManagementAccess || isPageHere(before[i]);
  const changed = now.map((_, i) => i).filter((i) => matters(i) && differs(i));
  if (!changed.length) return undefined;
  const isReached = (i) => now[i].isManagementAccess || (isPageHere(before[i]) && !before[i].isManagementAccess);
  const reached = now.map((_, i) => i).filter(isReached);
  const places = reached.map((i) => placesOf(now[i], before[i]));
  const names = changed.map((i) => `interface ${now[i].id}`).join(" and ");
  return {
    title: "Change the way to this device?",
    said: [
      `Addresses or management access change at ${names}.`,
      ...places.flatMap(({ unknown }) => unknown),
      ...(reached.length ? [] : ["No interface has management access any more: the device may be out of reach."]),
    ],
    addresses: places.flatMap(({ hosts }) => hosts).map(addressAt),
  };
}

// The parameters of a request as a list again.
function interfacesOf(given, count) {
  const value = (key, i) => given[`${key}[${i}]`];
  const types = { ip4Type: Number, ip6Type: Number };
  return Array.from({ length: count }, (_, i) => Object.fromEntries(
    ["id", ...ofAddress, "ip6AutoAddress"].map((key) => [key, (types[key] ?? ((one) => one))(value(key, i))])));
}

// One form for all interfaces: a request replaces the list.
function interfacesCard() {
  const place = el("div", {}, el("p", { class: "muted" }, "Asking the device"));
  const rest = el("p", { class: "hint" });
  let form, ids;
  const present = () => value("network").slice(0, mostInterfaces);
  const current = () => parameters(present());
  const isOther = () => ids !== present().map(({ id }) => id).join();
  function wayOf(given, before) {
    if (isOther()) throw new Error("The device has other interfaces by now. Discard the changes to see them.");
    return moveOf(...[before, given].map((one) => interfacesOf(one, present().length)));
  }
  const { confirm, send } = mover(wayOf, (given) => device.put("network", given));
  function makeAnew(list) {
    form = makeForm({
      title: "Interfaces",
      groups: list.flatMap(({ id }, i) => fields.networkInterface(i, `Interface ${id}`)),
      read: () => readAnew("network"),
      discarded: update,
      confirm,
      async save(given, letGo) {
        await send(given, letGo);
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
