// The fountain library and the colour database: byte and text layouts,
// refusal of damaged files without allocating by their counts, and writes
// that never lose what was there.
#include <gtest/gtest.h>

#include <cstring>

#include "colour/colour_database.h"
#include "colour/fountain_library.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

std::uint32_t U32At(const std::vector<std::uint8_t>& b, std::size_t at) {
    std::uint32_t v;
    std::memcpy(&v, b.data() + at, 4);
    return v;
}

FountainDefinition Sample(std::uint32_t colour) {
    FountainDefinition f;
    ResetFountain(&f);
    f.count = 2;
    f.start = colour;
    f.markers[0] = MakeMarker(0x40, colour ^ 0xFFFFFF);
    f.markers[1] = MakeMarker(0xC0, 0x123456);
    f.markers[63] = 0xABCDEF01;  // beyond count, still stored
    return f;
}

std::vector<FountainDefinition> Load(const std::string& path, bool* ok) {
    MemHandle h;
    int n;
    *ok = LoadFountainLibrary(path.c_str(), &h, &n);
    auto* p = static_cast<FountainDefinition*>(MemLock(h));
    std::vector<FountainDefinition> out(p, p + (p ? n : 0));
    MemUnlock(h);
    MemFree(h);
    return out;
}

TEST(FountainLibrary, EntriesAreLaidOutAndReadBackAsStored) {
    test::TempFolder temp;
    const std::string path = temp.File("FountainLibrary.fll");
    ASSERT_TRUE(AppendToFountainLibrary(path.c_str(), Sample(0x0000FF)));
    ASSERT_TRUE(AppendToFountainLibrary(path.c_str(), Sample(0x00FF00)));
    const auto b = test::ReadAll(path);
    ASSERT_EQ(b.size(), 80u + 2 * 340);
    EXPECT_EQ(std::string(b.begin(), b.begin() + 8), "VANTFLHH");
    EXPECT_EQ(U32At(b, 12), 2u);
    EXPECT_EQ(std::vector<std::uint8_t>(b.begin() + 16, b.begin() + 80),
              std::vector<std::uint8_t>(64));
    const std::size_t e = 80 + 340;  // the second entry
    EXPECT_EQ(std::string(b.begin() + e, b.begin() + e + 8), "VANTFLHE");
    EXPECT_EQ(U32At(b, e + 8), 2u);
    EXPECT_EQ(U32At(b, e + 12), 0x00FF00u);
    EXPECT_EQ(U32At(b, e + 16), 0xFFFFFFFFu);
    EXPECT_EQ(U32At(b, e + 20), 0x40FF00FFu);
    EXPECT_EQ(U32At(b, e + 20 + 63 * 4), 0xABCDEF01u);
    EXPECT_EQ(std::vector<std::uint8_t>(b.begin() + e + 276, b.end()),
              std::vector<std::uint8_t>(64));

    bool ok;
    const auto loaded = Load(path, &ok);
    ASSERT_TRUE(ok);
    ASSERT_EQ(loaded.size(), 2u);
    EXPECT_EQ(loaded[0].start, 0x0000FFu);
    EXPECT_EQ(loaded[1].markers[1], MakeMarker(0xC0, 0x123456));
    // Only the colours come back: no signature, name or size.
    EXPECT_EQ(loaded[1].signature[0], 0);
    EXPECT_EQ(loaded[1].size, 0u);
}

TEST(FountainLibrary, DamagedFilesAreRefusedWithNothingAllocatedAndNotExtended) {
    test::TempFolder temp;
    const std::string path = temp.File("lib.fll");
    ASSERT_TRUE(AppendToFountainLibrary(path.c_str(), Sample(1)));
    const auto good = test::ReadAll(path);
    const long live = MemLiveBlocks();
    auto expectRefused = [&](std::vector<std::uint8_t> bytes, const char* what) {
        ASSERT_TRUE(test::WriteAll(path, bytes.data(), bytes.size()));
        bool ok;
        EXPECT_TRUE(Load(path, &ok).empty()) << what;
        EXPECT_FALSE(ok) << what;
        EXPECT_FALSE(AppendToFountainLibrary(path.c_str(), Sample(2))) << what;
        EXPECT_EQ(test::ReadAll(path), bytes) << what;
    };
    auto bytes = good;
    bytes[12] = 0xFF, bytes[13] = 0xFF, bytes[14] = 0xFF, bytes[15] = 0x7F;
    expectRefused(bytes, "counts two billion entries");
    bytes = good;
    bytes[12] = 2;
    expectRefused(bytes, "counts one more entry than it holds");
    expectRefused(std::vector<std::uint8_t>(good.begin(), good.begin() + 79), "short header");
    bytes = good;
    bytes[7] = 'X';
    expectRefused(bytes, "header signature");
    bytes = good;
    bytes[87] = 'X';
    bool ok;
    ASSERT_TRUE(test::WriteAll(path, bytes.data(), bytes.size()));
    Load(path, &ok);
    EXPECT_FALSE(ok) << "entry signature";
    EXPECT_EQ(MemLiveBlocks(), live);
    EXPECT_FALSE(Load(temp.File("missing.fll"), &ok).size() || ok);

    // A negative count reads as an empty library.
    bytes = good;
    bytes[15] = 0x80;
    ASSERT_TRUE(test::WriteAll(path, bytes.data(), bytes.size()));
    EXPECT_TRUE(Load(path, &ok).empty());
    EXPECT_TRUE(ok);

    ASSERT_TRUE(test::WriteAll(path, good.data(), good.size()));
    MemFailAfter(0);
    Load(path, &ok);
    MemFailAfter(-1);
    EXPECT_FALSE(ok);
    EXPECT_EQ(MemLiveBlocks(), live);
}

