// The only place where the core meets the operating system. Everything here
// has a Win32 implementation (platform_win32.cpp) and a portable one
// (platform_posix.cpp) with the same semantics, so generators, records and
// file formats never include a system header.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

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
// The folder of the settings file, the presets and the libraries
// ("<application data>Vantorel/Tessarine 16/texture/"), with a separator.
bool TextureFolder(char out[kMaxPath + 1]);
// Redirects AppDataFolder (tests, and the command line's --appdata). nullptr
// restores the platform's folder.
void SetAppDataOverride(const char* folder);

// Creates every missing folder of `folder` (which ends in a separator).
bool MakeFolders(const char* folder);
// Moves `from` over `to`, replacing `to` if it exists.
bool MoveFileOver(const char* from, const char* to);
bool DeleteFileAt(const char* path);

// Creates a new, empty file beside `path`, in the same folder, under a name
// no one can guess ("<path>.<16 hex digits>.tmp"), and opens it for writing
// with fopen's `mode`. The file is created exclusively: an existing name, or
// a link planted under that name, makes it try another name rather than
// open it. Its name goes to `temporary`. nullptr when no file could be made.
std::FILE* CreateFileBeside(const char* path, const char* mode, std::string* temporary);

// Test support: the random part of the next temporary names comes from
// `next` instead of the system's random source (nullptr restores that).
using TemporaryTokenSource = std::uint64_t (*)();
void SetTemporaryTokenSource(TemporaryTokenSource next);
// Test support: `observe(path)` hears of every file about to be written by
// WriteFileBeside, before anything is created (nullptr: nobody listens).
using WriteObserver = void (*)(const char* path);
void SetWriteObserver(WriteObserver observe);
void ObserveWrite(const char* path);

// The one way files are written: through fill(FILE*) into a new file beside
// `path` (CreateFileBeside), then renamed over `path`. A failed write leaves
// the previous file whole and no partial file, and a link at `path` is
// replaced, never followed. `mode` is fopen's ("wb" or "w").
template <class Fill>
bool WriteFileBeside(const char* path, const char* mode, Fill fill) {
    ObserveWrite(path);
    std::string temporary;
    std::FILE* out = CreateFileBeside(path, mode, &temporary);
    if (!out) return false;
    bool ok = fill(out) && !std::ferror(out);
    if (std::fclose(out) != 0) ok = false;
    ok = ok && MoveFileOver(temporary.c_str(), path);
    if (!ok) DeleteFileAt(temporary.c_str());
    return ok;
}
// Calls each(name, context) for every file (not folder) in `folder`, which
// ends in a separator. False when the folder cannot be read.
bool ForEachFile(const char* folder, void (*each)(const char* name, void* context), void* context);

// The name of the file in `folder` that is `name` without regard to case
// (the name itself when it is there as written), in `found`; false when
// there is none. Windows compares names so anyway; elsewhere a user's
// "Loud.NOISE" must still be found as "Loud.noise".
bool FindFileNoCase(const char* folder, const char* name, std::string* found);

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
