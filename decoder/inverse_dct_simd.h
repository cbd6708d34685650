// The 8x8 inverse DCT's 1-D pass written once for every vector width: each
// vector holds the same input (x0..x7) of several columns or rows. All lane
// arithmetic wraps at 32 bits and shifts are arithmetic, exactly as in the
// plain transform, so every lane gives the plain transform's bits.
//
// V supplies: type T; add, sub (wrapping), mulConst<c> (low 32 bits of the
// product with a constant 0 < c < 32768), shiftRight<n> (arithmetic),
// constant(v) (every lane v).
#pragma once

#include <cstdint>

namespace idct_simd {

constexpr int32_t C1 = 4017, C2 = 3784, C3 = 3406, C4 = 2896, C5 = 2276, C6 = 1567, C7 = 799;

template <class V>
inline void butterfly8(const typename V::T* x, typename V::T* y) {
    using T = typename V::T;
    T a = V::sub(V::template mulConst<C7>(x[1]), V::template mulConst<C1>(x[7]));
    T b = V::add(V::template mulConst<C1>(x[1]), V::template mulConst<C7>(x[7]));
    T c = V::sub(V::template mulConst<C3>(x[5]), V::template mulConst<C5>(x[3]));
    T d = V::add(V::template mulConst<C5>(x[5]), V::template mulConst<C3>(x[3]));
    T p0 = V::add(a, c), p1 = V::sub(a, c), p2 = V::sub(b, d), p3 = V::add(b, d);
    const T half12 = V::constant(2048);
    T m1 = V::template mulConst<C4>(V::template shiftRight<12>(V::add(V::sub(p2, p1), half12)));
    T m2 = V::template mulConst<C4>(V::template shiftRight<12>(V::add(V::add(p2, p1), half12)));
    T e0 = V::template mulConst<C4>(V::add(x[0], x[4]));
    T e1 = V::template mulConst<C4>(V::sub(x[0], x[4]));
    T f = V::sub(V::template mulConst<C6>(x[2]), V::template mulConst<C2>(x[6]));
    T g = V::add(V::template mulConst<C2>(x[2]), V::template mulConst<C6>(x[6]));
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

// Column pass descaling: three fraction bits kept.
template <class V>
inline void columnPass(const typename V::T* x, typename V::T* out) {
    typename V::T y[8];
    butterfly8<V>(x, y);
    const typename V::T half = V::constant(256);
    for (int i = 0; i < 8; ++i) out[i] = V::template shiftRight<9>(V::add(y[i], half));
}

// Row pass descaling; the results still need truncating to 16 bits.
template <class V>
inline void rowPass(const typename V::T* x, typename V::T* out) {
    typename V::T y[8];
    butterfly8<V>(x, y);
    const typename V::T half = V::constant(65536);
    for (int i = 0; i < 8; ++i) out[i] = V::template shiftRight<17>(V::add(y[i], half));
}

}  // namespace idct_simd
