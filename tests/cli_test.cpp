// Runs the tsntxtr command as a user would and checks its files and
// messages against the core.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "app/kind_list.h"
#include "app/presets.h"
#include "cli/image_io.h"
#include "cli/png_filter.h"
#include "core/image.h"
#include "core/picture_rows.h"
#include "kind/page_transfer.h"
#include "kinds/noise/noise.h"
#include "tests/cli_support.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

const int kNoise = FindKind("noise");

class Cli : public test::CliTest {
  protected:
    // The same render in this process: the picture the command must write.
    std::vector<std::uint8_t> InProcess(
        const std::vector<std::pair<std::string, std::string>>& set) {
        test::Session s;
        s.rec()->kindIndex = kNoise;
        for (const auto& [f, v] : set) test::Enter(s, kNoise, f, v);
        const MemHandle h = RenderSelectedKind(s.rec());
        auto bytes = test::BlockBytes(h);
        MemFree(h);
        return bytes;
    }
};

TEST_F(Cli, BmpIsTheBitmapBehindAFourteenByteHeader) {
    const std::string bmp = folder.File("n.bmp");
    const test::Outcome r =
        Tsntxtr("render noise --width 100 --depth 70 --seed 777 -o '" + bmp + "'");
    ASSERT_EQ(r.code, 0) << r.err;
    const auto file = test::ReadAll(bmp);
    const auto dib = InProcess({{"width", "100"}, {"depth", "70"}, {"seed", "777"}});
    ASSERT_EQ(file.size(), 14 + dib.size());
    EXPECT_EQ(file[0], 'B');
    EXPECT_EQ(file[1], 'M');
    std::uint32_t size, reserved, offset;
    std::memcpy(&size, file.data() + 2, 4);
    std::memcpy(&reserved, file.data() + 6, 4);
    std::memcpy(&offset, file.data() + 10, 4);
    EXPECT_EQ(size, file.size());
    EXPECT_EQ(reserved, 0u);
    EXPECT_EQ(offset, 54u);
    EXPECT_TRUE(std::equal(dib.begin(), dib.end(), file.begin() + 14));
}

// A filtered row as the PNG rules define it, filter by filter, with the
// least sum of signed magnitudes chosen (the lower type on a tie).
std::vector<unsigned char> LiteralFilteredRow(const std::vector<unsigned char>& row,
                                              const std::vector<unsigned char>& up) {
    const std::size_t n = row.size();
    std::vector<unsigned char> best;
    unsigned long least = ~0ul;
    for (int type = 0; type < 5; ++type) {
        std::vector<unsigned char> f{static_cast<unsigned char>(type)};
        unsigned long cost = 0;
        for (std::size_t i = 0; i < n; ++i) {
            const int x = row[i], a = i < 3 ? 0 : row[i - 3], b = up[i], c = i < 3 ? 0 : up[i - 3];
            const int p = a + b - c, pa = std::abs(p - a), pb = std::abs(p - b),
                      pc = std::abs(p - c);
            const int paeth = pa <= pb && pa <= pc ? a : pb <= pc ? b : c;
            const int predicted[5] = {0, a, b, (a + b) / 2, paeth};
            f.push_back(static_cast<unsigned char>(x - predicted[type]));
            cost += f.back() < 128 ? f.back() : 256 - f.back();
        }
        if (cost < least) {
            least = cost;
            best = f;
        }
    }
    return best;
}

