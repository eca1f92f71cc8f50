// The lane loop of mandelbrot_lanes.h written once over a vector type V,
// compiled once per instruction set; internal linkage only, as for the
// noise rows.
#pragma once

#include <immintrin.h>

#include "kinds/mandelbrot/mandelbrot_lanes.h"

namespace tsn {
namespace {

// Two registers of points iterated until all have escaped or the limit is
// reached; a lane that has escaped keeps computing but is no longer counted.
template <class V>
void MandelbrotLanesOf(const double* cr, double ci, std::uint16_t limit, std::uint16_t* out) {
    using D = typename V::D;
    constexpr int N = V::kLanes;
    const D four = V::Set(4.0), two = V::Set(2.0), vci = V::Set(ci);
    const D crA = V::Load(cr), crB = V::Load(cr + N);
    D aA = V::Mul(crA, crA), aB = V::Mul(crB, crB);
    D bA = V::Mul(vci, vci), bB = bA;
    D zrA = V::Add(V::Sub(aA, bA), crA), zrB = V::Add(V::Sub(aB, bB), crB);
    D ziA = V::Add(V::Mul(V::Mul(two, crA), vci), vci);
    D ziB = V::Add(V::Mul(V::Mul(two, crB), vci), vci);
    typename V::Live liveA = V::AllLive(), liveB = liveA;
    typename V::Steps stepsA = V::NoSteps(), stepsB = stepsA;
    const int rounds = std::uint16_t(limit - 1);
    for (int k = 0; k < rounds; ++k) {
        liveA = V::StillLive(liveA, V::Add(aA, bA), four);
        liveB = V::StillLive(liveB, V::Add(aB, bB), four);
        if (!V::Any(liveA, liveB)) break;
        aA = V::Mul(zrA, zrA);
        aB = V::Mul(zrB, zrB);
        bA = V::Mul(ziA, ziA);
        bB = V::Mul(ziB, ziB);
        ziA = V::Add(V::Mul(V::Mul(ziA, two), zrA), vci);
        ziB = V::Add(V::Mul(V::Mul(ziB, two), zrB), vci);
        zrA = V::Add(V::Sub(aA, bA), crA);
        zrB = V::Add(V::Sub(aB, bB), crB);
        stepsA = V::Count(stepsA, liveA);
        stepsB = V::Count(stepsB, liveB);
    }
    alignas(64) std::int64_t steps[2 * N];
    V::StoreSteps(steps, stepsA);
    V::StoreSteps(steps + N, stepsB);
    // |c| > 4 in either part counts 0 (a NaN compares false).
    const bool rowOutside = ci > 4 || ci < -4;
    for (int i = 0; i < 2 * N; ++i) {
        const bool outside = rowOutside || cr[i] > 4 || cr[i] < -4;
        out[i] = outside ? 0 : std::uint16_t(1 + steps[i]);
    }
}

}  // namespace
}  // namespace tsn
