// The maps beyond the plug-in's pages as a user asks for them: --tileable,
// --height and --normal on `tsntxtr render`, their files and their refusals.
#include <gtest/gtest.h>

#include <string>

#include "cli/image_io.h"
#include "tests/cli_support.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

class Maps : public test::CliTest {};

// The 16-bit PNG and the raw file hold the same levels, the raw one
// little-endian, rows from the top; the picture beside them is the plain
// render's.
TEST_F(Maps, HeightFilesHoldTheSameLevelsInBothForms) {
    const std::string png = folder.File("h.png"), raw = folder.File("h.r16");
    const std::string pic = folder.File("p.png"), plain = folder.File("plain.png");
    const std::string kind = "terrain --width 67 --depth 70 --seed 4321 ";
    ASSERT_EQ(Tsntxtr("render " + kind + "-o '" + pic + "' --height '" + png + "'").code, 0);
    ASSERT_EQ(Tsntxtr("render " + kind + "-o '" + plain + "' --height '" + raw + "'").code, 0);
    ASSERT_EQ(Tsntxtr("render " + kind + "-o '" + plain + "'").code, 0);
    EXPECT_EQ(test::ReadAll(pic), test::ReadAll(plain));
    HeightField h;
    std::string error;
    ASSERT_TRUE(ReadHeightPng(png, &h, &error)) << error;
    ASSERT_EQ(h.width, 67);
    ASSERT_EQ(h.depth, 70);
    const auto bytes = test::ReadAll(raw);
    ASSERT_EQ(bytes.size(), 67u * 70u * 2u);
    int differ = 0;
    for (std::size_t i = 0; i < h.level.size(); ++i)
        differ += h.level[i] != (bytes[2 * i] | bytes[2 * i + 1] << 8);
    EXPECT_EQ(differ, 0);
}

// A damaged or foreign height map is refused with a reason, never half read.
TEST_F(Maps, DamagedHeightMapsAreRefused) {
    const std::string good = folder.File("good.png"), picture = folder.File("pic.png");
    ASSERT_EQ(
        Tsntxtr("render surface --width 64 --depth 64 -o '" + picture + "' --height '" + good + "'")
            .code,
        0);
    const auto bytes = test::ReadAll(good);
    HeightField h;
    std::string error;
    for (const std::size_t keep : {std::size_t(0), std::size_t(20), bytes.size() / 2}) {
        const std::string cut = folder.File("cut.png");
        ASSERT_TRUE(test::WriteAll(cut, bytes.data(), keep));
        EXPECT_FALSE(ReadHeightPng(cut, &h, &error)) << keep;
        EXPECT_FALSE(error.empty()) << keep;
    }
    error.clear();
    EXPECT_FALSE(ReadHeightPng(picture, &h, &error)) << "an 8-bit colour picture";
    EXPECT_EQ(error, "not a 16-bit grey PNG");
    EXPECT_FALSE(ReadHeightPng(folder.File("none.png"), &h, &error));
}

// The normal map in both conventions: --normal-y down mirrors green only.
TEST_F(Maps, NormalMapsAreWrittenInBothConventions) {
    const std::string n = folder.File("n.png"), down = folder.File("d.png");
    const std::string kind = "craters --width 96 --depth 64 -o '" + folder.File("c.png") + "' ";
    ASSERT_EQ(Tsntxtr("render " + kind + "--normal '" + n + "'").code, 0);
    ASSERT_EQ(Tsntxtr("render " + kind + "--normal '" + down + "' --normal-y down").code, 0);
    RgbImage up, flipped;
    std::string error;
    ASSERT_TRUE(ReadPngFile(n, &up, &error) && ReadPngFile(down, &flipped, &error)) << error;
    ASSERT_EQ(up.rgb.size(), std::size_t(96 * 64 * 3));
    // Red and blue agree; green is mirrored about 128 (give or take rounding).
    int off = 0;
    for (std::size_t i = 0; i < up.rgb.size(); i += 3) {
        off += up.rgb[i] != flipped.rgb[i] || up.rgb[i + 2] != flipped.rgb[i + 2];
        off += std::abs(int(up.rgb[i + 1]) + int(flipped.rgb[i + 1]) - 255) > 1;
    }
    EXPECT_EQ(off, 0);
}

// Kinds refuse what they do not offer, with a message, exit code 2 and no
// file; describe says what each offers.
TEST_F(Maps, RequestsAKindCannotMeetAreRefused) {
    const std::string out = folder.File("x.png");
    test::Outcome r = Tsntxtr("render mandelbrot --tileable -o '" + out + "'");
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("Mandelbrot cannot be made tileable"), std::string::npos) << r.err;
    r = Tsntxtr("render plasma --height '" + folder.File("h.png") + "' -o '" + out + "'");
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("Plasma has no height field"), std::string::npos) << r.err;
    r = Tsntxtr("render terrain --height '" + folder.File("h.tif") + "' -o '" + out + "'");
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("name it .png, .r16 or .raw"), std::string::npos) << r.err;
    EXPECT_FALSE(test::FileExists(out));
    EXPECT_NE(Tsntxtr("describe craters").out.find("Tileable (--tileable): yes. Height"),
              std::string::npos);
    EXPECT_NE(Tsntxtr("describe mandelbrot").out.find("Tileable (--tileable): no."),
              std::string::npos);
}

// A scale that does not fit the picture a whole number of times is rounded
// for a tileable picture, and the user is told, as clamping is reported;
// one that fits is used as it is, without a word.
TEST_F(Maps, ATileableScaleRoundedToWholeCellsIsReported) {
    const std::string out = folder.File("n.png");
    test::Outcome r =
        Tsntxtr("render noise --width 300 --depth 200 --set scale=7 --tileable -o '" + out + "'");
    EXPECT_EQ(r.code, 0);
    EXPECT_NE(r.err.find("tileable: 7 x 5 lattice cells across the picture (the scale asks for 7 "
                         "x 4.667)"),
              std::string::npos)
        << r.err;
    r = Tsntxtr("render noise --width 300 --depth 150 --set scale=8 --tileable -o '" + out + "'");
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.err, "");
}

}  // namespace
}  // namespace tsn
