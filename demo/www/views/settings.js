// Views that consist of forms, one for each record of settings.

import { noteOnMeaning } from "../controls.js";
import { device } from "../device.js";
import { button, card, el } from "../dom.js";
import * as fields from "../fields.js";
import { makeForm } from "../form.js";
import { parameters } from "../kelto-client.js";
import { mover } from "../moving.js";
import { attempt } from "../news.js";
import { readAnew, refresh, value } from "../poll.js";

// resource: where the record is read, pick: which member of it, path: where it
// goes. look(record): the parameters that the form holds; wayOf: see moving.js.
export function settingsForm({ title, path, groups, resource, pick, extra, look = parameters, wayOf = () => undefined }) {
  const current = () => {
    const data = value(resource);
    return data && look(pick ? data[pick] : data);
  };
  const { confirm, send } = mover(wayOf, (given) => device.put(path, given));
  const form = makeForm({
    title,
    groups,
    extra,
    read: () => readAnew(resource),
    confirm,
    async save(given, letGo) {
      await send(given, letGo);
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
  return { element, groups, uses: [resource], update };
}

export function formsView(makeParts) {
  return () => {
    const parts = makeParts();
    const meaning = noteOnMeaning(parts.flatMap(({ groups = [] }) => groups));
    return {
      element: el("div", {}, meaning, el("div", { class: "cards" }, ...parts.map((part) => part.element))),
      uses: [...new Set(parts.flatMap((part) => part.uses))],
      update: () => parts.forEach((part) => part.update()),
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
