#include "adapter/line.h"

#include <algorithm>
#include <ctime>

#include "adapter/bridge.h"
#include "adapter/coroutine.h"
#include "module/dispatcher.h"
#include "module/version_path.h"
#include "server/hosting/hosting.h"
#include "sysmng/wait.h"

namespace {

constexpr int64_t second_us = 1000000;

/* A daemon that is well answers within this time, and is waited for on the spot,
 * which takes fewer system calls than coming back. One that did not for the
 * request before is not. For a shorter time the kernel would set the processor's
 * timer; this one lies behind the next tick of most. */
constexpr int64_t quick_us = 5000;

/* The module needs some 10 KiB of it, most for a descriptor set. */
constexpr size_t stack_bytes = 256 * 1024;

struct {
    Hook *hook;
    void *state; /* the module's */
    Coroutine *coroutine;
    module_request *running;
    module_request *first, *last;
    unsigned length;
    bool knew_version;   /* so that everybody in line needs the daemon */
    bool inside;         /* the thread is on the coroutine's stack */
    int64_t waited_us;   /* the running one, for the daemon */
    bool daemon_is_slow; /* as the one before saw it */
    bool may_be_ended;   /* the running one has sent no command yet */
    bool closing;
    int64_t longest_wait_us;
} line;

int64_t now_us()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * second_us + now.tv_nsec / 1000;
}

int64_t microseconds(timeval time)
{
    return time.tv_sec * second_us + time.tv_usec;
}

timeval time_left(int64_t us)
{
    if (us < 0) return {0, 0};
    return {static_cast<time_t>(us / second_us), static_cast<suseconds_t>(us % second_us)};
}

/* Hands the thread back to the server until the line goes on. */
void stop()
{
    if (line.running->waiting_since_us == 0) line.running->waiting_since_us = now_us();
    line.inside = false;
    coroutine_stop(line.coroutine);
    line.inside = true;
}

int readable_now(int fd)
{
    timeval none = {0, 0};
    return select_readable(fd, &none);
}

int wait_on_the_spot(int fd, timeval *left)
{
    const int64_t all_us = microseconds(*left);
    const int64_t most_us = std::min(all_us, quick_us - line.waited_us);
    timeval quick = time_left(most_us);
    const int ready = select_readable(fd, &quick);
    const int64_t waited_us = most_us - microseconds(quick);
    line.waited_us += waited_us;
    *left = time_left(all_us - waited_us);
    return ready;
}

/* Blocks where the server can watch nothing. */
int wait_beside_others(int fd, timeval *left)
{
    const int64_t until_us = now_us() + microseconds(*left);
    for (;;) {
        const int64_t left_us = until_us - now_us();
        *left = time_left(left_us);
        if (left_us <= 0 || !server_watch(fd, left_us)) return select_readable(fd, left);
        stop();
        if (line.closing) return -1;
        if (const int ready = readable_now(fd)) return ready;
    }
}

/* As select_readable, for the request that is running. */
int wait_in_line(int fd, timeval *left)
{
    if (!line.inside) return select_readable(fd, left);
    if (line.closing) return -1;
    if (!line.daemon_is_slow && line.waited_us < quick_us) {
        const int ready = wait_on_the_spot(fd, left);
        if (ready != 0) return ready;
    }
    const int64_t begin_us = now_us();
    const int ready = wait_beside_others(fd, left);
    line.waited_us += now_us() - begin_us;
    return ready;
}

bool give_way_in_line()
{
    if (!line.inside) return true;
    if (!line.closing && server_watch(-1, 0)) {
        line.may_be_ended = true;
        stop();
        line.may_be_ended = false;
    }
    return line.running->request && !line.closing;
}

/* The module hands its server through unread to the functions that it calls. */
void run_hook(void *request)
{
    module_request *m = static_cast<module_request *>(request);
    m->result = line.hook(reinterpret_cast<server *>(m), m->con, line.state);
}

module_request *take_first()
{
    module_request *m = line.first;
    line.first = m->next;
    if (!line.first) line.last = nullptr;
    --line.length;
    return m;
}

