#include "tests/reference/clouds_literal.h"

#include <cmath>

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

}  // namespace tsn::reference
