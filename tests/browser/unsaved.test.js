// What somebody typed isn't lost without a question, and doesn't undo what
// somebody else changed without one.

import assert from "node:assert/strict";
import { test } from "node:test";
import { becomes, useConsole } from "./console.js";

const { it, open, button, field, dialog, answer, save, says, shows } = useConsole();

const hash = () => new URL(it.page.url()).hash;
const stored = async (id = 1) => (await it.device.request("GET", `stream/${id}`))[0];

const inThePage = [
  [(page) => page.getByRole("link", { name: "Decoder" }).click(), "#/decoder"],
  [(page) => page.goBack(), "#/streams"],
  [(page) => page.evaluate(() => { location.hash = "#/system"; }), "#/system"],
];
test("leaving a view by a link, back or an address asks", async () => {
  const page = await open();
  for (const [leave, wanted] of inThePage) {
    await page.goto(`${it.device.url}/#/streams`);
    await page.getByRole("link", { name: "Edit Studio A main" }).click();
    // What was given up before is forgotten.
    await becomes(() => field("Port").inputValue(), "5000");
    await field("Port").fill("7001");
    await leave(page);
    await dialog().getByText("Edit stream: changes that are not saved.").waitFor();
    await answer("Stay");
    assert.deepEqual([hash(), await field("Port").inputValue()], ["#/streams/1", "7001"]);
    await leave(page);
    await answer("Leave");
    await becomes(async () => hash(), wanted);
    await dialog().waitFor({ state: "detached" });
  }
});

test("reload and close ask", async () => {
  const page = await open("streams/1");
  await field("Port").fill("7001");
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
    "typed back": async () => { await field("Port").fill("7001"); await field("Port").fill("5000"); },
    "discarded": async () => { await field("Port").fill("7001"); await button("Discard changes").click(); },
    "saved": async () => { await field("Latency").fill("250"); await save("latency"); await says("The stream is saved."); },
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
const answers = [
  ["On the device: 6001", { port: 6001, latency: 333, name: "Mine" }],
  ["Yours: 7001", { port: 7001, latency: 333, name: "Mine" }],
  [null, { port: 6001, latency: 333, name: "Studio A main" }],
];
test("a foreign change is shown before saving", async () => {
  const page = await open();
  const before = await stored();
  for (const [choice, wanted] of answers) {
    await it.device.request("PUT", "stream/1", before);
    await page.goto(`${it.device.url}/#/streams/1`);
    await becomes(() => field("Port").inputValue(), "5000");
    await field("Port").fill("7001");
    await field("Name").fill("Mine");
    await it.device.request("PUT", "stream/1", { ...before, port: 6001, latency: 333 });
    await save("port");
    await dialog().getByText("Latency (Stream) is now: 333 ms").waitFor();
    if (choice) {
      await dialog().getByLabel(choice).check();
      await answer("Save");
      await becomes(async () => (await stored()).name, "Mine");
    } else {
      await answer("Back to the form");
      assert.equal(await field("Port").inputValue(), "7001");
      await page.waitForTimeout(300);
    }
    const { port, latency, name } = await stored();
    assert.deepEqual({ port, latency, name }, wanted);
  }
});

test("a foreign change is told while somebody types, and an untouched form follows it", async () => {
  await open("streams/2");
  const before = await stored(2);
  const port = (value) => it.device.request("PUT", "stream/2", { ...before, port: value });
  await becomes(() => field("Port").inputValue(), String(before.port));
  await port(6002);
  await becomes(() => field("Port").inputValue(), "6002");
  await field("Port").fill("7002");
  await port(6003);
  await shows(".meanwhile", "Changed on the device meanwhile: Port (Stream).");
  await button("Compare").click();
  await dialog().getByLabel("On the device: 6003").check();
  await answer("Take these values");
  await becomes(() => field("Port").inputValue(), "6003");
  await becomes(() => it.page.locator(".meanwhile").textContent(), "");
  assert.ok(await button("Discard changes").isHidden());
});

test("what stands in a form outlives its entry", async () => {
  const { id } = (await it.device.request("POST", "stream", { name: "Short-lived", port: 7000, ipAddress: "192.0.2.1" }))[0];
  await open(`streams/${id}`);
  await becomes(() => field("Name").inputValue(), "Short-lived");
  await field("Name").fill("Longer-lived");
  await it.device.request("DELETE", `stream/${id}`);
  await shows(".trouble", "Saving makes a new one of what stands here.");
  await save("name");
  await says("The stream is saved.");
  const made = (await it.device.request("GET", "stream")).find((one) => one.name === "Longer-lived");
  assert.equal(made.port, 7000);
});
