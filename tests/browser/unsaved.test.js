// What somebody typed isn't lost without a question, and doesn't undo what
// somebody else changed without one.

import assert from "node:assert/strict";
import { test } from "node:test";
import { becomes, useConsole } from "./console.js";

const { it, open, button, field, dialog, answer, save, says, shows } = useConsole();

const hash = () => new URL(it.page.url()).hash;
const stored = async (id = 1) => (await it.device.request("GET", `stream/${id}`))[0];

async function type(name, text) {
  await field(name).click();
  await it.page.keyboard.press("ControlOrMeta+A");
  await it.page.keyboard.type(text);
}

const inThePage = {
  "a link": [(page) => page.getByRole("link", { name: "Decoder" }).click(), "#/decoder"],
  "back": [(page) => page.goBack(), "#/streams"],
  "an address": [(page) => page.evaluate(() => { location.hash = "#/system"; }), "#/system"],
};
for (const [name, [leave, wanted]] of Object.entries(inThePage)) {
  test(`leaving a view by ${name} asks`, async () => {
    const page = await open("streams");
    await page.getByRole("link", { name: "Edit Studio A main" }).click();
    await type("Port", "7001");
    await leave(page);
    await dialog().getByText("Edit stream: changes that are not saved.").waitFor();
    await answer("Stay");
    assert.deepEqual([hash(), await field("Port").inputValue()], ["#/streams/1", "7001"]);
    await leave(page);
    await answer("Leave");
    await becomes(async () => hash(), wanted);
    await dialog().waitFor({ state: "detached" });
    // What was given up is forgotten.
    await page.goto(`${it.device.url}/#/streams/1`);
    await becomes(() => field("Port").inputValue(), "5000");
  });
}

test("reload and close ask", async () => {
  const page = await open("streams/1");
  await type("Port", "7001");
  for (const leave of [() => page.evaluate(() => { setTimeout(() => location.reload()); }), () => page.close({ runBeforeUnload: true })]) {
    const asked = page.waitForEvent("dialog");
    await leave();
    const question = await asked;
    assert.equal(question.type(), "beforeunload");
    await question.dismiss();
    assert.equal(await field("Port").inputValue(), "7001");
  }
});

test("nothing is asked where nothing would be lost", async () => {
  const page = await open("streams/1");
  page.on("dialog", (question) => question.dismiss());
  const untouched = {
    "typed back": async () => { await type("Port", "7001"); await type("Port", "5000"); },
    "discarded": async () => { await type("Port", "7001"); await button("Discard changes").click(); },
    "saved": async () => { await type("Latency", "250"); await save("latency"); await says("The stream is saved."); },
  };
  for (const [name, act] of Object.entries(untouched)) {
    await page.goto(`${it.device.url}/#/streams/1`);
    await becomes(() => field("Port").inputValue(), "5000");
    await act();
    await page.getByRole("link", { name: "Decoder" }).click();
    await becomes(async () => hash(), "#/decoder");
    assert.equal(await dialog().count(), 0, name);
    await page.reload();
  }
});

test("an upload that goes on is asked about", async () => {
  const page = await open("system");
  const cdp = await page.context().newCDPSession(page);
  await cdp.send("Network.emulateNetworkConditions", { offline: false, latency: 0, downloadThroughput: -1, uploadThroughput: 1 << 19 });
  await field("Certificate file").setInputFiles({ name: "own.pem", mimeType: "a/b", buffer: Buffer.alloc(3 << 20) });
  await button("Upload").click();
  await shows(".upload .state", "% is sent");
  await page.getByRole("link", { name: "Decoder" }).click();
  await dialog().getByText("own.pem is still being sent.").waitFor();
  await answer("Leave");
  await becomes(async () => hash(), "#/decoder");
  assert.equal((await it.device.request("GET", "security"))[0].certificateName, "default");
});

// Each: what the operator answers, and what the device has then.
const answers = {
  "the device's": [["On the device: 6001", "Save"], { port: 6001, latency: 333, name: "Mine" }],
  "the operator's": [["Yours: 7001", "Save"], { port: 7001, latency: 333, name: "Mine" }],
  "neither": [["Back to the form"], { port: 6001, latency: 333, name: "Studio A main" }],
};
for (const [name, [[...steps], wanted]] of Object.entries(answers)) {
  test(`a foreign change is shown before saving: ${name}`, async () => {
    const before = { ...await stored(), name: "Studio A main", port: 5000, latency: 120 };
    await it.device.request("PUT", "stream/1", before);
    const page = await open("streams/1");
    await becomes(() => field("Port").inputValue(), "5000");
    await type("Port", "7001");
    await type("Name", "Mine");
    await it.device.request("PUT", "stream/1", { ...before, port: 6001, latency: 333 });
    await save("port");
    await dialog().getByText("Latency (Stream) is now: 333 ms").waitFor();
    const last = steps.pop();
    for (const step of steps) await dialog().getByLabel(step).check();
    await answer(last);
    if (last === "Save") await says("The stream is saved.");
    else assert.equal(await field("Port").inputValue(), "7001");
    await page.waitForTimeout(300);
    const { port, latency, name: kept } = await stored();
    assert.deepEqual({ port, latency, name: kept }, wanted);
  });
}

test("a foreign change is told while somebody types, and an untouched form follows it", async () => {
  await open("streams/2");
  const before = await stored(2);
  const port = (value) => it.device.request("PUT", "stream/2", { ...before, port: value });
  await becomes(() => field("Port").inputValue(), String(before.port));
  await port(6002);
  await becomes(() => field("Port").inputValue(), "6002");
  await type("Port", "7002");
  await port(6003);
  await shows(".meanwhile", "Changed on the device meanwhile: Port (Stream).");
  await button("Compare").click();
  await dialog().getByLabel("On the device: 6003").check();
  await answer("Take these values");
  assert.equal(await field("Port").inputValue(), "6003");
  await becomes(() => it.page.locator(".meanwhile").textContent(), "");
  assert.ok(await button("Discard changes").isHidden());
});

test("what stands in a form outlives its entry", async () => {
  const { id } = (await it.device.request("POST", "stream", { name: "Short-lived", port: 7000, ipAddress: "192.0.2.1" }))[0];
  await open(`streams/${id}`);
  await becomes(() => field("Name").inputValue(), "Short-lived");
  await type("Name", "Longer-lived");
  await it.device.request("DELETE", `stream/${id}`);
  await shows(".trouble", "Saving makes a new one of what stands here.");
  await save("name");
  await says("The stream is saved.");
  const made = (await it.device.request("GET", "stream")).find((one) => one.name === "Longer-lived");
  assert.equal(made.port, 7000);
});
