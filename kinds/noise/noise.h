// The "Noise" kind: three-dimensional Perlin gradient noise sampled on a
// plane, optionally summed over octaves, stretched to the full grey range and
// coloured through the block's fountain.
#pragma once

#include <cstdint>

#include "colour/fountain.h"
#include "core/random.h"
#include "kind/descriptor.h"
#include "kind/master_record.h"
#include "kind/page_table.h"

namespace tsn {

#pragma pack(push, 1)
// The block, generic in its embedded fountain: the current layout holds a
// 585-byte fountain, presets of earlier versions the 581-byte one.
template <class Fountain>
struct NoiseLayout {
    char signature[8];  // "VANTPERL"
    std::uint32_t version;
    std::uint32_t size;   // 725 (721 in the older layout)
    std::uint32_t flags;  // bit 0: sum of octaves
    std::int32_t width;
    std::int32_t depth;
    double xScale;
    double yScale;
    double scale;
    double zDivisor;
    std::uint32_t reservedCount;
    std::uint32_t squareAspect;
    std::int32_t seed;
    std::uint32_t dimension;
    Fountain fountain;
    std::int32_t layers;
    std::uint8_t reserved[60];
};
#pragma pack(pop)
using NoiseParameters = NoiseLayout<FountainDefinition>;
using NoiseParameters721 = NoiseLayout<FountainDefinition581>;

static_assert(sizeof(NoiseParameters) == 725);
static_assert(offsetof(NoiseParameters, flags) == 16);
static_assert(offsetof(NoiseParameters, width) == 20);
static_assert(offsetof(NoiseParameters, depth) == 24);
static_assert(offsetof(NoiseParameters, xScale) == 28);
static_assert(offsetof(NoiseParameters, yScale) == 36);
static_assert(offsetof(NoiseParameters, scale) == 44);
static_assert(offsetof(NoiseParameters, zDivisor) == 52);
static_assert(offsetof(NoiseParameters, reservedCount) == 60);
static_assert(offsetof(NoiseParameters, squareAspect) == 64);
static_assert(offsetof(NoiseParameters, seed) == 68);
static_assert(offsetof(NoiseParameters, dimension) == 72);
static_assert(offsetof(NoiseParameters, fountain) == 76);
static_assert(offsetof(NoiseParameters, layers) == 661);
static_assert(offsetof(NoiseParameters, reserved) == 665);
static_assert(sizeof(NoiseParameters721) == 721);
static_assert(offsetof(NoiseParameters721, layers) == 657);

constexpr std::uint32_t kNoiseOffset = 6193;
constexpr std::uint32_t kNoiseGreySlot = kNoiseOffset + sizeof(NoiseParameters);
static_assert(kNoiseGreySlot == kWorkingSlots[0].offset);
constexpr std::uint32_t kNoiseSum = 1u << 0;

// Page controls.
enum : std::uint32_t {
    kNoiseWidthId = 200,
    kNoiseDepthId = 202,
    kNoiseScaleId = 204,
    kNoiseXScaleId = 207,
    kNoiseYScaleId = 210,
    kNoiseSquareId = 213,
    kNoiseSeedId = 214,
    kNoiseFountainId = 216,
    kNoisePresetListId = 217,
    kNoiseSumId = 221,
    kNoiseLayersId = 222,
};

extern const KindDescriptor kNoiseKind;

MemHandle NoiseRender(MasterTextureRecord* rec, const RenderValues& values);
std::int64_t NoiseQuery(MasterTextureRecord* rec, int code);

inline NoiseParameters* NoiseBlock(MasterTextureRecord* rec) {
    return BlockAs<NoiseParameters>(rec, kNoiseOffset);
}

// The lattice one layer evaluates: the permutation and unit gradients of
// Perlin's reference noise, 256 entries repeated to 514.
struct NoiseLattice {
    std::int32_t p[514];
    float g3[514][3];
};

// Consumes the draws of one layer's auxiliary table (dimension 1 .. 3)
// exactly as the table is built; false for any other dimension.
bool DrawNoiseAuxiliaryTable(Rng& rng, std::uint32_t dimension);
// Builds the lattice from the continuing sequence, with all the draws of the
// one- and two-dimensional gradient tables in their places.
void BuildNoiseLattice(Rng& rng, NoiseLattice* lattice);

}  // namespace tsn
