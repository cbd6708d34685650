#include "runtime/simd_dispatch.h"

#include <cstdlib>
#include <cstring>

SimdLevel bestSimdLevel() {
#if KELJPEG_X86_KERNELS && (defined(__GNUC__) || defined(__clang__))
    return __builtin_cpu_supports("avx2") ? SimdLevel::Avx2 : SimdLevel::Sse2;
#elif KELJPEG_X86_KERNELS
    return SimdLevel::Sse2;
#elif KELJPEG_NEON_KERNELS
    return SimdLevel::Neon;
#else
    return SimdLevel::Scalar;
#endif
}

bool scalarKernelsRequested() {
    const char* value = std::getenv("KELJPEG_FORCE_SCALAR");
    return value && *value && std::strcmp(value, "0") != 0;
}
