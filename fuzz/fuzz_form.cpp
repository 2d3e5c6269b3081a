/* URL-encoded bodies in pieces, against the same body undivided and against a
 * decoder that is as simple as it can be.
 * Input: the body; from the input's end, the cuts. */
#include "fuzz/mutator.h"
#include "fuzz/naive.h"
#include "fuzz/support.h"

void fuzz_one(FuzzedDataProvider &input)
{
    constexpr const char *type = "application/x-www-form-urlencoded";
    static Module module;
    const Cuts cuts(input);
    const std::string body = input.ConsumeRemainingBytesAsString();
    const std::string whole = module.decode({undivided(body)}, type);
    constexpr size_t most = 1024; /* parameters; the rest is dropped */
    if (module.state->params->used < most)
        require(whole == naive_form(body), "it is what the simple decoder makes of it");

    std::vector<Piece> pieces = cuts.apply(body);
    for (Piece &piece : pieces) piece.kind = Piece::MEMORY; /* what is in files is not decoded */
    /* A first chunk without headers can look as if it had some. */
    if (cuts.front != Cuts::HEADERS && pieces[0].offset == 0 && body.find("\r\n\r\n") != body.npos)
        return;
    require(whole == module.decode(pieces, type), "the cuts change nothing");
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t room, unsigned seed)
{
    return mutate_items(data, size, room, seed, "&",
                        {"id=1", "id[0]=2", "a[0][1]=%41", "A=%26", "a=b=c", "a", "=", "a=+%zz"});
}
