#include "textures/structured/ripples.h"

#include "plugin/page_fields.h"

namespace tsn {

namespace {

using namespace fields;

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

// The preset list and its add, delete and load buttons.
constexpr std::uint32_t kRipplesPresets[] = {kRipplesPresetListId, 715, 716, 717, 0};

const PageTable kRipplesPage = TableOf(kRipplesFields, kRipplesPresets);

}  // namespace

const KindDescriptor kRipplesKind = {
    .name = "Ripples",
    .key = "ripples",
    .signature = "VANTRIPL",
    .blockOffset = kRipplesOffset,
    .blockSize = sizeof(RipplesParameters),
    .page = &kRipplesPage,
    .presetList = kRipplesPresetListId,
};

}  // namespace tsn
