/* What the service manager that started the program is told, by the protocol of
 * systemd's $NOTIFY_SOCKET. Without such a manager, nothing happens. */
#pragma once

#include <string>

/* Lines "NAME=value", joined by newlines: READY=1, STATUS=..., STOPPING=1. */
void tell_service_manager(const std::string &lines);
