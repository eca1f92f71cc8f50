// Files from disk are data: a file name inside a record, a name in the
// configuration file or a file planted where we write never decides where
// our bytes go.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <functional>
#include <string>

#include "app/config_file.h"
#include "app/kind_list.h"
#include "app/presets.h"
#include "colour/fountain.h"
#include "kind/master_record.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

using Bytes = std::vector<std::uint8_t>;
namespace fs = std::filesystem;

const Bytes kVictim = {'m', 'i', 'n', 'e'};

std::string TextureFolderPath() {
    char folder[kMaxPath + 1];
    EXPECT_TRUE(TextureFolder(folder));
    return folder;
}

// Plants what an attacker would at `at`: a link to `victim` where the
// system has them, else a file of its own (which must stay as it is).
void Plant(const std::string& at, const std::string& victim) {
    ASSERT_TRUE(test::WriteAll(victim, kVictim.data(), kVictim.size()));
#ifdef _WIN32
    ASSERT_TRUE(test::WriteAll(at, kVictim.data(), kVictim.size()));
#else
    fs::create_symlink(victim, at);
#endif
}

FountainDefinition FountainNaming(const std::string& file) {
    FountainDefinition f;
    ResetFountain(&f);
    std::snprintf(f.fileName, sizeof f.fileName, "%s", file.c_str());
    return f;
}

void PutFountain(MasterTextureRecord* rec, const KindDescriptor& k, const PageField& field,
                 const FountainDefinition& f) {
    std::memcpy(BlockAt(rec, k.blockOffset) + field.offset, &f, sizeof f);
}

std::string NameIn(MasterTextureRecord* rec, const KindDescriptor& k, const PageField& field) {
    FountainDefinition f;
    std::memcpy(&f, BlockAt(rec, k.blockOffset) + field.offset, sizeof f);
    return std::string(f.fileName, strnlen(f.fileName, sizeof f.fileName));
}

TEST(UntrustedFiles, EveryWriterStepsAroundFilesPlantedAtItsTemporaryNames) {
    test::TempFolder temp;
    test::Session s;
    const std::string folder = TextureFolderPath();
    ASSERT_TRUE(MakeFolders(folder.c_str()));
    const int noise = FindKind("noise");
    char ini[kMaxPath + 1];
    ASSERT_TRUE(ConfigFilePath(ini));
    ASSERT_TRUE(MakeFolders((temp.path() + "Vantorel/").c_str()));
    struct Case {
        std::string target;
        std::function<bool()> write;
    };
    const Case cases[] = {
        {folder + "texture.texture",
         [&] { return SaveSettingsFile(*s.rec(), (folder + "texture.texture").c_str()); }},
        {folder + "Soft.noise", [&] { return SavePreset(s.rec(), noise, "Soft"); }},
        {ini, [&] { return SaveConfigFile(Config()); }},
    };
    int n = 0;
    for (const Case& c : cases) {
        // The first three names the writer would try are taken.
        const std::uint64_t first = 1000 * std::uint64_t(++n);
        test::PredictableTemporaryNames names(first);
        std::vector<std::string> victims;
        for (std::uint64_t t = first; t < first + 3; ++t) {
            victims.push_back(temp.File("victim" + std::to_string(t)));
            Plant(test::PredictableTemporaryNames::For(c.target, t), victims.back());
        }
        EXPECT_TRUE(c.write()) << c.target;
        for (const std::string& v : victims) EXPECT_EQ(test::ReadAll(v), kVictim) << c.target;
        EXPECT_GT(test::ReadAll(c.target).size(), kVictim.size()) << c.target;
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(c.target))) << c.target;
    }
}

#ifndef _WIN32
TEST(UntrustedFiles, ALinkAtTheTargetIsReplacedNotFollowed) {
    test::TempFolder temp;
    test::Session s;
    const std::string target = temp.File("texture.texture"), victim = temp.File("victim");
    Plant(target, victim);
    ASSERT_TRUE(SaveSettingsFile(*s.rec(), target.c_str()));
    EXPECT_EQ(test::ReadAll(victim), kVictim);
    EXPECT_EQ(test::ReadAll(target).size(), std::size_t(kRecordSize));
    EXPECT_FALSE(fs::is_symlink(target));
}
#endif

// A file of the user's that is not a colour map, and one that is.
class FountainFiles : public ::testing::Test {
  protected:
    test::TempFolder temp;
    const std::string victim = temp.File("victim.txt"), record = temp.File("map.fnt");
    FountainDefinition stored;
    void SetUp() override {
        ASSERT_TRUE(test::WriteAll(victim, kVictim.data(), kVictim.size()));
        ResetFountain(&stored);
        ASSERT_TRUE(test::WriteAll(record, &stored, sizeof stored));
    }
};

