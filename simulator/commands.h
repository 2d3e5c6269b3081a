/* Which command is answered by what. */
#pragma once

#include <span>

#include "simulator/device.h"
#include "simulator/protocol.h"

/* Carries the request out. Every code gets a reply, a refusal at the least. */
Reply answer(Device &device, const Request &request);

/* The record that a command's request is made of; null when it has none. */
const Record *request_record(uint32_t code);

/* What else a new setting brings about. Called with the complaints that there
 * are already; it acts only when nothing at all is to be complained of. */
using SettingEffect = void (*)(Device &device, RecordBytes &given, Complaints &complaints);

constexpr uint32_t no_command = 0xFFFFFFFF;

/* A record of which the device has just one. */
struct SettingsRow {
    uint32_t get, set; /* commands; no_command for what can only be read */
    const Record *record;
    const char *defaults;
    const char *counter = nullptr; /* of changes */
    SettingEffect effect = nullptr;
};

std::span<const SettingsRow> settings_table();

/* Records that clients create, read, change and delete by identifier. */
struct ItemsRow {
    uint32_t get, create, change, remove; /* commands */
    const Record *record;
    ItemList Device::*list;
    const char *defaults; /* of what the client leaves out */
    const char *counter;
};
