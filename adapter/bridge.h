/* Between the packaged server's structures and those of 1.4.51. Many of them
 * have the same names, so no file sees both: current.c knows the packaged
 * server, bridge.cpp the module, and what passes between them are plain types
 * and the numbers of 1.4.51.
 *
 * One request at a time: module_begin, what there is of its headers and its
 * body, module_handle, module_end. */
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
    struct stock_text path; /* as the module left it, until module_end */
};

/* The module's state; null when the daemon is not there or memory is short. */
void *module_init(void);
void module_cleanup(void *state);
int module_set_defaults(void *state);
int module_handle_trigger(void *state);
int module_request_reset(void *state);

void module_begin(int method, struct stock_text path, int taken);
void module_add_request_header(struct stock_text name, struct stock_text value);
void module_add_response_header(struct stock_text name, struct stock_text value);

/* The body anew: its length, -1 while that is unknown, and then, once it is
 * complete, its pieces. Bytes in memory have a NUL behind them and stay until
 * module_end; the first `offset` are not of the body. A file has an open
 * descriptor, which the module's side closes, or -1. */
void module_begin_body(int64_t length);
void module_append_memory(struct stock_text bytes, size_t offset);
void module_append_file(struct stock_text name, int64_t length, int fd);

/* Runs the hook; `request` is handed to the functions below. */
struct stock_answer module_handle(void *state, void *request);
void module_end(void);

/* What the packaged server does for the module during module_handle. */
int server_read_body(void *request);
void server_set_header(void *request, struct stock_text name, struct stock_text value);
void server_append_body(void *request, struct stock_text bytes);
void server_log(void *request, const char *label, unsigned line, const char *text);

#ifdef __cplusplus
}
#endif
