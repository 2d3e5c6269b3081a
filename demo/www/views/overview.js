// A device at a glance.

import { device } from "../device.js";
import { amount, button, card, el, endpoint, facts, setText } from "../dom.js";
import { inputs, protocols } from "../fields.js";
import { attempt } from "../news.js";
import { makePlot } from "../plot.js";
import { refresh, value } from "../poll.js";
import { cut } from "../texts.js";

const named = (names, code) => names[code] ?? (code >= 0 ? `Code ${code}` : "");
const yes = (flag, text) => (flag ? text : "");

const samples = []; // outlives the view: who comes back sees the line go on
const mostSamples = 600;

function sample() {
  const { video, audio, systemBitrate } = value("channelInfo");
  samples.push({
    at: Date.now() / 1000, system: systemBitrate, video: video.inputBitrate, audio: audio.inputBitrate / 1000,
  });
  if (samples.length > mostSamples) samples.shift();
}

function channelCard() {
  const name = el("p", { class: "headline" }, "–");
  const badge = el("span", { class: "badge" });
  const run = (action, done) => attempt(async () => {
    await device.put(`channel/${action}`);
    await refresh("channel", "channelInfo");
  }, done);
  const start = button("Start", () => run("start", "The channel is started."));
  const stop = button("Stop", () => run("stop", "The channel is stopped."));
  const plot = makePlot("Mbit/s", [
    { key: "system", name: "System" }, { key: "video", name: "Video" }, { key: "audio", name: "Audio" },
  ]);
  const details = facts([
    ["Protocol", ({ channel }) => named(protocols, channel.protocol)],
    ["Address", ({ channel }) => endpoint(channel)],
    ["Input", ({ channel }) => named(inputs, channel.channelInput)],
    ["Picture", ({ channel }) => channel.resolution],
    ["Sound", ({ info }) => info.audio.channels && `${info.audio.channels} channels, ${amount(info.audio.samplingFrequency / 1000, "kHz")}`],
    ["Latency", ({ info }) => info.endToEndLatency],
    ["Errors", ({ info }) => info.errorCorrection],
    ["Time code", ({ info }) => info.vitc],
    ["Captions", ({ info }) => info.cc],
    ["Encryption", ({ info }) => info.encryption],
    ["Carries", ({ channel }) => [yes(channel.isFec, "FEC"), yes(channel.isKlv, "KLV"), yes(channel.isTalkback, "talkback"),
      yes(channel.isUll, "ultra-low latency")].filter(Boolean).join(", ")],
  ]);
  function update() {
    const channel = value("channel"), info = value("channelInfo");
    if (!channel || !info) return;
    const isSelected = Number(channel.id) >= 0, isRunning = channel.status > 0;
    setText(name, isSelected ? channel.name || `Stream ${channel.id}` : "No stream is selected");
    setText(badge, isRunning ? "Receiving" : "Stopped");
    badge.classList.toggle("good", isRunning);
    start.disabled = isRunning || !isSelected;
    stop.disabled = !isRunning;
    details.update(isSelected ? { channel, info } : { channel: {}, info: { audio: {} } });
    plot.update(samples);
  }
  const element = card("Channel",
    el("div", { class: "headrow" }, name, badge, el("span", { class: "push actions" }, start, stop)),
    plot.element, details.element);
  element.classList.add("broad");
  return { element, update };
}

const statistics = {
  zixi: ["Zixi", [
    ["Bitrate", (s) => amount(s.totalBitrate, "kbit/s")], ["Available", (s) => amount(s.availableBitrate, "kbit/s")],
    ["Round trip", (s) => amount(s.roundTimeTrip, "ms")], ["Jitter", (s) => amount(s.jitter, "ms")],
    ["Latency", (s) => amount(s.latency, "ms")], ["Packet rate", (s) => amount(s.packetRate)],
    ["Packet loss", (s) => amount(s.packetLoss)], ["Packets", (s) => amount(s.totalPackets)],
    ["Dropped", (s) => amount(s.droppedPackets)], ["Recovered", (s) => amount(s.recoveredPackets)],
    ["Not recovered", (s) => amount(s.nonRecoveredPackets)], ["Reconnections", (s) => amount(s.reconnections)],
  ]],
  srt: ["SRT", [
    ["Bitrate", (s) => amount(s.totalBitrate, "kbit/s")], ["Round trip", (s) => amount(s.roundTimeTrip, "ms")],
    ["MTU", (s) => amount(s.mtu, "bytes")], ["Packet loss", (s) => amount(s.packetLoss)],
    ["Packets", (s) => amount(s.totalPackets)], ["Dropped", (s) => amount(s.droppedPackets)],
    ["Recovered", (s) => amount(s.recoveredPackets)],
  ]],
};

