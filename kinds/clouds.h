// The "Clouds" kind. Its place and size in the record are fixed; the
// fields inside are this system's own design: the common head, then the few
// settings its generator needs, then reserved zero bytes so later fields can
// be added without changing a preset's size.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/packed.h"
#include "kind/descriptor.h"
#include "kind/master_record.h"

namespace tsn {

#pragma pack(push, 1)
// A planet: a cloud field made by spectral synthesis on a square grid,
// wrapped on a sphere over oceans, land and ice, lit by a distant sun with a
// terminator, a glowing atmosphere at the limb, over a field of stars.
//
// Each Fourier coefficient of the field is drawn from its own seed (the
// block's seed and its frequency), so a smaller grid holds the same field
// with less detail: a planet a few pixels across uses a small grid, a large
// one the full grid plus scaled copies of the field for finer detail, and
// the planet looks the same at every size.
struct CloudsParameters {  // "VANTCLOU", 352 bytes
    TSN_SEEDED_PICTURE_HEAD;
    std::int32_t gridBits;     // the synthesis grid is at most 2^gridBits square
    double roughness;          // the field's amplitudes fall as frequency^-roughness
    std::int32_t cover;        // percent of the planet under cloud
    std::int32_t radius;       // planet radius, percent of half the smaller side
    std::int32_t stars;        // stars per million pixels
    std::uint32_t atmosphere;  // draw the atmosphere's glow
    std::uint32_t atmosphereColour;
    std::uint32_t cloudColour;
    std::uint32_t spaceColour;
    std::uint32_t oceanColour;
    std::uint32_t landColour;
    std::int32_t land;        // percent of the surface that is land
    double scale;             // size of the weather: field periods per planet radius
    std::int32_t swirl;       // percent: how far the clouds are twisted
    std::int32_t bands;       // percent: pull the clouds into bands along latitudes
    std::int32_t lightAngle;  // degrees, where the sun is in the picture (0 right, 90 top)
    std::int32_t phase;       // degrees between viewer and sun seen from the planet
    std::int32_t spin;        // degrees the planet is turned about its axis
    std::int32_t tilt;        // degrees the north pole leans toward the viewer
    std::int32_t centreX;     // planet centre, percent of half the width right of centre
    std::int32_t centreY;     // and percent of half the depth below it
    std::int32_t glow;        // atmosphere height, percent of the radius
    std::int32_t ice;         // polar caps, percent of the way from pole to equator
    std::uint8_t reserved2[220];
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
static_assert(offsetof(CloudsParameters, oceanColour) == 72);
static_assert(offsetof(CloudsParameters, landColour) == 76);
static_assert(offsetof(CloudsParameters, land) == 80);
static_assert(offsetof(CloudsParameters, scale) == 84);
static_assert(offsetof(CloudsParameters, swirl) == 92);
static_assert(offsetof(CloudsParameters, bands) == 96);
static_assert(offsetof(CloudsParameters, lightAngle) == 100);
static_assert(offsetof(CloudsParameters, phase) == 104);
static_assert(offsetof(CloudsParameters, spin) == 108);
static_assert(offsetof(CloudsParameters, tilt) == 112);
static_assert(offsetof(CloudsParameters, centreX) == 116);
static_assert(offsetof(CloudsParameters, centreY) == 120);
static_assert(offsetof(CloudsParameters, glow) == 124);
static_assert(offsetof(CloudsParameters, ice) == 128);
static_assert(offsetof(CloudsParameters, reserved2) == 132);

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
    kCloudsOceanColourId = 330,
    kCloudsLandColourId = 331,
    kCloudsLandId = 332,
    kCloudsScaleId = 334,
    kCloudsSwirlId = 336,
    kCloudsBandsId = 338,
    kCloudsLightAngleId = 340,
    kCloudsPhaseId = 342,
    kCloudsSpinId = 344,
    kCloudsTiltId = 346,
    kCloudsCentreXId = 348,
    kCloudsCentreYId = 350,
    kCloudsGlowId = 352,
    kCloudsIceId = 354,
};

// The cloud field's grid for a planet: 2^bits real samples of unit variance,
// or 0 when memory runs out. Coefficient (kx, ky) depends only on the seed,
// the frequency and the roughness, never on the grid size.
MemHandle CloudField(std::uint32_t seed, double roughness, int bits);

MemHandle CloudsRender(MasterTextureRecord* rec, const RenderValues& values);

extern const KindDescriptor kCloudsKind;

}  // namespace tsn
