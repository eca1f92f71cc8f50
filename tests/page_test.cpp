#include <gtest/gtest.h>

#include "core/page.h"
#include "kind/page_table.h"
#include "kind/page_transfer.h"
#include "kinds/noise/noise.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

TEST(ReadPageInteger, ClampsIntoTheUpDownRange) {
    HeadlessPage page;
    const PageRef ref = RefOf(&page);
    Page().setText(ref, 10200, "64,32760,800");
    for (auto [text, want] : {std::pair{"800", 800},
                              {"10", 64},
                              {"40000", 32760},
                              {"-5", 64},
                              {"  1234xyz", 1234},
                              {"abc", 64},
                              {"", 64},
                              {"99999999999", 32760}}) {
        Page().setText(ref, 200, text);
        EXPECT_EQ(ReadPageInteger(ref, 200), want) << text;
    }
}

TEST(ReadPageInteger, FallsBackToZeroToHundredWhenTheRangeTextDoesNotParse) {
    HeadlessPage page;
    const PageRef ref = RefOf(&page);
    Page().setText(ref, 300, "250");
    EXPECT_EQ(ReadPageInteger(ref, 300), 100) << "no up-down control at all";
    Page().setText(ref, 10300, "5,9");
    EXPECT_EQ(ReadPageInteger(ref, 300), 100) << "two numbers are not a range text";
    Page().setText(ref, 10300, "x,y,z");
    Page().setText(ref, 300, "-3");
    EXPECT_EQ(ReadPageInteger(ref, 300), 0);
    Page().setText(ref, 10300, "-50,-10,-20");
    EXPECT_EQ(ReadPageInteger(ref, 300), -10);
}

class NoisePage : public ::testing::Test {
  protected:
    test::Session s;
    NoiseParameters* blk() { return NoiseBlock(s.rec()); }
    PageRef page() { return s.rec()->dialog; }
};

TEST_F(NoisePage, UntouchedControlsKeepValuesTheyCannotShow) {
    blk()->layers = 8;     // only a preset or mutation can hold 8
    blk()->xScale = 3.25;  // below the bar's range and between its steps
    blk()->flags = 0xF0 | kNoiseSum;
    PageFromBlock((*kNoiseKind.page), reinterpret_cast<std::uint8_t*>(blk()), page());
    PageToBlock((*kNoiseKind.page), page(), reinterpret_cast<std::uint8_t*>(blk()));
    EXPECT_EQ(blk()->layers, 8);
    EXPECT_EQ(blk()->xScale, 3.25);
    EXPECT_EQ(blk()->flags, 0xF0u | kNoiseSum);
}

TEST_F(NoisePage, ChangedControlsAreClampedAndStored) {
    // The generator reads width itself.
    test::Enter(s, 13, "layers=9 xScale=12.34 yScale=500 sum=off width=5");
    blk()->flags |= 0x100;
    PageToBlock((*kNoiseKind.page), page(), reinterpret_cast<std::uint8_t*>(blk()));
    EXPECT_EQ(blk()->layers, 7);
    EXPECT_DOUBLE_EQ(blk()->xScale, 12.3);
    EXPECT_DOUBLE_EQ(blk()->yScale, 128.0);
    EXPECT_EQ(blk()->flags, 0x100u) << "only the sum bit changes";
    EXPECT_EQ(blk()->width, 800) << "width is left to the generator";
    EXPECT_EQ(ReadPageInteger(page(), 200), 64);
}

TEST_F(NoisePage, EnteringRejectsTextThatIsNoValue) {
    std::string error;
    const PageField* layers = FindField((*kNoiseKind.page), "layers");
    const PageField* fountain = FindField((*kNoiseKind.page), "fountain");
    std::uint8_t* b = reinterpret_cast<std::uint8_t*>(blk());
    EXPECT_FALSE(EnterFieldText(*layers, "three", page(), b, &error));
    EXPECT_FALSE(EnterFieldText(*layers, "3.5", page(), b, &error));
    EXPECT_NE(error.find("whole number"), std::string::npos);
    EXPECT_FALSE(EnterFieldText(*fountain, "1", page(), b, &error));
    EXPECT_FALSE(
        EnterFieldText(*FindField((*kNoiseKind.page), "zDivisor"), "nan", page(), b, &error));
    EXPECT_EQ(FindField((*kNoiseKind.page), "nosuch"), nullptr);
}

TEST(PageTables, ControlListHoldsEveryFieldControlAndItsUpDownPartner) {
    std::uint32_t ids[64];
    const int n = BuildControlList(*kNoiseKind.page, kNoiseKind.presetList, ids, 64);
    ASSERT_EQ(ids[n], 0u);
    auto has = [&](std::uint32_t id) { return std::find(ids, ids + n, id) != ids + n; };
    for (std::uint32_t id : {200u, 10200u, 202u, 10202u, 204u, 207u, 210u, 213u, 214u, 10214u, 216u,
                             217u, 218u, 219u, 220u, 221u, 222u, 10222u})
        EXPECT_TRUE(has(id)) << id;
    EXPECT_FALSE(has(10204u)) << "scroll bars have no up-down control";
}

}  // namespace
}  // namespace tsn
