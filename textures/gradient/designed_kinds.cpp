#include "textures/gradient/designed_kinds.h"

#include <cstring>

#include "common/page.h"
#include "plugin/catalogue.h"
#include "plugin/page_fields.h"

namespace tsn {

namespace {

using namespace fields;

template <std::size_t N>
constexpr PageTable TableOf(const PageField (&f)[N], const std::uint32_t* extras) {
    return PageTable{f, int(N), extras};
}

#define ABSN(f) static_cast<std::uint32_t>(offsetof(AbsNoiseParameters, f))
const PageField kAbsNoiseFields[] = {
    Width(ABSN(width), kAbsNoiseWidthId, 800, 800),
    Depth(ABSN(depth), kAbsNoiseDepthId, 600, 800),
    Seed(ABSN(seed), kAbsNoiseSeedId, 1337),
    List("noiseType", "Noise:", ABSN(noiseType), kAbsNoiseTypeId,
         "Value;Perlin;Simplex;Cellular;White;Cubic", 1,
         "basis: 0 value, 1 Perlin, 2 simplex, 3 cellular, 4 white, 5 cubic"),
    List("fractal", "Fractal:", ABSN(fractalMode), kAbsNoiseFractalId, "None;FBm;Billow;Ridged", 1,
         "how octaves are summed: 0 none, 1 fBm, 2 billow, 3 ridged"),
    Edit("octaves", "Octaves:", ABSN(octaves), kAbsNoiseOctavesId, 1, 9, 5, 5, Role::Plain,
         "octaves summed when fractal is not none"),
    Scroll("frequency", "Frequency:", FieldType::F64, ABSN(frequency), kAbsNoiseFrequencyId, 0.5,
           64, 8.0, 10, "features across the longer side"),
    Scroll("lacunarity", "Lacunarity:", FieldType::F64, ABSN(lacunarity), kAbsNoiseLacunarityId,
           1.0, 4.0, 2.0, 100, "frequency factor from one octave to the next"),
    Scroll("gain", "Gain:", FieldType::F64, ABSN(gain), kAbsNoiseGainId, 0.1, 1.0, 0.5, 100,
           "amplitude factor from one octave to the next"),
    Check("invert", "Invert", FieldType::U32, ABSN(invert), kAbsNoiseInvertId, 0,
          "swap the low and high ends"),
    Colour("lowColour", "Low colour:", ABSN(lowColour), kAbsNoiseLowColourId, 0x000000,
           "colour where the noise is zero"),
    Colour("highColour", "High colour:", ABSN(highColour), kAbsNoiseHighColourId, 0xFFFFFF,
           "colour where the noise is largest"),
};
#undef ABSN

#define CLOU(f) static_cast<std::uint32_t>(offsetof(CloudsParameters, f))
const PageField kCloudsFields[] = {
    Width(CLOU(width), kCloudsWidthId, 800, 800),
    Depth(CLOU(depth), kCloudsDepthId, 600, 800),
    Seed(CLOU(seed), kCloudsSeedId, 4711),
    Scroll("gridBits", "Detail:", FieldType::I32, CLOU(gridBits), kCloudsGridId, 6, 10, 8, 1,
           "the cloud field is synthesised on a 2^detail square grid"),
    Scroll("roughness", "Roughness:", FieldType::F64, CLOU(roughness), kCloudsRoughnessId, 1.0, 3.0,
           2.2, 100, "spectral exponent of the cloud field; larger is smoother"),
    Scroll("cover", "Cover:", FieldType::I32, CLOU(cover), kCloudsCoverId, 0, 100, 50, 1,
           "percent of the planet under cloud"),
    Scroll("radius", "Radius:", FieldType::I32, CLOU(radius), kCloudsRadiusId, 10, 100, 80, 1,
           "planet radius, percent of half the smaller side"),
    Edit("stars", "Stars:", CLOU(stars), kCloudsStarsId, 0, 5000, 400, 400, Role::Plain,
         "stars per million pixels of space"),
    Check("atmosphere", "Atmosphere", FieldType::U32, CLOU(atmosphere), kCloudsAtmosphereId, 1,
          "a glowing rim of air around the planet"),
    Colour("atmosphereColour", "Air colour:", CLOU(atmosphereColour), kCloudsAtmosphereColourId,
           0xFFB060, "colour of the atmosphere's glow"),
    Colour("cloudColour", "Cloud colour:", CLOU(cloudColour), kCloudsCloudColourId, 0xFFFFFF,
           "colour of the clouds"),
    Colour("spaceColour", "Space colour:", CLOU(spaceColour), kCloudsSpaceColourId, 0x000000,
           "colour behind the planet and stars"),
};
#undef CLOU

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
    {"wrap", "Wrap edges", FieldType::FlagBit, PART(flags), 0, Control::CheckBox, kParticleWrapId,
     0, 1, 0, 0, 0, Role::Plain, "particles leaving one edge come back at the other"},
};
#undef PART

#define PERT(f) static_cast<std::uint32_t>(offsetof(PerturbationParameters, f))
const PageField kPerturbationFields[] = {
    Width(PERT(width), kPerturbationWidthId, 800, 800),
    Depth(PERT(depth), kPerturbationDepthId, 600, 800),
    Seed(PERT(seed), kPerturbationSeedId, 5150),
    List("pattern", "Pattern:", PERT(pattern), kPerturbationPatternId, "Bands;Rings;Checks", 1,
         "the regular pattern: 0 bands, 1 rings, 2 checks"),
    Scroll("frequency", "Frequency:", FieldType::F64, PERT(frequency), kPerturbationFrequencyId, 1,
           64, 8.0, 10, "pattern periods across the longer side"),
    Scroll("strength", "Strength:", FieldType::F64, PERT(strength), kPerturbationStrengthId, 0, 4,
           1.0, 100, "displacement, in pattern periods"),
    Edit("octaves", "Octaves:", PERT(octaves), kPerturbationOctavesId, 1, 8, 4, 4, Role::Plain,
         "octaves of the displacing noise"),
    Colour("colour1", "Colour 1:", PERT(colour1), kPerturbationColour1Id, 0x804020,
           "colour of the pattern's low end"),
    Colour("colour2", "Colour 2:", PERT(colour2), kPerturbationColour2Id, 0xF0E0E0,
           "colour of the pattern's high end"),
};
#undef PERT

#define RIPL(f) static_cast<std::uint32_t>(offsetof(RipplesParameters, f))
const PageField kRipplesFields[] = {
    Width(RIPL(width), kRipplesWidthId, 800, 800),
    Depth(RIPL(depth), kRipplesDepthId, 600, 800),
    Seed(RIPL(seed), kRipplesSeedId, 9973),
    Edit("drops", "Drops:", RIPL(drops), kRipplesDropsId, 1, 64, 8, 8, Role::Plain,
         "centres the waves spread from"),
    Scroll("wavelength", "Wavelength:", FieldType::I32, RIPL(wavelength), kRipplesWavelengthId, 4,
           200, 24, 1, "distance between crests in pixels"),
    Scroll("damping", "Damping:", FieldType::I32, RIPL(damping), kRipplesDampingId, 0, 100, 50, 1,
           "percent of a wave's height lost across the picture's diagonal"),
    Colour("lightColour", "Crests:", RIPL(lightColour), kRipplesLightColourId, 0xFFE0C0,
           "colour of the crests"),
    Colour("darkColour", "Troughs:", RIPL(darkColour), kRipplesDarkColourId, 0x804000,
           "colour of the troughs"),
};
#undef RIPL

// Each page's preset list and its add, delete and load buttons.
const std::uint32_t kAbsNoisePresets[] = {kAbsNoisePresetListId, 802, 803, 804, 0};
const std::uint32_t kCloudsPresets[] = {kCloudsPresetListId, 311, 312, 313, 0};
const std::uint32_t kParticlePresets[] = {kParticlePresetListId, 247, 248, 249, 0};
const std::uint32_t kPerturbationPresets[] = {kPerturbationPresetListId, 377, 378, 379, 0};
const std::uint32_t kRipplesPresets[] = {kRipplesPresetListId, 715, 716, 717, 0};

const PageTable kAbsNoisePage = TableOf(kAbsNoiseFields, kAbsNoisePresets);
const PageTable kCloudsPage = TableOf(kCloudsFields, kCloudsPresets);
const PageTable kParticlePage = TableOf(kParticleFields, kParticlePresets);
const PageTable kPerturbationPage = TableOf(kPerturbationFields, kPerturbationPresets);
const PageTable kRipplesPage = TableOf(kRipplesFields, kRipplesPresets);

template <class T>
T* ResetBlock(MasterTextureRecord* rec, std::uint32_t offset, const char* signature,
              const PageTable& page) {
    T* b = BlockAs<T>(rec, offset);
    std::memset(b, 0, sizeof *b);
    WriteHeader(b, signature, sizeof *b);
    ApplyBlockDefaults(page, reinterpret_cast<std::uint8_t*>(b));
    return b;
}

// Seed, plain-copy conversion and size: the whole query of a kind with one
// layout and no colour map.
std::int64_t PlainQuery(MasterTextureRecord* rec, int code, std::uint32_t seedId,
                        std::uint32_t size) {
    switch (code) {
        case kQuerySeed:
            return ReadPageInteger(rec->dialog, seedId);
        case kQueryConvertIn:
        case kQueryConvertOut:
            return CopyTransfer(rec, size);
        case kQueryBlockSize:
        case kQueryOldBlockSize:
            return size;
        default:
            return 0;
    }
}

}  // namespace

