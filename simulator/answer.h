/* How a command is carried out. The request's payload has the length that the
 * table of commands.cpp asks for. */
#pragma once

#include "simulator/device.h"
#include "simulator/protocol.h"

using Answer = Reply(Device &device, const Request &request);
