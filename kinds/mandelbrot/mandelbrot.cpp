#include "kinds/mandelbrot/mandelbrot.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "core/image.h"
#include "core/owners.h"
#include "core/parallel.h"
#include "core/simd.h"
#include "kind/descriptor.h"
#include "kind/older_layout.h"
#include "kind/page_fields.h"
#include "kinds/mandelbrot/mandelbrot_lanes.h"

namespace tsn {

namespace {

using namespace fields;

constexpr std::uint32_t kExtraControls[] = {
    kMandelbrotPresetListId, 361, 362, 363, kMandelbrotNavigatorId, kMandelbrotStatusId, 0};

#define MANDELBROT_FIELD(f) static_cast<std::uint32_t>(offsetof(MandelbrotParameters, f))
const PageField kMandelbrotFields[] = {
    Width(MANDELBROT_FIELD(width), kMandelbrotWidthId, 800, 800),
    Depth(MANDELBROT_FIELD(depth), kMandelbrotDepthId, 600, 800),
    Fountain("fountain", "Colours", MANDELBROT_FIELD(fountain), kMandelbrotFountainId,
             "colour map of the stretched iteration counts"),
    Hidden("centreRealOffset", FieldType::F64, MANDELBROT_FIELD(centreRealOffset), -1000, 1000,
           1.525, "view centre's real part plus 2.05 (set by the navigation view)"),
    Hidden("centreImaginaryOffset", FieldType::F64, MANDELBROT_FIELD(centreImaginaryOffset), -1000,
           1000, 1.4, "view centre's imaginary part plus 1.4 (set by the navigation view)"),
    Hidden("zoomLevel", FieldType::U32, MANDELBROT_FIELD(zoomLevel), 0, kMandelbrotMaxZoomLevel, 0,
           "0 shows the whole set; magnification grows as (zoomLevel + 1) squared"),
    Hidden("zoomFactor", FieldType::U32, MANDELBROT_FIELD(zoomFactor), 1, kMandelbrotMaxZoomFactor,
           1, "multiplies the magnification"),
};
#undef MANDELBROT_FIELD

const PageTable kMandelbrotPage = TableOf(kMandelbrotFields, kExtraControls);

// The lane loop of the processor's instruction set and the points it takes
// at once.
MandelbrotLanesFn LaneLoop(int* group) {
    struct Lanes {
        MandelbrotLanesFn fn;
        int group;
    };
    const Lanes lanes = ActiveKernel(SimdKernels<Lanes>{
        {MandelbrotLanesSse2, 4}, {MandelbrotLanesAvx2, 8}, {MandelbrotLanesAvx512, 16}});
    *group = lanes.group;
    return lanes.fn;
}

// Column and row coordinates are accumulated by repeated addition of the
// step, as the picture is defined, not computed as start + i x step.
void Accumulate(double start, double step, int n, double* out) {
    double v = start;
    for (int i = 0; i < n; ++i) {
        out[i] = v;
        v += step;
    }
}

double Magnification(const MandelbrotParameters& b) {
    const double level = double(b.zoomLevel) + 1.0;
    return double(b.zoomFactor) * (level * level);
}

}  // namespace

bool ComputeMandelbrotView(const MandelbrotParameters& b, int side, MandelbrotView* view) {
    if (b.zoomFactor == 0 || side < 1) return false;  // an infinite step shows nothing
    const double v = Magnification(b);
    const double step = 1000.0 / v / double(side) * 0.0028;
    const double realSpan = 3.05 / v, imaginarySpan = 2.8 / v;
    const double cr = b.centreRealOffset, ci = b.centreImaginaryOffset;
    view->realStart = cr - realSpan / 2 - 2.05;
    view->realEnd = cr + realSpan / 2 - 2.05;
    view->imaginaryStart = ci - imaginarySpan / 2 - 1.4;
    view->imaginaryEnd = ci + imaginarySpan / 2 - 1.4;
    view->step = step;
    // The limit doubles for every factor 100 the step shrinks by; it is a
    // 32-bit count that wraps, of which the iteration uses 16 bits.
    std::uint32_t limit = 25;
    for (double t = step * 100; t < 1 && t > 0; t *= 100) limit *= 2;
    view->iterationLimit = limit;
    return true;
}

std::uint16_t MandelbrotCount(double cr, double ci, std::uint16_t limit) {
    if (std::fabs(cr) > 4 || std::fabs(ci) > 4) return 0;
    double a = cr * cr, b = ci * ci;
    double zr = a - b + cr, zi = 2.0 * cr * ci + ci;
    std::uint16_t n = std::uint16_t(limit - 1);
    if (limit != 1) {
        for (;;) {
            if (a + b > 4) break;
            a = zr * zr;
            b = zi * zi;
            zi = zi * 2.0 * zr + ci;
            zr = a - b + cr;
            if (--n == 0) break;
        }
    }
    return std::uint16_t(limit - n);
}

bool MandelbrotCounts(const MandelbrotView& view, int side, std::uint16_t* counts) {
    // Coordinates padded to a multiple of the widest group of lanes; the
    // extra lanes are computed and dropped.
    const int padded = (side + kMandelbrotGroup - 1) / kMandelbrotGroup * kMandelbrotGroup;
    const MemHandle coordinates =
        MemAlloc((std::size_t(padded) + std::size_t(side)) * sizeof(double));
    auto* cr = static_cast<double*>(MemLock(coordinates));
    if (!cr) {
        MemFree(coordinates);
        return false;
    }
    double* ci = cr + padded;
    Accumulate(view.realStart, view.step, padded, cr);
    Accumulate(view.imaginaryStart, view.step, side, ci);
    const std::uint16_t limit = std::uint16_t(view.iterationLimit);
    PlanWork(side);
    int group;
    const MandelbrotLanesFn lanes = LaneLoop(&group);
    ParallelRows(side, [&](int y0, int y1) {
        std::uint16_t some[kMandelbrotGroup];
        for (int y = y0; y < y1; ++y) {
            std::uint16_t* row = counts + std::size_t(y) * std::size_t(side);
            for (int x = 0; x < side; x += group) {
                lanes(cr + x, ci[y], limit, some);
                std::memcpy(row + x, some,
                            sizeof(std::uint16_t) * std::size_t(std::min(group, side - x)));
            }
        }
    });
    MemUnlock(coordinates);
    MemFree(coordinates);
    return true;
}

int MandelbrotReset(MasterTextureRecord* rec) {
    ResetKindBlock(kMandelbrotKind, rec);
    MandelbrotParameters* b = MandelbrotBlock(rec);
    b->realStart = -2.05;
    b->imaginaryStart = -1.4;
    b->realEnd = 1.0;
    b->imaginaryEnd = 1.4;
    return 1;
}

namespace {

// The older layout (13073 bytes): the colour map in its 581-byte form. Both
// directions write the current size; presets of the older layout have
// always carried it.
const LayoutField kMandelbrotOlderFields[] = {
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, signature),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, version),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, reserved0),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, width),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, depth),
    TSN_LAYOUT_FOUNTAIN(MandelbrotParameters, MandelbrotParameters13073, fountain),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, realStart),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, imaginaryStart),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, realEnd),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, imaginaryEnd),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, centreRealOffset),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, centreImaginaryOffset),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, step),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, realStartCopy),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, imaginaryBound),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, stepCopy),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, viewRect),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, viewRectLeftCopy),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, iterationLimit),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, zoomLevel),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, zoomFactor),
    TSN_LAYOUT_FIELD(MandelbrotParameters, MandelbrotParameters13073, navigation),
};
const OlderLayout kMandelbrotOlder{.currentSize = sizeof(MandelbrotParameters),
                                   .olderSize = sizeof(MandelbrotParameters13073),
                                   .fields = kMandelbrotOlderFields,
                                   .count = int(std::size(kMandelbrotOlderFields)),
                                   .sizeIsAlwaysCurrent = true,
                                   .keepsUnnamedBytes = true};

}  // namespace