const PageTable& AbsNoisePageTable() {
    return kAbsNoisePage;
}
const PageTable& CloudsPageTable() {
    return kCloudsPage;
}
const PageTable& ParticlePageTable() {
    return kParticlePage;
}
const PageTable& PerturbationPageTable() {
    return kPerturbationPage;
}
const PageTable& RipplesPageTable() {
    return kRipplesPage;
}

int AbsNoiseReset(MasterTextureRecord* rec) {
    ResetBlock<AbsNoiseParameters>(rec, kAbsNoiseOffset, "VANTABSN", kAbsNoisePage);
    return 1;
}
int CloudsReset(MasterTextureRecord* rec) {
    ResetBlock<CloudsParameters>(rec, kCloudsOffset, "VANTCLOU", kCloudsPage);
    return 1;
}
int ParticleReset(MasterTextureRecord* rec) {
    ParticleParameters* b =
        ResetBlock<ParticleParameters>(rec, kParticleOffset, "VANTPART", kParticlePage);
    ResetFountain(&b->fountain);
    return 1;
}
int PerturbationReset(MasterTextureRecord* rec) {
    ResetBlock<PerturbationParameters>(rec, kPerturbationOffset, "VANTPERT", kPerturbationPage);
    return 1;
}
int RipplesReset(MasterTextureRecord* rec) {
    ResetBlock<RipplesParameters>(rec, kRipplesOffset, "VANTRIPL", kRipplesPage);
    return 1;
}

