// What came of an action, in one line above the view.

import { setText } from "./dom.js";
import { DeviceError } from "./kelto-client.js";

let timer;

export function say(text, isBad = false) {
  const news = document.getElementById("news");
  clearTimeout(timer);
  setText(news, text);
  news.classList.toggle("bad", isBad);
  if (text && !isBad) timer = setTimeout(say, 6000, "");
}

export const isNoAnswer = (error) => error instanceof DeviceError && [0, 408].includes(error.status);

// Why a change failed. Without an answer it may have been made all the same.
export function reason(error) {
  const text = error.complaints?.map(({ message }) => message).join(" ") || error.message;
  return isNoAnswer(error) ? `${text} Whether it was done is not known.` : text;
}

// Runs an action; says `done`, or what went wrong. Returns whether it went well.
export async function attempt(action, done) {
  const slow = setTimeout(say, 3000, "Waiting for the device.");
  try {
    await action();
    clearTimeout(slow);
    say(done);
    return true;
  } catch (error) {
    clearTimeout(slow);
    say(reason(error), true);
    return false;
  }
}
