import { button, el } from "./dom.js";

// Asks whether to go on; a promise of true or false.
export function ask({ title, text, action }) {
  return new Promise((resolve) => {
    const dialog = el("dialog", { "aria-labelledby": "dialog-title", "aria-describedby": "dialog-text" },
      el("h2", { id: "dialog-title" }, title),
      el("p", { id: "dialog-text" }, text),
      el("div", { class: "actions" },
        button("Cancel", () => dialog.close(), { autofocus: true }),
        button(action, () => dialog.close("yes"), { class: "danger" })));
    dialog.addEventListener("close", () => {
      dialog.remove();
      resolve(dialog.returnValue === "yes");
    });
    document.body.append(dialog);
    dialog.showModal();
  });
}
