/* Between the packaged server's structures and those of 1.4.51. Many of them
 * have the same names, so no file sees both: current.c knows the packaged
 * server, bridge.cpp and line.cpp the module, and what passes between them are
 * plain types and the numbers of 1.4.51. */
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* STOCK_HANDLER_GO_ON and so on: the constants of 1.4.51. */
#define LAYOUT_OFFSET(type, field, lp64, ilp32)
#define LAYOUT_SIZE(type, lp64, ilp32)
#define LAYOUT_VALUE(name, value) STOCK_##name = (value),
enum stock_value {
#include "server/layout.def"
};

/* Not always with a NUL behind it. */
struct stock_text {
    const char *data;
    size_t length;
};

struct stock_answer {
    int result;
    int status;             /* 0: not set */
    int finished;           /* the response body is whole */
    int taken;              /* the module answers; no error page in its place */
    struct stock_text path; /* as the module left it, until module_request_free */
};

/* Since the start. */
struct module_statistics {
    unsigned commands_sent, commands_failed, commands_timed_out;
    unsigned requests_waiting; /* now */
    unsigned longest_wait_ms;  /* of a request */
};

/* The module's state; null when the daemon is not there or memory is short.
 * One in a process. */
void *module_init(void);
void module_cleanup(void *state);
int module_set_defaults(void *state);
int module_handle_trigger(void *state);
struct module_statistics module_get_statistics(void);

/* A request on its way through the module: made, given its headers and its
 * body, handled, asked for its answer. The server's own, `request`, is handed to
 * the functions at the end. Null when memory is short. */
struct module_request *module_request_new(void *request, int method, struct stock_text path);

/* At any time. A command that is under way runs to its end, without `request`. */
void module_request_free(struct module_request *m);

/* Whether the module reads the body before it does anything else. */
int module_needs_body(const struct module_request *m);

/* Whether the module answers the path, and not the server. */
int module_answers_path(const struct module_request *m);

void module_add_request_header(struct module_request *m, struct stock_text name,
                               struct stock_text value);
void module_add_response_header(struct module_request *m, struct stock_text name,
                                struct stock_text value);

/* The length of the body, -1 while it is unknown, and then, once it is complete,
 * its pieces. Bytes in memory have a NUL behind them and stay until
 * module_request_free; the first `offset` are not of the body. A file has an
 * open descriptor, which the module's side closes, or -1. */
void module_set_body_length(struct module_request *m, int64_t length);
void module_append_memory(struct module_request *m, struct stock_text bytes, size_t offset);
void module_append_file(struct module_request *m, struct stock_text name, int64_t length, int fd);

/* Runs the hook, or puts the request in line for the daemon. True when there is
 * an answer; else server_wake tells when there is one. */
int module_handle(struct module_request *m);
int module_is_answered(const struct module_request *m);

/* Whether it still waits for its turn. */
int module_is_in_line(const struct module_request *m);

/* The answer; headers and body are handed to the functions below. */
struct stock_answer module_answer(struct module_request *m);

/* What server_watch was asked to watch has happened. */
void module_go_on(void);

/* What the packaged server does for the module. */
void server_set_header(void *request, struct stock_text name, struct stock_text value);
void server_append_body(void *request, struct stock_text bytes);

/* `request` is null when it has gone. */
void server_write_log(void *request, const char *label, unsigned line, const char *text);

/* The request's answer is there. */
void server_wake(void *request);

/* Calls module_go_on when `fd` is readable (-1: no descriptor) or when the time
 * is up, but not before the server has looked after everybody else. One watch
 * at a time. False when that can't be done. */
int server_watch(int fd, int64_t microseconds);
void server_unwatch(void);

#ifdef __cplusplus
}
#endif
