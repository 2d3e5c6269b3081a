// The notice, of which no more is kept than can be read back.

import assert from "node:assert/strict";
import { test } from "node:test";
import { becomes, changesOf, useConsole } from "./console.js";

const { it, open, field, save, shows } = useConsole();

const security = async () => (await it.device.request("GET", "security"))[0];

test("what is left counts down by the bytes of the answer", async () => {
  const page = await open("system");
  const counts = {
    "": "3,968 of 3,968 bytes left", "abc": "3,965 of 3,968 bytes left", "<\">\\": "3,956 of 3,968 bytes left",
    "ü€": "3,963 of 3,968 bytes left", "😀": "3,964 of 3,968 bytes left", ["x".repeat(3969)]: "1 byte too many",
    ["<".repeat(1000)]: "32 bytes too many",
  };
  for (const [text, left] of Object.entries(counts)) {
    await field("Text").fill(text);
    assert.equal(await page.locator(".field:has([name=bannerText]) .count").textContent(), left);
  }
});

test("the longest notice can be read back, and a longer one is not sent", async () => {
  const page = await open("system");
  const sent = changesOf(page);
  await field("Host name").fill("h".repeat(63));
  await field("Text").fill("x".repeat(3969));
  await save("bannerText");
  await shows(".error", "A text so long could not be read back.");
  assert.deepEqual(sent, []);
  const longest = "<\"é".repeat(496); // of 8 bytes each
  await field("Text").fill(longest);
  await save("bannerText");
  await shows(".state", "Saved");
  const { hostname, bannerText } = await security();
  assert.deepEqual([hostname, bannerText.replaceAll("&lt;", "<")], ["h".repeat(63), longest]);
});

// Answers as they end when a notice is too long for them: in its middle, before
// what follows it, and in the middle of an entity.
const head = '[ {"currentPassword" : "", "newPassword" : "", "hostname" : "decoder-01", "isBannerEnabled" : true, "bannerText" : "';
const cutAnswers = [
  [`${head}${"No entry. ".repeat(501)}`.slice(0, 5119), "No entry. ".repeat(397).slice(0, 3968)],
  [`${head}No entry.", "certificateName" : "def`, "No entry."],
  [`${head}No \\"entry\\" &lt;here&g`, "No \"entry\" <here"],
];
test("a notice that is cut is shown as far as it goes, and saved over", async () => {
  const page = await open();
  for (const [body, kept] of cutAnswers) {
    await it.device.request("PUT", "security", { ...await security(), hostname: "decoder-01", bannerText: "Another one." });
    let isCut = true;
    await page.route("**/api/security", (route) => {
      isCut &&= route.request().method() === "GET";
      return isCut ? route.fulfill({ body }) : route.continue();
    });
    await page.goto(`${it.device.url}/#/overview`);
    await page.goto(`${it.device.url}/#/system`);
    await shows(".card .trouble", "The notice is too long to be read whole.");
    await becomes(() => field("Text").inputValue(), kept);
    assert.ok(await field("Show a notice").isChecked());
    await field("Name of the certificate").fill("default");
    await field("Text").fill("Short again.");
    await save("bannerText");
    await shows(".state", "Saved");
    await becomes(() => page.locator(".card .trouble").textContent(), "");
    const { hostname, isBannerEnabled, bannerText, certificateName } = await security();
    assert.deepEqual([hostname, isBannerEnabled, bannerText, certificateName], ["decoder-01", true, "Short again.", "default"]);
  }
});

test("the overview shows as much of a notice as there is", async () => {
  const page = await open("streams");
  await page.route("**/api/notice", (route) => route.fulfill({ body: '[ {"isBannerEnabled" : true, "bannerText" : "The door is &lt;' }));
  await page.goto(`${it.device.url}/#/overview`);
  await shows(".notice", "The door is < … (The rest is too long to be read. It can be replaced under System.)");
});
