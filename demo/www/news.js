// What came of an action, in one line above the view.

import { setText } from "./dom.js";

let timer;

export function say(text, isBad = false) {
  const news = document.getElementById("news");
  clearTimeout(timer);
  setText(news, text);
  news.classList.toggle("bad", isBad);
  if (text && !isBad) timer = setTimeout(say, 6000, "");
}

// Runs an action; says `done`, or what went wrong. Returns whether it went well.
export async function attempt(action, done) {
  try {
    await action();
    say(done);
    return true;
  } catch (error) {
    say(error.complaints?.map(({ message }) => message).join(" ") || error.message, true);
    return false;
  }
}
