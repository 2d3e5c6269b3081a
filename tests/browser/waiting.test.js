// A device that doesn't answer for the 30 seconds that a command may take.

import assert from "node:assert/strict";
import { test } from "node:test";
import { becomes, useConsole } from "./console.js";

const { it, open, field, save, shows } = useConsole();

const clock = "\\d\\d:\\d\\d:\\d\\d";
const trouble = (text, timeout) => it.page.locator("#trouble").filter({ hasText: text }).waitFor({ state: "attached", timeout });

test("a stall reads as one, and costs nothing of what is typed", async () => {
  await open("streams/1");
  await becomes(() => field("Port").inputValue(), "5000");
  await field("Port").fill("7001");
  it.device.fault("delay=31000@CMD_CHANGES_GET*1");
  const server = "Its web server is there, but the service behind it is busy or hangs\\.";
  await trouble(new RegExp(`^The device has not answered since ${clock}\\. ${server} An answer can take 30 seconds, and other requests wait in line behind it\\.$`));
  await trouble(new RegExp(`^The device did not answer for (29|3\\d) seconds\\. ${server} What is shown is from ${clock}\\. Trying again\\.$`), 40000);
  await trouble(/^$/, 20000);
  assert.equal(await field("Port").inputValue(), "7001");
  await save("port");
  await becomes(async () => (await it.device.request("GET", "stream/1"))[0].port, 7001);
});

// A browser would send it once more, were it to wait for the server's answer.
test("a change without an answer may have been made, and is sent once", async () => {
  await open("network");
  await field("Discovery on the network").uncheck();
  await it.device.fault("silence@CMD_SERVICES_SET*1");
  await save("discovery");
  await shows(".state", "Saving");
  await trouble("The device has not answered since");
  await it.page.locator(".problems").filter({ hasText: "The device did not answer in time. Whether it was done is not known." }).waitFor({ timeout: 40000 });
  await trouble(/^$/);
  assert.equal(await field("Discovery on the network").isChecked(), false);
});