function statisticsCard(name) {
  const [title, rows] = statistics[name];
  const list = facts(rows);
  return {
    element: card(`${title} statistics`, list.element),
    update: () => value(name) && list.update(value(name)),
  };
}

const ports = {
  power: "Power", ethernet1: "Ethernet 1", ethernet2: "Ethernet 2", sdi1: "SDI 1", sdi2: "SDI 2", hdmi: "HDMI",
  cvbs: "Composite", dvbAsiIn: "DVB-ASI in", dvbAsiOut: "DVB-ASI out", serialAudioGenLock: "Serial, audio, genlock",
};
const leds = { ntp: "NTP", genlock: "Genlock", talkback: "Talkback" };

function lights(names) {
  const marks = Object.keys(names).map(() => el("span", { class: "light", "aria-hidden": "true" }));
  const words = marks.map(() => el("span", { class: "word" }));
  const element = el("ul", { class: "lights" }, ...Object.values(names).map(
    (name, i) => el("li", {}, marks[i], el("span", {}, name), words[i])));
  const update = (data) => Object.keys(names).forEach((key, i) => {
    marks[i].classList.toggle("on", data[key] === 1);
    marks[i].classList.toggle("other", data[key] !== 0 && data[key] !== 1);
    setText(words[i], ["off", "on"][data[key]] ?? `code ${data[key]}`);
  });
  return { element, update };
}

function lightsCard() {
  const portLights = lights(ports), ledLights = lights(leds);
  return {
    element: card("Ports and LEDs", el("h3", {}, "Ports"), portLights.element, el("h3", {}, "LEDs"), ledLights.element),
    update() {
      if (value("ports")) portLights.update(value("ports"));
      if (value("leds")) ledLights.update(value("leds"));
    },
  };
}

function deviceCard() {
  const list = facts([
    ["Temperature", ({ uptime }) => amount(uptime.temperatureC, "°C")], ["Fans", ({ uptime }) => amount(uptime.fansRPM, "rpm")],
    ["Running for", ({ uptime }) => uptime.uptime], ["Clock", ({ uptime }) => uptime.dateTime],
    ["Software", ({ general }) => general.software], ["Hardware", ({ general }) => general.hardware],
    ["Serial number", ({ general }) => general.systemSerialNumber], ["Board", ({ general }) => general.boardSerialNumber],
  ]);
  const update = () => value("uptime") && value("general") && list.update({ uptime: value("uptime"), general: value("general") });
  return { element: card("Device", list.element), update };
}

function noticeBlock() {
  const element = el("p", { class: "notice", role: "note", hidden: true });
  const update = () => {
    const notice = value("notice") ?? {};
    element.hidden = !notice.isBannerEnabled || !notice.bannerText;
    setText(element, notice.bannerText ?? "");
    if (notice[cut]) setText(element, `${notice.bannerText} … (The rest is too long to be read. It can be replaced under System.)`);
  };
  return { element, update };
}

export function overview() {
  const notice = noticeBlock();
  const parts = [channelCard(), deviceCard(), lightsCard(), statisticsCard("zixi"), statisticsCard("srt")];
  let sampled;
  return {
    element: el("div", {}, notice.element, el("div", { class: "cards" }, ...parts.map((part) => part.element))),
    uses: ["channel", "channelInfo", "uptime", "general", "ports", "leds", "zixi", "srt", "notice"],
    update() {
      if (value("channelInfo") && value("channelInfo") !== sampled) {
        sampled = value("channelInfo");
        sample();
      }
      for (const part of [notice, ...parts]) part.update();
    },
  };
}
