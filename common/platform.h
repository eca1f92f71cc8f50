// The only place where the core meets the operating system. Everything here
// has a Win32 implementation (platform_win32.cpp) and a portable one
// (platform_posix.cpp) with the same semantics, so generators, records and
// file formats never include a system header.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace tsn {

// A handle to a movable, zero-initialised memory block, as the host expects
// images to arrive. 0 means "no block".
using MemHandle = std::uint64_t;

MemHandle MemAlloc(std::size_t bytes);  // zero-filled; 0 on failure
void* MemLock(MemHandle h);             // nullptr on failure or for 0
void MemUnlock(MemHandle h);
void MemFree(MemHandle h);         // accepts 0
std::size_t MemSize(MemHandle h);  // allocated size in bytes, 0 for 0

// Test support: make the allocation after `n` successful ones fail (n = 0:
// the very next one); a negative n switches failure injection off. Every
// allocation through MemAlloc counts, on every platform.
void MemFailAfter(long n);
// Blocks allocated and not yet freed, for leak checks in tests.
long MemLiveBlocks();

// Path handling. Paths are fixed buffers of kMaxPath characters plus the
// terminator; joining stops at kMaxPath.
constexpr int kMaxPath = 260;
char PathSeparator();
// Appends `part` to `path` (capacity kMaxPath + 1) and a separator after it
// when `asFolder` is set and it does not end in one already.
void PathAppend(char* path, const char* part, bool asFolder);

// The per-user application-data folder with a trailing separator. Returns
// false when the platform cannot name one.
bool AppDataFolder(char out[kMaxPath + 1]);
// Redirects AppDataFolder (tests, and the command line's --appdata). nullptr
// restores the platform's folder.
void SetAppDataOverride(const char* folder);

// Creates every missing folder of `folder` (which ends in a separator).
bool MakeFolders(const char* folder);
// Moves `from` over `to`, replacing `to` if it exists.
bool MoveFileOver(const char* from, const char* to);
bool DeleteFileAt(const char* path);

// Writes a file through fill(FILE*) to a temporary name beside `path` and
// renames it over `path`, so a failed write leaves the previous file whole
// and no partial file. `mode` is fopen's ("wb" or "w").
template <class Fill>
bool WriteFileBeside(const char* path, const char* mode, Fill fill) {
    char temporary[kMaxPath + 8];
    if (std::snprintf(temporary, sizeof temporary, "%s.new", path) >= int(sizeof temporary))
        return false;
    std::FILE* out = std::fopen(temporary, mode);
    if (!out) return false;
    bool ok = fill(out) && !std::ferror(out);
    if (std::fclose(out) != 0) ok = false;
    ok = ok && MoveFileOver(temporary, path);
    if (!ok) DeleteFileAt(temporary);
    return ok;
}
// Calls each(name, context) for every file (not folder) in `folder`, which
// ends in a separator. False when the folder cannot be read.
bool ForEachFile(const char* folder, void (*each)(const char* name, void* context), void* context);

// The machine's registered owner and organisation, as the system reports
// them; empty strings where it keeps none. Each buffer holds `cap` bytes.
void RegisteredOwner(char* owner, char* organisation, std::size_t cap);

// The built-in default tile: a packed device-independent bitmap. The
// plug-in module carries it as its bitmap resource 5010; elsewhere it is
// compiled in.
const std::uint8_t* DefaultTileDib(std::size_t* size);

// Read-only data carried by the module itself: the resource of this type and
// numeric id (U.S. English). The bytes stay valid while the module is
// loaded. False when the module has no such resource.
bool FindModuleResource(const char* type, unsigned id, const unsigned char** data,
                        std::size_t* size);
// Test support: answer FindModuleResource through `lookup` instead, so tests
// can plant damaged or missing data; nullptr restores the module's own.
using ResourceLookup = bool (*)(const char* type, unsigned id, const unsigned char** data,
                                std::size_t* size);
void SetResourceOverride(ResourceLookup lookup);

}  // namespace tsn
