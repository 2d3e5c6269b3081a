// Pages of other sites against a device with demo/secure.conf, in a browser
// that has its login.

import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync } from "node:fs";
import { createServer } from "node:https";
import { after, before, test } from "node:test";
import { once } from "node:events";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { startBrowser, startSecureDevice } from "./support.js";

let device, browser, context, site;

before(async () => {
  device = await startSecureDevice();
  browser = await startBrowser();
  context = await browser.newContext({ ignoreHTTPSErrors: true });
  site = await startSite();
  // The browser keeps the login, as if the user had typed it.
  await (await open(device.url.replace("://", "://admin:admin@") + "/api/uptime")).close();
});
after(async () => {
  site?.close();
  site?.closeAllConnections();
  await browser?.close();
  await device?.stop();
});

// A site with an empty page. Under the name localhost it is another site than
// the device's; under 127.0.0.1 only its port differs.
async function startSite() {
  const directory = mkdtempSync(join(tmpdir(), "kelto-site-"));
  const pem = join(directory, "pem");
  execFileSync("openssl", ["req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
    "-nodes", "-subj", "/CN=localhost", "-keyout", pem, "-out", pem], { stdio: "ignore" });
  const key = readFileSync(pem);
  rmSync(directory, { recursive: true });
  const server = createServer({ key, cert: key }, (request, response) => {
    response.setHeader("Content-Type", "text/html").end("<!DOCTYPE html><title>Other site</title>");
  }).listen(0, "127.0.0.1");
  await once(server, "listening");
  return server;
}

const pageOf = (host) => `https://${host}:${site.address().port}/`;

async function open(url) {
  const page = await context.newPage();
  page.setDefaultTimeout(10000);
  await page.goto(url);
  return page;
}

// What the device has, read by a page of its own.
async function state() {
  const page = await open(`${device.url}/api/uptime`);
  const read = (path) => fetch(path).then((response) => response.text());
  const found = [];
  for (const path of ["/api/stream", "/api/services", "/api/general/upgradeStatus"]) {
    found.push(await page.evaluate(read, path));
  }
  await page.close();
  return found;
}

// A form of a page at the address, sent in its tab. Gives the answer's status.
async function submit(url, path, encoding, fields) {
  const page = await open(url);
  const answer = page.waitForResponse((response) => response.url().endsWith(path));
  await page.evaluate(([action, encoding, fields]) => {
    const form = document.createElement("form");
    Object.assign(form, { method: "POST", action, enctype: encoding });
    for (const [name, value] of Object.entries(fields)) {
      const input = document.createElement("input");
      Object.assign(input, { name, type: value.startsWith("file:") ? "file" : "text" });
      if (input.type === "file") {
        const files = new DataTransfer();
        files.items.add(new File(["x".repeat(50000)], value.slice(5)));
        input.files = files.files;
      } else {
        input.value = value;
      }
      form.append(input);
    }
    document.body.append(form);
    form.submit();
  }, [device.url + path, encoding, fields]);
  const status = (await answer).status();
  await page.waitForURL(device.url + path);
  await page.close();
  return status;
}

// What a script of the page can get. Gives the status, or why there is none.
const ask = (page, path, options) => page.evaluate(async ([url, options]) => {
  if (options.upload) {
    options.body = new FormData();
    options.body.append("packageName", new File(["x".repeat(50000)], "evil.bin"));
  }
  try {
    return (await fetch(url, { credentials: "include", ...options })).status;
  } catch (error) {
    return error.name;
  }
}, [device.url + path, options]);

const stream = { name: "Evil", protocol: "1", address: "192.0.2.66", port: "7000" };
const urlencoded = "application/x-www-form-urlencoded";

for (const [host, what] of [["localhost", "another site"], ["127.0.0.1", "another port of the host"]]) {
  test(`a page of ${what} changes and reads nothing`, async () => {
    const before = await state();
    for (const encoding of [urlencoded, "multipart/form-data", "text/plain"]) {
      assert.equal(await submit(pageOf(host), "/api/stream", encoding, stream), 403);
    }
    const file = { packageName: "file:evil.bin" };
    assert.equal(await submit(pageOf(host), "/api/general/firmwareUpgrade", "multipart/form-data", file), 403);
    const page = await open(pageOf(host));
    const body = "discovery=false";
    const statuses = [];
    page.on("response", (response) => statuses.push(response.status()));
    for (const [path, options] of [
      ["/api/services", {}],
      ["/api/services", { method: "PUT", body }],
      ["/api/services", { method: "PUT", body, headers: { "Content-Type": urlencoded } }],
      ["/api/stream/1", { method: "DELETE" }],
      ["/api/stream", { method: "POST", body: "name=Evil&protocol=1&address=192.0.2.66&port=7000" }],
      ["/api/general/firmwareUpgrade", { method: "POST", upload: true }],
    ]) {
      assert.equal(await ask(page, path, options), "TypeError", path);
      if (options.method !== "PUT" && options.method !== "DELETE") {
        assert.equal(await ask(page, path, { ...options, mode: "no-cors" }), 0, path);
      }
    }
    assert.deepEqual([...new Set(statuses)], [403]);
    await page.close();
    assert.deepEqual(await state(), before);
  });
}

test("the pages stay open to links, and closed to frames", async () => {
  const page = await open(pageOf("localhost"));
  const complaint = page.waitForEvent("console", (message) => /frame-ancestors/.test(message.text()));
  await page.evaluate((url) => {
    const frame = document.createElement("iframe");
    frame.src = url;
    document.body.append(frame);
  }, `${device.url}/`);
  await complaint;
  assert.ok(!page.frames().some((frame) => frame.url().startsWith(device.url)));
  await page.evaluate((url) => { location.href = url; }, `${device.url}/`);
  // Chromium may leave a page that is reached from another site without a width.
  const loaded = { state: "attached" };
  await page.getByRole("heading", { name: "Overview" }).waitFor(loaded);
  await page.locator(".badge").first().waitFor(loaded);
  await page.close();
});

test("the device's own page reads, changes and uploads", async () => {
  const page = await open(`${device.url}/api/uptime`);
  assert.equal(await ask(page, "/api/services", {}), 200);
  const headers = { "Content-Type": urlencoded };
  assert.equal(await ask(page, "/api/services", { method: "PUT", headers, body: "discovery=true" }), 204);
  assert.equal(await submit(page.url(), "/api/stream", urlencoded, { ...stream, name: "Own" }), 201);
  assert.equal(await ask(page, "/api/general/firmwareUpgrade", { method: "POST", upload: true }), 200);
  await page.close();
});
