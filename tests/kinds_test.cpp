// Every kind through its catalogue descriptor: what the frame relies on of
// all 23 alike (order, places, reset, queries, conversions, clamping,
// failure and threading). Kind-specific behaviour stays in the kinds' own
// tests.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "app/kind_list.h"
#include "core/page.h"
#include "core/parallel.h"
#include "kind/render_step.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

TEST(Kinds, CatalogueOrderPlacesAndFlagsAreTheRecordsLayout) {
    struct Row {
        const char* name;
        const char* key;
        std::uint32_t offset;
        std::uint32_t flags;
    };
    // The texture list's order, each block's fixed place in the record and
    // the kinds whose colour map the grid mutates.
    const Row rows[kKindCount] = {{"Absolute Noise", "absnoise", 29300, 0},
                                  {"CGI Granite", "cgigranite", 28848, 0},
                                  {"CGI Jade", "cgijade", 28604, 0},
                                  {"CGI Sea", "cgisea", 28736, 0},
                                  {"CGI Sky", "cgisky", 28668, 0},
                                  {"CGI Slime", "cgislime", 28792, 0},
                                  {"CGI Terrain", "cgiterrain", 28528, 0},
                                  {"CGI Turbulence", "cgiturbulence", 28972, 0},
                                  {"CGI Wood", "cgiwood", 28920, 0},
                                  {"Clouds", "clouds", 8015, 0},
                                  {"Craters", "craters", 7879, 0},
                                  {"Mandelbrot", "mandelbrot", 8367, 3},
                                  {"Matrix", "matrix", 22508, 0},
                                  {"Noise", "noise", 6193, 1},
                                  {"Particle", "particle", 7034, 1},
                                  {"Perturbation", "perturb", 21468, 0},
                                  {"Pipes", "pipes", 28376, 0},
                                  {"Plasma", "plasma", 6926, 0},
                                  {"Ripples", "ripples", 29048, 0},
                                  {"Scratch", "scratch", 29116, 0},
                                  {"Surface", "surface", 25438, 1},
                                  {"Terrain", "terrain", 22612, 0},
                                  {"Threads", "threads", 29208, 0}};
    std::vector<std::pair<std::uint32_t, std::uint32_t>> spans;
    for (int i = 0; i < kKindCount; ++i) {
        const KindDescriptor& k = KindOf(i);
        const TextureKind& row = KindAt(i);
        EXPECT_STREQ(row.name, rows[i].name);
        EXPECT_STREQ(k.key, rows[i].key);
        EXPECT_EQ(k.blockOffset, rows[i].offset) << k.name;
        EXPECT_EQ(row.flags, rows[i].flags) << k.name;
        EXPECT_EQ(FindKind(k.key), i);
        EXPECT_EQ(FindKind(k.name), i);
        EXPECT_EQ(FindKindBySignature(k.signature, k.key), i);
        spans.push_back({k.blockOffset, k.blockOffset + k.blockSize});
        // A kept grey image must not lie inside any block.
        if (k.greySlot) spans.push_back({k.greySlot, k.greySlot + 8});
    }
    EXPECT_EQ(KindAt(FindKind("mandelbrot")).extraControl, 364u);
    EXPECT_EQ(KindOf(FindKind("plasma")).blockSize, 108u);
    EXPECT_EQ(KindOf(FindKind("mandelbrot")).blockSize, 13077u);
    EXPECT_EQ(FindKind("NOISE"), FindKind("noise"));
    EXPECT_EQ(FindKind("cgi TURBULENCE"), FindKind("cgiturbulence"));
    EXPECT_EQ(FindKind("bogus"), -1);
    // Particle and Craters share a signature; their presets' lengths differ.
    const int particle = FindKind("particle"), craters = FindKind("craters");
    ASSERT_NE(PresetSize(KindOf(particle)), PresetSize(KindOf(craters)));
    EXPECT_EQ(FindKindBySignature("VANTPART", nullptr, PresetSize(KindOf(particle))), particle);
    EXPECT_EQ(FindKindBySignature("VANTPART", nullptr, PresetSize(KindOf(craters))), craters);
    EXPECT_EQ(FindKindBySignature("VANTPART", "particle", PresetSize(KindOf(craters))), craters);
    EXPECT_EQ(FindKindBySignature("VANTPART", nullptr, 12345), -1);
    EXPECT_EQ(FindKindBySignature("VANTXXXX", nullptr), -1);
    std::sort(spans.begin(), spans.end());
    EXPECT_GE(spans.front().first, kBlocksOffset);
    EXPECT_EQ(spans.back().second, kBlocksEnd);
    for (std::size_t i = 1; i < spans.size(); ++i)
        EXPECT_LE(spans[i - 1].second, spans[i].first) << "overlap at " << spans[i].first;
}

