// The "Plasma" kind: a colour plasma by recursive midpoint displacement.
// Nine anchor pixels get colours, then every pass splits the picture into
// ever smaller rectangles and gives the midpoints of their edges and their
// centre the average of the corners plus a random offset that falls with
// the depth of the split. It works in colour directly: no grey image, no
// fountain.
#pragma once

#include <cstdint>

#include "core/image.h"
#include "core/random.h"
#include "kind/descriptor.h"
#include "kind/master_record.h"
#include "kind/page_table.h"

namespace tsn {

#pragma pack(push, 1)
struct PlasmaParameters {
    char signature[8];  // "VANTPLAS"
    std::uint32_t version;
    std::uint32_t size;  // 108
    std::uint32_t reserved0;
    std::int32_t width;
    std::int32_t depth;
    std::int32_t seed;
    std::int32_t turbulence;      // displacement strength in percent
    std::uint32_t seedColour;     // 0x00BBGGRR
    std::uint32_t useSeedColour;  // nonzero: all nine anchors get the seed colour
    std::uint8_t reserved[64];
};
#pragma pack(pop)

static_assert(sizeof(PlasmaParameters) == 108);
static_assert(offsetof(PlasmaParameters, reserved0) == 16);
static_assert(offsetof(PlasmaParameters, width) == 20);
static_assert(offsetof(PlasmaParameters, depth) == 24);
static_assert(offsetof(PlasmaParameters, seed) == 28);
static_assert(offsetof(PlasmaParameters, turbulence) == 32);
static_assert(offsetof(PlasmaParameters, seedColour) == 36);
static_assert(offsetof(PlasmaParameters, useSeedColour) == 40);
static_assert(offsetof(PlasmaParameters, reserved) == 44);

constexpr std::uint32_t kPlasmaOffset = 6926;

// Page controls.
enum : std::uint32_t {
    kPlasmaWidthId = 224,
    kPlasmaDepthId = 226,
    kPlasmaSeedId = 228,
    kPlasmaTurbulenceId = 230,
    kPlasmaUseSeedColourId = 233,
    kPlasmaSeedColourId = 234,
    kPlasmaPresetListId = 235,
};

MemHandle PlasmaRender(MasterTextureRecord* rec, const RenderValues& values);

inline PlasmaParameters* PlasmaBlock(MasterTextureRecord* rec) {
    return BlockAs<PlasmaParameters>(rec, kPlasmaOffset);
}

// The w x h plasma of the block's seed, turbulence and anchor colour, or 0
// when memory runs out or the size is not positive.
MemHandle PlasmaImage(int width, int depth, std::int32_t seed, std::int32_t turbulence,
                      std::uint32_t seedColour, bool useSeedColour);

// The same plasma on a torus, so the picture tiles: its right edge is its
// left and its bottom its top (see plasma_torus.cpp).
MemHandle PlasmaTorusImage(int width, int depth, std::int32_t seed, std::int32_t turbulence,
                           std::uint32_t seedColour, bool useSeedColour);

// An anchor's random colour: red, green and blue drawn in that order, each
// 0 .. 254.
std::uint32_t PlasmaAnchorColour(Rng& rng);

// The displacement amplitude of a split level: 256 / (2 level) in single
// precision, times turbulence / 100 in double, rounded to single.
float PlasmaAmplitude(int level, std::int32_t turbulence);

// Displaces each channel of a colour by the amplitude `a`, drawing two to
// four numbers per channel, red first.
std::uint32_t PlasmaPerturb(std::uint32_t colour, float a, Rng& rng);

extern const KindDescriptor kPlasmaKind;

}  // namespace tsn
