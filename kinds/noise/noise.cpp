#include "kinds/noise/noise.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "core/image.h"
#include "core/owners.h"
#include "core/parallel.h"
#include "core/simd.h"
#include "kind/descriptor.h"
#include "kind/older_layout.h"
#include "kind/page_fields.h"
#include "kinds/noise/noise_rows.h"

namespace tsn {

namespace {

constexpr std::uint32_t kPresetControls[] = {kNoisePresetListId, 218, 219, 220, 0};

using namespace fields;

#define NOISE_FIELD(f) static_cast<std::uint32_t>(offsetof(NoiseParameters, f))
const PageField kNoiseFields[] = {
    Width(NOISE_FIELD(width), kNoiseWidthId, 800, 800),
    Depth(NOISE_FIELD(depth), kNoiseDepthId, 600, 800),
    Scroll("scale", "Scale:", FieldType::F64, NOISE_FIELD(scale), kNoiseScaleId, 6, 128, 32.0, 10,
           "frequency across the longer side (square aspect on)"),
    Scroll("xScale", "X scale:", FieldType::F64, NOISE_FIELD(xScale), kNoiseXScaleId, 6, 128, 25.0,
           10, "frequency across the width (square aspect off)"),
    Scroll("yScale", "Y scale:", FieldType::F64, NOISE_FIELD(yScale), kNoiseYScaleId, 6, 128, 50.0,
           10, "frequency across the depth (square aspect off)"),
    Check("squareAspect", "Square aspect", FieldType::U32, NOISE_FIELD(squareAspect),
          kNoiseSquareId, 1, "one scale for both axes, so the noise is never stretched"),
    Seed(NOISE_FIELD(seed), kNoiseSeedId, 10356, 32757, 15618),
    Fountain("fountain", "Colours", NOISE_FIELD(fountain), kNoiseFountainId,
             "colour map of the grey values"),
    Flag("sum", "Sum", NOISE_FIELD(flags), 0, kNoiseSumId, 1, "sum octaves of doubling frequency"),
    Edit("layers", "Layers:", NOISE_FIELD(layers), kNoiseLayersId, 2, 7, 5, 4, Role::Plain,
         "octaves summed when sum is on (a preset may hold 8)"),
    Hidden("zDivisor", FieldType::F64, NOISE_FIELD(zDivisor), 0.001, 1e6, 8.0,
           "the sampled plane lies at z = 1 / zDivisor"),
    Hidden("dimension", FieldType::U32, NOISE_FIELD(dimension), 1, 3, 3,
           "gradient components of each layer's auxiliary table"),
    Hidden("reservedCount", FieldType::U32, NOISE_FIELD(reservedCount), 0, 4294967295.0, 3,
           "kept for older presets; not used"),
};
#undef NOISE_FIELD

const PageTable kNoisePage = TableOf(kNoiseFields, kPresetControls);

float Draw(Rng& rng) {
    return float((rng.Next() % 512) - 256) / 256;
}

float SCurve(float r) {
    return r * r * (3.0f - 2.0f * r);
}
float Lerp(float t, float a, float b) {
    return a + t * (b - a);
}

// Lattice coordinates of one axis.
struct Axis {
    int b0, b1;
    float r0, r1, s;
};

// The lattice entry of cell `cell` (counted from the origin) of a lattice
// that repeats every `period` cells; the table's own 256 when 0.
int LatticeEntry(int cell, int period) {
    return (period > 0 ? cell % period : cell) & 255;
}

Axis AxisOf(float c, int period = 0) {
    Axis a;
    float t = c + 4096.0f;
    int it = TruncToInt(t);
    if (period > 0 && it >= 4096) {
        a.b0 = LatticeEntry(it - 4096, period);
        a.b1 = LatticeEntry(it - 4096 + 1, period);
    } else {
        a.b0 = it & 255;
        a.b1 = (a.b0 + 1) & 255;
    }
    a.r0 = t - float(it);
    a.r1 = a.r0 - 1.0f;
    a.s = SCurve(a.r0);
    return a;
}

float Dot(const float* q, float a, float b, float c) {
    return a * q[0] + b * q[1] + c * q[2];
}

// Perlin's three-dimensional noise with the y and z axes already resolved
// (they are constant along a row).
float Noise3(const NoiseLattice& L, float px, const Axis& ay, const Axis& az, int periodX = 0) {
    Axis ax = AxisOf(px, periodX);
    const int i = L.p[ax.b0], j = L.p[ax.b1];
    const int b00 = L.p[i + ay.b0], b10 = L.p[j + ay.b0];
    const int b01 = L.p[i + ay.b1], b11 = L.p[j + ay.b1];

    float u = Dot(L.g3[b00 + az.b0], ax.r0, ay.r0, az.r0);
    float v = Dot(L.g3[b10 + az.b0], ax.r1, ay.r0, az.r0);
    float a = Lerp(ax.s, u, v);
    u = Dot(L.g3[b01 + az.b0], ax.r0, ay.r1, az.r0);
    v = Dot(L.g3[b11 + az.b0], ax.r1, ay.r1, az.r0);
    float b = Lerp(ax.s, u, v);
    float c = Lerp(ay.s, a, b);

    u = Dot(L.g3[b00 + az.b1], ax.r0, ay.r0, az.r1);
    v = Dot(L.g3[b10 + az.b1], ax.r1, ay.r0, az.r1);
    a = Lerp(ax.s, u, v);
    u = Dot(L.g3[b01 + az.b1], ax.r0, ay.r1, az.r1);
    v = Dot(L.g3[b11 + az.b1], ax.r1, ay.r1, az.r1);
    b = Lerp(ax.s, u, v);
    float d = Lerp(ay.s, a, b);
    return Lerp(az.s, c, d);
}

int GreyOf(float n) {
    return std::clamp(TruncToInt(double(n) * 255.0), 0, 255);
}

void AtomicMin(std::atomic<int>& a, int v) {
    int cur = a.load();
    while (v < cur && !a.compare_exchange_weak(cur, v)) {
    }
}
void AtomicMax(std::atomic<int>& a, int v) {
    int cur = a.load();
    while (v > cur && !a.compare_exchange_weak(cur, v)) {
    }
}

}  // namespace

bool DrawNoiseAuxiliaryTable(Rng& rng, std::uint32_t dimension) {
    if (dimension < 1 || dimension > 3) return false;
    // Nothing evaluates this table; building it only keeps the random
    // sequence in step with the pictures' definition.
    int perm[256];
    for (int i = 0; i < 256; ++i) {
        perm[i] = i;
        for (std::uint32_t d = 0; d < dimension; ++d) Draw(rng);
    }
    for (int i = 0; i < 256; ++i) std::swap(perm[i], perm[rng.Next() % 256]);
    return true;
}

void BuildNoiseLattice(Rng& rng, NoiseLattice* L) {
    for (int i = 0; i < 256; ++i) {
        L->p[i] = i;
        Draw(rng);  // the one-dimensional gradient
        Draw(rng);  // the two-dimensional gradient
        Draw(rng);
        float g[3] = {Draw(rng), Draw(rng), Draw(rng)};
        float len = std::sqrt(g[0] * g[0] + g[1] * g[1] + g[2] * g[2]);
        for (int k = 0; k < 3; ++k) L->g3[i][k] = g[k] / len;
    }
    for (int i = 255; i >= 1; --i) std::swap(L->p[i], L->p[rng.Next() % 256]);
    for (int i = 0; i < 258; ++i) {
        L->p[256 + i] = L->p[i];
        std::memcpy(L->g3[256 + i], L->g3[i], sizeof L->g3[i]);
    }
}

namespace {

// The older layout (721 bytes): the colour map in its 581-byte form. The
// reserved tail is not carried: the target keeps its own.
const LayoutField kNoiseOlderFields[] = {
    TSN_LAYOUT_FIELD(NoiseParameters, NoiseParameters721, signature),
    TSN_LAYOUT_FIELD(NoiseParameters, NoiseParameters721, version),
    TSN_LAYOUT_FIELD(NoiseParameters, NoiseParameters721, flags),
    TSN_LAYOUT_FIELD(NoiseParameters, NoiseParameters721, width),
    TSN_LAYOUT_FIELD(NoiseParameters, NoiseParameters721, depth),
    TSN_LAYOUT_FIELD(NoiseParameters, NoiseParameters721, xScale),
    TSN_LAYOUT_FIELD(NoiseParameters, NoiseParameters721, yScale),
    TSN_LAYOUT_FIELD(NoiseParameters, NoiseParameters721, scale),
    TSN_LAYOUT_FIELD(NoiseParameters, NoiseParameters721, zDivisor),
    TSN_LAYOUT_FIELD(NoiseParameters, NoiseParameters721, reservedCount),
    TSN_LAYOUT_FIELD(NoiseParameters, NoiseParameters721, squareAspect),
    TSN_LAYOUT_FIELD(NoiseParameters, NoiseParameters721, seed),
    TSN_LAYOUT_FIELD(NoiseParameters, NoiseParameters721, dimension),
    TSN_LAYOUT_FOUNTAIN(NoiseParameters, NoiseParameters721, fountain),
    TSN_LAYOUT_FIELD(NoiseParameters, NoiseParameters721, layers),
};
const OlderLayout kNoiseOlder{.currentSize = sizeof(NoiseParameters),
                              .olderSize = sizeof(NoiseParameters721),
                              .fields = kNoiseOlderFields,
                              .count = int(std::size(kNoiseOlderFields)),
                              .keepsUnnamedBytes = true};

}  // namespace

std::int64_t NoiseQuery(MasterTextureRecord* rec, int code) {
    switch (code) {
        case kQueryConvertIn:
        case kQueryConvertOut:
            return ConvertOlderLayout(kNoiseOlder, rec, code);
        default:
            return StandardQuery(kNoiseKind, rec, code);
    }
}

namespace {

// One octave of the picture: its lattice and its frequencies across the
// width, the depth and the longer side.
struct Octave {
    NoiseLattice lattice;
    float sx, sy, s;
    int periodX = 0, periodY = 0;  // lattice cells per repeat when tileable
};

// Where a pixel row or column samples one octave.
struct Sampling {
    bool square;
    float fw, fh, fl;  // width, depth, longer side
    float X(int x, const Octave& o) const {
        return square ? (float(x) / fl) * o.s : (float(x) / fw) * o.sx;
    }
    float Y(int y, const Octave& o) const {
        return square ? (float(y) / fl) * o.s : (float(y) / fh) * o.sy;
    }
};

// The grey of one octave at a pixel whose row is already resolved.
int OctaveGrey(const Octave& o, const Sampling& at, int x, const Axis& ay, const Axis& az) {
    return GreyOf(Noise3(o.lattice, at.X(x, o), ay, az, o.periodX));
}

// Summed octaves: the octaves' greys added and divided by eight (as if
// there were always eight), clamped.
int SummedGrey(const Octave* octaves, int count, const Sampling& at, int x, const Axis* ay,
               const Axis& az) {
    int total = 0;
    for (int l = 0; l < count; ++l) total += OctaveGrey(octaves[l], at, x, ay[l], az);
    return std::clamp(total / 8, 0, 255);
}

// The vector row loop of the processor's instruction set.
void (*RowLoop())(const NoiseRowJob&) {
    return ActiveKernel(
        SimdKernels<void (*)(const NoiseRowJob&)>{NoiseRowSse2, NoiseRowAvx2, NoiseRowAvx512});
}

// How one octave samples x along every row: column / divisor x scale. The
// vector loop needs the lattice cells of a row to run upward from cell 4096
// (x = 0) with integer cell numbers, and a row table of bounded size; an
// octave that does not qualify (a damaged or extreme scale) is evaluated
// pixel by pixel.
struct RowPlan {
    float divisor, scale;
    int cells;  // 0: pixel by pixel
};

RowPlan PlanRows(const Octave& o, const Sampling& at, int width) {
    RowPlan plan{at.square ? at.fl : at.fw, at.square ? o.s : o.sx, 0};
    if (!(plan.scale >= 0.0f && plan.scale <= 1e30f)) return plan;
    const float end = (float(width - 1) / plan.divisor) * plan.scale + 4096.0f;
    if (!(end < 2147483520.0f)) return plan;
    const long long cells = (long long)end - 4096 + 1;
    if (cells <= 4LL * width + 64) plan.cells = int(cells);
    return plan;
}

// The row table of one octave (see noise_rows.h).
void FillRowTable(const NoiseLattice& L, const Axis& ay, const Axis& az, int cells, int period,
                  std::size_t stride, float* table) {
    for (int c = 0; c < cells; ++c) {
        const int b0 = period > 0 ? LatticeEntry(c, period) : (4096 + c) & 255;
        const int b1 = period > 0 ? LatticeEntry(c + 1, period) : (b0 + 1) & 255;
        const int i = L.p[b0], j = L.p[b1];
        const int corner[4] = {L.p[i + ay.b0], L.p[j + ay.b0], L.p[i + ay.b1], L.p[j + ay.b1]};
        for (int k = 0; k < 8; ++k) {
            const float* q = L.g3[corner[k & 3] + ((k & 4) ? az.b1 : az.b0)];
            const float ry = (k & 2) ? ay.r1 : ay.r0, rz = (k & 4) ? az.r1 : az.r0;
            table[k * stride + c] = q[0];
            table[(8 + k) * stride + c] = ry * q[1];
            table[(16 + k) * stride + c] = rz * q[2];
        }
    }
}

// The grey picture in the red byte of each pixel of `g`; the range of
// greys it holds comes back in lo and hi.
void SampleGrey(const ImageView& g, const Octave* octaves, int count, bool sum, const Sampling& at,
                float z, int* lo, int* hi) {
    const Axis az = AxisOf(z);
    RowPlan plans[8];
    int widest = 0;
    for (int l = 0; l < count; ++l) {
        plans[l] = PlanRows(octaves[l], at, g.width);
        widest = std::max(widest, plans[l].cells);
    }
    const std::size_t stride = std::size_t(widest) + 16;
    auto* rowLoop = RowLoop();
    std::atomic<int> least{255}, most{0};
    PlanWork(2L * g.depth);
    ParallelRows(g.depth, [&](int y0, int y1) {
        int bandLo = 255, bandHi = 0;
        // Each band's row tables and grey sums; without memory for them the
        // band is evaluated pixel by pixel.
        const MemHandle scratch =
            MemAlloc((24 * stride) * sizeof(float) + std::size_t(g.width) * sizeof(std::int32_t));
        auto* table = static_cast<float*>(MemLock(scratch));
        auto* total = table ? reinterpret_cast<std::int32_t*>(table + 24 * stride) : nullptr;
        for (int y = y0; y < y1; ++y) {
            std::uint8_t* row = g.Row(y);
            if (total) std::memset(total, 0, std::size_t(g.width) * sizeof(std::int32_t));
            for (int l = 0; l < count && total; ++l) {
                const Axis ay = AxisOf(at.Y(y, octaves[l]), octaves[l].periodY);
                if (plans[l].cells > 0) {
                    FillRowTable(octaves[l].lattice, ay, az, plans[l].cells, octaves[l].periodX,
                                 stride, table);
                    rowLoop({table, stride, 4096, plans[l].divisor, plans[l].scale, ay.s, az.s,
                             g.width, total});
                } else {
                    for (int x = 0; x < g.width; ++x)
                        total[x] += OctaveGrey(octaves[l], at, x, ay, az);
                }
            }
            if (total) {
                // Simple loops over the sums, which the compiler vectorises.
                const int n = g.width;
                if (sum)
                    for (int x = 0; x < n; ++x) total[x] = std::min(total[x] / 8, 255);
                for (int x = 0; x < n; ++x) {
                    bandLo = std::min(bandLo, int(total[x]));
                    bandHi = std::max(bandHi, int(total[x]));
                }
                for (int x = 0; x < n; ++x) row[3 * x + 2] = std::uint8_t(total[x]);
                continue;
            }
            Axis ay[8];
            for (int l = 0; l < count; ++l) ay[l] = AxisOf(at.Y(y, octaves[l]), octaves[l].periodY);
            for (int x = 0; x < g.width; ++x) {
                const int v = sum ? SummedGrey(octaves, count, at, x, ay, az)
                                  : OctaveGrey(octaves[0], at, x, ay[0], az);
                row[3 * x + 2] = std::uint8_t(v);
                bandLo = std::min(bandLo, v);
                bandHi = std::max(bandHi, v);
            }
        }
        if (table) MemUnlock(scratch);
        MemFree(scratch);
        AtomicMin(least, bandLo);
        AtomicMax(most, bandHi);
    });
    *lo = least.load();
    *hi = most.load();
}

// The stretch: subtract the minimum, then scale by the truncated factor
// 25500 / range. A flat picture has no range to stretch and stays 0.
void StretchTable(int lo, int hi, std::uint8_t stretch[256]) {
    std::memset(stretch, 0, 256);
    const int range = hi - lo;
    if (range <= 0) return;
    const int f = 25500 / range;
    for (int v = lo; v <= hi; ++v) stretch[v] = std::uint8_t(((v - lo) * f) / 100);
}

// Stretches the grey picture in place and colours it into `o`. Both steps
// depend on the grey alone, so one table gives the stretched grey and its
// colour's blue, green and red bytes.
void StretchAndColour(const ImageView& g, const ImageView& o, const std::uint8_t stretch[256],
                      const std::uint8_t* table) {
    std::uint32_t both[256];
    for (int v = 0; v < 256; ++v) {
        const std::uint8_t s = stretch[v];
        both[v] = std::uint32_t(s) | std::uint32_t(table[3 * s + 2]) << 8 |
                  std::uint32_t(table[3 * s + 1]) << 16 | std::uint32_t(table[3 * s]) << 24;
    }
    ParallelRows(g.depth, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            std::uint8_t* gr = g.Row(y);
            std::uint8_t* orow = o.Row(y);
            for (int x = 0; x < g.width; ++x) {
                const std::uint32_t e = both[gr[3 * x + 2]];
                gr[3 * x + 2] = std::uint8_t(e);
                orow[3 * x] = std::uint8_t(e >> 8);
                orow[3 * x + 1] = std::uint8_t(e >> 16);
                orow[3 * x + 2] = std::uint8_t(e >> 24);
            }
        }
    });
}

