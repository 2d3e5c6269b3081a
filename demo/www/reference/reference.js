// The description of the interface as a page on which each request can be tried.

import { el, button, card, setText } from "../dom.js";
import { Device, encodeForm, parameters } from "../kelto-client.js";

const view = document.getElementById("view");
const device = new Device("/");
let description;

// What a reference stands for, or the thing itself.
function found(thing) {
  return thing?.$ref ? thing.$ref.split("/").slice(1).reduce((at, name) => at[name], description) : thing;
}

// Paragraphs, in which **words** stand out and `words` are code.
function prose(text) {
  return text.split("\n\n").map((paragraph) => el("p", {}, ...paragraph.split(/(\*\*.*?\*\*|`.*?`)/).map((part) => {
    if (part.startsWith("**")) return el("strong", {}, part.slice(2, -2));
    return part.startsWith("`") ? el("code", {}, part.slice(1, -1)) : part;
  })));
}

// The fields of a schema by name. Those of a list of records have the index 0.
function fieldsOf(schema) {
  const { allOf = [], properties = {}, patternProperties = {} } = found(schema) ?? {};
  const indexed = Object.entries(patternProperties)
    .map(([pattern, field]) => [pattern.replace(/^\^|\$$/g, "").replace(/\\\[.*\\\]/, "[0]"), field]);
  return Object.assign({}, ...allOf.map(fieldsOf), properties, Object.fromEntries(indexed));
}

function kindOf(field) {
  const { type, format, maxLength, minimum, maximum, items, maxItems, properties } = found(field);
  if (type === "array") return `${maxItems ? `${maxItems} × ` : "list of "}${kindOf(items)}`;
  if (format === "binary") return "file";
  if (properties) return "object";
  const bounds = maxLength !== undefined ? `, up to ${maxLength} bytes`
    : minimum !== undefined && maximum !== undefined ? `, ${minimum} to ${maximum}` : "";
  return `${{ string: "text", boolean: "flag" }[type] ?? type ?? ""}${bounds}`;
}

function rowOf([name, field]) {
  const inner = Object.entries(fieldsOf(found(field).items ?? field));
  return el("tr", {}, el("th", { scope: "row" }, el("code", {}, name)), el("td", {}, kindOf(field)),
    el("td", {}, found(field).description ?? "", inner.length ? el("table", { class: "described" }, ...inner.map(rowOf)) : ""));
}

function fieldTable(title, fields) {
  const rows = Object.entries(fields).map(rowOf);
  return rows.length ? [el("h3", {}, title), el("table", { class: "described" }, ...rows)] : [];
}

function answerTable(responses) {
  const rows = Object.entries(responses).map(([status, reference]) => {
    const { description: text, content = {}, headers = {} } = found(reference);
    const schema = Object.values(content)[0]?.schema;
    const fields = Object.entries(fieldsOf(found(schema)?.items ?? schema));
    const allow = headers.Allow ? ` Allow: ${headers.Allow.schema.const}` : "";
    return el("tr", {}, el("th", { scope: "row" }, status === "default" ? "else" : status), el("td", {}, text + allow,
      fields.length ? el("details", {}, el("summary", {}, "The record"), el("table", { class: "described" }, ...fields.map(rowOf))) : ""));
  });
  return [el("h3", {}, "Answers"), el("table", { class: "described answers" }, ...rows)];
}

// One "name=value" a line: what the form sends, as it can be edited.
const linesOf = (form) => Object.entries(parameters(form)).map(([name, value]) => `${name}=${value}`).join("\n");
const sampleOf = (fields) => Object.fromEntries(Object.entries(fields)
  .map(([name, field]) => [name, found(field).examples?.[0] ?? found(field).default ?? ""]));

function formOf(lines) {
  return Object.fromEntries(lines.split("\n").filter((line) => line.includes("="))
    .map((line) => [line.slice(0, line.indexOf("=")), line.slice(line.indexOf("=") + 1)]));
}

async function send(method, path, body, headers) {
  const started = performance.now();
  const response = await fetch(path, { method, body, headers });
  const text = await response.text();
  const took = Math.round(performance.now() - started);
  const size = new TextEncoder().encode(text).length;
  return `${response.status} ${response.statusText}, ${size} bytes, ${took} ms${text && `\n\n${text}`}`;
}

const forShell = (text) => `'${text.replaceAll("'", "'\\''")}'`;

// The same request for a shell. `form` is null where there is none.
function commandFor(method, address, file, form) {
  const data = file ? ` -F ${forShell(`${file}=@FILE`)}` : form ? ` \\\n    -d ${forShell(encodeForm(form))}` : "";
  const how = method === "GET" || (method === "POST" && data) ? "" : ` -X ${method}`;
  return `curl${how} ${location.origin}${address}${data}`;
}

