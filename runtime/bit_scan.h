// Bit scans with a compiler intrinsic where there is one (GCC and Clang
// builtins, MSVC's _BitScan family) and a plain loop elsewhere.
#pragma once

#include <cstdint>

#if defined(_MSC_VER) && !defined(__clang__)
#include <intrin.h>
#endif

// Bits needed to write v: 0 for 0, 3 for 5, 11 for 2047.
inline uint32_t bitLength(uint32_t v) {
    if (v == 0) return 0;
#if defined(__GNUC__) || defined(__clang__)
    return 32u - static_cast<uint32_t>(__builtin_clz(v));
#elif defined(_MSC_VER)
    unsigned long index;
    _BitScanReverse(&index, v);
    return static_cast<uint32_t>(index) + 1;
#else
    uint32_t n = 0;
    while (v >> n) ++n;
    return n;
#endif
}

// The position of the lowest set bit of v, which must not be 0.
inline uint32_t lowestSetBit(uint64_t v) {
#if defined(__GNUC__) || defined(__clang__)
    return static_cast<uint32_t>(__builtin_ctzll(v));
#elif defined(_MSC_VER) && defined(_M_X64)
    unsigned long index;
    _BitScanForward64(&index, v);
    return static_cast<uint32_t>(index);
#else
    uint32_t n = 0;
    while (!((v >> n) & 1)) ++n;
    return n;
#endif
}
