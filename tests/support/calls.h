/* The module's allocations and system calls, wrapped at link time: they can be
 * made to fail, its connection leads to a daemon in this process, and nothing
 * waits. */
#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <string>

/* While it lives, the calls of one name fail, as the C library spells it: the
 * nth (from 1), and with `from_then_on` every later one. nth 0 fails none, and
 * counts. */
class FailingCall {
public:
    FailingCall(const std::string &name, int nth, bool from_then_on = false);
    ~FailingCall();
    FailingCall(const FailingCall &) = delete;
    FailingCall &operator=(const FailingCall &) = delete;

    int calls() const; /* of this kind since it began */
};

/* The daemon. The module connects to it where the daemon's socket would be. */
struct Daemon {
    bool listens = true;
    std::function<void(const std::string &bytes)> on_message; /* while the module sends it */
    std::string in_pauses; /* sent when the module pauses: half of it, rounded up, each time */

    void sends(const std::string &bytes) const;
    void closes();

    int fd = -1; /* its end of the connection */
};
extern Daemon the_daemon;

/* The descriptors that are open, a bit for each of the first. */
uint64_t open_descriptors();

extern time_t fixed_time;        /* what time() tells; 0: the truth */
extern timeval longest_wait;     /* that a select was called with */
extern long paused_us;           /* in selects that wait for nothing but time */
extern std::string debug_output; /* what was written to standard error */

/* Behind a reply in its msg_buf nothing can be read; null: no such guard. */
struct plugin_data;
extern const plugin_data *guarded;
