// Texts as the device keeps them, and answers that end too early.

// The bytes that an answer of the device has for a text.
export function bytesOf(text) {
  const marked = text.replace(/[<>]/g, "&lt;").replace(/["\\]/g, "\\$&");
  return new TextEncoder().encode(marked).length;
}

// The first characters of a text that make at most so many bytes.
export function firstBytes(text, most) {
  let room = most;
  const isFull = (character) => (room -= bytesOf(character)) < 0;
  const characters = [...text];
  const end = characters.findIndex(isFull);
  return end < 0 ? text : characters.slice(0, end).join("");
}

export const cut = Symbol("cut"); // of a record: its answer ended too early

// The members of a record that are there in an answer that ends too early. Of a
// text that is cut itself the beginning counts only where it is named here.
export function salvage(text, partly) {
  const record = {};
  for (const [, key, content, end, flag] of text.matchAll(/"(\w+)" : (?:"((?:[^"\\]|\\.)*)("|\\?$)|(true|false))/gs)) {
    if (flag) record[key] = flag === "true";
    else if (end === '"') record[key] = plain(content);
    else if (key === partly) record[key] = plain(content).replace(/(?:&(?:[lg]t?)?|\uFFFD)$/, "");
  }
  if (!Object.keys(record).length) throw new SyntaxError("no record");
  record[cut] = true;
  return record;
}

// As the client does it, but in one line: no form sends a line's end.
function plain(content) {
  return JSON.parse(`"${content.replace(/[\0-\x1f]/g, " ")}"`).replaceAll("&lt;", "<").replaceAll("&gt;", ">");
}
