#include "input/multipart.h"

#include <cstring>

#include "input/params.h"

namespace {

constexpr const char *label = "parse_multipart_chunk";

/* Fixed, unlike other numbers of log lines: filters of the log know it. */
constexpr unsigned no_headers_end_line = 359;
constexpr char opening_dashes[] = "\r\n--";
constexpr size_t dashes_length = sizeof(opening_dashes) - 1;
constexpr size_t directory_length = sizeof(UPLOAD_DIRECTORY) - 1;
constexpr size_t longest_name = 4095 - directory_length; /* of a file, by its path's limit */

/* The longest text of any record, with every byte percent-encoded, is less than
 * half of a longest value. An upload is one file, and a certificate at most
 * comes with a key and a chain. */
constexpr size_t longest_value = 65536;
constexpr uint32_t most_files = 8;

size_t length_of(const buffer *b)
{
    return b->used > 0 ? b->used - 1 : 0;
}

size_t least(size_t a, size_t b)
{
    return a < b ? a : b;
}

/* Whether the file stays in the upload directory, also once a lookup has decoded
 * its name. */
bool stays_inside(const char *name, buffer *scratch)
{
    if (*name == '\0') return false;
    buffer_reset(scratch);
    buffer_append_string_len(scratch, name, strlen(name));
    buffer_urldecode_path(scratch);
    const char *decoded = scratch->ptr;
    return strcmp(decoded, ".") != 0 && strcmp(decoded, "..") != 0 && !strchr(decoded, '/');
}

void report(multipart_parser *parser, int error)
{
    if (error == 0) return;
    log_error_write(parser->srv, label, __LINE__, "ssss", "upload of", parser->file.name,
                    "failed:", strerror(error));
}

/* False when the body holds too much. */
bool store(multipart_parser *parser, Span value)
{
    const size_t size = parser->name_length + value.length;
    const bool stored = size <= MOST_PARAMETER_BYTES - parser->bytes &&
                        store_parameter(parser->params, {parser->name, parser->name_length}, value);
    if (stored) {
        parser->bytes += size;
    } else {
        parser->dropped = true;
    }
    return stored;
}

/* The parameter is stored even if the file cannot be: the daemon then finds no
 * file, and its answer says so. */
void begin_file(multipart_parser *parser)
{
    char *const name = parser->filename;
    name[strnlen(name, longest_name)] = '\0';
    if (!stays_inside(name, parser->field)) return;
    if (parser->files == most_files) {
        parser->dropped = true;
        return;
    }

    buffer_reset(parser->field);
    buffer_append_string_len(parser->field, UPLOAD_DIRECTORY, directory_length);
    buffer_append_string_len(parser->field, name, strlen(name));
    if (!store(parser, {parser->field->ptr, length_of(parser->field)})) return;
    parser->part = multipart_parser::FILE_PART;
    ++parser->files;
    report(parser, upload_open(&parser->file, name));
}

void begin_part(multipart_parser *parser)
{
    parser->part = multipart_parser::DROPPED;
    if (parser->name_length == 0) return;
    if (parser->filename_length > 0) {
        begin_file(parser);
    } else {
        buffer_reset(parser->field);
        parser->part = multipart_parser::FIELD;
    }
}

void take_content(multipart_parser *parser, const char *data, size_t length)
{
    if (parser->part == multipart_parser::FILE_PART) {
        report(parser, upload_write(&parser->file, data, length));
    } else if (parser->part == multipart_parser::FIELD) {
        const size_t room = longest_value - length_of(parser->field);
        if (length > room) parser->dropped = true;
        buffer_append_string_len(parser->field, data, least(length, room));
    }
}

void complete_part(multipart_parser *parser)
{
    if (parser->part == multipart_parser::FIELD) {
        const char *value = parser->field->ptr;
        store(parser, {value ? value : "", length_of(parser->field)});
    }
    report(parser, upload_close(&parser->file));
}

/* How many bytes at the end may be the beginning of a delimiter. A boundary has
 * no '\r', so only the last '\r' can begin one. */
size_t begun_delimiter(const multipart_parser *parser, const char *data, size_t length)
{
    const size_t tail = least(length, parser->delimiter_length - 1);
    const char *end = data + length;
    const char *begin = static_cast<const char *>(memrchr(end - tail, '\r', tail));
    if (!begin) return 0;
    const size_t begun = static_cast<size_t>(end - begin);
    return memcmp(begin, parser->delimiter, begun) == 0 ? begun : 0;
}

/* Goes on with a delimiter that an earlier chunk began. If it turns out to be
 * none, what was held back is content. Returns the bytes consumed. */
size_t resume_delimiter(multipart_parser *parser, const char *data, size_t length)
{
    const size_t count = least(length, parser->delimiter_length - parser->matched);
    if (memcmp(data, parser->delimiter + parser->matched, count) == 0) {
        parser->matched += count;
        return count;
    }
    take_content(parser, parser->delimiter, parser->matched);
    parser->matched = 0;
    return 0;
}

/* Takes the content up to a delimiter, or all of it but a delimiter's
 * beginning. Returns the bytes consumed, those of the delimiter among them. */
size_t search_delimiter(multipart_parser *parser, const char *data, size_t length)
{
    const size_t whole = parser->delimiter_length;
    const void *found = memmem(data, length, parser->delimiter, whole);
    const size_t content = found ? static_cast<size_t>(static_cast<const char *>(found) - data)
                                 : length - begun_delimiter(parser, data, length);
    take_content(parser, data, content);
    parser->matched = found ? whole : length - content;
    return content + parser->matched;
}

size_t parse_content(multipart_parser *parser, const char *data, size_t length)
{
    if (parser->part == multipart_parser::NOT_BEGUN) begin_part(parser);
    const size_t consumed = parser->matched > 0 ? resume_delimiter(parser, data, length)
                                                : search_delimiter(parser, data, length);
    if (parser->matched == parser->delimiter_length) {
        parser->matched = 0;
        parser->state = multipart_parser::DELIMITER_END;
    }
    return consumed;
}

/* The number of the log line is the byte's index. */
bool expect(multipart_parser *parser, bool as_expected, size_t index)
{
    if (!as_expected) {
        log_error_write(parser->srv, label, static_cast<unsigned>(index), "s", "Error");
    }
    return as_expected;
}

/* A beginning of the header's name is taken for the whole name. */
void end_header_name(multipart_parser *parser)
{
    constexpr char disposition[] = "Content-Disposition";
    parser->is_disposition = parser->tail_length < sizeof(disposition) &&
                             memcmp(parser->tail, disposition, parser->tail_length) == 0;
    reset_tail(parser);
    parser->state = multipart_parser::HEADER_VALUE;
}

void end_header_value(multipart_parser *parser)
{
    if (parser->is_disposition) {
        extract_name(parser->tail, parser->tail_length, parser->name, &parser->name_length);
        extract_filename(parser->tail, parser->tail_length, parser->filename,
                         &parser->filename_length);
    }
    reset_tail(parser);
    parser->state = multipart_parser::HEADER_LINE_END;
}

void begin_next_part(multipart_parser *parser)
{
    parser->name_length = parser->filename_length = 0;
    parser->state = multipart_parser::HEADER_NAME;
}

/* Takes a byte that is not content. Returns false when it is malformed. */
bool parse_byte(multipart_parser *parser, char c, size_t index)
{
    switch (parser->state) {
        case multipart_parser::OPENING:
            if (--parser->to_skip == 0) begin_next_part(parser);
            return true;
        case multipart_parser::HEADER_NAME:
            if (c == ':') {
                end_header_name(parser);
            } else if (c == '\r') {
                reset_tail(parser);
                parser->state = multipart_parser::HEADERS_END;
            } else {
                append_to_tail(parser, &c, 1);
            }
            return true;
        case multipart_parser::HEADER_VALUE:
            if (c == '\r') {
                end_header_value(parser);
            } else {
                append_to_tail(parser, &c, 1);
            }
            return true;
        case multipart_parser::HEADER_LINE_END:
            parser->state = multipart_parser::HEADER_NAME;
            return expect(parser, c == '\n', index);
        case multipart_parser::HEADERS_END:
            parser->part = multipart_parser::NOT_BEGUN;
            parser->state = multipart_parser::CONTENT;
            return expect(parser, c == '\n', index);
        case multipart_parser::DELIMITER_END:
            complete_part(parser);
            parser->state = c == '-' ? multipart_parser::CLOSING : multipart_parser::NEXT_PART;
            return c == '-' || c == '\r';
        case multipart_parser::NEXT_PART: begin_next_part(parser); return c == '\n';
        case multipart_parser::CLOSING: parser->state = multipart_parser::CLOSED; return c == '-';
        default: return false;
    }
}

/* Skips request headers before the body. There are none when the chunk begins
 * with the delimiter, or with as much of it as it has. Returns false when they
 * have no end. */
bool skip_request_headers(const multipart_parser *parser, const char **data, size_t *length)
{
    const char *delimiter_line = parser->delimiter + 2;
    if (memcmp(*data, delimiter_line, least(*length, parser->delimiter_length - 2)) == 0)
        return true;
    const void *found = memmem(*data, *length, "boundary=", 9);
    if (!found) return true;
    const char *end = *data + *length;
    const char *from = static_cast<const char *>(found);
    const void *headers_end = memmem(from, static_cast<size_t>(end - from), "\r\n\r\n", 4);
    if (!headers_end) return false;
    *data = static_cast<const char *>(headers_end) + 4;
    *length = static_cast<size_t>(end - *data);
    return true;
}

} // namespace

