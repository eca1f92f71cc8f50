#include "app/matrix_library.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "core/image.h"
#include "core/packed.h"
#include "core/platform.h"
#include "core/text.h"
#include "core/tile_list.h"

namespace tsn {

namespace {

constexpr char kLibrarySignature[] = "VANTMTXf";
constexpr char kTileTag[] = "MTXi";

// Size of an open file, -1 when it cannot be told.
long FileSize(std::FILE* f) {
    if (std::fseek(f, 0, SEEK_END) != 0) return -1;
    const long size = std::ftell(f);
    if (std::fseek(f, 0, SEEK_SET) != 0) return -1;
    return size;
}

void Header(std::uint8_t* h, std::int32_t count) {
    std::memset(h, 0, kLibraryHeaderSize);
    std::memcpy(h, kLibrarySignature, 8);
    StoreLittle32(h + 8, std::uint32_t(std::uint64_t(std::time(nullptr))));
    RegisteredOwner(reinterpret_cast<char*>(h + 12), reinterpret_cast<char*>(h + 274), 262);
    StoreLittle32(h + 802, 3);
    StoreLittle32(h + 810, 97);
    StoreLittle32(h + kLibraryCountOffset, std::uint32_t(count));
    StoreLittle32(h + 822, 1);
}

bool WriteTiles(std::FILE* f, PageRef page, std::uint32_t id, std::int32_t* written) {
    const TileListOps& list = TileList();
    const int n = list.count(page, id);
    for (int i = 0; i < n; ++i) {
        const MemHandle h = list.tile(page, id, i);
        if (!h) continue;
        const std::size_t length = MemSize(h);
        if (length > 0xFFFFFFFFu) return false;
        std::uint8_t record[kTileRecordHeaderSize] = {};
        std::memcpy(record, kTileTag, 4);
        StoreLittle32(record + 4, std::uint32_t(length));
        const void* data = MemLock(h);
        const bool ok = std::fwrite(record, 1, sizeof record, f) == sizeof record &&
                        (length == 0 || (data && std::fwrite(data, 1, length, f) == length));
        MemUnlock(h);
        if (!ok) return false;
        ++*written;
    }
    return true;
}

}  // namespace

bool MatrixLibraryPath(const char* name, char out[kMaxPath + 1]) {
    if (!TextureFolder(out)) return false;
    PathAppend(out, name, false);
    return true;
}

bool ReadLibraryFile(const char* path, PageRef page, std::uint32_t id) {
    std::FILE* f = std::fopen(path, "rb");
    if (!f) return true;  // no library yet: the list keeps what it shows
    const TileListOps& list = TileList();
    std::uint8_t header[kLibraryHeaderSize];
    const long size = FileSize(f);
    bool ok = size >= 0 && std::fread(header, 1, sizeof header, f) == sizeof header &&
              std::memcmp(header, kLibrarySignature, 8) == 0;
    if (ok) {
        list.clear(page, id);
        const std::int32_t count = std::int32_t(LoadLittle32(header + kLibraryCountOffset));
        long at = long(kLibraryHeaderSize);
        for (std::int32_t i = 0; ok && i < count; ++i) {
            std::uint8_t record[kTileRecordHeaderSize];
            ok = std::fread(record, 1, sizeof record, f) == sizeof record;
            if (!ok) break;
            at += long(kTileRecordHeaderSize);
            const std::uint32_t length = LoadLittle32(record + 4);
            // What the file still holds bounds every allocation.
            const std::uint64_t left = std::uint64_t(size - at);
            if (std::memcmp(record, kTileTag, 4) == 0) {
                if (length > left) {
                    ok = false;
                    break;
                }
                const MemHandle h = MemAlloc(length);
                void* data = MemLock(h);
                ok = h && (length == 0 || (data && std::fread(data, 1, length, f) == length));
                MemUnlock(h);
                if (!ok || !list.append(page, id, h)) MemFree(h);
            }
            // Another tag is skipped; past the end, the next read comes up
            // short.
            at += long(std::min<std::uint64_t>(length, left));
            if (ok && std::fseek(f, at, SEEK_SET) != 0) ok = false;
        }
    }
    std::fclose(f);
    return ok;
}

bool WriteLibraryFile(const char* path, PageRef page, std::uint32_t id) {
    return WriteFileBeside(path, "wb", [&](std::FILE* f) {
        std::uint8_t header[kLibraryHeaderSize];
        Header(header, 0);
        std::int32_t count = 0;
        if (std::fwrite(header, 1, sizeof header, f) != sizeof header ||
            !WriteTiles(f, page, id, &count))
            return false;
        // The count is known once the tiles are written.
        StoreLittle32(header + kLibraryCountOffset, std::uint32_t(count));
        return std::fseek(f, 0, SEEK_SET) == 0 &&
               std::fwrite(header, 1, sizeof header, f) == sizeof header;
    });
}

void DefaultTiles(PageRef page, std::uint32_t id) {
    const TileListOps& list = TileList();
    list.clear(page, id);
    std::size_t size = 0;
    const std::uint8_t* dib = DefaultTileDib(&size);
    const MemHandle h = dib ? MemAlloc(size) : 0;
    void* data = MemLock(h);
    if (data) std::memcpy(data, dib, size);
    MemUnlock(h);
    if (!data || !list.append(page, id, h)) MemFree(h);
}

std::vector<std::string> ListLibraryNames() {
    std::vector<std::string> names;
    char folder[kMaxPath + 1];
    if (!TextureFolder(folder)) return names;
    ForEachFile(
        folder,
        [](const char* file, void* p) {
            const std::size_t n = std::strlen(file);
            if (n < 3 || !EqualNoCase(file + n - 3, "mtx")) return;
            std::string name(file);
            if (n > 4 && file[n - 4] == '.') name.resize(n - 4);
            static_cast<std::vector<std::string>*>(p)->push_back(name);
        },
        &names);
    std::sort(names.begin(), names.end(), LessNoCase);
    return names;
}
}  // namespace tsn
