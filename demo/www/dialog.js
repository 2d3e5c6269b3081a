import { button, el } from "./dom.js";

let dialogs = 0;

// Asks whether to go on; a promise of true or false. text: a paragraph, or a
// list of them. body: more elements below it. Without an action there is only
// the way back.
export function ask({ title, text, body = [], action, cancel = "Cancel", look = "danger" }) {
  return new Promise((resolve) => {
    const id = `dialog-${++dialogs}`;
    const dialog = el("dialog", { "aria-labelledby": `${id}-title`, "aria-describedby": `${id}-text` },
      el("h2", { id: `${id}-title` }, title),
      el("div", { id: `${id}-text`, class: "said" }, ...[text].flat().map((line) => el("p", {}, line))),
      ...body,
      el("div", { class: "actions" },
        button(cancel, () => dialog.close(), { autofocus: true }),
        action && button(action, () => dialog.close("yes"), { class: look })));
    dialog.addEventListener("close", () => {
      dialog.remove();
      resolve(dialog.returnValue === "yes");
    });
    document.body.append(dialog);
    dialog.showModal();
  });
}
