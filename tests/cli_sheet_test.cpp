// `tsntxtr sheet` as a user runs it: every cell of the sheet must be found,
// pixel for pixel, in the picture `tsntxtr render` writes for that seed or
// value, and bad requests must fail with a message and no file.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "cli/caption_font.h"
#include "cli/image_io.h"
#include "tests/cli_support.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

struct Spot {
    int x, y;
    bool operator<(const Spot& o) const { return y != o.y ? y < o.y : x < o.x; }
};

// Every place where `part` lies in `whole`, pixel for pixel.
std::vector<Spot> Find(const RgbImage& whole, const RgbImage& part) {
    std::vector<Spot> found;
    const std::size_t row = std::size_t(part.width) * 3;
    for (int y = 0; y + part.height <= whole.height; ++y)
        for (int x = 0; x + part.width <= whole.width; ++x) {
            bool same = true;
            for (int j = 0; j < part.height && same; ++j)
                same = std::memcmp(&whole.rgb[(std::size_t(y + j) * whole.width + x) * 3],
                                   &part.rgb[std::size_t(j) * row], row) == 0;
            if (same) found.push_back({x, y});
        }
    return found;
}

class Sheet : public test::CliTest {
  protected:
    // The command's presets and configuration live in the test's folder.
    Sheet() { setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1); }
    ~Sheet() override { unsetenv("XDG_CONFIG_HOME"); }

    RgbImage Read(const std::string& path) {
        RgbImage img;
        std::string error;
        EXPECT_TRUE(ReadPngFile(path, &img, &error)) << error;
        return img;
    }

    // `render` with these arguments, as a picture.
    RgbImage Render(const std::string& args) {
        const std::string png = folder.File("cell.png");
        const test::Outcome r = Tsntxtr("render " + args + " -o '" + png + "'");
        EXPECT_EQ(r.code, 0) << args << ": " << r.err;
        return Read(png);
    }

    // The ten rows beneath the cell's frame, as wide as the cell: its
    // caption, which must be there.
    std::vector<unsigned char> Caption(const RgbImage& sheet, Spot at, const RgbImage& cell) {
        std::vector<unsigned char> strip;
        std::set<std::uint32_t> colours;
        for (int y = at.y + cell.height + 2; y < at.y + cell.height + 12; ++y)
            for (int x = at.x; x < at.x + cell.width && y < sheet.height; ++x) {
                const unsigned char* p = &sheet.rgb[(std::size_t(y) * sheet.width + x) * 3];
                strip.insert(strip.end(), p, p + 3);
                colours.insert(p[0] | p[1] << 8 | std::uint32_t(p[2]) << 16);
            }
        EXPECT_GE(colours.size(), 2u) << "no caption under the cell at " << at.x << ", " << at.y;
        return strip;
    }

    // Draws the sheet, then checks that the render of each `cells[i]`
    // appears exactly once in it, that the renders differ (so finding one
    // is no accident), that they lie in reading order and that each has a
    // caption of its own beneath it. Returns where they are.
    std::vector<Spot> ExpectCells(const std::string& sheetArgs,
                                  const std::vector<std::string>& cells) {
        const std::string png = folder.File("sheet.png");
        const test::Outcome r = Tsntxtr("sheet " + sheetArgs + " -o '" + png + "'");
        EXPECT_EQ(r.code, 0) << sheetArgs << ": " << r.err;
        const RgbImage sheet = Read(png);
        std::vector<Spot> spots;
        std::vector<std::vector<unsigned char>> pictures, captions;
        for (const std::string& args : cells) {
            const RgbImage cell = Render(args);
            for (const auto& p : pictures) EXPECT_NE(p, cell.rgb) << args << " repeats a cell";
            pictures.push_back(cell.rgb);
            const std::vector<Spot> at = Find(sheet, cell);
            EXPECT_EQ(at.size(), 1u) << "render " << args << " in sheet " << sheetArgs;
            if (at.size() != 1) continue;
            if (!spots.empty()) {
                EXPECT_TRUE(spots.back() < at[0]) << args << " out of order";
            }
            spots.push_back(at[0]);
            const std::vector<unsigned char> caption = Caption(sheet, at[0], cell);
            for (const auto& c : captions) EXPECT_NE(c, caption) << args << " repeats a caption";
            captions.push_back(caption);
        }
        return spots;
    }
};

