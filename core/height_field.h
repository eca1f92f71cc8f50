// A kind's scalar field before its colour map, at 16 bits, and the
// tangent-space normal map made from it.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "core/packed.h"
#include "core/platform.h"

namespace tsn {

// Levels 0 .. 65535, rows top first.
struct HeightField {
    int width = 0, depth = 0;
    std::vector<std::uint16_t> level;

    // Sizes the field for a width x depth picture (all levels 0); false
    // when memory runs out or the size is not positive.
    bool Resize(int w, int d);
    std::uint16_t* Row(int y) { return level.data() + std::size_t(y) * std::size_t(width); }
    const std::uint16_t* Row(int y) const {
        return level.data() + std::size_t(y) * std::size_t(width);
    }
};

// Spreads values from [lo, hi] over 0 .. 65535 (lo and hi included);
// a flat range gives mid-grey.
std::uint16_t SpreadLevel(double v, double lo, double hi);

// The 16-bit level of a position t along a colour map whose index is
// t x 255 rounded half up (clamped to 0 .. 255): the level's top byte is
// that index, its low byte the position between indices.
inline std::uint16_t PositionLevel(double t) {
    const double level = std::floor((t * 255.0 + 0.5) * 256.0);
    return std::uint16_t(level < 0 ? 0 : level > 65535 ? 65535 : level);
}

// Paints pixel x of an image row (blue, green, red) with the colour at
// position t of a 256-entry table of red, green, blue triples, and stores
// the position's level in `levels` when it is given.
inline void PaintPosition(std::uint8_t* row, int x, double t, const std::uint8_t* table,
                          std::uint16_t* levels) {
    const int g = std::clamp(TruncToInt(t * 255.0 + 0.5), 0, 255);
    if (levels) levels[x] = PositionLevel(t);
    row[3 * x] = table[3 * g + 2];
    row[3 * x + 1] = table[3 * g + 1];
    row[3 * x + 2] = table[3 * g];
}

// A 256-entry colour table of red, green, blue triples in an image row's
// byte order (blue, green, red) with a spare fourth byte, so that a pixel
// is written with one four-byte copy.
struct PixelTable {
    std::uint8_t entry[256][4];
};
inline void FillPixelTable(const std::uint8_t* table, PixelTable* out) {
    for (int i = 0; i < 256; ++i) {
        const std::uint8_t* c = table + 3 * i;
        out->entry[i][0] = c[2], out->entry[i][1] = c[1], out->entry[i][2] = c[0];
        out->entry[i][3] = 0;
    }
}

// Writes w > 0 pixels of the given entries: four bytes each, the spare
// overwritten by the next pixel's first, the last pixel's three alone.
inline void StorePixels(std::uint8_t* row, int w, const int* entry, const PixelTable& pixels) {
    for (int x = 0; x + 1 < w; ++x) std::memcpy(row + 3 * x, pixels.entry[entry[x]], 4);
    std::memcpy(row + 3 * (w - 1), pixels.entry[entry[w - 1]], 3);
}

// PaintPosition over a row of w positions: the same entries and levels,
// the entries picked in a loop the compiler runs in vector lanes (a NaN,
// as there, takes entry 0), then the bytes. `entry` holds w ints.
inline void PaintRow(std::uint8_t* row, int w, const double* t, const PixelTable& pixels,
                     std::uint16_t* levels, int* entry) {
    if (levels)
        for (int x = 0; x < w; ++x) levels[x] = PositionLevel(t[x]);
    for (int x = 0; x < w; ++x) {
        const double e = t[x] * 255.0 + 0.5;
        entry[x] = int(e > 0.0 ? (e < 255.0 ? e : 255.0) : 0.0);
    }
    StorePixels(row, w, entry, pixels);
}

struct NormalOptions {
    double strength = 8.0;  // pixels a full range of levels rises
    bool yDown = false;     // green grows towards the bottom (DirectX) instead of the top
    bool wrap = false;      // the field tiles: its edges take their neighbours across the seam
};

// A 24-bit image of unit normals, each component mapped from -1 .. 1 to
// 0 .. 255 (red x to the right, green y up or down, blue z out of the
// surface). The slopes are central differences, a full range of levels
// rising `strength` pixels. 0 when memory runs out.
MemHandle NormalMapImage(const HeightField& h, const NormalOptions& options);

}  // namespace tsn
