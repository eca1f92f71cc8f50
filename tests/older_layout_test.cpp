// The one conversion between a block's layouts, on a small layout of its
// own: fields move to their places, colour maps change form, the size word
// follows the rule asked for, and bytes no field names are zero or kept.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "colour/fountain.h"
#include "kind/descriptor.h"
#include "kind/older_layout.h"
#include "tests/test_support.h"

namespace tsn {
namespace {

using Bytes = std::vector<std::uint8_t>;

// Current: header (16), a word at 16, a colour map at 20 (585), a tail of 4;
// older: the word at 20, the map at 24 (581), no tail.
constexpr std::uint32_t kCurrent = 16 + 4 + 585 + 4, kOlder = 20 + 4 + 581;
const LayoutField kFields[] = {
    {0, 0, 8}, {8, 8, 4}, {16, 20, 4}, {20, 24, 585, FieldMove::Fountain}};

std::int64_t Convert(const OlderLayout& l, int code, const Bytes& from, Bytes* to) {
    test::Session s;
    MasterTextureRecord* rec = s.rec();
    rec->transferSource = reinterpret_cast<std::uintptr_t>(from.data());
    rec->transferTarget = reinterpret_cast<std::uintptr_t>(to->data());
    rec->transferSourceSize = std::uint32_t(from.size());
    rec->transferTargetSize = std::uint32_t(to->size());
    const std::int64_t r = ConvertOlderLayout(l, rec, code);
    rec->transferSource = rec->transferTarget = 0;
    return r;
}

std::uint32_t Word(const Bytes& b, std::size_t at) {
    std::uint32_t v;
    std::memcpy(&v, &b[at], 4);
    return v;
}

TEST(OlderLayout, FieldsMoveMapsChangeFormAndTheSizeWordFollowsItsRule) {
    const OlderLayout plain{kCurrent, kOlder, kFields, 4};
    Bytes current(kCurrent, 0xEE);
    std::memcpy(current.data(), "VANTTEST", 8);
    const std::uint32_t word = 0x12345678;
    std::memcpy(&current[16], &word, 4);
    FountainDefinition map;
    ResetFountain(&map);
    map.count = 3;
    std::memcpy(&current[20], &map, sizeof map);

    Bytes older(kOlder, 0x55);
    ASSERT_EQ(Convert(plain, kQueryConvertOut, current, &older), 1);
    EXPECT_EQ(std::memcmp(older.data(), "VANTTEST", 8), 0);
    EXPECT_EQ(Word(older, 12), kOlder) << "the target's own size";
    EXPECT_EQ(Word(older, 20), word);
    FountainDefinition581 small;
    std::memcpy(&small, &older[24], sizeof small);
    EXPECT_EQ(small.count, 3u);
    EXPECT_EQ(small.size, 581u);
    EXPECT_EQ(Word(older, 16), 0u) << "no field names it: zero";

    Bytes back(kCurrent, 0x77);
    ASSERT_EQ(Convert(plain, kQueryConvertIn, older, &back), 1);
    EXPECT_EQ(Word(back, 16), word);
    EXPECT_EQ(Word(back, 12), kCurrent);
    EXPECT_EQ(Word(back, kCurrent - 4), 0u);

    OlderLayout keeping = plain;
    keeping.keepsUnnamedBytes = true;
    keeping.sizeIsAlwaysCurrent = true;
    Bytes kept(kCurrent, 0x77);
    ASSERT_EQ(Convert(keeping, kQueryConvertIn, older, &kept), 1);
    EXPECT_EQ(Word(kept, kCurrent - 4), 0x77777777u) << "the tail keeps what it held";
    Bytes olderAgain(kOlder, 0);
    ASSERT_EQ(Convert(keeping, kQueryConvertOut, current, &olderAgain), 1);
    EXPECT_EQ(Word(olderAgain, 12), kCurrent) << "the current size, in both directions";
}

TEST(OlderLayout, OtherSizesCodesAndMissingAddressesAreRefusedUntouched) {
    const OlderLayout plain{kCurrent, kOlder, kFields, 4};
    const Bytes current(kCurrent, 1);
    Bytes older(kOlder + 1, 9), right(kOlder, 9);
    EXPECT_EQ(Convert(plain, kQueryConvertOut, current, &older), 0);
    EXPECT_EQ(older, Bytes(kOlder + 1, 9));
    EXPECT_EQ(Convert(plain, kQueryBlockSize, current, &right), 0);
    EXPECT_EQ(Convert(plain, kQueryConvertIn, current, &right), 0) << "sizes of the other way";
    EXPECT_EQ(right, Bytes(kOlder, 9));
    Bytes none;
    EXPECT_EQ(Convert(plain, kQueryConvertOut, current, &none), 0);
}

}  // namespace
}  // namespace tsn
