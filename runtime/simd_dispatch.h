// Which vector instruction sets the build compiles kernels for, and which one
// this processor runs. Both the decoder and the encoder pick their inner
// loops from this one decision.
#pragma once

// Vector kernels: SSE2 (always there on x86-64) and AVX2 (when the processor
// has it) on x86-64, NEON on AArch64; other targets use the plain loops.
#if defined(__x86_64__) || defined(_M_X64)
#define KELJPEG_X86_KERNELS 1
#else
#define KELJPEG_X86_KERNELS 0
#endif
#if defined(__aarch64__) || defined(_M_ARM64)
#define KELJPEG_NEON_KERNELS 1
#else
#define KELJPEG_NEON_KERNELS 0
#endif

// Functions of an AVX2 file are compiled for AVX2 (they only run where it exists).
#if defined(__clang__)
#define KELJPEG_BEGIN_AVX2 _Pragma("clang attribute push(__attribute__((target(\"avx2\"))), apply_to = function)")
#define KELJPEG_END_AVX2 _Pragma("clang attribute pop")
#elif defined(__GNUC__)
#define KELJPEG_BEGIN_AVX2 _Pragma("GCC push_options") _Pragma("GCC target(\"avx2\")")
#define KELJPEG_END_AVX2 _Pragma("GCC pop_options")
#else
#define KELJPEG_BEGIN_AVX2
#define KELJPEG_END_AVX2
#endif

enum class SimdLevel { Scalar, Sse2, Avx2, Neon };

// The best level this processor runs among those compiled in.
SimdLevel bestSimdLevel();

// True when the environment variable KELJPEG_FORCE_SCALAR (any value but "0")
// asks for the plain loops.
bool scalarKernelsRequested();
