// A change after which the device is found at another address.

import { ask } from "./dialog.js";
import { el } from "./dom.js";
import { isNoAnswer } from "./news.js";

const patience = 10000; // for the answer to such a change

// The address of this page at another host.
export function addressAt(host) {
  const name = host.includes(":") ? `[${host}]` : host;
  const port = location.port && `:${location.port}`;
  return `${location.protocol}//${name}${port}/${location.hash}`;
}

const shortened = (address) => address.replace(/#.*/, "");

// The steps of a form whose change may move the device. wayOf(parameters, before)
// returns nothing when it doesn't, else {title, said, addresses}: what is to be
// known about the change, and where the device is afterwards, as far as known.
export function mover(wayOf, put) {
  let way;
  return {
    confirm(given, before) {
      way = wayOf(given, before);
      return !way || askToMove(way);
    },
    send(given, letGo) {
      const sent = put(given);
      return way ? follow(way, sent, letGo) : sent;
    },
  };
}

function askToMove({ title, said, addresses }) {
  const places = addresses.length ? [`Afterwards the device is at ${addresses.map(shortened).join(" or ")}.`] : [];
  return ask({ title, text: ["This page may lose its connection to the device.", ...said, ...places], action: "Save the change" });
}

// Waits for the answer to the change, which may never come, and shows the way.
async function follow({ addresses }, sent, letGo) {
  const outcome = await Promise.race([
    sent.then(() => "The change is saved.", (error) => error),
    new Promise((resolve) => setTimeout(resolve, patience, "The device has not answered yet: it may have moved already.")),
  ]);
  const text = isNoAnswer(outcome) ? outcome.message : outcome;
  if (addresses.length && typeof text === "string") {
    letGo();
    await offer(text, addresses);
  }
  return sent;
}

const offer = (text, addresses) => ask({
  title: "Go to the new address?",
  text,
  body: [el("ul", { class: "plain places" }, ...addresses.map(
    (address) => el("li", {}, el("a", { href: address, class: "button primary" }, `Go to ${shortened(address)}`))))],
  cancel: "Stay here",
});