void append(module_request *m)
{
    m->stage = module_request::IN_LINE;
    m->next = nullptr;
    (line.last ? line.last->next : line.first) = m;
    line.last = m;
    ++line.length;
    m->waiting_since_us = now_us();
}

void remove(module_request *m)
{
    module_request *before = nullptr;
    module_request **place = &line.first;
    while (*place != m) {
        before = *place;
        place = &before->next;
    }
    *place = m->next;
    if (line.last == m) line.last = before;
    --line.length;
}

void note_wait(const module_request *m)
{
    if (m->waiting_since_us == 0) return;
    const int64_t waited_us = now_us() - m->waiting_since_us;
    if (waited_us > line.longest_wait_us) line.longest_wait_us = waited_us;
}

/* Tells a request that has waited. */
void answered(module_request *m)
{
    m->stage = module_request::ANSWERED;
    note_wait(m);
    if (m->request) {
        server_wake(m->request);
    } else {
        module_request_free(m);
    }
}

/* Those in line that need no daemon any more, as it has told the version. */
void answer_without_daemon()
{
    module_request *next;
    for (module_request *m = line.first; m; m = next) {
        next = m->next;
        if (needs_of(m->con) != Needs::Nothing) continue;
        remove(m);
        run_hook(m);
        answered(m);
    }
}

/* Runs or goes on with the one whose turn it is. True when it has ended. */
bool advance(bool begin)
{
    line.inside = true;
    const bool ended = begin ? coroutine_begin(line.coroutine, run_hook, line.running)
                             : coroutine_resume(line.coroutine);
    line.inside = false;
    if (ended) line.running = nullptr;
    if (!line.knew_version && version_known()) {
        line.knew_version = true;
        answer_without_daemon();
    }
    return ended;
}

bool begin(module_request *m)
{
    m->stage = module_request::RUNNING;
    line.running = m;
    if (line.waited_us > 0) line.daemon_is_slow = line.waited_us >= quick_us;
    line.waited_us = 0;
    return advance(true);
}

void begin_first()
{
    if (!line.first) return;
    module_request *m = take_first();
    if (begin(m)) answered(m);
}

/* The next one is begun when the server has had its turn. */
void go_on_with_line()
{
    while (!line.running && line.first && !server_watch(-1, 0)) begin_first();
}

} // namespace

bool line_open(Hook *hook, void *state)
{
    line = {};
    line.hook = hook;
    line.state = state;
    line.coroutine = coroutine_new(stack_bytes);
    wait_readable = wait_in_line;
    give_way = give_way_in_line;
    return line.coroutine;
}

void line_close()
{
    line.closing = true;
    if (module_request *m = line.running) {
        m->request = nullptr;
        if (advance(false)) answered(m);
    }
    while (line.first) {
        module_request *m = take_first();
        m->request = nullptr;
        answered(m);
    }
    coroutine_free(line.coroutine);
    line.coroutine = nullptr;
    wait_readable = select_readable;
}

bool line_enter(module_request *m)
{
    if (needs_of(m->con) == Needs::Nothing) {
        run_hook(m);
    } else if (line.running || line.first) {
        append(m);
        return false;
    } else if (!begin(m)) {
        return false;
    }
    m->stage = module_request::ANSWERED;
    return true;
}

void line_go_on()
{
    server_unwatch();
    if (module_request *m = line.running) {
        if (!advance(false)) return;
        answered(m);
    } else {
        begin_first();
    }
    go_on_with_line();
}

bool line_leave(module_request *m)
{
    m->request = nullptr;
    if (m->stage == module_request::IN_LINE) {
        note_wait(m);
        remove(m);
    }
    if (m->stage != module_request::RUNNING) return true;
    if (line.may_be_ended) {
        line_go_on();
    } else {
        hosted_clear_body(m->con);
    }
    return false;
}

unsigned line_waiting()
{
    return line.length + (line.running ? 1 : 0);
}

int64_t line_longest_wait_us()
{
    if (line.running) note_wait(line.running);
    if (line.first) note_wait(line.first);
    return line.longest_wait_us;
}
