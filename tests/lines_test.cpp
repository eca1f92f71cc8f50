#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/lines.h"
#include "core/random.h"
#include "core/surface.h"

namespace tsn {
namespace {

struct Line {
    int x0, y0, x1, y1, width;
};

// The lit pixels of a w x h picture as rows of '#' and '.'.
std::vector<std::string> Draw(int w, int h, std::vector<Line> lines) {
    DrawSurface s;
    EXPECT_TRUE(OpenSurface(&s, w, h, 0));
    for (const Line& l : lines) DrawLine(s.view, l.x0, l.y0, l.x1, l.y1, l.width, 0xFFFFFF);
    std::vector<std::string> rows(h, std::string(w, '.'));
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            if (GetPixel(s.view, x, y)) rows[y][x] = '#';
    DiscardSurface(&s);
    return rows;
}
using Rows = std::vector<std::string>;

TEST(ThinPen, StartIncludedEndExcludedHalvesToTheSmallerCoordinate) {
    EXPECT_EQ(Draw(6, 3, {{1, 1, 5, 1, 1}}), (Rows{"......", ".####.", "......"}));
    EXPECT_EQ(Draw(6, 3, {{5, 1, 1, 1, 1}}), (Rows{"......", "..####", "......"}));
    EXPECT_EQ(Draw(3, 5, {{1, 0, 1, 3, 0}}), (Rows{".#.", ".#.", ".#.", "...", "..."}));
    EXPECT_EQ(Draw(4, 4, {{0, 0, 3, 3, 1}}), (Rows{"#...", ".#..", "..#.", "...."}));
    EXPECT_EQ(Draw(4, 4, {{3, 0, 0, 3, 1}}), (Rows{"...#", "..#.", ".#..", "...."}));
    // Shallow: 0, 1/4, 1/2 (tie: upper), 3/4; drawn back: 1, 3/4, 1/2 (upper), 1/4.
    EXPECT_EQ(Draw(5, 2, {{0, 0, 4, 1, 1}}), (Rows{"###..", "...#."}));
    EXPECT_EQ(Draw(5, 2, {{4, 1, 0, 0, 1}}), (Rows{".##..", "...##"}));
    // Steep: the tie goes left.
    EXPECT_EQ(Draw(2, 5, {{0, 0, 1, 4, 1}}), (Rows{"#.", "#.", "#.", ".#", ".."}));
    EXPECT_EQ(Draw(2, 5, {{1, 4, 0, 0, 1}}), (Rows{"..", "#.", "#.", ".#", ".#"}));
    EXPECT_EQ(Draw(3, 3, {{1, 1, 1, 1, 1}}), (Rows{"...", "...", "..."}));
    // A polyline lights each joint once.
    EXPECT_EQ(Draw(4, 3, {{0, 0, 3, 0, 1}, {3, 0, 3, 2, 1}}), (Rows{"####", "...#", "...."}));
}

TEST(ThinPen, ClipsAtEveryEdge) {
    EXPECT_EQ(Draw(4, 3, {{-2, 1, 3, 1, 1}}), (Rows{"....", "###.", "...."}));
    EXPECT_EQ(Draw(4, 3, {{2, 0, 9, 0, 1}}), (Rows{"..##", "....", "...."}));
    EXPECT_EQ(Draw(4, 3, {{1, -5, 1, 2, 1}}), (Rows{".#..", ".#..", "...."}));
    EXPECT_EQ(Draw(4, 3, {{3, 1, 3, 7, 1}}), (Rows{"....", "...#", "...#"}));
    EXPECT_EQ(Draw(4, 3, {{-1, -1, 5, 5, 1}}), (Rows{"#...", ".#..", "..#."}));
    EXPECT_EQ(Draw(4, 3, {{-9, -9, -1, 20, 1}}), (Rows{"....", "....", "...."}));
}

TEST(WidePen, RoundEndsAndHalfOpenEdges) {
    // Width 2 is two rows thick (y - 1 and y); of the end caps only the
    // left tie point is lit.
    EXPECT_EQ(Draw(7, 4, {{1, 2, 4, 2, 2}}), (Rows{".......", ".####..", "#####..", "......."}));
    // Dots: width 3 is the 3 x 3 square (corners at distance sqrt 2 < 1.5);
    // width 4 adds the tie points above and to the left.
    EXPECT_EQ(Draw(5, 5, {{2, 2, 2, 2, 3}}), (Rows{".....", ".###.", ".###.", ".###.", "....."}));
    EXPECT_EQ(Draw(5, 5, {{2, 2, 2, 2, 4}}), (Rows{"..#..", ".###.", "####.", ".###.", "....."}));
}

// Lines drawn in three bands of rows, each in its own colour: a wide one
// pixel by pixel as its rule says, a thin one as drawn whole, and no band
// drawing outside its rows.
TEST(WidePen, BandedRowFillEqualsThePixelRule) {
    Rng rng;
    rng.Seed(7);
    for (int i = 0; i < 4000; ++i) {
        const Line l{rng.Next() % 60 - 10, rng.Next() % 50 - 10, rng.Next() % 60 - 10,
                     rng.Next() % 50 - 10, rng.Next() % 16};
        const int cut1 = rng.Next() % 31, cut2 = cut1 + rng.Next() % (31 - cut1);
        DrawSurface s;
        ASSERT_TRUE(OpenSurface(&s, 40, 30, 0));
        DrawLineRows(s.view, l.x0, l.y0, l.x1, l.y1, l.width, 3, cut2, 30);
        DrawLineRows(s.view, l.x0, l.y0, l.x1, l.y1, l.width, 1, 0, cut1);
        DrawLineRows(s.view, l.x0, l.y0, l.x1, l.y1, l.width, 2, cut1, cut2);
        const Rows whole = l.width < 2 ? Draw(40, 30, {l}) : Rows();
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x) {
                const bool lit = l.width < 2 ? whole[y][x] == '#'
                                             : InWideStroke(l.x0, l.y0, l.x1, l.y1, l.width, x, y);
                ASSERT_EQ(GetPixel(s.view, x, y), lit ? 1u + (y >= cut1) + (y >= cut2) : 0u)
                    << l.x0 << "," << l.y0 << " " << l.x1 << "," << l.y1 << " w" << l.width
                    << " cuts " << cut1 << " " << cut2 << " at " << x << "," << y;
            }
        DiscardSurface(&s);
    }
}

MemHandle Grey(int w, int h, std::vector<int> values) {
    const MemHandle m = NewImage(w, h);
    ImageView v;
    LockImage(m, &v);
    for (int i = 0; i < w * h; ++i) SetPixel(v, i % w, i / w, 0x010101u * values[i]);
    UnlockImage(&v);
    return m;
}

std::vector<int> Values(MemHandle m) {
    ImageView v;
    std::vector<int> out;
    if (!LockImage(m, &v)) return out;
    for (int y = 0; y < v.depth; ++y)
        for (int x = 0; x < v.width; ++x) out.push_back(int(GetPixel(v, x, y) & 0xFF));
    UnlockImage(&v);
    MemFree(m);
    return out;
}

TEST(Reduce, AveragesByAreaAndRoundsHalvesUp) {
    const MemHandle row = Grey(4, 1, {10, 20, 20, 31});
    EXPECT_EQ(Values(ReduceWidth(row, 50)), (std::vector<int>{15, 26}));
    EXPECT_EQ(Values(ReduceWidth(row, 10)), (std::vector<int>{20}));  // at least one pixel
    // 5 -> 2: each takes two pixels and half of the middle one.
    const MemHandle five = Grey(5, 1, {0, 0, 100, 200, 200});
    EXPECT_EQ(Values(ReduceWidth(five, 40)), (std::vector<int>{20, 180}));
    // Depth: the top rows make the top pixel.
    const MemHandle column = Grey(2, 4, {0, 8, 4, 9, 100, 200, 101, 200});
    EXPECT_EQ(Values(ReduceDepth(column, 50)), (std::vector<int>{2, 9, 101, 200}));
    EXPECT_EQ(ReduceWidth(row, 0), 0u);
    EXPECT_EQ(ReduceDepth(row, 101), 0u);
    const long live = MemLiveBlocks();
    MemFailAfter(0);
    EXPECT_EQ(ReduceWidth(row, 50), 0u);
    DrawSurface s;
    MemFailAfter(0);
    EXPECT_FALSE(OpenSurface(&s, 8, 8, 0));
    MemFailAfter(-1);
    EXPECT_EQ(MemLiveBlocks(), live);
    MemFree(row);
    MemFree(five);
    MemFree(column);
}

}  // namespace
}  // namespace tsn
