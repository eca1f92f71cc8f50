// The "Absolute Noise" kind: a two-dimensional noise workbench. One of six
// bases (value, Perlin, simplex, cellular, white, cubic) is summed over
// octaves as fBm, billow or ridged noise, optionally warped by a smooth
// noise field, levelled to the picture's own spread, folded to its absolute
// value and coloured through the block's colour map. The tileable option
// makes the picture wrap seamlessly in both directions.
#pragma once

#include <cstddef>
#include <cstdint>

#include "colour/fountain.h"
#include "core/packed.h"
#include "kind/descriptor.h"
#include "kind/master_record.h"

namespace tsn {

#pragma pack(push, 1)
struct AbsNoiseParameters {  // "VANTABSN", 749 bytes
    TSN_SEEDED_PICTURE_HEAD;
    std::uint32_t noiseType;    // 0 value, 1 Perlin, 2 simplex, 3 cellular, 4 white, 5 cubic
    std::uint32_t fractalMode;  // 0 none, 1 fBm, 2 billow, 3 ridged
    std::int32_t octaves;       // 1 .. 10
    double frequency;           // features across the longer side
    double lacunarity;          // frequency factor per octave
    double gain;                // amplitude factor per octave
    std::uint32_t invert;       // nonzero: the colour map runs backwards
    std::uint32_t cellular;     // 0 nearest, 1 second nearest, 2 their difference
    std::uint32_t tileable;     // nonzero: the picture wraps seamlessly
    double warp;                // domain warp, in features; 0 for none
    double contrast;            // spread of the levelled noise over the colour map
    std::uint32_t absolute;     // nonzero: fold the noise to its absolute value
    FountainDefinition fountain;
    std::uint8_t reserved2[64];
};
#pragma pack(pop)

TSN_SEEDED_PICTURE_HEAD_AT(AbsNoiseParameters);
static_assert(sizeof(AbsNoiseParameters) == 749);
static_assert(offsetof(AbsNoiseParameters, noiseType) == 32);
static_assert(offsetof(AbsNoiseParameters, fractalMode) == 36);
static_assert(offsetof(AbsNoiseParameters, octaves) == 40);
static_assert(offsetof(AbsNoiseParameters, frequency) == 44);
static_assert(offsetof(AbsNoiseParameters, lacunarity) == 52);
static_assert(offsetof(AbsNoiseParameters, gain) == 60);
static_assert(offsetof(AbsNoiseParameters, invert) == 68);
static_assert(offsetof(AbsNoiseParameters, cellular) == 72);
static_assert(offsetof(AbsNoiseParameters, tileable) == 76);
static_assert(offsetof(AbsNoiseParameters, warp) == 80);
static_assert(offsetof(AbsNoiseParameters, contrast) == 88);
static_assert(offsetof(AbsNoiseParameters, absolute) == 96);
static_assert(offsetof(AbsNoiseParameters, fountain) == 100);
static_assert(offsetof(AbsNoiseParameters, reserved2) == 685);

constexpr std::uint32_t kAbsNoiseOffset = 29300;

// Page controls.
enum : std::uint32_t {
    kAbsNoiseWidthId = 792,
    kAbsNoiseDepthId = 794,
    kAbsNoiseSeedId = 796,
    kAbsNoiseTypeId = 798,
    kAbsNoiseFractalId = 799,
    kAbsNoisePresetListId = 801,  // 802 add, 803 delete, 804 load
    kAbsNoiseOctavesId = 805,
    kAbsNoiseFrequencyId = 807,
    kAbsNoiseLacunarityId = 809,
    kAbsNoiseGainId = 811,
    kAbsNoiseInvertId = 813,
    kAbsNoiseCellularId = 814,
    kAbsNoiseTileableId = 815,
    kAbsNoiseWarpId = 816,
    kAbsNoiseContrastId = 818,
    kAbsNoiseAbsoluteId = 820,
    kAbsNoiseFountainId = 821,
};

inline AbsNoiseParameters* AbsNoiseBlock(MasterTextureRecord* rec) {
    return BlockAs<AbsNoiseParameters>(rec, kAbsNoiseOffset);
}

MemHandle AbsNoiseRender(MasterTextureRecord* rec, const RenderValues& values);

extern const KindDescriptor kAbsNoiseKind;

}  // namespace tsn
