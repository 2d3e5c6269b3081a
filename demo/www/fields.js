// The forms: a line per field, a table per resource. A key is the parameter of
// the request and the member of the answer. What the codes mean is the
// device's to say; the names are the simulated device's, and a code without a
// name is shown as its number.

const text = (key, label, longest, more = {}) => ({ kind: "text", key, label, longest, ...more });
const number = (key, label, more = {}) => ({ kind: "number", key, label, ...more });
const flag = (key, label, more = {}) => ({ kind: "flag", key, label, ...more });
const choice = (key, label, names) => ({ kind: "choice", key, label, names });
const code = (key, label) => number(key, label, { unit: "code" });

const address = (key, label) => text(key, label, 45, { hint: "IPv4 or IPv6" });
const port = (key, label) => number(key, label, { hint: "1 to 65535" });
const pid = (key, label) => number(key, label, { hint: "0 to 8191" });
const milliseconds = (key, label) => number(key, label, { unit: "ms", hint: "0 to 60000" });
const volume = (key, label) => number(key, label, { unit: "units", low: -100, hint: "−100 to 100" });
const line = (key, label) => number(key, label, { hint: "0 to 1125" });
const prefix = (key, label) => number(key, label, { unit: "bits", hint: "0 to 128" });
const hour = (key, label) => number(key, label, { hint: "0 to 23" });

export const protocols = ["UDP", "RTP", "Zixi", "SRT", "RTMP", "ASI"];
export const inputs = ["Ethernet 1", "Ethernet 2", "ASI"];
const assignment = ["Fixed", "Automatic"];

export const stream = [
  { legend: "Stream", fields: [
    text("name", "Name", 254),
    choice("protocol", "Protocol", protocols),
    choice("channelInput", "Input", inputs),
    address("ipAddress", "Address"),
    port("port", "Port"),
    milliseconds("latency", "Latency"),
    flag("isUll", "Ultra-low latency"),
    flag("isSap", "Announced by SAP"),
  ] },
  { legend: "Programme", fields: [
    pid("programPid", "Programme PID"), pid("videoPid", "Video PID"),
    pid("audio1Pid", "Audio 1 PID"), pid("audio2Pid", "Audio 2 PID"),
  ] },
  { legend: "Forward error correction", fields: [
    port("fecPort1", "FEC port 1"), port("fecPort2", "FEC port 2"),
  ] },
  { legend: "Channel and access", fields: [
    text("channelName", "Channel name", 254),
    text("channelUserName", "User name", 254, { autocomplete: "off" }),
    text("channelPassword", "Password", 254, { secret: true }),
    code("aesEncryption", "AES encryption"),
    text("aesKey", "AES key", 254, { secret: true }),
    text("rtmpServerUrl", "RTMP server", 254, { hint: "URL" }),
    flag("zixiUseBroadcaster", "Through a Zixi broadcaster"),
  ] },
  { legend: "Forwarding", fields: [
    flag("isStreamForwarding", "Forward this stream"),
    address("forwardingTargetAddress", "Target address"),
    port("forwardingTargetPort", "Target port"),
    code("forwardingMulticastInterface", "Multicast interface"),
    number("forwardingUdpPacketSize", "UDP packet size", { unit: "bytes", hint: "188 to 9000" }),
    number("forwardingTtl", "Time to live", { hint: "0 to 255" }),
  ] },
];

export const video = [
  { legend: "Primary output", fields: [
    code("outputResolution", "Resolution"), code("displayFormat", "Display format"),
    code("aspectRatio", "Aspect ratio"), code("hdmiMode", "HDMI mode"),
    flag("isPrimarySdi1", "On SDI 1"), flag("isPrimarySdi2", "On SDI 2"), flag("isHdmi", "On HDMI"),
  ] },
  { legend: "Secondary output", fields: [
    code("outputResolution2", "Resolution"), code("displayFormat2", "Display format"),
    code("aspectRatio2", "Aspect ratio"),
    flag("isSecondarySdi2", "On SDI 2"), flag("isComposite", "On composite"),
  ] },
];

const cells = (key) => [0, 1, 2, 3].map((i) => `${key}[${i}]`);

export const audio = [
  { legend: "Routing", fields: [{
    kind: "grid", key: "sdiHdmiOutput", label: "The channels that each output carries",
    columns: ["1", "2", "3", "4"],
    rows: [
      ...[0, 1, 2, 3].map((i) => [`SDI/HDMI ${i + 1}`, cells(`sdiHdmiOutput[${i}]`)]),
      ["AES 1", cells("aesOutput1")], ["AES 2", cells("aesOutput2")], ["Analog", cells("analogOutput")],
    ],
  }] },
  { legend: "Levels", fields: [
    code("digitalOutput", "Digital output"), code("balancedMode", "Balanced mode"),
    volume("volumeBalanced", "Volume, balanced"), volume("volumeUnbalanced", "Volume, unbalanced"),
  ] },
];

