// Matrix: the library file byte for byte, damaged libraries, the tile
// reader of every bit depth and the tiling against a literal version.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "app/config_file.h"
#include "app/kind_list.h"
#include "app/matrix_library.h"
#include "app/session.h"
#include "core/image.h"
#include "core/tile_list.h"
#include "kinds/matrix/matrix.h"
#include "kinds/matrix/matrix_tiles.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

using Bytes = std::vector<std::uint8_t>;

void Put32(Bytes& b, std::size_t at, std::uint32_t v) {
    if (b.size() < at + 4) b.resize(at + 4);
    for (int i = 0; i < 4; ++i) b[at + i] = std::uint8_t(v >> (8 * i));
}

// A packed bitmap: header, `palette` (RGBQUADs) and `rows` as stored.
Bytes Dib(int w, int h, int bits, const Bytes& palette, const Bytes& rows) {
    Bytes b(40, 0);
    Put32(b, 0, 40);
    Put32(b, 4, std::uint32_t(w));
    Put32(b, 8, std::uint32_t(h));
    b[12] = 1;
    b[14] = std::uint8_t(bits);
    Put32(b, 32, std::uint32_t(palette.size() / 4));
    b.insert(b.end(), palette.begin(), palette.end());
    b.insert(b.end(), rows.begin(), rows.end());
    return b;
}

Bytes LibraryHeader(std::uint32_t count) {
    Bytes h(kLibraryHeaderSize, 0);
    std::memcpy(h.data(), "VANTMTXf", 8);
    Put32(h, 818, count);
    return h;
}

void AddRecord(Bytes& file, const char* tag, const Bytes& data, std::uint32_t length) {
    Bytes r(kTileRecordHeaderSize, 0);
    std::memcpy(r.data(), tag, 4);
    Put32(r, 4, length);
    file.insert(file.end(), r.begin(), r.end());
    file.insert(file.end(), data.begin(), data.end());
}

struct List {
    HeadlessPage page;
    PageRef ref() { return RefOf(&page); }
    int count() { return TileList().count(ref(), 404); }
    Bytes tile(int i) { return test::BlockBytes(TileList().tile(ref(), 404, i)); }
    ~List() { TileList().clear(ref(), 404); }
};

// A 2 x 1 24-bit tile: red, blue; its row padded to 8 bytes.
const Bytes kTile = Dib(2, 1, 24, {}, {0, 0, 255, 255, 0, 0, 0, 0});

TEST(MatrixLibrary, RoundTripKeepsPaddingAndDropsForeignRecords) {
    test::TempFolder temp;
    Bytes padded = kTile;
    padded.insert(padded.end(), {9, 8, 7});
    Bytes file = LibraryHeader(3);
    AddRecord(file, "MTXi", padded, std::uint32_t(padded.size()));
    AddRecord(file, "XXXX", {1, 2, 3, 4, 5}, 5);
    AddRecord(file, "MTXi", kTile, std::uint32_t(kTile.size()));
    const std::string in = temp.File("in.mtx"), out = temp.File("out.mtx");
    ASSERT_TRUE(test::WriteAll(in, file.data(), file.size()));
    List l;
    ASSERT_TRUE(ReadLibraryFile(in.c_str(), l.ref(), 404));
    ASSERT_EQ(l.count(), 2);
    EXPECT_EQ(l.tile(0), padded);
    EXPECT_EQ(l.tile(1), kTile);
    // Each allocation failing in turn: a failed read, everything freed.
    for (long fail = 0;; ++fail) {
        const long live = MemLiveBlocks();
        bool ok;
        {
            List partial;
            MemFailAfter(fail);
            ok = ReadLibraryFile(in.c_str(), partial.ref(), 404);
            MemFailAfter(-1);
            EXPECT_EQ(partial.count(), ok ? 2 : int(fail)) << fail;
        }
        EXPECT_EQ(MemLiveBlocks(), live) << fail;
        if (ok) break;
        ASSERT_LT(fail, 10);
    }

    ASSERT_TRUE(WriteLibraryFile(out.c_str(), l.ref(), 404));
    const Bytes written = test::ReadAll(out);
    Bytes expected;
    AddRecord(expected, "MTXi", padded, std::uint32_t(padded.size()));
    AddRecord(expected, "MTXi", kTile, std::uint32_t(kTile.size()));
    ASSERT_EQ(written.size(), kLibraryHeaderSize + expected.size());
    EXPECT_EQ(Bytes(written.begin() + kLibraryHeaderSize, written.end()), expected);
    EXPECT_EQ(std::memcmp(written.data(), "VANTMTXf", 8), 0);
    const std::pair<std::size_t, std::uint8_t> words[] = {{802, 3}, {810, 97}, {818, 2}, {822, 1}};
    for (auto [at, v] : words) EXPECT_EQ(written[at], v) << at;
    for (std::size_t i = 536; i < 802; ++i) ASSERT_EQ(written[i], 0) << i;
    EXPECT_EQ(test::TemporaryFilesIn(temp.path()), 0);
}