// The picture's heights: each pixel's colour index (its stretched grey) in
// the top byte, and in the low byte where the octaves' noise, before it is
// rounded to whole greys, lies within that grey. `g` holds the greys before
// the stretch.
bool NoiseHeights(const ImageView& g, const Octave* octaves, int count, bool sum,
                  const Sampling& at, float z, const std::uint8_t stretch[256], HeightField* out) {
    if (!out->Resize(g.width, g.depth)) return false;
    const Axis az = AxisOf(z);
    ParallelRows(g.depth, [&](int y0, int y1) {
        Axis ay[8];
        for (int y = y0; y < y1; ++y) {
            for (int l = 0; l < count; ++l) ay[l] = AxisOf(at.Y(y, octaves[l]), octaves[l].periodY);
            const std::uint8_t* row = g.Row(y);
            std::uint16_t* level = out->Row(y);
            for (int x = 0; x < g.width; ++x) {
                double t = 0;
                for (int l = 0; l < count; ++l) {
                    const double n = double(Noise3(octaves[l].lattice, at.X(x, octaves[l]), ay[l],
                                                   az, octaves[l].periodX));
                    t += std::clamp(n * 255.0, 0.0, 255.0);
                }
                if (sum) t /= 8.0;
                const int grey = row[3 * x + 2];
                const double within = std::clamp(t - grey, 0.0, 255.0 / 256.0);
                level[x] = std::uint16_t(stretch[grey] * 256 + int(within * 256.0));
            }
        }
    });
    return true;
}

