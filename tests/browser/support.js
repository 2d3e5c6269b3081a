// A device of its own for the tests, and a browser to look at it with.

import { chromium } from "playwright-core";
import { startDemo } from "../api/demo.js";

export const startDevice = (...options) => startDemo({ options });

// With TLS and a login.
export const startSecureDevice = () => startDemo({ secure: true });

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
