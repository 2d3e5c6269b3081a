// A file to send to the device, with the progress of it.

import { device } from "./device.js";
import { button, el, setText } from "./dom.js";
import { reason } from "./news.js";
import { hold, release } from "./unsaved.js";

// confirm(file) asks whether to go on; accepted is called with the device's
// result. Returns the element.
export function uploadForm({ label, path, parameter, submit, confirm, accepted }) {
  const id = `file-${parameter}`;
  const file = el("input", { id, type: "file", required: true, "aria-describedby": `${id}-error` });
  const error = el("p", { id: `${id}-error`, class: "error" });
  const state = el("p", { class: "state", role: "status" });
  const progress = el("progress", { max: 1, value: 0, "aria-label": `Upload: ${label}` });
  const send = el("button", { type: "submit", class: "primary" }, submit);
  const stop = () => running?.abort(new Error("The upload was cancelled."));
  const cancel = button("Cancel", stop, { hidden: true });
  progress.hidden = true;
  let running;

  function show(sent) {
    progress.value = sent;
    setText(state, sent < 1 ? `${Math.floor(100 * sent)} % is sent` : "Waiting for the device");
  }

  function fail(message) {
    setText(error, message);
    file.setAttribute("aria-invalid", "true");
    file.focus();
  }

  async function submitted(event) {
    event.preventDefault();
    if (running) return;
    setText(error, "");
    file.removeAttribute("aria-invalid");
    setText(state, "");
    if (!file.files.length) return fail("Choose a file first.");
    const [chosen] = file.files;
    if (confirm && !(await confirm(chosen))) return;
    running = new AbortController();
    hold(file, `${chosen.name} is still being sent.`, stop);
    progress.hidden = cancel.hidden = false;
    show(0);
    try {
      const [result = {}] = await device.upload(path, parameter, chosen, { onprogress: show, signal: running.signal });
      setText(state, result.message || "The device has taken the file.");
      accepted?.(result);
    } catch (problem) {
      setText(state, "");
      fail(reason(problem));
    } finally {
      running = undefined;
      release(file);
      progress.hidden = cancel.hidden = true;
    }
  }

  return el("form", { novalidate: true, class: "upload", onsubmit: submitted },
    el("div", { class: "field wide" }, el("label", { for: id }, label), file, error),
    progress, el("div", { class: "actions" }, send, cancel, state));
}