// A whole number of lattice cells across each side, nearest the first
// octave's frequency there (at least one); the octaves keep doubling it.
int WholeCells(double cells) {
    return std::clamp(int(std::floor(cells + 0.5)), 1, 1 << 20);
}

// Makes every octave repeat over the picture: each side holds a whole
// number of its lattice cells, so the picture is sampled across whole
// periods of every octave. Says so in `note` when that moved a scale.
void TileOctaves(const NoiseParameters& b, int w, int h, int count, Octave* octaves, Sampling* at,
                 std::string* note) {
    const double longer = double(std::max(w, h));
    const double acrossX = at->square ? b.scale * w / longer : b.xScale;
    const double acrossY = at->square ? b.scale * h / longer : b.yScale;
    const int cellsX = WholeCells(acrossX), cellsY = WholeCells(acrossY);
    for (int i = 0; i < count; ++i) {
        octaves[i].periodX = cellsX << i;
        octaves[i].periodY = cellsY << i;
        octaves[i].sx = float(octaves[i].periodX);
        octaves[i].sy = float(octaves[i].periodY);
    }
    at->square = false;
    if (note && (std::fabs(acrossX - cellsX) > 1e-9 || std::fabs(acrossY - cellsY) > 1e-9)) {
        char text[200];
        std::snprintf(text, sizeof text,
                      "tileable: %d x %d lattice cells across the picture (the scale asks for "
                      "%.4g x %.4g)",
                      cellsX, cellsY, acrossX, acrossY);
        *note = text;
    }
}

}  // namespace

