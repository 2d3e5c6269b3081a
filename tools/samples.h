/* Examples of form values: what the simulated device has in its settings and
 * lists when it leaves the factory. */
#pragma once

#include <map>
#include <string>

#include "reply/record.h"

/* Form parameters and their values, of the first record of the kind; empty
 * when the device has none. */
std::map<std::string, std::string> sample_values(const Record &record);
