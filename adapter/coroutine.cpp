#include "adapter/coroutine.h"

#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#include <cstdlib>

#if defined(__SANITIZE_ADDRESS__)
#define KELTO_FIBRES
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KELTO_FIBRES
#endif
#endif
#ifdef KELTO_FIBRES
#include <sanitizer/common_interface_defs.h>
#endif

/* By ucontext, whose switch takes a system call to set the signal mask: 1 % of
 * a small request. In return it is the same on every target, and keeps what a
 * processor protects returns with. */
struct Coroutine {
    ucontext_t inside, outside; /* where each side goes on */
    Work *work;
    void *argument;
    bool under_way; /* between its begin and its end */
    char *mapping;  /* the page that traps, and the stack */
    size_t page_bytes, stack_bytes;
    const void *outer_stack; /* the sanitizer's */
    size_t outer_bytes;
};

namespace {

#ifdef KELTO_FIBRES
/* The sanitizer has to know which stack the thread is on. */
void enter_stack(const void *bottom, size_t bytes, ucontext_t *from, const ucontext_t *to,
                 const void **left, size_t *left_bytes)
{
    void *frames = nullptr;
    __sanitizer_start_switch_fiber(&frames, bottom, bytes);
    swapcontext(from, to);
    __sanitizer_finish_switch_fiber(frames, left, left_bytes);
}

void go_inside(Coroutine *c)
{
    enter_stack(c->mapping + c->page_bytes, c->stack_bytes, &c->outside, &c->inside, nullptr,
                nullptr);
}

void go_outside(Coroutine *c)
{
    enter_stack(c->outer_stack, c->outer_bytes, &c->inside, &c->outside, &c->outer_stack,
                &c->outer_bytes);
}

void arrive_inside(Coroutine *c)
{
    __sanitizer_finish_switch_fiber(nullptr, &c->outer_stack, &c->outer_bytes);
}
#else
void go_inside(Coroutine *c)
{
    swapcontext(&c->outside, &c->inside);
}

void go_outside(Coroutine *c)
{
    swapcontext(&c->inside, &c->outside);
}

void arrive_inside(Coroutine *) {}
#endif

Coroutine *starting;

/* One work after the other, for ever: the stack is used again. */
void run()
{
    Coroutine *c = starting;
    arrive_inside(c);
    for (;;) {
        c->work(c->argument);
        c->under_way = false;
        go_outside(c);
    }
}

bool make_stack(Coroutine *c, size_t stack_bytes)
{
    c->page_bytes = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    c->stack_bytes = stack_bytes;
    void *mapped = mmap(nullptr, c->page_bytes + stack_bytes, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK | MAP_NORESERVE, -1, 0);
    if (mapped == MAP_FAILED) return false;
    c->mapping = static_cast<char *>(mapped);
    return mprotect(c->mapping, c->page_bytes, PROT_NONE) == 0;
}

bool make_context(Coroutine *c)
{
    if (getcontext(&c->inside) != 0) return false;
    c->inside.uc_stack.ss_sp = c->mapping + c->page_bytes;
    c->inside.uc_stack.ss_size = c->stack_bytes;
    makecontext(&c->inside, run, 0);
    return true;
}

} // namespace

Coroutine *coroutine_new(size_t stack_bytes)
{
    Coroutine *c = static_cast<Coroutine *>(calloc(1, sizeof(Coroutine)));
    if (!c) return nullptr;
    if (make_stack(c, stack_bytes) && make_context(c)) return c;
    coroutine_free(c);
    return nullptr;
}

void coroutine_free(Coroutine *c)
{
    if (!c) return;
    if (c->mapping) munmap(c->mapping, c->page_bytes + c->stack_bytes);
    free(c);
}

bool coroutine_begin(Coroutine *c, Work *work, void *argument)
{
    c->work = work;
    c->argument = argument;
    c->under_way = true;
    return coroutine_resume(c);
}

bool coroutine_resume(Coroutine *c)
{
    starting = c;
    go_inside(c);
    return !c->under_way;
}

void coroutine_stop(Coroutine *c)
{
    go_outside(c);
}
