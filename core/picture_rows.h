// Painting a picture whose rows do not depend on one another, a band of
// rows at a time. Handed a sink, the painter never holds the whole picture:
// a file is encoded as its rows are painted, in the memory of one band,
// which is both smaller and, on a fresh process, quicker (every new page of
// a picture costs the kernel a clearing before the first row is written).
// Without a sink the picture is painted into a new image, as before.
#pragma once

#include <cstdint>
#include <functional>

#include "core/image.h"

namespace tsn {

// Takes a picture's rows in order, top first, a band at a time.
class RowSink {
  public:
    virtual ~RowSink() = default;
    // `band` holds rows first .. first + band.depth - 1 of a picture `depth`
    // rows deep, `band.width` wide; false stops the painting.
    virtual bool Take(const ImageView& band, int first, int depth) = 0;
    // How many rows a band of a picture `width` pixels wide should hold.
    virtual int RowsPerBand(int width) const = 0;
};

// The rows being painted, numbered as in the whole picture.
struct PictureRows {
    ImageView band;
    int first = 0;
    std::uint8_t* Row(int y) const { return band.Row(y - first); }
};

// Fills rows y0 .. y1 - 1 of `rows`; called on every core for disjoint runs.
using RowPainter = std::function<void(int y0, int y1, const PictureRows& rows)>;

// Without a sink, paints a new width x depth image and returns it (0 when
// memory runs out). With one, paints into one band that is reused from top
// to bottom, hands each band to the sink, and returns 0: the sink has the
// picture, or knows it stopped short.
MemHandle PaintPicture(int width, int depth, RowSink* sink, const RowPainter& paint);

}  // namespace tsn