std::int64_t MandelbrotQuery(MasterTextureRecord* rec, int code) {
    switch (code) {
        case kQueryConvertIn:
        case kQueryConvertOut:
            return ConvertOlderLayout(kMandelbrotOlder, rec, code);
        default:
            return StandardQuery(kMandelbrotKind, rec, code);
    }
}

namespace {

// The square's grey picture: the escape counts stretched so the smallest is
// black and the largest white. 0 when memory runs out.
MemHandle MandelbrotGrey(const MandelbrotView& view, int side) {
    const std::size_t cells = std::size_t(side) * std::size_t(side);
    OwnedBlock grey(NewImage(side, side));
    OwnedBlock countBlock(grey ? MemAlloc(cells * sizeof(std::uint16_t)) : 0);
    LockedBlock<std::uint16_t> lockedCounts(countBlock.get());
    LockedImage g(grey.get());
    if (!lockedCounts || !g || !MandelbrotCounts(view, side, lockedCounts.get())) return 0;
    const std::uint16_t* counts = lockedCounts.get();

    // The stretch: subtract the smallest count, scale the largest to 65535,
    // keep the high byte. It depends on the count alone, so it is a table.
    std::uint16_t lo = 65535, hi = 0;
    for (std::size_t i = 0; i < cells; ++i) {
        lo = std::min(lo, counts[i]);
        hi = std::max(hi, counts[i]);
    }
    const double factor = 65535.0 / std::max(double(hi - lo), 0.0001);
    std::uint8_t stretch[65536];
    for (int c = lo; c <= hi; ++c)
        stretch[c] = std::uint8_t(TruncToInt(double(c - lo) * factor) >> 8);
    ParallelRows(side, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            const std::uint16_t* row = counts + std::size_t(y) * std::size_t(side);
            WriteRow24(g->Row(y), side,
                       [&](int x) { return std::uint32_t(stretch[row[x]]) * 0x010101u; });
        }
    });
    return grey.release();
}

