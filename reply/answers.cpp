#include "reply/answers.h"

#include "input/body.h"
#include "input/params.h"
#include "reply/escape.h"
#include "reply/fill.h"
#include "reply/list.h"
#include "reply/render.h"
#include "sysmng/bytes.h"

namespace {

enum Status : int {
    OK = 200,
    CREATED = 201,
    NO_CONTENT = 204,
    BAD_REQUEST = 400,
    NOT_FOUND = 404,
    REQUEST_TIMEOUT = 408,
    INTERNAL_ERROR = 500,
    INSUFFICIENT_STORAGE = 507
};

/* One entry of the list with which the daemon refuses a record. */
struct ValidationError {
    char message[255];  /* the complaint */
    char property[255]; /* the form parameter that it is about */
};
static_assert(sizeof(ValidationError) == 510);

int failure_status(int result, Status otherwise)
{
    if (result == RET_TIMEOUT) return REQUEST_TIMEOUT;
    if (result == RET_INSUFMEM) return INSUFFICIENT_STORAGE;
    return otherwise;
}

/* Answers without a body. */
handler_t finish_empty(connection *con, plugin_data *p, int status, handler_t result)
{
    p->reply_len = 0;
    con->http_status = status;
    return result;
}

handler_t fail(connection *con, plugin_data *p, int result, Status otherwise)
{
    return finish_empty(con, p, failure_status(result, otherwise), HANDLER_ERROR);
}

handler_t finish_text(connection *con, plugin_data *p, Text &json, int status)
{
    p->reply_len = finish(json);
    con->http_status = status;
    return HANDLER_GO_ON;
}

Text answer_text(plugin_data *p)
{
    return text_in(p->reply_buf, REPLY_BUF_SIZE);
}

/* The answer for the record of the last reply. */
handler_t finish_record(connection *con, plugin_data *p, const Record &record, int status)
{
    Text json = answer_text(p);
    append(json, "[ ");
    append_object(json, record, reply_record(p));
    append(json, " ]");
    return finish_text(con, p, json, status);
}

handler_t decode_form(server *srv, connection *con, plugin_data *p)
{
    array_reset(p->params);
    return parse_query_params(srv, con, p);
}

int command_alone(server *srv, plugin_data *p, uint32_t command)
{
    p->msg_len = 0;
    return kelto_sysmgmt_command(srv, p, command);
}

/* The identifier travels twice. */
int command_for_id(server *srv, plugin_data *p, uint32_t command, int32_t id)
{
    store_i32(p->msg_buf, id);
    store_i32(p->msg_buf + 4, id);
    p->msg_len = 8;
    return kelto_sysmgmt_command(srv, p, command);
}

/* Runs the command with a record made of the form, which was decoded before. */
int command_with_form(server *srv, plugin_data *p, uint32_t command, const SentRecord &sent)
{
    fill_record(p->msg_buf, sent, p->params);
    p->msg_len = sent.record.size;
    return kelto_sysmgmt_command(srv, p, command);
}

/* The number of entries when the daemon refused with a validation list, else
 * 0. */
uint32_t validation_entries(const plugin_data *p)
{
    const uint32_t len = reply_record_len(p);
    constexpr uint32_t size = sizeof(ValidationError);
    return len % size == 0 ? len / size : 0;
}

handler_t finish_validation_list(connection *con, plugin_data *p, uint32_t count)
{
    Text json = answer_text(p);
    append(json, "[\n");
    ValidationError *errors = reinterpret_cast<ValidationError *>(reply_record(p));
    for (uint32_t i = 0; i < count; ++i) {
        append(json, "{\"message\" : \"");
        append(json, escape_string(errors[i].message, sizeof(errors[i].message)));
        append(json, "\", \"property\" : \"");
        append(json, escape_string(errors[i].property, sizeof(errors[i].property)));
        append(json, "\"}");
        if (i + 1 < count) append(json, ",");
        append(json, "\n");
    }
    const bool fits = room_in(json) > 0;
    append(json, "]");
    return finish_text(con, p, json, fits ? BAD_REQUEST : INSUFFICIENT_STORAGE);
}

/* The answer when a command that sent a record failed. */
handler_t refuse(connection *con, plugin_data *p, int result)
{
    const uint32_t entries = validation_entries(p);
    if (entries > 0) return finish_validation_list(con, p, entries);
    return fail(con, p, result, INTERNAL_ERROR);
}

handler_t answer_read(connection *con, plugin_data *p, int result, const Record &record,
                      Status not_there)
{
    if (result != RET_OK || reply_record_len(p) < record.size) {
        return fail(con, p, result, not_there);
    }
    return finish_record(con, p, record, OK);
}

handler_t answer_written(connection *con, plugin_data *p, int result)
{
    if (result != RET_OK) return refuse(con, p, result);
    return finish_empty(con, p, NO_CONTENT, HANDLER_GO_ON);
}

handler_t answer_run(connection *con, plugin_data *p, int result)
{
    const int status = result == RET_OK ? NO_CONTENT : failure_status(result, INTERNAL_ERROR);
    return finish_empty(con, p, status, HANDLER_GO_ON);
}

} // namespace

