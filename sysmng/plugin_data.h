/* The module's state: one per process, made by the init hook, shared by every
 * request. Requests run one at a time, from their start to their end. */
#pragma once

#include <cstddef>
#include <cstdint>

#include "server/lighttpd.h"
#include "sysmng/client.h"

constexpr uint32_t MSG_BUF_SIZE = 16384;  /* at start; grown to fit a larger reply */
constexpr uint32_t REPLY_BUF_SIZE = 5120; /* at start and of every step by which lists grow it */

struct plugin_data {
    size_t id;          /* the plugin's index, written by the server */
    SysMngHandle *conn; /* to the daemon; opened once, never reopened */
    uint8_t *msg_buf;   /* the request record going out, the reply payload coming in */
    uint32_t msg_buf_size;
    uint32_t msg_len; /* bytes of the request record that the next command sends */
    char *reply_buf;  /* the answer's text */
    uint32_t reply_buf_size;
    uint32_t reply_len;      /* 0: the answer has no body */
    buffer *tmp_buf;         /* scratch of the body decoder */
    array *params;           /* the form parameters of the request */
    uint32_t reply_received; /* payload bytes of the reply in msg_buf; 0: none that may be read */
};
