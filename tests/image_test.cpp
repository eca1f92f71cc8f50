#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "core/image.h"
#include "core/parallel.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

TEST(ImageBlock, HeaderAndRowPaddingAreThoseOfA24BitBitmap) {
    const MemHandle h = NewImage(3, 2);
    ASSERT_NE(h, 0u);
    const auto bytes = test::BlockBytes(h);
    ASSERT_GE(bytes.size(), 40u + 24u);  // stride 12 (9 bytes padded), two rows
    using test::U32;
    EXPECT_EQ(U32(bytes, 0), 40u);
    EXPECT_EQ(U32(bytes, 4), 3u);
    EXPECT_EQ(U32(bytes, 8), 2u);               // positive: bottom-up rows
    EXPECT_EQ(U32(bytes, 12), 1u | 24u << 16);  // one plane, 24 bits
    EXPECT_EQ(U32(bytes, 16), 0u);
    EXPECT_EQ(U32(bytes, 20), 24u);
    for (std::size_t at = 24; at < bytes.size(); ++at) EXPECT_EQ(bytes[at], 0) << at;
    EXPECT_EQ(ImageStride(1), 4u);
    EXPECT_EQ(ImageStride(4), 12u);
    EXPECT_EQ(ImageStride(5), 16u);
    MemFree(h);
    EXPECT_EQ(NewImage(0, 5), 0u);
    EXPECT_EQ(NewImage(5, -1), 0u);
}

TEST(ImageBlock, PixelZeroZeroIsTheTopLeftAndStoredBlueGreenRed) {
    const MemHandle h = NewImage(2, 3);
    ImageView v;
    ASSERT_TRUE(LockImage(h, &v));
    SetPixel(v, 0, 0, 0x00112233);  // red 0x33, green 0x22, blue 0x11
    SetPixel(v, 1, 2, 0x00ABCDEF);
    UnlockImage(&v);
    const auto b = test::BlockBytes(h);
    // Top row y = 0 is the last stored row: offset 40 + 2 * stride(8).
    EXPECT_EQ(b[40 + 16 + 0], 0x11);
    EXPECT_EQ(b[40 + 16 + 1], 0x22);
    EXPECT_EQ(b[40 + 16 + 2], 0x33);
    // Bottom row y = 2 is the first stored row.
    EXPECT_EQ(b[40 + 3], 0xAB);
    EXPECT_EQ(b[40 + 5], 0xEF);
    ASSERT_TRUE(LockImage(h, &v));
    EXPECT_EQ(GetPixel(v, 0, 0), 0x00112233u);
    EXPECT_EQ(GetPixel(v, 1, 2), 0x00ABCDEFu);
    EXPECT_EQ(GetPixel(v, -1, 0), kNoPixel);
    EXPECT_EQ(GetPixel(v, 2, 0), kNoPixel);
    EXPECT_EQ(GetPixel(v, 0, 3), kNoPixel);
    const auto before = test::BlockBytes(h);
    SetPixel(v, 2, 0, 0xFFFFFF);
    SetPixel(v, 0, -1, 0xFFFFFF);
    SetPixel(v, 5, 7, 0xFFFFFF);
    UnlockImage(&v);
    EXPECT_EQ(test::BlockBytes(h), before) << "points outside must not be written";
    MemFree(h);
}

TEST(ImageBlock, TileBlitClipsEveryPixelAsSetPixelWould) {
    const MemHandle src = NewImage(4, 3), dst = NewImage(5, 4), ref = NewImage(5, 4);
    ImageView s, d, r;
    ASSERT_TRUE(LockImage(src, &s) && LockImage(dst, &d) && LockImage(ref, &r));
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 4; ++x) SetPixel(s, x, y, std::uint32_t(0x10101 * (1 + x + 4 * y)));
    const int places[][2] = {{0, 0}, {-2, -1}, {3, 2}, {4, 3}, {-4, 0}, {5, 0}, {1, -3}, {2, 1}};
    for (const auto& p : places) {
        BlitTile(d, s, p[0], p[1]);
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 4; ++x) SetPixel(r, p[0] + x, p[1] + y, GetPixel(s, x, y));
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 5; ++x)
                ASSERT_EQ(GetPixel(d, x, y), GetPixel(r, x, y)) << p[0] << "," << p[1];
    }
    UnlockImage(&s);
    UnlockImage(&d);
    UnlockImage(&r);
    EXPECT_EQ(test::BlockBytes(dst), test::BlockBytes(ref)) << "padding stays zero";
    MemFree(src);
    MemFree(dst);
    MemFree(ref);
}

TEST(ImageBlock, ColouringLooksTheRedByteUpInTheTable) {
    std::uint8_t table[768];
    for (int i = 0; i < 256; ++i) {
        table[3 * i] = std::uint8_t(i);            // red
        table[3 * i + 1] = std::uint8_t(255 - i);  // green
        table[3 * i + 2] = 7;                      // blue
    }
    const test::Picture grey(NewImage(3, 1));
    SetPixel(grey.v, 0, 0, 0x000010);
    SetPixel(grey.v, 1, 0, 0xFFFF20);  // green and blue of an index pixel are ignored
    const test::Picture out(ColouriseImage(grey.h, table));
    EXPECT_EQ(out(0, 0), 0x07EF10u);
    EXPECT_EQ(out(1, 0), 0x07DF20u);
    EXPECT_EQ(out(2, 0), 0x07FF00u);
}

