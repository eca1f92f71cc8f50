// The CGI kinds' requests byte by byte, and the noise service's refusals
// and seams.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "common/image.h"
#include "noisesvc/noise_service.h"
#include "tests/test_support.h"
#include "textures/external/cgi.h"

namespace tsn {
namespace {

// A written field: a 32-bit word, or a double where `real` is set.
struct Word {
    int at;
    double value;
    bool real = false;
};
using Bytes = std::vector<std::uint8_t>;

Bytes Expect(std::initializer_list<Word> words) {
    Bytes b(432, 0);
    for (const Word& w : words) {
        if (w.real) {
            std::memcpy(&b[w.at], &w.value, 8);
        } else {
            const auto u = std::uint32_t(w.value);
            std::memcpy(&b[w.at], &u, 4);
        }
    }
    return b;
}
Word R(int at, double v) {
    return {at, v, true};
}

// The defaults' requests, written out from the kinds' tables of fields.
Bytes Defaults(int member) {
    switch (member) {
        case kCgiTerrain:
            return Expect({{0, 6},
                           {292, 256},
                           {296, 1},
                           {300, 10010},
                           {304, 0x800000},
                           {308, 0xFF0000},
                           {312, 0xFF8000},
                           {316, 0x40F0F0},
                           {320, 0x00A020},
                           {324, 0x00E0E0},
                           {328, 0x808080},
                           {332, 0xFFFFFF},
                           {336, 4},
                           {344, 1}});
        case kCgiJade:
            return Expect({{4, 256},
                           {8, 1},
                           {12, 9131},
                           R(16, 2.0),
                           R(24, 2.20703125),
                           {32, 4},
                           {36, 1},
                           {40, 0x669218},
                           {44, 0x739A4E},
                           {48, 0xA5CC80},
                           {52, 0x739A4E},
                           {56, 0x66871D}});
        case kCgiSky:
            return Expect({{0, 3},
                           {156, 256},
                           {160, 1},
                           {164, 12965},
                           R(168, 2.0),
                           {176, 4},
                           {180, 0xC04030},
                           {184, 0xFFC060},
                           {188, 0xFFFFFF},
                           {192, 0xFFFFFF},
                           {196, 0xFFFFFF},
                           {200, 0xFFFFFF},
                           {204, 1}});
        case kCgiSea:
            return Expect({{0, 4},
                           {208, 256},
                           {212, 1},
                           {216, 12965},
                           R(224, 2.0),
                           {232, 32},
                           {236, 0x7A7A52},
                           {240, 0xCCCC99},
                           {244, 0xFFFFFF},
                           {248, 1}});
        case kCgiSlime:
            return Expect({{0, 5},
                           {252, 256},
                           {256, 1},
                           {260, 17752},
                           R(264, 2.0),
                           {272, 32},
                           {276, 0x1B5100},
                           {280, 0x40C040},
                           {284, 0x80FF80},
                           {288, 2}});
        case kCgiGranite:
            return Expect({{0, 2},
                           {100, 256},
                           {104, 1},
                           {108, 1186},
                           R(112, 2.0),
                           {120, 4},
                           {124, 1},
                           {136, 0xF2D8D8},
                           {140, 0xBFBFBF},
                           {144, 0x7D74D2},
                           {148, 0x6271D2},
                           {152, 0xC0B0FF}});
        case kCgiWood:
            return Expect({{0, 1},
                           {60, 256},
                           {64, 1},
                           {68, 17752},
                           R(72, 1.0),
                           {80, 1},
                           {84, 2},
                           {88, 0x045EBD},
                           {92, 0x063090},
                           {96, 0x080A3C}});
        default:
            return Expect({{0, 8},
                           {376, 256},
                           {380, 1},
                           {384, 17752},
                           R(392, 4.0),
                           R(400, 0.5),
                           {408, 1},
                           {412, 0x00A020},
                           {416, 0x00E0E0},
                           {420, 0x808080},
                           {424, 0xFFFFFF}});
    }
}

int KindIndex(int member) {
    return FindKind(CgiMemberKind(member).key);
}

// The request of a fresh session's member after entering `sets` on its page.
Bytes Sent(int member, std::initializer_list<std::pair<const char*, const char*>> sets = {}) {
    test::Session s;
    for (const auto& [field, value] : sets) test::Enter(s, KindIndex(member), field, value);
    const KindDescriptor& k = CgiMemberKind(member);
    PageToBlock(*k.page, s.rec()->dialog, BlockAt(s.rec(), k.blockOffset));
    NoiseImageRequest r;
    std::memset(&r, 0xCD, sizeof r);
    CgiRequest(s.rec(), member, &r);
    const auto* p = reinterpret_cast<const std::uint8_t*>(&r);
    return Bytes(p, p + sizeof r);
}

Bytes With(Bytes b, std::initializer_list<Word> words) {
    const Bytes changes = Expect(words);
    for (const Word& w : words) std::memcpy(&b[w.at], &changes[w.at], w.real ? 8 : 4);
    return b;
}

TEST(Cgi, DefaultRequestsAreTheHandWrittenBytes) {
    for (int m = 0; m < kCgiMemberCount; ++m)
        EXPECT_EQ(Sent(m), Defaults(m)) << CgiMemberKind(m).name;
}

TEST(Cgi, SizeAndSeedAreReadClampedFromThePage) {
    // Size and seed words of each member's sub-block.
    const int size[kCgiMemberCount] = {292, 4, 156, 208, 252, 100, 60, 376};
    for (int m = 0; m < kCgiMemberCount; ++m) {
        const int small = m == kCgiTerrain ? 32 : 64;
        EXPECT_EQ(Sent(m, {{"size", "5"}, {"seed", "7"}}),
                  With(Defaults(m), {{size[m], double(small)}, {size[m] + 8, 100}}));
        EXPECT_EQ(Sent(m, {{"size", "99999"}}), With(Defaults(m), {{size[m], 32760}}));
    }
}

TEST(Cgi, PowerRunsAgainstTheOctavesWithAFloorOfOne) {
    for (int m : {kCgiSea, kCgiSlime}) {
        const int at = m == kCgiSea ? 232 : 272;
        for (auto [power, octaves] : {std::pair{"1", 63}, {"63", 1}, {"64", 1}})
            EXPECT_EQ(Sent(m, {{"power", power}}), With(Defaults(m), {{at, double(octaves)}}));
    }
}

TEST(Cgi, TurbulenceIndicesOfAStoredBlockAreCappedFromAbove) {
    auto sent = [](std::int32_t frequency, std::int32_t power) {
        test::Session s;
        auto* b = BlockAs<CgiTurbulenceParameters>(s.rec(), kCgiTurbulenceKind.blockOffset);
        b->frequencyIndex = frequency;
        b->powerIndex = power;
        NoiseImageRequest r;
        CgiRequest(s.rec(), kCgiTurbulence, &r);
        const auto* p = reinterpret_cast<const std::uint8_t*>(&r);
        return Bytes(p, p + sizeof r);
    };
    const Bytes d = Defaults(kCgiTurbulence);
    EXPECT_EQ(sent(0, 0), With(d, {R(392, 1.0), R(400, 0.0625)}));
    EXPECT_EQ(sent(9, 9), With(d, {R(392, 16.0), R(400, 2.0)}));
}

NoiseImageRequest Small(std::uint32_t kind) {
    NoiseImageRequest r;
    std::memset(&r, 0, sizeof r);
    r.kind = kind;
    r.sky = {64, 1, 100, 2.0, 4, {0xC04030, 0xFFC060, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF}, 1};
    return r;
}

TEST(Cgi, TheServiceRefusesBadRequests) {
    const long live = MemLiveBlocks();
    NoiseImageRequest r = Small(kNoiseSky);
    const MemHandle good = CreateNoiseImage(&r);
    ImageView v;
    ASSERT_TRUE(LockImage(good, &v));
    EXPECT_EQ(v.width, 64);
    EXPECT_EQ(v.depth, 64);
    UnlockImage(&v);
    MemFree(good);
    for (std::uint32_t kind : {7u, 9u, 0xFFFFFFFFu}) {
        r.kind = kind;
        EXPECT_EQ(CreateNoiseImage(&r), 0u) << kind;
    }
    for (std::uint32_t size : {0u, 32761u}) {
        r = Small(kNoiseSky);
        r.sky.size = size;
        EXPECT_EQ(CreateNoiseImage(&r), 0u) << size;
    }
    for (double frequency : {0.0, -1.0, 1e300, 0.0 / 0.0}) {
        r = Small(kNoiseSky);
        r.sky.frequency = frequency;
        EXPECT_EQ(CreateNoiseImage(&r), 0u) << frequency;
    }
    EXPECT_EQ(CreateNoiseImage(nullptr), 0u);
    r = Small(kNoiseSky);
    MemFailAfter(0);
    EXPECT_EQ(CreateNoiseImage(&r), 0u);
    MemFailAfter(-1);
    EXPECT_EQ(MemLiveBlocks(), live);
}

// Laid side by side, a tileable picture shows no seam: the step across the
// wrap is no larger than the steps between neighbours inside it.
TEST(Cgi, TileablePicturesHaveNoSeam) {
    for (int m = 0; m < kCgiMemberCount; ++m) {
        test::Session s;
        test::Enter(s, KindIndex(m), "size", "96");
        NoiseImageRequest r;
        CgiRequest(s.rec(), m, &r);
        const MemHandle h = CreateNoiseImage(&r);
        ImageView v;
        ASSERT_TRUE(LockImage(h, &v));
        auto step = [&](int x0, int y0, int x1, int y1) {
            const std::uint32_t a = GetPixel(v, x0, y0), b = GetPixel(v, x1, y1);
            double d = 0;
            for (int c = 0; c < 24; c += 8)
                d += std::abs(int((a >> c) & 0xFF) - int((b >> c) & 0xFF));
            return d;
        };
        const int n = v.width;
        double seam = 0, inside = 0;
        for (int i = 0; i < n; ++i) {
            seam += step(n - 1, i, 0, i) + step(i, n - 1, i, 0);
            inside += step(n / 2 - 1, i, n / 2, i) + step(i, n / 2 - 1, i, n / 2);
        }
        EXPECT_LE(seam, 1.5 * inside + 2 * n) << CgiMemberKind(m).name;
        UnlockImage(&v);
        MemFree(h);
    }
}

}  // namespace
}  // namespace tsn