TEST(PngFilter, EveryRowIsFilteredAsTheLiteralRulesSay) {
    // Lengths around the sixteen- and thirty-two-byte steps; rows that
    // favour each filter (flat, ramps across and down, noise), random ones,
    // small values whose Paeth distances often tie, and values at both ends
    // of the byte, where a + b - 2c is far past 255 either way.
    test::ForEachSimdPath([&](const std::string& path) {
        std::uint32_t state = 12345;
        auto next = [&] {
            return static_cast<unsigned char>((state = state * 1664525u + 1013904223u) >> 24);
        };
        for (std::size_t n : {3u, 6u, 18u, 19u, 21u, 34u, 35u, 36u, 48u, 67u, 291u}) {
            for (int shape = 0; shape < 7; ++shape) {
                std::vector<unsigned char> row(n), up(n);
                for (std::size_t i = 0; i < n; ++i) {
                    const unsigned char r = next(), u = next();
                    const int ends = (r & 1) ? 255 - r % 4 : r % 4;
                    const int shapes[7][2] = {{7, 7},
                                              {int(i * 5), int(i * 5 + 1)},
                                              {90, 90 - int(i % 3)},
                                              {r, u},
                                              {int(i * 3) + r % 4, int(i * 3) + 40},
                                              {r % 3, u % 3},
                                              {ends, (u & 1) ? 255 - u % 4 : u % 4}};
                    row[i] = static_cast<unsigned char>(shapes[shape][0]);
                    up[i] = static_cast<unsigned char>(shapes[shape][1]);
                }
                std::vector<unsigned char> got(n + 1);
                FilterPngRow(row.data(), up.data(), n, got.data());
                ASSERT_EQ(got, LiteralFilteredRow(row, up))
                    << path << ", length " << n << ", shape " << shape;
            }
        }
        // Every Paeth case of one neighbour triple in each byte of a row.
        std::vector<unsigned char> row, up;
        for (int a : {0, 1, 127, 128, 254, 255})
            for (int b : {0, 1, 127, 128, 254, 255})
                for (int c : {0, 1, 127, 128, 254, 255}) {
                    row.insert(row.end(), {static_cast<unsigned char>(a), 0, 0, 9, 0, 0});
                    up.insert(up.end(), {static_cast<unsigned char>(c), 0, 0,
                                         static_cast<unsigned char>(b), 0, 0});
                }
        std::vector<unsigned char> got(row.size() + 1);
        FilterPngRow(row.data(), up.data(), row.size(), got.data());
        ASSERT_EQ(got, LiteralFilteredRow(row, up)) << path << ", every triple";
    });
}

// The channel swap from the picture's blue-green-red to the file's order,
// at lengths around the vector steps.
TEST(PngFilter, RowsTakeTheFilesOrderOfChannels) {
    test::ForEachSimdPath([&](const std::string& path) {
        for (std::size_t pixels : {0u, 1u, 5u, 6u, 10u, 11u, 101u}) {
            std::vector<unsigned char> bgr(pixels * 3), rgb(pixels * 3, 0xEE), want(pixels * 3);
            for (std::size_t i = 0; i < bgr.size(); ++i) bgr[i] = static_cast<unsigned char>(i * 7);
            for (std::size_t p = 0; p < pixels; ++p)
                for (int k = 0; k < 3; ++k) want[p * 3 + k] = bgr[p * 3 + 2 - k];
            RgbOfBgrRow(bgr.data(), bgr.size(), rgb.data());
            ASSERT_EQ(rgb, want) << path << ", " << pixels << " pixels";
        }
    });
}

// Large pictures are deflated in bands on both cores (ISA-L at the default
// level, zlib at the others), which must join into one stream that decodes
// to the picture's pixels, down to noise that does not compress at all.
TEST(PngFile, HoldsThePicturesPixelsAtEveryKindOfLevel) {
    test::TempFolder folder;
    test::Session s;
    s.rec()->kindIndex = kNoise;
    test::Enter(s, kNoise, "width=1201 depth=1403 sum=0");
    const test::Picture noise(RenderSelectedKind(s.rec()));
    const test::Picture random(NewImage(700, 500)), tiny(NewImage(5, 3));
    std::uint32_t state = 99;
    for (int y = 0; y < 500; ++y)
        for (int x = 0; x < 700; ++x) SetPixel(random.v, x, y, (state = state * 69069u + 1u) >> 8);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x) SetPixel(tiny.v, x, y, std::uint32_t(x * 0x102030 + y * 0x70));
    const std::string png = folder.File("p.png");
    for (const test::Picture* p : {&noise, &random, &tiny}) {
        for (int level : {0, 1, 2, 6}) {
            std::string error;
            ASSERT_TRUE(WriteImageFile(p->h, png, &error, level)) << error;
            RgbImage img;
            ASSERT_TRUE(ReadPngFile(png, &img, &error)) << error;
            ASSERT_EQ(img.width, p->v.width);
            ASSERT_EQ(img.height, p->v.depth);
            for (int y = 0; y < img.height; ++y)
                for (int x = 0; x < img.width; ++x) {
                    const unsigned char* q = img.rgb.data() + (std::size_t(y) * img.width + x) * 3;
                    ASSERT_EQ(q[0] | q[1] << 8 | q[2] << 16, int((*p)(x, y)))
                        << img.width << " wide, level " << level << ", at " << x << "," << y;
                }
        }
    }
}

