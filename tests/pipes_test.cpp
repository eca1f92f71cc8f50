#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "app/config_file.h"
#include "app/kind_list.h"
#include "core/detmath.h"
#include "core/image.h"
#include "core/page.h"
#include "kind/page_transfer.h"
#include "kinds/pipes/pipes.h"
#include "synth/compressed_image.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

const int kPipes = FindKind("pipes");

TEST(Pipes, ToneCurveEdgeCases) {
    std::uint8_t c[256];
    PipesToneCurve(127, 127, c);
    for (int i = 0; i < 256; ++i) ASSERT_EQ(c[i], i);
    // Step 256 from -128: 0, 128, then saturated.
    PipesToneCurve(255, 127, c);
    EXPECT_EQ(c[0], 0);
    EXPECT_EQ(c[1], 128);
    for (int i = 2; i < 256; ++i) ASSERT_EQ(c[i], 255);
    // "Darker": step 256 / 170 from -120; entry 128 is 72.75.
    PipesToneCurve(170, 50, c);
    EXPECT_EQ(c[0], 0);
    EXPECT_EQ(c[79], 0);
    EXPECT_EQ(c[128], 72);
}

TEST(Pipes, SepiaByHand) {
    std::uint8_t identity[256];
    PipesToneCurve(127, 127, identity);
    // Threshold 77, blend 11 (the defaults). Worked out on paper: black gives
    // red 178, green 255 - 89 5/6 = 165 1/6 -> 165, blue floored to 11,
    // grey 0.
    const struct {
        std::uint8_t in, r, g, b;
    } cases[] = {{0, 19, 18, 1},
                 // grey 0 + 1 + 0 = 1, so the mix is (11 sepia + 89) / 100:
                 // 20.47, 19.04 and 2.1, where whole hundredths would give
                 // 19 + 0, 18 + 0 and 1 + 0.
                 {2, 20, 19, 2},
                 // grey 3 + 5 + 1 = 9 (each term truncated), Y 0.77 -> 0
                 {10, 27, 26, 9},
                 // Y = 55.04 -> 55: green 220 1/6, blue 42 1/6; grey 38 + 75
                 // + 14 = 127
                 {128, 138, 137, 117}};
    for (const auto& k : cases) {
        std::uint8_t p[3] = {k.in, k.in, k.in};
        PipesSepia(identity, 77, 11, p);
        EXPECT_EQ(p[0], k.r) << int(k.in);
        EXPECT_EQ(p[1], k.g) << int(k.in);
        EXPECT_EQ(p[2], k.b) << int(k.in);
    }
}

TEST(Pipes, NetworkConnectionsMatchAcrossWrappingEdges) {
    for (int density = 0; density <= 2; ++density)
        for (std::uint32_t seed : {1u, 8787u, 32000u})
            for (int w : {2, 3, 16})
                for (int h : {2, 7}) {
                    std::vector<std::uint8_t> g(std::size_t(w) * h * 4, 0);
                    Rng rng;
                    rng.Seed(seed);
                    PipesLayout(w, h, density, true, &rng, g.data());
                    auto at = [&](int x, int y, int k) {
                        return g[(std::size_t((y + h) % h) * w + (x + w) % w) * 4 + k];
                    };
                    int cells = 0;
                    for (int y = 0; y < h; ++y)
                        for (int x = 0; x < w; ++x)
                            for (int layer = 0; layer < 2; ++layer) {
                                const int piece = at(x, y, layer) - 1;
                                const int m = at(x, y, 2 + layer);
                                ASSERT_EQ(piece < 0 ? 0 : kPipesPieceMask[piece], m);
                                ASSERT_EQ(bool(m & 2), bool(at(x + 1, y, 2 + layer) & 8));
                                ASSERT_EQ(bool(m & 4), bool(at(x, y + 1, 2 + layer) & 1));
                                if (layer == 0) cells += piece >= 0;
                                ASSERT_TRUE(layer == 0 || density == 2 || piece < 0);
                                // No valve under a front pipe.
                                ASSERT_TRUE(layer == 1 || (piece != 2 && piece != 3) ||
                                            at(x, y, 1) == 0);
                            }
                    EXPECT_GT(cells, 0);
                }
}

