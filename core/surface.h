// Off-screen drawing and the reductions that turn a picture drawn at a
// larger size into a smooth smaller one.
#pragma once

#include <cstdint>

#include "core/image.h"

namespace tsn {

// A 24-bit drawing surface: an image block kept locked while it is drawn on.
struct DrawSurface {
    MemHandle image = 0;
    ImageView view;
};

// Makes a width x depth surface filled with `background` (0x00BBGGRR).
// False, with nothing left allocated, when the size is not positive or
// memory runs out.
bool OpenSurface(DrawSurface* s, int width, int depth, std::uint32_t background);
// Ends drawing and hands over the picture as an image block.
MemHandle FinishSurface(DrawSurface* s);
// Frees an open surface (a failed render).
void DiscardSurface(DrawSurface* s);

// New images `percent` % (1 .. 100) as wide, or as deep, as the source (at
// least one pixel), each pixel the area-weighted average of the source
// pixels it covers, rounded to nearest; 0 on failure.
MemHandle ReduceWidth(MemHandle src, int percent);
MemHandle ReduceDepth(MemHandle src, int percent);

}  // namespace tsn
