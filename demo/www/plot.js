// A live plot of a few series over the last minutes, as an SVG image.

import { el, setText } from "./dom.js";

const span = 180; // seconds
const gap = 10; // a longer one without a sample interrupts the line
const width = 600, height = 200;

function svg(tag, attributes = {}) {
  const element = document.createElementNS("http://www.w3.org/2000/svg", tag);
  for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
  return element;
}

// A round number for each of the 4 steps of the scale.
function stepFor(highest) {
  const raw = Math.max(highest, 0.001) / 4;
  const power = 10 ** Math.floor(Math.log10(raw));
  return [1, 2, 2.5, 4, 5, 10].map((times) => times * power).find((step) => step >= raw * 1.02) ?? 10 * power;
}

function path(samples, key, now, top) {
  let before = -Infinity;
  return samples.map((sample) => {
    const x = width * (1 - (now - sample.at) / span);
    const y = height * (1 - sample[key] / top);
    const move = sample.at - before > gap ? "M" : "L";
    before = sample.at;
    return `${move}${x.toFixed(1)} ${y.toFixed(1)}`;
  }).join("");
}

// series: {key, name}. samples are kept by the caller, oldest first, with
// their time in seconds as `at`.
export function makePlot(unit, series) {
  const picture = svg("svg", { viewBox: `0 0 ${width} ${height}`, preserveAspectRatio: "none", "aria-hidden": "true" });
  for (let i = 0; i <= 4; ++i) {
    const y = (height * i) / 4;
    picture.append(svg("line", { class: "rule", x1: 0, x2: width, y1: y, y2: y }));
  }
  const lines = series.map((_, i) => svg("path", { class: `series series-${i + 1}` }));
  picture.append(...lines);
  const scale = [4, 3, 2, 1, 0].map(() => el("span"));
  const values = series.map(() => el("strong", {}, "–"));
  const legend = el("ul", { class: "legend" },
    ...series.map(({ name }, i) => el("li", { class: `key-${i + 1}` }, name, " ", values[i])));
  const element = el("figure", { class: "plot" }, legend,
    el("div", { class: "canvas", "aria-hidden": "true" }, el("div", { class: "scale" }, ...scale),
      el("div", { class: "picture" }, picture)),
    el("div", { class: "times", "aria-hidden": "true" }, ...["−3 min", "−2 min", "−1 min", "now"].map((text) => el("span", {}, text))));

  function update(samples) {
    const now = samples.at(-1)?.at ?? 0;
    const shown = samples.filter((sample) => now - sample.at <= span + gap);
    const step = stepFor(Math.max(0, ...shown.flatMap((sample) => series.map(({ key }) => sample[key]))));
    const digits = step < 0.1 ? 2 : step < 1 || step % 1 ? 1 : 0;
    scale.forEach((label, i) => setText(label, ((4 - i) * step).toFixed(digits)));
    series.forEach(({ key }, i) => {
      lines[i].setAttribute("d", path(shown, key, now, 4 * step));
      if (shown.length) setText(values[i], `${shown.at(-1)[key].toFixed(2)} ${unit}`);
    });
  }
  return { element, update };
}
