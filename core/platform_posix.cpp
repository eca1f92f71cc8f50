// Portable implementation of the platform layer. A memory "handle" is the
// address of a small header that records the block's size and lock count,
// the same facts the Win32 global memory functions keep.
#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>

#include "core/platform.h"
#include "core/platform_internal.h"

namespace tsn {

namespace {
struct BlockHeader {
    std::size_t size;
    long locks;
    std::uint64_t magic;
    std::size_t mapped;  // bytes mapped for a large block, 0 for the heap
};
constexpr std::uint64_t kMagic = 0x4B434F4C424E5354ull;  // marks live blocks
constexpr std::size_t kHeader = 32;                      // keeps the data 16-byte aligned
static_assert(sizeof(BlockHeader) <= kHeader);

BlockHeader* HeaderOf(MemHandle h) {
    if (h == 0) return nullptr;
    auto* hdr = reinterpret_cast<BlockHeader*>(static_cast<std::uintptr_t>(h));
    return hdr->magic == kMagic ? hdr : nullptr;
}

// Pictures are large and written once from end to end. Mapped with huge
// pages they fault once per 2 MiB instead of once per 4 KiB, which on a
// virtual machine is most of the cost of a fresh picture.
constexpr std::size_t kHugePage = std::size_t(2) << 20;

void* MapLarge(std::size_t bytes, std::size_t* mapped) {
    const std::size_t length = (bytes + kHugePage - 1) / kHugePage * kHugePage;
    void* p = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (p == MAP_FAILED) return nullptr;
#ifdef MADV_HUGEPAGE
    madvise(p, length, MADV_HUGEPAGE);
#endif
    *mapped = length;
    return p;  // anonymous pages are zero
}
}  // namespace

MemHandle MemAlloc(std::size_t bytes) {
    if (AllocationShouldFail()) return 0;
    if (bytes > (~std::size_t{0}) - kHeader - kHugePage) return 0;
    std::size_t mapped = 0;
    void* raw = kHeader + bytes >= kHugePage ? MapLarge(kHeader + bytes, &mapped)
                                             : std::calloc(1, kHeader + bytes);
    if (!raw) return 0;
    auto* hdr = static_cast<BlockHeader*>(raw);
    hdr->mapped = mapped;
    hdr->size = bytes;
    hdr->locks = 0;
    hdr->magic = kMagic;
    CountAllocation(1);
    return static_cast<MemHandle>(reinterpret_cast<std::uintptr_t>(raw));
}

void* MemLock(MemHandle h) {
    BlockHeader* hdr = HeaderOf(h);
    if (!hdr) return nullptr;
    ++hdr->locks;
    return reinterpret_cast<unsigned char*>(hdr) + kHeader;
}

void MemUnlock(MemHandle h) {
    BlockHeader* hdr = HeaderOf(h);
    if (hdr && hdr->locks > 0) --hdr->locks;
}

void MemFree(MemHandle h) {
    BlockHeader* hdr = HeaderOf(h);
    if (!hdr) return;
    hdr->magic = 0;
    if (hdr->mapped)
        munmap(hdr, hdr->mapped);
    else
        std::free(hdr);
    CountAllocation(-1);
}

std::size_t MemSize(MemHandle h) {
    BlockHeader* hdr = HeaderOf(h);
    return hdr ? hdr->size : 0;
}

char PathSeparator() {
    return '/';
}

bool AppDataFolder(char out[kMaxPath + 1]) {
    if (AppDataOverride(out)) return true;
    out[0] = 0;
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    if (xdg && xdg[0] == '/') {
        PathAppend(out, xdg, true);
        return true;
    }
    const char* home = std::getenv("HOME");
    if (!home || !home[0]) return false;
    PathAppend(out, home, true);
    PathAppend(out, ".config", true);
    return true;
}

bool MakeFolders(const char* folder) {
    char buf[kMaxPath + 1];
    std::snprintf(buf, sizeof buf, "%s", folder);
    for (char* p = buf + 1; *p; ++p) {
        if (*p != '/') continue;
        *p = 0;
        if (mkdir(buf, 0755) != 0 && errno != EEXIST) return false;
        *p = '/';
    }
    struct stat st;
    return stat(buf, &st) == 0 && S_ISDIR(st.st_mode);
}

std::uint64_t SystemRandom64() {
    std::uint64_t value = 0;
    if (getrandom(&value, sizeof value, 0) == ssize_t(sizeof value)) return value;
    // No random source: the clock and the process still make names that
    // are hard to guess; exclusive creation keeps them safe regardless.
    static std::atomic<std::uint64_t> counter{0};  // threads name files at once
    return (std::uint64_t(getpid()) << 40) ^ std::uint64_t(time(nullptr)) ^ (++counter << 20) ^
           std::uint64_t(reinterpret_cast<std::uintptr_t>(&value));
}

std::FILE* OpenNewFile(const char* name, const char* mode, bool* exists) {
    const int fd = open(name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    *exists = fd < 0 && errno == EEXIST;
    if (fd < 0) return nullptr;
    std::FILE* f = fdopen(fd, mode);
    if (!f) {
        close(fd);
        unlink(name);
    }
    return f;
}

bool MoveFileOver(const char* from, const char* to) {
    return std::rename(from, to) == 0;
}

bool DeleteFileAt(const char* path) {
    return unlink(path) == 0;
}

bool ForEachFile(const char* folder, void (*each)(const char* name, void* context), void* context) {
    DIR* d = opendir(folder);
    if (!d) return false;
    while (const dirent* e = readdir(d)) {
        char path[kMaxPath + 1];
        std::snprintf(path, sizeof path, "%s", folder);
        PathAppend(path, e->d_name, false);
        struct stat st;
        if (stat(path, &st) == 0 && S_ISREG(st.st_mode)) each(e->d_name, context);
    }
    closedir(d);
    return true;
}

void RegisteredOwner(char* owner, char* organisation, std::size_t cap) {
    if (cap > 0) owner[0] = organisation[0] = 0;
}

const std::uint8_t* DefaultTileDib(std::size_t* size) {
    *size = kDefaultTileDibSize;
    return kDefaultTileDib;
}

bool FindOwnResource(const char* type, unsigned id, const unsigned char** data, std::size_t* size) {
    for (int i = 0; i < kEmbeddedResourceCount; ++i) {
        const EmbeddedResource& r = kEmbeddedResources[i];
        if (r.id != id || std::strcmp(r.type, type) != 0) continue;
        *data = r.data;
        *size = r.size;
        return true;
    }
    return false;
}

}  // namespace tsn
