/* The device as a whole: new, restarted, reset, and as time goes by. */
#pragma once

#include "simulator/answer.h"

/* An appliance as it leaves the factory, started now, with some examples in
 * its lists and the channel running. */
Device factory_device(const DeviceOptions &options);

/* Brings up to date what changes by itself, and what follows from the last
 * command. To be called before and after each. */
void settle(Device &device);

Answer restart;

/* Back to the factory's settings; the installed software and the counters of
 * changes stay. */
Answer reset_to_factory;
