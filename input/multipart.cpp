#include "input/multipart.h"

#include <cstring>

namespace {

constexpr const char *label = "parse_multipart_chunk";
constexpr char opening_dashes[] = "\r\n--";
constexpr size_t dashes_length = sizeof(opening_dashes) - 1;
constexpr size_t directory_length = sizeof(UPLOAD_DIRECTORY) - 1;
constexpr size_t longest_name = 4095 - directory_length; /* of a file, by its path's limit */

/* What a body can make the process hold. The longest text of any record, with
 * every byte percent-encoded, is less than half of a longest value, and no
 * form has a tenth as many fields. What lies beyond is cut or dropped. */
constexpr size_t longest_value = 65536;
constexpr size_t most_parameters = 1024;

size_t length_of(const buffer *b)
{
    return b->used > 0 ? b->used - 1 : 0;
}

size_t least(size_t a, size_t b)
{
    return a < b ? a : b;
}

void begin_header_line(multipart_parser *parser)
{
    parser->header = "Content-Disposition";
    parser->state = multipart_parser::HEADER_NAME;
}

/* The name may end early: its beginning stands for the whole. */
void take_header_name(multipart_parser *parser, char c)
{
    const char *expected = parser->header;
    if (expected) parser->header = *expected != '\0' && *expected == c ? expected + 1 : nullptr;
}

void begin_subfield(Subfield *field)
{
    field->phase = Subfield::SEARCHED;
    field->matched = field->length = 0;
}

/* The first place where the key stands decides, wherever it is: name="..." is
 * also found in filename="...". */
void search_opening(Subfield *field, char c)
{
    const char expected = field->opening[field->matched];
    if (c == expected) {
        if (field->opening[++field->matched] == '\0') field->phase = Subfield::OPEN;
    } else if (expected == '=' || expected == '"') {
        field->phase = Subfield::ABSENT;
    } else {
        field->matched = c == field->opening[0];
    }
}

void extract_subfield(Subfield *field, char c)
{
    if (field->phase == Subfield::SEARCHED) {
        search_opening(field, c);
    } else if (field->phase == Subfield::OPEN) {
        if (c == '"') {
            field->phase = Subfield::CLOSED;
        } else if (field->length < sizeof(field->text) - 1) {
            field->text[field->length++] = c;
        }
    }
}

void end_subfield(Subfield *field)
{
    if (field->phase != Subfield::CLOSED) field->length = 0;
    field->text[field->length] = '\0';
}

/* A browser may send the whole path, of either kind. */
char *base_name(char *path)
{
    char *base = path;
    for (char *c = path; *c; ++c) {
        if (*c == '/' || *c == '\\') base = c + 1;
    }
    return base;
}

/* Whether the name stays in the directory, also in the form in which it is
 * read back: a lookup decodes it. */
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

void store_parameter(multipart_parser *parser)
{
    const buffer *value = parser->scratch;
    array_set_key_value(parser->params, parser->name.text, parser->name.length,
                        value->ptr ? value->ptr : "", length_of(value));
}

/* The parameter is stored even if the file cannot be: the one who looks for
 * the file then tells the client. */
void begin_file(multipart_parser *parser)
{
    char *name = base_name(parser->filename.text);
    name[strnlen(name, longest_name)] = '\0';
    if (!stays_inside(name, parser->scratch)) return;

    buffer_reset(parser->scratch);
    buffer_append_string_len(parser->scratch, UPLOAD_DIRECTORY, directory_length);
    buffer_append_string_len(parser->scratch, name, strlen(name));
    store_parameter(parser);
    parser->part = multipart_parser::FILE_PART;
    report(parser, upload_open(&parser->file, name));
}

void begin_part(multipart_parser *parser)
{
    parser->part = multipart_parser::DROPPED;
    if (parser->name.length == 0 || parser->params->used >= most_parameters) return;
    if (parser->filename.length > 0) {
        begin_file(parser);
    } else {
        buffer_reset(parser->scratch);
        parser->part = multipart_parser::FIELD;
    }
}

void take_content(multipart_parser *parser, const char *data, size_t length)
{
    if (parser->part == multipart_parser::FILE_PART) {
        report(parser, upload_write(&parser->file, data, length));
    } else if (parser->part == multipart_parser::FIELD) {
        const size_t room = longest_value - length_of(parser->scratch);
        buffer_append_string_len(parser->scratch, data, least(length, room));
    }
}

void complete_part(multipart_parser *parser)
{
    if (parser->part == multipart_parser::FIELD) store_parameter(parser);
    report(parser, upload_close(&parser->file));
}

/* How many bytes at the end may be the beginning of a delimiter. A boundary has
 * no '\r', so only the last one can begin it. */
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

bool expect(multipart_parser *parser, bool as_expected, size_t index)
{
    if (!as_expected) {
        log_error_write(parser->srv, label, static_cast<unsigned>(index), "s", "Error");
    }
    return as_expected;
}

void take_header_value(multipart_parser *parser, char c)
{
    if (c == '\r') parser->state = multipart_parser::HEADER_LINE_END;
    if (!parser->header) return;
    if (c == '\r') {
        end_subfield(&parser->name);
        end_subfield(&parser->filename);
    } else {
        extract_subfield(&parser->name, c);
        extract_subfield(&parser->filename, c);
    }
}

void end_header_name(multipart_parser *parser)
{
    parser->state = multipart_parser::HEADER_VALUE;
    if (!parser->header) return;
    begin_subfield(&parser->name);
    begin_subfield(&parser->filename);
}

void begin_next_part(multipart_parser *parser)
{
    parser->name.length = parser->filename.length = 0;
    begin_header_line(parser);
}

/* Takes a byte that is not content. Returns false when it cannot stand there. */
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
                parser->state = multipart_parser::HEADERS_END;
            } else {
                take_header_name(parser, c);
            }
            return true;
        case multipart_parser::HEADER_VALUE: take_header_value(parser, c); return true;
        case multipart_parser::HEADER_LINE_END:
            begin_header_line(parser);
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

/* Skips request headers in front of the body. There are none when it begins
 * with its delimiter, or as much of it as the chunk can hold. Returns false when
 * they have no end. */
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

bool multipart_parser_init(multipart_parser *parser, server *srv, array *params, buffer *scratch,
                           const char *boundary)
{
    const size_t length = strlen(boundary);
    if (length == 0 || length > sizeof(parser->delimiter) - dashes_length) return false;
    if (strpbrk(boundary, "\r\n")) return false;

    parser->state = multipart_parser::OPENING;
    parser->part = multipart_parser::NOT_BEGUN;
    parser->srv = srv;
    parser->params = params;
    parser->scratch = scratch;
    parser->to_skip = length + 4; /* "--", the boundary and "\r\n" */
    parser->name.opening = "name=\"";
    parser->filename.opening = "filename=\"";
    parser->file = NO_UPLOAD;
    parser->matched = 0;
    parser->delimiter_length = dashes_length + length;
    memcpy(parser->delimiter, opening_dashes, dashes_length);
    memcpy(parser->delimiter + dashes_length, boundary, length);
    return true;
}

int parse_multipart_chunk(multipart_parser *parser, const char *data, size_t length,
                          bool may_have_headers)
{
    if (may_have_headers && !skip_request_headers(parser, &data, &length)) {
        log_error_write(parser->srv, label, 359, "s", "Headers end not found");
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
    buffer_reset(parser->scratch);
}
