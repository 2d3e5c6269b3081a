/* The ways in which handlers answer. A resource's handler is one of these with
 * its command and its record. */
#pragma once

#include <cstdint>

#include "reply/record.h"
#include "server/lighttpd.h"
#include "sysmng/command.h"

/* GET: the command's reply record as one JSON object in a list. 200, or
 * HANDLER_ERROR with 408, 507 or 500 (404 by identifier). */
handler_t read_record(server *srv, connection *con, plugin_data *p, uint32_t command,
                      const Record &record);
handler_t read_record_by_id(server *srv, connection *con, plugin_data *p, uint32_t command,
                            const Record &record, int32_t id);

/* GET: a reply of any number of records as a JSON list, one object a line.
 * `handler_name` labels the log line about a growing reply_buf. */
handler_t read_list(server *srv, connection *con, plugin_data *p, uint32_t command,
                    const Record &record, const char *handler_name);

/* PUT: sends a record made of the form. 204, 400 with the daemon's validation
 * list (507 when it is too long), or HANDLER_ERROR with 408, 507 or 500. */
handler_t write_record(server *srv, connection *con, plugin_data *p, uint32_t command,
                       const SentRecord &sent);

/* PUT on a path with an identifier. The record's own id counts, and every
 * refusal is a 404 without a body. */
handler_t write_item(server *srv, connection *con, plugin_data *p, uint32_t command,
                     const SentRecord &sent);

/* PUT: sends one record for each index from 0 up whose key "id[index]" is
 * given, at most `most`. Answers as write_record. */
handler_t write_indexed_records(server *srv, connection *con, plugin_data *p, uint32_t command,
                                const SentRecord &sent, int most);

/* POST: as write_record, but success is a 201 with the record that the daemon
 * made of it. */
handler_t create_item(server *srv, connection *con, plugin_data *p, uint32_t command,
                      const SentRecord &sent);

/* POST: sends a record made of the form and answers with the daemon's result
 * record, 200 when it accepted it and 400 when it refused. */
handler_t submit_record(server *srv, connection *con, plugin_data *p, uint32_t command,
                        const SentRecord &sent, const Record &result);

/* PUT: a command alone, or for one item. 204, 408, 507 or 500, and always
 * HANDLER_GO_ON. The request's body is not read. */
handler_t run_command(server *srv, connection *con, plugin_data *p, uint32_t command);
handler_t run_command_by_id(server *srv, connection *con, plugin_data *p, uint32_t command,
                            int32_t id);

/* DELETE: 204, or HANDLER_ERROR with 408, 507 or 404. */
handler_t delete_item(server *srv, connection *con, plugin_data *p, uint32_t command, int32_t id);

/* Nothing at all: the server completes the request by its own default. */
handler_t answer_empty();

/* 200 with an empty object, without a command. */
handler_t answer_fixed(connection *con, plugin_data *p);
