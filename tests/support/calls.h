/* The module's allocations and system calls, wrapped at link time: they can be
 * made to fail, its connection leads to a daemon in this process, and nothing
 * waits. */
#pragma once

#include <cstdint>
#include <ctime>
#include <deque>
#include <functional>
#include <map>
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

/* Bytes that come after a pause, or an interruption by a signal. */
struct Late {
    int64_t pause_us;
    std::string bytes;
    bool is_signal = false;
};

/* The daemon. The module connects to it where the daemon's socket would be. */
struct Daemon {
    bool listens = true;
    std::function<void(const std::string &bytes)> on_message; /* while the module sends it */
    std::deque<Late> later; /* what it sends while the module waits */
    bool floods = false;    /* it sends more whenever the module receives */

    void sends(const std::string &bytes) const;
    void closes();

    int fd = -1; /* its end of the connection */
};
extern Daemon the_daemon;

/* The descriptors that are open, a bit for each of the first. */
uint64_t open_descriptors();

extern time_t fixed_time; /* what time() returns; 0: the real time */
extern timeval last_wait; /* that a select was called with */
extern int64_t clock_us;  /* the monotonic clock: it moves while the module waits */
extern std::map<std::string, int> calls_made; /* of the link's system calls */
extern std::string debug_output;              /* what was written to standard error */
extern short debug_events;                    /* that poll reports for standard error */
extern int interrupted_writes;                /* so many writes end with EINTR first */
extern size_t longest_write;                  /* what a write takes at the most */
extern size_t room_on_disk;                   /* for all writes together */

/* Makes the bytes after a reply in its msg_buf unreadable; null: does not. */
struct plugin_data;
extern const plugin_data *guarded;
