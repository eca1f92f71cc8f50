// Plasma on a torus: the same midpoint displacement, on a picture whose
// right edge is its left and whose bottom is its top, so it tiles.
//
// The walk subdivides (0, 0) .. (width, depth) and reads and writes every
// point at its coordinates modulo the picture's size: the corners are one
// pixel, and the points of the right and bottom edges are those of the left
// and top. Each leaf sets its edge midpoints and its centre from the means
// of its corners, displaced by draws taken one after the other from the
// seeded generator; the amplitude halves with every level, as in the
// plug-in's walk. It runs on one core (a picture's draws are one sequence).
//
// The first splits leave the strongest creases, along the lines through
// the walk's origin and its middle. The torus is therefore cut for the
// picture at a place the seed chooses, not along those lines: the walk's
// origin lies at (originX, originY) of the picture.
#include <cmath>

#include "core/image.h"
#include "core/random.h"
#include "kinds/plasma/plasma.h"

namespace tsn {

namespace {

// Per-channel mean, rounded down, of two colours.
std::uint32_t Mean(std::uint32_t p, std::uint32_t q) {
    return ((p & 0xFEFEFEu) >> 1) + ((q & 0xFEFEFEu) >> 1) + (p & q & 0x010101u);
}

struct TorusWalk {
    const ImageView& view;
    Rng& rng;
    int originX = 0, originY = 0;
    float amplitude = 0;

    int X(int x) const { return (x + originX) % view.width; }
    int Y(int y) const { return (y + originY) % view.depth; }
    std::uint32_t Get(int x, int y) const { return GetPixel(view, X(x), Y(y)); }
    void Set(int x, int y, std::uint32_t colour) const { SetPixel(view, X(x), Y(y), colour); }
    void SetDisplaced(int x, int y, std::uint32_t mean) {
        Set(x, y, PlasmaPerturb(mean, amplitude, rng));
    }

    // One leaf's points, in the order the plug-in's walk sets them; 1 when
    // the leaf was wide enough to ask for another level.
    int Leaf(int x0, int y0, int x1, int y1) {
        const std::uint32_t c00 = Get(x0, y0), c01 = Get(x0, y1);
        const std::uint32_t c10 = Get(x1, y0), c11 = Get(x1, y1);
        const int mx = (x0 + x1) / 2, my = (y0 + y1) / 2;
        if (x0 != x1) {
            SetDisplaced(x0, my, Mean(c00, c01));
            SetDisplaced(x1, my, Mean(c10, c11));
        } else if (y0 == y1) {
            return 1;
        }
        if (y0 != y1) {
            if (x0 != mx || my != y1) SetDisplaced(mx, y1, Mean(c01, c11));
            SetDisplaced(mx, y0, Mean(c00, c10));
        }
        SetDisplaced(mx, my, Mean(Mean(c11, c00), Mean(c10, c01)));
        return (x1 - x0 >= 3 || y1 - y0 >= 3) ? 1 : 0;
    }

    int Subdivide(int x0, int y0, int x1, int y1, int d) {
        if (d == 0) return Leaf(x0, y0, x1, y1);
        const int mx = (x0 + x1) / 2, my = (y0 + y1) / 2;
        Subdivide(x0, y0, mx, my, d - 1);
        Subdivide(x0, my, mx, y1, d - 1);
        Subdivide(mx, y0, x1, my, d - 1);
        return Subdivide(mx, my, x1, y1, d - 1);
    }
};

}  // namespace

MemHandle PlasmaTorusImage(int w, int h, std::int32_t seed, std::int32_t turbulence,
                           std::uint32_t seedColour, bool useSeedColour) {
    ImageView view;
    const MemHandle image = NewLockedImage(w, h, &view);
    if (!image) return 0;
    Rng rng;
    rng.Seed(std::uint32_t(seed));
    const double golden = double(std::uint32_t(seed)) * 0.6180339887498949;
    const double silver = double(std::uint32_t(seed)) * 0.4142135623730950;
    TorusWalk walk{view, rng, int((golden - std::floor(golden)) * w),
                   int((silver - std::floor(silver)) * h)};
    // The nine anchors of the plug-in's walk, drawn in its order, where
    // they fall on the torus: the four corners are one point, and so are
    // the midpoints of opposite edges.
    const int cx = w / 2, cy = h / 2;
    const int anchors[9][2] = {{0, 0},  {w, 0},  {0, h},  {w, h}, {cx, cy},
                               {0, cy}, {w, cy}, {cx, 0}, {cx, h}};
    for (const auto& at : anchors) {
        const std::uint32_t colour =
            useSeedColour ? (seedColour & 0xFFFFFFu) : PlasmaAnchorColour(rng);
        walk.Set(at[0], at[1], colour);
    }
    for (int d = 1;; ++d) {
        walk.amplitude = PlasmaAmplitude(d, turbulence);
        const int more = walk.Subdivide(0, 0, w, h, d);
        if (!more) break;
    }
    UnlockImage(&view);
    return image;
}

}  // namespace tsn
