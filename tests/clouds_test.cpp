#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "app/kind_list.h"
#include "core/detmath.h"
#include "core/image.h"
#include "kind/page_transfer.h"
#include "kind/render_step.h"
#include "kinds/clouds.h"
#include "kinds/clouds/clouds_lanes.h"
#include "tests/reference/clouds_literal.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

const int kClouds = FindKind("clouds");

CloudsParameters* Block(test::Session& s) {
    return reinterpret_cast<CloudsParameters*>(BlockAt(s.rec(), kCloudsOffset));
}

// Renders what the page shows; `asBlockHolds` renders the block's values
// as they stand, as a preset holds them.
std::vector<std::uint8_t> Render(test::Session& s, bool asBlockHolds = false) {
    if (!asBlockHolds)
        PageToBlock(*kCloudsKind.page, s.rec()->dialog, BlockAt(s.rec(), kCloudsOffset));
    const MemHandle h = RenderTakingValues(kCloudsKind, s.rec());
    std::vector<std::uint8_t> bytes = test::BlockBytes(h);
    MemFree(h);
    return bytes;
}

// The FFT-built field, split across the cores, against the direct Fourier
// sum of the same coefficients: conjugate placement, the rows' and columns'
// frequencies, the zero Nyquist terms and the scaling.
TEST(Clouds, FieldEqualsTheDirectFourierSum) {
    for (int bits : {3, 5}) {
        const int n = 1 << bits;
        const std::vector<double> ref = reference::LiteralCloudField(4242, 1.7, n);
        const MemHandle h = CloudField(4242, 1.7, bits);
        const auto* f = static_cast<const float*>(MemLock(h));
        ASSERT_NE(f, nullptr);
        for (std::size_t i = 0; i < ref.size(); ++i)
            ASSERT_NEAR(f[i], ref[i], 2e-4) << n << " " << i;
        MemUnlock(h);
        MemFree(h);
    }
}

// Each coefficient has its own seed, so a finer grid only adds detail: a
// coarse grid is the fine one with its high frequencies dropped, and the
// two agree closely at the coarse grid's points.
TEST(Clouds, ASmallerGridHoldsTheSameField) {
    const MemHandle coarse = CloudField(77, 2.2, 5), fine = CloudField(77, 2.2, 7);
    const auto* c = static_cast<const float*>(MemLock(coarse));
    const auto* f = static_cast<const float*>(MemLock(fine));
    ASSERT_TRUE(c && f);
    double err = 0;
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 32; ++x) err += std::fabs(c[y * 32 + x] - f[(4 * y) * 128 + 4 * x]);
    EXPECT_LT(err / 1024, 0.1);
    MemUnlock(coarse);
    MemUnlock(fine);
    MemFree(coarse);
    MemFree(fine);
}

// Points of the unit sphere the field kernel must get right: anywhere, on
// the axes and their diagonals (where planes drop out), and just either
// side of the weight below which a plane is not sampled.
std::vector<std::array<double, 3>> SpherePoints() {
    std::vector<std::array<double, 3>> points;
    std::mt19937 gen(2024);
    std::normal_distribution<double> normal;
    for (int i = 0; i < 300; ++i) {
        const double x = normal(gen), y = normal(gen), z = normal(gen);
        const double len = std::sqrt(x * x + y * y + z * z);
        points.push_back({x / len, y / len, z / len});
    }
    for (int a = 0; a < 3; ++a)
        for (double s : {1.0, -1.0}) {
            std::array<double, 3> p{0, 0, 0};
            p[a] = s;
            points.push_back(p);
            p[(a + 1) % 3] = s * 0.7;
            points.push_back(p);
        }
    // Neighbouring pixels of a disc 900 pixels across, along two rows: the
    // kernels read such runs from one stretch of a row of the grid.
    for (const double y : {-0.21, 0.63})
        for (int x = -300; x < 300; x += 3) {
            const double px = x / 450.0, z = std::sqrt(1 - px * px - y * y);
            points.push_back({px, y, z});
        }
    // x^4 / (x^4 + 2 y^4) = 0.01 at x = y * (2 / 99)^(1/4).
    const double edge = std::pow(2.0 / 99.0, 0.25);
    for (double k : {edge * 0.999999, edge, edge * 1.000001, edge * 1.01})
        points.push_back(
            {k / std::sqrt(k * k + 2), -1 / std::sqrt(k * k + 2), 1 / std::sqrt(k * k + 2)});
    return points;
}

