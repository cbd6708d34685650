// Big-endian words of the entropy-coded data, read with one load where the
// compiler offers a byte swap: the bytes 12 34 56 78 9A BC DE F0 read as
// 0x123456789ABCDEF0 whatever the machine's own order.
#pragma once

#include <cstdint>
#include <cstring>

#if defined(_MSC_VER) && !defined(__clang__)
#include <stdlib.h>
#endif

inline uint64_t loadBigEndian64(const uint8_t* p) {
#if (defined(__GNUC__) || defined(__clang__)) && defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    uint64_t v;
    std::memcpy(&v, p, 8);
    return __builtin_bswap64(v);
#elif defined(_MSC_VER) && !defined(__clang__)
    uint64_t v;  // every MSVC target is little-endian
    std::memcpy(&v, p, 8);
    return _byteswap_uint64(v);
#else
    uint64_t v = 0;
    for (int i = 0; i < 8; ++i) v = v << 8 | p[i];
    return v;
#endif
}

inline uint32_t byteSwapped32(uint32_t v) {
#if defined(__GNUC__) || defined(__clang__)
    return __builtin_bswap32(v);
#else
    return (v >> 24) | ((v >> 8) & 0xFF00u) | ((v << 8) & 0xFF0000u) | (v << 24);
#endif
}

// True when one of the word's bytes is 0xFF: the zero-byte test on its
// complement. For 0x12FF3456 the complement 0xED00CBA9 has a zero byte.
inline bool holdsByteFF(uint64_t word) {
    const uint64_t inverted = ~word;
    return ((inverted - 0x0101010101010101u) & ~inverted & 0x8080808080808080u) != 0;
}
