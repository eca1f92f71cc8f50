// Which vector instructions the per-pixel loops use. Every path performs the
// same floating-point operations in the same order, so they all give the
// same bits; the widest one the processor has is chosen at start-up, and
// tests and benchmarks can pin a narrower one.
#pragma once

#include <atomic>

namespace tsn {

enum class SimdPath { Sse2 = 0, Avx2 = 1, Avx512 = 2 };

// Lanes of doubles in the widest vector (AVX-512); row loops on double lanes
// leave this much room past their last value.
constexpr int kMaxDoubleLanes = 8;

inline bool SimdPathAvailable(SimdPath path) {
#if defined(__GNUC__) && (defined(__x86_64__) || defined(_M_X64))
    switch (path) {
        case SimdPath::Sse2:
            return true;
        case SimdPath::Avx2:
            return __builtin_cpu_supports("avx2");
        case SimdPath::Avx512:
            return __builtin_cpu_supports("avx512f");
    }
    return false;
#else
    return path == SimdPath::Sse2;
#endif
}

inline SimdPath BestSimdPath() {
    static const SimdPath best = SimdPathAvailable(SimdPath::Avx512) ? SimdPath::Avx512
                                 : SimdPathAvailable(SimdPath::Avx2) ? SimdPath::Avx2
                                                                     : SimdPath::Sse2;
    return best;
}

// -1: the best available.
inline std::atomic<int>& PinnedSimdPath() {
    static std::atomic<int> pinned{-1};
    return pinned;
}

// Pins `path` (if the processor has it) for the renders that follow; false
// when it does not. UnpinSimdPath returns to the best.
inline bool PinSimdPath(SimdPath path) {
    if (!SimdPathAvailable(path)) return false;
    PinnedSimdPath() = int(path);
    return true;
}
inline void UnpinSimdPath() {
    PinnedSimdPath() = -1;
}

inline SimdPath ActiveSimdPath() {
    const int pinned = PinnedSimdPath().load();
    return pinned < 0 ? BestSimdPath() : SimdPath(pinned);
}

// One job's kernel built for each instruction set (a function, or a small
// record of a function and what goes with it, such as its lane count).
template <class Kernel>
struct SimdKernels {
    Kernel sse2, avx2, avx512;
};

// The kernel of the active path: the one dispatch every vector loop uses.
template <class Kernel>
Kernel ActiveKernel(const SimdKernels<Kernel>& kernels) {
    switch (ActiveSimdPath()) {
        case SimdPath::Avx512:
            return kernels.avx512;
        case SimdPath::Avx2:
            return kernels.avx2;
        default:
            return kernels.sse2;
    }
}

}  // namespace tsn
