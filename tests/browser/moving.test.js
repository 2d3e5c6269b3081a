// Actions that may interrupt the device or cut the page off from it.

import assert from "node:assert/strict";
import { test } from "node:test";
import { becomes, changesOf, useConsole } from "./console.js";

const { it, open, button, field, dialog, answer, formOf, save, shows } = useConsole();

const at = (host) => `http://${host}:${new URL(it.device.url).port}/`;
const control = (key) => it.page.locator(`[name="${key}"]`);

// Each: what is changed, and what is said of it. The device has an interface 1
// for management, at 192.168.1.20 and fd00:1::20, and an interface 2 without.
const changes = [
  [() => control("ipAddress[0]").fill("192.168.7.30"),
    "Addresses or management access change at interface 1.", ["192.168.7.30", "[fd00:1::20]"]],
  [() => control("ip4Type[0]").selectOption("1"),
    "Interface 1 gets its IPv4 address automatically: which one is not known here.", ["[fd00:1::20]"]],
  [() => control("defaultGateway[0]").fill("192.168.1.254"),
    "Addresses or management access change at interface 1.", ["192.168.1.20", "[fd00:1::20]"]],
  [() => control("isManagementAccess[0]").uncheck(),
    "No interface has management access any more: the device may be out of reach.", []],
  [() => control("isManagementAccess[0]").uncheck().then(() => control("isManagementAccess[1]").check()),
    "Addresses or management access change at interface 1 and interface 2.", ["192.168.2.20", "[fd00:2::20]"]],
];
test("a change of the way to the device asks", async () => {
  const page = await open("network");
  const sent = changesOf(page);
  for (const [change, said, hosts] of changes) {
    await change();
    await save("ipAddress[0]");
    await dialog().getByText(said, { exact: true }).waitFor();
    const places = hosts.map(at).join(" or ");
    if (places) await dialog().getByText(`Afterwards the device is at ${places}.`, { exact: true }).waitFor();
    await answer("Cancel");
    await shows(".state", "Not saved yet");
    assert.deepEqual(sent, []);
    await formOf("ipAddress[0]").getByRole("button", { name: "Discard changes" }).click();
  }
});

test("an interface that the page does not need changes without a question", async () => {
  await open("network");
  await control("ipAddress[1]").fill("192.168.2.21");
  await save("ipAddress[0]");
  await shows(".state", "Saved");
  assert.equal((await it.device.request("GET", "network"))[1].ipAddress, "192.168.2.21");
});

// Each: how the device answers the change, and what is said then.
const outcomes = {
  "it answers": [(route) => route.fulfill({ status: 204 }), "The change is saved."],
  "the connection ends": [(route) => route.abort(), "The server does not answer."],
  "it moves without an answer": [() => {}, "The device has not answered yet: it may have moved already."],
};
for (const [name, [respond, said]] of Object.entries(outcomes)) {
  test(`the way to the new address is offered: ${name}`, async () => {
    const page = await open("network");
    const asked = [];
    page.on("dialog", (question) => { asked.push(question.type()); question.accept(); });
    await page.route(/\/api\/network$/, (route) => (route.request().method() === "PUT" ? respond(route) : route.continue()));
    await page.route("http://192.168.7.30:*/", (route) => route.fulfill({ body: "arrived" }));
    await control("ipAddress[0]").fill("192.168.7.30");
    await save("ipAddress[0]");
    await answer("Save the change");
    await dialog().getByText(said).waitFor({ timeout: 15000 });
    await dialog().getByRole("link", { name: `Go to ${at("192.168.7.30")}` }).click();
    await becomes(() => page.url(), `${at("192.168.7.30")}#/network`);
    assert.equal(await page.textContent("body"), "arrived");
    assert.deepEqual(asked, []);
  });
}

test("a refused change of the address offers nothing", async () => {
  await open("network");
  await control("ipAddress[0]").fill("192.168.7.300");
  await save("ipAddress[0]");
  await answer("Save the change");
  await shows(".error", "The address must be one such as 192.168.1.20.");
  assert.equal(await dialog().count(), 0);
});

test("the name by which the page was opened changes with the device's", async () => {
  const [security] = await it.device.request("GET", "security");
  await it.device.request("PUT", "security", { ...security, hostname: "localhost" });
  const page = await open();
  await page.goto(`${at("localhost")}#/system`);
  await becomes(() => field("Host name").inputValue(), "localhost");
  await field("Host name").fill("decoder-09");
  await save("hostname");
  await dialog().getByText(`Afterwards the device is at ${at("decoder-09")}.`).waitFor();
  await answer("Cancel");
  await page.goto(`${it.device.url}/#/system`); // where the name does not count
  await becomes(() => field("Host name").inputValue(), "localhost");
  await field("Host name").fill("decoder-09");
  await save("hostname");
  await shows(".state", "Saved");
  assert.equal(await dialog().count(), 0);
});

// Each: where it is, what starts it, what is said, how to go on, what is sent.
const dangers = [
  ["system", "Restart", "Decoding is interrupted until it runs again.", "Restart", "PUT /api/general/restart"],
  ["configurations", "Activate Stadium", "Network addresses may be among them: then the device is found at those afterwards.",
    "Activate", "PUT /api/configuration/activate/2"],
  ["system", "Factory reset", "All settings, streams and saved configurations are replaced by those that the device was delivered with, which cannot be undone.",
    "Factory reset", "PUT /api/general/factoryReset"],
  ["system", "Upload and install", "decoder-2.4.2.bin (3 KiB) is sent to the device, which installs it at once. The software is now 2.4.1.",
    "Install", "POST /api/general/firmwareUpgrade"],
];
test("what interrupts the device says what will happen and asks", async () => {
  const page = await open();
  await shows("#device", "2.4.1");
  for (const [view, name, said, action, request] of dangers) {
    await page.goto(`${it.device.url}/#/${view}`);
    const sent = changesOf(page);
    if (action === "Install") {
      await field("Firmware package").setInputFiles({ name: "decoder-2.4.2.bin", mimeType: "a/b", buffer: Buffer.alloc(3000, "N") });
    }
    await button(name).click();
    await dialog().getByText(said, { exact: true }).waitFor();
    await answer("Cancel");
    assert.deepEqual(sent, []);
    await button(name).click();
    await answer(action);
    await becomes(async () => sent.join(), request);
  }
});
