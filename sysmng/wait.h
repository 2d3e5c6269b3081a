/* Where the module holds up the thread: a server that can do something else
 * meanwhile puts functions of its own here. */
#pragma once

#include <sys/time.h>

/* Waits until `fd` is readable, and returns 1; 0 when the time in `*left` has
 * passed first, -1 when it cannot be waited for. A signal does not end the
 * wait. What is left of the time stays in `*left`. */
using WaitReadable = int(int fd, timeval *left);

/* By select, which blocks the thread. */
WaitReadable select_readable;

/* What the link uses; select_readable by default. */
extern WaitReadable *wait_readable;

/* Called between two pieces of long work. False when nobody wants it any more. */
using GiveWay = bool();

/* Always true by default. */
extern GiveWay *give_way;
