#include "textures/gradient/particle.h"

#include "plugin/page_fields.h"

namespace tsn {

namespace {

using namespace fields;

#define PART(f) static_cast<std::uint32_t>(offsetof(ParticleParameters, f))
const PageField kParticleFields[] = {
    Width(PART(width), kParticleWidthId, 800, 800),
    Depth(PART(depth), kParticleDepthId, 600, 800),
    Seed(PART(seed), kParticleSeedId, 2906),
    Fountain("fountain", "Colours", PART(fountain), kParticleFountainId,
             "colour map of the grey values"),
    Edit("particles", "Particles:", PART(particles), kParticleCountId, 1000, 200000, 20000, 20000,
         Role::Plain, "particles released"),
    Scroll("stickiness", "Stickiness:", FieldType::I32, PART(stickiness), kParticleStickinessId, 1,
           100, 100, 1, "percent chance that a particle sticks on contact"),
    Edit("nuclei", "Nuclei:", PART(nuclei), kParticleNucleiId, 1, 32, 1, 1, Role::Plain,
         "clusters grown at once"),
    Flag("wrap", "Wrap edges", PART(flags), 0, kParticleWrapId, 0,
         "particles leaving one edge come back at the other"),
};
#undef PART

// The preset list and its add, delete and load buttons.
constexpr std::uint32_t kParticlePresets[] = {kParticlePresetListId, 247, 248, 249, 0};

const PageTable kParticlePage = TableOf(kParticleFields, kParticlePresets);

}  // namespace

const KindDescriptor kParticleKind = {
    .name = "Particle",
    .key = "particle",
    .signature = "VANTPART",
    .blockOffset = kParticleOffset,
    .blockSize = sizeof(ParticleParameters),
    .page = &kParticlePage,
    .flags = kKindHasColourMap,
    .greySlot = kParticleGreySlot,
    .presetList = kParticlePresetListId,
    .takesHostSize = true,
};

}  // namespace tsn
