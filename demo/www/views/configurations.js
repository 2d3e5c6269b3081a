// Saved configurations.

import { device } from "../device.js";
import { ask } from "../dialog.js";
import { configuration } from "../fields.js";
import { attempt } from "../news.js";
import { refresh } from "../poll.js";
import { listView } from "./list.js";

async function activate({ id, name }) {
  const sure = await ask({
    title: "Activate this configuration?",
    text: [
      `The settings of ${name || `configuration ${id}`} replace the present ones, and what is being decoded may change.`,
      "Network addresses may be among them: then the device is found at those afterwards.",
    ],
    action: "Activate",
  });
  if (!sure) return;
  await attempt(async () => {
    await device.put(`configuration/activate/${id}`);
    await refresh("configurations");
  }, "The configuration is activated.");
}

export const configurations = listView({
  resource: "configurations",
  path: "configuration",
  what: "configuration",
  address: "configurations",
  uses: ["configurations"],
  empty: "There are no saved configurations yet.",
  columns: [
    ["Name", (item) => item.name || `Configuration ${item.id}`],
    ["Description", (item) => item.description],
    ["Created", (item) => item.created],
    ["At start", (item) => (item.isAutoStart ? "Loaded" : "")],
  ],
  action: { text: "Activate", isDone: () => false, run: activate },
  groups: configuration,
  fresh: {},
});
