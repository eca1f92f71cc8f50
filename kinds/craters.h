// The "Craters" kind: a large number of random impacts on a 16-bit height
// field, most of them tiny pits and a few of them bowls with rims, lit from
// the side so that the slope between horizontal neighbours becomes the
// brightness of one surface colour.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/image.h"
#include "core/random.h"
#include "kind/descriptor.h"
#include "kind/master_record.h"
#include "kind/page_table.h"

namespace tsn {

// The largest density the page offers.
constexpr std::uint32_t kCratersMaxDensity = 100000;

#pragma pack(push, 1)
// The current layout; the older one is 4 bytes shorter at the end.
template <std::size_t Reserved>
struct CratersLayout {
    char signature[8];  // "VANTPART", as the Particle block: it has always been tagged so
    std::uint32_t version;
    std::uint32_t size;  // 136 (132 in the older layout)
    std::uint32_t reserved0;
    std::int32_t width;
    std::int32_t depth;
    std::uint32_t seed;
    std::uint32_t density;  // impacts are density x 20
    double depthExponent;   // crater depth grows as radius to this power
    double rimLevel;        // height of the rim shape above the bowl
    double shadeExponent;   // sharpness of the slope lighting
    std::uint32_t surfaceColour;
    std::uint64_t image;  // working field of the render, meaningless when stored
    std::uint8_t reserved[Reserved];
};
#pragma pack(pop)
using CratersParameters = CratersLayout<64>;
using CratersParameters132 = CratersLayout<60>;

static_assert(sizeof(CratersParameters) == 136);
static_assert(sizeof(CratersParameters132) == 132);
static_assert(offsetof(CratersParameters, reserved0) == 16);
static_assert(offsetof(CratersParameters, width) == 20);
static_assert(offsetof(CratersParameters, depth) == 24);
static_assert(offsetof(CratersParameters, seed) == 28);
static_assert(offsetof(CratersParameters, density) == 32);
static_assert(offsetof(CratersParameters, depthExponent) == 36);
static_assert(offsetof(CratersParameters, rimLevel) == 44);
static_assert(offsetof(CratersParameters, shadeExponent) == 52);
static_assert(offsetof(CratersParameters, surfaceColour) == 60);
static_assert(offsetof(CratersParameters, image) == 64);
static_assert(offsetof(CratersParameters, reserved) == 72);

constexpr std::uint32_t kCratersOffset = 7879;

// Page controls.
enum : std::uint32_t {
    kCratersWidthId = 289,
    kCratersDepthId = 291,
    kCratersSeedId = 293,
    kCratersPresetListId = 295,
    kCratersSurfaceColourId = 299,
    kCratersDensityId = 300,
    kCratersDepthExponentId = 303,
};

MemHandle CratersRender(MasterTextureRecord* rec, const RenderValues& values);
std::int64_t CratersQuery(MasterTextureRecord* rec, int code);

inline CratersParameters* CratersBlock(MasterTextureRecord* rec) {
    return BlockAs<CratersParameters>(rec, kCratersOffset);
}

// The height field is addressed H[y x depth + x] (the row stride is the
// picture's depth, not its width), so it needs this many cells.
std::size_t CratersFieldCells(int width, int depth);

// The impacts, drawn from `rng`, on a field of CratersFieldCells cells.
// A tileable field (`wrap`) keeps its rows `width` apart and wraps the
// impacts and their rims around its edges. With `exact`, a second field of
// as many cells gets each cell's last value before it was rounded to whole
// units (the rounded field rises by one unit where it does by one).
void CratersImpacts(const CratersParameters& b, int width, int depth, Rng& rng,
                    std::uint16_t* field, bool wrap = false, float* exact = nullptr);

// Brightness by slope k = -52 .. 52, at table[k + 52].
void CratersLightingTable(double shadeExponent, int table[105]);

// Lights the field into the picture (width x depth, black); the last
// column is never written.
void CratersShade(const std::uint16_t* field, const int table[105], std::uint32_t surfaceColour,
                  const ImageView& picture, bool wrap = false);

extern const KindDescriptor kCratersKind;

}  // namespace tsn
