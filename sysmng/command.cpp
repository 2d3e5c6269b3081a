#include "sysmng/command.h"

#include <cstdlib>

#include "sysmng/bytes.h"

#define COMMAND(name) #name,
#define RESERVED(code) "reserved",
const char *const command_names[CMD_MAX_NUM + 1] = {
#include "sysmng/commands.def"
};

namespace {

constexpr uint32_t no_tag = 0xFFFFFFFF;
constexpr timeval reply_wait = {SYSMNG_EXCHANGE_SECONDS, 0};

/* No list of records comes near this size: a longer reply is a broken daemon's,
 * and no memory is reserved for it. */
constexpr uint32_t largest_reply = 16 * 1024 * 1024;

constexpr uint32_t result_success = 1;

constexpr const char *label = "kelto_sysmgmt_command";

const ReplyPreamble *preamble_of(const plugin_data *p)
{
    return reinterpret_cast<const ReplyPreamble *>(p->msg_buf);
}

/* Makes room for a reply payload of `needed` bytes. */
bool grow_msg_buf(server *srv, plugin_data *p, uint32_t needed)
{
    log_error_write(srv, label, __LINE__, "sdsd",
                    "SysMngReceiveMsg Returned RET_INSUFMEM, allocated",
                    static_cast<int>(p->msg_buf_size), "need ", static_cast<int>(needed));
    void *grown = needed <= largest_reply ? realloc(p->msg_buf, needed) : nullptr;
    if (!grown) {
        log_error_write(srv, label, __LINE__, "s", "realloc failed");
        return false;
    }
    log_error_write(srv, label, __LINE__, "sds", "realloc success:", static_cast<int>(needed),
                    "bytes allocated");
    p->msg_buf = static_cast<uint8_t *>(grown);
    p->msg_buf_size = needed;
    return true;
}

/* Receives the reply that is there into msg_buf. */
int receive_reply(server *srv, plugin_data *p, uint32_t *type, uint32_t *payload_len)
{
    *payload_len = p->msg_buf_size;
    int ret = SysMngReceiveMsg(p->conn, nullptr, type, p->msg_buf, payload_len);
    if (ret == RET_INSUFMEM) {
        if (!grow_msg_buf(srv, p, *payload_len)) {
            SysMngClearQueue(p->conn);
            return RET_INSUFMEM;
        }
        ret = SysMngReceiveMsg(p->conn, nullptr, type, p->msg_buf, payload_len);
        if (ret != RET_OK) {
            log_error_write(srv, label, __LINE__, "sd", "SysMngReceiveMsg Returned after realloc",
                            ret);
        }
        return ret;
    }
    if (ret != RET_OK) {
        log_error_write(srv, label, __LINE__, "sd", "SysMngReceiveMsg Returned ", ret);
        return ret;
    }
    log_error_write(srv, label, __LINE__, "s", "Success and break");
    return RET_OK;
}

/* Whether msg_buf holds the successful answer to `code`. */
bool check_reply(server *srv, plugin_data *p, uint32_t code, uint32_t type, uint32_t payload_len)
{
    if (type != CMD_ACKNOWLEDGE || payload_len < REPLY_PREAMBLE_LEN) {
        log_error_write(srv, label, __LINE__, "sd",
                        "SysMngReceiveMsg Returned invalid type or size", 0);
        return false;
    }
    p->reply_received = payload_len;
    const ReplyPreamble *preamble = preamble_of(p);
    const uint32_t command = load_u32(preamble->command);
    const uint32_t result = load_u32(preamble->result);
    if (command != code || result != result_success) {
        log_error_write(srv, label, __LINE__, "sdsdsd", "SysMngReceiveMsg Returned invalid type ",
                        static_cast<int>(command), "(expected", static_cast<int>(code),
                        ") or result", static_cast<int>(result));
        return false;
    }
    return true;
}

int exchange(server *srv, plugin_data *p, uint32_t code)
{
    p->reply_received = 0;
    log_error_write(srv, label, __LINE__, "sd", "kelto_sysmgmt_command: ", static_cast<int>(code));

    int ret = SysMngSendMsg(p->conn, no_tag, code, p->msg_buf, p->msg_len);
    if (ret != RET_OK) {
        log_error_write(srv, label, __LINE__, "sd", "SysMngSendMsg Returned ret=", ret);
        return RET_ERROR;
    }
    ++command_counts.sent;
    log_error_write(srv, label, __LINE__, "s", "Send command OK");

    ret = SysMngWaitMsg(p->conn, reply_wait);
    if (ret != RET_OK) {
        log_error_write(srv, label, __LINE__, "sd", "SysMngWaitMsg Returned ret=", ret);
        return ret;
    }
    log_error_write(srv, label, __LINE__, "s", "Wait data OK");

    uint32_t type = 0, payload_len = 0;
    ret = receive_reply(srv, p, &type, &payload_len);
    if (ret != RET_OK) return ret;
    if (!check_reply(srv, p, code, type, payload_len)) {
        SysMngClearQueue(p->conn);
        return RET_ERROR;
    }
    log_error_write(srv, label, __LINE__, "s", "Will return SUCCESS");
    return RET_OK;
}

} // namespace

CommandCounts command_counts;

int kelto_sysmgmt_command(server *srv, plugin_data *p, uint32_t code)
{
    const int ret = exchange(srv, p, code);
    if (ret == RET_TIMEOUT) ++command_counts.timed_out;
    if (ret != RET_OK && ret != RET_TIMEOUT) ++command_counts.failed;
    return ret;
}

uint8_t *reply_record(plugin_data *p)
{
    return p->msg_buf + REPLY_PREAMBLE_LEN;
}

uint32_t reply_record_len(const plugin_data *p)
{
    if (p->reply_received < REPLY_PREAMBLE_LEN) return 0;
    const uint32_t claimed = load_u32(preamble_of(p)->data_len);
    const uint32_t arrived = p->reply_received - REPLY_PREAMBLE_LEN;
    return claimed < arrived ? claimed : arrived;
}
