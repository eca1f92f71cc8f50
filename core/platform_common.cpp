// Platform-neutral parts of the platform layer: path joining, the folder
// override and the allocation bookkeeping used by tests.
#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>

#include "core/platform.h"
#include "core/platform_internal.h"
#include "core/text.h"

namespace tsn {

namespace {
std::atomic<long> g_failAfter{-1};
std::atomic<long> g_live{0};
std::string g_appDataOverride;
bool g_hasOverride = false;
std::atomic<ResourceLookup> g_resourceOverride{nullptr};
std::atomic<TemporaryTokenSource> g_tokenSource{nullptr};
std::atomic<WriteObserver> g_writeObserver{nullptr};

std::uint64_t NextTemporaryToken() {
    if (TemporaryTokenSource next = g_tokenSource.load()) return next();
    return SystemRandom64();
}
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

bool TextureFolder(char out[kMaxPath + 1]) {
    if (!AppDataFolder(out)) return false;
    PathAppend(out, "Vantorel", true);
    PathAppend(out, "Tessarine 16", true);
    PathAppend(out, "texture", true);
    return true;
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

bool FindFileNoCase(const char* folder, const char* name, std::string* found) {
    struct Search {
        const char* name;
        std::string* found;
        bool exact = false, any = false;
    } search{name, found};
    ForEachFile(
        folder,
        [](const char* file, void* context) {
            auto* s = static_cast<Search*>(context);
            if (s->exact || !EqualNoCase(file, s->name)) return;
            s->exact = std::strcmp(file, s->name) == 0;
            if (!s->any || s->exact) *s->found = file;
            s->any = true;
        },
        &search);
    return search.any;
}

void SetTemporaryTokenSource(TemporaryTokenSource next) {
    g_tokenSource.store(next);
}

void SetWriteObserver(WriteObserver observe) {
    g_writeObserver.store(observe);
}

void ObserveWrite(const char* path) {
    if (WriteObserver observe = g_writeObserver.load()) observe(path);
}

std::FILE* CreateFileBeside(const char* path, const char* mode, std::string* temporary) {
    // A taken name is tried again under another; anything else is final.
    for (int attempt = 0; attempt < 64; ++attempt) {
        char suffix[32];
        std::snprintf(suffix, sizeof suffix, ".%016llx.tmp",
                      static_cast<unsigned long long>(NextTemporaryToken()));
        *temporary = std::string(path) + suffix;
        bool exists = false;
        if (std::FILE* f = OpenNewFile(temporary->c_str(), mode, &exists)) return f;
        if (!exists) break;
    }
    temporary->clear();
    return nullptr;
}

}  // namespace tsn
