// CGI Granite's pictures, judged by what a user would see rather than by
// their bytes: grains of several pixels, not speckle; grains that grow with
// the picture and shrink with the frequency; a few distinct minerals in
// sensible shares, the dark ones in small flecks; and the seed fixing the
// pattern.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "noisesvc/noise_service.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

// The CGI Granite page's defaults, written out by hand.
constexpr std::uint32_t kDefaultColours[7] = {0x000000, 0x000000, 0xF2D8D8, 0xBFBFBF,
                                              0x7D74D2, 0x6271D2, 0xC0B0FF};

NoiseImageRequest Granite(std::uint32_t size = 256, double frequency = 2.0,
                          std::uint32_t seed = 1186, std::uint32_t quality = 1,
                          std::uint32_t octaves = 4) {
    NoiseImageRequest r;
    std::memset(&r, 0, sizeof r);
    r.kind = kNoiseGranite;
    r.granite.size = size;
    r.granite.tileable = 1;
    r.granite.seed = seed;
    r.granite.frequency = frequency;
    r.granite.octaves = octaves;
    r.granite.quality = quality;
    for (int i = 0; i < 7; ++i) r.granite.colours[i] = kDefaultColours[i];
    return r;
}

// The picture's pixels as colour words, row by row.
struct Pixels {
    int n = 0;
    std::vector<std::uint32_t> p;
    std::uint32_t operator()(int x, int y) const { return p[std::size_t(y) * n + x]; }
};
Pixels Render(const NoiseImageRequest& r) {
    Pixels out;
    test::Picture pic(CreateNoiseImage(&r));
    EXPECT_TRUE(pic.ok);
    if (!pic.ok) return out;
    out.n = pic.v.width;
    for (int y = 0; y < out.n; ++y)
        for (int x = 0; x < out.n; ++x) out.p.push_back(pic(x, y));
    return out;
}

int Step(std::uint32_t a, std::uint32_t b) {
    int d = 0;
    for (int c = 0; c < 24; c += 8) d += std::abs(int((a >> c) & 0xFF) - int((b >> c) & 0xFF));
    return d;
}

// Across rows and down columns: the mean step between neighbours, and the
// mean run of pixels between two neighbours that differ by more than 96
// (the three channels' differences summed), which is the grains' mean
// width where grains differ in colour.
struct Texture {
    double step = 0, run = 0;
};
Texture Measure(const Pixels& px) {
    long pairs = 0, edges = 0;
    double sum = 0;
    for (int y = 0; y < px.n; ++y)
        for (int x = 0; x + 1 < px.n; ++x)
            for (const int d : {Step(px(x, y), px(x + 1, y)), Step(px(y, x), px(y, x + 1))}) {
                ++pairs;
                sum += d;
                edges += d > 96;
            }
    return {sum / double(pairs), double(pairs) / double(edges + 1)};
}

// The old look, layers of cellular dots down to two pixels in seven
// equally likely colours, measured a step of 117 and runs of 3.7 pixels at
// 256: speckle. Grains a user reads as crystals are several pixels wide and
// their neighbours mostly alike.
TEST(Granite, GrainsAreSeveralPixelsAcrossNotSpeckle) {
    for (const auto& [size, frequency] :
         {std::pair{256u, 2.0}, std::pair{512u, 2.0}, std::pair{256u, 3.0}}) {
        const Texture t = Measure(Render(Granite(size, frequency)));
        EXPECT_GE(t.run, 6.0) << size << " " << frequency;
        EXPECT_LE(t.step, 60.0) << size << " " << frequency;
    }
    // Averaging 2 x 2 samples softens edges but keeps the grains.
    EXPECT_GE(Measure(Render(Granite(256, 2.0, 1186, 2))).run, 6.0);
}

// One request is one pattern on the unit square, so its crystals span more
// pixels in a larger picture (by less than the ratio of sizes, as finer
// crystals join in), and the frequency sets how many crystals run across
// it. With more octaves, which finer layers a picture has depends on the
// frequency too, so the crystals alone (one octave) show that.
TEST(Granite, GrainsGrowWithThePictureAndShrinkWithTheFrequency) {
    const double at256 = Measure(Render(Granite(256))).run;
    const double at1024 = Measure(Render(Granite(1024))).run;
    EXPECT_GE(at1024, 1.5 * at256);
    const double low = Measure(Render(Granite(256, 1.0, 1186, 1, 1))).run;
    const double high = Measure(Render(Granite(256, 3.0, 1186, 1, 1))).run;
    EXPECT_GE(low, 2.0 * high);
}

// Colours far apart, one for each role: 1 and 2 dark, 3 pale, 4 quartz, 5
// to 7 feldspar. Every pixel is put with the nearest of them.
TEST(Granite, AFewDistinctMineralsInSensibleShares) {
    const std::uint32_t colours[7] = {0x000000, 0x202020, 0xFFFFFF, 0x808080,
                                      0x0000FF, 0x0040FF, 0x4000FF};
    const int group[7] = {0, 0, 1, 2, 3, 3, 3};
    for (std::uint32_t seed : {1186u, 777u, 32000u}) {
        NoiseImageRequest r = Granite(256, 2.0, seed);
        for (int i = 0; i < 7; ++i) r.granite.colours[i] = colours[i];
        const Pixels px = Render(r);
        std::vector<int> mineral(px.p.size());
        long count[4] = {};
        for (std::size_t i = 0; i < px.p.size(); ++i) {
            int best = 0;
            for (int c = 1; c < 7; ++c)
                if (Step(px.p[i], colours[c]) < Step(px.p[i], colours[best])) best = c;
            mineral[i] = group[best];
            ++count[mineral[i]];
        }
        const double all = double(px.p.size());
        for (int g = 0; g < 4; ++g) EXPECT_GE(count[g] / all, 0.04) << seed << " mineral " << g;
        EXPECT_LE(count[0] / all, 0.15) << seed;  // the old look: 2 colours in 7 were black
        EXPECT_GE(count[3] / all, 0.4) << seed;
        // Mean widths along rows: the dark minerals are flecks between the
        // larger feldspar crystals.
        long runs[4] = {};
        for (int y = 0; y < px.n; ++y)
            for (int x = 0; x < px.n; ++x) {
                const int m = mineral[std::size_t(y) * px.n + x];
                if (x == 0 || mineral[std::size_t(y) * px.n + x - 1] != m) ++runs[m];
            }
        const double dark = double(count[0]) / double(runs[0]);
        const double feldspar = double(count[3]) / double(runs[3]);
        EXPECT_GE(feldspar, 1.5 * dark) << seed;
    }
}

TEST(Granite, TheSeedFixesThePattern) {
    const Pixels a = Render(Granite()), b = Render(Granite());
    EXPECT_EQ(a.p, b.p);
    const Pixels c = Render(Granite(256, 2.0, 1187));
    long differ = 0;
    for (std::size_t i = 0; i < a.p.size(); ++i) differ += Step(a.p[i], c.p[i]) > 96;
    EXPECT_GE(double(differ), 0.4 * double(a.p.size()));
}

}  // namespace
}  // namespace tsn
