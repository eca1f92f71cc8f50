// Image blocks: a packed 24-bit device-independent bitmap (40-byte header, no
// colour table, bottom-up rows of blue, green, red padded to four bytes) in
// one movable global memory block. This is the format every generator returns
// and the host receives.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/platform.h"

namespace tsn {

#pragma pack(push, 1)
struct BitmapInfoHeader {
    std::uint32_t size;
    std::int32_t width;
    std::int32_t height;
    std::uint16_t planes;
    std::uint16_t bitCount;
    std::uint32_t compression;
    std::uint32_t sizeImage;
    std::int32_t xPelsPerMeter;
    std::int32_t yPelsPerMeter;
    std::uint32_t clrUsed;
    std::uint32_t clrImportant;
};
#pragma pack(pop)
static_assert(sizeof(BitmapInfoHeader) == 40);

constexpr std::uint32_t kNoPixel = 0xFFFFFFFFu;

inline std::size_t ImageStride(int width) {
    return ((static_cast<std::size_t>(width) * 24 + 31) / 32) * 4;
}

// A new zeroed width x depth image block, or 0 when the size is not positive
// or memory runs out.
MemHandle NewImage(int width, int depth);

// A locked image. Rows are addressed top-down (y = 0 is the top row) even
// though they are stored bottom-up.
struct ImageView {
    MemHandle handle = 0;
    BitmapInfoHeader* header = nullptr;
    std::uint8_t* bits = nullptr;
    int width = 0;
    int depth = 0;
    std::size_t stride = 0;

    std::uint8_t* Row(int y) const {
        return bits + static_cast<std::size_t>(depth - 1 - y) * stride;
    }
};

// Locks a 24-bit image block; false for anything else. Unlock with
// UnlockImage.
bool LockImage(MemHandle h, ImageView* view);
// A new image, locked into *v; 0 (and nothing left allocated) on failure.
MemHandle NewLockedImage(int width, int depth, ImageView* v);
void UnlockImage(ImageView* view);

// Colour words are 0x00BBGGRR. Outside the image GetPixel answers kNoPixel
// and SetPixel does nothing.
std::uint32_t GetPixel(const ImageView& v, int x, int y);
void SetPixel(const ImageView& v, int x, int y, std::uint32_t colour);

// Copies all of `src` into `dst` with its top-left corner at (x, y),
// clipping each pixel.
void BlitTile(const ImageView& dst, const ImageView& src, int x, int y);

// A 256-entry table of (red, green, blue) byte triples.
using ColourTable = std::uint8_t[768];

// Writes `width` 24-bit pixels whose bytes, in memory order, are the low
// three bytes of pixel(x), a word at a time: each word's fourth byte falls on
// the next pixel and is written over by it, and the last pixel is written
// bytewise, so nothing past the row is touched.
template <class Pixel>
inline void WriteRow24(std::uint8_t* row, int width, Pixel pixel) {
    static_assert(std::endian::native == std::endian::little);
    int x = 0;
    for (; x + 1 < width; ++x) {
        const std::uint32_t c = pixel(x);
        std::memcpy(row + 3 * x, &c, 4);
    }
    if (x < width) {
        const std::uint32_t c = pixel(x);
        row[3 * x] = std::uint8_t(c);
        row[3 * x + 1] = std::uint8_t(c >> 8);
        row[3 * x + 2] = std::uint8_t(c >> 16);
    }
}

// A new image of the same size whose pixels are `table[red byte of index
// pixel]`; 0 on failure.
MemHandle ColouriseImage(MemHandle indexImage, const std::uint8_t* table);

// A new image `percent` % of the index image's size (at least 1 x 1), each
// pixel the rounded average of the colours `table[red byte]` of the index
// pixels it covers; 0 on failure. The same as colouring the whole image and
// scaling it down, without the full-size coloured copy.
MemHandle ColouredThumbnail(MemHandle indexImage, const std::uint8_t* table, int percent);

}  // namespace tsn
