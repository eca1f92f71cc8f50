// The nine mutation colour maps of the dialog's grid. Each is built from the
// 33 colours drawn for the generation by a fixed recipe; the recipes are the
// look of the grid, so they are data, in one table.
#include <cstring>

#include "colour/fountain.h"
#include "core/random.h"

namespace tsn {

const std::uint32_t kMutationPalette[88] = {
    0xFF0000, 0xFFFF00, 0x00FF00, 0x00FFFF, 0x0000FF, 0xFF00FF, 0xCC0099, 0x0066FF, 0xCC99FF,
    0x333366, 0xFFCCCC, 0xFF9999, 0xFF9966, 0xFF6666, 0xCC6666, 0x993300, 0x660000, 0x996633,
    0xFFCC00, 0xFFFF99, 0xCCCC99, 0x999966, 0x666633, 0x333300, 0x336600, 0x339900, 0x669933,
    0x66CC33, 0x33CC33, 0xCCFF66, 0x99CC33, 0x99CC99, 0xCCFFCC, 0x99FF99, 0x669966, 0x339966,
    0x33CC99, 0x66CC99, 0x00FF99, 0x66FFCC, 0x003333, 0x336666, 0x669999, 0x339999, 0x33CCCC,
    0x66FFFF, 0x99FFFF, 0xCCFFFF, 0x336699, 0x3366CC, 0x3399CC, 0x3366FF, 0x3399FF, 0x6699FF,
    0x00CCFF, 0x99CCFF, 0x003366, 0x000099, 0x0033CC, 0x6666FF, 0x9999FF, 0xCCCCFF, 0x663399,
    0x6633CC, 0x9933CC, 0x6600FF, 0x9966FF, 0x9933FF, 0x9966CC, 0x660066, 0x990099, 0xFF99FF,
    0xCC66CC, 0x996699, 0xCC99CC, 0xCC3399, 0xFF33CC, 0xFF66CC, 0xCC6699, 0xFF99CC, 0x660033,
    0x993366, 0xFF6699, 0xFF0099, 0xCC0066, 0xFF3366, 0x990033, 0xCC0033};

namespace {

struct MarkerRecipe {
    int colour;  // index into the drawn colours
    double factor;
    std::uint32_t position;
};
struct SlotRecipe {
    int start, end;  // drawn colours, unscaled
    int count;
    MarkerRecipe markers[12];
};

// Slot 0 is the model: a colour's dark, middle and bright shade close
// together make a band. The others vary the width, spacing and contrast of
// the bands; between them they use all 33 drawn colours.
const SlotRecipe kRecipes[9] = {
    // Two narrow bands on the first colour.
    {0,
     0,
     6,
     {{0, 0.45, 0x58},
      {0, 0.9, 0x60},
      {0, 1.6, 0x68},
      {1, 0.45, 0xD4},
      {1, 0.9, 0xDC},
      {1, 1.6, 0xE4}}},
    // Three evenly spread bands.
    {2,
     4,
     9,
     {{2, 0.25, 0x30},
      {2, 0.9, 0x38},
      {2, 1.55, 0x40},
      {3, 0.25, 0x78},
      {3, 0.9, 0x80},
      {3, 1.55, 0x88},
      {4, 0.25, 0xC0},
      {4, 0.9, 0xC8},
      {4, 1.55, 0xD0}}},
    // Four wide, soft bands.
    {5,
     8,
     12,
     {{5, 0.65, 0x18},
      {5, 1.1, 0x28},
      {5, 1.76, 0x38},
      {6, 0.65, 0x58},
      {6, 1.1, 0x68},
      {6, 1.76, 0x78},
      {7, 0.65, 0x98},
      {7, 1.1, 0xA8},
      {7, 1.76, 0xB8},
      {8, 0.65, 0xD0},
      {8, 1.1, 0xE0},
      {8, 1.76, 0xF0}}},
    // One colour from near black to over-bright between two others.
    {20, 21, 3, {{9, 0.1, 0x40}, {9, 1.05, 0x80}, {9, 2.1, 0xC0}}},
    {22, 23, 3, {{10, 0.8, 0x55}, {10, 1.3, 0xAA}, {10, 1.88, 0xE0}}},
    {24, 24, 3, {{11, 0.45, 0x60}, {11, 1.2, 0x90}, {11, 1.96, 0xC0}}},
    // Two colours, each a long ramp.
    {25,
     26,
     6,
     {{12, 0.75, 0x20},
      {12, 1.28, 0x50},
      {12, 1.85, 0x70},
      {13, 0.75, 0xA0},
      {13, 1.28, 0xC0},
      {13, 1.85, 0xE8}}},
    // Two colours with a dip before the highlight.
    {27,
     28,
     6,
     {{14, 0.95, 0x28},
      {14, 0.85, 0x48},
      {14, 1.6, 0x68},
      {15, 0.95, 0xA8},
      {15, 0.85, 0xC8},
      {15, 1.6, 0xE8}}},
    // Six colours in fine stripes.
    {29,
     32,
     12,
     {{16, 0.45, 0x14},
      {16, 1.2, 0x28},
      {17, 0.45, 0x3C},
      {17, 1.2, 0x50},
      {18, 0.45, 0x64},
      {18, 1.2, 0x78},
      {19, 0.45, 0x8C},
      {19, 1.2, 0xA0},
      {30, 0.9, 0xB4},
      {30, 1.55, 0xC8},
      {31, 0.9, 0xDC},
      {31, 1.55, 0xF0}}},
};

}  // namespace

void BuildMutationFountains(std::uint32_t seed, FountainDefinition out[9]) {
    Rng rng;
    rng.Seed(seed);
    std::uint32_t picked[33];
    int n = 0;
    while (n < 33) {
        const std::uint32_t c = kMutationPalette[rng.Next() % 88];
        bool seen = false;
        for (int i = 0; i < n && !seen; ++i) seen = picked[i] == c;
        if (!seen) picked[n++] = c;
    }
    for (int k = 0; k < 9; ++k) {
        // Reset first: the thumbnail handle and editor state start clean.
        ResetFountain(&out[k]);
        const SlotRecipe& r = kRecipes[k];
        out[k].start = picked[r.start];
        out[k].end = 0xFF000000u | picked[r.end];
        out[k].count = std::uint32_t(r.count);
        std::memset(out[k].markers, 0, sizeof out[k].markers);
        for (int i = 0; i < r.count; ++i) {
            const MarkerRecipe& m = r.markers[i];
            out[k].markers[i] = MakeMarker(m.position, ScaleColour(picked[m.colour], m.factor));
        }
    }
}

}  // namespace tsn