// Resources planted for the loader.
std::vector<std::uint8_t> g_planted;
bool g_plantMissing = false;
bool Planted(const char*, unsigned, const unsigned char** data, std::size_t* size) {
    if (g_plantMissing) return false;
    *data = g_planted.data();
    *size = g_planted.size();
    return true;
}
struct Plant {
    explicit Plant(std::vector<std::uint8_t> bytes, bool missing = false) {
        g_planted = std::move(bytes);
        g_plantMissing = missing;
        SetResourceOverride(Planted);
    }
    ~Plant() { SetResourceOverride(nullptr); }
};

std::vector<std::uint8_t> RealArt() {
    const unsigned char* data;
    std::size_t size;
    EXPECT_TRUE(FindModuleResource("CPX", kPipesArtId, &data, &size));
    return std::vector<std::uint8_t>(data, data + size);
}

// A packed bitmap as the resources hold it: header, zlib stream.
std::vector<std::uint8_t> Cpx(const std::vector<std::uint8_t>& dib) {
    uLongf packed = compressBound(uLong(dib.size()));
    std::vector<std::uint8_t> cpx(52 + packed, 0);
    EXPECT_EQ(compress2(cpx.data() + 52, &packed, dib.data(), uLong(dib.size()), 9), Z_OK);
    cpx.resize(52 + packed);
    std::memcpy(cpx.data(), "CPX_HEAD", 8);
    const std::uint32_t fields[3] = {std::uint32_t(dib.size()), std::uint32_t(packed), 1};
    std::memcpy(cpx.data() + 8, fields, 12);
    return cpx;
}

// An empty 32-bit bitmap of w x h.
std::vector<std::uint8_t> Dib32(int w, int h) {
    std::vector<std::uint8_t> dib(40 + std::size_t(w) * h * 4);
    BitmapInfoHeader hdr{40, w, h, 1, 32, 0, std::uint32_t(dib.size() - 40), 0, 0, 0, 0};
    std::memcpy(dib.data(), &hdr, 40);
    return dib;
}

TEST(Pipes, OddSizedImageDecodesExactlyThroughManyWindows) {
    // A 512 x 511 bitmap, packed as the resources are.
    std::vector<std::uint8_t> dib = Dib32(512, 511);
    for (std::size_t i = 40; i < dib.size(); ++i) dib[i] = std::uint8_t((i * 7) ^ (i >> 11));
    const std::vector<std::uint8_t> cpx = Cpx(dib);
    EXPECT_EQ(cpx[52], 0x78);
    EXPECT_EQ(cpx[53], 0xDA);
    Plant plant(cpx);
    const MemHandle img = DecodeCompressedImage(4000);
    EXPECT_EQ(test::BlockBytes(img), dib);
    MemFree(img);
}

