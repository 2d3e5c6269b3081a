/* URL-encoded bodies in pieces, against the same body undivided.
 * Input: the body; from the input's end, the cuts. */
#include "fuzz/support.h"

void fuzz_one(FuzzedDataProvider &input)
{
    constexpr const char *type = "application/x-www-form-urlencoded";
    const Cuts cuts(input);
    const std::string body = input.ConsumeRemainingBytesAsString();
    std::vector<Piece> pieces = cuts.apply(body);
    for (Piece &piece : pieces) piece.kind = Piece::MEMORY; /* what is in files is not decoded */
    Module module;
    const std::string divided = module.decode(pieces, type);
    /* A first chunk without headers can look as if it had some. */
    if (cuts.front != Cuts::HEADERS && pieces[0].offset == 0 && body.find("\r\n\r\n") != body.npos)
        return;
    require(divided == module.decode({undivided(body)}, type), "the cuts change nothing");
}
