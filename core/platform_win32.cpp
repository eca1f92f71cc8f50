// Win32 implementation of the platform layer: global memory blocks, the
// roaming application-data folder and file replacement.
#define _CRT_RAND_S  // rand_s: the system's random source, through the C runtime
#include <fcntl.h>
#include <io.h>
#include <shlobj.h>
#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/platform.h"
#include "core/platform_internal.h"

namespace tsn {

MemHandle MemAlloc(std::size_t bytes) {
    if (AllocationShouldFail()) return 0;
    HGLOBAL h = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, bytes);
    if (!h) return 0;
    CountAllocation(1);
    return reinterpret_cast<MemHandle>(h);
}

void* MemLock(MemHandle h) {
    return h ? GlobalLock(reinterpret_cast<HGLOBAL>(h)) : nullptr;
}

void MemUnlock(MemHandle h) {
    if (h) GlobalUnlock(reinterpret_cast<HGLOBAL>(h));
}

void MemFree(MemHandle h) {
    if (!h) return;
    GlobalFree(reinterpret_cast<HGLOBAL>(h));
    CountAllocation(-1);
}

std::size_t MemSize(MemHandle h) {
    return h ? GlobalSize(reinterpret_cast<HGLOBAL>(h)) : 0;
}

char PathSeparator() {
    return '\\';
}

bool AppDataFolder(char out[kMaxPath + 1]) {
    if (AppDataOverride(out)) return true;
    out[0] = 0;
    LPITEMIDLIST list = nullptr;
    if (SHGetSpecialFolderLocation(nullptr, CSIDL_APPDATA, &list) != S_OK || !list) return false;
    char path[MAX_PATH] = {};
    BOOL ok = SHGetPathFromIDListA(list, path);
    CoTaskMemFree(list);
    if (!ok) return false;
    PathAppend(out, path, true);
    return true;
}

bool MakeFolders(const char* folder) {
    char buf[kMaxPath + 1];
    std::strncpy(buf, folder, kMaxPath);
    buf[kMaxPath] = 0;
    for (char* p = buf + 3; *p; ++p) {
        if (*p != '\\' && *p != '/') continue;
        char keep = *p;
        *p = 0;
        if (!CreateDirectoryA(buf, nullptr) && GetLastError() != ERROR_ALREADY_EXISTS) return false;
        *p = keep;
    }
    DWORD attr = GetFileAttributesA(buf);
    return attr != INVALID_FILE_ATTRIBUTES && (attr & FILE_ATTRIBUTE_DIRECTORY);
}

std::uint64_t SystemRandom64() {
    unsigned int parts[2] = {};
    if (rand_s(&parts[0]) == 0 && rand_s(&parts[1]) == 0)
        return std::uint64_t(parts[0]) << 32 | parts[1];
    // No random source: the clock and the process still make names that
    // are hard to guess; exclusive creation keeps them safe regardless.
    static std::atomic<std::uint64_t> counter{0};  // threads name files at once
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return std::uint64_t(now.QuadPart) ^ (std::uint64_t(GetCurrentProcessId()) << 40) ^
           (++counter << 20);
}

std::FILE* OpenNewFile(const char* name, const char* mode, bool* exists) {
    // CREATE_NEW fails on any existing name, a link or junction included.
    HANDLE h =
        CreateFileA(name, GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        *exists = error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS;
        return nullptr;
    }
    *exists = false;
    const bool text = std::strchr(mode, 'b') == nullptr;
    const int fd = _open_osfhandle(reinterpret_cast<intptr_t>(h), text ? _O_TEXT : _O_BINARY);
    if (fd < 0) {
        CloseHandle(h);
        DeleteFileA(name);
        return nullptr;
    }
    std::FILE* f = _fdopen(fd, mode);
    if (!f) {
        _close(fd);
        DeleteFileA(name);
    }
    return f;
}

bool MoveFileOver(const char* from, const char* to) {
    return MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING) != 0;
}

bool DeleteFileAt(const char* path) {
    return DeleteFileA(path) != 0;
}

bool ForEachFile(const char* folder, void (*each)(const char* name, void* context), void* context) {
    char pattern[kMaxPath + 1];
    std::snprintf(pattern, sizeof pattern, "%s", folder);
    PathAppend(pattern, "*", false);
    WIN32_FIND_DATAA found;
    HANDLE h = FindFirstFileA(pattern, &found);
    if (h == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_FILE_NOT_FOUND;
    do {
        if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) each(found.cFileName, context);
    } while (FindNextFileA(h, &found));
    FindClose(h);
    return true;
}

namespace {
void ReadOwnerValue(HKEY key, const char* name, char* out, std::size_t cap) {
    DWORD type = 0, bytes = DWORD(cap);
    if (RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(out), &bytes) !=
            ERROR_SUCCESS ||
        type != REG_SZ || bytes == 0)
        bytes = 0;
    out[bytes < cap ? bytes : cap - 1] = 0;
}
}  // namespace

void RegisteredOwner(char* owner, char* organisation, std::size_t cap) {
    if (cap == 0) return;
    owner[0] = organisation[0] = 0;
    HKEY key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", 0,
                      KEY_QUERY_VALUE, &key) != ERROR_SUCCESS)
        return;
    ReadOwnerValue(key, "RegisteredOwner", owner, cap);
    ReadOwnerValue(key, "RegisteredOrganization", organisation, cap);
    RegCloseKey(key);
}

// The resource of the module this code is linked into (the plug-in); the
// compiled-in copy for programs that carry no such resource.
const std::uint8_t* DefaultTileDib(std::size_t* size) {
    HMODULE module = nullptr;
    if (GetModuleHandleExA(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCSTR>(&DefaultTileDib), &module)) {
        if (HRSRC r = FindResourceA(module, MAKEINTRESOURCEA(5010), MAKEINTRESOURCEA(2))) {
            HGLOBAL g = LoadResource(module, r);
            const void* bytes = g ? LockResource(g) : nullptr;
            if (bytes) {
                *size = SizeofResource(module, r);
                return static_cast<const std::uint8_t*>(bytes);
            }
        }
    }
    *size = kDefaultTileDibSize;
    return kDefaultTileDib;
}

bool FindOwnResource(const char* type, unsigned id, const unsigned char** data, std::size_t* size) {
    // The module that holds this code: the plug-in DLL, or the program the
    // core is linked into.
    HMODULE module = nullptr;
    if (!GetModuleHandleExA(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCSTR>(&FindOwnResource), &module))
        return false;
    HRSRC found = FindResourceExA(module, type, MAKEINTRESOURCEA(id),
                                  MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US));
    if (!found) return false;
    HGLOBAL loaded = LoadResource(module, found);
    const void* bytes = loaded ? LockResource(loaded) : nullptr;
    if (!bytes) return false;
    *data = static_cast<const unsigned char*>(bytes);
    *size = SizeofResource(module, found);
    // Resources stay mapped with the module; releasing is a formality.
    FreeResource(loaded);
    return true;
}

}  // namespace tsn
