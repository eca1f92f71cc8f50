#include "textures/gradient/clouds.h"

#include "plugin/page_fields.h"

namespace tsn {

namespace {

using namespace fields;

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

// The preset list and its add, delete and load buttons.
constexpr std::uint32_t kCloudsPresets[] = {kCloudsPresetListId, 311, 312, 313, 0};

const PageTable kCloudsPage = TableOf(kCloudsFields, kCloudsPresets);

}  // namespace

const KindDescriptor kCloudsKind = {
    .name = "Clouds",
    .key = "clouds",
    .signature = "VANTCLOU",
    .blockOffset = kCloudsOffset,
    .blockSize = sizeof(CloudsParameters),
    .page = &kCloudsPage,
    .presetList = kCloudsPresetListId,
    .takesHostSize = true,
};

}  // namespace tsn
