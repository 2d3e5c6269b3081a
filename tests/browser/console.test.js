import assert from "node:assert/strict";
import { test } from "node:test";
import { becomes, useConsole } from "./console.js";

const { it, open, button, field, dialog, answer, save, says, shows } = useConsole("--upgrade-seconds", "4");
const row = (name) => it.page.locator(".list tbody tr").filter({ hasText: name });

test("page and files stand under the current version", async () => {
  const page = await open();
  await page.goto(`${it.device.url}/v2.3.9/index.html`);
  assert.equal(new URL(page.url()).pathname, "/v2.4.1/index.html");
  await page.getByText("Studio A main").waitFor();
  const files = await page.evaluate(() => performance.getEntriesByType("resource").map((entry) => new URL(entry.name).pathname));
  assert.ok(files.includes("/v2.4.1/views/overview.js"));
  assert.deepEqual(files.filter((path) => !/^\/(v2\.4\.1|api)\//.test(path)), []);
});

test("the overview shows a live device", async () => {
  const page = await open();
  await shows(".badge", "Receiving");
  for (const text of ["°C", "DEC-2041-0007", "2.4.1", "kbit/s"]) await shows("dd", text);
  const points = async () => (await page.locator(".series-1").getAttribute("d") ?? "").split(/[ML]/).length - 1;
  const first = await points();
  await becomes(async () => (await points()) > first, true);
  const light = page.locator(".lights li", { hasText: "HDMI" });
  await light.locator(".light.on").waitFor();
  await button("Stop").click();
  await light.locator(".light:not(.on)").waitFor();
  await button("Start").click();
  await light.locator(".light.on").waitFor();
});

test("a stream is made, changed, selected and deleted", async () => {
  const page = await open("streams");
  await page.getByRole("link", { name: "New stream" }).click();
  await field("Name").fill("Test & measure +1");
  await field("Protocol").selectOption("SRT");
  await field("Address").fill("192.0.2.7");
  await field("Port").fill("7000");
  await button("Create the stream").click();
  await says("The stream is saved.");
  await row("Test & measure +1").getByText("192.0.2.7:7000").waitFor();

  const stored = async () => (await it.device.request("GET", "stream")).find((one) => one.name === "Test & measure +1");
  await row("Test & measure").getByRole("link", { name: "Edit" }).click();
  await field("Port").fill("7001");
  await button("Save").click();
  await row("192.0.2.7:7001").waitFor();
  await row("Test & measure").getByRole("button", { name: "Select" }).click();
  await row("Test & measure").getByText("Received").waitFor();
  for (const choice of ["Cancel", "Delete"]) {
    assert.ok(await stored());
    await row("Test & measure").getByRole("button", { name: "Delete" }).click();
    await answer(choice);
    await dialog().waitFor({ state: "detached" });
  }
  await says("The stream is deleted.");
  assert.equal(await stored(), undefined);
});

test("refused values are shown at their fields", async () => {
  const page = await open("network");
  const prefix = page.locator('[name="ip6ManualPrefix[1]"]');
  await prefix.fill("129");
  await save("ip6ManualPrefix[1]");
  const invalid = page.locator('[aria-invalid="true"]');
  await invalid.waitFor();
  assert.equal(await invalid.getAttribute("name"), "ip6ManualPrefix[1]");
  assert.ok(await invalid.evaluate((input) => input === document.activeElement));
  const described = await invalid.evaluate((input) => document.getElementById(input.getAttribute("aria-describedby").split(" ")[0]).textContent);
  assert.equal(described, "The prefix length must be from 0 to 128.");
  await prefix.fill("63");
  assert.equal(await invalid.count(), 0);

  await it.device.fault("refuse=2@CMD_NETWORK_SET*1");
  await save("ip6ManualPrefix[1]");
  await page.locator(".problems p").nth(1).waitFor();
  await save("ip6ManualPrefix[1]");
  await shows(".state", "Saved");
  assert.equal((await it.device.request("GET", "network"))[1].ip6ManualPrefix, 63);
});

test("a refused change of a stream is not taken for a missing one", async () => {
  await open("streams/1");
  await field("Port").fill("0");
  await save("port");
  await shows(".problems", "The device refused this, and does not say why.");
});

test("the audio grid changes one cell and nothing else", async () => {
  const page = await open("outputs");
  const [before] = await it.device.request("GET", "decoder/audio");
  const cell = page.getByLabel("SDI/HDMI 2, channel 3");
  await page.locator("td").filter({ has: cell }).click();
  await page.keyboard.press("ArrowDown"); // to row 3, where channel 3 is set
  await page.keyboard.press("Space");
  await page.locator("form").filter({ has: cell }).getByRole("button", { name: "Save" }).click();
  await shows(".state", "Saved");
  const [after] = await it.device.request("GET", "decoder/audio");
  before.sdiHdmiOutput[1][2] = true;
  before.sdiHdmiOutput[2][2] = false;
  assert.deepEqual(after, before);
});

test("hostile texts are shown as they are, and kept", async () => {
  const name = `<img src=x onerror="window.hacked=1"> & "\\'`;
  await it.device.request("POST", "stream", { name, ipAddress: "192.0.2.8", port: 1 });
  const { id } = (await it.device.request("GET", "stream")).at(-1);
  await it.device.request("PUT", `stream/select/${id}`);
  const [security] = await it.device.request("GET", "security");
  const bannerText = "<script>window.hacked=1</script> & second part";
  await it.device.request("PUT", "security", { ...security, isBannerEnabled: true, bannerText });
  const page = await open();
  await becomes(() => page.locator(".headline").textContent(), name);
  await becomes(() => page.locator(".notice").textContent(), bannerText);
  const raw = '[ {"isBannerEnabled" : true, "bannerText" : "one\ntwo &lt;b&gt; \\"\\\\"} ]';
  await page.route("**/api/notice", (route) => route.fulfill({ body: raw }));
  await page.reload();
  await becomes(() => page.locator(".notice").textContent(), 'one\ntwo <b> "\\');
  await page.goto(`${it.device.url}/#/streams/${id}`);
  await becomes(() => field("Name").inputValue(), name);
  await button("Save").click();
  await says("The stream is saved.");
  assert.equal(await row("onerror").locator("td").first().textContent(), name);
  assert.equal(await page.evaluate(() => document.images.length + (window.hacked ?? 0)), 0);
  await it.device.request("DELETE", `stream/${id}`);
});

test("only groups that moved are fetched", async () => {
  const page = await open("streams");
  await row("Studio A main").waitFor();
  let read = [];
  page.on("request", (request) => read.push(new URL(request.url()).pathname));
  await page.waitForTimeout(4500);
  assert.deepEqual([...new Set(read)], ["/api/changes"]);
  read = [];
  const [other] = await it.device.request("GET", "configuration");
  await it.device.request("PUT", `configuration/${other.id}`, other);
  const [stream] = await it.device.request("GET", "stream");
  await it.device.request("PUT", `stream/${stream.id}`, { ...stream, latency: 130 });
  await page.waitForTimeout(4500);
  assert.deepEqual([...new Set(read)].sort(), ["/api/changes", "/api/channel", "/api/stream"]);
});

test("troubles are shown and pass", async () => {
  const page = await open("streams");
  await row("Studio A main").waitFor();
  const trouble = (text) => page.locator("#trouble").filter({ hasText: text }).waitFor({ state: "attached" });
  it.device.fault("refuse@CMD_CHANGES_GET*1");
  await trouble("The device could not do this.");
  await trouble(/^$/);
  await page.context().setOffline(true);
  await trouble("The server does not answer.");
  const { id } = (await it.device.request("POST", "stream", { name: "Made meanwhile" }))[0];
  await page.context().setOffline(false);
  await row("Made meanwhile").waitFor();
  await trouble(/^$/);
  await it.device.request("DELETE", `stream/${id}`);
});

test("the keyboard is enough", async () => {
  const page = await open("system");
  await page.keyboard.press("Tab");
  assert.equal(await page.evaluate(() => document.activeElement.id), "skip");
  await page.keyboard.press("Enter");
  assert.equal(await page.evaluate(() => document.activeElement.id), "main");
  await button("Restart").focus();
  await page.keyboard.press("Enter");
  assert.equal(await page.evaluate(() => document.activeElement.textContent), "Cancel");
  await page.keyboard.press("Escape");
  await dialog().waitFor({ state: "detached" });
  assert.equal(await page.evaluate(() => document.activeElement.textContent), "Restart");
  await page.keyboard.press("Enter");
  await page.keyboard.press("Tab");
  await page.keyboard.press("Enter");
  await says("The device restarts.");
  await field("Host name").focus();
  await page.keyboard.press("ControlOrMeta+A");
  await page.keyboard.type("decoder-02");
  await page.keyboard.press("Enter");
  await becomes(async () => (await it.device.request("GET", "security"))[0].hostname, "decoder-02");
});

test("a package is sent with progress, and installed by stages", async () => {
  const page = await open("system");
  const cdp = await page.context().newCDPSession(page);
  await cdp.send("Network.emulateNetworkConditions", { offline: false, latency: 0, downloadThroughput: -1, uploadThroughput: 1 << 20 });
  const send = async (begin) => {
    await field("Firmware package").setInputFiles({ name: "decoder.bin", mimeType: "a/b", buffer: Buffer.alloc(3 << 20, begin) });
    await button("Upload and install").click();
    await answer("Install");
  };
  await send("BAD");
  const seen = new Set();
  const bar = page.getByRole("progressbar", { name: "Upload: Firmware package" });
  await becomes(async () => {
    if (await bar.isVisible()) seen.add(await bar.evaluate((one) => one.value).catch(() => 0));
    return page.getByText("The file is damaged.").isVisible();
  }, true);
  assert.ok([...seen].some((value) => value > 0 && value < 1), `progress: ${[...seen]}`);
  await send("NEW");
  await page.getByText("Installing decoder.bin.").waitFor({ timeout: 15000 });
  await shows(".stages .present", "");
  await shows(".stages li", "Finished");
  await shows(".bar", "software 2.4.2");
  await button("Reload the page").waitFor();
});
