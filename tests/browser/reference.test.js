// The page that shows the interface and tries its requests.

import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { openConsole, startBrowser, startDevice } from "./support.js";

let device, browser, page;

before(async () => {
  device = await startDevice();
  browser = await startBrowser();
  page = await openConsole(browser, device);
});
after(async () => {
  await browser?.close();
  await device?.stop();
});

async function open(operation) {
  await page.goto("about:blank");
  await page.goto(`${device.url}/reference/index.html#${operation}`);
  const opened = page.locator(`details#${operation}`);
  await opened.getByRole("heading", { name: "Try it" }).waitFor();
  return opened;
}

// Sends the request of the opened operation. Gives the answer as it is shown.
async function answer(opened) {
  await opened.getByRole("button", { name: "Send" }).click();
  const shown = opened.getByRole("status").filter({ hasText: /^\d+ / });
  await shown.waitFor();
  return shown.textContent();
}

test("the console leads to it, and it shows every operation whole", async () => {
  await page.getByRole("link", { name: "API" }).click();
  const operations = page.locator("details.operation");
  await operations.first().waitFor();
  assert.equal(await operations.count(), 65);
  for (const summary of await operations.locator("> summary").all()) await summary.click();
  assert.equal(await page.getByRole("button", { name: "Send" }).count(), 65);
  assert.doesNotMatch(await page.locator("main").innerText(), /undefined|null|\[object|NaN/);
  assert.deepEqual(page.complaints, []);
});

test("a form can be filled from the device, changed and sent", async () => {
  const opened = await open("putSap");
  await opened.getByRole("button", { name: "Read the present values" }).click();
  const form = opened.getByRole("textbox");
  await page.waitForFunction((box) => /ipAddress=\d/.test(box.value), await form.elementHandle());
  await form.fill((await form.inputValue()).replace(/port=.*/, "port=9999"));
  assert.match(await answer(opened), /^204 /);
  assert.equal((await device.request("GET", "sap"))[0].port, 9999);
  await form.fill("port=0");
  assert.match(await opened.locator("pre").first().textContent(), /^curl -X PUT http:\S+\/api\/sap \\\n {4}-d 'port=0'$/);
  await opened.getByRole("button", { name: "Send" }).click();
  await opened.getByText(/^400 .*"property" : "port"/s).waitFor();
});

test("lists, items and files are sent as the device reads them", async () => {
  let opened = await open("putNetwork");
  await opened.getByRole("button", { name: "Read the present values" }).click();
  const form = opened.getByRole("textbox");
  await page.waitForFunction((box) => box.value.includes("networkMask[1]="), await form.elementHandle());

  opened = await open("deleteStreamId");
  await opened.getByRole("textbox").fill("2");
  assert.match(await answer(opened), /^204 /);
  assert.ok((await device.request("GET", "stream")).every(({ id }) => id !== "2"));

  opened = await open("postGeneralFirmwareUpgrade");
  await opened.locator("input[type=file]").setInputFiles({ name: "new.bin", mimeType: "application/octet-stream", buffer: Buffer.alloc(100000) });
  assert.match(await answer(opened), /^200 .*"status" : "OK"/s);
});
