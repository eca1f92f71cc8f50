// The "Mandelbrot" kind: escape-time iteration over a square of the complex
// plane, counts stretched to the full range and coloured through the
// block's fountain, the picture cut out of the square's centre. The view
// (centre, zoom level, zoom factor) is changed by the page's navigation
// view, whose portable half lives here too.
#pragma once

#include <cstdint>

#include "colour/fountain.h"
#include "kind/descriptor.h"
#include "kind/master_record.h"
#include "kind/page_table.h"

namespace tsn {

#pragma pack(push, 1)
template <class Fountain>
struct MandelbrotLayout {
    char signature[8];  // "VANTMAND"
    std::uint32_t version;
    std::uint32_t size;  // 13077 (13073 in the older layout)
    std::uint32_t reserved0;
    std::int32_t width;
    std::int32_t depth;
    Fountain fountain;
    // Written by rendering.
    double realStart;
    double imaginaryStart;
    double realEnd;
    double imaginaryEnd;
    // The view centre, before the fixed shift of (2.05, 1.4).
    double centreRealOffset;
    double centreImaginaryOffset;
    // Written by rendering.
    double step;
    double realStartCopy;
    double imaginaryBound;
    double stepCopy;
    std::int32_t viewRect[4];  // left, top, right, bottom
    std::int32_t viewRectLeftCopy;
    std::uint32_t iterationLimit;
    std::uint32_t zoomLevel;  // 0: the whole set
    std::uint32_t zoomFactor;
    std::uint8_t navigation[12352];
};
#pragma pack(pop)
using MandelbrotParameters = MandelbrotLayout<FountainDefinition>;
using MandelbrotParameters13073 = MandelbrotLayout<FountainDefinition581>;

static_assert(sizeof(MandelbrotParameters) == 13077);
static_assert(offsetof(MandelbrotParameters, width) == 20);
static_assert(offsetof(MandelbrotParameters, depth) == 24);
static_assert(offsetof(MandelbrotParameters, fountain) == 28);
static_assert(offsetof(MandelbrotParameters, realStart) == 613);
static_assert(offsetof(MandelbrotParameters, imaginaryStart) == 621);
static_assert(offsetof(MandelbrotParameters, realEnd) == 629);
static_assert(offsetof(MandelbrotParameters, imaginaryEnd) == 637);
static_assert(offsetof(MandelbrotParameters, centreRealOffset) == 645);
static_assert(offsetof(MandelbrotParameters, centreImaginaryOffset) == 653);
static_assert(offsetof(MandelbrotParameters, step) == 661);
static_assert(offsetof(MandelbrotParameters, realStartCopy) == 669);
static_assert(offsetof(MandelbrotParameters, imaginaryBound) == 677);
static_assert(offsetof(MandelbrotParameters, stepCopy) == 685);
static_assert(offsetof(MandelbrotParameters, viewRect) == 693);
static_assert(offsetof(MandelbrotParameters, viewRectLeftCopy) == 709);
static_assert(offsetof(MandelbrotParameters, iterationLimit) == 713);
static_assert(offsetof(MandelbrotParameters, zoomLevel) == 717);
static_assert(offsetof(MandelbrotParameters, zoomFactor) == 721);
static_assert(offsetof(MandelbrotParameters, navigation) == 725);
static_assert(sizeof(MandelbrotParameters13073) == 13073);
static_assert(offsetof(MandelbrotParameters13073, realStart) == 609);
static_assert(offsetof(MandelbrotParameters13073, navigation) == 721);

constexpr std::uint32_t kMandelbrotOffset = 8367;
constexpr std::uint32_t kMandelbrotGreySlot = kMandelbrotOffset + sizeof(MandelbrotParameters);
static_assert(kMandelbrotGreySlot == kWorkingSlots[2].offset);

// Page controls.
enum : std::uint32_t {
    kMandelbrotWidthId = 355,
    kMandelbrotDepthId = 357,
    kMandelbrotFountainId = 359,
    kMandelbrotPresetListId = 360,
    kMandelbrotNavigatorId = 364,
    kMandelbrotStatusId = 365,
};

MemHandle MandelbrotRender(MasterTextureRecord* rec, const RenderValues& values);
int MandelbrotReset(MasterTextureRecord* rec);
std::int64_t MandelbrotQuery(MasterTextureRecord* rec, int code);

inline MandelbrotParameters* MandelbrotBlock(MasterTextureRecord* rec) {
    return BlockAs<MandelbrotParameters>(rec, kMandelbrotOffset);
}

// The square of the complex plane a view shows at side S.
struct MandelbrotView {
    double realStart, imaginaryStart, realEnd, imaginaryEnd;
    double step;                   // complex distance between pixels
    std::uint32_t iterationLimit;  // the iteration uses its low 16 bits
};
// False for a view that shows nothing (a zoom factor of 0).
bool ComputeMandelbrotView(const MandelbrotParameters& b, int side, MandelbrotView* view);

// Escape-time counts of the side x side square, row by row (row 0 at the
// top, the imaginary part growing downward), into counts[side * side].
// Uses both cores and SSE2 lanes; the counts are exactly those of the
// plain loop. False when memory runs out.
bool MandelbrotCounts(const MandelbrotView& view, int side, std::uint16_t* counts);
// The plain loop for one point.
std::uint16_t MandelbrotCount(double cr, double ci, std::uint16_t limit);

// Navigation, as the page's view control uses it. The control shows the
// last picture (width x depth) scaled to its own size.

// The complex point under (x, y) of a view control of viewWidth x
// viewHeight pixels.
void MandelbrotPointAt(const MandelbrotParameters& b, int x, int y, int viewWidth, int viewHeight,
                       double* re, double* im);
// The status line for a point: "REAL: %.5f   IMAG: %.5f   ZOOM LEVEL: %d",
// the zoom level counted from 1.
void MandelbrotStatusText(const MandelbrotParameters& b, double re, double im, char* out, int cap);
// Each of these keeps the view it leaves in the history (the block's
// navigation data), so MandelbrotBack can return to it.
void MandelbrotCentreOn(MandelbrotParameters* b, double re, double im);
// Zooming keeps the picture's centre where it is; zooming out stops at the
// whole set (returns false when there is nothing to do).
bool MandelbrotZoomIn(MandelbrotParameters* b);
bool MandelbrotZoomOut(MandelbrotParameters* b);
// Returns to the last view kept; false when the history is empty.
bool MandelbrotBack(MandelbrotParameters* b);
// Views kept in the history.
int MandelbrotHistoryDepth(const MandelbrotParameters& b);

constexpr std::uint32_t kMandelbrotMaxZoomLevel = 1000000;
constexpr std::uint32_t kMandelbrotMaxZoomFactor = 1000000;
constexpr int kMandelbrotHistoryCapacity = 514;

extern const KindDescriptor kMandelbrotKind;

}  // namespace tsn
