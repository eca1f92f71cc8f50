// The "Terrain" kind: a map-like landscape. A spectral-synthesis height field
// coloured through two gradients, "Land" for the upper half of the heights
// and "Water" for the lower half.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "colour/fountain.h"
#include "core/packed.h"
#include "kind/descriptor.h"
#include "kind/master_record.h"
#include "kind/page_table.h"

namespace tsn {

#pragma pack(push, 1)
// Generic in its embedded fountains: the current layout holds 585-byte
// fountains, presets of earlier versions 581-byte ones.
template <class Fountain>
struct TerrainLayout {
    char signature[8];  // "VANTTERR"
    std::uint32_t version;
    std::uint32_t size;  // 2826 (2818 in the older layout)
    std::uint32_t reserved;
    std::int32_t width;
    std::int32_t depth;
    double density;    // fractal dimension
    double elevation;  // power law of the positive heights
    std::int32_t meshSize;
    std::int32_t meshPower;
    std::int32_t seed;
    Fountain land;
    Fountain water;
    std::uint8_t landPalette[768];  // R, G, B; rebuilt from `land` at each render
    std::uint8_t waterPalette[768];
    std::uint8_t reservedTail[64];
};
#pragma pack(pop)
using TerrainParameters = TerrainLayout<FountainDefinition>;
using TerrainParameters2818 = TerrainLayout<FountainDefinition581>;

static_assert(sizeof(TerrainParameters) == 2826);
static_assert(offsetof(TerrainParameters, reserved) == 16);
static_assert(offsetof(TerrainParameters, width) == 20);
static_assert(offsetof(TerrainParameters, depth) == 24);
static_assert(offsetof(TerrainParameters, density) == 28);
static_assert(offsetof(TerrainParameters, elevation) == 36);
static_assert(offsetof(TerrainParameters, meshSize) == 44);
static_assert(offsetof(TerrainParameters, meshPower) == 48);
static_assert(offsetof(TerrainParameters, seed) == 52);
static_assert(offsetof(TerrainParameters, land) == 56);
static_assert(offsetof(TerrainParameters, water) == 641);
static_assert(offsetof(TerrainParameters, landPalette) == 1226);
static_assert(offsetof(TerrainParameters, waterPalette) == 1994);
static_assert(offsetof(TerrainParameters, reservedTail) == 2762);
static_assert(sizeof(TerrainParameters2818) == 2818);
static_assert(offsetof(TerrainParameters2818, water) == 637);
static_assert(offsetof(TerrainParameters2818, landPalette) == 1218);
static_assert(offsetof(TerrainParameters2818, waterPalette) == 1986);

constexpr std::uint32_t kTerrainOffset = 22612;

// Page controls.
enum : std::uint32_t {
    kTerrainWidthId = 406,
    kTerrainDepthId = 408,
    kTerrainSeedId = 410,
    kTerrainPresetListId = 412,
    kTerrainDensityId = 416,
    kTerrainDensityLabelId = 418,
    kTerrainLandId = 419,
    kTerrainWaterId = 421,
    kTerrainMeshId = 423,
    kTerrainMeshLabelId = 425,
    kTerrainElevationId = 426,
    kTerrainElevationLabelId = 428,
};

MemHandle TerrainRender(MasterTextureRecord* rec, const RenderValues& values);
int TerrainReset(MasterTextureRecord* rec);
std::int64_t TerrainQuery(MasterTextureRecord* rec, int code);

inline TerrainParameters* TerrainBlock(MasterTextureRecord* rec) {
    return BlockAs<TerrainParameters>(rec, kTerrainOffset);
}

// The colour of interpolated height v: Land from 128 up, Water below.
inline const std::uint8_t* TerrainColour(double v, const std::uint8_t* land,
                                         const std::uint8_t* water) {
    if (v >= 128) return land + 3 * std::clamp(TruncToInt((v - 128) * 2), 0, 255);
    return water + 3 * std::clamp(TruncToInt(v * 2), 0, 255);
}

// The picture of a height map (see SpectralHeightMap) through the palettes;
// 0 when memory runs out.
MemHandle TerrainImage(const std::uint8_t* map, int n, int width, int depth,
                       const std::uint8_t* landPalette, const std::uint8_t* waterPalette);

extern const KindDescriptor kTerrainKind;

}  // namespace tsn
