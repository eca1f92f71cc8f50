// The preset library: file naming and listing, refusal of damaged files,
// and writes that never lose an earlier preset.
#include <gtest/gtest.h>

#include <cstring>

#include "app/kind_list.h"
#include "app/presets.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

const int kNoise = FindKind("noise");

std::string Folder() {
    char folder[kMaxPath + 1];
    EXPECT_TRUE(TextureFolder(folder));
    return folder;
}

TEST(Presets, ListTakesTheKindsKeyWithoutCaseAndSkipsHiddenAndOtherFiles) {
    test::TempFolder temp;
    test::Session s;
    ASSERT_TRUE(SavePreset(s.rec(), kNoise, "b"));
    ASSERT_TRUE(SavePreset(s.rec(), kNoise, "A"));
    for (const char* other : {"Loud.NOISE", ".hidden.noise", "x.plasma", "noise", "y.noise.bak"})
        ASSERT_TRUE(test::WriteAll(Folder() + other, "x", 1));
    EXPECT_EQ(ListPresets(kNoise), (std::vector<std::string>{"A", "b", "Loud"}));
    EXPECT_EQ(ListPresets(FindKind("plasma")), (std::vector<std::string>{"x"}));
    EXPECT_EQ(test::ReadAll(Folder() + "b.noise").size(), 721u) << "the older layout's size";
    EXPECT_TRUE(DeletePreset(kNoise, "b"));
    EXPECT_FALSE(DeletePreset(kNoise, "b"));
    EXPECT_EQ(ListPresets(kNoise).size(), 2u);
}

TEST(Presets, ShortOrForeignFilesAreRefusedAndTheBlockStaysAsItWas) {
    test::TempFolder temp;
    test::Session s;
    ASSERT_TRUE(SavePreset(s.rec(), kNoise, "good"));
    auto bytes = test::ReadAll(Folder() + "good.noise");
    const std::uint8_t* block = BlockAt(s.rec(), KindOf(kNoise).blockOffset);
    const std::vector<std::uint8_t> before(block, block + KindOf(kNoise).blockSize);
    ASSERT_TRUE(test::WriteAll(Folder() + "short.noise", bytes.data(), bytes.size() - 1));
    bytes[3] = 'X';
    ASSERT_TRUE(test::WriteAll(Folder() + "foreign.noise", bytes.data(), bytes.size()));
    for (const char* name : {"short", "foreign", "missing"})
        EXPECT_FALSE(LoadPreset(s.rec(), kNoise, name)) << name;
    // Every allocation of the load failing in turn: refused, nothing kept.
    long n = 0;
    for (bool loaded = false; !loaded && n < 20; ++n) {
        const long live = MemLiveBlocks();
        MemFailAfter(n);
        loaded = LoadPreset(s.rec(), kNoise, "good");
        MemFailAfter(-1);
        EXPECT_EQ(MemLiveBlocks(), live) << "allocation " << n;
        if (!loaded) {
            EXPECT_EQ(std::vector<std::uint8_t>(block, block + before.size()), before);
        }
    }
    EXPECT_GT(n, 1) << "the load allocates, so the first attempt must fail";
    EXPECT_LT(n, 20);
}

TEST(Presets, NamesThatCannotBeFilesAreRefusedAndAFailedWriteKeepsTheOldFile) {
    for (const char* bad : {"", ".x", "a/b", "a\\b", "c:", "q?", "end."})
        EXPECT_FALSE(PresetNameProblem(bad).empty()) << bad;
    EXPECT_TRUE(PresetNameProblem("My look 2").empty());
    test::TempFolder temp;
    test::Session s;
    ASSERT_TRUE(SavePreset(s.rec(), kNoise, "kept"));
    const auto before = test::ReadAll(Folder() + "kept.noise");
    const long live = MemLiveBlocks();
    MemFailAfter(0);  // the conversion buffer
    EXPECT_FALSE(SavePreset(s.rec(), kNoise, "kept"));
    MemFailAfter(-1);
    EXPECT_EQ(MemLiveBlocks(), live);
    EXPECT_EQ(test::ReadAll(Folder() + "kept.noise"), before);
    EXPECT_EQ(test::TemporaryFilesIn(Folder()), 0);
}

}  // namespace
}  // namespace tsn