// Pixels that do not compress, each a hash of where it is.
void PaintHashed(int y0, int y1, const PictureRows& rows) {
    for (int y = y0; y < y1; ++y)
        for (int x = 0; x < rows.band.width; ++x) {
            std::uint32_t h = std::uint32_t(x) * 2654435761u ^ std::uint32_t(y) * 40503u;
            h = (h ^ (h >> 15)) * 2246822519u;
            std::memcpy(rows.Row(y) + 3 * x, &h, 3);
        }
}

// Rows first .. first + n - 1 of a whole picture, as a band of its own.
ImageView BandOf(const ImageView& whole, int first, int n) {
    ImageView band = whole;
    band.depth = n;
    band.bits = whole.Row(first + n - 1);  // rows are stored bottom first
    return band;
}

// A file written as its rows are painted is the file written from the
// whole picture: byte for byte in the encoder's own bands, the same pixels
// in any others. Bands out of order, or too few rows, leave no file.
TEST(PngFile, WrittenAsPaintedIsTheWholePicturesFile) {
    test::TempFolder folder;
    const int w = 4096, h = 1500;  // more than one band on two cores
    const test::Picture whole(PaintPicture(w, h, nullptr, PaintHashed));
    const std::string a = folder.File("a.png"), b = folder.File("b.png");
    for (const int level : {1, 2}) {  // ISA-L's deflate and zlib's
        std::string error;
        ASSERT_TRUE(WriteImageFile(whole.h, a, &error, level)) << error;
        MemHandle image = 1;
        const auto painted = [&](RowSink* sink) { return PaintPicture(w, h, sink, PaintHashed); };
        ASSERT_EQ(RenderImageFile(painted, b, &error, &image, level), PictureOutcome::Written)
            << error;
        EXPECT_EQ(image, MemHandle(0));
        EXPECT_TRUE(test::ReadAll(a) == test::ReadAll(b)) << "level " << level;
    }
    // Bands of 1, 2, 3, ... rows.
    const auto ragged = [&](RowSink* sink) {
        for (int first = 0, n = 1; first < h; first += n, ++n)
            if (!sink->Take(BandOf(whole.v, first, std::min(n, h - first)), first, h)) break;
        return MemHandle(0);
    };
    std::string error;
    MemHandle image = 0;
    ASSERT_EQ(RenderImageFile(ragged, b, &error, &image), PictureOutcome::Written) << error;
    RgbImage read;
    ASSERT_TRUE(ReadPngFile(b, &read, &error)) << error;
    ASSERT_EQ(read.height, h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const unsigned char* q = read.rgb.data() + (std::size_t(y) * w + x) * 3;
            ASSERT_EQ(q[0] | q[1] << 8 | q[2] << 16, int(whole(x, y))) << x << "," << y;
        }
    const std::string c = folder.File("c.png");
    const auto skipping = [&](RowSink* sink) {
        sink->Take(BandOf(whole.v, 0, 3), 0, h);
        sink->Take(BandOf(whole.v, 5, 3), 5, h);
        return MemHandle(0);
    };
    EXPECT_EQ(RenderImageFile(skipping, c, &error, &image), PictureOutcome::WriteFailed);
    EXPECT_NE(error.find("order"), std::string::npos) << error;
    const auto short_ = [&](RowSink* sink) {
        sink->Take(BandOf(whole.v, 0, 10), 0, h);
        return MemHandle(0);
    };
    EXPECT_EQ(RenderImageFile(short_, c, &error, &image), PictureOutcome::RenderFailed);
    EXPECT_FALSE(test::FileExists(c));
    EXPECT_EQ(test::TemporaryFilesIn(folder.path()), 0);
}

