/* Which command is answered by what. */
#pragma once

#include "simulator/device.h"
#include "simulator/protocol.h"

/* Carries the request out. Every code gets a reply, a refusal at the least. */
Reply answer(Device &device, Request request);

/* The record that a command's request is made of; null when it has none. */
const Record *request_record(uint32_t code);
