// The fountain library "FountainLibrary.fll": a flat binary file of colour
// maps the user keeps, shared by the marker editor's library dialog and the
// command line. An entry holds only the colours and markers of a fountain.
#pragma once

#include <cstdint>

#include "colour/fountain.h"
#include "core/platform.h"

namespace tsn {

#pragma pack(push, 1)
struct FountainLibraryHeader {
    char signature[8];      // "VANTFLHH"
    std::uint32_t created;  // seconds since 1970, low 32 bits
    std::int32_t count;     // entries that follow
    std::uint8_t reserved[64];
};
struct FountainLibraryEntry {
    char signature[8];  // "VANTFLHE"
    std::uint32_t count;
    std::uint32_t start;
    std::uint32_t end;
    std::uint32_t markers[64];
    std::uint8_t reserved[64];
};
#pragma pack(pop)
static_assert(sizeof(FountainLibraryHeader) == 80);
static_assert(sizeof(FountainLibraryEntry) == 340);
static_assert(offsetof(FountainLibraryEntry, markers) == 20);

// The library in the texture folder; false when no folder is known.
bool FountainLibraryPath(char out[kMaxPath + 1]);

// Reads every entry, in file order, into a new block of `*count` zeroed
// fountains in which only count, start, end and the markers are filled (a
// marker count beyond 64 is cut to 64). An empty library gives true with
// *entries = 0. False, with nothing allocated, for a missing file, a short or
// wrongly signed header, a header that counts more entries than the file
// holds, a wrongly signed entry or exhausted memory.
bool LoadFountainLibrary(const char* path, MemHandle* entries, int* count);

// Adds one entry at the end, creating the library when there is none. The
// new file is written beside the old one and renamed over it, so a failure
// leaves the library as it was. A damaged library is not extended.
bool AppendToFountainLibrary(const char* path, const FountainDefinition& f);

// Replaces the library by these entries; no entries removes the file.
bool WriteFountainLibrary(const char* path, const FountainDefinition* entries, int count);

// Copies what a library entry carries (count, start, end, markers).
void CopyFountainColours(const FountainDefinition& from, FountainDefinition* to);

}  // namespace tsn
