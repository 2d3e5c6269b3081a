/* The module's allocations and system calls, wrapped at link time: they can be
 * made to fail, its connection leads to a daemon in this process, and nothing
 * waits. */
#pragma once

#include <poll.h>

#include <cstdint>
#include <ctime>
#include <deque>
#include <functional>
#include <string>

/* While it lives, the calls of one name fail, as the C library spells it: the
 * nth (from 1), and with `from_then_on` every later one. nth 0 fails none, and
 * counts. */
struct FailingCall {
    FailingCall(const char *call, int n, bool on = false) : name(call), nth(n), from_then_on(on)
    {
        current = this;
        calls = 0;
    }
    ~FailingCall() { current = nullptr; }
    FailingCall(FailingCall &&) = delete;

    const char *const name;
    const int nth;
    const bool from_then_on;
    static inline const FailingCall *current;
    static inline int calls; /* of this kind since it began */
};

/* Bytes that come after a pause; none: an interruption by a signal. */
struct Late {
    int64_t pause_us;
    std::string bytes;
};

/* The daemon. The module connects to it where the daemon's socket would be. */
struct Daemon {
    std::function<void(const std::string &bytes)> on_message; /* while the module sends it */
    std::deque<Late> later; /* what it sends while the module waits */
    bool floods = false;    /* it sends more whenever the module receives */

    void sends(const std::string &bytes) const;
    void closes();

    int fd = -1; /* its end of the connection */
};
inline Daemon the_daemon;

/* The descriptors that are open, a bit for each of the first. */
uint32_t open_descriptors();

inline time_t fixed_time;               /* what time() returns */
inline int64_t clock_us;                /* the monotonic clock: it moves while the module waits */
inline std::string debug_output;        /* what was written to standard error */
inline short debug_events = POLLOUT;    /* that poll reports for standard error */
inline int interrupted_writes;          /* so many writes end with EINTR first */
inline size_t longest_write = SIZE_MAX; /* what a write takes at the most */
inline size_t room_on_disk = SIZE_MAX;  /* for all writes together */

/* Makes the bytes after a reply in its msg_buf unreadable; null: does not. */
struct plugin_data;
inline const plugin_data *guarded;
