#include "kinds/absnoise.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <vector>

#include "core/image.h"
#include "core/packed.h"
#include "core/parallel.h"
#include "core/picture_rows.h"
#include "kind/page_fields.h"
#include "synth/noise2d.h"

namespace tsn {

namespace {

using namespace fields;

#define ABSN(f) static_cast<std::uint32_t>(offsetof(AbsNoiseParameters, f))
const PageField kAbsNoiseFields[] = {
    Width(ABSN(width), kAbsNoiseWidthId, 800, 800),
    Depth(ABSN(depth), kAbsNoiseDepthId, 600, 800),
    Seed(ABSN(seed), kAbsNoiseSeedId, 1337),
    List("noiseType", "Noise:", ABSN(noiseType), kAbsNoiseTypeId,
         "Value;Perlin;Simplex;Cellular;White;Cubic", 1,
         "basis: 0 value (smoothed random heights), 1 Perlin (gradients), 2 simplex "
         "(triangular lattice), 3 cellular (distances to scattered points), 4 white (one random "
         "value per cell, unsmoothed), 5 cubic (value noise through Catmull-Rom splines)"),
    List("cellular", "Cells:", ABSN(cellular), kAbsNoiseCellularId,
         "Nearest;Second nearest;Difference", 0,
         "what cellular noise measures: 0 distance to the nearest point (bubbles), 1 to the "
         "second nearest (plates), 2 the difference of the two (cracks along the cell edges)"),
    List("fractal", "Fractal:", ABSN(fractalMode), kAbsNoiseFractalId, "None;FBm;Billow;Ridged", 1,
         "how octaves are summed: 0 none (one octave), 1 fBm (plain sum), 2 billow (sum of "
         "folded octaves: puffy), 3 ridged (inverted folds, each octave weighted by the last: "
         "sharp crests)"),
    Edit("octaves", "Octaves:", ABSN(octaves), kAbsNoiseOctavesId, 1, 10, 6, 6, Role::Plain,
         "octaves summed when fractal is not none; more add finer detail"),
    Scroll("frequency", "Frequency:", FieldType::F64, ABSN(frequency), kAbsNoiseFrequencyId, 0.5,
           256, 3.0, 10,
           "features of the first octave across the longer side; tileable rounds it to whole "
           "features across each side"),
    Scroll("lacunarity", "Lacunarity:", FieldType::F64, ABSN(lacunarity), kAbsNoiseLacunarityId,
           1.0, 4.0, 2.0, 100, "frequency factor from one octave to the next"),
    Scroll("gain", "Gain:", FieldType::F64, ABSN(gain), kAbsNoiseGainId, 0.0, 1.0, 0.5, 100,
           "amplitude factor from one octave to the next; higher is rougher"),
    Scroll("warp", "Warp:", FieldType::F64, ABSN(warp), kAbsNoiseWarpId, 0.0, 8.0, 0.0, 100,
           "how far a smooth noise field pushes the sample points, in features of the first "
           "octave; 0 for none. Swirls and folds the pattern"),
    Scroll("contrast", "Contrast:", FieldType::F64, ABSN(contrast), kAbsNoiseContrastId, 0.1, 8.0,
           1.0, 100,
           "the noise is levelled to its own spread in the picture; contrast stretches it "
           "across the colour map (values past the ends take the end colours)"),
    Check("absolute", "Absolute value", FieldType::U32, ABSN(absolute), kAbsNoiseAbsoluteId, 1,
          "fold the noise about its mean: the colour map's start traces the zero crossings as "
          "thin veins; off, the mean sits at the map's middle"),
    Check("invert", "Invert", FieldType::U32, ABSN(invert), kAbsNoiseInvertId, 0,
          "run the colour map backwards"),
    Check("tileable", "Tileable", FieldType::U32, ABSN(tileable), kAbsNoiseTileableId, 0,
          "make the picture wrap seamlessly left to right and top to bottom"),
    Fountain("fountain", "Colours", ABSN(fountain), kAbsNoiseFountainId,
             "colour map from the lowest to the highest value"),
};
#undef ABSN

// The preset list and its add, delete and load buttons.
constexpr std::uint32_t kAbsNoisePresets[] = {kAbsNoisePresetListId, 802, 803, 804, 0};

const PageTable kAbsNoisePage = TableOf(kAbsNoiseFields, kAbsNoisePresets);

// Molten veins: black at the zero crossings, through deep red and orange
// to a pale yellow.
void EmberFountain(FountainDefinition* f) {
    const std::uint32_t markers[] = {MakeMarker(0x0C, 0x6AE8FF), MakeMarker(0x28, 0x1E8CF0),
                                     MakeMarker(0x50, 0x0A30B0), MakeMarker(0x90, 0x140A40),
                                     MakeMarker(0xD0, 0x100814)};
    DesignFountain(f, 0xFFF8E0, 0xFF0B0A05, markers, std::size(markers));
}

int AbsNoiseReset(MasterTextureRecord* rec) {
    ResetKindBlock(kAbsNoiseKind, rec);
    EmberFountain(&AbsNoiseBlock(rec)->fountain);
    return 1;
}

}  // namespace

MemHandle AbsNoiseRender(MasterTextureRecord* rec, const RenderValues& values) {
    AbsNoiseParameters* b = AbsNoiseBlock(rec);
    const int w = values.width, h = values.depth;
    if (w <= 0 || h <= 0) return 0;

    const double longer = double(std::max(w, h));
    const double frequency = ClampedOr(b->frequency, 0.5, 256.0, 3.0);
    NoiseSettings s;
    s.basis = b->noiseType;
    s.fractal = b->fractalMode;
    s.cellular = b->cellular;
    s.octaves = b->octaves;
    s.lacunarity = b->lacunarity;
    s.gain = b->gain;
    s.warp = b->warp;
    s.tile = b->tileable != 0 || values.tileable;
    // Tiled, each side holds a whole number of features; otherwise features
    // are square and the longer side holds `frequency` of them.
    double cellsX = frequency / longer, cellsY = cellsX;
    if (s.tile) {
        s.periodX = std::max(1, FloorToInt(frequency * w / longer + 0.5));
        s.periodY = std::max(1, FloorToInt(frequency * h / longer + 0.5));
        cellsX = double(s.periodX) / w;
        cellsY = double(s.periodY) / h;
    }
    // Every octave's lattice lines meet at the origin, and whole features
    // later; the page's tileable picture puts its seam there. Asked for a
    // tileable picture from outside the page, the pattern moves off them by
    // a fraction of a feature that the seed chooses, so the seam falls
    // anywhere in the lattice, as any other column does.
    const double golden = double(values.seed) * 0.6180339887498949;
    const double shift = values.tileable ? golden - std::floor(golden) : 0.0;
    Rng rng;
    rng.Seed(values.seed);
    NoiseField field;
    BuildNoiseField(s, rng, &field);
    const NoiseLevel level = NoiseLevels(field, w, h, cellsX, cellsY);
    // The levelled noise spans -1 .. 1 at 2.5 standard deviations.
    const double k = ClampedOr(b->contrast, 0.1, 8.0, 1.0) / (2.5 * level.spread);
    const bool absolute = b->absolute != 0, invert = b->invert != 0;

    FountainToColourTable(b->fountain, rec->colourTable);
    const std::uint8_t* table = rec->colourTable;
    HeightField* heights = values.height;
    if (heights && !heights->Resize(w, h)) return 0;
    PlanWork(h);
    // A height field is filled whole, so its picture is too.
    RowSink* sink = heights ? nullptr : values.rows;
    PixelTable pixels;
    FillPixelTable(table, &pixels);
    return PaintPicture(w, h, sink, [&](int y0, int y1, const PictureRows& o) {
        // The width as a local: the stores of the loops below could change
        // a captured one for all the compiler knows, and they would not run
        // in vector lanes.
        const int width = o.band.width;
        std::vector<double> u(width), noise(std::size_t(width) * kNoiseRowsTogether);
        std::vector<int> at(width);
        for (int x = 0; x < width; ++x) u[x] = (x + 0.5) * cellsX + shift;
        double v[kNoiseRowsTogether];
        for (int y = y0; y < y1; ++y) {
            const int r = (y - y0) % kNoiseRowsTogether;
            if (r == 0) {
                const int rows = std::min(kNoiseRowsTogether, y1 - y);
                for (int k = 0; k < rows; ++k) v[k] = (y + k + 0.5) * cellsY + shift;
                NoiseRows(field, u.data(), v, rows, width, noise.data(), width);
            }
            const double* n = noise.data() + std::size_t(r) * width;
            std::uint8_t* row = o.Row(y);
            if (!heights) {
                // The positions and colour entries of PaintPosition in
                // loops of selections the compiler runs in vector lanes
                // (NaN, as there, takes entry 0), then the bytes.
                for (int x = 0; x < width; ++x) {
                    const double d = (n[x] - level.mean) * k;
                    const double t = absolute ? std::fabs(d) : 0.5 * (d + 1.0);
                    const double e = (invert ? 1.0 - t : t) * 255.0 + 0.5;
                    at[x] = int(e > 0.0 ? (e < 255.0 ? e : 255.0) : 0.0);
                }
                StorePixels(row, width, at.data(), pixels);
                continue;
            }
            for (int x = 0; x < width; ++x) {
                double t = (n[x] - level.mean) * k;
                t = absolute ? std::fabs(t) : 0.5 * (t + 1.0);
                if (invert) t = 1.0 - t;
                PaintPosition(row, x, t, table, heights ? heights->Row(y) : nullptr);
            }
        }
    });
}

const KindDescriptor kAbsNoiseKind = {
    .name = "Absolute Noise",
    .key = "absnoise",
    .signature = "VANTABSN",
    .blockOffset = kAbsNoiseOffset,
    .blockSize = sizeof(AbsNoiseParameters),
    .page = &kAbsNoisePage,
    .render = AbsNoiseRender,
    .reset = AbsNoiseReset,
    .presetList = kAbsNoisePresetListId,
    .maps = kMapsTile | kMapsHeight,
};

}  // namespace tsn
