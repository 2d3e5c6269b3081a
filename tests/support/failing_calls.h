/* System calls and allocations of the module that fail on demand. The tests
 * are linked with --wrap for each of them. */
#pragma once

#include <string>
#include <vector>

/* The names of the calls that can fail, as the C library spells them. "select"
 * fails; "timeout" is a select whose time is up. */
const std::vector<std::string> &failing_call_names();

/* While it lives, the calls of one kind fail: the nth (from 1), and with
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
