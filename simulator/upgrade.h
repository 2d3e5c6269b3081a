/* Files that the device installs: firmware packages and certificates. */
#pragma once

#include "simulator/answer.h"

Answer start_upgrade, install_certificate, use_default_certificate, read_upgrade;

/* Puts the new software in place when an upgrade has taken its time. */
void finish_upgrade(Device &device);

/* A file is refused with a result record, and not with a list of complaints. */
Reply refuse_file(const std::string &reason);