function bodyFor(fileInput, file, form) {
  if (form) return [encodeForm(form), { "Content-Type": "application/x-www-form-urlencoded" }];
  if (!fileInput) return [];
  const body = new FormData();
  if (fileInput.files[0]) body.append(file, fileInput.files[0]);
  return [body];
}

// The parts of a request that can be filled in, and the answer to it.
function trial(method, path, operation, item) {
  const content = operation.requestBody?.content ?? {};
  const fields = fieldsOf(content["multipart/form-data"]?.schema);
  const file = Object.keys(fields).find((name) => found(fields[name]).format === "binary");
  const id = /\{(\w+)\}/.exec(path)?.[1];
  const idInput = id && el("input", { inputmode: "numeric", value: item.parameters?.[0].example ?? "1" });
  const fileInput = file && el("input", { type: "file" });
  const lines = !file && Object.keys(fields).length ? el("textarea", { rows: Math.min(Object.keys(fields).length + 1, 14), spellcheck: "false" }) : null;
  if (lines) lines.value = linesOf(sampleOf(fields));
  const address = () => path.replace(/\{\w+\}/, () => encodeURIComponent(idInput.value));
  const command = el("pre", {}), answer = el("pre", { hidden: true, role: "status", tabindex: "0" });
  const show = (text) => { setText(answer, text); answer.hidden = false; };

  const form = () => lines && formOf(lines.value);
  const showCommand = () => setText(command, commandFor(method, address(), file, form()));
  const run = async () => {
    show("Waiting for the answer");
    show(await send(method, address(), ...bodyFor(fileInput, file, form())).catch(() => "The server does not answer."));
  };
  const readPresent = async () => {
    try {
      const records = await device.get(address().replace("/api/", ""));
      lines.value = linesOf(Object.keys(fields).some((name) => /^id\[/.test(name)) ? records : records[0]);
      showCommand();
    } catch (error) { show(error.message); }
  };
  for (const input of [idInput, lines]) input?.addEventListener("input", showCommand);
  showCommand();
  return el("div", { class: "try" }, el("h3", {}, "Try it"),
    idInput && el("label", {}, `${id}, ${item.parameters[0].description}`, idInput),
    fileInput && el("label", {}, file, fileInput),
    lines && el("label", {}, "The form, one value a line. A line that is taken out is left out of the form.", lines),
    el("div", { class: "actions" }, button("Send", run, { class: "primary" }),
      lines && method === "PUT" && item.get ? button("Read the present values", readPresent) : null),
    command, answer);
}

function operationOf(path, method, item) {
  const operation = item[method];
  const name = method.toUpperCase();
  const details = el("details", { class: "operation", id: operation.operationId },
    el("summary", {}, el("span", { class: `method method-${name}` }, name), el("code", {}, path), el("span", {}, operation.summary ?? "")));
  // Filled when it is opened: all of them would be a long page.
  details.addEventListener("toggle", () => {
    const { name: command, code } = operation["x-command"] ?? {};
    const form = fieldsOf(operation.requestBody?.content["multipart/form-data"]?.schema);
    details.append(el("div", {}, ...prose(operation.description ?? ""),
      command ? el("p", { class: "muted" }, "The daemon's command: ", el("code", {}, `${command} (${code})`)) : "",
      ...fieldTable("Form", form), ...answerTable(operation.responses), trial(name, path, operation, item)));
  }, { once: true });
  return details;
}

function show() {
  const { info, tags, paths } = description;
  document.getElementById("nav").append(el("ul", {}, ...tags.map(({ name }) => el("li", {}, el("a", { href: `#${name}` }, name)))));
  const about = card(`${info.title}, version ${info.version}`, ...prose(info.description));
  about.classList.add("about");
  const operations = Object.entries(paths).flatMap(([path, item]) =>
    ["get", "post", "put", "delete"].filter((method) => item[method]).map((method) => ({ path, method, item })));
  const sections = tags.map((tag) => {
    const section = card(tag.name, ...prose(tag.description ?? ""), ...operations
      .filter(({ method, item }) => item[method].tags.includes(tag.name))
      .map(({ path, method, item }) => operationOf(path, method, item)));
    section.id = tag.name;
    return section;
  });
  view.replaceChildren(about, ...sections);
  openTarget();
}

// An address with #operation opens it.
function openTarget() {
  const target = document.getElementById(location.hash.slice(1));
  if (target?.localName === "details") target.open = true;
  target?.scrollIntoView();
}

try {
  const response = await fetch("openapi.json");
  if (!response.ok) throw new Error(`The server answered with status ${response.status}.`);
  description = await response.json();
  show();
  addEventListener("hashchange", openTarget);
} catch (error) {
  view.replaceChildren(el("p", { class: "problems" }, `The description cannot be read. ${error.message}`));
}