TEST(MemoryBlocks, FailureInjectionCountsAllocationsAndLeavesNothingBehind) {
    const long live = MemLiveBlocks();
    MemFailAfter(1);
    const MemHandle a = MemAlloc(10);
    const MemHandle b = MemAlloc(10);
    const MemHandle c = MemAlloc(10);
    EXPECT_NE(a, 0u);
    EXPECT_EQ(b, 0u);
    EXPECT_NE(c, 0u) << "injection fires once";
    EXPECT_GE(MemSize(a), 10u);
    EXPECT_EQ(MemLiveBlocks(), live + 2);
    MemFree(a);
    MemFree(c);
    MemFree(0);
    EXPECT_EQ(MemLiveBlocks(), live);
    MemFailAfter(0);
    EXPECT_EQ(NewImage(8, 8), 0u);
    EXPECT_EQ(MemLiveBlocks(), live);
}

// Colour every pixel, then give each output pixel the rounded average of
// the pixels it covers: what a thumbnail is defined as.
std::vector<std::uint32_t> LiteralThumbnail(const ImageView& index, const std::uint8_t* table,
                                            int percent, int* w, int* h) {
    *w = std::max(1, index.width * percent / 100);
    *h = std::max(1, index.depth * percent / 100);
    std::vector<std::uint32_t> out;
    for (int y = 0; y < *h; ++y) {
        const int y0 = y * index.depth / *h, y1 = std::max(y0 + 1, (y + 1) * index.depth / *h);
        for (int x = 0; x < *w; ++x) {
            const int x0 = x * index.width / *w, x1 = std::max(x0 + 1, (x + 1) * index.width / *w);
            unsigned sum[3] = {0, 0, 0}, n = unsigned((y1 - y0) * (x1 - x0));
            for (int yy = y0; yy < y1; ++yy)
                for (int xx = x0; xx < x1; ++xx)
                    for (int c = 0; c < 3; ++c)
                        sum[c] += table[3 * (GetPixel(index, xx, yy) & 0xFF) + c];
            out.push_back((sum[0] + n / 2) / n | ((sum[1] + n / 2) / n) << 8 |
                          ((sum[2] + n / 2) / n) << 16);
        }
    }
    return out;
}

TEST(ImageBlock, ThumbnailAveragesTheColoursOfTheCoveredPixels) {
    std::uint8_t table[768];
    for (int i = 0; i < 768; ++i) table[i] = std::uint8_t(i * 37 + i / 3);
    {
        // By hand: red bytes 100, 200 / 0, 100 through an identity-like red
        // channel average to (100 + 200 + 0 + 100) / 4.
        std::uint8_t ramp[768] = {};
        for (int i = 0; i < 256; ++i) ramp[3 * i] = std::uint8_t(i);
        const test::Picture p(NewImage(4, 2));
        SetPixel(p.v, 0, 0, 0x000064);
        SetPixel(p.v, 1, 0, 0x0000C8);
        SetPixel(p.v, 1, 1, 0x000064);
        const test::Picture half(ColouredThumbnail(p.h, ramp, 50));
        EXPECT_EQ(half.v.width, 2);
        EXPECT_EQ(half.v.depth, 1);
        EXPECT_EQ(half(0, 0), 0x000064u);
        EXPECT_EQ(half(1, 0), 0u);
    }
    // Uneven boxes, enlargement, a one-pixel result and both core counts.
    const int sizes[][3] = {{97, 61, 13}, {640, 480, 9}, {250, 3, 1}, {5, 7, 300}, {1000, 1, 0}};
    for (int threads : {1, 2}) {
        SetWorkerThreads(threads);
        for (const auto& s : sizes) {
            const test::Picture index(NewImage(s[0], s[1]));
            for (int y = 0; y < s[1]; ++y)
                for (int x = 0; x < s[0]; ++x)
                    SetPixel(index.v, x, y, std::uint32_t(x * 7 + y * y * 3) & 0xFFFFFF);
            int w, h;
            const auto want = LiteralThumbnail(index.v, table, std::max(1, s[2]), &w, &h);
            const test::Picture got(ColouredThumbnail(index.h, table, s[2]));
            ASSERT_TRUE(got.ok);
            ASSERT_EQ(got.v.width, w);
            ASSERT_EQ(got.v.depth, h);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    ASSERT_EQ(got(x, y), want[std::size_t(y) * w + x])
                        << s[0] << "x" << s[1] << " at " << x << "," << y;
        }
    }
    SetWorkerThreads(0);
    const test::Picture index(NewImage(8, 8));
    const long live = MemLiveBlocks();
    MemFailAfter(0);
    EXPECT_EQ(ColouredThumbnail(index.h, table, 50), 0u);
    MemFailAfter(-1);
    EXPECT_EQ(MemLiveBlocks(), live);
}

}  // namespace
}  // namespace tsn
