#include "kinds/perturbation.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <string>
#include <vector>

#include "core/detmath.h"
#include "core/image.h"
#include "core/packed.h"
#include "core/parallel.h"
#include "core/picture_rows.h"
#include "kind/page_fields.h"
#include "synth/noise2d.h"

namespace tsn {

namespace {

using namespace fields;

#define PERT(f) static_cast<std::uint32_t>(offsetof(PerturbationParameters, f))
const PageField kPerturbationFields[] = {
    Width(PERT(width), kPerturbationWidthId, 800, 800),
    Depth(PERT(depth), kPerturbationDepthId, 600, 800),
    Seed(PERT(seed), kPerturbationSeedId, 5150),
    List("pattern", "Pattern:", PERT(pattern), kPerturbationPatternId, "Bands;Rings;Checks", 0,
         "the regular pattern: 0 straight bands (marble, agate), 1 rings about the centre "
         "(wood grain), 2 checks (warped tiles)"),
    List("wave", "Wave:", PERT(wave), kPerturbationWaveId, "Sine;Triangle;Sawtooth;Square", 0,
         "profile of one period across the colour map: 0 sine (soft), 1 triangle (even ramps "
         "up and down), 2 sawtooth (a ramp up, then a jump back), 3 square (two flat halves "
         "with soft edges; with checks, a chequerboard)"),
    Scroll("frequency", "Frequency:", FieldType::F64, PERT(frequency), kPerturbationFrequencyId,
           0.5, 64, 4.0, 10, "pattern periods across the longer side"),
    Scroll("angle", "Angle:", FieldType::F64, PERT(angle), kPerturbationAngleId, 0, 180, 35.0, 1,
           "direction of the bands and checks in degrees, counterclockwise from across"),
    Scroll("strength", "Strength:", FieldType::F64, PERT(strength), kPerturbationStrengthId, 0, 4,
           0.25, 100,
           "how far the noise pushes the pattern, in periods per typical noise value; 0 leaves "
           "the pattern regular"),
    List("noiseType", "Noise:", PERT(noiseType), kPerturbationNoiseTypeId,
         "Value;Perlin;Simplex;Cellular;White;Cubic", 1,
         "basis of the displacing noise: 0 value, 1 Perlin, 2 simplex, 3 cellular, 4 white, "
         "5 cubic"),
    List("fractal", "Fractal:", PERT(fractalMode), kPerturbationFractalId, "None;FBm;Billow;Ridged",
         1, "how the noise's octaves are summed: 0 none, 1 fBm, 2 billow, 3 ridged"),
    Scroll("noiseScale", "Noise scale:", FieldType::F64, PERT(noiseScale),
           kPerturbationNoiseScaleId, 0.5, 64, 2.5, 10,
           "features of the displacing noise across the longer side"),
    Edit("octaves", "Octaves:", PERT(octaves), kPerturbationOctavesId, 1, 10, 7, 7, Role::Plain,
         "octaves of the displacing noise; more give a finer, more broken edge"),
    Scroll("roughness", "Roughness:", FieldType::F64, PERT(roughness), kPerturbationRoughnessId, 0,
           1, 0.55, 100, "amplitude factor from one octave of the noise to the next"),
    Fountain("fountain", "Colours", PERT(fountain), kPerturbationFountainId,
             "colour map across one period of the pattern"),
};
#undef PERT

// The preset list and its add, delete and load buttons.
constexpr std::uint32_t kPerturbationPresets[] = {kPerturbationPresetListId, 377, 378, 379, 0};

const PageTable kPerturbationPage = TableOf(kPerturbationFields, kPerturbationPresets);

// Veined marble: dark veins with a thin golden edge in warm white, with
// soft grey clouding between the veins.
void MarbleFountain(FountainDefinition* f) {
    const std::uint32_t markers[] = {MakeMarker(0x0A, 0x34506A), MakeMarker(0x18, 0x6AA4C8),
                                     MakeMarker(0x30, 0xC8D6E0), MakeMarker(0x70, 0xF0F2F4),
                                     MakeMarker(0xB0, 0xD4D8DA), MakeMarker(0xE0, 0xF2F2F0)};
    DesignFountain(f, 0x1E2226, 0xFFE4E6E8, markers, std::size(markers));
}

int PerturbationReset(MasterTextureRecord* rec) {
    ResetKindBlock(kPerturbationKind, rec);
    MarbleFountain(&PerturbationBlock(rec)->fountain);
    return 1;
}

constexpr double kTwoPi = 6.283185307179586;

// The sine wave, 0.5 - 0.5 cos(2 pi f), tabulated over one period and read
// with linear interpolation: a cosine per pixel would cost a fifth of the
// render, and the table is off by less than a millionth.
constexpr int kWaveSteps = 4096;
struct SineTable {
    double v[kWaveSteps + 1];
    SineTable() {
        for (int i = 0; i <= kWaveSteps; ++i)
            v[i] = 0.5 - 0.5 * DetCos(kTwoPi * double(i) / kWaveSteps);
    }
    double At(double f) const {
        const double t = f * kWaveSteps;
        const int i = std::min(int(t), kWaveSteps - 1);
        return v[i] + (t - double(i)) * (v[i + 1] - v[i]);
    }
};

// Phases this far from 0 are floored through a 32-bit integer below.
constexpr double kSmallPhase = 1073741824.0;  // 2^30

}  // namespace

// The floor is taken through a 32-bit integer, exact while every phase is
// small; otherwise, or for a NaN, the row takes std::floor.
void PerturbationWaveRow(std::uint32_t wave, int w, double* t) {
    static const SineTable sine;
    bool small = true;
    for (int x = 0; x < w; ++x) small &= std::fabs(t[x]) < kSmallPhase;
    if (small) {
        for (int x = 0; x < w; ++x) {
            // Truncated with the phase's sign (so -0 floors to -0), then
            // one down where that rounded up.
            const double r = std::copysign(double(int(t[x])), t[x]);
            t[x] -= r > t[x] ? r - 1.0 : r;
        }
    } else {
        for (int x = 0; x < w; ++x) t[x] -= std::floor(t[x]);
    }
    switch (wave) {
        case 1:
            for (int x = 0; x < w; ++x) t[x] = 1.0 - std::fabs(2.0 * t[x] - 1.0);
            break;
        case 2:
            break;
        case 3:
            for (int x = 0; x < w; ++x) t[x] = std::clamp(3.0 * sine.At(t[x]) - 1.0, 0.0, 1.0);
            break;
        default:
            for (int x = 0; x < w; ++x) t[x] = sine.At(t[x]);
    }
}

namespace {

// The pattern's phase at a pixel, in periods: for bands and checks a
// linear function of the pixel's offset from the centre, for rings its
// distance from the centre.
struct Pattern {
    double ca, sa;   // the direction of the bands
    double periods;  // per pixel
    // Tileable only: the picture's size, and the phase per pixel along the
    // bands and across them. Rings are then measured to the nearest copy
    // of the centre.
    int wrapX = 0, wrapY = 0;
    double alongX = 0, alongY = 0, acrossX = 0, acrossY = 0;
};

// A whole number of periods, nearest v.
double WholePeriods(double v) {
    return std::floor(v + 0.5);
}

// The pattern as the page asks for it, or for a tileable picture with a
// whole number of periods across each side along both directions (bands
// may turn and tighten a little; the user is told in `note`).
Pattern PatternFor(double periods, double angle, bool rings, int w, int h, bool tileable,
                   std::string* note) {
    const double ca = DetCos(angle), sa = DetSin(angle);
    Pattern p{ca, sa, periods};
    if (!tileable) return p;
    p.wrapX = w;
    p.wrapY = h;
    const double wantX = ca * periods * w, wantY = sa * periods * h;
    const double ax = WholePeriods(wantX), ay = WholePeriods(wantY);
    const double cx = WholePeriods(-sa * periods * w), cy = WholePeriods(ca * periods * h);
    // At least one period across the picture each way.
    const bool flatAlong = ax == 0 && ay == 0, flatAcross = cx == 0 && cy == 0;
    p.alongX = (flatAlong ? 1.0 : ax) / w;
    p.alongY = ay / h;
    p.acrossX = cx / w;
    p.acrossY = (flatAcross ? 1.0 : cy) / h;
    if (note && !rings && (p.alongX * w != wantX || ay != wantY)) {
        char text[200];
        std::snprintf(text, sizeof text,
                      "tileable: the bands run %g x %g periods across the picture (frequency "
                      "and angle ask for %.4g x %.4g)",
                      p.alongX * w, ay, wantX, wantY);
        *note = text;
    }
    return p;
}

// A row's noise as a shift of phase: (n - mean) * push periods.
struct Displacement {
    const double* n;
    double mean, push;
    double At(int x) const { return (n[x] - mean) * push; }
};

// The displaced phases of a row at height py (pixels from the centre, up),
// into `out` (which may be the displacement's own noise): each pattern and
// wrap in a loop of its own, so the compiler runs it in vector lanes.
void AlongPhases(const Pattern& at, const Displacement& d, int w, double cx, double py,
                 double* out) {
    if (at.wrapX > 0) {
        for (int x = 0; x < w; ++x) {
            const double px = (x + 0.5) - cx;
            out[x] = (px * at.alongX + py * at.alongY) + d.At(x);
        }
    } else {
        for (int x = 0; x < w; ++x) {
            const double px = (x + 0.5) - cx;
            out[x] = (px * at.ca + py * at.sa) * at.periods + d.At(x);
        }
    }
}

void AcrossPhases(const Pattern& at, const Displacement& d, int w, double cx, double py,
                  double* out) {
    if (at.wrapX > 0) {
        for (int x = 0; x < w; ++x) {
            const double px = (x + 0.5) - cx;
            out[x] = (px * at.acrossX + py * at.acrossY) + d.At(x);
        }
    } else {
        for (int x = 0; x < w; ++x) {
            const double px = (x + 0.5) - cx;
            out[x] = (py * at.ca - px * at.sa) * at.periods + d.At(x);
        }
    }
}

void RingPhases(const Pattern& at, const Displacement& d, int w, double cx, double py,
                double* out) {
    if (at.wrapX > 0) {
        const double ny = std::min(std::fabs(py), at.wrapY - std::fabs(py));
        for (int x = 0; x < w; ++x) {
            const double px = (x + 0.5) - cx;
            const double nx = std::min(std::fabs(px), at.wrapX - std::fabs(px));
            out[x] = std::sqrt(nx * nx + ny * ny) * at.periods + d.At(x);
        }
    } else {
        for (int x = 0; x < w; ++x) {
            const double px = (x + 0.5) - cx;
            out[x] = std::sqrt(px * px + py * py) * at.periods + d.At(x);
        }
    }
}

}  // namespace

MemHandle PerturbationRender(MasterTextureRecord* rec, const RenderValues& values) {
    PerturbationParameters* b = PerturbationBlock(rec);
    const int w = values.width, h = values.depth;
    if (w <= 0 || h <= 0) return 0;

    const double longer = double(std::max(w, h));
    const double periods = ClampedOr(b->frequency, 0.5, 64.0, 4.0) / longer;  // per pixel
    const double cells = ClampedOr(b->noiseScale, 0.5, 64.0, 2.5) / longer;
    const double angle = ClampedOr(b->angle, -3600.0, 3600.0, 0.0) * (kTwoPi / 360.0);
    const std::uint32_t pattern = b->pattern <= 2 ? b->pattern : 0;
    const Pattern at = PatternFor(periods, angle, pattern == 1, w, h, values.tileable, values.note);
    const std::uint32_t wave = b->wave <= 3 ? b->wave : 0;

    NoiseSettings s;
    s.basis = b->noiseType;
    s.fractal = b->fractalMode;
    s.octaves = b->octaves;
    s.gain = ClampedOr(b->roughness, 0.0, 1.0, 0.55);
    // Tiled, the noise repeats over the picture: each side holds a whole
    // number of its first octave's cells.
    double cellsX = cells, cellsY = cells;
    if (values.tileable) {
        s.tile = true;
        s.periodX = std::max(1, FloorToInt(cells * w + 0.5));
        s.periodY = std::max(1, FloorToInt(cells * h + 0.5));
        cellsX = double(s.periodX) / w;
        cellsY = double(s.periodY) / h;
    }
    // Every octave's lattice lines meet at the origin; a tileable picture
    // moves off them by a fraction of a cell that the seed chooses, so its
    // seam falls anywhere in the lattice, as any other row or column does.
    const double golden = double(values.seed) * 0.6180339887498949;
    const double silver = double(values.seed) * 0.4142135623730950;
    const double shiftX = values.tileable ? golden - std::floor(golden) : 0.0;
    const double shiftY = values.tileable ? silver - std::floor(silver) : 0.0;
    Rng rng;
    rng.Seed(values.seed);
    NoiseField field;
    BuildNoiseField(s, rng, &field);
    const NoiseLevel level = NoiseLevels(field, w, h, cellsX, cellsY);
    // Phase shift per unit of noise: `strength` periods per standard
    // deviation.
    const double push = ClampedOr(b->strength, 0.0, 4.0, 0.25) / level.spread;
    const double cx = 0.5 * w, cy = 0.5 * h;

    FountainToColourTable(b->fountain, rec->colourTable);
    PixelTable pixels;
    FillPixelTable(rec->colourTable, &pixels);
    HeightField* heights = values.height;
    if (heights && !heights->Resize(w, h)) return 0;
    PlanWork(h);
    // A height field is filled whole, so its picture is too.
    RowSink* sink = heights ? nullptr : values.rows;
    return PaintPicture(w, h, sink, [&](int y0, int y1, const PictureRows& o) {
        // The noise of a row at (u, v), and for checks a long way off too,
        // so the two displacements are unrelated.
        const std::size_t group = std::size_t(w) * kNoiseRowsTogether;
        // The second field only for checks.
        std::vector<double> u(w), far(w), near(group), away(pattern == 2 ? group : 0);
        std::vector<int> entry(w);
        for (int x = 0; x < w; ++x) {
            u[x] = (x + 0.5) * cellsX + shiftX;
            far[x] = u[x] + 57.31;
        }
        double v[kNoiseRowsTogether], vFar[kNoiseRowsTogether];
        for (int y = y0; y < y1; ++y) {
            const int r = (y - y0) % kNoiseRowsTogether;
            if (r == 0) {
                const int rows = std::min(kNoiseRowsTogether, y1 - y);
                for (int k = 0; k < rows; ++k) {
                    v[k] = (y + k + 0.5) * cellsY + shiftY;
                    vFar[k] = v[k] + 23.79;
                }
                NoiseRows(field, u.data(), v, rows, w, near.data(), w);
                if (pattern == 2) NoiseRows(field, far.data(), vFar, rows, w, away.data(), w);
            }
            double* n = near.data() + std::size_t(r) * w;
            double* m = pattern == 2 ? away.data() + std::size_t(r) * w : nullptr;
            // Rows run downwards; the pattern's y axis points up.
            const double py = cy - (y + 0.5);
            const Displacement along{n, level.mean, push};
            if (pattern == 1) {
                RingPhases(at, along, w, cx, py, n);
            } else {
                AlongPhases(at, along, w, cx, py, n);
            }
            PerturbationWaveRow(wave, w, n);
            if (pattern == 2) {
                AcrossPhases(at, Displacement{m, level.mean, push}, w, cx, py, m);
                PerturbationWaveRow(wave, w, m);
                for (int x = 0; x < w; ++x)
                    n[x] = 0.5 + 0.5 * (2.0 * n[x] - 1.0) * (2.0 * m[x] - 1.0);
            }
            PaintRow(o.Row(y), w, n, pixels, heights ? heights->Row(y) : nullptr, entry.data());
        }
    });
}

const KindDescriptor kPerturbationKind = {
    .name = "Perturbation",
    .key = "perturb",
    .signature = "VANTPERT",
    .blockOffset = kPerturbationOffset,
    .blockSize = sizeof(PerturbationParameters),
    .page = &kPerturbationPage,
    .render = PerturbationRender,
    .reset = PerturbationReset,
    .presetList = kPerturbationPresetListId,
    .takesHostSize = true,
    .maps = kMapsTile | kMapsHeight,
};

}  // namespace tsn
