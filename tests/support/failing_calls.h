/* System calls and allocations of the module that fail on demand. The tests
 * are linked with --wrap for each of them. */
#pragma once

#include <string>

/* While it lives, the calls of one name fail, as the C library spells it; a
 * "timeout" is a select whose time is up. It is the nth (from 1), and with
 * `from_then_on` every later one. nth 0 fails none, and counts. */
class FailingCall {
public:
    FailingCall(const std::string &name, int nth, bool from_then_on = false);
    ~FailingCall();
    FailingCall(const FailingCall &) = delete;
    FailingCall &operator=(const FailingCall &) = delete;

    int calls() const; /* of this kind since it began */
};

/* Called after each send that left; null: nothing is. */
extern void (*after_send)();

/* Whether a select that waits for nothing but time returns at once. */
extern bool skip_pauses;
