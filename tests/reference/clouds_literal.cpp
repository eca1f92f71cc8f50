#include "tests/reference/clouds_literal.h"

#include <algorithm>
#include <cmath>

#include "core/detmath.h"
#include "core/random.h"

namespace tsn::reference {

namespace {

std::uint32_t Mix(std::uint32_t seed, int kx, int ky) {
    std::uint32_t h = seed * 0x9E3779B1u;
    h ^= std::uint32_t(kx + 0x8000) * 0x85EBCA77u;
    h = (h ^ (h >> 15)) * 0x2C1B3C6Du;
    h ^= std::uint32_t(ky + 0x8000) * 0xC2B2AE3Du;
    h = (h ^ (h >> 13)) * 0x297A2D39u;
    return h ^ (h >> 16);
}

}  // namespace

std::vector<double> LiteralCloudField(std::uint32_t seed, double roughness, int n) {
    const double pi = 3.14159265358979323846;
    std::vector<double> f(std::size_t(n) * n, 0.0);
    for (int ky = 0; ky < n / 2; ++ky)
        for (int kx = -n / 2 + 1; kx < n / 2; ++kx) {
            if (ky == 0 && kx <= 0) continue;
            Rng rng;
            rng.Seed(Mix(seed, kx, ky));
            const int sum = rng.Next() + rng.Next() + rng.Next() + rng.Next();
            // Four uniform draws: mean 2 * 32767, deviation 32767 / sqrt(3).
            const double gauss = (sum - 2.0 * 32767.0) / (32767.0 / std::sqrt(3.0));
            const double a = gauss * std::pow(double(kx * kx + ky * ky), -roughness / 2);
            const double phase = rng.Next() * 2 * pi / 32768;
            const double re = a * std::cos(phase), im = a * std::sin(phase);
            // The term and its conjugate at (-kx, -ky) sum to twice the real
            // part of (re + i im) exp(-i theta).
            for (int y = 0; y < n; ++y)
                for (int x = 0; x < n; ++x) {
                    const double t = 2 * pi * double(kx * x + ky * y) / n;
                    f[std::size_t(y) * n + x] += 2 * (re * std::cos(t) + im * std::sin(t));
                }
        }
    double sq = 0;
    for (double v : f) sq += v * v;
    const double k = 1 / std::sqrt(sq / double(f.size()));
    for (double& v : f) v *= k;
    return f;
}

namespace {

// Bilinear sample of the n x n periodic field at (u, v) in cells.
float Sample(const float* f, int n, double u, double v) {
    const double fu = std::floor(u), fv = std::floor(v);
    const float tu = float(u - fu), tv = float(v - fv);
    const int mask = n - 1;
    const int i0 = int(fu) & mask, j0 = int(fv) & mask;
    const int i1 = (i0 + 1) & mask, j1 = (j0 + 1) & mask;
    const float* r0 = f + std::size_t(j0) * n;
    const float* r1 = f + std::size_t(j1) * n;
    const float a = r0[i0] + tu * (r0[i1] - r0[i0]);
    const float b = r1[i0] + tu * (r1[i1] - r1[i0]);
    return a + tv * (b - a);
}

float Plane(const float* f, int n, int octaves, double swirl, double a, double b, double ox,
            double oy, bool twist) {
    double u = (a + ox) * n, v = (b + oy) * n;
    if (twist) {
        const double k = swirl * n * 0.32;
        const double du = Sample(f, n, u + 0.37 * n, v + 0.71 * n);
        const double dv = Sample(f, n, u + 0.83 * n, v + 0.19 * n);
        u += k * du;
        v += k * dv;
    }
    float total = Sample(f, n, u, v), weight = 1;
    for (int o = 1; o < octaves; ++o) {
        u = u * 4.3 + 0.29 * n;
        v = v * 4.3 + 0.53 * n;
        weight *= 0.16f;
        total += weight * Sample(f, n, u, v);
    }
    return total;
}

}  // namespace

float LiteralSphereField(const float* f, int n, int octaves, double swirl, double x, double y,
                         double z, double scale, double offset, bool twist) {
    double wx = x * x, wy = y * y, wz = z * z;
    wx *= wx;
    wy *= wy;
    wz *= wz;
    const double sum = wx + wy + wz;
    wx /= sum;
    wy /= sum;
    wz /= sum;
    double v = 0;
    if (wx >= 0.01)
        v += wx * Plane(f, n, octaves, swirl, y * scale, z * scale, offset, 0.11, twist);
    if (wy >= 0.01)
        v += wy * Plane(f, n, octaves, swirl, z * scale, x * scale, 0.47 + offset, 0.61, twist);
    if (wz >= 0.01)
        v += wz * Plane(f, n, octaves, swirl, x * scale, y * scale, 0.23, 0.89 + offset, twist);
    return float(v / std::sqrt(wx * wx + wy * wy + wz * wz));
}

double LiteralHalo(double d, double dx, double dy, double radius, double air, double sunX,
                   double sunY, double sunZ, double channel) {
    const double h = (d / radius - 1.0) / air;
    if (h > 6) return 0;
    const double rimX = dx / d, rimY = dy / d, rimZ = 0.0;
    const double towardSun = rimX * sunX + rimY * sunY + rimZ * sunZ;
    const double e0 = -0.4, e1 = 0.6;
    const double t = std::clamp((towardSun - e0) / (e1 - e0), 0.0, 1.0);
    const double lit = t * t * (3 - 2 * t);
    const double back = std::max(0.0, -sunZ);
    const double strength = (lit + 1.2 * back * back * back) * DetExp(-1.6 * h);
    return channel * (0.85 * strength);
}

}  // namespace tsn::reference
