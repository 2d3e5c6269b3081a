/* What the fuzz targets share: bodies in pieces, and checks of every answer of
 * the hosted module. */
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <string>
#include <string_view>
#include <vector>

#include "module/routes.h"
#include "tests/support/module_host.h"

/* Each target's one function. A descriptor that it leaves open is a fault. */
void fuzz_one(FuzzedDataProvider &input);

/* How a body is cut into pieces, and what it begins with. */
struct Cuts {
    explicit Cuts(FuzzedDataProvider &input);
    std::vector<Piece> apply(const std::string &body) const;

    enum { BODY, HEADERS, HEADERS_BEHIND_OFFSET, IN_FILE } front;
    uint8_t in_files; /* a bit for each piece */
    std::vector<uint16_t> lengths;
};

/* The body in one piece, after an offset. */
Piece undivided(const std::string &body);

class Module : public HostedModule {
public:
    using HostedModule::begin;
    void begin(const Route &route, const Action &action);

    /* What the decoder makes of a body. Every key is looked up. */
    std::string decode(const std::vector<Piece> &pieces, const std::string &content_type);

    /* Runs the hook and checks what all answers have in common. */
    handler_t run();
};

/* Whether the text is one JSON value. A record's texts may hold any bytes, and
 * its floats be no numbers: control characters, "nan" and "inf" are let through. */
bool is_json(std::string_view text);

/* The command of a message that the daemon got. */
uint32_t command_of(const std::string &bytes);

/* A reply that the command's handler accepts. */
std::string good_reply(uint32_t command);
