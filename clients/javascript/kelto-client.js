// A client for the appliance's REST interface, in browsers and in Node.

const longestForm = 65536; // in bytes; a longer form is empty to the device
const uploadPatience = 10; // times the timeout: the device stores the file before it answers

export const meanings = {
  0: "The server does not answer.",
  400: "The device refused this.",
  401: "The server asks for another login.",
  404: "The device does not know this entry.",
  408: "The device did not answer in time.",
  413: "The file is larger than the server takes.",
  500: "The device could not do this.",
  507: "The answer of the device is too long.",
};

export class DeviceError extends Error {
  // status: of the answer, 0 when there was none. complaints: what the device
  // has against single parameters, {message, property} each.
  constructor(message, { status = 0, complaints = [], cause } = {}) {
    super(message, cause && { cause });
    this.name = "DeviceError";
    this.status = status;
    this.complaints = complaints;
  }
}

// What a form sends, by name: {a: [true]} as {"a[0]": true}, and a list of
// records [{a: 1}] as {"a[0]": 1}. What is undefined or null is left out.
export function parameters(form) {
  const found = {};
  const add = (name, value, index) => {
    if (Array.isArray(value)) value.forEach((item, i) => add(`${name}[${i}]`, item, index));
    else if (value !== undefined && value !== null) found[name + index] = value;
  };
  const addRecord = (record, index) => Object.entries(record).forEach(([key, value]) => add(key, value, index));
  if (Array.isArray(form)) form.forEach((record, i) => addRecord(record, `[${i}]`));
  else addRecord(form, "");
  return found;
}

// Not by URLSearchParams: the device takes names as they stand, and a plus
// sign for one.
export function encodeForm(form) {
  const name = (text) => encodeURIComponent(text).replaceAll("%5B", "[").replaceAll("%5D", "]");
  return Object.entries(parameters(form))
    .map(([key, value]) => `${name(key)}=${encodeURIComponent(value)}`).join("&");
}

// In texts < and > arrive as entities, and control characters as they are.
const quoted = /"(?:[^"\\]|\\.)*"/gs;
const escaped = (character) => `\\u${character.charCodeAt(0).toString(16).padStart(4, "0")}`;

function parse(text) {
  const list = JSON.parse(text.replaceAll("&lt;", "<").replaceAll("&gt;", ">")
    .replace(quoted, (one) => one.replace(/[\0-\x1f]/g, escaped)));
  if (!Array.isArray(list)) throw new SyntaxError("not a list");
  return list;
}

function listOf(text, status) {
  try {
    return text ? parse(text) : [];
  } catch (cause) {
    throw new DeviceError("The answer of the device cannot be read.", { status, cause });
  }
}

function failure(text, status) {
  let list = [];
  try {
    list = parse(text);
  } catch { /* a page of the server, or nothing */ }
  const complaints = list.filter((one) => typeof one?.property === "string");
  const reasons = complaints.length
    ? complaints.map(({ message, property }) => `${message} (${property})`) : list.map((one) => one?.message);
  const message = reasons.filter(Boolean).join(" ") || meanings[status] || `The server answered with status ${status}.`;
  return new DeviceError(message, { status, complaints });
}

// The name under which the device stores a file and finds it again.
const storedName = (name) => name.split(/[/\\]/).pop().replace(/[%"\0-\x1f\x7f]/g, "_") || "file";

// The way out of a browser. `timeout` ends a request in which nothing moves.
function sendByBrowser({ method, url, headers, body, file, onprogress, signal, timeout }) {
  return new Promise((resolve, reject) => {
    const xhr = new XMLHttpRequest();
    let timer, late = false;
    const wait = () => {
      clearTimeout(timer);
      timer = setTimeout(() => { late = true; xhr.abort(); }, timeout);
    };
    const stop = () => xhr.abort();
    xhr.onprogress = wait;
    xhr.onload = () => {
      const moved = method !== "GET" && xhr.responseURL !== String(url);
      if (moved) reject(new DeviceError(`The server sends this on to ${xhr.responseURL}.`));
      else resolve({ status: xhr.status, text: xhr.responseText });
    };
    xhr.onerror = () => reject(new DeviceError(meanings[0]));
    xhr.onabort = () => reject(late ? new DeviceError(meanings[408]) : signal?.reason ?? new DeviceError(meanings[0]));
    xhr.onloadend = () => {
      clearTimeout(timer);
      signal?.removeEventListener("abort", stop);
    };
    xhr.open(method, url);
    for (const [name, value] of Object.entries(headers)) xhr.setRequestHeader(name, value);
    if (file) {
      body = new FormData();
      body.append(file.parameter, file.content, file.name);
      xhr.upload.onprogress = ({ loaded, total }) => { wait(); onprogress?.(loaded / total); };
    }
    if (signal?.aborted) return reject(signal.reason);
    signal?.addEventListener("abort", stop);
    wait();
    xhr.send(body);
  });
}

export class Device {
  #base;
  #options;
  #login = {};

  // ca: certificates to trust, in PEM; Node only.
  constructor(address = "/", { user, password = "", ca, timeout = 60000 } = {}) {
    this.#base = new URL(String(address).replace(/\/*$/, "/api/"), globalThis.location?.href);
    this.#options = { ca, timeout };
    if (user === undefined) return;
    const bytes = new TextEncoder().encode(`${user}:${password}`);
    this.#login = { Authorization: `Basic ${btoa(String.fromCharCode(...bytes))}` };
  }

  // Each returns the answer's list, which is empty when there is no answer.
  get(path) { return this.#request("GET", path); }
  delete(path) { return this.#request("DELETE", path); }
  post(path, form) { return this.#request("POST", path, form); }

  // An item's own id counts on the device; here it is that of the path.
  put(path, form) {
    const id = /\/(\d+)$/.exec(path)?.[1];
    return this.#request("PUT", path, form && id ? { ...form, id } : form);
  }

  // Reads, changes and writes: a form replaces the whole record. Of a list, the
  // records with the ids of the changes are written.
  async change(path, changes) {
    const now = await this.get(path);
    if (!Array.isArray(changes)) return this.put(path, { ...now[0], ...changes });
    return this.put(path, changes.map((one) => {
      const record = now.find(({ id }) => id === String(one.id));
      if (!record) throw new DeviceError(`There is no entry with the id ${one.id}.`);
      return { ...record, ...one };
    }));
  }

  // file: a File or Blob, or in Node a path. onprogress gets how much is sent,
  // from 0 to 1. signal gives up.
  async upload(path, parameter, file, { onprogress, signal } = {}) {
    const name = storedName(typeof file === "string" ? file : file.name ?? "");
    const timeout = uploadPatience * this.#options.timeout;
    return this.#send("POST", path, { file: { parameter, content: file, name }, onprogress, signal, timeout });
  }

  async #request(method, path, form) {
    if (form === undefined) return this.#send(method, path, {});
    const body = encodeForm(form);
    if (body.length > longestForm) throw new RangeError(`A form of ${body.length} bytes is empty to the device.`);
    const headers = { "Content-Type": "application/x-www-form-urlencoded" };
    return this.#send(method, path, { body, headers });
  }

  async #send(method, path, { headers, ...rest }) {
    const send = globalThis.XMLHttpRequest ? sendByBrowser : (await import("./kelto-client-node.js")).send;
    const url = new URL(path, this.#base);
    const { status, text } = await send(
      { ...this.#options, method, url, headers: { ...this.#login, ...headers }, ...rest });
    if (status < 200 || status > 299) throw failure(text, status);
    return listOf(text, status);
  }
}
