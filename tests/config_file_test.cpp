#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "app/config_file.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

class ConfigFile : public ::testing::Test {
  protected:
    test::TempFolder folder;
    std::string path = folder.File("TSNTXTR.INI");
    ConfigValues c{};
    ConfigValues defaults{};
    void SetUp() override {
        ResetConfig(&c);
        ResetConfig(&defaults);
    }
    void Read(const std::string& text) {
        ASSERT_TRUE(test::WriteAll(path, text.data(), text.size()));
        ASSERT_TRUE(ReadConfigFile(&c, path.c_str()));
    }
    bool Unchanged() { return std::memcmp(&c, &defaults, sizeof c) == 0; }
};

TEST_F(ConfigFile, CommentsSectionAndBlankLinesChangeNothing) {
    Read(";comment\n[PlugIn]\n\n   \n;LiveButtons = 0\n=5\n");
    EXPECT_TRUE(Unchanged());
    EXPECT_FALSE(ReadConfigFile(&c, folder.File("absent.ini").c_str()));
    EXPECT_TRUE(Unchanged());
}

TEST_F(ConfigFile, KeysMatchByTheCharactersWrittenInTheFile) {
    Read("Pipes = 5\nPipesCopperR=17\nStickyWindowT  ==  42\nLive\t= 0\n");
    EXPECT_EQ(c.pipesBronzeBlue, 5u) << "first key in table order beginning with Pipes";
    EXPECT_EQ(c.pipesCopperRed, 17u);
    EXPECT_EQ(c.stickyWindowTop, 42u);
    EXPECT_EQ(c.liveButtons, 0u);
}

TEST_F(ConfigFile, ValuesAreReadAsWrittenOrCut) {
    const std::string longName(300, 'x');
    Read("ColourTableFile=" + longName +
         "\nLiveButtons = 12abc\nPipesNoirContrast = none\n"
         "MatrixCurrentLibrary = My Lib.mtx\x01ignored\nPipesDarkContrast = 99999999999\n");
    // A line is read up to 260 characters: the key and "=" leave 244 of them.
    EXPECT_EQ(std::strlen(c.colourTableFile), 260u - 16u);
    EXPECT_EQ(c.liveButtons, 12u);
    EXPECT_EQ(c.pipesNoirContrast, 0u);
    EXPECT_STREQ(c.matrixCurrentLibrary, "My Lib.mtx");
    EXPECT_EQ(c.pipesDarkContrast, 0xFFFFFFFFu);
}

TEST_F(ConfigFile, WritingGivesTheHeaderAndOneLinePerEntryThatReadsBack) {
    c.pipesNoirBrightness = 3;
    c.stickyWindowRight = 0;
    std::snprintf(c.matrixCurrentLibrary, sizeof c.matrixCurrentLibrary, "%s", "Other.mtx");
    ASSERT_TRUE(WriteConfigFile(c, path.c_str()));
    const auto bytes = test::ReadAll(path);
    std::string text(bytes.begin(), bytes.end());
    std::erase(text, '\r');
    std::istringstream in(text);
    std::string line;
    std::getline(in, line);
    EXPECT_EQ(line, ";TSNTXTR configuration file");
    std::getline(in, line);
    EXPECT_EQ(line, ";Edit this at your own risk");
    std::getline(in, line);
    EXPECT_EQ(line.rfind(";Last updated ", 0), 0u);
    EXPECT_EQ(line.size(), 14u + 24u);
    std::getline(in, line);
    EXPECT_EQ(line, ";");
    std::getline(in, line);
    EXPECT_EQ(line, "[PlugIn]");
    std::getline(in, line);
    EXPECT_EQ(line, "ColourTableFile = TSNTXTR.CCL");
    std::getline(in, line);
    EXPECT_EQ(line, "LiveButtons = 1");
    int entries = 2;
    while (std::getline(in, line)) ++entries;
    EXPECT_EQ(entries, 30);
    EXPECT_NE(text.find("StickyWindowBottom = 2147483647\n"), std::string::npos);
    EXPECT_NE(text.find("MatrixCurrentLibrary = Other.mtx\n"), std::string::npos);

    ConfigValues back;
    ResetConfig(&back);
    ASSERT_TRUE(ReadConfigFile(&back, path.c_str()));
    EXPECT_EQ(std::memcmp(&back, &c, sizeof c), 0);
    EXPECT_EQ(test::TemporaryFilesIn(folder.path()), 0);
}

TEST_F(ConfigFile, AnUnwritableFileIsSilentAndLeavesNothing) {
    const std::string nowhere = folder.File("missing/TSNTXTR.INI");
    EXPECT_FALSE(WriteConfigFile(c, nowhere.c_str()));
    EXPECT_FALSE(test::FileExists(nowhere));
}

}  // namespace
}  // namespace tsn
