/* Files that the device installs: firmware packages and certificates. */
#pragma once

#include "simulator/answer.h"

Answer start_upgrade, install_certificate, use_default_certificate, read_upgrade;

/* Ends an upgrade whose time is up: the new software is in place, or the upgrade
 * has failed. */
void finish_upgrade(Device &device);

/* A file is refused with a result record, and not with a list of complaints. */
Reply refuse_file(const std::string &reason);
