#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "core/detmath.h"
#include "core/parallel.h"
#include "core/platform.h"
#include "core/random.h"
#include "synth/fft.h"
#include "synth/spectral.h"
#include "tests/reference/terrain_literal.h"

namespace tsn {
namespace {

// Not every platform's <cmath> defines M_PI in strict C++.
constexpr double kPi = 3.14159265358979323846;

// An n x n complex array in the one-based layout, element (0, 0) aligned as
// the product allocates it.
struct Array {
    MemHandle h = 0;
    float* a = nullptr;
    int n;
    explicit Array(int size) : n(size) { h = NewSpectrumArray(n, &a); }
    ~Array() {
        MemUnlock(h);
        MemFree(h);
    }
    std::size_t floats() const { return 2 * std::size_t(n) * n + 2; }
    std::vector<float> Copy() const { return std::vector<float>(a, a + floats()); }
    void Fill(std::uint32_t seed) {
        Rng rng;
        rng.Seed(seed);
        for (std::size_t k = 1; k < floats() - 1; ++k) a[k] = float(rng.Next() - 16384) / 16384.0f;
    }
};

double Rms(const std::vector<float>& v) {
    double s = 0;
    for (std::size_t k = 1; k + 1 < v.size(); ++k) s += double(v[k]) * v[k];
    return std::sqrt(s / double(v.size() - 2));
}

TEST(Fft, AgreesWithTheTextbookRoutineAndIgnoresTheThreadCount) {
    for (int n = 1; n <= 512; n *= 2) {
        Array x(n);
        ASSERT_NE(x.a, nullptr);
        x.Fill(std::uint32_t(n));
        std::vector<float> literal = x.Copy();
        reference::LiteralFourn(literal.data(), n, -1);
        const std::vector<float> input = x.Copy();

        SetWorkerThreads(1);
        ASSERT_TRUE(Fft2D(x.a + 1, n));
        const std::vector<float> oneCore = x.Copy();
        std::memcpy(x.a, input.data(), input.size() * sizeof(float));
        SetWorkerThreads(2);
        ASSERT_TRUE(Fft2D(x.a + 1, n));
        SetWorkerThreads(0);
        EXPECT_TRUE(x.Copy() == oneCore) << "n = " << n;

        // Float rounding differs between the two algorithms, nothing more.
        const double tolerance = 4e-6 * Rms(literal);
        double worst = 0;
        for (std::size_t k = 1; k + 1 < literal.size(); ++k)
            worst = std::max(worst, double(std::fabs(oneCore[k] - literal[k])));
        EXPECT_LE(worst, tolerance) << "n = " << n;
    }
}

// The sign of the exponent and the absence of normalisation are checked
// against the definition itself, at the largest size.
TEST(Fft, MatchesTheDefinitionAtTheLargestSize) {
    const int n = 1 << kMaxFftLog2;
    Array x(n);
    ASSERT_NE(x.a, nullptr);
    x.Fill(99);
    const std::vector<float> input = x.Copy();
    ASSERT_TRUE(Fft2D(x.a + 1, n));
    std::vector<double> c(n), s(n);
    for (int m = 0; m < n; ++m) {
        c[m] = std::cos(2 * kPi * m / n);
        s[m] = -std::sin(2 * kPi * m / n);
    }
    // Each output is a sum of n^2 terms of rms about 0.58.
    const double tolerance = 2e-5 * n * 0.58;
    for (const auto& [k, l] : {std::pair{0, 0}, {1, 0}, {0, 4095}, {1234, 3001}, {2048, 2048}}) {
        double re = 0, im = 0;
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j) {
                const int m = int((std::int64_t(k) * i + std::int64_t(l) * j) % n);
                const float* e = input.data() + 1 + 2 * (std::size_t(i) * n + j);
                re += e[0] * c[m] - e[1] * s[m];
                im += e[0] * s[m] + e[1] * c[m];
            }
        const float* got = x.a + 1 + 2 * (std::size_t(k) * n + l);
        EXPECT_NEAR(got[0], re, tolerance) << k << "," << l;
        EXPECT_NEAR(got[1], im, tolerance) << k << "," << l;
    }
}

TEST(Fft, RefusesBadSizesAndFailedAllocationWithoutTouchingTheData) {
    std::vector<float> v(2 * 24 * 24, 1.0f);
    const std::vector<float> before = v;
    EXPECT_FALSE(Fft2D(v.data(), 24));
    EXPECT_FALSE(Fft2D(v.data(), 0));
    EXPECT_FALSE(Fft2D(v.data(), 8192));
    MemFailAfter(0);
    EXPECT_FALSE(Fft2D(v.data(), 16));
    MemFailAfter(-1);
    EXPECT_TRUE(v == before);
}

// The coefficients drawn by hand from the generator, as the picture
// definition orders the draws.
TEST(Spectrum, DrawsPhaseThenGaussInTheDefinedOrder) {
    const int n = 8;
    const std::uint32_t seed = 4321;
    const double density = 2.4, exponent = -((3.0 - density) + 1.0) / 2.0;
    Array x(n);
    SynthesiseSpectrum(x.a, n, density, seed);
    auto cell = [&](int i, int j) { return x.a + 1 + 2 * (i * n + j); };

    Rng r;
    r.Seed(seed);
    const double gaussAdd = std::sqrt(12.0), gaussFac = 2 * gaussAdd / (4 * 32767.0);
    auto expect = [&](int i, int j, int fi, int fj, const char* what) {
        const double phase = r.Next() * (2 * kPi) / 32767.0;
        const int sum = r.Next() + r.Next() + r.Next() + r.Next();
        const double rad = DetPow(fi * fi + fj * fj, exponent) * (gaussFac * sum - gaussAdd);
        EXPECT_NEAR(cell(i, j)[0], rad * std::cos(phase), 1e-6) << what;
        EXPECT_NEAR(cell(i, j)[1], rad * std::sin(phase), 1e-6) << what;
    };
    EXPECT_EQ(cell(0, 0)[0], 0.0f);
    r.Next();  // the mean's phase, and nothing else
    expect(0, 1, 0, 1, "(0, 1)");
    EXPECT_EQ(cell(0, n - 1)[0], cell(0, 1)[0]);
    EXPECT_EQ(cell(0, n - 1)[1], -cell(0, 1)[1]);
    // Past the rest of the first quadrant (25 cells, 24 of them five draws).
    for (int k = 0; k < 25 * 5 - 4 - 1 - 5; ++k) r.Next();
    expect(1, n - 1, 1, 1, "first inner cell");
    EXPECT_EQ(cell(n - 1, 1)[1], -cell(1, n - 1)[1]);
    EXPECT_EQ(cell(n / 2, 0)[1], 0.0f);
    EXPECT_EQ(cell(0, n / 2)[1], 0.0f);
    EXPECT_EQ(cell(n / 2, n / 2)[1], 0.0f);
}

TEST(Spectrum, EqualsTheSequentialDrawsBitForBit) {
    for (int n : {1, 2, 4, 16, 64, 256})
        for (int threads : {1, 2}) {
            SetWorkerThreads(threads);
            Array x(n);
            SynthesiseSpectrum(x.a, n, 1.7, 31000u + n);
            const std::vector<float> literal = reference::LiteralSpectrum(31000u + n, 1.7, n);
            EXPECT_EQ(std::memcmp(x.a + 1, literal.data() + 1, (literal.size() - 2) * 4), 0)
                << "n = " << n << ", threads " << threads;
        }
    SetWorkerThreads(0);
}

std::vector<std::uint8_t> FastMap(const SpectralSettings& s, int* n) {
    const MemHandle h = SpectralHeightMap(s, n);
    if (!h) return {};
    const auto* p = static_cast<const std::uint8_t*>(MemLock(h));
    std::vector<std::uint8_t> out(p, p + MemSize(h));
    MemUnlock(h);
    MemFree(h);
    return out;
}

TEST(HeightMap, AgreesWithTheLiteralMapToWithinOneLevel) {
    const SpectralSettings cases[] = {
        {10356, 2.9, 1.0, 8}, {8764, 2.4, 1.0, 9}, {100, 0.1, 0.5, 6},
        {32757, 5.0, 1.5, 4}, {777, 1.2, 0.6, 10}, {4242, 3.3, 1.3, 11},
    };
    for (const SpectralSettings& s : cases) {
        int n = 0;
        const std::vector<std::uint8_t> fast = FastMap(s, &n);
        const std::vector<std::uint8_t> literal =
            reference::LiteralHeightMap(s.seed, s.density, s.elevation, 1 << s.meshPower);
        ASSERT_EQ(fast.size(), literal.size()) << "mesh " << s.meshPower;
        std::size_t differ = 0;
        int worst = 0;
        for (std::size_t k = 0; k < fast.size(); ++k) {
            differ += fast[k] != literal[k];
            worst = std::max(worst, std::abs(fast[k] - literal[k]));
        }
        EXPECT_LE(worst, 1) << "seed " << s.seed;
        EXPECT_LE(double(differ), 1e-4 * double(fast.size())) << "seed " << s.seed;
        // Both ends of the range are reached.
        EXPECT_EQ(*std::min_element(fast.begin(), fast.end() - n - 1), 0);
        EXPECT_EQ(*std::max_element(fast.begin(), fast.end() - n - 1), 255);
    }
}

TEST(HeightMap, GuardsFlatAndDamagedFields) {
    int n = 0;
    // One sample: the field is flat, so it is level mid-grey, guard included.
    EXPECT_EQ(FastMap({1, 2.9, 1.0, 0}, &n), (std::vector<std::uint8_t>{127, 127, 0}));
    EXPECT_EQ(n, 1);
    EXPECT_TRUE(FastMap({1, 2.9, 1.0, 13}, &n).empty());
    EXPECT_TRUE(FastMap({1, 2.9, 1.0, -1}, &n).empty());
    EXPECT_TRUE(FastMap({1, std::nan(""), 1.0, 5}, &n).empty());
    EXPECT_TRUE(FastMap({1, 2.9, std::nan(""), 5}, &n).empty());
    EXPECT_TRUE(FastMap({1, 1e300, 1.0, 5}, &n).empty());
    // mesh power 36 is read as 4, as the grid size is computed.
    EXPECT_EQ(FastMap({5, 2.9, 1.0, 36}, &n), FastMap({5, 2.9, 1.0, 4}, &n));
}

}  // namespace
}  // namespace tsn
