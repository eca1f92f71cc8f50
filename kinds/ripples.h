// The "Ripples" kind: rain on still water. Each drop sends out a train of
// circular waves whose front has travelled a random distance; the trains'
// slopes are added and the surface is lit from one side, between a light
// and a dark colour, with a glint where it faces the light.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/packed.h"
#include "kind/descriptor.h"
#include "kind/master_record.h"

namespace tsn {

#pragma pack(push, 1)
struct RipplesParameters {  // "VANTRIPL", 68 bytes
    TSN_SEEDED_PICTURE_HEAD;
    std::int32_t drops;         // 1 .. 200
    std::int32_t wavelength;    // pixels between crests, 4 .. 400
    std::int32_t damping;       // percent of a train's height lost as its front crosses
                                // the longer side, 0 .. 99
    std::uint32_t lightColour;  // slopes facing the light
    std::uint32_t darkColour;   // slopes facing away
    std::int32_t rings;         // crests in a drop's wave train, 1 .. 30
    std::int32_t lightAngle;    // degrees, counterclockwise from the right
    std::int32_t relief;        // percent; steepness of the waves
    std::uint8_t reserved2[4];
};
#pragma pack(pop)

TSN_SEEDED_PICTURE_HEAD_AT(RipplesParameters);
static_assert(sizeof(RipplesParameters) == 68);
static_assert(offsetof(RipplesParameters, drops) == 32);
static_assert(offsetof(RipplesParameters, wavelength) == 36);
static_assert(offsetof(RipplesParameters, damping) == 40);
static_assert(offsetof(RipplesParameters, lightColour) == 44);
static_assert(offsetof(RipplesParameters, darkColour) == 48);
static_assert(offsetof(RipplesParameters, rings) == 52);
static_assert(offsetof(RipplesParameters, lightAngle) == 56);
static_assert(offsetof(RipplesParameters, relief) == 60);
static_assert(offsetof(RipplesParameters, reserved2) == 64);

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
    kRipplesRingsId = 700,
    kRipplesLightAngleId = 702,
    kRipplesReliefId = 704,
    kRipplesPresetListId = 714,  // 715 add, 716 delete, 717 load
};

inline RipplesParameters* RipplesBlock(MasterTextureRecord* rec) {
    return BlockAs<RipplesParameters>(rec, kRipplesOffset);
}

// The block's settings, clamped into their ranges (damaged values take the
// defaults), in the units the generator works in.
struct RippleSettings {
    int w, h, drops;
    double wavelength, sigma;  // the train's Gaussian envelope, in pixels
    double damping;            // 0 .. 0.99
    double relief;             // slope scale
    double lightX, lightY, lightZ;
    std::uint32_t light, dark;
};
RippleSettings RippleSettingsOf(const RipplesParameters& b);

// One drop: its centre, how far its front has run and its height there.
struct RippleDrop {
    double x, y, front, amplitude;
};
// Draws the drops in order, four numbers each: x, y, front, amplitude.
void DrawRippleDrops(const RippleSettings& s, std::uint32_t seed, RippleDrop* out);

// Slope of one drop's train per unit of height at distance u past its
// front (negative: inside), straight from the formula.
double RippleSlope(const RippleSettings& s, double u);

// How much of the light colour still water shows at height py: it
// reflects a sky that is brighter towards the top of the picture.
double RippleSky(const RippleSettings& s, double py);

// The colour of a surface with slope (sx, sy) down and to the right, where
// still water would show `sky`.
std::uint32_t RippleShade(const RippleSettings& s, double sx, double sy, double sky);

// The picture of the block's width, depth and seed, or 0.
// `tileable` wraps the rings round the edges and keeps the sky level;
// `heights`, when given, receives the water's height spread over 16 bits.
MemHandle RipplesPicture(const RipplesParameters& b, bool tileable = false,
                         HeightField* heights = nullptr);

MemHandle RipplesRender(MasterTextureRecord* rec, const RenderValues& values);

extern const KindDescriptor kRipplesKind;

}  // namespace tsn
