/* Mutations that know of what an input consists. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/* To be called by a target's LLVMFuzzerCustomMutator. Takes the input as items with a separator
 * between them; removes, doubles or moves one, or adds a typical one; or else, once in two times,
 * leaves the input to libFuzzer. Returns the new size. */
size_t mutate_items(uint8_t *data, size_t size, size_t room, unsigned seed,
                    const std::string &separator, const std::vector<std::string> &typical);

/* As libFuzzer does without a mutator. */
size_t mutate(uint8_t *data, size_t size, size_t room);
