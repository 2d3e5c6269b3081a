// Forms from the tables of fields.js. A form holds the parameters of a whole
// record by name, indexed ones too, and sends all of them: those that it does
// not show go back as they came.

import { button, el, setText } from "./dom.js";
import { reason } from "./news.js";

const unset = -1; // of a number: nothing is set
const integer = /^[+-]?\d+$/;
const largest = 2 ** 31;
const unprintable = /[\0-\x1f]+/g; // the device would make underscores of them

let ids = 0;

// The control of a field: elements to show, how to show a value, what to send.
const kinds = {
  text(field, id) {
    const input = field.lines
      ? el("textarea", { id, name: field.key, rows: field.lines, maxlength: field.longest })
      : el("input", {
        id, name: field.key, maxlength: field.longest, spellcheck: "false",
        type: field.secret ? "password" : "text",
        autocomplete: field.autocomplete ?? (field.secret ? "new-password" : "off"),
      });
    return {
      input,
      show: (value) => { input.value = field.blank ? "" : value ?? ""; },
      read: () => input.value.replace(unprintable, " "),
    };
  },
  number(field, id) {
    const input = el("input", { id, name: field.key, type: "text", inputmode: "numeric", autocomplete: "off" });
    const isUnset = (value) => value === undefined || (value === unset && !(field.low < 0));
    return {
      input,
      show: (value) => { input.value = isUnset(value) ? "" : value; },
      read: () => input.value.trim() || unset,
      problem() {
        const given = input.value.trim();
        const good = !given || (integer.test(given) && given >= -largest && given < largest);
        return good ? "" : "This must be a whole number.";
      },
    };
  },
  choice(field, id) {
    const input = el("select", { id, name: field.key });
    return {
      input,
      show(value = 0) {
        const known = field.names.map((name, i) => [i, name]);
        if (!(value in field.names)) known.push([value, value === unset ? "Not set" : `Code ${value}`]);
        input.replaceChildren(...known.map(([i, name]) => el("option", { value: String(i) }, name)));
        input.value = value;
      },
      read: () => input.value,
    };
  },
  flag(field, id) {
    const input = el("input", { id, name: field.key, type: "checkbox" });
    return {
      input,
      show: (value) => { input.checked = value === true; },
      read: () => input.checked,
    };
  },
};

function fieldBlock(field, note) {
  const id = `field-${++ids}`;
  const errorId = `${id}-error`, hintId = `${id}-hint`;
  const control = kinds[field.kind](field, id);
  const label = el("label", { for: id }, field.label);
  const error = el("p", { id: errorId, class: "error" });
  if (field.hint) control.input.setAttribute("aria-describedby", hintId);
  const unit = field.unit && el("span", { class: "unit" }, field.unit);
  const hint = field.hint && el("span", { id: hintId, class: "hint" }, field.hint);
  const element = field.kind === "flag"
    ? el("div", { class: "field flag" }, el("span", { class: "line" }, control.input, label), error)
    : el("div", { class: field.lines ? "field wide" : "field" }, label,
      el("span", { class: "line" }, control.input, unit), hint, error);
  note(field.key, { ...control, error, described: field.hint && hintId });
  return element;
}

// Arrow keys move between the cells.
function moveInGrid(event) {
  const step = { ArrowLeft: [0, -1], ArrowRight: [0, 1], ArrowUp: [-1, 0], ArrowDown: [1, 0] }[event.key];
  const cell = event.target.closest("td");
  if (!step || !cell) return;
  event.preventDefault();
  const rows = cell.closest("tbody").rows;
  const next = rows[cell.parentElement.rowIndex - 1 + step[0]]?.cells[cell.cellIndex + step[1]];
  next?.querySelector("input")?.focus();
}

function gridBlock(field, note) {
  const error = el("p", { id: `field-${++ids}-error`, class: "error" });
  const rows = field.rows.map(([name, keys]) => el("tr", {}, el("th", { scope: "row" }, name),
    ...keys.map((key, i) => {
      const control = kinds.flag({ key }, `field-${++ids}`);
      control.input.setAttribute("aria-label", `${name}, channel ${field.columns[i]}`);
      note(key, { ...control, error });
      return el("td", {}, el("label", {}, control.input));
    })));
  const head = field.columns.map((name) => el("th", { scope: "col" }, name));
  return el("div", { class: "field wide" },
    el("table", { class: "grid", onkeydown: moveInGrid },
      el("caption", {}, field.label),
      el("thead", {}, el("tr", {}, el("th", { scope: "col" }, "Output"), ...head)),
      el("tbody", {}, ...rows)), error);
}

