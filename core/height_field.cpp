#include "core/height_field.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "core/image.h"
#include "core/owners.h"
#include "core/parallel.h"

namespace tsn {

bool HeightField::Resize(int w, int d) {
    if (w <= 0 || d <= 0) return false;
    try {
        level.assign(std::size_t(w) * std::size_t(d), 0);
    } catch (const std::bad_alloc&) {
        return false;
    }
    width = w;
    depth = d;
    return true;
}

std::uint16_t SpreadLevel(double v, double lo, double hi) {
    if (!(hi > lo)) return 32768;
    const double t = std::floor((v - lo) / (hi - lo) * 65535.0 + 0.5);
    return std::uint16_t(std::clamp(t, 0.0, 65535.0));
}

namespace {

// Column or row `i` of a field `n` long: wrapped across the seam, or held
// at the edge.
int Neighbour(int i, int n, bool wrap) {
    if (i < 0) return wrap ? i + n : 0;
    if (i >= n) return wrap ? i - n : n - 1;
    return i;
}

// Pixels between two neighbours: 2 inside or across a wrapped seam, 1 at a
// held edge, 0 in a field one pixel across.
int Span(int before, int after, bool wrap) {
    return wrap ? 2 : after - before;
}

std::uint8_t Component(double c) {
    return std::uint8_t(std::clamp(std::floor((c * 0.5 + 0.5) * 255.0 + 0.5), 0.0, 255.0));
}

}  // namespace

MemHandle NormalMapImage(const HeightField& h, const NormalOptions& options) {
    OwnedBlock image(NewImage(h.width, h.depth));
    LockedImage out(image.get());
    if (!out) return 0;
    // A level step of 65535 is a rise of `strength` pixels' widths.
    const double scale = options.strength / 65535.0;
    ParallelRows(h.depth, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            const int above = Neighbour(y - 1, h.depth, options.wrap);
            const int below = Neighbour(y + 1, h.depth, options.wrap);
            const int dy = Span(above, below, options.wrap);
            const std::uint16_t* up = h.Row(above);
            const std::uint16_t* down = h.Row(below);
            const std::uint16_t* row = h.Row(y);
            std::uint8_t* px = out->Row(y);
            for (int x = 0; x < h.width; ++x) {
                const int left = Neighbour(x - 1, h.width, options.wrap);
                const int right = Neighbour(x + 1, h.width, options.wrap);
                const int dx = Span(left, right, options.wrap);
                // Slopes per pixel, across the two neighbours' distance.
                const double sx = dx ? (double(row[right]) - double(row[left])) * scale / dx : 0.0;
                const double sy = dy ? (double(down[x]) - double(up[x])) * scale / dy : 0.0;
                // y grows downwards in the picture; with +Y up, a field
                // rising downwards tilts the normal up.
                const double nx = -sx, ny = options.yDown ? -sy : sy, nz = 1.0;
                const double len = std::sqrt(nx * nx + ny * ny + nz * nz);
                px[3 * x] = Component(nz / len);      // blue
                px[3 * x + 1] = Component(ny / len);  // green
                px[3 * x + 2] = Component(nx / len);  // red
            }
        }
    });
    return image.release();
}

}  // namespace tsn
