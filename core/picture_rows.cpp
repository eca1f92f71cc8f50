#include "core/picture_rows.h"

#include <algorithm>

#include "core/parallel.h"

namespace tsn {

MemHandle PaintPicture(int width, int depth, RowSink* sink, const RowPainter& paint) {
    if (width <= 0 || depth <= 0) return 0;
    PictureRows rows;
    if (!sink) {
        const MemHandle out = NewLockedImage(width, depth, &rows.band);
        if (!out) return 0;
        ParallelRows(depth, [&](int y0, int y1) { paint(y0, y1, rows); });
        UnlockImage(&rows.band);
        return out;
    }
    const int bandRows = std::clamp(sink->RowsPerBand(width), 1, depth);
    ImageView whole;
    const MemHandle buffer = NewLockedImage(width, bandRows, &whole);
    if (!buffer) return 0;
    for (int first = 0; first < depth; first += bandRows) {
        // A shorter last band uses the start of the buffer: rows are laid
        // out bottom first, so a view of fewer rows is its first rows.
        rows.band = whole;
        rows.band.depth = std::min(bandRows, depth - first);
        rows.first = first;
        ParallelRows(rows.band.depth, [&](int y0, int y1) { paint(first + y0, first + y1, rows); });
        if (!sink->Take(rows.band, first, depth)) break;
    }
    UnlockImage(&whole);
    MemFree(buffer);
    return 0;
}

}  // namespace tsn
