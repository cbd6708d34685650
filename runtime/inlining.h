// Keeps a rarely taken path out of a hot loop, so that the loop's state can
// stay in registers: GCC and Clang's attribute, MSVC's declspec.
#pragma once

#if defined(__GNUC__) || defined(__clang__)
#define KELJPEG_NOINLINE __attribute__((noinline))
#elif defined(_MSC_VER)
#define KELJPEG_NOINLINE __declspec(noinline)
#else
#define KELJPEG_NOINLINE
#endif

// Puts a routine inside its caller where the compiler would not on its own,
// so that the caller's reader state stays in registers across the call.
#if defined(__GNUC__) || defined(__clang__)
#define KELJPEG_ALWAYS_INLINE inline __attribute__((always_inline))
#elif defined(_MSC_VER)
#define KELJPEG_ALWAYS_INLINE __forceinline
#else
#define KELJPEG_ALWAYS_INLINE inline
#endif
