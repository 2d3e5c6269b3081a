// Host name, password and notice.

import { el } from "../dom.js";
import { longestNotice, security } from "../fields.js";
import { parameters } from "../kelto-client.js";
import { addressAt } from "../moving.js";
import { value } from "../poll.js";
import { cut, firstBytes } from "../texts.js";
import { settingsForm } from "./settings.js";

// A page that was opened by the device's own name is opened by the new one.
function wayOf({ hostname: name }, { hostname: before }) {
  const [own, ...domain] = location.hostname.split(".");
  if (!before || own !== before.toLowerCase() || name === before) return undefined;
  return {
    title: "Change the name of this device?",
    said: [`The page was opened by the name ${before}.`],
    addresses: [addressAt([name, ...domain].join("."))],
  };
}

// The answer with a long notice ends in the middle of it: the rest, and the name
// of the certificate behind it, are not there.
export function accessCard() {
  let certificateName = "";
  const look = (record) => {
    certificateName = record.certificateName ?? certificateName;
    const { bannerText = "", ...rest } = parameters(record);
    return { ...rest, certificateName, bannerText: record[cut] ? firstBytes(bannerText, longestNotice) : bannerText };
  };
  const form = settingsForm({ title: "Access and notice", path: "security", groups: security, resource: "security", look, wayOf });
  const certificate = form.element.querySelector('[name="certificateName"]').closest("fieldset");
  const note = el("p", { class: "trouble" });
  form.element.querySelector("h2").after(note);
  function update() {
    form.update();
    const isCut = Boolean(value("security")?.[cut]);
    note.textContent = isCut ? "The notice is too long to be read whole. Below stands as much of it as can be; saving replaces it." : "";
    certificate.hidden = !isCut;
  }
  return { ...form, update };
}
