// The controls of a form, made from the tables of fields.js.

import { amount, el, setText } from "./dom.js";
import { bytesOf } from "./texts.js";

const unset = -1; // of a number: nothing is set
const integer = /^[+-]?\d+$/;
const largest = 2 ** 31;
const ownUnits = ["code", "units"]; // not defined by the interface
const unprintable = /[\0-\x1f]+/g; // the device would make underscores of them

let ids = 0;

// What is left of a text's bytes: shown at once, and read out when the typing
// stops.
function countdown(longest, id) {
  const seen = el("span", { id: `${id}-count`, class: "hint count" });
  const heard = el("span", { class: "unseen", role: "status" });
  let timer;
  function tell(left, isTyping) {
    const over = `${amount(-left)} ${left === -1 ? "byte" : "bytes"} too many`;
    const text = left < 0 ? over : `${amount(left)} of ${amount(longest)} bytes left`;
    setText(seen, text);
    seen.classList.toggle("over", left < 0);
    clearTimeout(timer);
    if (isTyping) timer = setTimeout(setText, 1000, heard, text);
  }
  return { seen, heard, tell };
}

// The control of a kind of field. input: the element; show(value); read(): what
// to send; normal(value): what read() would give of it; word(value): for people.
const kinds = {
  text(field, id) {
    const { key, longest, lines, secret, blank } = field;
    const input = lines
      ? el("textarea", { id, name: key, rows: lines })
      : el("input", {
        id, name: key, maxlength: longest, spellcheck: "false", type: secret ? "password" : "text",
        autocomplete: field.autocomplete ?? (secret ? "new-password" : "off"),
      });
    const count = field.counted && countdown(longest, id);
    const printable = (value) => value.replace(unprintable, " ");
    const read = () => printable(input.value);
    const tell = (isTyping) => count?.tell(longest - bytesOf(read()), isTyping);
    const normal = (value) => (blank ? "" : printable(value ?? ""));
    input.addEventListener("input", () => tell(true));
    return {
      input,
      count,
      read,
      normal,
      show(value) {
        input.value = normal(value);
        tell(false);
      },
      word: (value) => (secret ? "a text that is not shown" : value || "empty"),
      problem() {
        const over = bytesOf(read()) - longest;
        return over > 0 ? `A text so long could not be read back.` : "";
      },
    };
  },
  number({ key, low, unit }, id) {
    const input = el("input", { id, name: key, type: "text", inputmode: "numeric", autocomplete: "off" });
    const isUnset = (value) => value === undefined || (Number(value) === unset && !(low < 0));
    const normal = (value) => (isUnset(value) ? unset : value);
    return {
      input,
      normal,
      show: (value) => { input.value = isUnset(value) ? "" : value; },
      read: () => input.value.trim() || unset,
      word: (value) => (isUnset(value) ? "not set" : [value, unit].filter(Boolean).join(" ")),
      problem() {
        const given = input.value.trim();
        const good = !given || (integer.test(given) && given >= -largest && given < largest);
        return good ? "" : "This must be a whole number.";
      },
    };
  },
  choice({ key, names }, id) {
    const input = el("select", { id, name: key });
    const word = (value) => names[value] ?? (Number(value) === unset ? "Not set" : `Code ${value}`);
    return {
      input,
      word,
      normal: (value = 0) => value,
      show(value = 0) {
        const codes = Object.keys(names);
        if (!(value in names)) codes.push(value);
        input.replaceChildren(...codes.map((code) => el("option", { value: String(code) }, word(code))));
        input.value = value;
      },
      read: () => input.value,
    };
  },
  flag({ key }, id) {
    const input = el("input", { id, name: key, type: "checkbox" });
    return {
      input,
      normal: (value) => value === true,
      show: (value) => { input.checked = value === true; },
      read: () => input.checked,
      word: (value) => (String(value) === "true" ? "on" : "off"),
    };
  },
};

function fieldBlock(field, note) {
  const id = `field-${++ids}`;
  const control = kinds[field.kind](field, id);
  const label = el("label", { for: id }, field.label);
  const error = el("p", { id: `${id}-error`, class: "error" });
  const unit = field.unit && el("span", { id: `${id}-unit`, class: "unit" }, field.unit);
  const hint = field.hint && el("span", { id: `${id}-hint`, class: "hint" }, field.hint);
  const { seen, heard } = control.count ?? {};
  const described = [unit, hint, seen].filter(Boolean).map((one) => one.id).join(" ");
  if (described) control.input.setAttribute("aria-describedby", described);
  note(field, { ...control, error, described });
  return field.kind === "flag"
    ? el("div", { class: "field flag" }, el("span", { class: "line" }, control.input, label), error)
    : el("div", { class: field.lines ? "field wide" : "field" }, label,
      el("span", { class: "line" }, control.input, unit), seen, heard, hint, error);
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
      const label = `${name}, channel ${field.columns[i]}`;
      const control = kinds.flag({ key }, `field-${++ids}`);
      control.input.setAttribute("aria-label", label);
      note({ key, label }, { ...control, error });
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

// groups: a table of fields.js. Returns the elements, and the controls by key.
export function makeControls(groups) {
  const controls = new Map();
  const elements = groups.map(({ legend, fields }) => {
    const note = ({ key, label, repeats }, control) =>
      controls.set(key, { ...control, repeats, name: legend ? `${label} (${legend})` : label });
    return el("fieldset", {},
      legend ? el("legend", {}, legend) : null,
      el("div", { class: "fields" }, ...blocksOf(fields, note)));
  });
  return { controls, elements };
}

// What is to be said once above such fields.
export function noteOnMeaning(groups) {
  const fields = groups.flatMap((group) => group.fields);
  const own = ownUnits.filter((name) => fields.some(({ unit }) => unit === name)).map((name) => `“${name}”`);
  const said = [
    own.length && `What a number with ${own.join(" or ")} means is the device's own.`,
    fields.some(({ kind }) => kind === "choice") && "The names in lists are the simulated device's: another device may mean something else by the same code.",
  ].filter(Boolean);
  return said.length ? el("p", { class: "hint meaning" }, said.join(" ")) : null;
}