// Flags that follow each other share a line.
function blocksOf(fields, note) {
  const blocks = [];
  let flags;
  for (const field of fields) {
    const block = (field.kind === "grid" ? gridBlock : fieldBlock)(field, note);
    if (field.kind !== "flag") flags = undefined;
    else if (!flags) blocks.push(flags = el("div", { class: "flags" }));
    if (flags) flags.append(block);
    else blocks.push(block);
  }
  return blocks;
}

// groups: a table of fields.js. save(parameters) sends them and reads the
// record anew. Returns the element, load(record parameters), which gives way
// to what somebody is typing, and focus().
export function makeForm({ groups, save, submit = "Save", extra = [] }) {
  const controls = new Map();
  const note = (key, control) => controls.set(key, control);
  let seen, changed = false, busy = false;

  const top = el("div", { class: "problems", role: "alert", tabindex: "-1" });
  const state = el("span", { class: "state", role: "status" });
  const send = el("button", { type: "submit", class: "primary" }, submit);
  const undo = button("Discard changes", () => show(seen), { hidden: true });
  const blocks = groups.map(({ legend, fields }) => el("fieldset", {},
    legend ? el("legend", {}, legend) : null,
    el("div", { class: "fields" }, ...blocksOf(fields, note))));
  const element = el("form", { novalidate: true, onsubmit: submitted, oninput: edited },
    top, ...blocks, el("div", { class: "actions" }, send, undo, ...extra, state));

  function mark(isChanged, text = "") {
    changed = isChanged;
    undo.hidden = !isChanged;
    setText(state, text);
  }

  function show(record) {
    seen = record;
    for (const [key, control] of controls) control.show(record[key]);
    clearProblems();
    mark(false);
  }

  function edited(event) {
    const control = controls.get(event.target.name);
    if (control) clearProblem(control);
    mark(true, "Not saved yet");
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

  function showProblem(control, message) {
    control.input.setAttribute("aria-invalid", "true");
    control.input.setAttribute("aria-describedby",
      [control.error.id, control.described].filter(Boolean).join(" "));
    setText(control.error, control.error.textContent ? `${control.error.textContent} ${message}` : message);
  }

  // Each at the field that it names, those that name none on top.
  function showProblems(entries, general) {
    clearProblems();
    const others = general ? [general] : [];
    for (const { message, property } of entries) {
      const control = controls.get(property);
      if (control) showProblem(control, message);
      else others.push(property ? `${message} (${property})` : message);
    }
    top.replaceChildren(...others.map((text) => el("p", {}, text)));
    mark(changed, "Not saved");
    const first = element.querySelector("[aria-invalid]") ?? (others.length ? top : undefined);
    first?.focus();
  }

  function ownProblems() {
    return [...controls].map(([property, control]) => ({ property, message: control.problem?.() }))
      .filter(({ message }) => message);
  }

  async function submitted(event) {
    event.preventDefault();
    if (busy) return;
    const own = ownProblems();
    if (own.length) return showProblems(own);
    const given = Object.fromEntries([...controls].map(([key, control]) => [key, control.read()]));
    busy = true;
    clearProblems();
    setText(state, "Saving");
    send.setAttribute("aria-disabled", "true");
    try {
      const stored = await save({ ...seen, ...given });
      if (stored) show(stored);
      mark(false, "Saved");
    } catch (error) {
      showProblems(error.complaints ?? [], error.complaints?.length ? "" : reason(error));
    } finally {
      busy = false;
      send.removeAttribute("aria-disabled");
    }
  }

  function load(record) {
    if (busy || (seen && JSON.stringify(seen) === JSON.stringify(record))) return;
    if (!changed) return show(record);
    seen = record;
    setText(state, "Changed on the device meanwhile");
  }

  return { element, load, focus: () => element.querySelector("input, select, textarea")?.focus() };
}
