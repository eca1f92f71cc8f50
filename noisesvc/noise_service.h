// The coherent-noise image service: one request in, one coloured picture
// out. How it builds its pictures is described at the top of
// noise_service.cpp.
#pragma once

#include "core/height_field.h"
#include "core/picture_rows.h"
#include "core/platform.h"
#include "noisesvc/noise_request.h"

namespace tsn {

// What a picture may be asked for beyond the request.
struct NoiseImageMaps {
    // When given, filled with the field each look colours from, at 16 bits:
    // the position along its colour ramp, or for Granite (which picks its
    // colours grain by grain) the stone's brightness, its range spread.
    HeightField* heights = nullptr;
    // The picture moved by these fractions of its size (with a tileable
    // request, where its seam falls).
    double shiftX = 0, shiftY = 0;
    // When given (and no heights are asked for), the picture is handed here
    // a band of rows at a time as it is made, and no image is returned.
    RowSink* rows = nullptr;
};

// A new Size x Size 24-bit image block for the request, or 0 when the
// request is bad (unknown or reserved kind, Size 0 or above 32760, a
// frequency or power that is not a positive finite number in range) or
// memory runs out (0 as well when the picture went to maps.rows). The
// request is read during the call only.
MemHandle CreateNoiseImage(const NoiseImageRequest* request, const NoiseImageMaps& maps = {});

}  // namespace tsn