MemHandle ParticleGreyImage(const MasterTextureRecord* rec) {
    MemHandle h;
    std::memcpy(&h, reinterpret_cast<const std::uint8_t*>(rec) + kParticleGreySlot, sizeof h);
    return h;
}
void SetParticleGreyImage(MasterTextureRecord* rec, MemHandle grey) {
    std::memcpy(BlockAt(rec, kParticleGreySlot), &grey, sizeof grey);
}

int ParticleRelease(MasterTextureRecord* rec) {
    MemFree(ParticleGreyImage(rec));
    SetParticleGreyImage(rec, 0);
    return 1;
}

std::int64_t AbsNoiseQuery(MasterTextureRecord* rec, int code) {
    return PlainQuery(rec, code, kAbsNoiseSeedId, sizeof(AbsNoiseParameters));
}
std::int64_t CloudsQuery(MasterTextureRecord* rec, int code) {
    return PlainQuery(rec, code, kCloudsSeedId, sizeof(CloudsParameters));
}
std::int64_t PerturbationQuery(MasterTextureRecord* rec, int code) {
    return PlainQuery(rec, code, kPerturbationSeedId, sizeof(PerturbationParameters));
}
std::int64_t RipplesQuery(MasterTextureRecord* rec, int code) {
    return PlainQuery(rec, code, kRipplesSeedId, sizeof(RipplesParameters));
}

std::int64_t ParticleQuery(MasterTextureRecord* rec, int code) {
    switch (code) {
        case kQueryIndexImage:
            return std::int64_t(ParticleGreyImage(rec));
        case kQueryFountain:
            return std::int64_t(reinterpret_cast<std::uintptr_t>(&ParticleBlock(rec)->fountain));
        case kQueryFountainControl:
            return kParticleFountainId;
        default:
            return PlainQuery(rec, code, kParticleSeedId, sizeof(ParticleParameters));
    }
}

}  // namespace tsn