TEST_F(FountainFiles, NamesFromFilesAreKeptOnlyForFountainRecordFiles) {
    // A fountain record's length but not its signature, and one byte more.
    FountainDefinition unsigned_ = stored;
    std::memcpy(unsigned_.signature, "VANTXXXX", 8);
    const std::string wrongSign = temp.File("wrong.fnt"), longer = temp.File("longer.fnt");
    ASSERT_TRUE(test::WriteAll(wrongSign, &unsigned_, sizeof unsigned_));
    Bytes plusOne(sizeof stored + 1);
    std::memcpy(plusOne.data(), &stored, sizeof stored);
    ASSERT_TRUE(test::WriteAll(longer, plusOne.data(), plusOne.size()));

    EXPECT_TRUE(IsFountainRecordFile(record.c_str()));
    for (const std::string& other : {victim, wrongSign, longer, temp.File("missing")}) {
        EXPECT_FALSE(IsFountainRecordFile(other.c_str())) << other;
        FountainDefinition f = FountainNaming(other);
        ForgetUntrustedFileName(&f);
        EXPECT_EQ(f.fileName[0], 0) << other;
        EXPECT_FALSE(WriteFountainBack(FountainNaming(other))) << other;
    }
    EXPECT_EQ(test::ReadAll(victim), kVictim);
    EXPECT_EQ(test::ReadAll(wrongSign).size(), sizeof stored);

    FountainDefinition kept = FountainNaming(record);
    ForgetUntrustedFileName(&kept);
    EXPECT_EQ(std::string(kept.fileName), record);
    kept.count = 2;
    kept.cachedImage = 0x1234;  // a run-time handle is never written
    ASSERT_TRUE(WriteFountainBack(kept));
    FountainDefinition back;
    const Bytes bytes = test::ReadAll(record);
    ASSERT_EQ(bytes.size(), sizeof back);
    std::memcpy(&back, bytes.data(), sizeof back);
    EXPECT_EQ(back.count, 2u);
    EXPECT_EQ(back.cachedImage, 0u);
}

TEST_F(FountainFiles, ASettingsFileOrPresetLosesItsForeignNames) {
    test::Session s;
    // Every fountain of every kind and every mutation names the victim,
    // but Terrain's second map names a fountain record file.
    const KindDescriptor* terrain = &KindOf(FindKind("terrain"));
    const PageField* land = FountainField(*terrain->page);
    auto namesRecord = [&](const KindDescriptor& k, const PageField& f) {
        return &k == terrain && &f != land;  // Terrain's water map
    };
    int fountains = 0;
    for (int i = 0; i < kKindCount; ++i) {
        const KindDescriptor& k = KindOf(i);
        for (int j = 0; k.page && j < k.page->count; ++j)
            if (k.page->fields[j].type == FieldType::Fountain) {
                ++fountains;
                PutFountain(s.rec(), k, k.page->fields[j],
                            FountainNaming(namesRecord(k, k.page->fields[j]) ? record : victim));
            }
    }
    EXPECT_EQ(fountains, 8);
    for (FountainDefinition& m : s.rec()->mutations) m = FountainNaming(victim);
    const std::string settings = temp.File("texture.texture");
    ASSERT_TRUE(SaveSettingsFile(*s.rec(), settings.c_str()));
    const std::string preset = temp.File("Evil.noise");
    const int noise = FindKind("noise");
    ASSERT_TRUE(SavePresetFile(s.rec(), noise, preset.c_str()));

    test::Session loaded;
    ASSERT_TRUE(LoadSettingsFile(loaded.rec(), settings.c_str()));
    ForgetAllUntrustedFountainNames(loaded.rec());
    for (int i = 0; i < kKindCount; ++i) {
        const KindDescriptor& k = KindOf(i);
        for (int j = 0; k.page && j < k.page->count; ++j)
            if (k.page->fields[j].type == FieldType::Fountain) {
                EXPECT_EQ(NameIn(loaded.rec(), k, k.page->fields[j]),
                          namesRecord(k, k.page->fields[j]) ? record : "")
                    << k.key;
            }
    }
    for (const FountainDefinition& m : loaded.rec()->mutations) EXPECT_EQ(m.fileName[0], 0);

    test::Session fromPreset;
    ASSERT_TRUE(LoadPresetFile(fromPreset.rec(), noise, preset.c_str()));
    EXPECT_EQ(NameIn(fromPreset.rec(), KindOf(noise), *FountainField(*KindOf(noise).page)), "");
    EXPECT_EQ(test::ReadAll(victim), kVictim);
}

TEST(UntrustedFiles, ConfigurationFileNamesArePlainNamesInTheirFolders) {
    test::TempFolder temp;
    for (const char* bad : {"../../../victim2.ccl", "a/b.ccl", "a\\b.ccl", "C:x.ccl", "..", "."})
        EXPECT_FALSE(FolderNameProblem(bad).empty()) << bad;
    for (const char* good : {"TSNTXTR.CCL", "my..colours.ccl", "Walls.mtx"})
        EXPECT_TRUE(FolderNameProblem(good).empty()) << good;
    const std::string ini = temp.File("TSNTXTR.INI");
    const std::string text =
        "ColourTableFile = ../../../victim2.ccl\nMatrixCurrentLibrary = /etc/x.mtx\n"
        "LiveButtons = 0\n";
    ASSERT_TRUE(test::WriteAll(ini, text.data(), text.size()));
    ConfigValues c;
    ResetConfig(&c);
    std::string refused;
    ASSERT_TRUE(ReadConfigFile(&c, ini.c_str(), &refused));
    EXPECT_STREQ(c.colourTableFile, "TSNTXTR.CCL");
    EXPECT_STREQ(c.matrixCurrentLibrary, "Tessarine.mtx");
    EXPECT_EQ(c.liveButtons, 0u) << "the rest of the file still counts";
    EXPECT_NE(refused.find("ColourTableFile = ../../../victim2.ccl is refused"), std::string::npos)
        << refused;
    EXPECT_NE(refused.find("MatrixCurrentLibrary = /etc/x.mtx is refused"), std::string::npos);
}

TEST(UntrustedFiles, ANewUserGetsTheConfigurationFolderMade) {
    test::TempFolder temp;
    char ini[kMaxPath + 1];
    ASSERT_TRUE(ConfigFilePath(ini));
    ASSERT_FALSE(test::FileExists(temp.File("Vantorel")));
    ConfigValues c;
    ResetConfig(&c);
    EXPECT_TRUE(SaveConfigFile(c));
    EXPECT_TRUE(test::FileExists(ini));
}

}  // namespace
}  // namespace tsn