TEST_F(Cli, ClampedValuesAreReportedAndUsed) {
    const std::string bmp = folder.File("c.bmp");
    const test::Outcome r = Tsntxtr(
        "render noise --width 10 --depth 64 --set layers=9 --set xScale=3 "
        "--set squareAspect=0 --seed 5 -o '" +
        bmp + "'");
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.err.find("width 10"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("used 64"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("layers 9"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("xScale 3"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("seed 5"), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find("squareAspect"), std::string::npos) << r.err;
    const auto dib = InProcess({{"width", "64"},
                                {"depth", "64"},
                                {"layers", "7"},
                                {"xScale", "6"},
                                {"squareAspect", "0"},
                                {"seed", "100"}});
    const auto file = test::ReadAll(bmp);
    ASSERT_EQ(file.size(), dib.size() + 14);
    EXPECT_TRUE(std::equal(dib.begin(), dib.end(), file.begin() + 14));
}

TEST_F(Cli, BadRequestsSayWhatIsValidAndWriteNothing) {
    const std::string out = folder.File("x.png");
    test::Outcome r = Tsntxtr("render nosuch -o '" + out + "'");
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("noise"), std::string::npos);
    EXPECT_NE(r.err.find("cgiturbulence"), std::string::npos);
    r = Tsntxtr("render noise --set bogus=1 -o '" + out + "'");
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("xScale"), std::string::npos) << r.err;
    r = Tsntxtr("render noise --set layers=many -o '" + out + "'");
    EXPECT_EQ(r.code, 2);
    r = Tsntxtr("render noise -o '" + folder.File("x.jpg") + "'");
    EXPECT_EQ(r.code, 2);
    r = Tsntxtr("render noise --set dimension=0 -o '" + out + "'");
    EXPECT_EQ(r.code, 0) << "clamped into 1..3";
    std::remove(out.c_str());
    EXPECT_FALSE(test::FileExists(out));
    r = Tsntxtr("frobnicate");
    EXPECT_EQ(r.code, 2);
}

TEST_F(Cli, AFailedWriteLeavesNoFile) {
    const std::string out = folder.File("missing/dir/n.png");
    const test::Outcome r = Tsntxtr("render noise --width 64 --depth 64 -o '" + out + "'");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("cannot write"), std::string::npos);
    EXPECT_FALSE(test::FileExists(out));
    // A full disk, as a file-size limit: the earlier picture survives whole
    // and no partial file is left beside it.
    // Absolute Noise hands its rows to the encoder as it paints them.
    for (const char* name : {"kept.png", "kept.bmp", "absnoise.png"}) {
        const std::string kept = folder.File(name);
        const std::string kind = name[0] == 'a' ? "absnoise" : "noise";
        ASSERT_EQ(Tsntxtr("render " + kind + " --width 64 --depth 64 -o '" + kept + "'").code, 0);
        const auto before = test::ReadAll(kept);
        const test::Outcome full =
            Tsntxtr("render " + kind + " --width 400 --depth 400 -o '" + kept + "'",
                    "trap '' XFSZ; ulimit -f 16; ");
        EXPECT_EQ(full.code, 1) << name;
        EXPECT_NE(full.err.find("cannot write"), std::string::npos) << full.err;
        EXPECT_EQ(test::ReadAll(kept), before) << name;
    }
    EXPECT_EQ(test::TemporaryFilesIn(folder.path()), 0);
    const std::string ro = folder.File("ro");
    ASSERT_EQ(std::system(("mkdir '" + ro + "' && chmod 500 '" + ro + "'").c_str()), 0);
    if (getuid() != 0) {  // root writes anywhere
        EXPECT_EQ(Tsntxtr("render noise --width 64 --depth 64 -o '" + ro + "/n.bmp'").code, 1);
        EXPECT_EQ(std::system(("test -z \"$(ls -A '" + ro + "')\"").c_str()), 0);
    }
}

