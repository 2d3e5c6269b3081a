/* Little-endian integers at any address. Records and headers are packed, and
 * the target traps on unaligned loads. */
#pragma once

#include <cstdint>

inline uint32_t load_u32(const uint8_t *at)
{
    return static_cast<uint32_t>(at[0]) | static_cast<uint32_t>(at[1]) << 8 |
           static_cast<uint32_t>(at[2]) << 16 | static_cast<uint32_t>(at[3]) << 24;
}

inline int32_t load_i32(const uint8_t *at)
{
    return static_cast<int32_t>(load_u32(at));
}

inline uint64_t load_u64(const uint8_t *at)
{
    return load_u32(at) | static_cast<uint64_t>(load_u32(at + 4)) << 32;
}

inline void store_u32(uint8_t *at, uint32_t value)
{
    at[0] = static_cast<uint8_t>(value);
    at[1] = static_cast<uint8_t>(value >> 8);
    at[2] = static_cast<uint8_t>(value >> 16);
    at[3] = static_cast<uint8_t>(value >> 24);
}

inline void store_i32(uint8_t *at, int32_t value)
{
    store_u32(at, static_cast<uint32_t>(value));
}