TEST(Pipes, DamagedArtFailsTheRenderAndFreesEverything) {
    const std::vector<std::uint8_t> good = RealArt();
    ASSERT_GT(good.size(), 1000u);
    EXPECT_EQ(std::memcmp(good.data(), "CPX_HEAD", 8), 0);
    std::vector<std::uint8_t> badSignature = good, corrupt = good, truncated = good;
    std::vector<std::uint8_t> empty(good.begin(), good.begin() + 52);
    empty[12] = empty[13] = empty[14] = empty[15] = 0;  // no stream: a zeroed, headless bitmap
    badSignature[3] = 'x';
    for (std::size_t i = 200; i < 260; ++i) corrupt[i] ^= 0x5A;
    truncated.resize(good.size() - 10);
    const struct {
        const char* what;
        std::vector<std::uint8_t> bytes;
        bool missing;
    } cases[] = {{"signature", badSignature, false},
                 {"corrupt", corrupt, false},
                 {"truncated", truncated, false},
                 {"empty", empty, false},
                 {"missing", {}, true}};
    test::Session s;
    s.rec()->kindIndex = kPipes;
    for (const auto& c : cases) {
        PipesRelease(s.rec());
        const long live = MemLiveBlocks();
        Plant plant(c.bytes, c.missing);
        EXPECT_EQ(RenderSelectedKind(s.rec()), 0u) << c.what;
        EXPECT_EQ(MemLiveBlocks(), live) << c.what;
        for (int i = 0; i < kPipesTileCount; ++i)
            EXPECT_EQ(PipesCachedTile(s.rec(), i), 0u) << c.what;
    }
}

TEST(Pipes, EveryFailedAllocationFreesEverything) {
    test::Session s;
    s.rec()->kindIndex = kPipes;
    test::Enter(s, kPipes, "reduction", "3");
    test::Enter(s, kPipes, "density", "2");
    test::Enter(s, kPipes, "effect", "0");  // colour stages may fail harmlessly
    for (long n = 0;; ++n) {
        PipesRelease(s.rec());
        const long live = MemLiveBlocks();
        MemFailAfter(n);
        const MemHandle img = RenderSelectedKind(s.rec());
        MemFailAfter(-1);
        if (img) {
            ImageView v;
            ASSERT_TRUE(LockImage(img, &v));
            EXPECT_EQ(v.width, 340);  // 2 cells of 512 / 3
            EXPECT_EQ(v.depth, 340);
            UnlockImage(&v);
            MemFree(img);
            break;
        }
        ASSERT_EQ(MemLiveBlocks(), live) << n;
        ASSERT_LT(n, 200);
    }
}

// Drops the planted or cached tiles when a test ends, so the next render
// decodes the module's own art again.
TEST(Pipes, PieceOneRowShortScalesToEveryCellSize) {
    // Every piece 512 wide and 511 high, opaque: the top row red, the rest
    // green. Cells are 512 / reduction square, so at reduction 1 the piece
    // grows by a row and otherwise shrinks.
    std::vector<std::uint8_t> dib = Dib32(512, 511);
    for (int y = 0; y < 511; ++y)
        for (int x = 0; x < 512; ++x) {
            std::uint8_t* p = dib.data() + 40 + (std::size_t(510 - y) * 512 + x) * 4;
            const bool top = y == 0;
            p[0] = 0;
            p[1] = top ? 0 : 200;
            p[2] = top ? 255 : 0;
            p[3] = 255;
        }
    Plant plant(Cpx(dib));
    for (int reduction = 1; reduction <= 4; ++reduction) {
        test::Session s;
        const MemHandle h = test::Render(s, kPipes,
                                         "reduction=" + std::to_string(reduction) +
                                             " effect=0 shadow=0 valves=0 background=0x000000");
        test::Picture pic(h);
        ASSERT_TRUE(pic.ok) << "reduction " << reduction;
        const int cell = 512 / reduction;
        ASSERT_EQ(pic.v.width, 2 * cell);
        ASSERT_EQ(pic.v.depth, 2 * cell);
        int tiles = 0;
        for (int cy = 0; cy < 2; ++cy)
            for (int cx = 0; cx < 2; ++cx) {
                const int x0 = cx * cell, y0 = cy * cell;
                if (pic(x0, y0 + cell / 2) == 0) continue;  // an empty cell
                ++tiles;
                // The first row takes the red row (alone when the piece
                // grows), the middle and last rows only green ones.
                for (int x = 0; x < cell; ++x) {
                    const std::uint32_t top = pic(x0 + x, y0);
                    if (reduction == 1)
                        ASSERT_EQ(top, 0x0000FFu) << x;
                    else
                        ASSERT_TRUE((top & 0xFF) > 0 && (top & 0xFF) < 255) << reduction;
                    ASSERT_EQ(pic(x0 + x, y0 + cell - 1), 0x00C800u) << reduction << " " << x;
                    ASSERT_EQ(pic(x0 + x, y0 + cell / 2), 0x00C800u) << reduction << " " << x;
                }
            }
        EXPECT_GT(tiles, 0) << reduction;
    }
}

