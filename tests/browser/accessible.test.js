// The rules that axe checks, in every view and in the questions.

import assert from "node:assert/strict";
import { createRequire } from "node:module";
import { test } from "node:test";
import { useConsole } from "./console.js";

const { it, open, button, field, dialog, formOf, save, shows } = useConsole();

const { source } = createRequire(import.meta.url)("axe-core");
const views = ["overview", "streams", "streams/1", "streams/new", "outputs", "decoder", "network", "configurations", "configurations/1", "system"];
const looks = {
  "in light": { colorScheme: "light" },
  "in dark": { colorScheme: "dark" },
  "on a phone": { viewport: { width: 375, height: 800 } },
};

async function violations() {
  await it.page.waitForTimeout(300); // for the colours to settle
  await it.page.evaluate(source);
  return it.page.evaluate(async () => (await globalThis.axe.run()).violations
    .flatMap(({ id, nodes }) => nodes.map(({ html }) => `${id}: ${html}`)));
}

// Where more is to be seen than a view as it opens.
const states = {
  async "a refused field and a foreign change"() {
    await it.page.goto(`${it.device.url}/#/decoder`);
    await field("Server port").fill("0");
    await save("serverPort");
    await shows(".error", "The port must be from 1 to 65535.");
    const [talkback] = await it.device.request("GET", "decoder/talkback");
    await it.device.request("PUT", "decoder/talkback", { ...talkback, serverPort: talkback.serverPort + 1 });
    await shows(".meanwhile", "Server port");
  },
  async "the comparison"() {
    await button("Compare").click();
    await dialog().getByText("Yours: 0").waitFor();
  },
  async "the question before leaving"() {
    await dialog().getByRole("button", { name: "Back to the form" }).click();
    await it.page.evaluate(() => { location.hash = "#/network"; });
    await dialog().getByText("This would be lost:").waitFor();
  },
  async "the way to the new address"() {
    await dialog().getByRole("button", { name: "Leave" }).click();
    await it.page.locator('[name="ipAddress[0]"]').fill("192.168.7.30");
    await it.page.route(/\/api\/network$/, (route) => (route.request().method() === "PUT" ? route.abort() : route.continue()));
    await save("ipAddress[0]");
    await dialog().getByRole("button", { name: "Save the change" }).click();
    await dialog().getByText("Go to the new address?").waitFor();
  },
  async "too long a notice, and trouble"() {
    await dialog().getByRole("button", { name: "Stay here" }).click();
    await formOf("ipAddress[0]").getByRole("button", { name: "Discard changes" }).click();
    await it.page.goto(`${it.device.url}/#/system`);
    await field("Text").fill("x".repeat(4000));
    await save("bannerText");
    await shows(".error", "A text so long could not be read back.");
    it.device.fault("refuse@CMD_CHANGES_GET*1");
    await shows("#trouble", "The device could not do this.");
  },
};

for (const [look, options] of Object.entries(looks)) {
  test(`nothing is against the rules ${look}`, async () => {
    const page = await open("overview", options);
    const isSound = async (name) => {
      assert.deepEqual(await violations(), [], name);
      assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), name);
    };
    for (const view of views) {
      await page.goto(`${it.device.url}/#/${view}`);
      await page.locator("#view :is(dd, td, input)").first().waitFor();
      await isSound(view);
    }
    for (const [name, reach] of Object.entries(states)) {
      await reach();
      await isSound(name);
    }
  });
}
