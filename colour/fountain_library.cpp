#include "colour/fountain_library.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "core/platform.h"

namespace tsn {

namespace {

constexpr long kHeaderSize = sizeof(FountainLibraryHeader);
constexpr long kEntrySize = sizeof(FountainLibraryEntry);

// Bytes in an open file; -1 when it cannot be told.
long FileSize(std::FILE* f) {
    if (std::fseek(f, 0, SEEK_END) != 0) return -1;
    const long size = std::ftell(f);
    return std::fseek(f, 0, SEEK_SET) == 0 ? size : -1;
}

// Opens the header and checks it; the number of entries the file really
// holds is checked against the count before anything is sized by it.
bool ReadHeader(std::FILE* f, FountainLibraryHeader* h) {
    const long size = FileSize(f);
    if (size < kHeaderSize || std::fread(h, kHeaderSize, 1, f) != 1) return false;
    if (!HasSignature(h, "VANTFLHH")) return false;
    if (h->count < 0) h->count = 0;
    return h->count <= (size - kHeaderSize) / kEntrySize;
}

FountainLibraryHeader NewHeader(int count) {
    FountainLibraryHeader h{};
    std::memcpy(h.signature, "VANTFLHH", 8);
    h.created = std::uint32_t(std::uint64_t(std::time(nullptr)));
    h.count = count;
    return h;
}

FountainLibraryEntry EntryOf(const FountainDefinition& f) {
    FountainLibraryEntry e{};
    std::memcpy(e.signature, "VANTFLHE", 8);
    e.count = f.count;
    e.start = f.start;
    e.end = f.end;
    std::memcpy(e.markers, f.markers, sizeof e.markers);
    return e;
}

}  // namespace

bool FountainLibraryPath(char out[kMaxPath + 1]) {
    if (!TextureFolder(out)) return false;
    PathAppend(out, "FountainLibrary.fll", false);
    return true;
}

void CopyFountainColours(const FountainDefinition& from, FountainDefinition* to) {
    to->count = from.count;
    to->start = from.start;
    to->end = from.end;
    std::memcpy(to->markers, from.markers, sizeof to->markers);
}

bool LoadFountainLibrary(const char* path, MemHandle* entries, int* count) {
    *entries = 0;
    *count = 0;
    std::FILE* f = std::fopen(path, "rb");
    if (!f) return false;
    FountainLibraryHeader h;
    bool ok = ReadHeader(f, &h);
    MemHandle block = 0;
    if (ok && h.count > 0) {
        block = MemAlloc(std::size_t(h.count) * sizeof(FountainDefinition));
        auto* out = static_cast<FountainDefinition*>(MemLock(block));
        ok = out != nullptr;
        for (int i = 0; ok && i < h.count; ++i) {
            FountainLibraryEntry e;
            ok = std::fread(&e, kEntrySize, 1, f) == 1 && HasSignature(&e, "VANTFLHE");
            if (!ok) break;
            out[i].count = e.count < 64 ? e.count : 64;
            out[i].start = e.start;
            out[i].end = e.end;
            std::memcpy(out[i].markers, e.markers, sizeof e.markers);
        }
        MemUnlock(block);
    }
    std::fclose(f);
    if (!ok) {
        MemFree(block);
        return false;
    }
    *entries = block;
    *count = block ? h.count : 0;
    return true;
}

bool AppendToFountainLibrary(const char* path, const FountainDefinition& f) {
    std::FILE* in = std::fopen(path, "rb");
    FountainLibraryHeader h = NewHeader(0);
    if (in && !ReadHeader(in, &h)) {
        std::fclose(in);
        return false;
    }
    const bool ok = WriteFileBeside(path, "wb", [&](std::FILE* out) {
        FountainLibraryHeader grown = h;
        grown.count = h.count + 1;
        if (std::fwrite(&grown, kHeaderSize, 1, out) != 1) return false;
        // The existing entries as they are, a piece at a time.
        for (long left = long(h.count) * kEntrySize; left > 0;) {
            char piece[8 * kEntrySize];
            const std::size_t n =
                std::size_t(left < long(sizeof piece) ? left : long(sizeof piece));
            if (std::fread(piece, 1, n, in) != n || std::fwrite(piece, 1, n, out) != n)
                return false;
            left -= long(n);
        }
        // Windows renames nothing over a file that is still open.
        if (in) std::fclose(in);
        in = nullptr;
        const FountainLibraryEntry e = EntryOf(f);
        return std::fwrite(&e, kEntrySize, 1, out) == 1;
    });
    if (in) std::fclose(in);
    return ok;
}

bool WriteFountainLibrary(const char* path, const FountainDefinition* entries, int count) {
    if (count <= 0) {
        std::FILE* f = std::fopen(path, "rb");
        if (!f) return true;
        std::fclose(f);
        return DeleteFileAt(path);
    }
    return WriteFileBeside(path, "wb", [&](std::FILE* out) {
        const FountainLibraryHeader h = NewHeader(count);
        if (std::fwrite(&h, kHeaderSize, 1, out) != 1) return false;
        for (int i = 0; i < count; ++i) {
            const FountainLibraryEntry e = EntryOf(entries[i]);
            if (std::fwrite(&e, kEntrySize, 1, out) != 1) return false;
        }
        return true;
    });
}

}  // namespace tsn
