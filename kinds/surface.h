// The "Surface" kind: a mottled, continuous surface. The spectral-synthesis
// height field of Terrain as a grey image, which the kind keeps, coloured
// through one gradient.
#pragma once

#include <cstddef>
#include <cstdint>

#include "colour/fountain.h"
#include "core/packed.h"
#include "kind/descriptor.h"
#include "kind/master_record.h"
#include "kind/page_table.h"

namespace tsn {

#pragma pack(push, 1)
template <class Fountain>
struct SurfaceLayout {
    char signature[8];  // "VANTSURF"
    std::uint32_t version;
    std::uint32_t size;  // 1473 (1469 in the older layout)
    std::uint32_t reserved;
    std::int32_t width;
    std::int32_t depth;
    double density;
    double elevation;
    std::int32_t meshSize;
    std::int32_t meshPower;
    std::int32_t seed;
    Fountain gradient;
    std::uint8_t palette[768];  // carried along, not read by the render
    std::uint8_t reservedTail[64];
};
#pragma pack(pop)
using SurfaceParameters = SurfaceLayout<FountainDefinition>;
using SurfaceParameters1469 = SurfaceLayout<FountainDefinition581>;

static_assert(sizeof(SurfaceParameters) == 1473);
static_assert(offsetof(SurfaceParameters, width) == 20);
static_assert(offsetof(SurfaceParameters, depth) == 24);
static_assert(offsetof(SurfaceParameters, density) == 28);
static_assert(offsetof(SurfaceParameters, elevation) == 36);
static_assert(offsetof(SurfaceParameters, meshSize) == 44);
static_assert(offsetof(SurfaceParameters, meshPower) == 48);
static_assert(offsetof(SurfaceParameters, seed) == 52);
static_assert(offsetof(SurfaceParameters, gradient) == 56);
static_assert(offsetof(SurfaceParameters, palette) == 641);
static_assert(offsetof(SurfaceParameters, reservedTail) == 1409);
static_assert(sizeof(SurfaceParameters1469) == 1469);
static_assert(offsetof(SurfaceParameters1469, palette) == 637);

constexpr std::uint32_t kSurfaceOffset = 25438;
// The grey image is kept in the record's free bytes right after the block
// (at an unaligned place, so it is copied in and out, never addressed).
constexpr std::uint32_t kSurfaceGreySlot = kSurfaceOffset + sizeof(SurfaceParameters);
static_assert(kSurfaceGreySlot == kWorkingSlots[3].offset);

// Page controls.
enum : std::uint32_t {
    kSurfaceWidthId = 429,
    kSurfaceDepthId = 431,
    kSurfaceSeedId = 433,
    kSurfacePresetListId = 435,
    kSurfaceDensityId = 439,
    kSurfaceDensityLabelId = 441,
    kSurfaceGradientId = 442,
    kSurfaceMeshId = 443,
    kSurfaceMeshLabelId = 445,
    kSurfaceElevationId = 446,
    kSurfaceElevationLabelId = 448,
};

MemHandle SurfaceRender(MasterTextureRecord* rec, const RenderValues& values);
int SurfaceReset(MasterTextureRecord* rec);
std::int64_t SurfaceQuery(MasterTextureRecord* rec, int code);

inline SurfaceParameters* SurfaceBlock(MasterTextureRecord* rec) {
    return BlockAs<SurfaceParameters>(rec, kSurfaceOffset);
}

// The grey level of interpolated height v.
inline int SurfaceGrey(double v) {
    const int g = TruncToInt(v);
    return g < 1 ? 0 : g >= 255 ? 255 : g;
}

// The grey picture of a height map (see SpectralHeightMap); 0 when memory
// runs out.
MemHandle SurfaceGreyFromMap(const std::uint8_t* map, int n, int width, int depth);

extern const KindDescriptor kSurfaceKind;

}  // namespace tsn
