// Drop-down lists and list boxes on a page: the value is the item index.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "core/page.h"
#include "kind/page_fields.h"
#include "kind/page_table.h"
#include "kind/page_transfer.h"

namespace tsn {
namespace {

const PageField kFields[] = {
    fields::List("quality", "Quality:", 0, 900, "Fast;Standard;Best", 1, ""),
    {"tile", "", FieldType::I32, 4, 0, Control::ListBox, 901, 0, 1000, 0, 0, 0, Role::Plain, ""},
};
const PageTable kTable = {kFields, 2, nullptr};

struct Block {
    std::uint32_t quality;
    std::int32_t tile;
};

class ListPage : public ::testing::Test {
  protected:
    HeadlessPage page;
    PageRef ref = RefOf(&page);
    std::uint8_t block[8] = {};
    std::uint32_t Quality() {
        std::uint32_t q;
        std::memcpy(&q, block, 4);
        return q;
    }
    std::int32_t Tile() {
        std::int32_t t;
        std::memcpy(&t, block + 4, 4);
        return t;
    }
};

TEST(Choices, AreCountedAndFoundWithoutRegardToCase) {
    EXPECT_EQ(ChoiceCount("Fast;Standard;Best"), 3);
    EXPECT_EQ(ChoiceCount("One"), 1);
    EXPECT_EQ(ChoiceCount(nullptr), 0);
    EXPECT_EQ(FindChoice("Fast;Standard;Best", "best"), 2);
    EXPECT_EQ(FindChoice("Fast;Standard;Best", "Fast"), 0);
    EXPECT_EQ(FindChoice("Fast;Standard;Best", "Stand"), -1);
    EXPECT_EQ(fields::List("q", "", 0, 1, "A;B;C;D", 0, "").max, 3);
}

TEST_F(ListPage, TheBlockValueSelectsItsItemAndAChangedSelectionIsStored) {
    ApplyBlockDefaults(kTable, block);
    EXPECT_EQ(Quality(), 1u);
    PageFromBlock(kTable, block, ref);
    EXPECT_EQ(Page().getSelection(ref, 900), 1);
    ASSERT_EQ(page.controls[900].items.size(), 3u);
    EXPECT_EQ(page.controls[900].items[2], "Best");

    Page().setSelection(ref, 900, nullptr, 2);
    PageToBlock(kTable, ref, block);
    EXPECT_EQ(Quality(), 2u);
}

TEST_F(ListPage, AValueNoItemShowsSelectsNothingAndIsKept) {
    const std::uint32_t odd = 7;  // only a stored block can hold this
    std::memcpy(block, &odd, 4);
    PageFromBlock(kTable, block, ref);
    EXPECT_EQ(Page().getSelection(ref, 900), -1);
    PageToBlock(kTable, ref, block);
    EXPECT_EQ(Quality(), 7u);
}

TEST_F(ListPage, AListBoxKeepsItsOwnItemsAndTheBlockValueWithoutThem) {
    const std::int32_t tile = 3;
    std::memcpy(block + 4, &tile, 4);
    PageFromBlock(kTable, block, ref);
    EXPECT_EQ(Page().getSelection(ref, 901), -1) << "no items yet";
    PageToBlock(kTable, ref, block);
    EXPECT_EQ(Tile(), 3);

    Page().setSelection(ref, 901, "a;b;c;d;e", 0);  // the kind's code fills it
    PageFromBlock(kTable, block, ref);
    EXPECT_EQ(Page().getSelection(ref, 901), 3);
    EXPECT_EQ(page.controls[901].items.size(), 5u);
    Page().setSelection(ref, 901, nullptr, 4);
    PageToBlock(kTable, ref, block);
    EXPECT_EQ(Tile(), 4);
}

TEST_F(ListPage, EnteringTakesAnIndexOrAnItemTextAndClampsTheIndex) {
    ApplyBlockDefaults(kTable, block);
    PageFromBlock(kTable, block, ref);
    std::string error;
    ASSERT_TRUE(EnterFieldText(kFields[0], "BEST", ref, block, &error)) << error;
    EXPECT_EQ(Page().getSelection(ref, 900), 2);
    ASSERT_TRUE(EnterFieldText(kFields[0], "0", ref, block, &error));
    EXPECT_EQ(Page().getSelection(ref, 900), 0);
    ASSERT_TRUE(EnterFieldText(kFields[0], "9", ref, block, &error));
    EXPECT_EQ(Page().getSelection(ref, 900), 2);
    EXPECT_FALSE(EnterFieldText(kFields[0], "Slow", ref, block, &error));
    PageToBlock(kTable, ref, block);
    EXPECT_EQ(Quality(), 2u);

    ASSERT_TRUE(EnterFieldText(kFields[1], "5000", ref, block, &error));
    EXPECT_EQ(Tile(), 1000);
}

TEST(ControlList, ListsHaveNoUpDownPartner) {
    std::uint32_t ids[16];
    const int n = BuildControlList(kTable, 0, ids, 16);
    const std::vector<std::uint32_t> list(ids, ids + n);
    for (std::uint32_t id : {900u, 901u})
        EXPECT_NE(std::find(list.begin(), list.end(), id), list.end()) << id;
    for (std::uint32_t id : {10900u, 10901u})
        EXPECT_EQ(std::find(list.begin(), list.end(), id), list.end()) << id;
}

}  // namespace
}  // namespace tsn
