// Access, clock, software, and the device as a whole.

import { device } from "../device.js";
import { ask } from "../dialog.js";
import { amount, button, card, el, facts, setText } from "../dom.js";
import * as fields from "../fields.js";
import { attempt } from "../news.js";
import { refresh, value } from "../poll.js";
import { uploadForm } from "../upload.js";
import { accessCard } from "./access.js";
import { formsView, settingsForm } from "./settings.js";

function certificateCard() {
  const current = facts([["In use", ({ certificateName }) => certificateName ?? "could not be read"]]);
  const toDefault = button("Use the default certificate", () => attempt(async () => {
    await device.put("security/certificate/default");
    await refresh("security");
  }, "The default certificate is in use."));
  const element = card("Certificate", current.element,
    uploadForm({
      label: "Certificate file", path: "security/certificate", parameter: "certificateName", submit: "Upload",
      accepted: () => refresh("security"),
    }),
    el("div", { class: "actions" }, toDefault));
  return { element, uses: ["security"], update: () => value("security") && current.update(value("security")) };
}

const states = ["No upgrade", "Going on", "Finished", "Failed"];
const failed = 3;

// What happens, as far as it is known of any device.
const confirmInstall = ({ name, size }) => ask({
  title: `Install ${name}?`,
  text: [
    `${name} (${amount(Math.ceil(size / 1024))} KiB) is sent to the device, which installs it at once. The software is now ${value("general")?.software ?? "not known"}.`,
    "Decoding may be interrupted, and the device may start again by itself. Leave it switched on until the upgrade is finished.",
  ],
  action: "Install",
});

function softwareCard() {
  const list = facts([
    ["Installed", ({ general }) => general.software],
    ["Free space", ({ space }) => amount(space.tmp, "MiB")],
  ]);
  const progress = el("progress", { max: 100, value: 0, "aria-label": "Upgrade" });
  const state = el("p", { class: "state", role: "status" });
  const passed = el("ol", { class: "stages" });
  const status = el("div", { hidden: true }, el("h3", {}, "Upgrade"), progress, state, passed);
  let stages = [], before;

  // The names of the stages are the device's: each is listed as it comes.
  function showUpgrade(upgrade) {
    const isOn = upgrade.status === 1;
    if (isOn && before !== 1) stages = [];
    if (upgrade.status !== 0 && stages.at(-1) !== upgrade.stage) stages.push(upgrade.stage);
    before = upgrade.status;
    status.hidden = upgrade.status === 0;
    progress.value = upgrade.percent;
    setText(state, `${states[upgrade.status] ?? `Code ${upgrade.status}`}, ${upgrade.percent} %`);
    status.classList.toggle("failed", upgrade.status === failed);
    if (passed.children.length > stages.length) passed.replaceChildren();
    for (const stage of stages.slice(passed.children.length)) passed.append(el("li", {}, stage));
    [...passed.children].forEach((item, i) => item.classList.toggle("present", isOn && i === stages.length - 1));
  }

  function update() {
    const general = value("general"), space = value("freespace"), upgrade = value("upgrade");
    if (general && space) list.update({ general, space });
    if (upgrade) showUpgrade(upgrade);
  }
  const element = card("Software", list.element,
    uploadForm({
      label: "Firmware package", path: "general/firmwareUpgrade", parameter: "packageName", submit: "Upload and install",
      confirm: confirmInstall, accepted: () => refresh("upgrade"),
    }), status);
  return { element, uses: ["general", "freespace", "upgrade"], update };
}

function deviceCard() {
  const dangerous = (name, path, title, text, done) => button(name, async () => {
    if (!(await ask({ title, text, action: name }))) return;
    await attempt(async () => {
      await device.put(path);
      await refresh();
    }, done);
  }, { class: "danger" });
  const element = card("Device",
    el("p", { class: "muted" }, "Both interrupt what is being decoded."),
    el("div", { class: "actions" },
      dangerous("Restart", "general/restart", "Restart the device?",
        "Decoding is interrupted until it runs again.", "The device restarts."),
      dangerous("Factory reset", "general/factoryReset", "Reset to factory settings?",
        [
          "All settings, streams and saved configurations are replaced by those that the device was delivered with, which cannot be undone.",
          "The password and the network addresses may be among them: then the device is found at its first address, and this page may lose it.",
        ],
        "The device is reset.")));
  return { element, uses: [], update() {} };
}

export const system = formsView(() => [
  settingsForm({ title: "Date and time", path: "sysdatetime", groups: fields.datetime, resource: "datetime" }),
  certificateCard(),
  accessCard(),
  softwareCard(),
  deviceCard(),
]);
