#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "plugin/catalogue.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

TEST(Catalogue, KindsAreInListOrder) {
    const char* names[kKindCount] = {
        "Absolute Noise", "CGI Granite",    "CGI Jade", "CGI Sea",      "CGI Sky", "CGI Slime",
        "CGI Terrain",    "CGI Turbulence", "CGI Wood", "Clouds",       "Craters", "Mandelbrot",
        "Matrix",         "Noise",          "Particle", "Perturbation", "Pipes",   "Plasma",
        "Ripples",        "Scratch",        "Surface",  "Terrain",      "Threads"};
    for (int i = 0; i < kKindCount; ++i) EXPECT_STREQ(KindAt(i).name, names[i]) << i;
}

TEST(Catalogue, FlagsMarkTheFourMutableKindsAndMandelbrotsExtraControl) {
    for (int i = 0; i < kKindCount; ++i) {
        const TextureKind& k = KindAt(i);
        const bool mutable_ = i == 11 || i == 13 || i == 14 || i == 20;
        EXPECT_EQ((k.flags & kKindHasColourMap) != 0, mutable_) << k.name;
        EXPECT_EQ((k.flags & kKindRepaintExtra) != 0, i == 11) << k.name;
        EXPECT_EQ(k.unused[0] | k.unused[1] | k.unused[2], 0u);
    }
    EXPECT_EQ(KindAt(11).extraControl, 364u);
}

// Each kind's reset writes its header at its own place and nothing outside
// its block: a wrong offset or size would overwrite a neighbour.
TEST(Catalogue, EveryResetWritesItsHeaderInsideItsOwnBlock) {
    auto rec = std::make_unique<MasterTextureRecord>();
    for (int i = 0; i < kKindCount; ++i) {
        std::memset(rec.get(), 0xA5, sizeof *rec);
        KindAt(i).reset(rec.get());
        const KindInfo& info = KindInfoAt(i);
        const auto* b = reinterpret_cast<const std::uint8_t*>(rec.get());
        for (std::uint32_t at = 0; at < kRecordSize; ++at) {
            if (at >= info.blockOffset && at < info.blockOffset + info.blockSize) continue;
            ASSERT_EQ(b[at], 0xA5) << KindAt(i).name << " wrote at " << at;
        }
        const std::uint8_t* block = b + info.blockOffset;
        EXPECT_EQ(std::memcmp(block, info.signature, 8), 0) << KindAt(i).name;
        std::uint32_t version, size;
        std::memcpy(&version, block + 8, 4);
        std::memcpy(&size, block + 12, 4);
        EXPECT_EQ(version, 0x10006101u);
        EXPECT_EQ(size, info.blockSize) << KindAt(i).name;
        EXPECT_EQ(KindAt(i).query(rec.get(), kQueryBlockSize), std::int64_t(info.blockSize));
    }
}

TEST(Catalogue, BlockPlacesAndSizesAreTheRecordsLayout) {
    const std::pair<const char*, std::uint32_t> places[] = {
        {"noise", 6193},          {"plasma", 6926},      {"particle", 7034},
        {"craters", 7879},        {"clouds", 8015},      {"mandelbrot", 8367},
        {"perturb", 21468},       {"matrix", 22508},     {"terrain", 22612},
        {"surface", 25438},       {"pipes", 28376},      {"cgiterrain", 28528},
        {"cgijade", 28604},       {"cgisky", 28668},     {"cgisea", 28736},
        {"cgislime", 28792},      {"cgigranite", 28848}, {"cgiwood", 28920},
        {"cgiturbulence", 28972}, {"ripples", 29048},    {"scratch", 29116},
        {"threads", 29208},       {"absnoise", 29300}};
    for (auto [key, offset] : places) {
        const int k = FindKind(key);
        ASSERT_GE(k, 0) << key;
        EXPECT_EQ(KindInfoAt(k).blockOffset, offset) << key;
    }
    EXPECT_EQ(KindInfoAt(FindKind("plasma")).blockSize, 108u);
    EXPECT_EQ(KindInfoAt(FindKind("mandelbrot")).blockSize, 13077u);
    EXPECT_EQ(KindInfoAt(FindKind("absnoise")).blockSize, 30049u - 29300u);
}

TEST(Catalogue, KindsAreFoundByKeyNameOrSignature) {
    EXPECT_EQ(FindKind("noise"), 13);
    EXPECT_EQ(FindKind("NOISE"), 13);
    EXPECT_EQ(FindKind("CGI Turbulence"), 7);
    EXPECT_EQ(FindKind("perturb"), 15);
    EXPECT_EQ(FindKind("bogus"), -1);
    EXPECT_EQ(FindKindBySignature("VANTPART", "craters"), 10);
    EXPECT_EQ(FindKindBySignature("VANTPART", "particle"), 14);
    EXPECT_EQ(FindKindBySignature("VANTPERL", nullptr), 13);
    EXPECT_EQ(FindKindBySignature("VANTXXXX", nullptr), -1);
}

TEST(Catalogue, KindsWithoutAnOlderLayoutConvertByPlainCopy) {
    test::Session s;
    MasterTextureRecord* rec = s.rec();
    const int plasma = FindKind("plasma");
    std::uint8_t from[108], to[108] = {};
    for (int i = 0; i < 108; ++i) from[i] = std::uint8_t(i * 7);
    rec->transferSource = reinterpret_cast<std::uintptr_t>(from);
    rec->transferTarget = reinterpret_cast<std::uintptr_t>(to);
    rec->transferSourceSize = rec->transferTargetSize = 108;
    EXPECT_EQ(KindAt(plasma).query(rec, kQueryConvertIn), 1);
    EXPECT_EQ(std::memcmp(from, to, 108), 0);
    rec->transferTargetSize = 107;
    EXPECT_EQ(KindAt(plasma).query(rec, kQueryConvertOut), 0);
    rec->transferSource = rec->transferTarget = 0;
    for (int code : {0, 1, 3, 4, 5, 10, -1}) EXPECT_EQ(KindAt(plasma).query(rec, code), 0) << code;
}

TEST(Catalogue, KindsThatAreNotBuiltRenderNothing) {
    test::Session s;
    const long live = MemLiveBlocks();
    for (int i = 0; i < kKindCount; ++i) {
        if (KindInfoAt(i).available) continue;
        s.rec()->kindIndex = i;
        EXPECT_EQ(RenderSelectedKind(s.rec()), 0u) << KindAt(i).name;
    }
    EXPECT_EQ(MemLiveBlocks(), live);
    s.rec()->kindIndex = 23;
    EXPECT_EQ(RenderSelectedKind(s.rec()), 0u);
    s.rec()->kindIndex = -1;
    EXPECT_EQ(RenderSelectedKind(s.rec()), 0u);
}

}  // namespace
}  // namespace tsn
