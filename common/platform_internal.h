// Shared between the two implementations of the platform layer only.
#pragma once

#include "common/platform.h"

namespace tsn {
bool AllocationShouldFail();
void CountAllocation(long delta);
bool AppDataOverride(char out[kMaxPath + 1]);
}  // namespace tsn
