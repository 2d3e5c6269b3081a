// A view of a list whose entries are made, edited and deleted: "#/name" is the
// list, "#/name/new" and "#/name/3" a form.

import { noteOnMeaning } from "../controls.js";
import { device } from "../device.js";
import { ask } from "../dialog.js";
import { button, card, el, setText } from "../dom.js";
import { makeForm } from "../form.js";
import { parameters } from "../kelto-client.js";
import { attempt, say } from "../news.js";
import { readAnew, refresh, value } from "../poll.js";

const nameOf = (table, item) => item.name || `${table.what} ${item.id}`;

async function deleteItem(table, item) {
  const sure = await ask({
    title: `Delete this ${table.what}?`,
    text: `${nameOf(table, item)} is removed from the device.`,
    action: "Delete",
  });
  return sure && attempt(async () => {
    await device.delete(`${table.path}/${item.id}`);
    await refresh(table.resource);
  }, `The ${table.what} is deleted.`);
}

function makeRow(table) {
  let item;
  const cells = table.columns.map(([title]) => el("td", { "data-title": title }));
  const act = button(table.action.text, () => table.action.run(item), { class: "small" });
  const edit = el("a", { class: "button small" }, "Edit");
  const remove = button("Delete", () => deleteItem(table, item), { class: "small" });
  const element = el("tr", {}, ...cells, el("td", { class: "rowactions" }, act, edit, remove));
  function update(now) {
    item = now;
    table.columns.forEach(([, text], i) => {
      setText(cells[i], text(item));
      cells[i].classList.toggle("none", !cells[i].textContent);
    });
    const isDone = table.action.isDone(item);
    act.disabled = isDone;
    element.classList.toggle("current", isDone);
    edit.setAttribute("href", `#/${table.address}/${item.id}`);
    for (const control of [act, edit, remove]) {
      control.setAttribute("aria-label", `${control.textContent} ${nameOf(table, item)}`);
    }
  }
  return { element, update };
}

function listPage(table) {
  const rows = new Map(); // by identifier; they stay, and so does the focus
  const body = el("tbody");
  const head = el("tr", {}, ...table.columns.map(([title]) => el("th", { scope: "col" }, title)),
    el("th", { scope: "col" }, el("span", { class: "unseen" }, "Actions")));
  const list = el("table", { class: "list" }, el("thead", {}, head), body);
  const empty = el("p", { class: "muted empty", hidden: true }, table.empty);
  const count = el("span", { class: "muted" });
  function update() {
    const items = value(table.resource);
    if (!items) return;
    const ids = new Set(items.map((item) => item.id));
    for (const [id, row] of rows) {
      if (ids.has(id)) continue;
      row.element.remove();
      rows.delete(id);
    }
    for (const item of items) {
      if (!rows.has(item.id)) {
        rows.set(item.id, makeRow(table));
        body.append(rows.get(item.id).element);
      }
      rows.get(item.id).update(item);
    }
    list.hidden = !items.length;
    empty.hidden = items.length > 0;
    setText(count, `${items.length} in all`);
  }
  const element = el("section", { class: "card flush", "aria-labelledby": "title" },
    el("div", { class: "headrow" }, count,
      el("a", { class: "button primary push", href: `#/${table.address}/new` }, `New ${table.what}`)),
    list, empty);
  return { element, uses: table.uses, update };
}

// An entry was there a moment ago. Of one that isn't known, and of values that it
// does not take, the device says the same.
async function change(path, given) {
  try {
    await device.put(path, given);
  } catch (error) {
    if (error.status !== 404) throw error;
    throw new Error("The device refused this, and does not say why. One of the values may be out of its range.");
  }
}

function formPage(table, id) {
  const isNew = id === "new";
  const find = () => value(table.resource)?.find((item) => item.id === id);
  const cancel = el("a", { class: "button", href: `#/${table.address}` }, "Back to the list");
  const title = isNew ? `New ${table.what}` : `Edit ${table.what}`;
  const meaning = noteOnMeaning(table.groups);
  const form = makeForm({
    title,
    groups: table.groups,
    submit: isNew ? `Create the ${table.what}` : "Save",
    extra: [cancel],
    read: isNew ? undefined : () => readAnew(table.resource),
    async save(given) {
      await (find() ? change(`${table.path}/${id}`, given) : device.post(table.path, given));
      await refresh(table.resource);
      return given;
    },
    saved() {
      location.hash = `#/${table.address}`;
      // The way back clears what was said before.
      addEventListener("hashchange", () => say(`The ${table.what} is saved.`), { once: true });
    },
    discarded: update,
  });
  const missing = el("p", { class: "trouble", role: "status" });
  if (isNew) form.load(table.fresh);
  const element = el("section", { class: "card", "aria-labelledby": "title" }, missing, meaning, form.element);
  // What somebody typed stays, also when the entry is gone.
  function update() {
    if (isNew || !value(table.resource)) return;
    const item = find();
    form.element.hidden = !item && !form.isChanged();
    setText(missing, item ? "" : [`This ${table.what} does not exist any more.`,
      form.element.hidden ? "" : "Saving makes a new one of what stands here."].join(" "));
    if (item) form.load(parameters(item));
  }
  form.element.hidden = !isNew;
  return { element, uses: [table.resource], update, title };
}

export const listView = (table) => (rest) => (rest ? formPage(table, rest) : listPage(table));
