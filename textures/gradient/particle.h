// The "Particle" kind. Its place and size in the record are fixed; the
// fields inside are this system's own design: the common head, then the few
// settings its generator needs, then reserved zero bytes so later fields can
// be added without changing a preset's size.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/packed.h"
#include "plugin/catalogue.h"
#include "plugin/master_record.h"
#include "textures/gradient/fountain.h"

namespace tsn {

#pragma pack(push, 1)
// Particles wander at random until they stick to a growing cluster; the
// grey image records when each pixel joined and is coloured through the
// fountain, which the mutation grid can vary.
struct ParticleParameters {  // "VANTPART", 837 bytes, then an 8-byte grey image slot
    TSN_SEEDED_PICTURE_HEAD;
    std::int32_t particles;
    std::int32_t stickiness;  // percent chance of sticking on contact
    std::int32_t nuclei;      // clusters grown at once
    std::uint32_t flags;      // bit 0: particles wrap around the edges
    FountainDefinition fountain;
    std::uint8_t reserved2[204];
};
#pragma pack(pop)

TSN_SEEDED_PICTURE_HEAD_AT(ParticleParameters);
static_assert(sizeof(ParticleParameters) == 837);
static_assert(offsetof(ParticleParameters, particles) == 32);
static_assert(offsetof(ParticleParameters, stickiness) == 36);
static_assert(offsetof(ParticleParameters, nuclei) == 40);
static_assert(offsetof(ParticleParameters, flags) == 44);
static_assert(offsetof(ParticleParameters, fountain) == 48);
static_assert(offsetof(ParticleParameters, reserved2) == 633);

constexpr std::uint32_t kParticleOffset = 7034;
constexpr std::uint32_t kParticleGreySlot = kParticleOffset + sizeof(ParticleParameters);
static_assert(kParticleGreySlot == kWorkingSlots[1].offset);
constexpr std::uint32_t kParticleWrap = 1u << 0;

// Page controls.
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
};

extern const KindDescriptor kParticleKind;

}  // namespace tsn
