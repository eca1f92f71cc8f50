// A small bitmap font for the captions the command draws into its sheets:
// glyphs 5 pixels wide and 7 high above the base line, with 2 rows below it
// for descenders, 6 pixels apart. Printable ASCII letters, digits and the
// punctuation that field names and values use.
#pragma once

#include <cstdint>
#include <string>

#include "core/image.h"

namespace tsn {

constexpr int kGlyphWidth = 5, kGlyphRows = 9, kGlyphAdvance = 6;

// The glyph of `c`, rows from the top, bit 4 the leftmost column; false
// (and a box in `rows`) for a character the font lacks.
bool GlyphRows(char c, std::uint8_t rows[kGlyphRows]);

// The width and the height in pixels of `text` drawn at `scale`.
int TextWidth(const std::string& text, int scale);
inline int TextHeight(int scale) {
    return kGlyphRows * scale;
}

// Draws `text` with its top-left corner at (x, y), each of the font's
// pixels a scale x scale square of `colour` (0x00BBGGRR). Characters the
// font lacks are drawn as boxes; pixels outside the image are clipped.
void DrawText(const ImageView& v, int x, int y, const std::string& text, int scale,
              std::uint32_t colour);

}  // namespace tsn
