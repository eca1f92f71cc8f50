// Reading a batch manifest: words split as a shell splits them, every line's
// faults its own, shards that share the lines out exactly once, paths from
// the manifest's folder, the report's CSV quoting.
#include "cli/manifest.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tsn::cli {
namespace {

using Words = std::vector<std::string>;

// The words of a one-line manifest; its error when it has one.
Words Split(const std::string& line, std::string* error = nullptr) {
    const auto lines = ReadManifestText(line);
    if (lines.empty()) return {};
    if (error) *error = lines[0].error;
    return lines[0].words;
}

TEST(Manifest, WordsSplitAndUnquoteAsInAShell) {
    EXPECT_EQ(Split("noise  --seed\t42 -o a.png"), (Words{"noise", "--seed", "42", "-o", "a.png"}));
    EXPECT_EQ(Split("'CGI Sea' -o 'my picture.png'"), (Words{"CGI Sea", "-o", "my picture.png"}));
    EXPECT_EQ(Split("\"CGI Sea\" -o \"a \\\"b\\\" \\\\c\".png"),
              (Words{"CGI Sea", "-o", "a \"b\" \\c.png"}));
    // Quotes join with what is next to them; an empty quote is a word.
    EXPECT_EQ(Split("-o out/'a b'\"c\"d.png ''"), (Words{"-o", "out/a bcd.png", ""}));
    // A backslash keeps the next character; inside single quotes it is itself.
    EXPECT_EQ(Split("-o a\\ b.png 'c\\d' \"e\\f\""), (Words{"-o", "a b.png", "c\\d", "e\\f"}));
    // Characters a shell gives meaning are literal once quoted.
    EXPECT_EQ(Split("-o '$HOME;(x)|&<>`.png' \\$ \"\\$\\`\""),
              (Words{"-o", "$HOME;(x)|&<>`.png", "$", "$`"}));
}

TEST(Manifest, CommentsAndBlankLinesAreLeftOut) {
    const auto lines = ReadManifestText(
        "# renders for the wall\n"
        "\n"
        "   \t\n"
        "noise -o a.png  # the first\n"
        "  # indented comment\n"
        "plasma -o b#c.png '#not a comment' \"#nor this\"\n"
        "#\n");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].number, 4);
    EXPECT_EQ(lines[0].words, (Words{"noise", "-o", "a.png"}));
    EXPECT_EQ(lines[1].number, 6);
    EXPECT_EQ(lines[1].words, (Words{"plasma", "-o", "b#c.png", "#not a comment", "#nor this"}));
}

TEST(Manifest, ABackslashAtTheEndJoinsLines) {
    const auto lines = ReadManifestText(
        "terrain --tileable \\\n"
        "    -o land.png \\\r\n"
        "    --height land-h.png\n"
        "noise \"-o\\\n"
        "x.png\"\n"
        "plasma -o p.png # a comment ends at its line \\\n"
        "craters -o c.png\n");
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0].number, 1);
    EXPECT_EQ(lines[0].words,
              (Words{"terrain", "--tileable", "-o", "land.png", "--height", "land-h.png"}));
    EXPECT_EQ(lines[1].number, 4);
    EXPECT_EQ(lines[1].words, (Words{"noise", "-ox.png"}));
    EXPECT_EQ(lines[2].number, 6);
    EXPECT_EQ(lines[3].number, 7);
    EXPECT_EQ(lines[3].words, (Words{"craters", "-o", "c.png"}));
}

TEST(Manifest, WindowsLineEndsAreLineEnds) {
    const auto lines = ReadManifestText("noise -o a.png\r\nplasma -o 'b.png'\r\n");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].words.back(), "a.png");
    EXPECT_EQ(lines[1].words.back(), "b.png");
}

// A malformed line is an error of its own; the lines after it are read.
TEST(Manifest, AFaultBelongsToItsLineAlone) {
    const auto lines = ReadManifestText(
        "noise -o 'open.png\n"
        "noise -o \"open.png\n"
        "noise -o $HOME/a.png\n"
        "noise -o a.png; rm -rf x\n"
        "noise -o `date`.png\n"
        "noise -o \"$(date).png\"\n"
        "noise -o a.png | tee\n"
        "noise -o (a).png\n"
        "plasma -o fine.png\n"
        "noise -o 'still open");
    ASSERT_EQ(lines.size(), 10u);
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(lines[i].number, i + 1);
        if (i == 8) {
            EXPECT_EQ(lines[i].error, "");
            EXPECT_EQ(lines[i].words, (Words{"plasma", "-o", "fine.png"}));
        } else {
            EXPECT_NE(lines[i].error, "") << i + 1;
            EXPECT_TRUE(lines[i].words.empty()) << i + 1;
        }
    }
    std::string error;
    Split("noise -o 'x", &error);
    EXPECT_NE(error.find("not closed"), std::string::npos) << error;
    Split("noise -o a;b", &error);
    EXPECT_NE(error.find("';'"), std::string::npos) << error;
}

