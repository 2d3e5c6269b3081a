// A file to send to the device, with the progress of it.

import { device } from "./device.js";
import { button, el, setText } from "./dom.js";

// accepted is called with the device's result; returns the element.
export function uploadForm({ label, path, parameter, submit, accepted }) {
  const id = `file-${parameter}`;
  const file = el("input", { id, type: "file", required: true, "aria-describedby": `${id}-error` });
  const error = el("p", { id: `${id}-error`, class: "error" });
  const state = el("p", { class: "state", role: "status" });
  const progress = el("progress", { max: 1, value: 0, "aria-label": `Upload: ${label}` });
  const send = el("button", { type: "submit", class: "primary" }, submit);
  const cancel = button("Cancel", () => running?.abort(new Error("The upload was cancelled.")), { hidden: true });
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
    running = new AbortController();
    progress.hidden = cancel.hidden = false;
    show(0);
    try {
      const [result = {}] = await device.upload(path, parameter, file.files[0], { onprogress: show, signal: running.signal });
      setText(state, result.message || "The device has taken the file.");
      accepted?.(result);
    } catch (problem) {
      setText(state, "");
      fail(problem.message);
    } finally {
      running = undefined;
      progress.hidden = cancel.hidden = true;
    }
  }

  return el("form", { novalidate: true, class: "upload", onsubmit: submitted },
    el("div", { class: "field wide" }, el("label", { for: id }, label), file, error),
    progress, el("div", { class: "actions" }, send, cancel, state));
}
