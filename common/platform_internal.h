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
// The module's own resources, without the test override.
bool FindOwnResource(const char* type, unsigned id, const unsigned char** data, std::size_t* size);

// Portable builds carry their resources as a table compiled into the
// program (generated at build time).
struct EmbeddedResource {
    const char* type;
    unsigned id;
    const unsigned char* data;
    std::size_t size;
};
extern const EmbeddedResource kEmbeddedResources[];
extern const int kEmbeddedResourceCount;
}  // namespace tsn
