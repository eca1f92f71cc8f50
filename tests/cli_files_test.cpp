// The command over the user's files when those files are damaged, hostile
// or missing: presets, matrix libraries, the configuration file, settings
// and pictures written where someone else can plant links.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "app/kind_list.h"
#include "app/matrix_library.h"
#include "colour/fountain.h"
#include "colour/fountain_library.h"
#include "kind/master_record.h"
#include "tests/cli_support.h"

namespace tsn {
namespace {

using Bytes = std::vector<std::uint8_t>;
namespace fs = std::filesystem;

class UserFiles : public test::CliTest {
  protected:
    UserFiles() { setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1); }
    ~UserFiles() override { unsetenv("XDG_CONFIG_HOME"); }
    std::string Textures() const { return folder.path() + "Vantorel/Tessarine 16/texture/"; }
    std::string Ini() const { return folder.path() + "Vantorel/TSNTXTR.INI"; }
    void WriteIni(const std::string& text) {
        fs::create_directories(folder.path() + "Vantorel");
        ASSERT_TRUE(test::WriteAll(Ini(), text.data(), text.size()));
    }
    std::string Text(const std::string& path) {
        const Bytes b = test::ReadAll(path);
        return std::string(b.begin(), b.end());
    }
};

TEST_F(UserFiles, PresetNamesAreUniqueWithoutCaseAndFoundWithoutCase) {
    ASSERT_EQ(Tsntxtr("presets noise --save Soft --set dimension=1 --set layers=7").code, 0);
    const Bytes soft = test::ReadAll(Textures() + "Soft.noise");
    for (const char* again : {"Soft", "SOFT", "soft"}) {
        const test::Outcome r = Tsntxtr(std::string("presets noise --save ") + again);
        EXPECT_EQ(r.code, 2) << again;
        EXPECT_NE(r.err.find("The name you have selected already exists in this library."),
                  std::string::npos)
            << r.err;
        EXPECT_EQ(Tsntxtr(std::string("render noise --width 64 --depth 64 -o '") +
                          folder.File("x.png") + "' --save-preset " + again)
                      .code,
                  1)
            << again;
    }
    EXPECT_EQ(test::ReadAll(Textures() + "Soft.noise"), soft) << "never overwritten";
    EXPECT_FALSE(test::FileExists(Textures() + "SOFT.noise"));

    // A preset whose extension another system wrote in capitals.
    fs::rename(Textures() + "Soft.noise", Textures() + "Loud.NOISE");
    EXPECT_EQ(Tsntxtr("presets noise").out, "Loud\n");
    const std::string a = folder.File("a.bmp"), b = folder.File("b.bmp");
    ASSERT_EQ(Tsntxtr("render noise --width 64 --depth 64 --preset loud -o '" + a + "'").code, 0);
    ASSERT_EQ(Tsntxtr("presets noise --save Same --set dimension=1 --set layers=7").code, 0);
    ASSERT_EQ(Tsntxtr("render noise --width 64 --depth 64 --preset Same -o '" + b + "'").code, 0);
    EXPECT_EQ(test::ReadAll(a), test::ReadAll(b)) << "the preset's soft seven layers";
    ASSERT_EQ(Tsntxtr("render noise --width 64 --depth 64 -o '" + b + "'").code, 0);
    EXPECT_NE(test::ReadAll(a), test::ReadAll(b));
    EXPECT_EQ(Tsntxtr("presets noise --delete LOUD").code, 0);
    EXPECT_FALSE(test::FileExists(Textures() + "Loud.NOISE"));

    // Too long for a path here: the message says so and how long may do.
    const test::Outcome r = Tsntxtr("presets noise --save " + std::string(199, 'n'));
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("The name is too long"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("Choose a name of at most"), std::string::npos) << r.err;
}

TEST_F(UserFiles, FromAPresetFileTellsKindsThatShareASignatureByItsLength) {
    ASSERT_EQ(Tsntxtr("presets particle --save P").code, 0);
    ASSERT_EQ(Tsntxtr("presets craters --save C").code, 0);
    const std::string p = folder.File("particle-preset"), c = folder.File("craters-preset");
    fs::copy_file(Textures() + "P.particle", p);
    fs::copy_file(Textures() + "C.craters", c);
    const KindDescriptor& particle = KindOf(FindKind("particle"));
    ASSERT_EQ(std::memcmp(particle.signature, KindOf(FindKind("craters")).signature, 8), 0);
    for (const auto& [file, kind] : {std::pair{p, "particle"}, std::pair{c, "craters"}}) {
        const std::string viaFile = folder.File("f.bmp"), direct = folder.File("d.bmp");
        ASSERT_EQ(
            Tsntxtr("render --from '" + file + "' --width 64 --depth 64 -o '" + viaFile + "'").code,
            0)
            << kind;
        ASSERT_EQ(
            Tsntxtr(std::string("render ") + kind + " --width 64 --depth 64 -o '" + direct + "'")
                .code,
            0);
        EXPECT_EQ(test::ReadAll(viaFile), test::ReadAll(direct)) << kind;
    }
    // The particle signature at a length neither kind has.
    Bytes odd = test::ReadAll(p);
    odd.push_back(0);
    const std::string bad = folder.File("odd");
    ASSERT_TRUE(test::WriteAll(bad, odd.data(), odd.size()));
    const test::Outcome r =
        Tsntxtr("render --from '" + bad + "' -o '" + folder.File("o.png") + "'");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("neither a settings file nor a preset"), std::string::npos) << r.err;
}

