// What would be lost if this view or the page were left now.

const held = new Map(); // what holds it -> {text, drop}

// drop is called when the operator lets it go.
export const hold = (owner, text, drop = () => {}) => held.set(owner, { text, drop });
export const release = (owner) => held.delete(owner);
export const losses = () => [...held.values()].map(({ text }) => text);

export function dropAll() {
  for (const { drop } of held.values()) drop();
  held.clear();
}

// The browser asks in its own words.
addEventListener("beforeunload", (event) => {
  if (held.size) event.preventDefault();
});