TEST_F(Cli, SettingsAndPresetFilesRenderWhatTheyHold) {
    const std::string settings = folder.File("texture.texture");
    const std::string a = folder.File("a.bmp"), b = folder.File("b.bmp");
    ASSERT_EQ(Tsntxtr("render noise --width 90 --depth 80 --seed 4321 --set sum=0 -o '" + a +
                      "' --save-settings '" + settings + "'")
                  .code,
              0);
    const auto file = test::ReadAll(settings);
    ASSERT_EQ(file.size(), 30073u);
    std::int32_t kind;
    std::memcpy(&kind, file.data() + 36, 4);
    EXPECT_EQ(kind, kNoise);
    ASSERT_EQ(Tsntxtr("render --from '" + settings + "' -o '" + b + "'").code, 0);
    EXPECT_TRUE(test::ReadAll(a) == test::ReadAll(b));
    // Options beside the file win.
    ASSERT_EQ(Tsntxtr("render --from '" + settings + "' --width 64 -o '" + b + "'").code, 0);
    const auto smaller = test::ReadAll(b);
    std::int32_t w;
    std::memcpy(&w, smaller.data() + 18, 4);
    EXPECT_EQ(w, 64);

    // A preset written in the older layout renders the same picture.
    test::Session s;
    s.rec()->kindIndex = kNoise;
    test::Enter(s, kNoise, "width", "90");
    test::Enter(s, kNoise, "depth", "80");
    test::Enter(s, kNoise, "seed", "4321");
    test::Enter(s, kNoise, "sum", "0");
    PageToBlock((*kNoiseKind.page), s.rec()->dialog, BlockAt(s.rec(), kNoiseOffset));
    NoiseBlock(s.rec())->width = 90;
    NoiseBlock(s.rec())->depth = 80;
    const std::string preset = folder.File("mine.noise");
    ASSERT_TRUE(SavePresetFile(s.rec(), 13, preset.c_str()));
    ASSERT_EQ(Tsntxtr("render --from '" + preset + "' -o '" + b + "'").code, 0);
    EXPECT_TRUE(test::ReadAll(a) == test::ReadAll(b));

    auto damaged = test::ReadAll(settings);
    damaged.pop_back();
    test::WriteAll(settings, damaged.data(), damaged.size());
    const test::Outcome r = Tsntxtr("render --from '" + settings + "' -o '" + b + "'");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("damaged"), std::string::npos);
}

TEST_F(Cli, ListDescribeAndMutations) {
    test::Outcome r = Tsntxtr("list");
    ASSERT_EQ(r.code, 0);
    EXPECT_NE(r.out.find("13  noise          Noise            renders"), std::string::npos)
        << r.out;
    r = Tsntxtr("describe Noise");
    ASSERT_EQ(r.code, 0);
    EXPECT_NE(r.out.find("64 .. 32760"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("10356"), std::string::npos);
    const std::string grid = folder.File("grid.png");
    r = Tsntxtr("mutations noise --generation 3 --width 200 --depth 150 -o '" + grid + "'");
    ASSERT_EQ(r.code, 0) << r.err;
    RgbImage img;
    std::string error;
    ASSERT_TRUE(ReadPngFile(grid, &img, &error)) << error;
    EXPECT_EQ(img.width, 3 * 200 + 4 * 6);
    EXPECT_EQ(img.height, 3 * 150 + 4 * 6);
    EXPECT_EQ(Tsntxtr("mutations noise --generation 32 -o '" + grid + "'").code, 2);
    EXPECT_NE(Tsntxtr("--version").out.find("tsntxtr "), std::string::npos);
}

}  // namespace
}  // namespace tsn

namespace tsn {
namespace {

// The request file holds what the kind sends, options applied as on its page.
TEST_F(Cli, RequestWritesTheNoiseRequestOfACgiKind) {
    const std::string bin = folder.File("sea.bin");
    const test::Outcome r = Tsntxtr("request cgisea --seed 7 --set power=1 -o '" + bin + "'");
    ASSERT_EQ(r.code, 0) << r.err;
    const auto b = test::ReadAll(bin);
    ASSERT_EQ(b.size(), 432u);
    auto word = [&](int at) { return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | b[at + 3] << 24; };
    EXPECT_EQ(word(0), 4);
    EXPECT_EQ(word(216), 100) << "the seed is clamped as the page clamps it";
    EXPECT_EQ(word(232), 63);
    EXPECT_EQ(Tsntxtr("request plasma -o '" + folder.File("p.bin") + "'").code, 2);
    EXPECT_FALSE(test::FileExists(folder.File("p.bin")));
}

}  // namespace
}  // namespace tsn

