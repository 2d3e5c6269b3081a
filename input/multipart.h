/* Multipart forms. A part with a file name is written to the upload directory
 * and its parameter's value is the file's path; any other part is a parameter
 * whose value is its content. A part without a name is dropped. A body can be
 * cut into chunks at any byte. */
#pragma once

#include <cstddef>
#include <cstdint>

#include "input/upload_file.h"
#include "server/lighttpd.h"

/* A quoted text inside a header value, for example name="...". It is taken
 * character by character, so neither its place nor its length is limited; what
 * is kept of it is cut to 4095 characters. */
struct Subfield {
    enum { SEARCHED, OPEN, CLOSED, ABSENT } phase;
    const char *opening; /* the key, '=' and '"' */
    uint32_t matched;    /* characters of the opening */
    uint32_t length;     /* characters of the text; 0 when there is none */
    char text[4096];     /* with a NUL behind it once the value has ended */
};

struct multipart_parser {
    enum {
        OPENING, /* the first delimiter line */
        HEADER_NAME,
        HEADER_VALUE,
        HEADER_LINE_END, /* behind the '\r' of a header line */
        HEADERS_END,     /* behind the '\r' of a line without ':' */
        CONTENT,
        DELIMITER_END, /* behind a delimiter */
        NEXT_PART,     /* behind the '\r' behind a delimiter */
        CLOSING,       /* behind the first '-' behind a delimiter */
        CLOSED         /* the rest of the body is ignored */
    } state;
    enum { NOT_BEGUN, DROPPED, FIELD, FILE_PART } part; /* what the content is */
    server *srv;
    array *params;
    buffer *scratch;    /* a field's value while it is gathered */
    size_t to_skip;     /* bytes left of the first delimiter line */
    const char *header; /* what the header name still lacks; null once it is another header's */
    Subfield name;
    Subfield filename;
    UploadFile file;
    size_t matched; /* bytes of the delimiter at the end of the content so far */
    size_t delimiter_length;
    char delimiter[4096]; /* "\r\n--" and the boundary */
};

/* Readies a parser that stores into `params`; both buffers stay the caller's.
 * Returns false when no body can be told apart by this boundary: it is empty,
 * too long, or holds a line end. The parser is then not to be used. */
bool multipart_parser_init(multipart_parser *parser, server *srv, array *params, buffer *scratch,
                           const char *boundary);

/* Parses the next bytes of the body. `may_have_headers`: these are the first
 * ones, and request headers can stand in front of the body. Returns 0 when all
 * bytes were consumed, 1 when headers have no end, and otherwise the index of
 * the byte at which a malformed body stopped the parser for good. */
int parse_multipart_chunk(multipart_parser *parser, const char *data, size_t length,
                          bool may_have_headers);

/* Ends the body and closes its file. In a body that ends within a part, a file
 * keeps what there is of it and a field is dropped. When the body could not be
 * read to its end, an unfinished file is removed. */
void multipart_parser_finish(multipart_parser *parser, bool whole_body);
