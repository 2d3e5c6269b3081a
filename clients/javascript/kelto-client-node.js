// How kelto-client.js sends in Node: files are streamed from disk, and a
// certificate of one's own can be trusted.

import { randomUUID } from "node:crypto";
import { createReadStream } from "node:fs";
import { stat } from "node:fs/promises";
import http from "node:http";
import https from "node:https";
import { pipeline } from "node:stream";
import { text } from "node:stream/consumers";
import { DeviceError, meanings } from "./kelto-client.js";

const redirects = [301, 302, 307, 308];
const mostRedirects = 3;

function problem(error, signal) {
  if (signal?.aborted) return signal.reason;
  if (error instanceof DeviceError) return error;
  const isClosed = ["ECONNRESET", "EPIPE"].includes(error.code);
  const message = isClosed ? "The server closed the connection without an answer." :
    `${meanings[0]} (${error.message || error.code})`;
  return new DeviceError(message, { cause: error });
}

// A connection for each request: on one that is kept, a server that has closed
// it and one that gives no answer look the same.
function exchange({ method, url, headers, body, signal, timeout, ca }) {
  return new Promise((resolve, reject) => {
    const { request } = url.protocol === "https:" ? https : http;
    const sent = request(url, { method, headers, signal, ca, agent: false });
    sent.setTimeout(timeout, () => sent.destroy(new DeviceError(meanings[408])));
    sent.on("error", (error) => reject(problem(error, signal)));
    sent.on("response", (response) => {
      const status = response.statusCode;
      // Of a refusal that comes before all is sent the end may be lost.
      const read = text(response).catch((error) => { if (status < 400) throw error; });
      read.then((answer) => resolve({ status, text: answer, location: response.headers.location }),
        (error) => reject(problem(error, signal))).finally(() => sent.destroy());
    });
    if (typeof body === "function") pipeline(body, sent, () => {});
    else sent.end(body);
  });
}

// The file in a multipart form. The device knows its headers in just this form.
async function multipart({ parameter, content, name }, onprogress) {
  const boundary = randomUUID();
  const head = Buffer.from(`--${boundary}\r\nContent-Disposition: form-data; name="${parameter}"; ` +
    `filename="${name}"\r\nContent-Type: application/octet-stream\r\n\r\n`);
  const tail = Buffer.from(`\r\n--${boundary}--\r\n`);
  const isPath = typeof content === "string";
  const size = isPath ? (await stat(content)).size : content.size;
  async function* body() {
    let done = 0;
    yield head;
    for await (const chunk of isPath ? createReadStream(content) : content.stream()) {
      yield chunk;
      done += chunk.length;
      onprogress?.(done / size);
    }
    yield tail;
  }
  return {
    body,
    headers: {
      "Content-Type": `multipart/form-data; boundary=${boundary}`,
      "Content-Length": head.length + size + tail.length,
    },
  };
}

// A server may send requests on, to its TLS port for example: method, body and
// login go along, but not to another host, and not out of TLS.
export async function send({ url, headers, file, onprogress, ...rest }) {
  const form = file && await multipart(file, onprogress);
  for (let at = url, hops = 0; ; ++hops) {
    const answer = await exchange({ ...rest, ...form, url: at, headers: { ...headers, ...form?.headers } });
    if (!redirects.includes(answer.status) || !answer.location) return answer;
    const next = new URL(answer.location, at);
    const isSafe = next.hostname === at.hostname && (next.protocol === "https:" || at.protocol === "http:");
    if (!isSafe || hops === mostRedirects) {
      throw new DeviceError(`The server sends this on to ${next}.`, { status: answer.status });
    }
    at = next;
  }
}
