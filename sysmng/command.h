/* One command to the management daemon: send, wait, receive, check. */
#pragma once

#include <cstddef>
#include <cstdint>

#include "server/lighttpd.h"
#include "sysmng/plugin_data.h"

#define COMMAND(name) name,
#define RESERVED(code) CMD_RESERVED_##code,
enum : uint32_t {
#include "sysmng/commands.def"
};
static_assert(CMD_MAX_NUM == 63);

/* The name of each code. */
extern "C" EXPORTED const char *const command_names[CMD_MAX_NUM + 1];

/* What every reply payload begins with, for load_u32. */
struct ReplyPreamble {
    uint8_t command[4];  /* the command's code, echoed */
    uint8_t result[4];   /* 1 is success */
    uint8_t data_len[4]; /* of the record that follows */
};
constexpr uint32_t REPLY_PREAMBLE_LEN = 12;
static_assert(sizeof(ReplyPreamble) == REPLY_PREAMBLE_LEN);
static_assert(offsetof(ReplyPreamble, result) == 4 && offsetof(ReplyPreamble, data_len) == 8);

/* Sends the first `msg_len` bytes of `msg_buf` as the command `code` and waits
 * up to 30 seconds for its reply, which lands in `msg_buf`; the buffer may be
 * replaced by a larger one. Every step is logged. Returns
 *   RET_OK        the daemon carried the command out
 *   RET_ERROR     it refused, or the exchange failed
 *   RET_TIMEOUT   no reply in time
 *   RET_INSUFMEM  no room for the reply
 * The record may be read after RET_OK, and after RET_ERROR where
 * reply_record_len says that there is one. */
int kelto_sysmgmt_command(server *srv, plugin_data *p, uint32_t code);

/* Since the start of the process. A command that the daemon refuses counts as
 * failed; one that timed out does not. */
struct CommandCounts {
    uint32_t sent, failed, timed_out;
};
extern CommandCounts command_counts;

/* The reply's record and its length: what the daemon claims, but never more
 * than what arrived. 0 when no reply arrived. */
uint8_t *reply_record(plugin_data *p);
uint32_t reply_record_len(const plugin_data *p);