TEST_F(Sheet, NoiseCellsAreTheRendersOfTheirSeeds) {
    const auto spots = ExpectCells(
        "noise --seeds 100-102,500 --cell 64",
        {"noise --seed 100 --width 64 --depth 64", "noise --seed 101 --width 64 --depth 64",
         "noise --seed 102 --width 64 --depth 64", "noise --seed 500 --width 64 --depth 64"});
    // Four square cells: two rows of two.
    ASSERT_EQ(spots.size(), 4u);
    EXPECT_EQ(spots[0].y, spots[1].y);
    EXPECT_EQ(spots[0].x, spots[2].x);
    EXPECT_GT(spots[2].y, spots[0].y + 64);
}

TEST_F(Sheet, OblongCellsTakeTheKindsOptionsAndColumns) {
    // --set applies to every cell as it does to render, --width and
    // --depth are each cell's, and --columns 1 stacks them.
    const auto spots = ExpectCells(
        "plasma --seeds 200,201,202 --width 90 --depth 70 --set turbulence=250 "
        "--columns 1",
        {"plasma --seed 200 --width 90 --depth 70 --set turbulence=250",
         "plasma --seed 201 --width 90 --depth 70 --set turbulence=250",
         "plasma --seed 202 --width 90 --depth 70 --set turbulence=250"});
    ASSERT_EQ(spots.size(), 3u);
    EXPECT_EQ(spots[0].x, spots[1].x);
    EXPECT_EQ(spots[1].x, spots[2].x);
}

TEST_F(Sheet, CellsStartFromTheSettingsFileOrPresetAsRenderDoes) {
    const std::string settings = folder.File("look.texture");
    ASSERT_EQ(Tsntxtr("render noise --set layers=3 --set squareAspect=0 --set yScale=9 -o '" +
                      folder.File("x.png") + "' --save-settings '" + settings + "'")
                  .code,
              0);
    const std::string from = "--from '" + settings + "'";
    ExpectCells(from + " --seeds 100,101 --cell 64", {from + " --seed 100 --width 64 --depth 64",
                                                      from + " --seed 101 --width 64 --depth 64"});
    ASSERT_EQ(Tsntxtr("presets plasma --save Strong --set turbulence=400").code, 0);
    ExpectCells("plasma --preset Strong --seeds 100,101 --cell 64",
                {"plasma --preset Strong --seed 100 --width 64 --depth 64",
                 "plasma --preset Strong --seed 101 --width 64 --depth 64"});
}

TEST_F(Sheet, ACgiKindsCellIsItsSize) {
    ExpectCells("cgisea --seeds 300-302 --cell 64",
                {"cgisea --seed 300 --set size=64", "cgisea --seed 301 --set size=64",
                 "cgisea --seed 302 --set size=64"});
}

TEST_F(Sheet, PipesKeepsItsOwnSize) {
    const std::string pipes = "--set reduction=4 --set widthCells=2 --set depthCells=2";
    ExpectCells("pipes --seeds 4242,4243 " + pipes,
                {"pipes --seed 4242 " + pipes, "pipes --seed 4243 " + pipes});
    const test::Outcome r =
        Tsntxtr("sheet pipes --seeds 100,101 --cell 64 -o '" + folder.File("p.png") + "'");
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("leave out --cell"), std::string::npos) << r.err;
}

TEST_F(Sheet, ASweepTakesEvenlySpacedValuesTheFieldAccepts) {
    // Whole numbers: 2, 4.5 and 7 become 2, 5 and 7.
    ExpectCells("noise --vary layers=2..7 --count 3 --cell 64 --seed 321",
                {"noise --seed 321 --width 64 --depth 64 --set layers=2",
                 "noise --seed 321 --width 64 --depth 64 --set layers=5",
                 "noise --seed 321 --width 64 --depth 64 --set layers=7"});
    // A scroll bar in tenths: 6 + 5 / 3 = 7.67 and 9.33 become 7.7 and 9.3.
    const std::string base = "noise --width 64 --depth 64 --set squareAspect=0 --set xScale=";
    ExpectCells("noise --set squareAspect=0 --vary xScale=6..11 --count 4 --cell 64",
                {base + "6", base + "7.7", base + "9.3", base + "11"});
    // A CGI kind's drop list, by its items' names.
    ExpectCells("cgisea --seed 777 --cell 64 --vary quality=Fast..Best",
                {"cgisea --seed 777 --set size=64 --set quality=0",
                 "cgisea --seed 777 --set size=64 --set quality=1",
                 "cgisea --seed 777 --set size=64 --set quality=2"});
}

