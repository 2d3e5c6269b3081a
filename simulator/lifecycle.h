/* The device as a whole: when it is new, restarted or reset, and as time passes. */
#pragma once

#include "simulator/answer.h"

/* An appliance as it leaves the factory, started now, with some examples in
 * its lists and the channel running. */
Device factory_device(const DeviceOptions &options);

/* Brings up to date what changes by itself, and what follows from the last
 * command. To be called before and after each. */
void settle(Device &device);

Answer restart;

/* Back to the factory's settings. The installed software, the counters of
 * changes and the values that a scenario shows stay. */
Answer reset_to_factory;