// Reset writes the header and the page table's defaults at the kind's own
// place and nothing outside its block.
TEST(Kinds, ResetWritesTheTablesDefaultsInsideItsOwnBlock) {
    auto rec = std::make_unique<MasterTextureRecord>();
    for (int i = 0; i < kKindCount; ++i) {
        const KindDescriptor& k = KindOf(i);
        std::memset(rec.get(), 0xA5, sizeof *rec);
        EXPECT_NE(KindAt(i).reset(rec.get()), 0);
        const auto* b = reinterpret_cast<const std::uint8_t*>(rec.get());
        for (std::uint32_t at = 0; at < kRecordSize; ++at) {
            if (at < k.blockOffset || at >= k.blockOffset + k.blockSize) {
                ASSERT_EQ(b[at], 0xA5) << k.name << " wrote at " << at;
            }
        }
        const std::uint8_t* block = b + k.blockOffset;
        const std::vector<std::uint8_t> header(block, block + 16);
        EXPECT_EQ(std::memcmp(block, k.signature, 8), 0) << k.name;
        EXPECT_EQ(test::U32(header, 8), 0x10006101u);
        EXPECT_EQ(test::U32(header, 12), k.blockSize) << k.name;
        ASSERT_NE(k.page, nullptr) << k.name;
        for (int f = 0; f < k.page->count; ++f) {
            const PageField& field = k.page->fields[f];
            if (field.type == FieldType::Fountain) continue;
            EXPECT_EQ(GetFieldValue(field, block), field.blockDefault)
                << k.name << "." << field.name;
        }
    }
}

// Control lists: every page lives in one dialog, so identifiers are unique
// across all kinds; each preset list is followed by its three buttons.
TEST(Kinds, ControlIdentifiersAreUniqueAndPresetListsHaveTheirButtons) {
    std::set<std::uint32_t> seen;
    for (int i = 0; i < kKindCount; ++i) {
        const KindDescriptor& k = KindOf(i);
        int n = 0;
        for (const std::uint32_t* id = KindAt(i).controls; *id; ++id, ++n) {
            EXPECT_GE(*id, 200u) << k.name;
            EXPECT_TRUE(seen.insert(*id).second) << k.name << " repeats " << *id;
        }
        EXPECT_LT(n, 95) << k.name << ": its control list may be cut short";
        if (!k.presetList) continue;
        const std::uint32_t* e = k.page->extraControls;
        ASSERT_NE(e, nullptr);
        for (std::uint32_t d = 0; d < 4; ++d) EXPECT_EQ(e[d], k.presetList + d) << k.name;
    }
}

// Sizes, the plain or converting round trip through the older layout, and
// refusal of any other sizes.
TEST(Kinds, BlocksConvertThroughTheirOlderLayoutAndBack) {
    test::Session s;
    MasterTextureRecord* rec = s.rec();
    for (int i = 0; i < kKindCount; ++i) {
        const KindDescriptor& k = KindOf(i);
        const TextureKind& row = KindAt(i);
        const std::int64_t size = row.query(rec, kQueryBlockSize);
        const std::int64_t old = row.query(rec, kQueryOldBlockSize);
        // Preset files are recognised by this length without asking the kind.
        EXPECT_EQ(old, std::int64_t(PresetSize(k))) << k.name;
        std::uint8_t* block = BlockAt(rec, k.blockOffset);
        const std::vector<std::uint8_t> before(block, block + size);
        std::vector<std::uint8_t> older(std::size_t(old) + 1, 0xEE), back(std::size_t(size), 0);
        auto transfer = [&](int code, void* from, std::int64_t fromSize, void* to,
                            std::int64_t toSize) {
            rec->transferSource = reinterpret_cast<std::uintptr_t>(from);
            rec->transferTarget = reinterpret_cast<std::uintptr_t>(to);
            rec->transferSourceSize = std::uint32_t(fromSize);
            rec->transferTargetSize = std::uint32_t(toSize);
            const std::int64_t r = row.query(rec, code);
            rec->transferSource = rec->transferTarget = 0;
            return r;
        };
        EXPECT_EQ(transfer(kQueryConvertOut, block, size, older.data(), old), 1) << k.name;
        EXPECT_EQ(older[std::size_t(old)], 0xEE) << k.name << " wrote past the older layout";
        EXPECT_EQ(transfer(kQueryConvertIn, older.data(), old, back.data(), size), 1) << k.name;
        EXPECT_EQ(back, before) << k.name << " lost something on the way";
        EXPECT_EQ(transfer(kQueryConvertIn, older.data(), old + 1, back.data(), size), 0);
        EXPECT_EQ(transfer(kQueryConvertOut, block, size, older.data(), old - 1), 0);
        for (int code : {0, 10, -1}) EXPECT_EQ(row.query(rec, code), 0) << k.name;
    }
}

