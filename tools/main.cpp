/* kelto-describe DOCUMENT FRAME: prints the document. */
#include <cstdio>
#include <fstream>
#include <sstream>

#include "tools/documents.h"

namespace {

struct Document {
    const char *name;
    std::string (*made_of)(const std::string &frame);
};

constexpr Document documents[] = {{"openapi.json", openapi_json},
                                  {"daemon-protocol.md", daemon_protocol},
                                  {"kelto-client.d.ts", client_types}};

} // namespace

bool replace_mark(std::string &text, const std::string &mark, const std::string &by)
{
    const size_t at = text.find(mark);
    if (at == std::string::npos) return false;
    text.replace(at, mark.size(), by);
    return true;
}

int main(int argc, char **argv)
{
    const std::string document = argc == 3 ? argv[1] : "";
    std::stringstream frame;
    if (argc == 3) frame << std::ifstream(argv[2]).rdbuf();

    std::string text;
    for (const Document &one : documents) {
        if (document == one.name) text = one.made_of(frame.str());
    }
    if (text.empty()) {
        fprintf(stderr, "usage: %s DOCUMENT FRAME, or the frame is not whole\n", argv[0]);
        return 2;
    }
    fputs(text.c_str(), stdout);
    return 0;
}
