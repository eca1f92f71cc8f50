// Pictures painted a band at a time: every row reaches the sink once, in
// order, with the pixels the whole picture has, and a sink that gives up
// stops the painting.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "app/kind_list.h"
#include "app/session.h"
#include "core/picture_rows.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

// Keeps what it is handed, in the order handed, as top-first rows.
class CollectingSink final : public RowSink {
  public:
    explicit CollectingSink(int rowsPerBand, int takes = -1)
        : rowsPerBand_(rowsPerBand), takesLeft_(takes) {}
    bool Take(const ImageView& band, int first, int depth) override {
        firsts.push_back(first);
        depths.push_back(depth);
        for (int y = 0; y < band.depth; ++y) {
            rows.emplace_back(band.Row(y), band.Row(y) + 3 * band.width);
        }
        return takesLeft_ < 0 || --takesLeft_ > 0;
    }
    int RowsPerBand(int) const override { return rowsPerBand_; }

    std::vector<int> firsts, depths;
    std::vector<std::vector<std::uint8_t>> rows;

  private:
    int rowsPerBand_, takesLeft_;
};

// The rows of a whole picture, top first.
std::vector<std::vector<std::uint8_t>> RowsOf(MemHandle image) {
    const test::Picture p(image);
    std::vector<std::vector<std::uint8_t>> rows;
    for (int y = 0; y < p.v.depth; ++y) rows.emplace_back(p.v.Row(y), p.v.Row(y) + 3 * p.v.width);
    return rows;
}

// Each pixel says where it is, so a row painted into the wrong place shows.
void PaintWhere(int y0, int y1, const PictureRows& rows) {
    for (int y = y0; y < y1; ++y)
        for (int x = 0; x < rows.band.width; ++x) {
            std::uint8_t* p = rows.Row(y) + 3 * x;
            p[0] = std::uint8_t(x), p[1] = std::uint8_t(y), p[2] = std::uint8_t(y >> 8);
        }
}

TEST(PictureRows, BandsArriveInOrderWithTheWholePicturesRows) {
    const auto whole = RowsOf(PaintPicture(37, 300, nullptr, PaintWhere));
    ASSERT_EQ(whole.size(), 300u);
    // Bands of 7 leave a last band of 6; 0 still paints a row at a time,
    // and a band deeper than the picture is the picture.
    for (const int perBand : {7, 0, 1, 1000}) {
        CollectingSink sink(perBand);
        EXPECT_EQ(PaintPicture(37, 300, &sink, PaintWhere), MemHandle(0));
        EXPECT_EQ(sink.rows, whole) << perBand;
        const int step = std::clamp(perBand, 1, 300);
        ASSERT_EQ(sink.firsts.size(), std::size_t((300 + step - 1) / step)) << perBand;
        for (std::size_t i = 0; i < sink.firsts.size(); ++i) {
            EXPECT_EQ(sink.firsts[i], int(i) * step);
            EXPECT_EQ(sink.depths[i], 300);
        }
    }
}

TEST(PictureRows, ASinkThatGivesUpStopsThePainting) {
    CollectingSink sink(10, 2);
    std::atomic<int> painted{0};
    PaintPicture(5, 100, &sink, [&](int y0, int y1, const PictureRows& rows) {
        PaintWhere(y0, y1, rows);
        painted += y1 - y0;
    });
    EXPECT_EQ(sink.firsts, (std::vector<int>{0, 10}));
    EXPECT_EQ(painted, 20);
    CollectingSink none(10);
    EXPECT_EQ(PaintPicture(0, 100, &none, PaintWhere), MemHandle(0));
    EXPECT_TRUE(none.firsts.empty());
}

// The kinds that paint by bands give the sink exactly the picture they
// return whole, tileable or not, at a size no band divides.
TEST(PictureRows, KindsHandOnTheirWholePicture) {
    const std::pair<const char*, const char*> kinds[] = {
        {"absnoise", "width=203 depth=131"},
        {"perturb", "width=203 depth=131"},
        {"clouds", "width=203 depth=131 stars=5000"},
        {"cgijade", "size=131"},
        {"cgigranite", "size=131"}};
    for (const auto& [key, size] : kinds) {
        for (const bool tileable : {false, true}) {
            if (tileable && std::string(key) == "clouds") continue;  // it has no period
            test::Session s;
            const int kind = FindKind(key);
            s.rec()->kindIndex = kind;
            test::Enter(s, kind, size);
            const auto whole = RowsOf(RenderSelectedKind(s.rec(), MapRequest{tileable}));
            CollectingSink sink(9);
            MapRequest maps{tileable};
            maps.rows = &sink;
            EXPECT_EQ(RenderSelectedKind(s.rec(), maps), MemHandle(0)) << key;
            ASSERT_EQ(whole.size(), 131u) << key;
            EXPECT_TRUE(sink.rows == whole) << key << (tileable ? " tileable" : "");
            EXPECT_EQ(sink.firsts.back(), 126) << key;
        }
    }
}

// A kind asked for its height field makes its picture whole, and a kind
// that cannot paint by bands returns its image as it always has.
TEST(PictureRows, HeightFieldsAndOtherKindsKeepTheWholeImage) {
    test::Session s;
    const int kind = FindKind("absnoise");
    s.rec()->kindIndex = kind;
    test::Enter(s, kind, "width=64 depth=40");
    HeightField field;
    CollectingSink sink(4);
    MapRequest maps{false, &field};
    maps.rows = &sink;
    const test::Picture withHeight(RenderSelectedKind(s.rec(), maps));
    EXPECT_TRUE(withHeight.ok);
    EXPECT_EQ(field.depth, withHeight.v.depth);
    EXPECT_TRUE(sink.firsts.empty());
    const int plasma = FindKind("plasma");
    s.rec()->kindIndex = plasma;
    test::Enter(s, plasma, "width=64 depth=40");
    maps.height = nullptr;
    const test::Picture whole(RenderSelectedKind(s.rec(), maps));
    EXPECT_TRUE(whole.ok);
    EXPECT_TRUE(sink.firsts.empty());
}

}  // namespace
}  // namespace tsn