#include "app/kind_list.h"
#include "colour/colour_database.h"
#include "colour/fountain_library.h"

namespace tsn {
namespace {

// The command finds the user's files where this process's TempFolder put
// them.
class CliFiles : public Cli {
  protected:
    CliFiles() { setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1); }
    ~CliFiles() override { unsetenv("XDG_CONFIG_HOME"); }
};

TEST_F(CliFiles, FountainsListShowDeleteAndColourARender) {
    char path[kMaxPath + 1], texture[kMaxPath + 1];
    ASSERT_TRUE(FountainLibraryPath(path));
    ASSERT_TRUE(TextureFolder(texture));
    ASSERT_TRUE(MakeFolders(texture));
    FountainDefinition a{}, b{};
    a.start = 0x0000FF, a.end = 0xFF00FF00;  // red to green, no blue anywhere
    b.count = 1, b.markers[0] = MakeMarker(0x80, 0xFF0000);
    ASSERT_TRUE(AppendToFountainLibrary(path, a));
    ASSERT_TRUE(AppendToFountainLibrary(path, b));
    test::Outcome r = Tsntxtr("fountains list");
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("0x0000FF"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("128:FF0000"), std::string::npos) << r.out;

    // The strip is the map drawn 256 x 32.
    const std::string strip = folder.File("strip.bmp");
    ASSERT_EQ(Tsntxtr("fountains show 2 -o '" + strip + "'").code, 0);
    const MemHandle h = RenderFountain(b, 256, 32);
    const auto dib = test::BlockBytes(h);
    MemFree(h);
    const auto file = test::ReadAll(strip);
    ASSERT_EQ(file.size(), dib.size() + 14);
    EXPECT_TRUE(std::equal(dib.begin(), dib.end(), file.begin() + 14));

    // Every pixel of a colour-mapped render comes from the library's map.
    const std::string png = folder.File("p.png");
    r = Tsntxtr("render noise --width 64 --depth 64 --fountain-library 1 -o '" + png + "'");
    ASSERT_EQ(r.code, 0) << r.err;
    RgbImage img;
    std::string error;
    ASSERT_TRUE(ReadPngFile(png, &img, &error)) << error;
    int reds = 0;
    for (std::size_t i = 0; i < img.rgb.size(); i += 3) {
        ASSERT_EQ(img.rgb[i + 2], 0);
        ASSERT_GE(img.rgb[i] + img.rgb[i + 1], 254) << "on the line from red to green";
        ASSERT_LE(img.rgb[i] + img.rgb[i + 1], 255);
        reds += img.rgb[i] > 128;
    }
    EXPECT_GT(reds, 0);
    EXPECT_EQ(Tsntxtr("render noise --fountain-library 3 -o '" + png + "'").code, 2);
    EXPECT_EQ(Tsntxtr("render pipes --fountain-library 1 -o '" + png + "'").code, 2);

    ASSERT_EQ(Tsntxtr("fountains delete 1").code, 0);
    MemHandle left;
    int n;
    ASSERT_TRUE(LoadFountainLibrary(path, &left, &n));
    ASSERT_EQ(n, 1);
    EXPECT_EQ(static_cast<FountainDefinition*>(MemLock(left))->markers[0], b.markers[0]);
    MemFree(left);
    r = Tsntxtr("fountains show 2 -o '" + strip + "'");
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("entries 1 .. 1"), std::string::npos) << r.err;
    ASSERT_TRUE(test::WriteAll(path, "VANTFLHH", 8));
    r = Tsntxtr("fountains list");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("damaged"), std::string::npos) << r.err;
}

