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