TEST(Manifest, ShardsTakeEveryLineExactlyOnce) {
    for (int n = 1; n <= 7; ++n) {
        std::vector<int> takers(50, 0);
        for (int k = 0; k < n; ++k)
            for (std::size_t i = 0; i < takers.size(); ++i) takers[i] += InShard(i, k, n);
        for (std::size_t i = 0; i < takers.size(); ++i) EXPECT_EQ(takers[i], 1) << i << " of " << n;
    }
    // Every N-th line from K.
    EXPECT_TRUE(InShard(0, 0, 3));
    EXPECT_TRUE(InShard(4, 1, 3));
    EXPECT_FALSE(InShard(4, 2, 3));
    int k = -1, n = -1;
    std::string error;
    EXPECT_TRUE(ParseShard("2/3", &k, &n, &error));
    EXPECT_EQ(k, 2);
    EXPECT_EQ(n, 3);
    EXPECT_TRUE(ParseShard("0/1", &k, &n, &error));
    for (const char* bad : {"3/3", "0/0", "-1/3", "1", "1/", "/3", "a/b", "1/3x", " 1/3", "1/2/3",
                            "1/99999999999999999999"}) {
        error.clear();
        EXPECT_FALSE(ParseShard(bad, &k, &n, &error)) << bad;
        EXPECT_NE(error, "") << bad;
    }
}

TEST(Manifest, PathsAreTakenFromTheManifestsFolder) {
    EXPECT_EQ(FolderOf("jobs/wall/m.txt"), "jobs/wall");
    EXPECT_EQ(FolderOf("m.txt"), "");
    EXPECT_EQ(FolderOf("/m.txt"), "/");
    EXPECT_EQ(FromFolder("jobs/wall", "out/a.png"), "jobs/wall/out/a.png");
    EXPECT_EQ(FromFolder("/", "a.png"), "/a.png");
    EXPECT_EQ(FromFolder("jobs", "/abs/a.png"), "/abs/a.png");
    EXPECT_EQ(FromFolder("", "a.png"), "a.png");
    EXPECT_EQ(FromFolder("jobs", ""), "");
}

// A line is read by the options of `render` itself, its files from the
// manifest's folder; the kind, preset and values are not paths.
TEST(Manifest, LinesAreReadAsRendersArguments) {
    RenderRequest r;
    std::string error;
    ASSERT_TRUE(ParseRenderLine(
        Words{"terrain",  "--tileable",    "--width",    "300",   "--seed",          "7",
              "--set",    "elevation=1.5", "-o",         "t.png", "--height",        "h.r16",
              "--normal", "/abs/n.png",    "--normal-y", "down",  "--save-settings", "s.texture",
              "--from",   "in/a.texture",  "--preset",   "Soft",  "--png-level",     "6"},
        "m", &r, &error))
        << error;
    EXPECT_EQ(r.kind, "terrain");
    EXPECT_TRUE(r.tileable);
    EXPECT_EQ(r.width, 300);
    EXPECT_EQ(r.depth, -1);
    EXPECT_TRUE(r.hasSeed);
    EXPECT_EQ(r.seed, 7);
    EXPECT_EQ(r.sets, (Words{"elevation=1.5"}));
    EXPECT_EQ(r.output, "m/t.png");
    EXPECT_EQ(r.height, "m/h.r16");
    EXPECT_EQ(r.normal, "/abs/n.png");
    EXPECT_EQ(r.normalY, "down");
    EXPECT_EQ(r.saveSettings, "m/s.texture");
    EXPECT_EQ(r.from, "m/in/a.texture");
    EXPECT_EQ(r.preset, "Soft");
    EXPECT_EQ(r.pngLevel, 6);
    EXPECT_EQ(OutputsOf(r), (Words{"m/t.png", "m/h.r16", "/abs/n.png", "m/s.texture"}));

    ASSERT_TRUE(ParseRenderLine(Words{"--from", "a.texture", "-o", "x.bmp"}, "", &r, &error));
    EXPECT_EQ(r.kind, "");
    EXPECT_EQ(r.from, "a.texture");
    EXPECT_EQ(OutputsOf(r), (Words{"x.bmp"}));

    for (const Words& bad :
         {Words{"noise"}, Words{"render", "noise", "-o", "a.png"},
          Words{"tsntxtr", "render", "noise", "-o", "a.png"}, Words{"noise", "-o", "-"},
          Words{"noise", "-o", "a.png", "--bogus"}, Words{"noise", "plasma", "-o", "a.png"},
          Words{"noise", "-o", "a.png", "--png-level", "12"},
          Words{"noise", "-o", "a.png", "--normal-y", "sideways"},
          Words{"noise", "-o", "a.png", "--help"}, Words{"noise", "-o", "a.png", "--width", "w"}}) {
        error.clear();
        EXPECT_FALSE(ParseRenderLine(bad, "", &r, &error)) << bad.size();
        EXPECT_NE(error, "");
    }
}

TEST(Manifest, CsvFieldsAreQuotedWhereTheyMustBe) {
    EXPECT_EQ(CsvField("plain"), "plain");
    EXPECT_EQ(CsvField("plain", true), "\"plain\"");
    EXPECT_EQ(CsvField(""), "");
    EXPECT_EQ(CsvField("a,b"), "\"a,b\"");
    EXPECT_EQ(CsvField("say \"hi\""), "\"say \"\"hi\"\"\"");
    EXPECT_EQ(CsvField("two\nlines"), "\"two\nlines\"");
    EXPECT_EQ(CsvField("a;b", true), "\"a;b\"");
}

}  // namespace
}  // namespace tsn::cli
