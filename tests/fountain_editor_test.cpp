// The colour-map editor's rules: where markers are hit, where a dropped or
// added marker lands, and how deleting keeps the markers in order.
#include <gtest/gtest.h>

#include "colour/fountain_editor.h"

namespace tsn {
namespace {

FountainDefinition WithMarkers(std::initializer_list<int> positions) {
    FountainDefinition f;
    ResetFountain(&f);
    f.count = 0;
    for (int p : positions) f.markers[f.count++] = MakeMarker(std::uint32_t(p), 0x100 + p);
    return f;
}

std::vector<int> Positions(const FountainDefinition& f) {
    std::vector<int> out;
    for (std::uint32_t i = 0; i < f.count; ++i) out.push_back(int(MarkerPosition(f.markers[i])));
    return out;
}

constexpr EditorRect kRect{0, 0, 271, 50};  // a 255-pixel gradient

TEST(FountainEditor, HitBoxesAndGeometry) {
    const FountainDefinition f = WithMarkers({0x40, 0x42});
    EXPECT_EQ(GradientWidth(kRect), 255);
    EXPECT_EQ(GradientHeight(kRect), 30);
    EXPECT_EQ(MarkerX(f, 0, kRect), 8 + 0x40);
    // Overlapping boxes: the first in stored order wins.
    EXPECT_EQ(HitInnerMarker(f, kRect, 8 + 0x41, 7), 0);
    EXPECT_EQ(HitInnerMarker(f, kRect, 8 + 0x42 + 5, 10), 1);
    EXPECT_EQ(HitInnerMarker(f, kRect, 8 + 0x42 + 6, 7), -1);
    EXPECT_EQ(HitInnerMarker(f, kRect, 8 + 0x40, 11), -1);
    EXPECT_EQ(HitInnerMarker(f, kRect, 8 + 0x40, 3), -1);
    EXPECT_EQ(HitEndColour(kRect, 3, 4), -1);
    EXPECT_EQ(HitEndColour(kRect, 268, 10), -2);
    EXPECT_EQ(HitEndColour(kRect, 20, 7), 0);
    EXPECT_TRUE(InMarkerStrip(kRect, 8, 3));
    EXPECT_FALSE(InMarkerStrip(kRect, 8, 11));
    EXPECT_TRUE(InGradient(kRect, 262, 45));
    EXPECT_FALSE(InGradient(kRect, 263, 20));
    // Dragged to the very left a marker takes position 1, never 0.
    EXPECT_EQ(DropPosition(kRect, -40), 1);
    EXPECT_EQ(DropPosition(kRect, 8 + 100), 100);
    EXPECT_EQ(DropPosition(kRect, 900), 255);
}

TEST(FountainEditor, FreePositionSearchWalksDownAboveSixtyThreeAndAlternatesBelow) {
    FountainDefinition f = WithMarkers({100, 99, 20});
    int p = 100;
    ASSERT_TRUE(FindFreePosition(f, &p));
    EXPECT_EQ(p, 98);
    p = 20;
    ASSERT_TRUE(FindFreePosition(f, &p));
    EXPECT_EQ(p, 19);
    p = 0;
    ASSERT_TRUE(FindFreePosition(WithMarkers({0}), &p));
    EXPECT_EQ(p, 1);
    // 29 and 30 both taken: the alternation never ends; the search gives up.
    f = WithMarkers({29, 30});
    p = 30;
    EXPECT_FALSE(FindFreePosition(f, &p));
    // 63 and 62 taken: 63 walks down to 62, which alternates back up.
    f = WithMarkers({62, 63});
    p = 63;
    EXPECT_FALSE(FindFreePosition(f, &p));
}

TEST(FountainEditor, AddMoveDeleteKeepMarkersSorted) {
    FountainDefinition f = WithMarkers({0x20, 0x80, 0xE0});
    ASSERT_TRUE(AddMarker(&f, 0x80, 0x808080));
    EXPECT_EQ(Positions(f), (std::vector<int>{0x20, 0x7F, 0x80, 0xE0}));
    EXPECT_EQ(f.markers[1] & kMarkerColourMask, 0x808080u);
    // The dragged marker keeps its colour at its new place.
    ASSERT_TRUE(MoveMarker(&f, 3, 0x10));
    EXPECT_EQ(Positions(f), (std::vector<int>{0x10, 0x20, 0x7F, 0x80}));
    EXPECT_EQ(f.markers[0], MakeMarker(0x10, 0x100 + 0xE0));
    // Nowhere free to drop: it stays where it was.
    FountainDefinition g = WithMarkers({29, 30, 200});
    ASSERT_TRUE(MoveMarker(&g, 2, 30));
    EXPECT_EQ(Positions(g), (std::vector<int>{29, 30, 200}));

    ASSERT_TRUE(DeleteMarker(&f, 0));
    EXPECT_EQ(Positions(f), (std::vector<int>{0x20, 0x7F, 0x80}));
    EXPECT_EQ(f.markers[3], 0u) << "the emptied word sorts last";
    EXPECT_FALSE(DeleteMarker(&f, -1));
    EXPECT_FALSE(DeleteMarker(&f, 3));
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(DeleteMarker(&f, 0));
    EXPECT_EQ(f.count, 0u);
    EXPECT_FALSE(DeleteMarker(&f, 0));
    std::uint32_t word = 0;
    ASSERT_TRUE(SetMarkerWord(&f, -2, 0x123456) && GetMarkerWord(f, -2, &word));
    EXPECT_EQ(f.end, 0x123456u);
    EXPECT_EQ(word, 0x123456u);
    EXPECT_FALSE(GetMarkerWord(f, 0, &word));
    EXPECT_FALSE(SetMarkerWord(&f, 0, 1));

    FountainDefinition full = WithMarkers({});
    for (int i = 1; i <= 64; ++i) full.markers[full.count++] = MakeMarker(std::uint32_t(i), 0);
    EXPECT_FALSE(AddMarker(&full, 100, 0));
    EXPECT_EQ(full.count, 64u);
}

TEST(FountainEditor, StateLivesInTheLastTwentyEightBytes) {
    FountainDefinition f{};
    SetEditorState(&f, FountainEditorState{-2, 1, 1, 10, 11, 12, 13});
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&f);
    EXPECT_EQ(bytes[557], 0xFE);
    EXPECT_EQ(bytes[561], 1);
    EXPECT_EQ(bytes[569], 10);
    EXPECT_EQ(bytes[581], 13);
    EXPECT_EQ(GetEditorState(f).lastX, 12);
}

}  // namespace
}  // namespace tsn
