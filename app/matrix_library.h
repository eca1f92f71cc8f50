// Matrix libraries: files of small images ("tiles") kept in the texture
// folder with names ending in "mtx". In memory a library is a tile list
// (core/tile_list.h); these functions move it between the list and the
// file. The tiles' pixels are read by kinds/matrix/matrix_tiles.h.
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

}  // namespace tsn
