// The "Ripples" kind. Its place and size in the record are fixed; the
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
// Circular waves from drops at random places, added and shaded between a
// light and a dark colour.
struct RipplesParameters {  // "VANTRIPL", 68 bytes
    TSN_SEEDED_PICTURE_HEAD;
    std::int32_t drops;
    std::int32_t wavelength;  // pixels
    std::int32_t damping;     // percent of amplitude lost over the picture's diagonal
    std::uint32_t lightColour;
    std::uint32_t darkColour;
    std::uint8_t reserved2[16];
};
#pragma pack(pop)

TSN_SEEDED_PICTURE_HEAD_AT(RipplesParameters);
static_assert(sizeof(RipplesParameters) == 68);
static_assert(offsetof(RipplesParameters, drops) == 32);
static_assert(offsetof(RipplesParameters, wavelength) == 36);
static_assert(offsetof(RipplesParameters, damping) == 40);
static_assert(offsetof(RipplesParameters, lightColour) == 44);
static_assert(offsetof(RipplesParameters, darkColour) == 48);
static_assert(offsetof(RipplesParameters, reserved2) == 52);

constexpr std::uint32_t kRipplesOffset = 29048;

// Page controls.
enum : std::uint32_t {
    kRipplesWidthId = 686,
    kRipplesDepthId = 688,
    kRipplesSeedId = 690,
    kRipplesDropsId = 692,
    kRipplesWavelengthId = 694,
    kRipplesDampingId = 696,
    kRipplesLightColourId = 698,
    kRipplesDarkColourId = 699,
    kRipplesPresetListId = 714,  // 715 add, 716 delete, 717 load
};

extern const KindDescriptor kRipplesKind;

}  // namespace tsn