// The field kernel on every vector path against the literal scalar field,
// bit for bit: grids of several sizes, one to four octaves, twisted or not,
// scales that reach far outside the grid's first period, and runs that end
// in the middle of a vector.
TEST(Clouds, FieldKernelGivesTheScalarFieldsBitsOnEveryPath) {
    const auto points = SpherePoints();
    for (int bits : {4, 6, 9}) {
        const int n = 1 << bits;
        const MemHandle h = CloudField(99, 1.9, bits);
        const auto* f = static_cast<const float*>(MemLock(h));
        ASSERT_NE(f, nullptr);
        // Rows of n + 1, the first value repeated at the end.
        std::vector<float> wrapped(std::size_t(n + 1) * n);
        for (int y = 0; y < n; ++y)
            for (int x = 0; x <= n; ++x) wrapped[y * (n + 1) + x] = f[y * n + (x & (n - 1))];
        test::ForEachSimdPath([&](const std::string& path) {
            int mismatches = 0;
            for (int octaves = 1; octaves <= 4; ++octaves)
                for (const bool twist : {false, true})
                    for (const double scale : {0.05, 1.0, 7.3, 30.4}) {
                        const double swirl = twist ? 0.7 : 0.0, offset = 0.57;
                        for (const int count : {1, 7, 9, int(points.size())}) {
                            std::vector<double> x(count + kMaxDoubleLanes),
                                y(count + kMaxDoubleLanes), z(count + kMaxDoubleLanes);
                            for (int i = 0; i < count + kMaxDoubleLanes; ++i) {
                                const auto& p = points[std::min(i, count - 1)];
                                x[i] = p[0];
                                y[i] = p[1];
                                z[i] = p[2];
                            }
                            std::vector<float> out(count + kMaxDoubleLanes, -99.0f);
                            CloudFieldKernel()({wrapped.data(), n, bits, octaves, swirl, x.data(),
                                                y.data(), z.data(), count, scale, offset, twist,
                                                out.data()});
                            for (int i = 0; i < count; ++i) {
                                const float want = reference::LiteralSphereField(
                                    f, n, octaves, swirl, x[i], y[i], z[i], scale, offset, twist);
                                mismatches += std::memcmp(&want, &out[i], sizeof want) != 0;
                            }
                        }
                    }
            EXPECT_EQ(mismatches, 0) << path << " grid " << n;
        });
        MemUnlock(h);
        MemFree(h);
    }
}