TEST_F(UserFiles, UsingALibraryReadsItOrMakesItAndRefusesADamagedOne) {
    // A new user: no configuration folder yet.
    test::Outcome r = Tsntxtr("matrix integral on");
    EXPECT_EQ(r.code, 0) << r.err;
    EXPECT_NE(Text(Ini()).find("MatrixIntegralDimensions = 1"), std::string::npos);

    // A new name: a new library of the tiles shown (the default one), at once.
    r = Tsntxtr("matrix use Walls");
    ASSERT_EQ(r.code, 0) << r.err;
    ASSERT_TRUE(test::FileExists(Textures() + "Walls.mtx"));
    EXPECT_NE(Text(Ini()).find("MatrixCurrentLibrary = Walls.mtx"), std::string::npos);
    EXPECT_NE(Tsntxtr("matrix list").out.find("0: "), std::string::npos);

    // Another new library starts as a copy of Walls; Walls gets a second tile.
    const std::string bmp = folder.File("t.bmp");
    ASSERT_EQ(Tsntxtr("render plasma --width 16 --depth 8 -o '" + bmp + "'").code, 0);
    ASSERT_EQ(Tsntxtr("matrix add '" + bmp + "'").code, 0);
    ASSERT_EQ(Tsntxtr("matrix use Floors.mtx").code, 0);
    EXPECT_EQ(test::ReadAll(Textures() + "Floors.mtx").size(),
              test::ReadAll(Textures() + "Walls.mtx").size());
    EXPECT_FALSE(test::FileExists(Textures() + "Floors.mtx.mtx"));

    // An existing one, named in other letters, becomes current as it is.
    ASSERT_EQ(Tsntxtr("matrix use walls").code, 0);
    EXPECT_NE(Text(Ini()).find("MatrixCurrentLibrary = Walls.mtx"), std::string::npos);

    // A damaged library is refused and the current one stays current.
    ASSERT_TRUE(test::WriteAll(Textures() + "Broken.mtx", "VANTMTXf", 8));
    r = Tsntxtr("matrix use Broken");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("There has been an error reading the matrix file."), std::string::npos);
    EXPECT_NE(Text(Ini()).find("MatrixCurrentLibrary = Walls.mtx"), std::string::npos);

    // Names, never paths.
    for (const char* path : {"../Walls", "/tmp/x", "a/b"}) {
        EXPECT_EQ(Tsntxtr(std::string("matrix use '") + path + "'").code, 2) << path;
        EXPECT_EQ(Tsntxtr(std::string("matrix list --library '") + path + "'").code, 2) << path;
    }
}

TEST_F(UserFiles, ConfigurationNamesThatArePathsAreRefusedAndTheDefaultUsed) {
    const std::string victim = folder.File("victim2.ccl");
    ASSERT_TRUE(test::WriteAll(victim, "mine", 4));
    WriteIni("ColourTableFile = ../../victim2.ccl\nMatrixCurrentLibrary = ../../victim3.mtx\n");
    const test::Outcome r = Tsntxtr("colours add blue 0xff0000");
    EXPECT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.err.find("ColourTableFile = ../../victim2.ccl is refused"), std::string::npos)
        << r.err;
    EXPECT_EQ(Text(victim), "mine");
    EXPECT_TRUE(test::FileExists(folder.path() + "Vantorel/Tessarine 16/TSNTXTR.CCL"));
    ASSERT_EQ(Tsntxtr("matrix add '" + folder.File("none.bmp") + "'").code, 1);
    EXPECT_FALSE(test::FileExists(folder.File("victim3.mtx")));
    EXPECT_NE(Tsntxtr("matrix list").out.find("Tessarine.mtx"), std::string::npos);
}

