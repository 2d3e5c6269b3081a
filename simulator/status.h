/* The device's own status. */
#pragma once

#include "simulator/answer.h"

Answer read_uptime, read_changes, read_ports, read_leds, read_freespace;
