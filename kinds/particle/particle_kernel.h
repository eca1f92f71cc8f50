// Particle's row loop written once over a lanes type V (core/double_lanes_*.h),
// compiled once per instruction set.
#pragma once

#include "kinds/particle/particle_lanes.h"

namespace tsn {
namespace {

template <class V>
void ParticleRowOf(const ParticleRowJob& job) {
    using D = typename V::D;
    using M = typename V::M;
    constexpr int N = V::kLanes;
    const D zero = V::Set(0.0), one = V::Set(1.0), half = V::Set(0.5), sx = V::Set(job.sx);
    const D v = V::Set(job.v);
    for (int x = 0; x < job.count; x += N) {
        // Lanes past the row's end repeat its last pixel and are dropped.
        const int last = x + N <= job.count ? x + N - 1 : job.count - 1;
        const D column = V::Min(V::Add(V::Set(double(x)), V::Iota()), V::Set(double(last)));
        const D u = V::Mul(V::Add(column, half), sx);
        const D cell = V::FloorNonNegative(u);
        const int c0 = int(V::First(cell)), c1 = int(V::Last(cell));
        D best = one, grey = V::Set(-1.0);
        for (int c = c0; c <= c1; ++c) {
            const ParticleSegment* s = job.segments + job.first[c];
            const ParticleSegment* end = job.segments + job.first[c + 1];
            if (s == end) continue;
            const M mine = V::Equal(cell, V::Set(double(c)));
            for (; s != end; ++s) {
                const D ox = V::Sub(u, V::Set(s->cx)), oy = V::Sub(v, V::Set(s->cy));
                if (s->point) {
                    const D k = V::Div(V::Add(V::Mul(ox, ox), V::Mul(oy, oy)), V::Set(s->r2));
                    const M take = V::And(mine, V::LessEqual(k, best));
                    best = V::Select(take, k, best);
                    grey = V::Select(take, V::Set(s->v0), grey);
                    continue;
                }
                const D hx = V::Set(s->hx), hy = V::Set(s->hy);
                // std::clamp(r, 0, 1): r < 0 gives 0, then 1 < r gives 1.
                D t = V::Div(V::Add(V::Mul(ox, hx), V::Mul(oy, hy)), V::Set(s->hh));
                t = V::Select(V::Less(t, zero), zero, t);
                t = V::Select(V::Less(one, t), one, t);
                const D dx = V::Sub(ox, V::Mul(t, hx)), dy = V::Sub(oy, V::Mul(t, hy));
                const D k = V::Div(V::Add(V::Mul(dx, dx), V::Mul(dy, dy)), V::Set(s->r2));
                const M take = V::And(mine, V::LessEqual(k, best));
                best = V::Select(take, k, best);
                grey = V::Select(
                    take, V::Add(V::Set(s->v0), V::Mul(V::Mul(half, t), V::Set(s->dv))), grey);
            }
        }
        V::Store(job.greys + x, grey);
    }
}

}  // namespace
}  // namespace tsn
