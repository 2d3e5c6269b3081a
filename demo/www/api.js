// Requests to the device. Answers are lists of objects.

const patience = 60000; // a command waits up to 30 seconds, and behind others

export class ApiError extends Error {
  // entries: what the device has against single parameters.
  constructor(message, status = 0, entries = []) {
    super(message);
    this.status = status;
    this.entries = entries;
  }
}

const meanings = {
  0: "The server does not answer.",
  400: "The device refused this.",
  404: "The device does not know this entry.",
  408: "The device did not answer in time.",
  413: "The file is larger than the server takes.",
  500: "The device could not do this.",
  507: "The answer of the device is too long.",
};

function meaning(status) {
  return meanings[status] ?? `The server answered with status ${status}.`;
}

// Texts arrive with < and > as entities, and with raw control characters.
const repair = (text) => text.replaceAll("&lt;", "<").replaceAll("&gt;", ">");
const reviver = (key, value) => (typeof value === "string" ? repair(value) : value);
const quoted = /"(?:[^"\\]|\\.)*"/gs;
const control = (character) => `\\u${character.charCodeAt(0).toString(16).padStart(4, "0")}`;

function parse(text) {
  const clean = text.replace(quoted, (string) => string.replace(/[\0-\x1f]/g, control));
  const list = JSON.parse(clean, reviver);
  if (!Array.isArray(list)) throw new SyntaxError("not a list");
  return list;
}

function parseOrNothing(text) {
  try {
    return parse(text);
  } catch {
    return [];
  }
}

// The list of an answer; throws ApiError for any but a success.
function listOf(status, text) {
  if (status >= 200 && status < 300) {
    if (!text) return [];
    try {
      return parse(text);
    } catch {
      throw new ApiError("The answer of the device cannot be read.", status);
    }
  }
  const list = parseOrNothing(text);
  const entries = list.filter((entry) => entry && typeof entry.property === "string");
  const reason = list.length === 1 && !entries.length ? list[0]?.message : undefined;
  throw new ApiError(reason || meaning(status), status, entries);
}

// Not by URLSearchParams: the device reads a + as such, and keys as they stand.
const encode = (parameters) => Object.entries(parameters)
  .map(([key, value]) => `${key}=${encodeURIComponent(value)}`).join("&");

async function request(method, path, parameters) {
  let status, text;
  try {
    const response = await fetch(`/api/${path}`, {
      method,
      cache: "no-store",
      headers: parameters && { "Content-Type": "application/x-www-form-urlencoded" },
      body: parameters && encode(parameters),
      signal: AbortSignal.timeout(patience),
    });
    status = response.status;
    text = await response.text();
  } catch (error) {
    throw new ApiError(error.name === "TimeoutError" ? meaning(408) : meaning(0));
  }
  return listOf(status, text);
}

export const getList = (path) => request("GET", path);
export const getOne = async (path) => (await getList(path))[0] ?? {};
export const put = (path, parameters) => request("PUT", path, parameters);
export const post = (path, parameters) => request("POST", path, parameters);
export const remove = (path) => request("DELETE", path);

// Sends a file; onprogress gets how much is sent, from 0 to 1. Returns a
// promise of the result and a function that gives up.
export function upload(path, parameter, file, onprogress) {
  const xhr = new XMLHttpRequest();
  const result = new Promise((resolve, reject) => {
    xhr.upload.onprogress = (event) => event.lengthComputable && onprogress(event.loaded / event.total);
    xhr.onerror = () => reject(new ApiError(meaning(0)));
    xhr.onabort = () => reject(new ApiError("The upload was cancelled."));
    xhr.onload = () => {
      try {
        resolve(listOf(xhr.status, xhr.responseText)[0] ?? {});
      } catch (error) {
        reject(error);
      }
    };
    const form = new FormData();
    form.append(parameter, file);
    xhr.open("POST", `/api/${path}`);
    xhr.send(form);
  });
  return { result, cancel: () => xhr.abort() };
}
