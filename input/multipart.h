/* Multipart forms. A part with a file name is written to the upload directory
 * and its parameter's value is the file's path; any other part is a parameter
 * whose value is its content. A part without a name is dropped. A body can be
 * cut into chunks at any byte. */
#pragma once

#include <cstddef>
#include <cstdint>

#include "input/upload_file.h"
#include "server/lighttpd.h"

struct multipart_parser {
    enum {
        OPENING, /* the first delimiter line */
        HEADER_NAME,
        HEADER_VALUE,
        HEADER_LINE_END, /* after the '\r' of a header line */
        HEADERS_END,     /* after the '\r' of a line without ':' */
        CONTENT,
        DELIMITER_END, /* after a delimiter */
        NEXT_PART,     /* after the '\r' after a delimiter */
        CLOSING,       /* after the first '-' after a delimiter */
        CLOSED         /* the rest of the body is ignored */
    } state;
    enum { NOT_BEGUN, DROPPED, FIELD, FILE_PART } part; /* what the content is */

    /* Of the chunk that is being parsed. */
    server *srv;
    array *params;

    /* Set by the caller after multipart_parser_init. */
    buffer *field;         /* for a field's value while it is gathered */
    bool may_have_headers; /* the first chunk can begin with the request headers */

    bool dropped;             /* parts or bytes beyond what a body may hold */
    uint32_t files;           /* stored so far */
    size_t bytes;             /* of the parameters so far */
    size_t to_skip;           /* bytes left of the first delimiter line */
    bool is_disposition;      /* the header whose value comes */
    char name[4096];          /* of the part, with a NUL after it */
    char filename[4096];      /* the base name, likewise */
    uint32_t name_length;     /* 0: the part has none */
    uint32_t filename_length; /* before it was cut to the base name; 0: the part is a field */
    UploadFile file;
    size_t matched; /* bytes of the delimiter at the end of the content so far */
    size_t delimiter_length;
    char delimiter[4096]; /* "\r\n--" and the boundary */
    size_t tail_length;
    char tail[12 * 1024]; /* of a header's name or value what has come; cut to its room */
};

/* Prepares a parser. Returns false when the boundary is empty, too long, or
 * contains a line end; the parser must not be used then. */
bool multipart_parser_init(multipart_parser *parser, const char *boundary);

/* Parses the next bytes of the body and stores into `params`. Returns 0 when
 * all were consumed, 1 when request headers have no end, and otherwise the
 * index of the byte at which a malformed body stopped the parser for good. */
int parse_multipart_chunk(server *srv, const char *data, size_t length, array *params,
                          multipart_parser *parser);

/* Ends the body and closes its file. In a body that ends within a part, a file
 * keeps what there is of it and a field is dropped. When the body could not be
 * read to its end, an unfinished file is removed. */
void multipart_parser_finish(multipart_parser *parser, bool whole_body);

/* The quoted text after a field of a header value, as in name="...", cut to
 * 4095 characters, with a NUL after it. Only the first occurrence of the
 * field's name counts, wherever it is: "name" is also found in "filename". The
 * length is 0 when there is no such text. */
void extract_subfield(const char *value, size_t value_length, const char *field, char *text,
                      uint32_t *text_length);
void extract_name(const char *value, size_t value_length, char *name, uint32_t *name_length);

/* Without directories: a browser may send a whole path, of either kind. The
 * length is that of the whole path. */
void extract_filename(const char *value, size_t value_length, char *filename,
                      uint32_t *filename_length);

/* Appends as much to the tail as fits, and returns it; empties the tail. */
const char *append_to_tail(multipart_parser *parser, const char *text, size_t count);
void reset_tail(multipart_parser *parser);
