// Builds the code between TSN_TARGET_BEGIN("avx2") and TSN_TARGET_END for a
// wider instruction set than the rest of the program, with GCC's or clang's
// own pragma. Include the standard headers before the first, so that only
// our own code is built for the wider set.
#pragma once

#define TSN_PRAGMA(...) _Pragma(#__VA_ARGS__)
#if defined(__clang__)
#define TSN_TARGET_BEGIN(isa) \
    TSN_PRAGMA(clang attribute push(__attribute__((target(isa))), apply_to = function))
#define TSN_TARGET_END TSN_PRAGMA(clang attribute pop)
#else
// GCC 12 reports the deliberately undefined inputs of its own AVX-512
// intrinsics as uninitialised.
#define TSN_TARGET_BEGIN(isa)    \
    TSN_PRAGMA(GCC push_options) \
    TSN_PRAGMA(GCC target(isa)) TSN_PRAGMA(GCC diagnostic ignored "-Wmaybe-uninitialized")
#define TSN_TARGET_END TSN_PRAGMA(GCC pop_options)
#endif
