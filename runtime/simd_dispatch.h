// Which vector instruction sets the build compiles kernels for, and which one
// this processor runs. Both the decoder and the encoder pick their inner
// loops from this one decision.
#pragma once

#include <atomic>
#include <vector>

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

// One kernel table's sets, the plain one and those the build compiled for
// each level (null where it has none), and the choice among them.
template <class Set>
struct KernelSets {
    const Set* plain;
    const Set* sse2;
    const Set* avx2;
    const Set* neon;
    // Written once at start-up (or by a test's switch), read for every MCU row.
    mutable std::atomic<const Set*> chosen;
};

// The best set this processor runs.
template <class Set>
const Set& bestSet(const KernelSets<Set>& sets) {
    const SimdLevel level = bestSimdLevel();
    if (level == SimdLevel::Avx2 && sets.avx2) return *sets.avx2;
    if ((level == SimdLevel::Avx2 || level == SimdLevel::Sse2) && sets.sse2) return *sets.sse2;
    if (level == SimdLevel::Neon && sets.neon) return *sets.neon;
    return *sets.plain;
}

// The set for this process: the best, or the plain one when the environment
// asks for it, chosen on first use.
template <class Set>
const Set& chosenSet(const KernelSets<Set>& sets) {
    const Set* set = sets.chosen.load(std::memory_order_acquire);
    if (!set) {
        set = scalarKernelsRequested() ? sets.plain : &bestSet(sets);
        sets.chosen.store(set, std::memory_order_release);
    }
    return *set;
}

// Tests: true selects the plain set from now on, false the best.
template <class Set>
void forcePlainSet(const KernelSets<Set>& sets, bool plain) {
    sets.chosen.store(plain ? sets.plain : &bestSet(sets), std::memory_order_release);
}

// Every set this processor runs, the plain one first: what tests compare.
template <class Set>
std::vector<const Set*> runnableSets(const KernelSets<Set>& sets) {
    std::vector<const Set*> runnable = {sets.plain};
    const SimdLevel level = bestSimdLevel();
    if (sets.sse2 && (level == SimdLevel::Sse2 || level == SimdLevel::Avx2)) runnable.push_back(sets.sse2);
    if (sets.avx2 && level == SimdLevel::Avx2) runnable.push_back(sets.avx2);
    if (sets.neon && level == SimdLevel::Neon) runnable.push_back(sets.neon);
    return runnable;
}
