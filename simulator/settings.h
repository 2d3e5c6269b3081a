/* Settings: records of which the device has just one. */
#pragma once

#include "simulator/answer.h"

/* The request's record is the setting's. */
Answer read_setting, write_setting;

Answer read_decoder, read_notice; /* made of several settings, or of a part of one */

/* All settings as they leave the factory. */
void reset_settings(Device &device);
