// Forms from the tables of fields.js. A form holds the parameters of a whole
// record by name, indexed ones too, and sends all of them: those that it does
// not show go back as they came.

import { makeControls } from "./controls.js";
import { ask } from "./dialog.js";
import { button, el, setText } from "./dom.js";
import { isNoAnswer, reason } from "./news.js";
import { hold, release } from "./unsaved.js";

// What changed on the device while somebody was typing: keys are those of the
// fields. Asks which values to take for the fields that both changed. Returns
// what it showed by key, or nothing when the operator goes back.
async function compare({ controls, keys, seen, isTouched, action }) {
  const shown = new Map(), takes = new Map();
  const rows = [...keys].map((key) => {
    const { name, word, read } = controls.get(key);
    const theirs = word(seen[key]);
    shown.set(key, seen[key]);
    if (!isTouched(key)) return el("p", {}, `${name} is now: ${theirs}`);
    const group = `take-${key}`;
    const take = el("input", { type: "radio", name: group });
    const keep = el("input", { type: "radio", name: group, checked: true });
    takes.set(key, take);
    return el("fieldset", {}, el("legend", {}, name),
      el("label", { class: "line" }, take, `On the device: ${theirs}`),
      el("label", { class: "line" }, keep, `Yours: ${word(read())}`));
  });
  const goes = await ask({
    title: "Changed on the device meanwhile",
    text: "Somebody or something else has changed the same settings since you began.",
    body: [el("div", { class: "comparison" }, ...rows)],
    cancel: "Back to the form",
    action,
    look: "primary",
  });
  if (!goes) return undefined;
  for (const [key, take] of takes) if (take.checked) controls.get(key).show(shown.get(key));
  return shown;
}

