// The forward DCT's 8-point pass written once for every vector width: each
// vector holds the same input (x0..x7) of several columns or rows. Lane
// arithmetic is 32-bit with arithmetic shifts, exactly as in forwardDct.
//
// V supplies: type T; add, sub, mulConst<c> (low 32 bits of the product with
// a constant 0 < c < 32768), shiftRight<n> (arithmetic), shiftLeft<n>,
// constant(v).
#pragma once

#include <cstdint>

namespace encoder {
namespace fdct_simd {

constexpr int32_t kC4 = 2896, kE1 = 2217, kE2 = 3135, kE3 = 7569;
constexpr int32_t kO1 = 1130, kO2 = 4551, kO3 = 6811, kO4 = 4816, kO5 = 8034, kO6 = 1598;

template <class V>
inline void kernel(const typename V::T* x, typename V::T* y) {
    using T = typename V::T;
    T s07 = V::add(x[0], x[7]), s34 = V::add(x[3], x[4]), s16 = V::add(x[1], x[6]), s25 = V::add(x[2], x[5]);
    T d = V::sub(s07, s34), e = V::sub(s16, s25);
    y[0] = V::add(V::add(s07, s34), V::add(s16, s25));
    y[4] = V::sub(V::add(s07, s34), V::add(s16, s25));
    T t = V::template mulConst<kE1>(V::add(d, e));
    y[2] = V::add(t, V::template mulConst<kE2>(d));
    y[6] = V::sub(t, V::template mulConst<kE3>(e));

    T a = V::sub(x[0], x[7]), b = V::sub(x[3], x[4]), p = V::sub(x[1], x[6]), q = V::sub(x[2], x[5]);
    const T half12 = V::constant(2048);
    T m = V::template shiftRight<12>(V::add(V::template mulConst<kC4>(V::sub(p, q)), half12));
    T n = V::template shiftRight<12>(V::add(V::template mulConst<kC4>(V::add(q, p)), half12));
    T u = V::add(a, n), w = V::sub(a, n), v = V::add(b, m), z = V::sub(b, m);
    T r = V::template mulConst<kO1>(V::add(v, u));
    y[1] = V::add(r, V::template mulConst<kO2>(u));
    y[7] = V::sub(r, V::template mulConst<kO3>(v));
    T s = V::template mulConst<kO4>(V::add(w, z));
    y[3] = V::sub(s, V::template mulConst<kO5>(z));
    y[5] = V::sub(s, V::template mulConst<kO6>(w));
}

// First pass (x[k] = row k of several columns): rows 0 and 4 exact times 8,
// the others with three fraction bits.
template <class V>
inline void columnPass(const typename V::T* x, typename V::T* out) {
    typename V::T y[8];
    kernel<V>(x, y);
    const typename V::T half = V::constant(256);
    for (int k = 0; k < 8; ++k) out[k] = V::template shiftRight<9>(V::add(y[k], half));
    out[0] = V::template shiftLeft<3>(y[0]);
    out[4] = V::template shiftLeft<3>(y[4]);
}

// Second pass (x[k] = column k of several rows); results still to be
// truncated to 16 bits.
template <class V>
inline void rowPass(const typename V::T* x, typename V::T* out) {
    typename V::T y[8];
    kernel<V>(x, y);
    const typename V::T half = V::constant(16384), four = V::constant(4);
    for (int k = 0; k < 8; ++k) out[k] = V::template shiftRight<15>(V::add(y[k], half));
    out[0] = V::template shiftRight<3>(V::add(y[0], four));
    out[4] = V::template shiftRight<3>(V::add(y[4], four));
}

}  // namespace fdct_simd
}  // namespace encoder
