#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "app/kind_list.h"
#include "kind/master_record.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

std::unique_ptr<MasterTextureRecord> NewRecord(const SessionArguments& a = {}) {
    auto rec = std::make_unique<MasterTextureRecord>();
    InitRecord(rec.get(), a);
    ResetAllKinds(rec.get());
    return rec;
}

TEST(MasterRecord, NewRecordHasItsHeaderPaletteAndTheHostsValues) {
    const std::uint32_t size[2] = {1234, 567};
    SessionArguments a;
    a.parent = 0x1111;
    a.viewContext = 0x2222;
    a.viewImage = 0x3333;
    a.hostService = 0x4444;
    a.flags = kFlagSizeValid | kFlagDoneMode;
    a.size = size;
    auto rec = NewRecord(a);
    const auto* raw = reinterpret_cast<const std::uint8_t*>(rec.get());
    const std::vector<std::uint8_t> bytes(raw, raw + kRecordSize);
    using test::U32;
    EXPECT_EQ(std::memcmp(raw, "VANTTSTT", 8), 0);
    EXPECT_EQ(U32(bytes, 8), 0x10006101u);
    EXPECT_EQ(U32(bytes, 12), 30073u);
    EXPECT_EQ(U32(bytes, 20) | std::uint64_t(U32(bytes, 24)) << 32, 0x1111u);
    EXPECT_EQ(U32(bytes, 136) | std::uint64_t(U32(bytes, 140)) << 32, 0x2222u);
    EXPECT_EQ(U32(bytes, 144), 1234u);
    EXPECT_EQ(U32(bytes, 148), 567u);
    for (int i = 0; i < 256; ++i) {
        ASSERT_EQ(bytes[156 + 3 * i], 255);
        ASSERT_EQ(bytes[157 + 3 * i], i);
        ASSERT_EQ(bytes[158 + 3 * i], i);
    }
}

TEST(MasterRecord, TheHostsSizeIsReadOnlyWithFlagBitZero) {
    const std::uint32_t size[2] = {1234, 567};
    SessionArguments a;
    a.size = size;
    a.flags = kFlagNoSave;
    auto rec = NewRecord(a);
    EXPECT_EQ(rec->width, 0u);
    EXPECT_EQ(rec->depth, 0u);
    a.flags = kFlagSizeValid;
    a.size = nullptr;
    rec = NewRecord(a);
    EXPECT_EQ(rec->width, 0u);
}

class SettingsFile : public ::testing::Test {
  protected:
    test::TempFolder folder;
    std::string path = folder.File("texture.texture");

    // A valid file whose contents differ from a fresh record's.
    std::vector<std::uint8_t> SavedFile() {
        auto rec = NewRecord();
        rec->kindIndex = 13;
        rec->showMutations = 1;
        rec->mutationGeneration = 17;
        rec->colourTable[5] = 99;
        rec->width = 11;
        rec->parent = 0xDEAD;
        rec->image = 0xBEEF;
        rec->needsRender = 1;
        rec->mutations[2].cachedImage = 0xABCD;
        rec->transferSource = 0x77;
        for (auto [at, n] : {std::pair{6918, 8}, {7871, 8}, {21444, 24}, {26911, 8}})
            std::memset(reinterpret_cast<std::uint8_t*>(rec.get()) + at, 0xEE, n);  // grey slots
        EXPECT_TRUE(SaveSettingsFile(*rec, path.c_str()));
        return test::ReadAll(path);
    }
};

