// The 8x8 inverse DCT's 1-D pass written once for every vector width: each
// vector holds the same input (x0..x7) of several columns or rows. All lane
// arithmetic wraps at 32 bits and shifts are arithmetic, exactly as in the
// plain transform, so every lane gives the plain transform's bits.
//
// V supplies: type T; add, sub (wrapping), mulConst<c> (low 32 bits of the
// product with a constant 0 < c < 32768), shiftRight<n> (arithmetic),
// constant(v) (every lane v). The pair form below also needs
// pairDot<lo, hi>: each 32-bit lane read as two 16-bit halves (low half
// first), lo * low + hi * high.
#pragma once

#include <cstdint>

namespace idct_simd {

constexpr int32_t C1 = 4017, C2 = 3784, C3 = 3406, C4 = 2896, C5 = 2276, C6 = 1567, C7 = 799;

// The butterfly once its eight products are known:
// a = C7 x1 - C1 x7, b = C1 x1 + C7 x7, c = C3 x5 - C5 x3, d = C5 x5 + C3 x3,
// e0 = C4 (x0 + x4), e1 = C4 (x0 - x4), f = C6 x2 - C2 x6, g = C2 x2 + C6 x6.
// Every output takes e0 or e1 exactly once, so the descaling rounding
// constant added to those two reaches all eight for two additions, not eight;
// wrapping addition is associative, so the bits stay those of adding it last.
template <class V>
inline void butterflyTail(typename V::T a, typename V::T b, typename V::T c, typename V::T d, typename V::T e0,
                          typename V::T e1, typename V::T f, typename V::T g, int32_t rounding,
                          typename V::T* y) {
    using T = typename V::T;
    T p0 = V::add(a, c), p1 = V::sub(a, c), p2 = V::sub(b, d), p3 = V::add(b, d);
    const T half12 = V::constant(2048);
    T m1 = V::template mulConst<C4>(V::template shiftRight<12>(V::add(V::sub(p2, p1), half12)));
    T m2 = V::template mulConst<C4>(V::template shiftRight<12>(V::add(V::add(p2, p1), half12)));
    const T r = V::constant(rounding);
    e0 = V::add(e0, r);
    e1 = V::add(e1, r);
    T E0 = V::add(e0, g), E3 = V::sub(e0, g), E1 = V::add(e1, f), E2 = V::sub(e1, f);
    y[0] = V::add(E0, p3);
    y[7] = V::sub(E0, p3);
    y[1] = V::add(E1, m2);
    y[6] = V::sub(E1, m2);
    y[2] = V::add(E2, m1);
    y[5] = V::sub(E2, m1);
    y[3] = V::add(E3, p0);
    y[4] = V::sub(E3, p0);
}

// x: eight 32-bit vectors x0..x7; y: the outputs with rounding added.
template <class V>
inline void butterfly8(const typename V::T* x, int32_t rounding, typename V::T* y) {
    butterflyTail<V>(V::sub(V::template mulConst<C7>(x[1]), V::template mulConst<C1>(x[7])),
                     V::add(V::template mulConst<C1>(x[1]), V::template mulConst<C7>(x[7])),
                     V::sub(V::template mulConst<C3>(x[5]), V::template mulConst<C5>(x[3])),
                     V::add(V::template mulConst<C5>(x[5]), V::template mulConst<C3>(x[3])),
                     V::template mulConst<C4>(V::add(x[0], x[4])), V::template mulConst<C4>(V::sub(x[0], x[4])),
                     V::sub(V::template mulConst<C6>(x[2]), V::template mulConst<C2>(x[6])),
                     V::add(V::template mulConst<C2>(x[2]), V::template mulConst<C6>(x[6])), rounding, y);
}

// The same pass on inputs that fit 16 bits, held as pairs: q[0] = (x0, x4),
// q[1] = (x1, x7), q[2] = (x2, x6), q[3] = (x3, x5), the first of each pair
// in the low half of the lane. A pair's two products and their sum are exact
// in 32 bits (at most 32768 * (2896 + 2896) = 189792256 in size), as are the
// plain transform's on such inputs, so each product pair comes from one
// multiply-add instead of two 32-bit multiplies.
template <class V>
inline void butterfly8Pairs(const typename V::T* q, int32_t rounding, typename V::T* y) {
    butterflyTail<V>(V::template pairDot<C7, -C1>(q[1]), V::template pairDot<C1, C7>(q[1]),
                     V::template pairDot<-C5, C3>(q[3]), V::template pairDot<C3, C5>(q[3]),
                     V::template pairDot<C4, C4>(q[0]), V::template pairDot<C4, -C4>(q[0]),
                     V::template pairDot<C6, -C2>(q[2]), V::template pairDot<C2, C6>(q[2]), rounding, y);
}

// Column pass descaling: three fraction bits kept.
constexpr int32_t kColumnRounding = 256;
constexpr int kColumnShift = 9;
// Row pass descaling; the results still need truncating to 16 bits.
constexpr int32_t kRowRounding = 65536;
constexpr int kRowShift = 17;

template <class V, int Shift>
inline void shiftAll(typename V::T* y) {
    for (int i = 0; i < 8; ++i) y[i] = V::template shiftRight<Shift>(y[i]);
}

template <class V>
inline void columnPass(const typename V::T* x, typename V::T* out) {
    butterfly8<V>(x, kColumnRounding, out);
    shiftAll<V, kColumnShift>(out);
}

template <class V>
inline void rowPass(const typename V::T* x, typename V::T* out) {
    butterfly8<V>(x, kRowRounding, out);
    shiftAll<V, kRowShift>(out);
}

template <class V>
inline void columnPassPairs(const typename V::T* q, typename V::T* out) {
    butterfly8Pairs<V>(q, kColumnRounding, out);
    shiftAll<V, kColumnShift>(out);
}

// On 16-bit inputs nothing wraps and |y| <= 32768 * 21643 (the rounding
// included), so these outputs lie within +-5411 and need no truncating.
template <class V>
inline void rowPassPairs(const typename V::T* q, typename V::T* out) {
    butterfly8Pairs<V>(q, kRowRounding, out);
    shiftAll<V, kRowShift>(out);
}

// The samples of a block whose only non-zero coefficient is the DC term, all
// 64 equal: (dc * C4 + 256) >> 9 after the columns, that times C4 after the
// rows, with the transform's own wrapping and shifts, truncated and clamped.
inline int16_t dcOnlySample(int16_t dc) {
    uint32_t column = static_cast<uint32_t>(static_cast<int32_t>(dc) * C4) + 256u;
    int32_t workspace = static_cast<int32_t>(column) >> 9;
    uint32_t row = static_cast<uint32_t>(workspace) * static_cast<uint32_t>(C4) + 65536u;
    int32_t sample = static_cast<int16_t>(static_cast<int32_t>(row) >> 17);
    return static_cast<int16_t>(sample < -128 ? -128 : (sample > 127 ? 127 : sample));
}

}  // namespace idct_simd