TEST(Pipes, EmptyStreamDecodesToAZeroedImage) {
    // An empty stream inflates to no bytes at all, successfully.
    std::uint8_t dst[16];
    std::memset(dst, 0xAB, sizeof dst);
    const std::uint8_t nothing = 0;
    std::uint32_t length = 0;
    EXPECT_TRUE(InflateStream(dst, sizeof dst, &nothing, &length));
    EXPECT_EQ(length, 0u);
    for (std::uint8_t b : dst) EXPECT_EQ(b, 0xAB);
    // So the image it stands for is the zero-filled block the header sizes.
    std::vector<std::uint8_t> cpx(52, 0);
    std::memcpy(cpx.data(), "CPX_HEAD", 8);
    const std::uint32_t fields[3] = {0x100028, 0, 1};
    std::memcpy(cpx.data() + 8, fields, 12);
    Plant plant(cpx);
    const MemHandle img = DecodeCompressedImage(4000);
    const std::vector<std::uint8_t> bytes = test::BlockBytes(img);
    ASSERT_GE(bytes.size(), 0x100028u);
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), 0), std::ptrdiff_t(bytes.size()));
    MemFree(img);
    // A header that announces no image at all is no image.
    const std::uint32_t none[3] = {0, 0, 1};
    std::memcpy(g_planted.data() + 8, none, 12);
    EXPECT_EQ(DecodeCompressedImage(4000), 0u);
}

TEST(Pipes, DamagedStyleIsRefusedWhereTheArtIsLoaded) {
    test::Session s;
    MasterTextureRecord* rec = s.rec();
    const MemHandle first = test::Render(s, kPipes, "reduction=4 shadow=0");
    const std::vector<std::uint8_t> expected = test::BlockBytes(first);
    MemFree(first);
    ASSERT_FALSE(expected.empty());
    // 11 x 0xBA2E8BA3 is 1 modulo 2^32: the resource numbers would wrap
    // round to those of real art.
    for (std::uint32_t style : {2u, 7u, 0xBA2E8BA3u, 0xFFFFFFFFu}) {
        PipesBlock(rec)->style = style;
        PageFromBlock(*KindOf(kPipes).page, BlockAt(rec, kPipesOffset), rec->dialog);
        // The cached tiles are those of the style they were loaded for; the
        // render uses them whatever the block says now.
        const MemHandle again = RenderSelectedKind(rec);
        EXPECT_TRUE(test::BlockBytes(again) == expected) << style;
        MemFree(again);
        EXPECT_EQ(PipesBlock(rec)->style, style);
        // With nothing cached the style must name art, and does not.
        PipesRelease(rec);
        const long live = MemLiveBlocks();
        EXPECT_EQ(RenderSelectedKind(rec), 0u) << style;
        EXPECT_EQ(MemLiveBlocks(), live) << style;
        for (int i = 0; i < kPipesTileCount; ++i) EXPECT_EQ(PipesCachedTile(rec, i), 0u) << style;
        // A good style loads again and draws what it drew before.
        PipesBlock(rec)->style = 0;
        PageFromBlock(*KindOf(kPipes).page, BlockAt(rec, kPipesOffset), rec->dialog);
        const MemHandle good = RenderSelectedKind(rec);
        EXPECT_TRUE(test::BlockBytes(good) == expected) << style;
        MemFree(good);
    }
}

// The sepia treatment worked from its description alone: real numbers
// throughout, each result truncated where the description truncates it.
struct SepiaSettings {
    int contrast, brightness, threshold, blend;
};