TEST_F(UserFiles, SettingsSavedFromAForeignFileCarryNoForeignFountainName) {
    const std::string victim = folder.File("victim.txt");
    ASSERT_TRUE(test::WriteAll(victim, "mine", 4));
    const std::string in = folder.File("in.texture"), out = folder.File("out.texture");
    ASSERT_EQ(Tsntxtr("render noise --width 64 --depth 64 -o '" + folder.File("a.png") +
                      "' --save-settings '" + in + "'")
                  .code,
              0);
    // Every fountain record in the file names the victim.
    Bytes bytes = test::ReadAll(in);
    int named = 0;
    for (std::size_t i = 0; i + sizeof(FountainDefinition) <= bytes.size(); ++i)
        if (std::memcmp(&bytes[i], "VANTFNTN", 8) == 0) {
            std::memcpy(&bytes[i + offsetof(FountainDefinition, fileName)], victim.c_str(),
                        victim.size() + 1);
            ++named;
        }
    ASSERT_GE(named, 8) << "every kind's colour maps";
    ASSERT_TRUE(test::WriteAll(in, bytes.data(), bytes.size()));
    ASSERT_EQ(Tsntxtr("render --from '" + in + "' --width 64 --depth 64 -o '" +
                      folder.File("b.png") + "' --save-settings '" + out + "'")
                  .code,
              0);
    const Bytes saved = test::ReadAll(out);
    ASSERT_EQ(saved.size(), bytes.size());
    EXPECT_EQ(std::search(saved.begin(), saved.end(), victim.begin(), victim.end()), saved.end());
    EXPECT_EQ(Text(victim), "mine");
}

TEST_F(UserFiles, APictureIsWrittenPastLinksPlantedInTheOutputFolder) {
    const std::string victim = folder.File("victim"), out = folder.File("out.png");
    ASSERT_TRUE(test::WriteAll(victim, "mine", 4));
    // The names the earlier writer used, for the next process ids, and a
    // link at the output name itself.
    const int pid = int(getpid());
    for (int p = pid; p < pid + 300; ++p)
        fs::create_symlink(victim, out + ".partial-" + std::to_string(p));
    fs::create_symlink(victim, out + ".new");
    const std::string linked = folder.File("linked.bmp");
    fs::create_symlink(victim, linked);
    ASSERT_EQ(Tsntxtr("render noise --width 64 --depth 64 -o '" + out + "'").code, 0);
    ASSERT_EQ(Tsntxtr("render noise --width 64 --depth 64 -o '" + linked + "'").code, 0);
    EXPECT_EQ(Text(victim), "mine");
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(out)));
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(linked)));
    EXPECT_EQ(test::TemporaryFilesIn(folder.path()), 0);
}

TEST_F(UserFiles, AKindsColourMapGoesIntoTheFountainLibrary) {
    ASSERT_EQ(Tsntxtr("fountains add perturb").code, 0);
    ASSERT_EQ(Tsntxtr("presets noise --save Mine").code, 0);
    ASSERT_EQ(Tsntxtr("fountains add noise --preset Mine").code, 0);
    char path[kMaxPath + 1];
    SetAppDataOverride(folder.path().c_str());
    ASSERT_TRUE(FountainLibraryPath(path));
    MemHandle entries = 0;
    int count = 0;
    ASSERT_TRUE(LoadFountainLibrary(path, &entries, &count));
    ASSERT_EQ(count, 2);
    const auto* f = static_cast<const FountainDefinition*>(MemLock(entries));
    test::Session s;
    const int perturb = FindKind("perturb"), noise = FindKind("noise");
    const auto* perturbMap =
        reinterpret_cast<const FountainDefinition*>(BlockAt(s.rec(), KindOf(perturb).blockOffset) +
                                                    FountainField(*KindOf(perturb).page)->offset);
    FountainDefinition plain;
    ResetFountain(&plain);
    EXPECT_EQ(f[0].start, perturbMap->start);
    EXPECT_EQ(f[0].count, perturbMap->count);
    EXPECT_EQ(std::memcmp(f[0].markers, perturbMap->markers, sizeof f[0].markers), 0);
    EXPECT_NE(f[0].count, plain.count) << "Perturbation's marble map, not the default";
    EXPECT_EQ(std::memcmp(f[1].markers, plain.markers, sizeof plain.markers), 0) << noise;
    MemUnlock(entries);
    MemFree(entries);
    EXPECT_EQ(Tsntxtr("fountains add pipes").code, 2);
}

}  // namespace
}  // namespace tsn
