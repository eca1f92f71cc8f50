// The "Perturbation" kind: a regular pattern (bands, rings or checks) whose
// sample points are pushed about by fractal noise before the pattern's wave
// is read and coloured through the block's colour map. Marble, wood grain,
// agate and warped tiles come from the same few settings.
#pragma once

#include <cstddef>
#include <cstdint>

#include "colour/fountain.h"
#include "core/packed.h"
#include "kind/descriptor.h"
#include "kind/master_record.h"

namespace tsn {

#pragma pack(push, 1)
struct PerturbationParameters {  // "VANTPERT", 1040 bytes
    TSN_SEEDED_PICTURE_HEAD;
    std::uint32_t pattern;      // 0 bands, 1 rings, 2 checks
    double frequency;           // pattern periods across the longer side
    double strength;            // displacement, in pattern periods per spread of the noise
    std::int32_t octaves;       // of the displacing noise, 1 .. 10
    std::uint32_t wave;         // 0 sine, 1 triangle, 2 sawtooth, 3 square
    std::uint32_t noiseType;    // basis of the displacing noise (as Absolute Noise)
    double angle;               // degrees, counterclockwise, of the bands and checks
    double noiseScale;          // noise features across the longer side
    double roughness;           // amplitude factor per octave of the noise
    std::uint32_t fractalMode;  // 0 none, 1 fBm, 2 billow, 3 ridged
    FountainDefinition fountain;
    std::uint8_t reserved2[363];
};
#pragma pack(pop)

TSN_SEEDED_PICTURE_HEAD_AT(PerturbationParameters);
static_assert(sizeof(PerturbationParameters) == 1040);
static_assert(offsetof(PerturbationParameters, pattern) == 32);
static_assert(offsetof(PerturbationParameters, frequency) == 36);
static_assert(offsetof(PerturbationParameters, strength) == 44);
static_assert(offsetof(PerturbationParameters, octaves) == 52);
static_assert(offsetof(PerturbationParameters, wave) == 56);
static_assert(offsetof(PerturbationParameters, noiseType) == 60);
static_assert(offsetof(PerturbationParameters, angle) == 64);
static_assert(offsetof(PerturbationParameters, noiseScale) == 72);
static_assert(offsetof(PerturbationParameters, roughness) == 80);
static_assert(offsetof(PerturbationParameters, fractalMode) == 88);
static_assert(offsetof(PerturbationParameters, fountain) == 92);
static_assert(offsetof(PerturbationParameters, reserved2) == 677);

constexpr std::uint32_t kPerturbationOffset = 21468;

// Page controls.
enum : std::uint32_t {
    kPerturbationWidthId = 369,
    kPerturbationDepthId = 371,
    kPerturbationSeedId = 373,
    kPerturbationPatternId = 375,
    kPerturbationPresetListId = 376,  // 377 add, 378 delete, 379 load
    kPerturbationFrequencyId = 380,
    kPerturbationStrengthId = 382,
    kPerturbationOctavesId = 384,
    kPerturbationWaveId = 386,
    kPerturbationNoiseTypeId = 387,
    kPerturbationAngleId = 388,
    kPerturbationNoiseScaleId = 390,
    kPerturbationRoughnessId = 392,
    kPerturbationFractalId = 394,
    kPerturbationFountainId = 395,
};

inline PerturbationParameters* PerturbationBlock(MasterTextureRecord* rec) {
    return BlockAs<PerturbationParameters>(rec, kPerturbationOffset);
}

MemHandle PerturbationRender(MasterTextureRecord* rec, const RenderValues& values);

// One period of the colour wave (0 sine, 1 triangle, 2 sawtooth, 3 square),
// 0 .. 1, at each of a row of w phases t (in periods), in place.
void PerturbationWaveRow(std::uint32_t wave, int w, double* t);

extern const KindDescriptor kPerturbationKind;

}  // namespace tsn
