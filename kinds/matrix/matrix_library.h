// Matrix libraries: files of small images ("tiles") kept in the texture
// folder with names ending in "mtx". In memory a library is a tile list
// (common/tile_list.h); these functions move it between the list and the
// file, and read the tiles' pixels.
//
// File layout, little-endian: a 1082-byte header ("VANTMTXf", the time of
// writing, the registered owner and organisation, the words 3, 97, the tile
// count at 818 and 1), then per tile a 72-byte record header ("MTXi", the
// data length) and the data: a packed bitmap, followed by whatever padding
// the memory block that held it had. The padding is kept and written back
// unchanged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "core/page.h"
#include "core/platform.h"

namespace tsn {

constexpr std::size_t kLibraryHeaderSize = 1082;
constexpr std::size_t kTileRecordHeaderSize = 72;
constexpr std::size_t kLibraryCountOffset = 818;
constexpr int kMaxTileSide = 256;
constexpr const char* kTileTooLargeMessage =
    "The selected image has one or both dimensions greater than 256 pixels and is unsuitable "
    "for use as a matrix tile.";

// The library `name` in the texture folder (at most kMaxPath characters in
// all; longer names are cut there). False when no folder is known.
bool MatrixLibraryPath(const char* name, char out[kMaxPath + 1]);

// Reads the library at `path` into the tile list. A missing file is not an
// error: true, with the list as it was. False for a short header, a wrong
// signature, a short record header or record data that the file does not
// hold; the tiles read before the fault stay in the list. A record of
// another tag is skipped and counts as a tile. No block is ever larger than
// what remains of the file.
bool ReadLibraryFile(const char* path, PageRef page, std::uint32_t id);

// Writes every item of the list that has a block, the whole block as its
// data. Written beside `path` and renamed over it: a failed write leaves the
// previous file as it was.
bool WriteLibraryFile(const char* path, PageRef page, std::uint32_t id);

// Empties the list and puts the built-in default tile in it.
void DefaultTiles(PageRef page, std::uint32_t id);

// The names of the texture folder's files that end in "mtx" (without regard
// to case), sorted without regard to case, with a final ".mtx" removed.
std::vector<std::string> ListLibraryNames();

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
