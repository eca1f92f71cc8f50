#include "textures/external/absnoise.h"

#include "plugin/page_fields.h"

namespace tsn {

namespace {

using namespace fields;

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

// The preset list and its add, delete and load buttons.
constexpr std::uint32_t kAbsNoisePresets[] = {kAbsNoisePresetListId, 802, 803, 804, 0};

const PageTable kAbsNoisePage = TableOf(kAbsNoiseFields, kAbsNoisePresets);

}  // namespace

const KindDescriptor kAbsNoiseKind = {
    .name = "Absolute Noise",
    .key = "absnoise",
    .signature = "VANTABSN",
    .blockOffset = kAbsNoiseOffset,
    .blockSize = sizeof(AbsNoiseParameters),
    .page = &kAbsNoisePage,
    .presetList = kAbsNoisePresetListId,
};

}  // namespace tsn
