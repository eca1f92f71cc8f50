// The CGI kinds' requests byte by byte, and the noise service's refusals
// and seams.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "app/kind_list.h"
#include "app/session.h"
#include "core/image.h"
#include "core/simd.h"
#include "kind/page_transfer.h"
#include "kinds/cgi.h"
#include "noisesvc/noise_service.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

using Bytes = std::vector<std::uint8_t>;

// `b` with the fields "OFFSET=VALUE ..." written: a 32-bit word, or a
// double where the value has a point.
Bytes With(Bytes b, const std::string& fields) {
    std::istringstream in(fields);
    std::string f;
    while (in >> f) {
        const std::size_t eq = f.find('=');
        const std::size_t at = std::stoul(f.substr(0, eq));
        const std::string v = f.substr(eq + 1);
        if (v.find('.') != std::string::npos) {
            const double d = std::stod(v);
            std::memcpy(&b.at(at + 7) - 7, &d, 8);
        } else {
            const auto u = std::uint32_t(std::stoul(v, nullptr, 0));
            std::memcpy(&b.at(at + 3) - 3, &u, 4);
        }
    }
    return b;
}

// The defaults' requests, in member order, written out from the kinds'
// tables of fields.
const char* const kDefaults[kCgiMemberCount] = {
    // Terrain
    "0=6 292=256 296=1 300=10010 304=0x800000 308=0xFF0000 312=0xFF8000 "
    "316=0x40F0F0 320=0x00A020 324=0x00E0E0 328=0x808080 332=0xFFFFFF 336=4 344=1",
    // Jade
    "4=256 8=1 12=9131 16=2.0 24=2.20703125 32=4 "
    "36=1 40=0x669218 44=0x739A4E 48=0xA5CC80 52=0x739A4E 56=0x66871D",
    // Sky
    "0=3 156=256 160=1 164=12965 168=2.0 176=4 180=0xC04030 "
    "184=0xFFC060 188=0xFFFFFF 192=0xFFFFFF 196=0xFFFFFF 200=0xFFFFFF 204=1",
    // Sea
    "0=4 208=256 212=1 216=12965 224=2.0 "
    "232=32 236=0x7A7A52 240=0xCCCC99 244=0xFFFFFF 248=1",
    // Slime
    "0=5 252=256 256=1 260=17752 264=2.0 "
    "272=32 276=0x1B5100 280=0x40C040 284=0x80FF80 288=2",
    // Granite
    "0=2 100=256 104=1 108=1186 112=2.0 120=4 "
    "124=1 136=0xF2D8D8 140=0xBFBFBF 144=0x7D74D2 148=0x6271D2 152=0xC0B0FF",
    // Wood
    "0=1 60=256 64=1 68=17752 72=1.0 "
    "80=1 84=2 88=0x045EBD 92=0x063090 96=0x080A3C",
    // Turbulence
    "0=8 376=256 380=1 384=17752 392=4.0 400=0.5 "
    "408=1 412=0x00A020 416=0x00E0E0 420=0x808080 424=0xFFFFFF",
};
Bytes Defaults(int member) {
    return With(Bytes(432, 0), kDefaults[member]);
}

int KindIndex(int member) {
    return FindKind(CgiMemberKind(member).key);
}

// The request of a fresh session's member after entering `settings` on its
// page.
Bytes Sent(int member, const std::string& settings = "") {
    test::Session s;
    test::Enter(s, KindIndex(member), settings);
    const KindDescriptor& k = CgiMemberKind(member);
    PageToBlock(*k.page, s.rec()->dialog, BlockAt(s.rec(), k.blockOffset));
    NoiseImageRequest r;
    std::memset(&r, 0xCD, sizeof r);
    CgiRequest(s.rec(), member, &r);
    const auto* p = reinterpret_cast<const std::uint8_t*>(&r);
    return Bytes(p, p + sizeof r);
}

TEST(Cgi, DefaultRequestsAreTheHandWrittenBytes) {
    for (int m = 0; m < kCgiMemberCount; ++m)
        EXPECT_EQ(Sent(m), Defaults(m)) << CgiMemberKind(m).name;
}

TEST(Cgi, SizeAndSeedAreReadClampedFromThePage) {
    // Size and seed words of each member's sub-block.
    const int size[kCgiMemberCount] = {292, 4, 156, 208, 252, 100, 60, 376};
    for (int m = 0; m < kCgiMemberCount; ++m) {
        const std::string at = std::to_string(size[m]) + "=";
        const std::string small = m == kCgiTerrain ? "32 " : "64 ";
        EXPECT_EQ(Sent(m, "size=5 seed=7"),
                  With(Defaults(m), at + small + std::to_string(size[m] + 8) + "=100"));
        EXPECT_EQ(Sent(m, "size=99999"), With(Defaults(m), at + "32760"));
    }
}

TEST(Cgi, PowerRunsAgainstTheOctavesWithAFloorOfOne) {
    for (int m : {kCgiSea, kCgiSlime}) {
        const std::string at = m == kCgiSea ? "232=" : "272=";
        for (auto [power, octaves] : {std::pair{"1", "63"}, {"63", "1"}, {"64", "1"}})
            EXPECT_EQ(Sent(m, std::string("power=") + power), With(Defaults(m), at + octaves));
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
    EXPECT_EQ(sent(0, 0), With(d, "392=1.0 400=0.0625"));
    EXPECT_EQ(sent(9, 9), With(d, "392=16.0 400=2.0"));
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
// The service is built for each instruction set; every one paints the
// same bytes, at each quality, tileable or not, with its height field.
TEST(Cgi, EveryInstructionSetPaintsTheSameBytes) {
    struct Unpin {
        ~Unpin() { UnpinSimdPath(); }
    } unpin;
    for (int m = 0; m < kCgiMemberCount; ++m)
        for (const char* quality : {"quality=0", "quality=2"}) {
            test::Session s;
            s.rec()->kindIndex = KindIndex(m);
            test::Enter(s, KindIndex(m), std::string("size=83 ") + quality);
            const bool tileable = m % 2 == 0;
            Bytes first;
            std::vector<std::uint16_t> firstLevels;
            for (SimdPath path : {SimdPath::Sse2, SimdPath::Avx2, SimdPath::Avx512}) {
                if (!PinSimdPath(path)) continue;
                HeightField levels;
                const MemHandle h = RenderSelectedKind(s.rec(), MapRequest{tileable, &levels});
                const Bytes bytes = test::BlockBytes(h);
                MemFree(h);
                ASSERT_FALSE(bytes.empty()) << CgiMemberKind(m).name;
                if (first.empty()) {
                    first = bytes, firstLevels = levels.level;
                    continue;
                }
                EXPECT_TRUE(bytes == first)
                    << CgiMemberKind(m).name << " " << quality << " path " << int(path);
                EXPECT_TRUE(levels.level == firstLevels) << CgiMemberKind(m).name << " " << quality;
            }
        }
}

TEST(Cgi, TileablePicturesHaveNoSeam) {
    for (int m = 0; m < kCgiMemberCount; ++m) {
        test::Session s;
        test::Enter(s, KindIndex(m), "size=96");
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
