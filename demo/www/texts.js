// Texts as the device keeps them.

// The bytes that an answer of the device has for a text.
export function bytesOf(text) {
  const marked = text.replace(/[<>]/g, "&lt;").replace(/["\\]/g, "\\$&");
  return new TextEncoder().encode(marked).length;
}
