// Clouds' field on the sphere (three planar projections of a periodic
// field, each optionally twisted by the field and carrying finer copies of
// it) written once over a lanes type V (core/double_lanes_*.h), compiled once per instruction set.
#pragma once

#include "kinds/clouds/clouds_lanes.h"

namespace tsn {
namespace {

template <class V>
struct CloudFieldLanes {
    using D = typename V::D;
    using F = typename V::F;
    using I = typename V::I;
    const CloudFieldJob& job;
    D n;
    I mask;
    float weights[4];

    explicit CloudFieldLanes(const CloudFieldJob& j) : job(j), n(V::Set(double(j.n))) {
        mask = V::SetI(j.n - 1);
        float w = 1;
        for (int o = 0; o < 4; ++o) {
            weights[o] = w;
            w *= 0.16f;
        }
    }

    // Bilinear sample of the periodic field at (u, v) in cells.
    F Sample(D u, D v) const {
        const D fu = V::Floor(u), fv = V::Floor(v);
        const F tu = V::ToFloat(V::Sub(u, fu)), tv = V::ToFloat(V::Sub(v, fv));
        // Rows of n + 1: row j starts at j * 2^bits + j; a cell's two values
        // in a row come as one pair.
        const I i0 = V::AndI(V::Trunc(fu), mask), j0 = V::AndI(V::Trunc(fv), mask);
        const I j1 = V::AndI(V::AddI(j0, V::SetI(1)), mask);
        const I row0 = V::AddI(V::ShiftLeftI(j0, job.bits), j0);
        const I row1 = V::AddI(V::ShiftLeftI(j1, job.bits), j1);
        F r00, r01, r10, r11;
        V::GatherPairs(job.f, V::AddI(row0, i0), &r00, &r01);
        V::GatherPairs(job.f, V::AddI(row1, i0), &r10, &r11);
        const F a = V::FAdd(r00, V::FMul(tu, V::FSub(r01, r00)));
        const F b = V::FAdd(r10, V::FMul(tu, V::FSub(r11, r10)));
        return V::FAdd(a, V::FMul(tv, V::FSub(b, a)));
    }

    // One planar projection at (a, b) in field periods, offset by (ox, oy).
    F Plane(D a, D b, double ox, double oy) const {
        D u = V::Mul(V::Add(a, V::Set(ox)), n), v = V::Mul(V::Add(b, V::Set(oy)), n);
        const double cells = job.n;
        if (job.twist) {
            const D k = V::Set(job.swirl * cells * 0.32);
            const D du = V::ToDouble(
                Sample(V::Add(u, V::Set(0.37 * cells)), V::Add(v, V::Set(0.71 * cells))));
            const D dv = V::ToDouble(
                Sample(V::Add(u, V::Set(0.83 * cells)), V::Add(v, V::Set(0.19 * cells))));
            u = V::Add(u, V::Mul(k, du));
            v = V::Add(v, V::Mul(k, dv));
        }
        F total = Sample(u, v);
        const D finer = V::Set(4.3), shiftU = V::Set(0.29 * cells), shiftV = V::Set(0.53 * cells);
        for (int o = 1; o < job.octaves; ++o) {
            u = V::Add(V::Mul(u, finer), shiftU);
            v = V::Add(V::Mul(v, finer), shiftV);
            total = V::FAdd(total, V::FMul(V::FSet(weights[o]), Sample(u, v)));
        }
        return total;
    }