MemHandle NoiseRender(MasterTextureRecord* rec, const RenderValues& values) {
    NoiseParameters* b = NoiseBlock(rec);

    const int w = values.width, h = values.depth;
    Rng rng;
    rng.Seed(values.seed);
    const int layers = b->layers;  // a packed field: no reference to it
    b->layers = std::clamp(layers, 2, 8);
    ReleaseGreySlot(kNoiseKind, rec);

    const bool sum = (b->flags & kNoiseSum) != 0;
    const int count = sum ? b->layers : 1;

    // Every octave's tables first, in the order their draws are defined;
    // then the pixels can be summed in one pass with no octave images.
    static_assert(sizeof(Octave) * 8 < 80 * 1024, "the octaves live on the stack");
    Octave octaves[8];
    for (int i = 0; i < count; ++i) {
        if (!DrawNoiseAuxiliaryTable(rng, b->dimension)) return 0;
        BuildNoiseLattice(rng, &octaves[i].lattice);
        const double k = double(1u << i);
        octaves[i].sx = float(k * b->xScale);
        octaves[i].sy = float(k * b->yScale);
        octaves[i].s = float(k * b->scale);
    }
    Sampling at{b->squareAspect != 0, float(w), float(h), float(std::max(w, h))};
    if (values.tileable) TileOctaves(*b, w, h, count, octaves, &at, values.note);

    OwnedBlock grey(NewImage(w, h));
    {
        LockedImage g(grey.get());
        if (!g) return 0;
        int lo, hi;
        SampleGrey(g.view(), octaves, count, sum, at, float(1.0 / b->zDivisor), &lo, &hi);
        std::uint8_t stretch[256];
        StretchTable(lo, hi, stretch);
        if (values.height && !NoiseHeights(g.view(), octaves, count, sum, at,
                                           float(1.0 / b->zDivisor), stretch, values.height))
            return 0;

        FountainToColourTable(b->fountain, rec->colourTable);
        OwnedBlock out(NewImage(w, h));
        LockedImage o(out.get());
        if (!o) return 0;
        StretchAndColour(g.view(), o.view(), stretch, rec->colourTable);
        SetGreyImageAt(rec, kNoiseGreySlot, grey.release());
        return out.release();
    }
}

const KindDescriptor kNoiseKind = {
    .name = "Noise",
    .key = "noise",
    .signature = "VANTPERL",
    .blockOffset = kNoiseOffset,
    .blockSize = sizeof(NoiseParameters),
    .oldBlockSize = sizeof(NoiseParameters721),
    .page = &kNoisePage,
    .flags = kKindHasColourMap,
    .render = NoiseRender,
    .query = NoiseQuery,
    .greySlot = kNoiseGreySlot,
    .presetList = kNoisePresetListId,
    .takesHostSize = true,
    .seedShowsNextRender = true,
    .maps = kMapsTile | kMapsHeight,
};

}  // namespace tsn
