// The row loop of noise_rows.h written once over a vector type V, compiled
// once per instruction set. Included by one source file per instruction set,
// inside no other namespace: everything here has internal linkage, so no
// code built for a wider instruction set can stand in for baseline code.
#pragma once

#include <immintrin.h>

#include "kinds/noise/noise_rows.h"

namespace tsn {
namespace {

template <class V>
inline typename V::F NoiseLerp(typename V::F t, typename V::F a, typename V::F b) {
    return V::Add(a, V::Mul(t, V::Sub(b, a)));
}

template <class V>
void NoiseRowOf(const NoiseRowJob& job) {
    using F = typename V::F;
    using I = typename V::I;
    constexpr int N = V::kLanes;
    const F divisor = V::Set(job.divisor), scale = V::Set(job.scale);
    const F offset = V::Set(4096.0f), one = V::Set(1.0f), two = V::Set(2.0f), three = V::Set(3.0f);
    const F sy = V::Set(job.sy), sz = V::Set(job.sz);
    const I first = V::SetI(job.firstCell), last = V::SetI(job.width - 1);
    const float* gx = job.cells;
    const float* py = job.cells + 8 * job.stride;
    const float* pz = job.cells + 16 * job.stride;
    const std::size_t s = job.stride;
    for (int x = 0; x < job.width; x += N) {
        // Lanes past the row's end repeat its last pixel and are dropped.
        const I column = V::MinI(V::AddI(V::SetI(x), V::Iota()), last);
        const F t = V::Add(V::Mul(V::Div(V::FromInt(column), divisor), scale), offset);
        const I cell = V::Trunc(t);
        const F r0 = V::Sub(t, V::FromInt(cell));
        const F r1 = V::Sub(r0, one);
        const F sx = V::Mul(V::Mul(r0, r0), V::Sub(three, V::Mul(two, r0)));
        const typename V::Index at = V::MakeIndex(V::SubI(cell, first));
        auto dot = [&](int k, F rx) {
            const F gxk = V::Look(at, gx + k * s), pyk = V::Look(at, py + k * s),
                    pzk = V::Look(at, pz + k * s);
            return V::Add(V::Add(V::Mul(rx, gxk), pyk), pzk);
        };
        F a = NoiseLerp<V>(sx, dot(0, r0), dot(1, r1));
        F b = NoiseLerp<V>(sx, dot(2, r0), dot(3, r1));
        const F c = NoiseLerp<V>(sy, a, b);
        a = NoiseLerp<V>(sx, dot(4, r0), dot(5, r1));
        b = NoiseLerp<V>(sx, dot(6, r0), dot(7, r1));
        const F d = NoiseLerp<V>(sy, a, b);
        const I grey = V::Grey(NoiseLerp<V>(sz, c, d));
        if (x + N <= job.width) {
            V::StoreI(job.grey + x, V::AddI(V::LoadI(job.grey + x), grey));
        } else {
            alignas(64) std::int32_t lanes[N];
            V::StoreI(lanes, grey);
            for (int i = 0; i < job.width - x; ++i) job.grey[x + i] += lanes[i];
        }
    }
}

}  // namespace
}  // namespace tsn
