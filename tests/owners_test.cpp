// The owners free what they hold on every way out of a scope, and hand it on
// only when told to.
#include <gtest/gtest.h>

#include <utility>

#include "core/image.h"
#include "core/owners.h"

namespace tsn {
namespace {

TEST(Owners, ABlockIsFreedUnlessReleasedAndMovesWithItsOwner) {
    const long live = MemLiveBlocks();
    { const OwnedBlock b(MemAlloc(64)); }
    EXPECT_EQ(MemLiveBlocks(), live);

    MemHandle kept;
    {
        OwnedBlock b(MemAlloc(64));
        kept = b.release();
        EXPECT_FALSE(b);
    }
    EXPECT_EQ(MemLiveBlocks(), live + 1);
    MemFree(kept);

    {
        OwnedBlock a(MemAlloc(8));
        a.reset(MemAlloc(16));  // the first block goes at once
        EXPECT_EQ(MemLiveBlocks(), live + 1);
        EXPECT_EQ(MemSize(a.get()), 16u);
        OwnedBlock b(std::move(a));
        EXPECT_FALSE(a);
        EXPECT_EQ(MemSize(b.get()), 16u);
        OwnedBlock c;
        c = std::move(b);
        EXPECT_EQ(MemLiveBlocks(), live + 1);
    }
    EXPECT_EQ(MemLiveBlocks(), live);
}

TEST(Owners, LockedBlocksAndImagesAreEmptyForWhatCannotBeLocked) {
    EXPECT_FALSE(LockedBlock<int>(0));
    const OwnedBlock notAnImage(MemAlloc(10));
    EXPECT_TRUE(LockedBlock<char>(notAnImage.get()));
    EXPECT_FALSE(LockedImage(notAnImage.get()));
    EXPECT_FALSE(LockedImage(0));
    const OwnedBlock image(NewImage(5, 3));
    const LockedImage v(image.get());
    ASSERT_TRUE(v);
    EXPECT_EQ(v->width, 5);
    EXPECT_EQ(v->depth, 3);
}

}  // namespace
}  // namespace tsn
