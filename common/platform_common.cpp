// Platform-neutral parts of the platform layer: path joining, the folder
// override and the allocation bookkeeping used by tests.
#include <atomic>
#include <cstring>
#include <string>

#include "common/platform.h"
#include "common/platform_internal.h"

namespace tsn {

namespace {
std::atomic<long> g_failAfter{-1};
std::atomic<long> g_live{0};
std::string g_appDataOverride;
bool g_hasOverride = false;
std::atomic<ResourceLookup> g_resourceOverride{nullptr};
}  // namespace

bool AllocationShouldFail() {
    long n = g_failAfter.load();
    if (n < 0) return false;
    if (n == 0) {
        g_failAfter.store(-1);
        return true;
    }
    g_failAfter.store(n - 1);
    return false;
}

void CountAllocation(long delta) {
    g_live += delta;
}

void MemFailAfter(long n) {
    g_failAfter.store(n);
}
long MemLiveBlocks() {
    return g_live.load();
}

void PathAppend(char* path, const char* part, bool asFolder) {
    std::size_t len = std::strlen(path);
    for (const char* c = part; *c && len < static_cast<std::size_t>(kMaxPath); ++c)
        path[len++] = *c;
    if (asFolder && len > 0 && path[len - 1] != PathSeparator() &&
        len < static_cast<std::size_t>(kMaxPath))
        path[len++] = PathSeparator();
    path[len] = 0;
}

void SetAppDataOverride(const char* folder) {
    g_hasOverride = folder != nullptr;
    g_appDataOverride = folder ? folder : "";
}

bool AppDataOverride(char out[kMaxPath + 1]) {
    if (!g_hasOverride) return false;
    out[0] = 0;
    PathAppend(out, g_appDataOverride.c_str(), true);
    return true;
}

void SetResourceOverride(ResourceLookup lookup) {
    g_resourceOverride.store(lookup);
}

bool FindModuleResource(const char* type, unsigned id, const unsigned char** data,
                        std::size_t* size) {
    *data = nullptr;
    *size = 0;
    if (ResourceLookup over = g_resourceOverride.load()) return over(type, id, data, size);
    return FindOwnResource(type, id, data, size);
}

}  // namespace tsn
