#include "reply/list.h"

#include <cstdlib>
#include <cstring>

#include "reply/render.h"
#include "sysmng/command.h"

namespace {

/* Fixed, unlike other numbers of log lines: filters of the log know it. */
constexpr unsigned realloc_line = 163;

bool grow_reply_buf(server *srv, plugin_data *p, const char *handler_name)
{
    const uint32_t new_size = p->reply_buf_size + REPLY_BUF_SIZE;
    log_error_write(srv, handler_name, realloc_line, "sd",
                    "Realloc needed new_size = ", static_cast<int>(new_size));
    char *grown = static_cast<char *>(realloc(p->reply_buf, new_size));
    if (!grown) return false;
    p->reply_buf = grown;
    p->reply_buf_size = new_size;
    return true;
}

/* Writes one element and what separates it from the next into the
 * REPLY_BUF_SIZE bytes at `out`. Returns its length. */
uint32_t render_item(char *out, const Record &record, uint8_t *bytes, bool is_last)
{
    Text json = text_in(out, REPLY_BUF_SIZE);
    append_object(json, record, bytes);
    if (!is_last) append(json, ",");
    append(json, "\n");
    return finish(json);
}

} // namespace

bool render_list(server *srv, plugin_data *p, const Record &record, uint32_t count,
                 const char *handler_name)
{
    uint32_t at = 0;
    p->reply_buf[at++] = '[';
    p->reply_buf[at++] = '\n';
    for (uint32_t i = 0; i < count; ++i) {
        uint8_t *const bytes = reply_record(p) + i * record.size;
        const bool is_last = i + 1 == count;
        if (p->reply_buf_size - at >= REPLY_BUF_SIZE + 2) {
            at += render_item(p->reply_buf + at, record, bytes, is_last);
            continue;
        }
        /* Near the buffer's end it depends on the element's length whether it grows. */
        char item[REPLY_BUF_SIZE];
        const uint32_t length = render_item(item, record, bytes, is_last);
        if (length + 2 > p->reply_buf_size - at && !grow_reply_buf(srv, p, handler_name)) {
            return false;
        }
        memcpy(p->reply_buf + at, item, length);
        at += length;
    }
    p->reply_buf[at++] = ']';
    p->reply_buf[at] = '\0';
    p->reply_len = at;
    return true;
}