handler_t read_record(server *srv, connection *con, plugin_data *p, uint32_t command,
                      const Record &record)
{
    return answer_read(con, p, command_alone(srv, p, command), record, INTERNAL_ERROR);
}

handler_t read_record_by_id(server *srv, connection *con, plugin_data *p, uint32_t command,
                            const Record &record, int32_t id)
{
    return answer_read(con, p, command_for_id(srv, p, command, id), record, NOT_FOUND);
}

handler_t read_list(server *srv, connection *con, plugin_data *p, uint32_t command,
                    const Record &record, const char *handler_name)
{
    const int result = command_alone(srv, p, command);
    const uint32_t len = reply_record_len(p);
    if (result == RET_OK && len == 0) {
        Text json = answer_text(p);
        append(json, "[ ]");
        return finish_text(con, p, json, OK);
    }
    if (result != RET_OK || len % record.size != 0) return fail(con, p, result, INTERNAL_ERROR);
    if (!render_list(srv, p, record, len / record.size, handler_name)) {
        return fail(con, p, RET_INSUFMEM, INSUFFICIENT_STORAGE);
    }
    con->http_status = OK;
    return HANDLER_GO_ON;
}

handler_t write_record(server *srv, connection *con, plugin_data *p, uint32_t command,
                       const SentRecord &sent)
{
    const handler_t decoded = decode_form(srv, con, p);
    if (decoded != HANDLER_GO_ON) return decoded;
    return answer_written(con, p, command_with_form(srv, p, command, sent));
}

handler_t write_item(server *srv, connection *con, plugin_data *p, uint32_t command,
                     const SentRecord &sent)
{
    const handler_t decoded = decode_form(srv, con, p);
    if (decoded != HANDLER_GO_ON) return decoded;
    const int result = command_with_form(srv, p, command, sent);
    if (result == RET_OK) return finish_empty(con, p, NO_CONTENT, HANDLER_GO_ON);
    if (validation_entries(p) > 0) return finish_empty(con, p, NOT_FOUND, HANDLER_GO_ON);
    return fail(con, p, result, NOT_FOUND);
}

handler_t write_indexed_records(server *srv, connection *con, plugin_data *p, uint32_t command,
                                const SentRecord &sent, int most)
{
    const handler_t decoded = decode_form(srv, con, p);
    if (decoded != HANDLER_GO_ON) return decoded;
    p->msg_len = 0;
    for (int i = 0; i < most && has_array_element(p->params, "id", i); ++i) {
        fill_record(p->msg_buf + p->msg_len, sent, p->params, i);
        p->msg_len += sent.record.size;
    }
    return answer_written(con, p, kelto_sysmgmt_command(srv, p, command));
}

handler_t create_item(server *srv, connection *con, plugin_data *p, uint32_t command,
                      const SentRecord &sent)
{
    const handler_t decoded = decode_form(srv, con, p);
    if (decoded != HANDLER_GO_ON) return decoded;
    const int result = command_with_form(srv, p, command, sent);
    if (result != RET_OK) return refuse(con, p, result);
    if (reply_record_len(p) < sent.record.size) return fail(con, p, result, INTERNAL_ERROR);
    return finish_record(con, p, sent.record, CREATED);
}

handler_t submit_record(server *srv, connection *con, plugin_data *p, uint32_t command,
                        const SentRecord &sent, const Record &result_record)
{
    const handler_t decoded = decode_form(srv, con, p);
    if (decoded != HANDLER_GO_ON) return decoded;
    const int result = command_with_form(srv, p, command, sent);
    if (reply_record_len(p) < result_record.size) return fail(con, p, result, INTERNAL_ERROR);
    return finish_record(con, p, result_record, result == RET_OK ? OK : BAD_REQUEST);
}

handler_t run_command(server *srv, connection *con, plugin_data *p, uint32_t command)
{
    return answer_run(con, p, command_alone(srv, p, command));
}

handler_t run_command_by_id(server *srv, connection *con, plugin_data *p, uint32_t command,
                            int32_t id)
{
    return answer_run(con, p, command_for_id(srv, p, command, id));
}

handler_t delete_item(server *srv, connection *con, plugin_data *p, uint32_t command, int32_t id)
{
    const int result = command_for_id(srv, p, command, id);
    if (result != RET_OK) return fail(con, p, result, NOT_FOUND);
    return finish_empty(con, p, NO_CONTENT, HANDLER_GO_ON);
}

handler_t answer_empty()
{
    return HANDLER_GO_ON;
}

handler_t answer_fixed(connection *con, plugin_data *p)
{
    Text json = answer_text(p);
    append(json, "[ {} ]");
    return finish_text(con, p, json, OK);
}