export const decoding = [{ fields: [
  choice("clockSource", "Clock source", ["Internal", "Genlock"]),
  code("bufferMode", "Buffer mode"),
  milliseconds("decoderBuffer", "Decoder buffer"),
  milliseconds("endToEndLatency", "End-to-end latency"),
  code("decoderStopImage", "Image when stopped"),
  flag("isEnhancedErrorConcealment", "Enhanced error concealment"),
  flag("isStreamLossBanner", "Banner when the stream is lost"),
] }];

export const vbianc = [
  { fields: [
    code("closedCaptioning", "Closed captioning"), code("timecode", "Time code"), code("afd", "AFD"),
    number("afdValue", "AFD value", { hint: "0 to 15" }),
  ] },
  { legend: "Line insertion", fields: [
    flag("lineInsertionAuto", "Choose the lines automatically"),
    line("lineInsertionVitc", "VITC"), line("lineInsertionCea708608", "CEA-708/608"),
    line("lineInsertionAfd", "AFD"),
  ] },
];

export const talkback = [
  { fields: [code("talkbackOption", "Talkback"), port("serverPort", "Server port")] },
  { legend: "Microphone", fields: [
    volume("talkbackMicrophoneLevel", "Level"), volume("talkbackMicrophoneGain", "Gain"),
    code("talkbackMicrophoneType", "Type"), flag("isTalkbackMicrophoneMute", "Muted"),
  ] },
  { legend: "Speaker", fields: [
    volume("talkbackSpeakerGain", "Gain"), flag("isTalkbackSpeakerMute", "Muted"),
  ] },
];

// Of one interface; the index goes behind every key.
export const networkInterface = (index, name) => [{
  legend: name,
  fields: [
    choice("type", "Use", ["Management", "Streams"]),
    choice("ip4Type", "IPv4", assignment),
    text("ipAddress", "IPv4 address", 45), text("networkMask", "IPv4 mask", 15),
    text("defaultGateway", "IPv4 gateway", 45),
    choice("ip6Type", "IPv6", assignment),
    text("ip6AutoAddress", "IPv6 address, automatic", 45),
    prefix("ip6AutoPrefix", "Prefix, automatic"),
    text("ip6ManualAddress", "IPv6 address, fixed", 45),
    prefix("ip6ManualPrefix", "Prefix, fixed"),
    text("hardwareAddress", "Hardware address", 254),
    flag("isManagementAccess", "Management access"),
    flag("isPrimaryDefaultGateway", "Primary default gateway"),
  ].map((field) => ({ ...field, key: `${field.key}[${index}]` })),
}];

export const sap = [{ fields: [
  flag("useDefaultAddressPort", "Default address and port"),
  choice("interface", "Interface", inputs.slice(0, 2)),
  address("ipAddress", "Address"), port("port", "Port"),
] }];

export const services = [{ fields: [flag("discovery", "Discovery on the network")] }];

const password = (key, label, more = {}) => text(key, label, 254, { secret: true, blank: true, ...more });

// The device's answer has room for a notice of so many bytes, whatever else
// there is in it.
export const longestNotice = 3968;

// A password starts empty and stays as it is when nothing is typed. The
// certificate's name is asked for when it could not be read.
export const security = [
  { fields: [text("hostname", "Host name", 254)] },
  { legend: "Password", fields: [
    password("currentPassword", "Current password", { autocomplete: "current-password" }),
    password("newPassword", "New password"),
    password("newPasswordAgain", "New password, once more", { repeats: "newPassword" }),
  ] },
  { legend: "Notice", fields: [
    flag("isBannerEnabled", "Show a notice"),
    text("bannerText", "Text", longestNotice, {
      lines: 4, counted: true,
      hint: "A longer text could not be read back. < and > take 4 bytes each, \" and \\ take 2, letters with accents and other scripts 2 or more.",
    }),
  ] },
  { legend: "Certificate", fields: [
    text("certificateName", "Name of the certificate", 254, { hint: "The device sends it behind the notice, so it may be missing here. It is saved as it stands." }),
  ] },
];

// The clock runs on while the form is open: date and time start empty, which
// leaves the clock alone.
export const datetime = [
  { legend: "Clock", fields: [
    flag("useNtp", "Set by NTP"),
    text("ntpServerAddress", "NTP server", 45),
    number("ntpSyncPeriod", "NTP period", { unit: "units", hint: "1 to 604800" }),
    text("date", "New date", 254, { blank: true, hint: "2025-12-31; empty: as it is" }),
    text("time", "New time", 254, { blank: true, hint: "23:59:59; empty: as it is" }),
    text("timeZone", "Time zone", 254),
  ] },
  { legend: "Daylight saving", fields: [
    flag("isDaylightSavingEnabled", "Daylight saving time"),
    text("daylightSavingStartDate", "Start date", 254), hour("daylightSavingStartHour", "Start hour"),
    text("daylightSavingStopDate", "End date", 254), hour("daylightSavingStopHour", "End hour"),
  ] },
];

export const configuration = [{ fields: [
  text("name", "Name", 254),
  text("description", "Description", 254),
  text("created", "Created", 254, { hint: "Empty: now" }),
  flag("isAutoStart", "Loaded at start"),
] }];