// The render step reads the page's width, depth and seed clamped to their
// up-downs' ranges, stores them into the block and hands them to the
// render; Noise, Terrain and Surface draw with the seed the block held.
// The seed query answers the page's clamped seed; Scratch and Threads ask
// the control that is CGI Turbulence's seed edit.
TEST(Kinds, TheRenderStepTakesSizeAndSeedClampedToThePagesRanges) {
    const PageField* turbulenceSeed =
        FieldWithRole(*KindOf(FindKind("cgiturbulence")).page, Role::Seed);
    const std::set<std::string> lateSeed = {"noise", "terrain", "surface"};
    const std::set<std::string> turbulenceQuery = {"scratch", "threads"};
    for (const bool high : {true, false}) {
        test::Session s;
        MasterTextureRecord* rec = s.rec();
        auto clamped = [&](const PageField* f) { return int(high ? f->max : f->min); };
        for (int i = 0; i < kKindCount; ++i)
            for (Role role : {Role::Width, Role::Depth, Role::Seed})
                if (const PageField* f = FieldWithRole(*KindOf(i).page, role))
                    Page().setText(rec->dialog, f->id, high ? "99999" : "5");
        for (int i = 0; i < kKindCount; ++i) {
            const KindDescriptor& k = KindOf(i);
            std::uint8_t* block = BlockAt(rec, k.blockOffset);
            const PageField* w = FieldWithRole(*k.page, Role::Width);
            const PageField* d = FieldWithRole(*k.page, Role::Depth);
            const PageField* seed = FieldWithRole(*k.page, Role::Seed);
            const double held = seed ? GetFieldValue(*seed, block) : 0;
            RenderValues v;
            ASSERT_TRUE(TakeRenderValues(k, rec, &v)) << k.name;
            EXPECT_EQ(v.width, w ? clamped(w) : 0) << k.name;
            EXPECT_EQ(v.depth, d ? clamped(d) : 0) << k.name;
            if (w) {
                EXPECT_EQ(GetFieldValue(*w, block), clamped(w)) << k.name;
            }
            if (!seed) continue;
            EXPECT_EQ(GetFieldValue(*seed, block), clamped(seed)) << k.name;
            EXPECT_EQ(double(v.seed), lateSeed.count(k.key) ? held : clamped(seed)) << k.name;
            const int asked =
                turbulenceQuery.count(k.key) ? clamped(turbulenceSeed) : clamped(seed);
            EXPECT_EQ(KindAt(i).query(rec, kQuerySeed), asked) << k.name;
        }
    }
}

// A small picture of every built kind: failing each allocation in turn
// frees everything it had taken, and one thread paints what several do.
TEST(Kinds, EveryAllocationFailureIsSurvivedAndThreadsDoNotChangeThePicture) {
    for (int i = 0; i < kKindCount; ++i) {
        const KindDescriptor& k = KindOf(i);
        if (!KindRenders(k)) continue;
        auto render = [&](long failAfter) {
            test::Session s;
            s.rec()->kindIndex = i;
            const PageField* w = FieldWithRole(*k.page, Role::Width);
            const PageField* d = FieldWithRole(*k.page, Role::Depth);
            if (w) test::Enter(s, i, w->name, "67");
            if (d) test::Enter(s, i, d->name, "45");
            const long live = MemLiveBlocks();
            MemFailAfter(failAfter);
            std::vector<std::uint8_t> bytes;
            {
                const test::Picture p(RenderSelectedKind(s.rec()));
                MemFailAfter(-1);
                bytes = test::BlockBytes(p.h);
                // The picture has the page's clamped size.
                const PageRef page = s.rec()->dialog;
                if (p.ok && w) {
                    EXPECT_EQ(p.v.width, ReadPageInteger(page, w->id)) << k.name;
                }
                if (p.ok && d) {
                    EXPECT_EQ(p.v.depth, ReadPageInteger(page, d->id)) << k.name;
                }
            }
            KindAt(i).release(s.rec());
            EXPECT_EQ(MemLiveBlocks(), live) << k.name << " failing allocation " << failAfter;
            return bytes;
        };
        // (A failed colour map is no failed render: the picture then keeps
        // the colour table it had, so only the leak check applies here.)
        for (long n = 0; render(n).empty(); ++n) ASSERT_LT(n, 200) << k.name << " never succeeds";
        const std::vector<std::uint8_t> picture = render(-1);
        SetWorkerThreads(1);
        EXPECT_EQ(render(-1), picture) << k.name;
        SetWorkerThreads(0);
    }
}

TEST(Kinds, ASelectionOutsideTheCatalogueRendersNothing) {
    test::Session s;
    for (int bad : {23, -1}) {
        s.rec()->kindIndex = bad;
        EXPECT_EQ(RenderSelectedKind(s.rec()), 0u);
    }
}

}  // namespace
}  // namespace tsn