TEST(MatrixLibrary, DamagedFilesFailWithoutLeaksAndKeepWhatWasRead) {
    test::TempFolder temp;
    const long live = MemLiveBlocks();
    const std::string path = temp.File("bad.mtx");
    {
        List l;
        DefaultTiles(l.ref(), 404);
        // Missing: the list keeps its tile.
        EXPECT_TRUE(ReadLibraryFile(temp.File("none.mtx").c_str(), l.ref(), 404));
        EXPECT_EQ(l.count(), 1);
        Bytes file = LibraryHeader(0);
        file.resize(1000);
        ASSERT_TRUE(test::WriteAll(path, file.data(), file.size()));
        EXPECT_FALSE(ReadLibraryFile(path.c_str(), l.ref(), 404)) << "short header";
        file = LibraryHeader(0);
        file[7] = 'F';
        ASSERT_TRUE(test::WriteAll(path, file.data(), file.size()));
        EXPECT_FALSE(ReadLibraryFile(path.c_str(), l.ref(), 404)) << "signature";
        EXPECT_EQ(l.count(), 1) << "a refused header leaves the list";

        file = LibraryHeader(3);
        AddRecord(file, "MTXi", kTile, std::uint32_t(kTile.size()));
        AddRecord(file, "MTXi", kTile, 0xFFFFFFF0u);  // far beyond the end
        ASSERT_TRUE(test::WriteAll(path, file.data(), file.size()));
        EXPECT_FALSE(ReadLibraryFile(path.c_str(), l.ref(), 404));
        EXPECT_EQ(l.count(), 1) << "the tile before the fault stays";
        EXPECT_EQ(l.tile(0), kTile);

        file = LibraryHeader(2);
        AddRecord(file, "MTXi", kTile, std::uint32_t(kTile.size()));
        file.resize(file.size() + 30);  // half a record header
        ASSERT_TRUE(test::WriteAll(path, file.data(), file.size()));
        EXPECT_FALSE(ReadLibraryFile(path.c_str(), l.ref(), 404));

        // Not a bitmap: read as it stands, but nothing can be drawn from it.
        file = LibraryHeader(1);
        AddRecord(file, "MTXi", {1, 2, 3}, 3);
        ASSERT_TRUE(test::WriteAll(path, file.data(), file.size()));
        EXPECT_TRUE(ReadLibraryFile(path.c_str(), l.ref(), 404));
        ASSERT_EQ(l.count(), 1);
        EXPECT_EQ(MatrixTiles(TileList().tile(l.ref(), 404, 0), 10, 10, true), 0u);
        // Zero tiles: an empty list.
        file = LibraryHeader(0);
        ASSERT_TRUE(test::WriteAll(path, file.data(), file.size()));
        EXPECT_TRUE(ReadLibraryFile(path.c_str(), l.ref(), 404));
        EXPECT_EQ(l.count(), 0);
    }
    EXPECT_EQ(MemLiveBlocks(), live);
}

TEST(MatrixLibrary, AFailedWriteLeavesThePreviousFile) {
    test::TempFolder temp;
    const std::string path = temp.File("keep.mtx");
    ASSERT_TRUE(test::WriteAll(path, "old", 3));
    // Every temporary name the writer tries is taken by a folder.
    test::PredictableTemporaryNames names(7, 0);
    std::filesystem::create_directory(test::PredictableTemporaryNames::For(path, 7));
    List l;
    DefaultTiles(l.ref(), 404);
    EXPECT_FALSE(WriteLibraryFile(path.c_str(), l.ref(), 404));
    EXPECT_EQ(test::ReadAll(path), (Bytes{'o', 'l', 'd'}));
}

std::uint32_t PixelOf(const Bytes& dib, int x, int y) {
    TileView v;
    if (!ParseTile(dib.data(), dib.size(), &v)) return 0xDEADBEEF;
    return TileGetPixel(v, x, y);
}

