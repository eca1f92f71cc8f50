// Shared between the two implementations of the platform layer only.
#pragma once

#include "common/platform.h"

namespace tsn {
bool AllocationShouldFail();
void CountAllocation(long delta);
bool AppDataOverride(char out[kMaxPath + 1]);
// The default tile's packed bitmap, generated at build time.
extern const std::uint8_t kDefaultTileDib[];
extern const std::size_t kDefaultTileDibSize;
}  // namespace tsn