int Trunc8(double v) {
    return int(std::clamp(v, 0.0, 255.0));
}

void CurveByText(int contrast, int brightness, int out[256]) {
    const double c = contrast - 127.0;
    const double step = 256.0 / std::max(1.0, 256.0 - 2.0 * c);
    double v = (brightness - 127.0) - c;
    for (int i = 0; i < 256; ++i, v += step) out[i] = v > 255 ? 255 : v < 0 ? 0 : int(v);
}

std::uint32_t SepiaByText(const SepiaSettings& k, std::uint32_t colour) {
    int curve[256];
    CurveByText(k.contrast, k.brightness, curve);
    const int r = curve[colour & 0xFF], g = curve[(colour >> 8) & 0xFF],
              b = curve[(colour >> 16) & 0xFF];
    const int grey = (int(77.0 * r / 255) + int(150.0 * g / 255) + int(28.0 * b / 255)) % 256;
    auto lin = [](double x) {
        return x <= 10.314300250662438 ? x / 12.92 : DetPow((x / 255 + 0.055) / 1.055, 2.4) * 255;
    };
    const float yf =
        0.298839f * float(lin(r)) + 0.586811f * float(lin(g)) + 0.11435f * float(lin(b));
    const double Y = int(std::clamp(yf, 0.0f, 255.0f));
    const double T = k.threshold;
    int ch[3] = {Trunc8(Y > T ? 255 : Y + 255 - T),
                 Trunc8(Y > 7 * T / 6 ? 255 : Y + 255 - 7 * T / 6),
                 Trunc8(Y < T / 6 ? 0 : Y - T / 6)};
    for (int i = 1; i < 3; ++i)
        if (T / 7 > ch[i]) ch[i] = Trunc8(T / 7);
    std::uint32_t out = 0;
    for (int i = 0; i < 3; ++i) {
        // Summed before dividing, so a whole-number result stays whole.
        const double mixed = (double(ch[i]) * k.blend + double(100 - k.blend) * grey) / 100;
        out |= std::uint32_t(Trunc8(mixed)) << (8 * i);
    }
    return out;
}

struct SteampunkConfig {
    ConfigValues saved = Config();
    explicit SteampunkConfig(const SepiaSettings& k) {
        Config().pipesSteampunkContrast = std::uint32_t(k.contrast);
        Config().pipesSteampunkBrightness = std::uint32_t(k.brightness);
        Config().pipesSteampunkThreshold = std::uint32_t(k.threshold);
        Config().pipesSteampunkBlend = std::uint32_t(k.blend);
    }
    ~SteampunkConfig() { Config() = saved; }
};