TEST_F(Sheet, BadRequestsFailWithAMessageAndWriteNothing) {
    const std::string out = folder.File("bad.png");
    const struct {
        std::string args, message;
    } cases[] = {
        {"noise --seeds 1-16", "seeds run 100 .. 32757"},
        {"noise --seeds 115-100", "runs backwards"},
        {"noise --seeds 100-x", "--seeds takes"},
        {"noise --seeds 100-999", "at most 256 cells"},
        {"noise --vary bogus=1..3", "unknown field 'bogus'"},
        {"noise --vary xScale=40..10", "runs backwards"},
        {"noise --vary xScale=7..7 --count 3", "holds a single value"},
        {"noise --vary xScale=7..7.2 --count 5", "holds 3 values"},
        {"noise --vary layers=2..7 --count 0", "1 or more"},
        {"noise --vary xScale=1..20", "runs 6 .. 128"},
        {"noise --vary xScale", "FIELD=FROM..TO"},
        {"noise --vary fountain=1..2", "cannot be swept"},
        {"nosuch --seeds 100-101", "unknown kind 'nosuch'"},
        {"mandelbrot --seeds 100-103", "no random seed"},
        {"noise", "--seeds 100-115, or --vary"},
        {"noise --seeds 100,101 --cell 30000", "more than the 8192 x 8192"},
        {"cgisea --seeds 100,101 --width 80", "square"},
        {"noise --seeds 100,101 --set layers=x", "not a value for layers"},
        {"noise --seeds 100,101 --seed 200", "excludes"},
    };
    for (const auto& c : cases) {
        const test::Outcome r = Tsntxtr("sheet " + c.args + " -o '" + out + "'");
        EXPECT_EQ(r.code, 2) << c.args << ": " << r.err;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << c.args << ": " << r.err;
        EXPECT_FALSE(test::FileExists(out)) << c.args;
    }
    const test::Outcome r =
        Tsntxtr("sheet noise --seeds 100,101 -o '" + folder.File("a.txt") + "'");
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find(".png or .bmp"), std::string::npos) << r.err;
}

TEST_F(Sheet, AClampedOptionIsReportedOnceAndUsedInEveryCell) {
    const std::string png = folder.File("sheet.png");
    const test::Outcome r =
        Tsntxtr("sheet noise --seeds 100-103 --cell 64 --set layers=9 -o '" + png + "'");
    ASSERT_EQ(r.code, 0) << r.err;
    const std::size_t first = r.err.find("layers 9");
    ASSERT_NE(first, std::string::npos) << r.err;
    EXPECT_EQ(r.err.find("layers 9", first + 1), std::string::npos) << r.err;
    EXPECT_EQ(
        Find(Read(png), Render("noise --seed 103 --width 64 --depth 64 --set layers=7")).size(),
        1u);
}

TEST(CaptionFont, CaptionCharactersHaveDistinctGlyphs) {
    const std::string chars =
        "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz .,-+=:_()/#%'&";
    std::set<std::uint64_t> seen;
    for (char c : chars) {
        std::uint8_t rows[kGlyphRows];
        EXPECT_TRUE(GlyphRows(c, rows)) << "no glyph for '" << c << "'";
        for (std::uint8_t r : rows) EXPECT_LT(r, 1u << kGlyphWidth) << c;
        std::uint64_t picture = 0;
        for (std::uint8_t r : rows) picture = picture << kGlyphWidth | r;
        EXPECT_TRUE(seen.insert(picture).second) << "'" << c << "' looks like another character";
    }
    std::uint8_t rows[kGlyphRows];
    EXPECT_FALSE(GlyphRows('~', rows));
}

}  // namespace
}  // namespace tsn