TEST_F(CliFiles, ColoursAddListDeleteInTheDatabaseInForce) {
    char local[kMaxPath + 1], global[kMaxPath + 1];
    ASSERT_TRUE(LocalColourDatabasePath("TSNTXTR.CCL", local));
    ASSERT_TRUE(GlobalColourDatabasePath(global));
    ASSERT_EQ(Tsntxtr("colours add 'Sky blue' 0xEBCE87").code, 0);
    ASSERT_EQ(Tsntxtr("colours add Red 255").code, 0);
    auto text = [](const char* p) {
        const auto b = test::ReadAll(p);
        return std::string(b.begin(), b.end());
    };
    EXPECT_EQ(text(local), "Sky blue=135,206,235\nRed=255,0,0\n");
    EXPECT_NE(Tsntxtr("colours list").out.find("0xEBCE87  Sky blue"), std::string::npos);
    for (const char* bad : {"colours add Big 0x1000000", "colours add 'A=B' 1", "colours add X -1",
                            "colours add X blue", "colours delete Nobody"})
        EXPECT_EQ(Tsntxtr(bad).code, 2) << bad;
    EXPECT_EQ(text(local), "Sky blue=135,206,235\nRed=255,0,0\n");
    ASSERT_EQ(Tsntxtr("colours delete 'Sky blue'").code, 0);
    EXPECT_EQ(text(local), "Red=255,0,0\n");
    // Once a global database exists it is the one in force.
    ASSERT_TRUE(test::WriteAll(global, "G=1,2,3\n", 8));
    ASSERT_EQ(Tsntxtr("colours add Blue 0xFF0000").code, 0);
    EXPECT_EQ(text(global), "G=1,2,3\nBlue=0,0,255\n");
    EXPECT_EQ(text(local), "Red=255,0,0\n");
}

TEST_F(Cli, DescribeHtmlIsTheKindsHelpPage) {
    const test::Outcome r = Tsntxtr("describe noise --html");
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out.rfind("<!DOCTYPE html>", 0), 0u);
    EXPECT_NE(r.out.find("<h1>Noise</h1>"), std::string::npos);
    const PageTable& t = *KindOf(FindKind("noise")).page;
    for (int i = 0; i < t.count; ++i) {
        const PageField& f = t.fields[i];
        if (f.control != Control::None && f.type != FieldType::Fountain) {
            EXPECT_NE(r.out.find(f.help), std::string::npos) << f.name;
        }
    }
    EXPECT_NE(r.out.find("Add to library"), std::string::npos) << "it has a colour map";
    EXPECT_EQ(Tsntxtr("describe nosuch --html").code, 2);
}

}  // namespace
}  // namespace tsn

namespace tsn {
namespace {

TEST_F(Cli, MatrixLibraryRefusesLargeTilesAndTheLastDelete) {
    setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
    const std::string small = folder.File("s.bmp"), large = folder.File("l.png");
    ASSERT_EQ(Tsntxtr("render plasma --width 64 --depth 100 -o '" + small + "'").code, 0);
    ASSERT_EQ(Tsntxtr("render plasma --width 257 --depth 64 -o '" + large + "'").code, 0);
    test::Outcome r = Tsntxtr("matrix add '" + large + "'");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("The selected image has one or both dimensions greater than 256 pixels "
                         "and is unsuitable for use as a matrix tile."),
              std::string::npos);
    ASSERT_EQ(Tsntxtr("matrix add '" + small + "' --library Walls").code, 0);
    r = Tsntxtr("matrix list --library Walls.mtx");
    EXPECT_NE(r.out.find("0: 96 x 96, 24 bits\n1: 64 x 100, 24 bits\n"), std::string::npos)
        << r.out;
    // The added tile renders through the current library, and is the bitmap.
    ASSERT_EQ(Tsntxtr("matrix use Walls").code, 0);
    const std::string out = folder.File("m.bmp");
    ASSERT_EQ(
        Tsntxtr("render matrix --set selection=1 --width 64 --depth 100 -o '" + out + "'").code, 0);
    EXPECT_EQ(test::ReadAll(out), test::ReadAll(small));
    EXPECT_EQ(Tsntxtr("matrix delete 1").code, 0);
    r = Tsntxtr("render matrix --set selection=1 -o '" + out + "'");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("the matrix library holds no tile 1 (it holds 1;"), std::string::npos)
        << r.err;
    r = Tsntxtr("matrix delete 0");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("You can't delete all the images in a matrix file."), std::string::npos);
    unsetenv("XDG_CONFIG_HOME");
}

}  // namespace
}  // namespace tsn
