// The device that this page comes from.

import { Device } from "./kelto-client.js";
import { salvage } from "./texts.js";

// A request that is answered with 408 on a connection that was used before is
// sent once more by Chromium, without a word: an entry would be made twice. So
// it's given up just before the 30 seconds after which that answer comes.
export const device = new Device("/", { timeout: 29000 });

export const getList = (path) => device.get(path);
export const getOne = async (path) => (await device.get(path))[0] ?? {};

// A record with a notice. A long notice ends the answer in its middle, and then
// what is there must do.
export async function getWithNotice(path) {
  try {
    return await getOne(path);
  } catch (error) {
    if (!(error.cause instanceof SyntaxError)) throw error;
    const text = await fetch(`/api/${path}`).then((answer) => answer.text());
    try {
      return salvage(text, "bannerText");
    } catch {
      throw error;
    }
  }
}
