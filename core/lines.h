// Solid-pen line drawing into a 24-bit image, done by our own code so that
// every platform lights exactly the same pixels. It follows the rules of the
// Windows graphics interface for a solid pen drawn with MoveTo/LineTo.
//
// Pixel (x, y) is the point (x, y) of the plane: pixel centres sit on whole
// coordinates, and end points are always whole.
//
// A pen of width 0 or 1 is cosmetic: one pixel per step of the major axis
// (x when |dx| >= |dy|, else y), from the start point included up to the end
// point excluded, so a zero-length line draws nothing and a polyline lights
// each joint once. On the minor axis the pixel nearest the true line is lit;
// when the line passes exactly halfway between two pixels the smaller
// coordinate wins (the upper pixel of a shallow line, the left one of a
// steep line), whichever way the line is drawn. At exactly 45 degrees no
// halfway case arises.
//
// A wider pen of width w is geometric with round ends (and so round joins):
// a pixel is lit when its distance to the segment is less than w / 2. A
// pixel at exactly w / 2 is lit when it lies above the nearest point of the
// segment, or level with it and to its left; so a horizontal or vertical
// line of even width w is exactly w pixels thick (rows y - w/2 .. y + w/2 - 1),
// and a zero-length line draws a round dot. End points are included.
//
// Pixels outside the image are clipped; coordinates may lie anywhere.
#pragma once

#include <cstdint>

#include "core/image.h"

namespace tsn {

// Draws one line of pen `width` and colour 0x00BBGGRR from (x0, y0) to
// (x1, y1).
void DrawLine(const ImageView& v, int x0, int y0, int x1, int y1, int width, std::uint32_t colour);

// Draws only the line's pixels in rows top .. bottom - 1: lines drawn band
// by band, each band on its own, make the same picture as drawn whole.
void DrawLineRows(const ImageView& v, int x0, int y0, int x1, int y1, int width,
                  std::uint32_t colour, int top, int bottom);

// The wide pen's rule for one pixel: true when (px, py) is lit by a
// segment from (x0, y0) to (x1, y1) of pen width `width` (>= 2).
bool InWideStroke(std::int64_t x0, std::int64_t y0, std::int64_t x1, std::int64_t y1, int width,
                  std::int64_t px, std::int64_t py);

}  // namespace tsn
