// Fountains: the colour maps of the grey-image kinds. A horizontal gradient
// from a start colour through up to 64 inner markers to an end colour,
// rendered 256 wide into the session's colour table.
#pragma once

#include <cstdint>

#include "core/image.h"
#include "core/packed.h"

namespace tsn {

#pragma pack(push, 1)
struct FountainDefinition {
    char signature[8];  // "VANTFNTN"
    std::uint32_t version;
    std::uint32_t size;  // 585
    std::uint32_t reserved;
    char fileName[261];
    std::uint64_t cachedImage;  // run time only
    std::uint32_t count;        // inner markers, 0 .. 64
    std::uint32_t start;        // 0x00BBGGRR
    std::uint32_t end;          // 0xFFBBGGRR
    std::uint32_t markers[64];  // position << 24 | colour
    std::uint8_t editorState[28];
};

// The layout written by earlier versions: a 32-bit cached-image field.
struct FountainDefinition581 {
    char signature[8];
    std::uint32_t version;
    std::uint32_t size;  // 581
    std::uint32_t reserved;
    char fileName[261];
    std::uint32_t cachedImage;
    std::uint32_t count;
    std::uint32_t start;
    std::uint32_t end;
    std::uint32_t markers[64];
    std::uint8_t editorState[28];
};
#pragma pack(pop)

static_assert(sizeof(FountainDefinition) == 585);
static_assert(offsetof(FountainDefinition, fileName) == 20);
static_assert(offsetof(FountainDefinition, cachedImage) == 281);
static_assert(offsetof(FountainDefinition, count) == 289);
static_assert(offsetof(FountainDefinition, start) == 293);
static_assert(offsetof(FountainDefinition, end) == 297);
static_assert(offsetof(FountainDefinition, markers) == 301);
static_assert(offsetof(FountainDefinition, editorState) == 557);
static_assert(sizeof(FountainDefinition581) == 581);
static_assert(offsetof(FountainDefinition581, count) == 285);
static_assert(offsetof(FountainDefinition581, markers) == 297);

constexpr std::uint32_t kMarkerColourMask = 0x00FFFFFFu;
constexpr std::uint32_t MarkerPosition(std::uint32_t m) {
    return m >> 24;
}
constexpr std::uint32_t MakeMarker(std::uint32_t position, std::uint32_t colour) {
    return (position << 24) | (colour & kMarkerColourMask);
}

void ResetFountain(FountainDefinition* f);

// A kind's own colour map: the header of a reset fountain with these end
// colours and inner markers (at most 64; the rest are cleared).
void DesignFountain(FountainDefinition* f, std::uint32_t start, std::uint32_t end,
                    const std::uint32_t* markers, std::uint32_t count);

// A new W x H image of the fountain, or 0.
MemHandle RenderFountain(const FountainDefinition& f, int width, int height);

// A new w x h image running from c0 to c1 across its width, or 0.
MemHandle LinearGradient(std::uint32_t c0, std::uint32_t c1, int width, int height);

// Sort order of markers: by position, with position 0 after everything.
int MarkerOrder(std::uint32_t a, std::uint32_t b);

// Brightness scaling that saturates the largest channel without changing
// the others' distance from it.
std::uint32_t ScaleColour(std::uint32_t colour, double factor);

void ConvertFountain581To585(const FountainDefinition581& from, FountainDefinition* to);
void ConvertFountain585To581(const FountainDefinition& from, FountainDefinition581* to);

// A fountain's file name says where the fountain editor writes the record
// back when it closes. A name that arrives inside a file (a settings file,
// a preset, a library) is someone else's word, so it is kept only when it
// names an existing file that is itself one fountain record, and the write
// back goes only there.
bool IsFountainRecordFile(const char* path);
// Clears the file name unless it names such a file.
void ForgetUntrustedFileName(FountainDefinition* f);
// Writes the record (without its run-time image) over the fountain record
// file it names. False, writing nothing, for no name or any other file.
bool WriteFountainBack(const FountainDefinition& f);

// Copies pixels 0 .. 255 of row 0 of a 256 x 1 image into `table` as
// (red, green, blue) triples. False when the image is not such an image.
bool CopyColourTable(std::uint8_t* table, MemHandle image);

// Renders the fountain 256 x 1 into `table`; leaves `table` as it was and
// answers false when that fails.
bool FountainToColourTable(const FountainDefinition& f, std::uint8_t* table);

// The 88 colours mutations draw from.
extern const std::uint32_t kMutationPalette[88];

// The same, from an explicit seed (the page seed plus the generation).
void BuildMutationFountains(std::uint32_t seed, FountainDefinition out[9]);

}  // namespace tsn
