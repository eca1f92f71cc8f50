// The "Absolute Noise" kind. Its place and size in the record are fixed; the
// fields inside are this system's own design: the common head, then the few
// settings its generator needs, then reserved zero bytes so later fields can
// be added without changing a preset's size.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/packed.h"
#include "plugin/catalogue.h"
#include "plugin/master_record.h"

namespace tsn {

#pragma pack(push, 1)
// Two-dimensional coherent noise of a chosen basis, optionally summed as a
// fractal, folded to its absolute value and shaded between two colours.
struct AbsNoiseParameters {  // "VANTABSN", 749 bytes
    TSN_SEEDED_PICTURE_HEAD;
    std::uint32_t noiseType;    // 0 value, 1 Perlin, 2 simplex, 3 cellular, 4 white, 5 cubic
    std::uint32_t fractalMode;  // 0 none, 1 fBm, 2 billow, 3 ridged
    std::int32_t octaves;
    double frequency;  // features across the longer side
    double lacunarity;
    double gain;
    std::uint32_t invert;
    std::uint32_t lowColour;
    std::uint32_t highColour;
    std::uint8_t reserved2[669];
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
static_assert(offsetof(AbsNoiseParameters, lowColour) == 72);
static_assert(offsetof(AbsNoiseParameters, highColour) == 76);
static_assert(offsetof(AbsNoiseParameters, reserved2) == 80);

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
    kAbsNoiseLowColourId = 814,
    kAbsNoiseHighColourId = 815,
};

extern const KindDescriptor kAbsNoiseKind;

}  // namespace tsn
