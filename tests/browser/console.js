// What the tests of the console share: a device and a browser for the file, and a
// page that each test opens.

import assert from "node:assert/strict";
import { after, afterEach, before } from "node:test";
import { openConsole, startBrowser, startDevice } from "./support.js";

// options: of the simulated daemon. `it` has the device, the browser and the page
// while the tests run.
export function useConsole(...options) {
  const it = {};
  before(async () => {
    it.device = await startDevice(...options);
    it.browser = await startBrowser();
  });
  afterEach(async () => {
    await it.page?.context().close();
    assert.deepEqual(it.page?.complaints, []);
  });
  after(async () => {
    await it.browser?.close();
    await it.device?.stop();
  });
  // The form with this control.
  const formOf = (key) => it.page.locator("form").filter({ has: it.page.locator(`[name="${key}"]`) });
  return {
    it,
    formOf,
    open: async (...rest) => (it.page = await openConsole(it.browser, it.device, ...rest)),
    button: (name) => it.page.getByRole("button", { name, exact: true }),
    field: (name) => it.page.getByLabel(name, { exact: true }),
    dialog: () => it.page.getByRole("dialog"),
    answer: (name) => it.page.getByRole("dialog").getByRole("button", { name, exact: true }).click(),
    save: (key) => formOf(key).getByRole("button", { name: "Save", exact: true }).click(),
    says: (text) => it.page.locator("#news").filter({ hasText: text }).waitFor(),
    // Until an element that matches has this text.
    shows: (selector, text) => it.page.locator(selector).filter({ hasText: text }).first().waitFor(),
  };
}

// Waits until the function gives what is wanted.
export async function becomes(get, wanted, tries = 100) {
  for (let i = 0; i < tries && (await get()) !== wanted; ++i) await new Promise((resolve) => setTimeout(resolve, 100));
  assert.equal(await get(), wanted);
}

// Notes what the page asks of the device beside reading.
export function changesOf(page) {
  const changes = [];
  page.on("request", (request) => {
    const path = new URL(request.url()).pathname;
    if (request.method() !== "GET" && path.startsWith("/api/")) changes.push(`${request.method()} ${path}`);
  });
  return changes;
}
