// The vector loops of the lattice core against the one-sample literal
// definitions (tests/reference/lattice_literal.*), bit for bit, on every
// instruction set this processor has.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "core/random.h"
#include "core/simd.h"
#include "synth/noise2d.h"
#include "tests/reference/lattice_literal.h"

namespace tsn {
namespace {

// The paths this processor has; each test pins them in turn.
std::vector<SimdPath> Paths() {
    std::vector<SimdPath> paths;
    for (SimdPath p : {SimdPath::Sse2, SimdPath::Avx2, SimdPath::Avx512})
        if (SimdPathAvailable(p)) paths.push_back(p);
    return paths;
}

struct Unpin {
    ~Unpin() { UnpinSimdPath(); }
};

bool Same(double a, double b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}
bool Same(float a, float b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// Points scattered over a few hundred cells either side of 0, and some
// on cell edges exactly.
void Scatter(std::uint32_t seed, double scale, int n, std::vector<double>* u,
             std::vector<double>* v) {
    Rng r;
    r.Seed(seed);
    u->resize(n);
    v->resize(n);
    for (int i = 0; i < n; ++i) {
        (*u)[i] = (r.Next() - 16384) / 32768.0 * scale;
        (*v)[i] = (r.Next() - 16384) / 32768.0 * scale;
        if (i % 17 == 0) (*u)[i] = double(int((*u)[i]));
    }
}

TEST(LatticeCore, FieldRowsEqualTheLiteralFieldOnEveryPath) {
    Unpin unpin;
    std::vector<double> u, v, out, line;
    // More points than one pass, and not a whole number of vectors.
    constexpr int kPoints = 613;
    // Points over many cells, and over a few (as a warp leaves a row).
    for (double spread : {40.0, 2.5})
        for (SimdPath path : Paths()) {
            Scatter(99, spread, kPoints, &u, &v);
            ASSERT_TRUE(PinSimdPath(path));
            for (std::uint32_t basis = 0; basis < kBasisCount; ++basis)
                for (std::uint32_t fractal = 0; fractal < kFractalCount; ++fractal)
                    for (int variant = 0; variant < 4; ++variant) {
                        const bool tile = variant & 1, warp = variant & 2;
                        NoiseSettings s;
                        s.basis = basis;
                        s.fractal = fractal;
                        s.cellular = (fractal + variant) % kCellCount;
                        s.octaves = 5;
                        s.lacunarity = 2.3;
                        s.gain = 0.6;
                        s.warp = warp ? 1.7 : 0.0;
                        s.tile = tile;
                        s.periodX = 7;
                        s.periodY = 3;
                        Rng rng;
                        rng.Seed(1000 + basis * 16 + fractal * 4 + variant);
                        NoiseField f;
                        BuildNoiseField(s, rng, &f);
                        out.assign(kPoints, 0.0);
                        NoiseRow(f, u.data(), v.data(), false, kPoints, out.data());
                        for (int i = 0; i < kPoints; ++i)
                            ASSERT_TRUE(Same(out[i], reference::LiteralField(f, u[i], v[i])))
                                << "path " << int(path) << " basis " << basis << " fractal "
                                << fractal << " variant " << variant << " at " << u[i] << ","
                                << v[i] << ": " << out[i] << " against "
                                << reference::LiteralField(f, u[i], v[i]);
                        // A row: every sample on the line v[0].
                        line.assign(kPoints, 0.0);
                        NoiseRow(f, u.data(), v.data(), true, kPoints, line.data());
                        for (int i = 0; i < kPoints; ++i)
                            ASSERT_TRUE(Same(line[i], reference::LiteralField(f, u[i], v[0])))
                                << "row, path " << int(path) << " basis " << basis << " fractal "
                                << fractal << " variant " << variant << " at " << u[i];
                    }
        }
}

// Rows as the kinds lay them out, evenly spaced, and the same samples
// shuffled: narrow and wide spacings (few or many lattice columns per
// vector of samples, and more columns than samples), negative and wrapped
// columns, cell edges, and lengths that leave every kind of remainder.
TEST(LatticeCore, RowsEqualTheLiteralFieldOnEveryPath) {
    Unpin unpin;
    const double steps[] = {0.0013, 0.07, 0.37, 0.93, 1.0, 2.6};
    const double starts[] = {-37.2, 0.0, 5.5};
    const int lengths[] = {1, 7, 9, 256, 613};
    std::vector<double> u, out;
    for (SimdPath path : Paths()) {
        ASSERT_TRUE(PinSimdPath(path));
        for (std::uint32_t basis : {kBasisValue, kBasisPerlin, kBasisSimplex, kBasisCellular})
            for (int variant = 0; variant < (basis == kBasisCellular ? 6 : 2); ++variant) {
                // Tiled and not; cellular noise in each of its outputs.
                const bool tile = variant & 1;
                NoiseSettings s;
                s.basis = basis;
                s.cellular = std::uint32_t(variant / 2);
                s.octaves = 4;
                s.lacunarity = 2.3;
                s.tile = tile;
                s.periodX = 5;
                s.periodY = 3;
                Rng rng;
                rng.Seed(77 + basis * 8 + variant);
                NoiseField f;
                BuildNoiseField(s, rng, &f);
                for (double step : steps)
                    for (double start : starts)
                        for (int n : lengths)
                            for (bool shuffle : {false, true}) {
                                u.resize(n);
                                for (int i = 0; i < n; ++i) u[i] = start + i * step;
                                if (shuffle) {
                                    Rng order;
                                    order.Seed(n);
                                    for (int i = n - 1; i > 0; --i)
                                        std::swap(u[i], u[order.Next() % (i + 1)]);
                                }
                                const double v = start * 0.7 - 1.0;
                                out.assign(n, 0.0);
                                NoiseRow(f, u.data(), &v, true, n, out.data());
                                for (int i = 0; i < n; ++i)
                                    ASSERT_TRUE(Same(out[i], reference::LiteralField(f, u[i], v)))
                                        << "path " << int(path) << " basis " << basis << " variant "
                                        << variant << " step " << step << " start " << start
                                        << " n " << n << " shuffled " << shuffle << " at " << u[i];
                            }
            }
    }
}

// Rows that share their points, evaluated together as the kinds paint
// them: each row at its own v, in every fractal mode, tiled and not, with
// and without warp (which takes them a row at a time), and with spacings
// whose columns take a row table or, past one column a sample, none.
TEST(LatticeCore, RowsTogetherEqualTheLiteralFieldOnEveryPath) {
    Unpin unpin;
    const double vs[] = {-3.4, 0.0, 0.41, 2.5, 7.3, 7.9, 11.0, 40.6};
    std::vector<double> u, out;
    for (SimdPath path : Paths()) {
        ASSERT_TRUE(PinSimdPath(path));
        for (std::uint32_t basis : {kBasisValue, kBasisPerlin, kBasisSimplex})
            for (std::uint32_t fractal = 0; fractal < kFractalCount; ++fractal)
                for (int variant = 0; variant < 4; ++variant) {
                    NoiseSettings s;
                    s.basis = basis;
                    s.fractal = fractal;
                    s.octaves = 5;
                    s.tile = variant & 1;
                    s.periodX = 7;
                    s.periodY = 4;
                    s.warp = variant & 2 ? 1.5 : 0.0;
                    Rng rng;
                    rng.Seed(500 + basis * 40 + fractal * 4 + variant);
                    NoiseField f;
                    BuildNoiseField(s, rng, &f);
                    for (double step : {0.0013, 0.37, 2.6})
                        for (int n : {1, 9, 613})
                            for (int rows : {1, 3, 8}) {
                                u.resize(n);
                                for (int i = 0; i < n; ++i) u[i] = -5.3 + i * step;
                                const std::ptrdiff_t stride = n + 5;
                                out.assign(std::size_t(stride) * rows, 99.0);
                                NoiseRows(f, u.data(), vs, rows, n, out.data(), stride);
                                for (int r = 0; r < rows; ++r) {
                                    for (int i = 0; i < n; ++i)
                                        ASSERT_TRUE(Same(out[r * stride + i],
                                                         reference::LiteralField(f, u[i], vs[r])))
                                            << "path " << int(path) << " basis " << basis
                                            << " fractal " << fractal << " variant " << variant
                                            << " step " << step << " n " << n << " row " << r;
                                    // Nothing between the rows is touched.
                                    for (int i = n; i < stride; ++i)
                                        ASSERT_EQ(out[r * stride + i], 99.0);
                                }
                            }
                }
    }
}

void RandomTables(std::uint32_t seed, LatticeTables* t, std::vector<float>* weight) {
    Rng r;
    r.Seed(seed);
    for (int i = 0; i < kLattice; ++i) t->perm[i] = i;
    for (int i = kLattice - 1; i > 0; --i) std::swap(t->perm[i], t->perm[r.Next() % (i + 1)]);
    for (int i = 0; i < kLattice; ++i) t->perm[kLattice + i] = t->perm[i];
    weight->resize(kLattice);
    for (int i = 0; i < kLattice; ++i) {
        const float a = float(r.Next()) / 32768.0f * 6.2831853f;
        t->gradX[i] = float(std::cos(a));
        t->gradY[i] = float(std::sin(a));
        t->jitterX[i] = float(r.Next()) / 32768.0f;
        t->jitterY[i] = float(r.Next()) / 32768.0f;
        t->value[i] = float(r.Next()) / 32767.0f;
        (*weight)[i] = 0.12f * float(r.Next()) / 32767.0f;
    }
}

TEST(LatticeCore, GradientRowsEqualTheLiteralOnEveryPath) {
    Unpin unpin;
    static LatticeTables t;
    std::vector<float> weight;
    RandomTables(4711, &t, &weight);
    constexpr int kPoints = 257;
    std::vector<double> u, v;
    const LatticeOctave octaves[] = {{0, 0, 17, 900}, {12, 5, 1023, 3}, {1, 1, 0, 0}};
    // Points over many cells, and over a few (a row, or a warped row, read
    // through a table); spread 0 is a warped row itself, neighbours a small
    // step apart along a curve that crosses rows of cells.
    for (double spread : {300.0, 60.0, 4.0, 0.0})
        for (SimdPath path : Paths()) {
            Scatter(5, spread, kPoints, &u, &v);
            for (int i = 0; spread == 0.0 && i < kPoints; ++i) {
                u[i] = -3.2 + i * 0.037;
                v[i] = 1.5 + 0.8 * std::sin(i * 0.05);
            }
            std::vector<float> x(u.begin(), u.end()), y(v.begin(), v.end()), out(kPoints);
            ASSERT_TRUE(PinSimdPath(path));
            for (const LatticeOctave& o : octaves)
                for (bool quintic : {false, true})
                    for (bool line : {false, true}) {
                        GradientRow(
                            {&t, o, quintic, x.data(), y.data(), line, kPoints, out.data()});
                        for (int i = 0; i < kPoints; ++i) {
                            const float expected =
                                reference::LiteralGradient(t, o, quintic, x[i], line ? y[0] : y[i]);
                            ASSERT_TRUE(Same(out[i], expected))
                                << "spread " << spread << " path " << int(path) << " period "
                                << o.periodX << " quintic " << quintic << " line " << line << " at "
                                << x[i] << ": " << out[i] << " against " << expected;
                        }
                    }
        }
}

TEST(LatticeCore, PowerCellsEqualTheLiteralOnEveryPath) {
    Unpin unpin;
    static LatticeTables t;
    std::vector<float> weight;
    RandomTables(815, &t, &weight);
    constexpr int kPoints = 301;
    std::vector<double> u, v;
    const LatticeOctave octaves[] = {{0, 0, 400, 7}, {9, 14, 3, 1000}};
    // Points over many cells, and over a few (as a warped row leaves them,
    // read through a block table): over 12 x 12 cells sixteen of them reach
    // past what one permutation holds, over 4 x 4 they do not.
    for (double spread : {200.0, 12.0, 4.0})
        for (SimdPath path : Paths()) {
            Scatter(6, spread, kPoints, &u, &v);
            std::vector<float> x(u.begin(), u.end()), y(v.begin(), v.end());
            std::vector<int> cell(kPoints), next(kPoints);
            std::vector<float> edge(kPoints), ox(kPoints), oy(kPoints);
            ASSERT_TRUE(PinSimdPath(path));
            for (const LatticeOctave& o : octaves) {
                PowerCells({&t, weight.data(), o, x.data(), y.data(), kPoints, cell.data(),
                            next.data(), edge.data(), ox.data(), oy.data()});
                for (int i = 0; i < kPoints; ++i) {
                    const reference::LiteralCell c =
                        reference::LiteralPowerCell(t, weight.data(), o, x[i], y[i]);
                    ASSERT_EQ(cell[i], c.cell) << "path " << int(path) << " at " << i;
                    ASSERT_EQ(next[i], c.next) << "path " << int(path) << " at " << i;
                    ASSERT_TRUE(Same(edge[i], c.edge) && Same(ox[i], c.ox) && Same(oy[i], c.oy))
                        << "path " << int(path) << " at " << i;
                }
            }
        }
}

}  // namespace
}  // namespace tsn
