// Blocks, defaults, pages and queries of the kinds whose generators are not
// built yet: the CGI family, Matrix, Pipes, Scratch, Threads and the five
// kinds of this system's own design.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "common/image.h"
#include "common/page.h"
#include "plugin/catalogue.h"
#include "tests/test_support.h"
#include "textures/external/cgi.h"
#include "textures/external/pipes.h"
#include "textures/gradient/designed_kinds.h"
#include "textures/structured/matrix.h"
#include "textures/structured/scratch.h"

namespace tsn {
namespace {

std::uint32_t Word(MasterTextureRecord* rec, std::uint32_t at) {
    std::uint32_t v;
    std::memcpy(&v, reinterpret_cast<const std::uint8_t*>(rec) + at, 4);
    return v;
}

std::string Text(MasterTextureRecord* rec, std::uint32_t id) {
    char buf[64];
    Page().getText(rec->dialog, id, buf, sizeof buf);
    return buf;
}

// Every control of every page, with its up-down partner, is the dialog's
// only control of that identifier: the pages all live in one dialog.
TEST(KindPages, ControlIdsAreUniqueAcrossAllPagesAndAbove199) {
    std::set<std::uint32_t> seen;
    for (int k = 0; k < kKindCount; ++k) {
        int n = 0;
        for (const std::uint32_t* id = KindAt(k).controls; *id; ++id, ++n) {
            EXPECT_GE(*id, 200u) << KindAt(k).name;
            EXPECT_TRUE(seen.insert(*id).second) << KindAt(k).name << " repeats " << *id;
        }
        EXPECT_LT(n, 63) << KindAt(k).name << ": its control list may be cut short";
        const PageTable* t = KindInfoAt(k).page;
        if (!t) continue;
        std::set<std::uint32_t> listed(KindAt(k).controls, KindAt(k).controls + n);
        for (int i = 0; i < t->count; ++i) {
            if (t->fields[i].control == Control::None) continue;
            EXPECT_TRUE(listed.count(t->fields[i].id)) << t->fields[i].name;
        }
    }
}

TEST(KindPages, EachPresetListHasItsAddDeleteAndLoadButtons) {
    const std::pair<const char*, std::uint32_t> lists[] = {
        {"particle", 246},   {"clouds", 310},     {"perturb", 376}, {"pipes", 507},
        {"cgiterrain", 516}, {"cgijade", 539},    {"cgisky", 561},  {"cgisea", 584},
        {"cgislime", 604},   {"cgigranite", 624}, {"cgiwood", 648}, {"cgiturbulence", 668},
        {"ripples", 714},    {"scratch", 751},    {"threads", 788}, {"absnoise", 801}};
    for (auto [key, list] : lists) {
        const std::uint32_t* e = KindInfoAt(FindKind(key)).page->extraControls;
        ASSERT_NE(e, nullptr) << key;
        EXPECT_EQ(e[0], list) << key;
        EXPECT_EQ(e[1], list + 1) << key;
        EXPECT_EQ(e[2], list + 2) << key;
        EXPECT_EQ(e[3], list + 3) << key << ": the decorated load button";
    }
}

TEST(KindPages, HostSizeFieldsBelongToTheirKinds) {
    const std::pair<const char*, std::uint32_t> sizes[] = {
        {"particle", 239}, {"clouds", 306}, {"perturb", 369}};
    for (auto [key, width] : sizes) {
        const PageTable& t = *KindInfoAt(FindKind(key)).page;
        EXPECT_EQ(FindField(t, "width")->id, width) << key;
        EXPECT_EQ(FindField(t, "depth")->id, width + 2) << key;
        EXPECT_EQ(FindField(t, "width")->role, Role::Width);
        EXPECT_EQ(FindField(t, "seed")->role, Role::Seed);
    }
}

struct Expect {
    std::uint32_t offset, value;
};

void ExpectWords(MasterTextureRecord* rec, std::uint32_t block, const char* name,
                 std::initializer_list<Expect> words) {
    for (const Expect& w : words)
        EXPECT_EQ(Word(rec, block + w.offset), w.value) << name << " at " << w.offset;
}

TEST(CgiFamily, ResetWritesEachMembersDefaults) {
    test::Session s;
    MasterTextureRecord* r = s.rec();
    ExpectWords(r, 28528, "terrain",
                {{16, 0},
                 {20, 256},
                 {24, 10010},
                 {28, 0x800000},
                 {32, 0xFF0000},
                 {36, 0xFF8000},
                 {40, 0x40F0F0},
                 {44, 0x00A020},
                 {48, 0x00E0E0},
                 {52, 0x808080},
                 {56, 0xFFFFFF},
                 {60, 4},
                 {64, 1},
                 {68, 0},
                 {72, 1}});
    ExpectWords(r, 28604, "jade",
                {{20, 256},
                 {24, 9131},
                 {28, 0x669218},
                 {32, 0x739A4E},
                 {36, 0xA5CC80},
                 {40, 0x739A4E},
                 {44, 0x66871D},
                 {48, 4},
                 {52, 1},
                 {56, 20},
                 {60, 1}});
    ExpectWords(r, 28668, "sky",
                {{20, 256},
                 {24, 12965},
                 {28, 0xC04030},
                 {32, 0xFFC060},
                 {36, 0xFFFFFF},
                 {48, 0xFFFFFF},
                 {52, 4},
                 {56, 1},
                 {60, 20},
                 {64, 1}});
    ExpectWords(r, 28736, "sea",
                {{20, 256},
                 {24, 12965},
                 {28, 0x7A7A52},
                 {32, 0xCCCC99},
                 {36, 0xFFFFFF},
                 {40, 32},
                 {44, 1},
                 {48, 20},
                 {52, 1}});
    ExpectWords(r, 28792, "slime",
                {{20, 256},
                 {24, 17752},
                 {28, 0x1B5100},
                 {32, 0x40C040},
                 {36, 0x80FF80},
                 {40, 32},
                 {44, 1},
                 {48, 20},
                 {52, 2}});
    ExpectWords(r, 28848, "granite",
                {{20, 256},
                 {24, 1186},
                 {28, 0},
                 {32, 0},
                 {36, 0xF2D8D8},
                 {40, 0xBFBFBF},
                 {44, 0x7D74D2},
                 {48, 0x6271D2},
                 {52, 0xC0B0FF},
                 {56, 4},
                 {60, 1},
                 {64, 20},
                 {68, 1}});
    ExpectWords(r, 28920, "wood",
                {{20, 256},
                 {24, 17752},
                 {28, 0x045EBD},
                 {32, 0x063090},
                 {36, 0x080A3C},
                 {40, 1},
                 {44, 10},
                 {48, 2}});
    ExpectWords(r, 28972, "turbulence",
                {{20, 256},
                 {24, 17752},
                 {28, 2},
                 {32, 3},
                 {36, 0x00A020},
                 {40, 0x00E0E0},
                 {44, 0x808080},
                 {48, 0xFFFFFF},
                 {52, 0},
                 {56, 0},
                 {60, 0},
                 {64, 0},
                 {68, 1},
                 {72, 1}});
}

TEST(CgiFamily, PagesClampSizeAndSeedAsTheirUpDownsSay) {
    test::Session s;
    MasterTextureRecord* r = s.rec();
    EXPECT_EQ(Text(r, 10515), "32,32760,256");
    EXPECT_EQ(Text(r, 10667), "64,32760,256");
    EXPECT_EQ(Text(r, 10680), "100,32760,17752");
    for (int m = 0; m < kCgiMemberCount; ++m) {
        const CgiMemberInfo& info = CgiMemberAt(m);
        Page().setText(r->dialog, info.sizeId, "5");
        EXPECT_EQ(ReadPageInteger(r->dialog, info.sizeId), m == kCgiTerrain ? 32 : 64);
        Page().setText(r->dialog, info.sizeId, "99999");
        EXPECT_EQ(ReadPageInteger(r->dialog, info.sizeId), 32760);
        Page().setText(r->dialog, info.seedId, "7");
        EXPECT_EQ(CgiQueryMember(r, m, kQuerySeed), 100) << m;
    }
    // Scroll ranges as the pages give them.
    const std::pair<std::uint32_t, std::pair<int, int>> bars[] = {
        {530, {1, 6}},  {554, {5, 100}}, {593, {1, 64}}, {617, {10, 60}},
        {641, {5, 30}}, {660, {10, 30}}, {672, {1, 4}},  {675, {1, 5}}};
    for (auto [id, range] : bars) {
        const HeadlessControl& c = s.s.page.controls.at(id);
        EXPECT_EQ(c.scrollMin, range.first) << id;
        EXPECT_EQ(c.scrollMax, range.second) << id;
    }
    EXPECT_EQ(Page().getSelection(r->dialog, 536), 1) << "Standard";
    EXPECT_EQ(Page().getSelection(r->dialog, 621), 2) << "slime: Best";
}

TEST(CgiFamily, BlocksCopyByEqualSizeAloneAndAnswerTheirSizes) {
    test::Session s;
    MasterTextureRecord* r = s.rec();
    const std::int64_t sizes[] = {76, 64, 68, 56, 56, 72, 52, 76};
    for (int m = 0; m < kCgiMemberCount; ++m) {
        EXPECT_EQ(CgiQueryMember(r, m, kQueryBlockSize), sizes[m]);
        EXPECT_EQ(CgiQueryMember(r, m, kQueryOldBlockSize), sizes[m]);
        for (int code : {1, 3, 4, 5, 10}) EXPECT_EQ(CgiQueryMember(r, m, code), 0);
    }
    std::uint8_t terrain[76], turbulence[76] = {};
    for (int i = 0; i < 76; ++i) terrain[i] = std::uint8_t(i + 1);
    r->transferSource = reinterpret_cast<std::uintptr_t>(terrain);
    r->transferTarget = reinterpret_cast<std::uintptr_t>(turbulence);
    r->transferSourceSize = r->transferTargetSize = 76;
    EXPECT_EQ(CgiQueryMember(r, kCgiTurbulence, kQueryConvertIn), 1);
    EXPECT_EQ(std::memcmp(terrain, turbulence, 76), 0);
    r->transferSourceSize = 64;
    EXPECT_EQ(CgiQueryMember(r, kCgiTurbulence, kQueryConvertOut), 0);
}

TEST(Matrix, DefaultsAndOlderLayoutConversionBothWays) {
    test::Session s;
    MasterTextureRecord* r = s.rec();
    ExpectWords(r, kMatrixOffset, "matrix", {{12, 104}, {16, 0}, {20, 400}, {24, 300}, {28, 0}});
    EXPECT_EQ(Text(r, 10400), "64,32760,800");
    EXPECT_EQ(Text(r, 10402), "64,32760,800");
    const int k = FindKind("matrix");
    EXPECT_EQ(KindAt(k).query(r, kQueryBlockSize), 104);
    EXPECT_EQ(KindAt(k).query(r, kQueryOldBlockSize), 100);

    std::uint8_t old[100], now[104], back[100];
    for (int i = 0; i < 100; ++i) old[i] = std::uint8_t(0x40 + i);
    std::memset(now, 0xEE, sizeof now);
    r->transferSource = reinterpret_cast<std::uintptr_t>(old);
    r->transferTarget = reinterpret_cast<std::uintptr_t>(now);
    r->transferSourceSize = 104;  // sizes the wrong way round: nothing happens
    r->transferTargetSize = 100;
    EXPECT_EQ(KindAt(k).query(r, kQueryConvertIn), 0);
    EXPECT_EQ(now[0], 0xEE);
    r->transferSourceSize = 100;
    r->transferTargetSize = 104;
    ASSERT_EQ(KindAt(k).query(r, kQueryConvertIn), 1);
    EXPECT_EQ(std::memcmp(now, old, 12), 0);
    std::uint32_t size;
    std::memcpy(&size, now + 12, 4);
    EXPECT_EQ(size, 104u);
    EXPECT_EQ(std::memcmp(now + 16, old + 16, 16), 0) << "reserved, width, depth, selection";
    for (int i = 32; i < 104; ++i) ASSERT_EQ(now[i], 0) << i;

    r->transferSource = reinterpret_cast<std::uintptr_t>(now);
    r->transferTarget = reinterpret_cast<std::uintptr_t>(back);
    r->transferSourceSize = 104;
    r->transferTargetSize = 100;
    ASSERT_EQ(KindAt(k).query(r, kQueryConvertOut), 1);
    std::memcpy(&size, back + 12, 4);
    EXPECT_EQ(size, 100u);
    EXPECT_EQ(std::memcmp(back + 16, old + 16, 16), 0);
    for (int i = 32; i < 100; ++i) ASSERT_EQ(back[i], 0) << i;
}

TEST(Pipes, DefaultsSeedAndTileCache) {
    test::Session s;
    MasterTextureRecord* r = s.rec();
    ExpectWords(
        r, kPipesOffset, "pipes",
        {{12, 152},      {16, 0},        {20, 512},  {24, 512}, {28, 2},   {32, 2},  {36, 2},
         {40, 1},        {44, 0},        {48, 1},    {52, 4},   {56, 192}, {60, 20}, {64, 0},
         {68, 0x202020}, {72, 0x080808}, {76, 8787}, {80, 2},   {84, 1},   {88, 0},  {148, 0}});
    EXPECT_EQ(Text(r, 10479), "2,16,2");
    EXPECT_EQ(Text(r, 10502), "32,255,192");
    EXPECT_EQ(Page().getSelection(r->dialog, kPipesEffectId), 2) << "Darker";
    EXPECT_EQ(s.s.page.controls.at(kPipesEffectId).items.back(), "Steampunk-moderne");
    EXPECT_EQ(s.s.page.controls.at(kPipesValvesId).items.size(), 7u);
    Page().setText(r->dialog, kPipesSeedId, "50");
    EXPECT_EQ(PipesQuery(r, kQuerySeed), 100);

    const long live = MemLiveBlocks();
    SetPipesCachedTile(3, NewImage(4, 4));
    EXPECT_EQ(MemLiveBlocks(), live + 1);
    PipesRelease(r);
    EXPECT_EQ(MemLiveBlocks(), live);
    EXPECT_EQ(PipesCachedTile(3), 0u);
}

TEST(ScratchAndThreads, DefaultsAndTheirOneSharedQuery) {
    test::Session s;
    MasterTextureRecord* r = s.rec();
    const std::initializer_list<Expect> common = {
        {12, 92},       {20, 800},      {24, 600},      {36, 256},      {40, 1000},
        {44, 0x999999}, {48, 0xE5E5E5}, {52, 0x333333}, {56, 0xE7CEB6}, {60, 0x996633},
        {64, 0x4D331A}, {68, 0},        {72, 0},        {76, 0},        {80, 0}};
    ExpectWords(r, kScratchOffset, "scratch", common);
    ExpectWords(r, kScratchOffset, "scratch", {{28, 12621}, {32, 10}, {84, 1}, {88, 15}});
    ExpectWords(r, kThreadsOffset, "threads", common);
    ExpectWords(r, kThreadsOffset, "threads", {{28, 12876}, {32, 1}, {84, 4}, {88, 30}});

    const TextureKind& scratch = KindAt(FindKind("scratch"));
    const TextureKind& threads = KindAt(FindKind("threads"));
    EXPECT_EQ(scratch.query, threads.query);
    EXPECT_NE(scratch.reset, threads.reset);
    // The shared query reads control 680, which on the one dialog is CGI
    // Turbulence's seed edit; neither page's own seed takes part.
    Page().setText(r->dialog, 680, "4321");
    Page().setText(r->dialog, kScratchSeedId, "999");
    EXPECT_EQ(scratch.query(r, kQuerySeed), 4321);
    EXPECT_EQ(scratch.query(r, kQueryBlockSize), 92);
    const struct {
        std::uint32_t id;
        int min, max;
    } bars[] = {{726, 1, 30},    {729, 60, 300},   {732, 500, 2000}, {745, 1, 6}, {763, 1, 8},
                {766, 60, 1000}, {769, 500, 5000}, {782, 1, 12},     {785, 0, 90}};
    for (const auto& b : bars) {
        EXPECT_EQ(s.s.page.controls.at(b.id).scrollMin, b.min) << b.id;
        EXPECT_EQ(s.s.page.controls.at(b.id).scrollMax, b.max) << b.id;
    }
}

TEST(DesignedKinds, ParticleKeepsAColourMapAndItsGreyImage) {
    test::Session s;
    MasterTextureRecord* r = s.rec();
    const TextureKind& particle = KindAt(FindKind("particle"));
    EXPECT_EQ(particle.query(r, kQueryIndexImage), 0) << "nothing rendered yet";
    EXPECT_EQ(particle.query(r, kQueryFountain),
              std::int64_t(reinterpret_cast<std::uintptr_t>(r) + kParticleOffset + 48));
    EXPECT_EQ(particle.query(r, kQueryFountainControl), kParticleFountainId);
    EXPECT_EQ(std::memcmp(ParticleBlock(r)->fountain.signature, "VANTFNTN", 8), 0);

    const long live = MemLiveBlocks();
    const MemHandle grey = NewImage(8, 8);
    SetParticleGreyImage(r, grey);
    EXPECT_EQ(particle.query(r, kQueryIndexImage), std::int64_t(grey));
    EXPECT_EQ(Word(r, kWorkingSlots[1].offset), std::uint32_t(grey));
    particle.release(r);
    EXPECT_EQ(MemLiveBlocks(), live);
    EXPECT_EQ(particle.query(r, kQueryIndexImage), 0);
}

TEST(DesignedKinds, EachAnswersItsSizeSeedAndPlainCopy) {
    test::Session s;
    MasterTextureRecord* r = s.rec();
    for (const char* key : {"absnoise", "clouds", "particle", "perturb", "ripples"}) {
        const int k = FindKind(key);
        const KindInfo& info = KindInfoAt(k);
        EXPECT_EQ(KindAt(k).query(r, kQueryBlockSize), info.blockSize) << key;
        EXPECT_EQ(KindAt(k).query(r, kQueryOldBlockSize), info.blockSize) << key;
        const PageField* seed = FindField(*info.page, "seed");
        ASSERT_NE(seed, nullptr) << key;
        Page().setText(r->dialog, seed->id, "99999");
        EXPECT_EQ(KindAt(k).query(r, kQuerySeed), 32760) << key;
        EXPECT_EQ(Word(r, info.blockOffset + 16), 0u) << key << ": reserved word";
        EXPECT_EQ(Word(r, info.blockOffset + 20), 800u) << key;
        EXPECT_EQ(Word(r, info.blockOffset + 24), 600u) << key;

        std::vector<std::uint8_t> from(info.blockSize, 0x5A), to(info.blockSize);
        r->transferSource = reinterpret_cast<std::uintptr_t>(from.data());
        r->transferTarget = reinterpret_cast<std::uintptr_t>(to.data());
        r->transferSourceSize = r->transferTargetSize = info.blockSize;
        EXPECT_EQ(KindAt(k).query(r, kQueryConvertOut), 1) << key;
        EXPECT_EQ(from, to) << key;
    }
}

// Values entered on the page reach the block, so a preset keeps them.
TEST(DesignedKinds, PageValuesReachTheBlock) {
    test::Session s;
    MasterTextureRecord* r = s.rec();
    test::Enter(s, FindKind("absnoise"), "noiseType", "cellular");
    test::Enter(s, FindKind("absnoise"), "lacunarity", "2.5");
    test::Enter(s, FindKind("ripples"), "darkColour", "0x123456");
    test::Enter(s, FindKind("particle"), "wrap", "on");
    const auto& absnoise = *KindInfoAt(FindKind("absnoise")).page;
    PageToBlock(absnoise, r->dialog, BlockAt(r, kAbsNoiseOffset));
    PageToBlock(*KindInfoAt(FindKind("ripples")).page, r->dialog, BlockAt(r, kRipplesOffset));
    PageToBlock(*KindInfoAt(FindKind("particle")).page, r->dialog, BlockAt(r, kParticleOffset));
    const auto* a = BlockAs<AbsNoiseParameters>(r, kAbsNoiseOffset);
    EXPECT_EQ(a->noiseType, 3u);
    EXPECT_EQ(a->lacunarity, 2.5);
    EXPECT_EQ(BlockAs<RipplesParameters>(r, kRipplesOffset)->darkColour, 0x123456u);
    EXPECT_EQ(ParticleBlock(r)->flags, kParticleWrap);
}

}  // namespace
}  // namespace tsn