TEST(Pipes, SteampunkTilesAreTheSepiaOfTheirPixels) {
    // The shipped settings, and a threshold whose sixths and sevenths are
    // all fractions with a blend that splits the two far from evenly.
    const SepiaSettings settings[] = {{169, 59, 77, 11}, {150, 120, 100, 37}};
    for (const SepiaSettings& k : settings) {
        SteampunkConfig config(k);
        int curve[256];
        CurveByText(k.contrast, k.brightness, curve);
        auto render = [](const std::string& more) {
            test::Session s;
            return test::Render(s, kPipes,
                                "reduction=4 widthCells=6 depthCells=6 density=1 shadow=0 "
                                "valves=0 " +
                                    more);
        };
        // Six cells square have valves, whose red is what Steampunk-moderne
        // leaves out. Where a tile is opaque the picture shows the tile
        // itself, the same over any background: there the effect's pixels
        // can be compared with the untreated ones.
        test::Picture plainBlack(render("effect=0 background=0x000000"));
        test::Picture plainWhite(render("effect=0 background=0xFFFFFF"));
        test::Picture sepia(render("effect=7 background=0x000000"));
        test::Picture moderne(render("effect=8 background=0x000000"));
        ASSERT_TRUE(plainBlack.ok && plainWhite.ok && sepia.ok && moderne.ok);
        int opaque = 0, coloured = 0;
        for (int y = 0; y < plainBlack.v.depth; ++y)
            for (int x = 0; x < plainBlack.v.width; ++x) {
                const std::uint32_t c = plainBlack(x, y);
                if (c != plainWhite(x, y)) continue;
                ++opaque;
                const std::uint32_t want = SepiaByText(k, c);
                ASSERT_EQ(sepia(x, y), want) << std::hex << c << " at " << std::dec << x << "," << y
                                             << " threshold " << k.threshold;
                const int r = c & 0xFF, g = (c >> 8) & 0xFF, b = c >> 16;
                if (r == g && g == b) {
                    ASSERT_EQ(moderne(x, y), want) << std::hex << c;
                } else {
                    ++coloured;
                    const std::uint32_t toned = std::uint32_t(curve[r]) |
                                                std::uint32_t(curve[g]) << 8 |
                                                std::uint32_t(curve[b]) << 16;
                    ASSERT_EQ(moderne(x, y), toned) << std::hex << c;
                }
            }
        EXPECT_GT(opaque, 10000);
        EXPECT_GT(coloured, 100);
    }
}

TEST(Pipes, EachSessionKeepsItsOwnTiles) {
    // Sessions side by side (as renders on several threads are): one that
    // starts, renders another style or ends must leave the others' loaded
    // tiles as they were.
    const std::string industrial = "reduction=4 widthCells=3 depthCells=2 shadow=0 effect=0";
    const std::string stainless = industrial + " style=1";
    const std::vector<std::uint8_t> first = test::RenderBytes(kPipes, industrial);
    const std::vector<std::uint8_t> second = test::RenderBytes(kPipes, stainless);
    ASSERT_FALSE(first.empty());
    ASSERT_NE(first, second);
    test::Session a;
    const MemHandle one = test::Render(a, kPipes, industrial);
    EXPECT_EQ(test::BlockBytes(one), first);
    MemFree(one);
    EXPECT_NE(PipesCachedTile(a.rec(), 0), 0u);
    {
        test::Session b;
        EXPECT_EQ(PipesCachedTile(b.rec(), 0), 0u);
        EXPECT_NE(PipesCachedTile(a.rec(), 0), 0u);
        const MemHandle two = test::Render(b, kPipes, stainless);
        EXPECT_EQ(test::BlockBytes(two), second);
        MemFree(two);
    }
    EXPECT_NE(PipesCachedTile(a.rec(), 0), 0u);
    const MemHandle again = RenderSelectedKind(a.rec());
    EXPECT_EQ(test::BlockBytes(again), first);
    MemFree(again);
}

TEST(Pipes, DimensionsFollowThePageBeforeAnyRender) {
    test::Session s;
    MasterTextureRecord* rec = s.rec();
    rec->kindIndex = kPipes;
    char text[64];
    const struct {
        const char* settings;
        const char* shown;
    } cases[] = {{"widthCells=5 depthCells=3 reduction=3", "850 X 510 pixels"},
                 {"widthCells=16 reduction=1", "8,192 X 1,536 pixels"},
                 {"depthCells=2 reduction=4", "2,048 X 256 pixels"}};
    for (const auto& c : cases) {
        test::Enter(s, kPipes, c.settings);
        EXPECT_EQ(KindAt(kPipes).query(rec, kQueryRefreshControls), 0);
        Page().getText(rec->dialog, kPipesDimensionsId, text, sizeof text);
        EXPECT_STREQ(text, c.shown) << c.settings;
    }
    // Only the render writes the picture's size into the block.
    EXPECT_EQ(PipesBlock(rec)->outputWidth, 512);
    EXPECT_EQ(PipesBlock(rec)->outputDepth, 512);
}

}  // namespace
}  // namespace tsn
