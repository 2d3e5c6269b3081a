// A device of its own for the tests, and a browser to look at it with.

import { spawn } from "node:child_process";
import { once } from "node:events";
import { createServer } from "node:net";
import { fileURLToPath } from "node:url";
import { chromium } from "playwright-core";

const top = fileURLToPath(new URL("../..", import.meta.url));

async function freePort() {
  const server = createServer().listen(0, "127.0.0.1");
  await once(server, "listening");
  const { port } = server.address();
  server.close();
  await once(server, "close");
  return String(port);
}

// Simulated daemon and server. `fault` makes the simulator do something wrong.
export const startDevice = (...options) => start("http", [], options);

// The same with TLS and a login.
export const startSecureDevice = (...options) => start("https", ["--secure"], options);

async function start(scheme, how, options) {
  const port = await freePort();
  const child = spawn("scripts/private-mounts", ["scripts/serve", ...how, port, "--control", "-", ...options], { cwd: top });
  let output = "";
  for (const stream of [child.stdout, child.stderr]) stream.on("data", (data) => { output += data; });
  const ended = once(child, "exit");
  process.once("exit", () => child.kill());
  process.once("SIGTERM", () => process.exit(1));
  while (!output.includes("Serving ")) {
    const isOver = await Promise.race([ended, new Promise((resolve) => setTimeout(resolve, 50))]);
    if (isOver) throw new Error(`the device does not start:\n${output}`);
  }
  const url = `${scheme}://127.0.0.1:${port}`;
  return {
    url,
    fault: (fault) => child.stdin.write(`fault ${fault}\n`),
    async request(method, path, parameters) {
      const body = Object.entries(parameters ?? {}).map(([key, value]) => `${key}=${encodeURIComponent(value)}`).join("&");
      const headers = { "Content-Type": "application/x-www-form-urlencoded" };
      const response = await fetch(`${url}/api/${path}`, { method, headers, body: body || undefined });
      return response.status === 204 ? [] : response.json();
    },
    async stop() {
      child.kill("SIGTERM");
      await ended;
    },
  };
}

export const startBrowser = () => chromium.launch({ executablePath: "/usr/bin/chromium", args: ["--no-sandbox"] });

// A page with the console at one of its views. `complaints` collects what the
// page itself does wrong: exceptions, and what its security policy stopped.
export async function openConsole(browser, device, view = "overview", options = {}) {
  const context = await browser.newContext(options);
  const page = await context.newPage();
  page.setDefaultTimeout(10000);
  page.complaints = [];
  page.on("pageerror", (error) => page.complaints.push(error.message));
  page.on("console", (message) => {
    if (/Content Security Policy|Uncaught/.test(message.text())) page.complaints.push(message.text());
  });
  await page.goto(`${device.url}/#/${view}`);
  await page.locator(`nav a[aria-current][href="#/${view.split("/")[0]}"]`).waitFor({ state: "attached" });
  return page;
}
