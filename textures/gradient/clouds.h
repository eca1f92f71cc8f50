// The "Clouds" kind. Its place and size in the record are fixed; the
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
// A planet: a cloud field made by spectral synthesis on a square grid, wrapped
// on a sphere lit through an atmosphere, over a field of stars.
struct CloudsParameters {  // "VANTCLOU", 352 bytes
    TSN_SEEDED_PICTURE_HEAD;
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
#pragma pack(pop)

TSN_SEEDED_PICTURE_HEAD_AT(CloudsParameters);
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

constexpr std::uint32_t kCloudsOffset = 8015;

// Page controls.
enum : std::uint32_t {
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
};

extern const KindDescriptor kCloudsKind;

}  // namespace tsn