TEST(FountainLibrary, RewritingWithNoEntriesRemovesTheFile) {
    test::TempFolder temp;
    const std::string path = temp.File("lib.fll");
    const FountainDefinition two[2] = {Sample(5), Sample(6)};
    ASSERT_TRUE(WriteFountainLibrary(path.c_str(), two, 2));
    bool ok;
    EXPECT_EQ(Load(path, &ok).at(1).start, 6u);
    ASSERT_TRUE(WriteFountainLibrary(path.c_str(), two, 0));
    EXPECT_FALSE(test::FileExists(path));
}

NamedColour Parse(const char* line, bool* ok) {
    NamedColour c{};
    *ok = ParseColourLine(line, &c);
    return c;
}

TEST(ColourDatabase, LinesReadByTheSkipAndNumberRules) {
    bool ok;
    NamedColour c = Parse("Sky blue = 135,,206,235", &ok);
    EXPECT_TRUE(ok);
    EXPECT_STREQ(c.name, "Sky blue ");
    EXPECT_EQ(c.colour, 135u | 206u << 8 | 235u << 16);
    Parse("A=1,2", &ok);
    EXPECT_FALSE(ok);
    Parse("=1,2,3", &ok);
    EXPECT_FALSE(ok);
    Parse("no equals 1,2,3", &ok);
    EXPECT_FALSE(ok);
    EXPECT_EQ(Parse("A=300,2,3", &ok).colour, 44u | 2u << 8 | 3u << 16);
    EXPECT_EQ(Parse("A=\t5,6,7", &ok).colour, 5u | 6u << 8 | 7u << 16);
    EXPECT_EQ(Parse("A=\b= -1,x,99999999999", &ok).colour, 255u | 0u << 8 | 255u << 16);
    EXPECT_STREQ(Parse("A=B=1,2,3", &ok).name, "A");
}

TEST(ColourDatabase, FileLinesInOrderAndWrittenBackAsText) {
    test::TempFolder temp;
    const std::string path = temp.File("TSNTXTR.CCL");
    // 300 characters: read as a 259-character piece and a 41-character one.
    const std::string lng = std::string(259, 'x') + std::string(30, 'y') + "Long=1,2,3";
    const std::string text = "Red=255,0,0\r\nbad line\nBlue=0,0,255\n" + lng + "\nRed=255,0,0";
    ASSERT_TRUE(test::WriteAll(path, text.data(), text.size()));
    MemHandle h;
    int n;
    ASSERT_TRUE(LoadColourDatabase(path.c_str(), &h, &n));
    ASSERT_EQ(n, 4);
    auto* e = static_cast<NamedColour*>(MemLock(h));
    EXPECT_STREQ(e[1].name, "Blue");
    EXPECT_EQ(std::string(e[2].name), std::string(30, 'y') + "Long");
    EXPECT_EQ(e[3].colour, 0xFFu);
    std::strcpy(e[1].name, "Deep blue");
    ASSERT_TRUE(SaveColourDatabase(path.c_str(), e, 2));
    MemUnlock(h);
    MemFree(h);
    const auto b = test::ReadAll(path);
    std::string written(b.begin(), b.end());
    std::erase(written, '\r');
    EXPECT_EQ(written, "Red=255,0,0\nDeep blue=0,0,255\n");
    EXPECT_FALSE(LoadColourDatabase(temp.File("none.ccl").c_str(), &h, &n));
    EXPECT_EQ(h, 0u);
}

TEST(ColourDatabase, TheGlobalFileWinsWhenItExists) {
    test::TempFolder temp;
    char local[kMaxPath + 1], global[kMaxPath + 1], inForce[kMaxPath + 1];
    ASSERT_TRUE(LocalColourDatabasePath("MINE.CCL", local));
    ASSERT_TRUE(GlobalColourDatabasePath(global));
    EXPECT_EQ(std::string(global), temp.path() + "Vantorel" + PathSeparator() + "colors.ccl");
    ASSERT_TRUE(ColourDatabasePath("MINE.CCL", inForce));
    EXPECT_STREQ(inForce, local);
    ASSERT_TRUE(MakeFolders((temp.path() + "Vantorel" + PathSeparator()).c_str()));
    ASSERT_TRUE(test::WriteAll(global, "A=1,2,3\n", 8));
    ASSERT_TRUE(ColourDatabasePath("MINE.CCL", inForce));
    EXPECT_STREQ(inForce, global);
}

}  // namespace
}  // namespace tsn
