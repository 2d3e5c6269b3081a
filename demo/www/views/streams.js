// Streams, of which one is selected as the channel.

import { device } from "../device.js";
import { endpoint } from "../dom.js";
import { inputs, protocols, stream } from "../fields.js";
import { attempt } from "../news.js";
import { refresh, value } from "../poll.js";
import { listView } from "./list.js";

const isSelected = (item) => item.id === value("channel")?.id;
const state = (item) => (item.status > 0 ? "Received" : isSelected(item) ? "Selected" : "");

export const streams = listView({
  resource: "streams",
  path: "stream",
  what: "stream",
  address: "streams",
  uses: ["streams", "channel"],
  empty: "There are no streams yet.",
  columns: [
    ["Name", (item) => item.name || `Stream ${item.id}`],
    ["Protocol", (item) => protocols[item.protocol] ?? `Code ${item.protocol}`],
    ["Input", (item) => inputs[item.channelInput] ?? `Code ${item.channelInput}`],
    ["Address", endpoint],
    ["State", state],
  ],
  action: {
    text: "Select",
    isDone: isSelected,
    run: (item) => attempt(async () => {
      await device.put(`stream/select/${item.id}`);
      await refresh("streams", "channel");
    }, "The stream is selected."),
  },
  groups: stream,
  fresh: { latency: 120, forwardingUdpPacketSize: 1316, forwardingTtl: 64 },
});
