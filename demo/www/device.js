// The device that this page comes from.

import { Device } from "./kelto-client.js";

export const device = new Device();

export const getList = (path) => device.get(path);
export const getOne = async (path) => (await device.get(path))[0] ?? {};
