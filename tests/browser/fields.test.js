// What stands at the fields of a form.

import assert from "node:assert/strict";
import { test } from "node:test";
import { changesOf, useConsole } from "./console.js";

const { it, open, field, formOf, save, shows } = useConsole();

test("a new password is typed twice", async () => {
  const page = await open("system");
  const changes = changesOf(page);
  await field("Current password").fill("admin");
  for (const [first, again] of [["secret", ""], ["secret", "Secret"], ["", "secret"]]) {
    await field("New password").fill(first);
    await field("New password, once more").fill(again);
    await save("newPassword");
    await shows(".error", "This is not the same as above.");
    assert.deepEqual(changes, []);
  }
  await field("New password").fill("secret");
  await save("newPassword");
  await shows(".state", "Saved");
  assert.deepEqual(changes, ["PUT /api/security"]);
  assert.equal(await field("New password, once more").inputValue(), "");
  const [security] = await it.device.request("GET", "security");
  const refused = await it.device.request("PUT", "security", { ...security, currentPassword: "admin", newPassword: "other" });
  assert.equal(refused[0].property, "currentPassword");
});

test("units stand at the fields, and what the device alone knows is said once", async () => {
  const page = await open();
  const seen = {};
  for (const view of ["streams/1", "outputs", "decoder", "network", "configurations/1", "system"]) {
    await page.goto(`${it.device.url}/#/${view}`);
    await page.locator("#view form input").first().waitFor();
    seen[view] = await page.locator(".meaning").allTextContents();
  }
  const own = (what) => `What a number with ${what} means is the device's own.`;
  const lists = "The names in lists are the simulated device's: another device may mean something else by the same code.";
  assert.deepEqual(seen, {
    "streams/1": [`${own("“code”")} ${lists}`], "outputs": [own("“code” or “units”")], "decoder": [`${own("“code” or “units”")} ${lists}`],
    "network": [lists], "configurations/1": [], "system": [own("“units”")],
  });
  const units = { "streams/1": ["latency", "ms"], "outputs": ["volumeBalanced", "units"], "decoder": ["afd", "code"], "network": ["ip6ManualPrefix[0]", "bits"] };
  for (const [view, [key, unit]] of Object.entries(units)) {
    await page.goto(`${it.device.url}/#/${view}`);
    const control = formOf(key).locator(`[name="${key}"]`);
    await control.waitFor();
    assert.equal(await control.evaluate((one) => one.nextElementSibling.textContent), unit);
    assert.ok(await control.evaluate((one) => one.getAttribute("aria-describedby").includes(one.nextElementSibling.id)));
  }
});
