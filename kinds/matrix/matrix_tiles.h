// Matrix tiles: small images held as packed device-independent bitmaps
// (header, colour table, pixels) in movable memory blocks, as a tile list
// keeps them; reading their pixels and making them from .bmp files.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/platform.h"

namespace tsn {

constexpr int kMaxTileSide = 256;
constexpr const char* kTileTooLargeMessage =
    "The selected image has one or both dimensions greater than 256 pixels and is unsuitable "
    "for use as a matrix tile.";

// A locked tile: a checked packed bitmap of 1, 4, 8, 24 or 32 bits per
// pixel, uncompressed, whose colour table and rows lie inside the block.
struct TileView {
    MemHandle handle = 0;
    const std::uint8_t* palette = nullptr;  // blue, green, red, unused
    const std::uint8_t* bits = nullptr;
    int width = 0, height = 0;  // height > 0 whatever the row order
    bool topDown = false;
    int bitCount = 0;
    int paletteCount = 0;
    std::size_t stride = 0;
};

// Checks the bitmap in `bytes` (`size` bytes) and fills `view` from it;
// false when it is no bitmap this reader can draw.
bool ParseTile(const std::uint8_t* bytes, std::size_t size, TileView* view);
// Locks and checks a tile block; unlock with UnlockTile.
bool LockTile(MemHandle h, TileView* view);
void UnlockTile(TileView* view);

// The 0x00BBGGRR colour of the tile at (x, y), y = 0 the top row; kNoPixel
// outside the tile. A palette index beyond the colour table reads as black.
std::uint32_t TileGetPixel(const TileView& v, int x, int y);

// A new packed bitmap block made from the bytes of a .bmp file (file
// header, bitmap header, colour table, pixels where the file header says);
// 0 when it is no bitmap ParseTile accepts or memory runs out.
MemHandle PackedDibFromBmp(const std::uint8_t* file, std::size_t size);

// The integral-dimensions rule: always grows by one tile, 800 -> 900 and
// 801 -> 900 with 100-pixel tiles. `tile` must be positive.
inline int IntegralSize(int size, int tile) {
    return size - size % tile + tile;
}

}  // namespace tsn