    void Run() const {
        constexpr int N = V::kLanes;
        const D scale = V::Set(job.scale), least = V::Set(0.01);
        for (int i = 0; i < job.count; i += N) {
            const D x = V::Load(job.x + i), y = V::Load(job.y + i), z = V::Load(job.z + i);
            D wx = V::Mul(x, x), wy = V::Mul(y, y), wz = V::Mul(z, z);
            wx = V::Mul(wx, wx);
            wy = V::Mul(wy, wy);
            wz = V::Mul(wz, wz);
            const D sum = V::Add(V::Add(wx, wy), wz);
            wx = V::Div(wx, sum);
            wy = V::Div(wy, sum);
            wz = V::Div(wz, sum);
            // A plane that weighs under a hundredth in a lane adds nothing
            // there; a plane no lane needs is not sampled at all.
            D v = V::Set(0.0);
            const auto plane = [&](D w, D a, D b, double ox, double oy) {
                const auto needed = V::GreaterEqual(w, least);
                if (!V::Any(needed)) return;
                const D p = V::ToDouble(Plane(V::Mul(a, scale), V::Mul(b, scale), ox, oy));
                v = V::Select(needed, V::Add(v, V::Mul(w, p)), v);
            };
            plane(wx, y, z, job.offset, 0.11);
            plane(wy, z, x, 0.47 + job.offset, 0.61);
            plane(wz, x, y, 0.23, 0.89 + job.offset);
            const D norm = V::Sqrt(V::Add(V::Add(V::Mul(wx, wx), V::Mul(wy, wy)), V::Mul(wz, wz)));
            V::StoreFloat(job.out + i, V::ToFloat(V::Div(v, norm)));
        }
    }
};

template <class V>
void CloudFieldOf(const CloudFieldJob& job) {
    CloudFieldLanes<V>(job).Run();
}

// e^x for -745 < x <= 0 with DetExp's operations in its order: k = x / ln 2
// rounded half away from zero, the remainder's Taylor series, times 2^k.
template <class V>
typename V::D ExpLanes(typename V::D x) {
    using D = typename V::D;
    constexpr double kInvLn2 = 1.44269504088896338700e+00;
    constexpr double kLn2Hi = 6.93147180369123816490e-01;
    constexpr double kLn2Lo = 1.90821492927058770002e-10;
    const D zero = V::Set(0.0);
    const D q = V::Mul(x, V::Set(kInvLn2));
    const D t = V::Select(V::Less(q, zero), V::Negate(q), q);
    const D whole = V::FromInt(V::Trunc(V::Add(t, V::Set(0.5))));
    const D k = V::Select(V::Less(q, zero), V::Negate(whole), whole);
    const D r = V::Sub(V::Sub(x, V::Mul(k, V::Set(kLn2Hi))), V::Mul(k, V::Set(kLn2Lo)));
    D p = V::Set(1.0 / 87178291200.0);
    constexpr double inv[] = {6227020800.0, 479001600.0, 39916800.0, 3628800.0, 362880.0, 40320.0,
                              5040.0,       720.0,       120.0,      24.0,      6.0,      2.0};
    for (double d : inv) p = V::Add(V::Mul(p, r), V::Set(1.0 / d));
    p = V::Add(V::Mul(p, r), V::Set(1.0));
    p = V::Add(V::Mul(p, r), V::Set(1.0));
    return V::Mul(p, V::TwoTo(V::Trunc(k)));
}

template <class V>
void CloudHaloOf(const CloudHaloJob& job) {
    using D = typename V::D;
    constexpr int N = V::kLanes;
    const D radius = V::Set(job.radius), air = V::Set(job.air), one = V::Set(1.0);
    const D zero = V::Set(0.0), six = V::Set(6.0);
    const D sunX = V::Set(job.sunX), sunY = V::Set(job.sunY), sunZ = V::Set(job.sunZ);
    // Smooth(-0.4, 0.6, x) and the backlight, as Scene::Halo has them.
    const double e0 = -0.4, e1 = 0.6;
    const D low = V::Set(e0), width = V::Set(e1 - e0), three = V::Set(3.0), two = V::Set(2.0);
    const double back = 0.0 < -job.sunZ ? -job.sunZ : 0.0;  // std::max(0.0, -sunZ)
    const D backlight = V::Set(1.2 * back * back * back);
    for (int i = 0; i < job.count; i += N) {
        const D d = V::Load(job.d + i);
        const D h = V::Div(V::Sub(V::Div(d, radius), one), air);
        const D rimX = V::Div(V::Load(job.dx + i), d), rimY = V::Div(V::Load(job.dy + i), d);
        const D dot = V::Add(V::Add(V::Mul(rimX, sunX), V::Mul(rimY, sunY)), V::Mul(zero, sunZ));
        D t = V::Div(V::Sub(dot, low), width);
        t = V::Select(V::Less(t, zero), zero, t);
        t = V::Select(V::Less(one, t), one, t);
        const D lit = V::Mul(V::Mul(t, t), V::Sub(three, V::Mul(two, t)));
        const D strength = V::Mul(V::Add(lit, backlight), ExpLanes<V>(V::Mul(V::Set(-1.6), h)));
        const D k = V::Mul(V::Set(0.85), strength);
        // Beyond six glow heights there is no glow.
        const auto beyond = V::Less(six, h);
        V::Store(job.r + i, V::Select(beyond, zero, V::Mul(V::Set(job.red), k)));
        V::Store(job.g + i, V::Select(beyond, zero, V::Mul(V::Set(job.green), k)));
        V::Store(job.b + i, V::Select(beyond, zero, V::Mul(V::Set(job.blue), k)));
    }
}

}  // namespace
}  // namespace tsn