void extract_subfield(const char *value, size_t value_length, const char *field, char *text,
                      uint32_t *text_length)
{
    constexpr size_t room = sizeof(multipart_parser::name) - 1;
    *text_length = 0;
    *text = '\0';
    const char *found = find({value, value_length}, span_of(field));
    if (!found) return;
    const Span after = {found + strlen(field),
                        value_length - static_cast<size_t>(found - value) - strlen(field)};
    if (after.length < 2 || memcmp(after.data, "=\"", 2) != 0) return;
    const Span from_text = rest_of(after, 2);
    const Span quoted = up_to(from_text, '"');
    if (quoted.length == from_text.length) return;
    const size_t kept = least(quoted.length, room);
    memcpy(text, quoted.data, kept);
    text[kept] = '\0';
    *text_length = static_cast<uint32_t>(kept);
}

void extract_name(const char *value, size_t value_length, char *name, uint32_t *name_length)
{
    extract_subfield(value, value_length, "name", name, name_length);
}

void extract_filename(const char *value, size_t value_length, char *filename,
                      uint32_t *filename_length)
{
    extract_subfield(value, value_length, "filename", filename, filename_length);
    const char *base = filename;
    for (const char *c = filename; *c; ++c) {
        if (*c == '/' || *c == '\\') base = c + 1;
    }
    memmove(filename, base, strlen(base) + 1);
}

