// Blocks and pages of five kinds whose generators are still to come:
// Absolute Noise, Clouds, Particle, Perturbation and Ripples. Their places
// and sizes in the record are fixed; the fields inside are this system's
// own design. Every block opens with the common head (signature, version,
// size), a reserved zero word, width and depth, and a seed, then the few
// settings its generator will need; the rest of the block is reserved and
// zero, so later fields can be added without changing a preset's size.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/platform.h"
#include "plugin/master_record.h"
#include "plugin/page_table.h"
#include "textures/gradient/fountain.h"

namespace tsn {

#pragma pack(push, 1)
#define TSN_DESIGNED_HEAD   \
    char signature[8];      \
    std::uint32_t version;  \
    std::uint32_t size;     \
    std::uint32_t reserved; \
    std::int32_t width;     \
    std::int32_t depth;     \
    std::int32_t seed

// Two-dimensional coherent noise of a chosen basis, optionally summed as a
// fractal, folded to its absolute value and shaded between two colours.
struct AbsNoiseParameters {  // "VANTABSN", 749 bytes
    TSN_DESIGNED_HEAD;
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

// A planet: a cloud field made by spectral synthesis on a square grid, wrapped
// on a sphere lit through an atmosphere, over a field of stars.
struct CloudsParameters {  // "VANTCLOU", 352 bytes
    TSN_DESIGNED_HEAD;
    std::int32_t gridBits;     // the synthesis grid is 2^gridBits square
    double roughness;          // spectral exponent: larger is smoother
    std::int32_t cover;        // percent of the sky under cloud
    std::int32_t radius;       // planet radius, percent of half the smaller side
    std::int32_t stars;        // stars per million pixels
    std::uint32_t atmosphere;  // draw the atmosphere's glow
    std::uint32_t atmosphereColour;
    std::uint32_t cloudColour;
    std::uint32_t spaceColour;
    std::uint8_t reserved2[280];
};

// Particles wander at random until they stick to a growing cluster; the
// grey image records when each pixel joined and is coloured through the
// fountain, which the mutation grid can vary.
struct ParticleParameters {  // "VANTPART", 837 bytes, then an 8-byte grey image slot
    TSN_DESIGNED_HEAD;
    std::int32_t particles;
    std::int32_t stickiness;  // percent chance of sticking on contact
    std::int32_t nuclei;      // clusters grown at once
    std::uint32_t flags;      // bit 0: particles wrap around the edges
    FountainDefinition fountain;
    std::uint8_t reserved2[204];
};

// A regular pattern (bands, rings or checks) whose coordinates are pushed
// about by summed noise before it is shaded between two colours.
struct PerturbationParameters {  // "VANTPERT", 1040 bytes
    TSN_DESIGNED_HEAD;
    std::uint32_t pattern;  // 0 bands, 1 rings, 2 checks
    double frequency;       // pattern periods across the longer side
    double strength;        // displacement, in pattern periods
    std::int32_t octaves;   // of the displacing noise
    std::uint32_t colour1;
    std::uint32_t colour2;
    std::uint8_t reserved2[976];
};

// Circular waves from drops at random places, added and shaded between a
// light and a dark colour.
struct RipplesParameters {  // "VANTRIPL", 68 bytes
    TSN_DESIGNED_HEAD;
    std::int32_t drops;
    std::int32_t wavelength;  // pixels
    std::int32_t damping;     // percent of amplitude lost over the picture's diagonal
    std::uint32_t lightColour;
    std::uint32_t darkColour;
    std::uint8_t reserved2[16];
};
#undef TSN_DESIGNED_HEAD
#pragma pack(pop)

#define TSN_DESIGNED_HEAD_AT(T)                 \
    static_assert(offsetof(T, version) == 8);   \
    static_assert(offsetof(T, size) == 12);     \
    static_assert(offsetof(T, reserved) == 16); \
    static_assert(offsetof(T, width) == 20);    \
    static_assert(offsetof(T, depth) == 24);    \
    static_assert(offsetof(T, seed) == 28)
TSN_DESIGNED_HEAD_AT(AbsNoiseParameters);
TSN_DESIGNED_HEAD_AT(CloudsParameters);
TSN_DESIGNED_HEAD_AT(ParticleParameters);
TSN_DESIGNED_HEAD_AT(PerturbationParameters);
TSN_DESIGNED_HEAD_AT(RipplesParameters);
#undef TSN_DESIGNED_HEAD_AT

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

static_assert(sizeof(CloudsParameters) == 352);
static_assert(offsetof(CloudsParameters, gridBits) == 32);
static_assert(offsetof(CloudsParameters, roughness) == 36);
static_assert(offsetof(CloudsParameters, cover) == 44);
static_assert(offsetof(CloudsParameters, radius) == 48);
static_assert(offsetof(CloudsParameters, stars) == 52);
static_assert(offsetof(CloudsParameters, atmosphere) == 56);
static_assert(offsetof(CloudsParameters, atmosphereColour) == 60);
static_assert(offsetof(CloudsParameters, cloudColour) == 64);
static_assert(offsetof(CloudsParameters, spaceColour) == 68);
static_assert(offsetof(CloudsParameters, reserved2) == 72);

static_assert(sizeof(ParticleParameters) == 837);
static_assert(offsetof(ParticleParameters, particles) == 32);
static_assert(offsetof(ParticleParameters, stickiness) == 36);
static_assert(offsetof(ParticleParameters, nuclei) == 40);
static_assert(offsetof(ParticleParameters, flags) == 44);
static_assert(offsetof(ParticleParameters, fountain) == 48);
static_assert(offsetof(ParticleParameters, reserved2) == 633);

static_assert(sizeof(PerturbationParameters) == 1040);
static_assert(offsetof(PerturbationParameters, pattern) == 32);
static_assert(offsetof(PerturbationParameters, frequency) == 36);
static_assert(offsetof(PerturbationParameters, strength) == 44);
static_assert(offsetof(PerturbationParameters, octaves) == 52);
static_assert(offsetof(PerturbationParameters, colour1) == 56);
static_assert(offsetof(PerturbationParameters, colour2) == 60);
static_assert(offsetof(PerturbationParameters, reserved2) == 64);

static_assert(sizeof(RipplesParameters) == 68);
static_assert(offsetof(RipplesParameters, drops) == 32);
static_assert(offsetof(RipplesParameters, wavelength) == 36);
static_assert(offsetof(RipplesParameters, damping) == 40);
static_assert(offsetof(RipplesParameters, lightColour) == 44);
static_assert(offsetof(RipplesParameters, darkColour) == 48);
static_assert(offsetof(RipplesParameters, reserved2) == 52);

constexpr std::uint32_t kAbsNoiseOffset = 29300;
constexpr std::uint32_t kCloudsOffset = 8015;
constexpr std::uint32_t kParticleOffset = 7034;
constexpr std::uint32_t kPerturbationOffset = 21468;
constexpr std::uint32_t kRipplesOffset = 29048;
constexpr std::uint32_t kParticleGreySlot = kParticleOffset + sizeof(ParticleParameters);
static_assert(kParticleGreySlot == kWorkingSlots[1].offset);
constexpr std::uint32_t kParticleWrap = 1u << 0;

// Page controls. Each kind keeps to its own range: Particle 239 .. 288,
// Clouds 306 .. 354, Perturbation 369 .. 399, Ripples 686 .. 717 and
// Absolute Noise 792 .. 830.
enum : std::uint32_t {
    kParticleWidthId = 239,
    kParticleDepthId = 241,
    kParticleSeedId = 243,
    kParticleFountainId = 245,
    kParticlePresetListId = 246,  // 247 add, 248 delete, 249 load
    kParticleCountId = 250,
    kParticleStickinessId = 252,
    kParticleNucleiId = 254,
    kParticleWrapId = 256,

