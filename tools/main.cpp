/* kelto-describe DOCUMENT FRAME: prints openapi.json or daemon-protocol.md. */
#include <cstdio>
#include <fstream>
#include <sstream>

#include "tools/documents.h"

int main(int argc, char **argv)
{
    const std::string document = argc == 3 ? argv[1] : "";
    std::stringstream frame;
    if (argc == 3) frame << std::ifstream(argv[2]).rdbuf();

    std::string text;
    if (document == "openapi.json") text = openapi_json(frame.str());
    if (document == "daemon-protocol.md") text = daemon_protocol(frame.str());
    if (text.empty()) {
        fprintf(stderr, "usage: %s openapi.json|daemon-protocol.md FRAME\n", argv[0]);
        return 2;
    }
    fputs(text.c_str(), stdout);
    return 0;
}
