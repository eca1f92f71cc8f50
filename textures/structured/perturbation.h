// The "Perturbation" kind. Its place and size in the record are fixed; the
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
// A regular pattern (bands, rings or checks) whose coordinates are pushed
// about by summed noise before it is shaded between two colours.
struct PerturbationParameters {  // "VANTPERT", 1040 bytes
    TSN_SEEDED_PICTURE_HEAD;
    std::uint32_t pattern;  // 0 bands, 1 rings, 2 checks
    double frequency;       // pattern periods across the longer side
    double strength;        // displacement, in pattern periods
    std::int32_t octaves;   // of the displacing noise
    std::uint32_t colour1;
    std::uint32_t colour2;
    std::uint8_t reserved2[976];
};
#pragma pack(pop)

TSN_SEEDED_PICTURE_HEAD_AT(PerturbationParameters);
static_assert(sizeof(PerturbationParameters) == 1040);
static_assert(offsetof(PerturbationParameters, pattern) == 32);
static_assert(offsetof(PerturbationParameters, frequency) == 36);
static_assert(offsetof(PerturbationParameters, strength) == 44);
static_assert(offsetof(PerturbationParameters, octaves) == 52);
static_assert(offsetof(PerturbationParameters, colour1) == 56);
static_assert(offsetof(PerturbationParameters, colour2) == 60);
static_assert(offsetof(PerturbationParameters, reserved2) == 64);

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
    kPerturbationColour1Id = 386,
    kPerturbationColour2Id = 387,
};

extern const KindDescriptor kPerturbationKind;

}  // namespace tsn