// title: of what is edited. read(): makes load() see what the device has now.
// confirm(parameters, before): whether to go on. save(parameters, letGo): sends
// them and returns the record as it is then; after letGo() the page can be left
// without a question. saved() comes after that, discarded() when the changes are
// given up. Returns the element, load(record), which gives way to what somebody is
// typing, and isChanged().
export function makeForm({ title, groups, read, confirm, save, saved, discarded, submit = "Save", extra = [] }) {
  const { controls, elements } = makeControls(groups);
  const foreign = new Set(); // keys of the fields that changed on the device
  let seen = {}, known = false, busy = false, sending = false, missed;

  const top = el("div", { class: "problems", role: "alert", tabindex: "-1" });
  const others = el("span");
  const meanwhile = el("div", { class: "meanwhile", role: "status" });
  const state = el("span", { class: "state", role: "status" });
  const send = el("button", { type: "submit", class: "primary" }, submit);
  const undo = button("Discard changes", discard, { hidden: true });
  const element = el("form", { novalidate: true, onsubmit: submitted, oninput: edited },
    top, meanwhile, ...elements, el("div", { class: "actions" }, send, undo, ...extra, state));

  function isTouched(key) {
    const control = controls.get(key);
    return String(control.read()) !== String(control.normal(seen[key]));
  }

  const isChanged = () => known && [...controls.keys()].some(isTouched);

  function mark(text = "") {
    const changed = isChanged();
    undo.hidden = !changed;
    if (changed && element.isConnected) hold(element, `${title}: changes that are not saved.`);
    else release(element);
    setText(state, text);
    showForeign();
  }

  function showForeign() {
    const names = [...foreign].map((key) => controls.get(key).name).join(", ");
    setText(others, `Changed on the device meanwhile: ${names}.`);
    if (!foreign.size) meanwhile.replaceChildren();
    else if (!meanwhile.firstChild) meanwhile.append(others, " ", button("Compare", () => settle("Take these values"), { class: "small" }));
  }

  function show(record) {
    seen = record;
    known = true;
    foreign.clear();
    for (const [key, control] of controls) control.show(record[key]);
    clearProblems();
    mark();
  }

  function discard() {
    show(seen);
    discarded?.();
  }

  function edited(event) {
    const control = controls.get(event.target.name);
    if (control) clearProblem(control);
    mark(isChanged() ? "Not saved yet" : "");
  }

  function clearProblem({ input, error, described }) {
    input.removeAttribute("aria-invalid");
    if (described) input.setAttribute("aria-describedby", described);
    else input.removeAttribute("aria-describedby");
    setText(error, "");
  }

  function clearProblems() {
    for (const control of controls.values()) clearProblem(control);
    top.replaceChildren();
  }

  function showProblem({ input, error, described }, message) {
    input.setAttribute("aria-invalid", "true");
    input.setAttribute("aria-describedby", [error.id, described].filter(Boolean).join(" "));
    setText(error, error.textContent ? `${error.textContent} ${message}` : message);
  }

  // Each at the field that it names, those that name none on top.
  function showProblems(entries, general, outcome = "Not saved") {
    clearProblems();
    const rest = general ? [general] : [];
    for (const { message, property } of entries) {
      const control = controls.get(property);
      if (control) showProblem(control, message);
      else rest.push(property ? `${message} (${property})` : message);
    }
    top.replaceChildren(...rest.map((text) => el("p", {}, text)));
    mark(outcome);
    const first = element.querySelector("[aria-invalid]") ?? (rest.length ? top : undefined);
    first?.focus();
  }

  function showError(error) {
    if (error.complaints?.length) showProblems(error.complaints);
    else if (sending && isNoAnswer(error)) showProblems([], reason(error), "");
    else showProblems([], error.message);
  }

  function ownProblems() {
    const differs = ({ repeats, read: again }) => repeats && again() !== controls.get(repeats).read();
    return [...controls].map(([property, control]) => ({
      property, message: differs(control) ? "This is not the same as above." : control.problem?.(),
    })).filter(({ message }) => message);
  }

  // Returns whether to go on. What changes while the question stands is asked
  // about again.
  async function settle(action) {
    const shown = await compare({ controls, keys: foreign, seen, isTouched, action });
    if (!shown) return false;
    for (const [key, value] of shown) if (seen[key] === value) foreign.delete(key);
    mark(isChanged() ? "Not saved yet" : "");
    return true;
  }

  function given() {
    const sent = [...controls].filter(([, { repeats }]) => !repeats);
    return { ...seen, ...Object.fromEntries(sent.map(([key, control]) => [key, control.read()])) };
  }

  // Returns the record as it is then, or false when it was not sent.
  async function trySaving() {
    await read?.();
    do {
      while (foreign.size) if (!(await settle("Save"))) return false;
      if (confirm && !(await confirm(given(), seen))) return false;
    } while (foreign.size); // changed while the question stood
    if (!element.isConnected) return false; // the view was left
    sending = true;
    return save(given(), () => release(element));
  }

  async function submitted(event) {
    event.preventDefault();
    if (busy) return;
    clearProblems();
    const own = ownProblems();
    if (own.length) return showProblems(own);
    busy = true;
    setText(state, "Saving");
    send.setAttribute("aria-disabled", "true");
    try {
      const stored = await trySaving();
      if (stored) show(stored);
      mark(stored ? "Saved" : "Not saved yet");
      if (stored) saved?.();
    } catch (error) {
      showError(error);
    } finally {
      busy = sending = false;
      send.removeAttribute("aria-disabled");
      if (missed) load(missed);
    }
  }

  // A field in which nobody typed follows the device; the others are kept.
  function load(record) {
    missed = sending ? record : undefined;
    if (sending || (known && JSON.stringify(seen) === JSON.stringify(record))) return;
    if (!isChanged()) return show(record);
    for (const [key, control] of controls) {
      const [before, now] = [seen[key], record[key]].map((value) => String(control.normal(value)));
      if (before === now) continue;
      const mine = String(control.read());
      if (mine === before) control.show(record[key]);
      if (mine === now) foreign.delete(key);
      else foreign.add(key);
    }
    seen = record;
    if (isChanged()) mark(state.textContent);
    else show(record);
  }

  return { element, load, isChanged };
}
