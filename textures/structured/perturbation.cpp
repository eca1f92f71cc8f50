#include "textures/structured/perturbation.h"

#include "plugin/page_fields.h"

namespace tsn {

namespace {

using namespace fields;

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

// The preset list and its add, delete and load buttons.
constexpr std::uint32_t kPerturbationPresets[] = {kPerturbationPresetListId, 377, 378, 379, 0};

const PageTable kPerturbationPage = TableOf(kPerturbationFields, kPerturbationPresets);

}  // namespace

const KindDescriptor kPerturbationKind = {
    .name = "Perturbation",
    .key = "perturb",
    .signature = "VANTPERT",
    .blockOffset = kPerturbationOffset,
    .blockSize = sizeof(PerturbationParameters),
    .page = &kPerturbationPage,
    .presetList = kPerturbationPresetListId,
    .takesHostSize = true,
};

}  // namespace tsn