// The picture is the centre of the grey square, coloured. If there is no
// memory for it, the whole square is handed back coloured instead.
MemHandle ColouredCentre(MemHandle grey, int w, int h, const std::uint8_t* table) {
    OwnedBlock out(NewImage(w, h));
    LockedImage o(out.get());
    LockedImage g(grey);
    if (!o || !g) return ColouriseImage(grey, table);
    const int side = g->width;
    const int ox = (side - w) / 2, oy = (side - h) / 2;
    // A grey's blue, green and red bytes in one word.
    std::uint32_t colour[256];
    for (int v = 0; v < 256; ++v)
        colour[v] = std::uint32_t(table[3 * v + 2]) | std::uint32_t(table[3 * v + 1]) << 8 |
                    std::uint32_t(table[3 * v]) << 16;
    ParallelRows(h, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            const std::uint8_t* src = g->Row(oy + y) + 3 * ox;
            WriteRow24(o->Row(y), w, [&](int x) { return colour[src[3 * x]]; });
        }
    });
    return out.release();
}

}  // namespace

MemHandle MandelbrotRender(MasterTextureRecord* rec, const RenderValues& values) {
    MandelbrotParameters* b = MandelbrotBlock(rec);
    const int w = values.width, h = values.depth;
    ReleaseGreySlot(kMandelbrotKind, rec);
    if (w < 1 || h < 1) return 0;

    const int side = std::max(w, h);
    MandelbrotView view;
    if (!ComputeMandelbrotView(*b, side, &view)) return 0;
    b->realStart = view.realStart;
    b->realEnd = view.realEnd;
    b->imaginaryStart = view.imaginaryStart;
    b->imaginaryEnd = view.imaginaryEnd;
    b->step = view.step;
    b->realStartCopy = view.realStart;
    b->stepCopy = view.step;
    const std::int32_t rect[4] = {0, 0, side - 1, side - 1};
    std::memcpy(b->viewRect, rect, sizeof rect);
    b->viewRectLeftCopy = 0;
    b->imaginaryBound = view.imaginaryStart - double(rect[3] - rect[1]) * view.step;
    b->iterationLimit = view.iterationLimit;

    OwnedBlock grey(MandelbrotGrey(view, side));
    if (!grey) return 0;
    FountainToColourTable(b->fountain, rec->colourTable);
    const MemHandle out = ColouredCentre(grey.get(), w, h, rec->colourTable);
    SetGreyImageAt(rec, kMandelbrotGreySlot, grey.release());
    return out;
}

// Navigation.

namespace {

#pragma pack(push, 1)
struct HistoryEntry {
    double centreRealOffset;
    double centreImaginaryOffset;
    std::uint32_t zoomLevel;
    std::uint32_t zoomFactor;
};
// The navigation data: a ring of the last views left, newest at top - 1.
struct History {
    std::uint32_t count;
    std::uint32_t top;  // the slot the next view goes to
    std::uint32_t reserved[2];
    HistoryEntry entries[kMandelbrotHistoryCapacity];
};
#pragma pack(pop)
static_assert(sizeof(History) == sizeof(MandelbrotParameters::navigation));

// The history as stored; a damaged header (from a file) reads as empty.
History ReadHistory(const MandelbrotParameters& b) {
    History h;
    std::memcpy(&h, b.navigation, sizeof h);
    if (h.count > std::uint32_t(kMandelbrotHistoryCapacity) ||
        h.top >= std::uint32_t(kMandelbrotHistoryCapacity))
        h.count = h.top = 0;
    return h;
}

void PushView(MandelbrotParameters* b) {
    History h = ReadHistory(*b);
    HistoryEntry& e = h.entries[h.top];
    e.centreRealOffset = b->centreRealOffset;
    e.centreImaginaryOffset = b->centreImaginaryOffset;
    e.zoomLevel = b->zoomLevel;
    e.zoomFactor = b->zoomFactor;
    h.top = (h.top + 1) % kMandelbrotHistoryCapacity;
    const std::uint32_t count = h.count + 1;
    h.count = std::min(count, std::uint32_t(kMandelbrotHistoryCapacity));
    std::memcpy(b->navigation, &h, sizeof h);
}

double NavigationMagnification(const MandelbrotParameters& b) {
    const double v = Magnification(b);
    return v > 0 ? v : 1.0;
}

// The point at the middle of the square (and so of the picture): the
// square spans 2.8 / v from its start along both axes.
void VisualCentre(const MandelbrotParameters& b, double* re, double* im) {
    const double v = NavigationMagnification(b);
    *re = b.centreRealOffset - 2.05 - 0.125 / v;
    *im = b.centreImaginaryOffset - 1.4;
}

void SetVisualCentre(MandelbrotParameters* b, double re, double im) {
    const double v = NavigationMagnification(*b);
    b->centreRealOffset = re + 2.05 + 0.125 / v;
    b->centreImaginaryOffset = im + 1.4;
}

}  // namespace

