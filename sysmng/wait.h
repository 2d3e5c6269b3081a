/* The one place where the link waits. */
#pragma once

#include <sys/time.h>

/* Waits until `fd` is readable, and returns 1; 0 when the time in `*left` has
 * passed first, -1 when it cannot be waited for. A signal does not end the
 * wait. What is left of the time stays in `*left`. */
using WaitReadable = int(int fd, timeval *left);

/* By select, which blocks the thread. */
WaitReadable select_readable;

/* What the link uses: select_readable, until a server that can do something
 * else meanwhile puts a function of its own here. */
extern WaitReadable *wait_readable;