    kCloudsWidthId = 306,
    kCloudsDepthId = 308,
    kCloudsPresetListId = 310,  // 311 add, 312 delete, 313 load
    kCloudsSeedId = 314,
    kCloudsGridId = 316,
    kCloudsRoughnessId = 318,
    kCloudsCoverId = 320,
    kCloudsRadiusId = 322,
    kCloudsStarsId = 324,
    kCloudsAtmosphereId = 326,
    kCloudsAtmosphereColourId = 327,
    kCloudsCloudColourId = 328,
    kCloudsSpaceColourId = 329,

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

    kRipplesWidthId = 686,
    kRipplesDepthId = 688,
    kRipplesSeedId = 690,
    kRipplesDropsId = 692,
    kRipplesWavelengthId = 694,
    kRipplesDampingId = 696,
    kRipplesLightColourId = 698,
    kRipplesDarkColourId = 699,
    kRipplesPresetListId = 714,  // 715 add, 716 delete, 717 load

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

const PageTable& AbsNoisePageTable();
const PageTable& CloudsPageTable();
const PageTable& ParticlePageTable();
const PageTable& PerturbationPageTable();
const PageTable& RipplesPageTable();

int AbsNoiseReset(MasterTextureRecord* rec);
int CloudsReset(MasterTextureRecord* rec);
int ParticleReset(MasterTextureRecord* rec);
int PerturbationReset(MasterTextureRecord* rec);
int RipplesReset(MasterTextureRecord* rec);

int ParticleRelease(MasterTextureRecord* rec);

std::int64_t AbsNoiseQuery(MasterTextureRecord* rec, int code);
std::int64_t CloudsQuery(MasterTextureRecord* rec, int code);
std::int64_t ParticleQuery(MasterTextureRecord* rec, int code);
std::int64_t PerturbationQuery(MasterTextureRecord* rec, int code);
std::int64_t RipplesQuery(MasterTextureRecord* rec, int code);

inline ParticleParameters* ParticleBlock(MasterTextureRecord* rec) {
    return BlockAs<ParticleParameters>(rec, kParticleOffset);
}
// The grey image kept after the block (copied in and out: its place in the
// record is unaligned).
MemHandle ParticleGreyImage(const MasterTextureRecord* rec);
void SetParticleGreyImage(MasterTextureRecord* rec, MemHandle grey);

}  // namespace tsn
