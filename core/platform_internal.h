// Shared between the two implementations of the platform layer only.
#pragma once

#include "core/platform.h"

namespace tsn {
bool AllocationShouldFail();
void CountAllocation(long delta);
bool AppDataOverride(char out[kMaxPath + 1]);
// 64 bits from the system's random source.
std::uint64_t SystemRandom64();
// Creates `name` exclusively (failing if anything, a link included, is
// there already) and opens it with fopen's `mode`. nullptr on failure;
// `exists` tells whether the name was taken.
std::FILE* OpenNewFile(const char* name, const char* mode, bool* exists);
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