// The glow kernel on every vector path against the literal glow, bit for
// bit: from the disc's edge out past six glow heights, all round the disc,
// for suns in front, to the side and behind, and runs ending mid vector.
TEST(Clouds, GlowKernelGivesTheScalarGlowsBitsOnEveryPath) {
    const double radius = 1234.5;
    // Points spread evenly over 0 to 6.5 glow heights and all round.
    auto ring = [&](double air, std::vector<double>* d, std::vector<double>* dx,
                    std::vector<double>* dy) {
        for (int i = 0; i < 523; ++i) {
            const double spread = i * 0.6180339887 - std::floor(i * 0.6180339887);
            const double reach = radius * (1 + air * 6.5 * spread);
            const double angle = i * 0.7853;
            d->push_back(reach);
            dx->push_back(reach * DetCos(angle));
            dy->push_back(reach * DetSin(angle));
        }
    };
    const std::array<double, 3> suns[] = {
        {0, 0, 1}, {0.6, -0.3, 0.74}, {-0.2, 0.9, -0.38}, {0.0, 0.0, -1.0}};
    test::ForEachSimdPath([&](const std::string& path) {
        int mismatches = 0, glowing = 0;
        for (const auto& sun : suns)
            for (const double air : {0.01, 0.05, 0.3}) {
                std::vector<double> d, dx, dy;
                ring(air, &d, &dx, &dy);
                for (const int count : {1, 5, int(d.size())}) {
                    const std::size_t room = std::size_t(count) + kMaxDoubleLanes;
                    std::vector<double> cd(room), cx(room), cy(room), r(room), g(room), b(room);
                    for (std::size_t i = 0; i < room; ++i) {
                        const std::size_t k = std::min<std::size_t>(i, count - 1);
                        cd[i] = d[k];
                        cx[i] = dx[k];
                        cy[i] = dy[k];
                    }
                    CloudHaloKernel()({cd.data(), cx.data(), cy.data(), count, radius, air, sun[0],
                                       sun[1], sun[2], 96.0, 176.0, 255.0, r.data(), g.data(),
                                       b.data()});
                    for (int i = 0; i < count; ++i) {
                        const double want[3] = {
                            reference::LiteralHalo(d[i], dx[i], dy[i], radius, air, sun[0], sun[1],
                                                   sun[2], 96.0),
                            reference::LiteralHalo(d[i], dx[i], dy[i], radius, air, sun[0], sun[1],
                                                   sun[2], 176.0),
                            reference::LiteralHalo(d[i], dx[i], dy[i], radius, air, sun[0], sun[1],
                                                   sun[2], 255.0)};
                        const double got[3] = {r[i], g[i], b[i]};
                        mismatches += std::memcmp(want, got, sizeof want) != 0;
                        glowing += want[0] > 0;
                    }
                }
            }
        EXPECT_EQ(mismatches, 0) << path;
        EXPECT_GT(glowing, 500) << path;
    });
}

// Whole pictures agree on every vector path: the field, the levels the
// probes set and the colouring of each run of pixels.
TEST(Clouds, EveryVectorPathDrawsTheSamePicture) {
    const char* sets[][2] = {{"bands", "60"}, {"land", "100"}, {"ice", "100"}, {"land", "0"}};
    for (const auto& set : sets) {
        std::vector<std::uint8_t> first;
        test::ForEachSimdPath([&](const std::string& path) {
            test::Session s;
            test::Enter(s, kClouds, "width", "283");
            test::Enter(s, kClouds, "depth", "211");
            test::Enter(s, kClouds, set[0], set[1]);
            const std::vector<std::uint8_t> picture = Render(s);
            ASSERT_FALSE(picture.empty());
            if (first.empty())
                first = picture;
            else
                EXPECT_EQ(picture, first) << path << " " << set[0];
        });
    }
}

// Fields at their limits, beyond them and damaged, as a preset may hold
// them: every render succeeds.
TEST(Clouds, ExtremeAndDamagedValuesRender) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    for (int k = 0; k < 4; ++k) {
        test::Session s;
        test::Enter(s, kClouds, "width", k == 3 ? "16" : "96");
        test::Enter(s, kClouds, "depth", "64");
        CloudsParameters* b = Block(s);
        const std::int32_t big = k % 2 ? 2147483647 : -2147483647 - 1;
        b->gridBits = big;
        b->roughness = k == 0 ? nan : k == 1 ? inf : k == 2 ? -inf : 1e300;
        b->scale = k == 0 ? inf : k == 1 ? nan : k == 2 ? 0.0 : -1e300;
        b->cover = b->radius = b->land = b->swirl = b->bands = b->glow = b->ice = big;
        b->lightAngle = b->phase = b->spin = b->tilt = b->centreX = b->centreY = big;
        b->stars = k % 2 ? 100000000 : -5;
        EXPECT_FALSE(Render(s, true).empty()) << k;
    }
}

}  // namespace
}  // namespace tsn