void MandelbrotPointAt(const MandelbrotParameters& b, int x, int y, int viewWidth, int viewHeight,
                       double* re, double* im) {
    const int width = b.width, depth = b.depth;  // packed fields: copied, never referenced
    const int w = std::clamp(width, 1, 32760), h = std::clamp(depth, 1, 32760);
    const int side = std::max(w, h);
    MandelbrotParameters view = b;
    if (view.zoomFactor == 0) view.zoomFactor = 1;
    MandelbrotView v;
    ComputeMandelbrotView(view, side, &v);
    const double px = viewWidth > 0 ? double(x) * w / viewWidth : double(x);
    const double py = viewHeight > 0 ? double(y) * h / viewHeight : double(y);
    *re = v.realStart + (double((side - w) / 2) + px) * v.step;
    *im = v.imaginaryStart + (double((side - h) / 2) + py) * v.step;
}

void MandelbrotStatusText(const MandelbrotParameters& b, double re, double im, char* out, int cap) {
    if (cap < 1) return;
    const std::uint64_t shown = std::uint64_t(b.zoomLevel) + 1;
    const int level = shown > std::uint64_t(INT_MAX) ? INT_MAX : int(shown);
    std::snprintf(out, std::size_t(cap), "REAL: %.5f   IMAG: %.5f   ZOOM LEVEL: %d", re, im, level);
}

void MandelbrotCentreOn(MandelbrotParameters* b, double re, double im) {
    PushView(b);
    SetVisualCentre(b, re, im);
}

bool MandelbrotZoomIn(MandelbrotParameters* b) {
    if (b->zoomLevel >= kMandelbrotMaxZoomLevel) return false;
    double re, im;
    VisualCentre(*b, &re, &im);
    PushView(b);
    b->zoomLevel = b->zoomLevel + 1;
    SetVisualCentre(b, re, im);
    return true;
}

bool MandelbrotZoomOut(MandelbrotParameters* b) {
    if (b->zoomLevel == 0) return false;
    double re, im;
    VisualCentre(*b, &re, &im);
    PushView(b);
    const std::uint32_t level = b->zoomLevel;
    b->zoomLevel = std::min(level, kMandelbrotMaxZoomLevel + 1) - 1;
    SetVisualCentre(b, re, im);
    return true;
}

bool MandelbrotBack(MandelbrotParameters* b) {
    History h = ReadHistory(*b);
    if (h.count == 0) return false;
    h.top = (h.top + kMandelbrotHistoryCapacity - 1) % kMandelbrotHistoryCapacity;
    h.count -= 1;
    const HistoryEntry& e = h.entries[h.top];
    b->centreRealOffset = e.centreRealOffset;
    b->centreImaginaryOffset = e.centreImaginaryOffset;
    b->zoomLevel = e.zoomLevel;
    b->zoomFactor = e.zoomFactor;
    std::memcpy(b->navigation, &h, sizeof h);
    return true;
}

int MandelbrotHistoryDepth(const MandelbrotParameters& b) {
    return int(ReadHistory(b).count);
}

const KindDescriptor kMandelbrotKind = {
    .name = "Mandelbrot",
    .key = "mandelbrot",
    .signature = "VANTMAND",
    .blockOffset = kMandelbrotOffset,
    .blockSize = sizeof(MandelbrotParameters),
    .oldBlockSize = sizeof(MandelbrotParameters13073),
    .page = &kMandelbrotPage,
    .flags = kKindHasColourMap | kKindRepaintExtra,
    .extraControl = kMandelbrotNavigatorId,
    .render = MandelbrotRender,
    .reset = MandelbrotReset,
    .query = MandelbrotQuery,
    .greySlot = kMandelbrotGreySlot,
    .presetList = kMandelbrotPresetListId,
    .takesHostSize = true,
};

}  // namespace tsn
