/* The line in front of the daemon. Commands go out one at a time over the one
 * link, so requests that send some wait for their turn, in the order in which
 * they came. The one whose turn it is runs on a stack of its own: while it waits
 * for the daemon, or copies a long upload, the thread serves everybody else.
 *
 * What the server does for the line is declared in bridge.h. */
#pragma once

#include "server/lighttpd.h"

/* A request on its way through the module. */
struct module_request {
    void *request;   /* the server's; null when it has gone */
    connection *con; /* what the module sees of it, and its answer */
    handler_t result;
    enum { NEW, IN_LINE, RUNNING, ANSWERED } stage;
    int64_t waiting_since_us; /* 0 while it has not had to wait */
    module_request *next;     /* behind it in the line, or among the unused */
};

using Hook = handler_t(server *srv, connection *con, void *state);

/* Readies the line for the module's hook. False when memory is short. */
bool line_open(Hook *hook, void *state);

/* Ends what is under way: its waits fail at once. */
void line_close();

/* Runs the hook for a new request, or lines it up. True when it is answered. */
bool line_enter(module_request *m);

/* To be called when what the server watches has happened: goes on with the
 * request that is running, or begins with the next. */
void line_go_on();

/* The server's request has gone, or its answer has been taken. A command that is
 * under way runs to its end. False when `m` stays the line's until then. */
bool line_leave(module_request *m);

unsigned line_waiting();

/* Of those that have waited so far, and those that are waiting. */
int64_t line_longest_wait_us();