const char *append_to_tail(multipart_parser *parser, const char *text, size_t count)
{
    const size_t kept = least(count, sizeof(parser->tail) - 1 - parser->tail_length);
    memcpy(parser->tail + parser->tail_length, text, kept);
    parser->tail_length += kept;
    parser->tail[parser->tail_length] = '\0';
    return parser->tail;
}

void reset_tail(multipart_parser *parser)
{
    parser->tail_length = 0;
    parser->tail[0] = '\0';
}

bool multipart_parser_init(multipart_parser *parser, const char *boundary)
{
    const size_t length = strlen(boundary);
    if (length == 0 || length > sizeof(parser->delimiter) - dashes_length) return false;
    if (strpbrk(boundary, "\r\n")) return false;

    memset(parser, 0, sizeof(*parser));
    parser->may_have_headers = true;
    parser->to_skip = length + 4; /* "--", the boundary and "\r\n" */
    parser->file = NO_UPLOAD;
    parser->delimiter_length = dashes_length + length;
    memcpy(parser->delimiter, opening_dashes, dashes_length);
    memcpy(parser->delimiter + dashes_length, boundary, length);
    return true;
}

int parse_multipart_chunk(server *srv, const char *data, size_t length, array *params,
                          multipart_parser *parser)
{
    parser->srv = srv;
    parser->params = params;
    const bool may_have_headers = parser->may_have_headers;
    parser->may_have_headers = false;
    if (may_have_headers && !skip_request_headers(parser, &data, &length)) {
        log_error_write(srv, label, no_headers_end_line, "s", "Headers end not found");
        return 1;
    }
    for (size_t i = 0; i < length && parser->state != multipart_parser::CLOSED;) {
        if (parser->state == multipart_parser::CONTENT) {
            i += parse_content(parser, data + i, length - i);
        } else if (parse_byte(parser, data[i], i)) {
            ++i;
        } else {
            parser->state = multipart_parser::CLOSED;
            return static_cast<int>(i);
        }
    }
    return 0;
}

void multipart_parser_finish(multipart_parser *parser, bool whole_body)
{
    if (whole_body) {
        take_content(parser, parser->delimiter, parser->matched);
        report(parser, upload_close(&parser->file));
    } else {
        upload_discard(&parser->file);
    }
}