TEST(MatrixTile, GetPixelReadsEveryDepth) {
    const Bytes pal = {0x10, 0x20, 0x30, 0, 0xA0, 0xB0, 0xC0, 0};  // two BGR entries
    // 1 bit, 3 x 2, bottom-up: top row 1 0 1, bottom row 0 1 0.
    const Bytes one = Dib(3, 2, 1, pal, {0x40, 0, 0, 0, 0xA0, 0, 0, 0});
    EXPECT_EQ(PixelOf(one, 0, 0), 0xA0B0C0u);
    EXPECT_EQ(PixelOf(one, 1, 0), 0x102030u);
    EXPECT_EQ(PixelOf(one, 1, 1), 0xA0B0C0u);
    EXPECT_EQ(PixelOf(one, 3, 0), kNoPixel);
    // 4 bits, 3 x 1: indices 1, 0, 5 (5 is beyond the table: black).
    const Bytes four = Dib(3, 1, 4, pal, {0x10, 0x50, 0, 0});
    EXPECT_EQ(PixelOf(four, 0, 0), 0xA0B0C0u);
    EXPECT_EQ(PixelOf(four, 1, 0), 0x102030u);
    EXPECT_EQ(PixelOf(four, 2, 0), 0u);
    const Bytes eight = Dib(2, 1, 8, pal, {1, 0, 0, 0});
    EXPECT_EQ(PixelOf(eight, 0, 0), 0xA0B0C0u);
    EXPECT_EQ(PixelOf(eight, 1, 0), 0x102030u);
    EXPECT_EQ(PixelOf(kTile, 0, 0), 0x0000FFu);
    EXPECT_EQ(PixelOf(kTile, 1, 0), 0xFF0000u);
    // 32 bits, top-down 1 x 2.
    Bytes thirtyTwo = Dib(1, 2, 32, {}, {1, 2, 3, 0, 4, 5, 6, 0});
    Put32(thirtyTwo, 8, std::uint32_t(-2));
    EXPECT_EQ(PixelOf(thirtyTwo, 0, 0), 0x010203u);
    EXPECT_EQ(PixelOf(thirtyTwo, 0, 1), 0x040506u);
    // Rows that the block does not hold, and other damage.
    Bytes cut = kTile;
    cut.pop_back();
    for (const Bytes& bad : {cut, Dib(2, 1, 16, {}, Bytes(8)), Dib(0, 1, 24, {}, {}),
                             Dib(2, 1, 4, Bytes(17 * 4), Bytes(4))})
        EXPECT_EQ(PixelOf(bad, 0, 0), 0xDEADBEEFu);
}

MemHandle Block(const Bytes& b) {
    const MemHandle h = MemAlloc(b.size());
    std::memcpy(MemLock(h), b.data(), b.size());
    MemUnlock(h);
    return h;
}

// A 2 x 1 32-bit BMP file whose channels sit where `masks` (red, green,
// blue) say, with the 40-byte header and the masks after it.
Bytes BitfieldsBmp(const std::uint32_t masks[3], const Bytes& pixels) {
    constexpr std::size_t kPixelsAt = 14 + 40 + 12;
    Bytes file(kPixelsAt + pixels.size());
    auto put32 = [&](std::size_t at, std::uint32_t v) {
        for (int i = 0; i < 4; ++i) file[at + i] = std::uint8_t(v >> (8 * i));
    };
    file[0] = 'B';
    file[1] = 'M';
    put32(2, std::uint32_t(file.size()));
    put32(10, std::uint32_t(kPixelsAt));
    put32(14, 40);
    put32(18, 2);  // width
    put32(22, 1);  // height
    file[26] = 1;  // planes
    file[28] = 32;
    put32(30, 3);  // channels placed by masks
    for (int i = 0; i < 3; ++i) put32(54 + 4 * i, masks[i]);
    std::copy(pixels.begin(), pixels.end(), file.begin() + kPixelsAt);
    return file;
}

