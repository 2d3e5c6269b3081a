// Elements are made here, and from texts only: what a device says never
// becomes markup.

export function el(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (value === undefined || value === null || value === false) continue;
    if (typeof value === "function") element.addEventListener(name.slice(2), value);
    else element.setAttribute(name, value === true ? "" : value);
  }
  element.append(...children.filter((child) => child !== undefined && child !== null));
  return element;
}

export function button(text, onclick, attributes = {}) {
  return el("button", { type: "button", onclick, ...attributes }, text);
}

let headings = 0;

export function card(title, ...children) {
  const id = `card-${++headings}`;
  return el("section", { class: "card", "aria-labelledby": id }, el("h2", { id }, title), ...children);
}

// Writes only what changed, so that a screen reader isn't disturbed.
export function setText(element, text) {
  const wanted = String(text);
  if (element.textContent !== wanted) element.textContent = wanted;
}

// A list of names and values. rows: [name, value of the data]; returns the
// element and a function that fills it.
export function facts(rows) {
  const values = rows.map(() => el("dd", {}, "–"));
  const element = el("dl", { class: "facts" },
    ...rows.map(([name], i) => el("div", {}, el("dt", {}, name), values[i])));
  const update = (data) => rows.forEach(([, value], i) => setText(values[i], value(data) || "–"));
  return { element, update };
}

const numbers = new Intl.NumberFormat("en");

export function amount(value, unit = "") {
  return `${numbers.format(value)}${unit && ` ${unit}`}`;
}

export function endpoint({ ipAddress, port }) {
  if (!ipAddress || !(port > 0)) return ipAddress ?? "";
  return ipAddress.includes(":") ? `[${ipAddress}]:${port}` : `${ipAddress}:${port}`;
}
