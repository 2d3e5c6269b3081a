// clients/javascript in a browser. tests/api has the same for Node, and more.

import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { openConsole, startBrowser, startDevice } from "./support.js";

let device, browser, page;

before(async () => {
  device = await startDevice();
  browser = await startBrowser();
  page = await openConsole(browser, device);
  // As makeCall("put", ["services", {}]): the answer, or what the error holds.
  await page.evaluate(async () => {
    const { Device } = await import("./kelto-client.js");
    globalThis.makeCall = async (method, values, address = "/", options = {}) => {
      try {
        return await new Device(address, options)[method](...values);
      } catch ({ message, status }) {
        return { message, status };
      }
    };
  });
});
after(async () => {
  await browser?.close();
  await device?.stop();
});

const call = (method, ...values) => page.evaluate(([name, rest]) => globalThis.makeCall(name, rest), [method, values]);

test("a form and a file arrive as they are", async () => {
  const changes = { name: "A + B & C=D, 100% %41 <b> \"q\" \\ ü€", aesKey: "+ +" };
  const [before] = await call("get", "stream/1");
  await call("change", "stream/1", changes);
  assert.deepEqual(await call("get", "stream/1"), [{ ...before, ...changes }]);
  const { seen, answer } = await page.evaluate(async () => {
    const parts = [], onprogress = (sent) => parts.push(sent);
    const file = new File([new Uint8Array(3 << 20)], "100%41 \"x\".pem");
    const values = ["security/certificate", "certificateName", file, { onprogress }];
    return { answer: await globalThis.makeCall("upload", values), seen: parts };
  });
  assert.deepEqual(answer, [{ status: "OK", message: "100_41 _x_.pem is the certificate now." }]);
  assert.equal(seen.at(-1), 1);
});

test("failures say what happened", async () => {
  const failed = (...all) => page.evaluate(async (rest) => {
    const { message, status } = await globalThis.makeCall(...rest);
    return [status, message];
  }, all);
  assert.deepEqual(await failed("put", ["sap", { port: 0 }]), [400, "The port must be from 1 to 65535. (port)"]);
  assert.deepEqual(await failed("get", ["uptime"], "http://127.0.0.1:1"), [0, "The server does not answer."]);
  // Below another path the server has pages, which it sends on to their version.
  assert.deepEqual(await failed("put", ["services", {}], "/other/"),
    [0, `The server sends this on to ${device.url}/v2.4.1/other/api/services.`]);
  await device.fault("delay=1000@CMD_UPTIME_GET*1");
  assert.deepEqual(await failed("get", ["uptime"], "/", { timeout: 200 }), [0, "The device did not answer in time."]);
  const given = await page.evaluate(() => globalThis.makeCall("upload", ["general/firmwareUpgrade", "packageName",
    new File(["MZ"], "a"), { signal: AbortSignal.abort(new Error("given up")) }]));
  assert.equal(given.message, "given up");
});