TEST_F(SettingsFile, LoadKeepsTheSessionsLiveValuesAndTakesTheRestFromTheFile) {
    const auto file = SavedFile();
    ASSERT_EQ(file.size(), 30073u);
    const std::uint32_t size[2] = {640, 480};
    SessionArguments a;
    a.parent = 0x5555;
    a.flags = kFlagSizeValid | kFlagNoSave;
    a.size = size;
    auto rec = NewRecord(a);
    rec->dialog = 0x6666;
    ASSERT_TRUE(LoadSettingsFile(rec.get(), path.c_str()));
    EXPECT_EQ(rec->kindIndex, 13);
    EXPECT_EQ(rec->showMutations, 1u);
    EXPECT_EQ(rec->mutationGeneration, 17u);
    EXPECT_EQ(rec->colourTable[5], 99);
    EXPECT_EQ(rec->parent, 0x5555u);
    EXPECT_EQ(rec->dialog, 0x6666u);
    EXPECT_EQ(rec->width, 640u);
    EXPECT_EQ(rec->depth, 480u);
    EXPECT_EQ(rec->flags, kFlagSizeValid | kFlagNoSave);
    EXPECT_EQ(rec->image, 0u);
    EXPECT_EQ(rec->needsRender, 0u);
    EXPECT_EQ(rec->mutations[2].cachedImage, 0u) << "a past session's handle is never used";
    EXPECT_EQ(rec->transferSource, 0u);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(rec.get());
    for (std::uint32_t at : {6918u, 6925u, 7871u, 21444u, 21467u, 26911u, 26918u})
        EXPECT_EQ(bytes[at], 0) << "working slot byte " << at << " came from the file";
}

TEST_F(SettingsFile, ShortOrForeignFilesAreIgnored) {
    auto file = SavedFile();
    auto fresh = NewRecord();
    auto check_ignored = [&](const std::vector<std::uint8_t>& bytes, const char* what) {
        ASSERT_TRUE(test::WriteAll(path, bytes.data(), bytes.size()));
        auto rec = NewRecord();
        EXPECT_FALSE(LoadSettingsFile(rec.get(), path.c_str())) << what;
        EXPECT_EQ(std::memcmp(rec.get(), fresh.get(), kRecordSize), 0) << what;
    };
    check_ignored(std::vector<std::uint8_t>(file.begin(), file.end() - 1), "30072 bytes");
    check_ignored({}, "empty");
    for (int i = 0; i < 8; ++i) {
        auto bad = file;
        bad[i] ^= 0x20;
        check_ignored(bad, "signature");
    }
    auto bad = file;
    bad[8] = 0x02;
    check_ignored(bad, "version");
    bad = file;
    bad[12] = 0x7A;
    check_ignored(bad, "size");
    auto rec = NewRecord();
    EXPECT_FALSE(LoadSettingsFile(rec.get(), folder.File("missing").c_str()));
    // The reader's one allocation failing: nothing read, nothing kept.
    ASSERT_TRUE(test::WriteAll(path, file.data(), file.size()));
    const long live = MemLiveBlocks();
    MemFailAfter(0);
    EXPECT_FALSE(LoadSettingsFile(rec.get(), path.c_str()));
    MemFailAfter(-1);
    EXPECT_EQ(MemLiveBlocks(), live);
    EXPECT_EQ(std::memcmp(rec.get(), fresh.get(), kRecordSize), 0);
    EXPECT_TRUE(LoadSettingsFile(rec.get(), path.c_str()));
}

TEST_F(SettingsFile, AFailedWriteLeavesNoFile) {
    auto rec = NewRecord();
    const std::string nowhere = folder.File("no-such-folder/texture.texture");
    EXPECT_FALSE(SaveSettingsFile(*rec, nowhere.c_str()));
    EXPECT_FALSE(test::FileExists(nowhere));
}

TEST_F(SettingsFile, LivesUnderTheApplicationDataFolder) {
    char p[kMaxPath + 1];
    ASSERT_TRUE(SettingsFilePath(p));
    const char sep = PathSeparator();
    const std::string want = folder.path() + "Vantorel" + sep + "Tessarine 16" + sep + "texture" +
                             sep + "texture.texture";
    EXPECT_EQ(std::string(p), want);
}

TEST(Paths, JoiningStopsAtTheLimit) {
    char p[kMaxPath + 1] = "";
    const std::string longPart(300, 'a');
    PathAppend(p, longPart.c_str(), true);
    EXPECT_EQ(std::strlen(p), std::size_t(kMaxPath));
    char q[kMaxPath + 1] = "";
    PathAppend(q, "abc", true);
    PathAppend(q, "def", false);
    EXPECT_EQ(std::string(q), std::string("abc") + PathSeparator() + "def");
}

}  // namespace
}  // namespace tsn
