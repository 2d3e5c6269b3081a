/* A stack of its own for work that stops in the middle, so that the thread can
 * do something else meanwhile. One thread. */
#pragma once

#include <cstddef>

struct Coroutine;

/* Null when memory is short. The stack ends at a page that traps. */
Coroutine *coroutine_new(size_t stack_bytes);

/* Null is ignored. Not while its work is stopped. */
void coroutine_free(Coroutine *coroutine);

using Work = void(void *argument);

/* Does the work on the coroutine's stack, from its start or from where it
 * stopped. True when it has ended, false when it has stopped. */
bool coroutine_begin(Coroutine *coroutine, Work *work, void *argument);
bool coroutine_resume(Coroutine *coroutine);

/* Within the work: goes back to where it was begun or resumed, and returns when
 * it is resumed. */
void coroutine_stop(Coroutine *coroutine);