TEST(MatrixTile, BmpFilesWithByteMasksAreTakenInEveryByteOrder) {
    // Pixel 0 is red 0x11, green 0x22, blue 0x33; pixel 1 is 0x44 0x55 0x66.
    const std::uint32_t bgra[3] = {0x00FF0000, 0x0000FF00, 0x000000FF};
    const std::uint32_t rgba[3] = {0x000000FF, 0x0000FF00, 0x00FF0000};
    const std::uint32_t argb[3] = {0x0000FF00, 0x00FF0000, 0xFF000000};
    const Bytes bgraPixels = {0x33, 0x22, 0x11, 0xFF, 0x66, 0x55, 0x44, 0xFF};
    const Bytes rgbaPixels = {0x11, 0x22, 0x33, 0xFF, 0x44, 0x55, 0x66, 0xFF};
    const Bytes argbPixels = {0xFF, 0x11, 0x22, 0x33, 0xFF, 0x44, 0x55, 0x66};
    const std::pair<const std::uint32_t*, const Bytes*> files[] = {
        {bgra, &bgraPixels}, {rgba, &rgbaPixels}, {argb, &argbPixels}};
    for (const auto& [masks, pixels] : files) {
        const Bytes file = BitfieldsBmp(masks, *pixels);
        const MemHandle tile = PackedDibFromBmp(file.data(), file.size());
        ASSERT_NE(tile, 0u) << std::hex << masks[0];
        const Bytes dib = test::BlockBytes(tile);
        MemFree(tile);
        EXPECT_EQ(PixelOf(dib, 0, 0), 0x332211u) << std::hex << masks[0];
        EXPECT_EQ(PixelOf(dib, 1, 0), 0x665544u) << std::hex << masks[0];
    }
    // Five-bit channels and a repeated mask are not taken; nor are missing pixels.
    const std::uint32_t narrow[3] = {0x7C00, 0x03E0, 0x001F};
    const std::uint32_t twice[3] = {0x00FF0000, 0x00FF0000, 0x000000FF};
    for (const std::uint32_t* masks : {narrow, twice}) {
        const Bytes file = BitfieldsBmp(masks, bgraPixels);
        EXPECT_EQ(PackedDibFromBmp(file.data(), file.size()), 0u);
    }
    const Bytes shortFile = BitfieldsBmp(bgra, Bytes(7));
    EXPECT_EQ(PackedDibFromBmp(shortFile.data(), shortFile.size()), 0u);
}

TEST(MatrixTile, TilingMatchesTheLiteralRuleIncludingClippedEdges) {
    EXPECT_EQ(IntegralSize(800, 100), 900);
    EXPECT_EQ(IntegralSize(801, 100), 900);
    EXPECT_EQ(IntegralSize(799, 100), 800);
    // 3 x 2, 8 bits, six distinct colours.
    Bytes pal;
    for (int i = 0; i < 6; ++i) pal.insert(pal.end(), {std::uint8_t(i * 40), 7, 0, 0});
    const MemHandle tile = Block(Dib(3, 2, 8, pal, {3, 4, 5, 0, 0, 1, 2, 0}));
    for (bool integral : {false, true}) {
        const MemHandle image = MatrixTiles(tile, 6, 5, integral);
        ImageView v;
        ASSERT_TRUE(LockImage(image, &v));
        EXPECT_EQ(v.width, integral ? 9 : 6);
        EXPECT_EQ(v.depth, integral ? 6 : 5);
        for (int y = 0; y < v.depth; ++y)
            for (int x = 0; x < v.width; ++x)
                ASSERT_EQ(GetPixel(v, x, y),
                          0x000700u | std::uint32_t((y % 2) * 3 + x % 3) * 40 << 16)
                    << x << "," << y;
        UnlockImage(&v);
        MemFree(image);
    }
    MemFree(tile);
    const MemHandle dot = Block(Dib(1, 1, 24, {}, {9, 8, 7, 0}));
    const MemHandle image = MatrixTiles(dot, 5, 3, false);
    ImageView v;
    ASSERT_TRUE(LockImage(image, &v));
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x) EXPECT_EQ(GetPixel(v, x, y), 0x090807u);
    UnlockImage(&v);
    MemFree(image);
    MemFree(dot);
}

TEST(MatrixKind, RendersTheCurrentLibrarysSelectedTile) {
    test::TempFolder temp;
    char folder[kMaxPath + 1];
    ASSERT_TRUE(TextureFolder(folder) && MakeFolders(folder));
    Bytes file = LibraryHeader(1);
    AddRecord(file, "MTXi", Dib(1, 1, 24, {}, {9, 8, 7, 0}), 44);
    ASSERT_TRUE(test::WriteAll(std::string(folder) + "Tessarine.mtx", file.data(), file.size()));
    test::Session s;
    const int kind = FindKind("matrix");
    s.rec()->kindIndex = kind;
    test::Enter(s, kind, "selection", "0");
    const MemHandle image = RenderSelectedKind(s.rec());
    ImageView v;
    ASSERT_TRUE(LockImage(image, &v));
    EXPECT_EQ(v.width, 400);
    EXPECT_EQ(GetPixel(v, 399, 299), 0x090807u);
    UnlockImage(&v);
    MemFree(image);
    test::Enter(s, kind, "selection", "1");
    EXPECT_EQ(RenderSelectedKind(s.rec()), 0u) << "no second tile";
}

}  // namespace
}  // namespace tsn
