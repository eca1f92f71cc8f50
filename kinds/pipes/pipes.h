// The "Pipes" kind: a picture of industrial pipework assembled from eleven
// stored pipe tiles on a grid of square cells, with valve colours, colour
// effects and a drop shadow.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/platform.h"
#include "core/random.h"
#include "kind/descriptor.h"
#include "kind/master_record.h"
#include "kind/page_table.h"

namespace tsn {

#pragma pack(push, 1)
struct PipesParameters {
    char signature[8];  // "VANTPIPE"
    std::uint32_t version;
    std::uint32_t size;  // 152
    std::uint32_t reserved;
    std::int32_t outputWidth;  // written by the generator: cells x cell size
    std::int32_t outputDepth;
    std::int32_t reduction;  // cell size = 512 / reduction
    std::int32_t widthCells;
    std::int32_t depthCells;
    std::int32_t density;
    std::uint32_t style;  // 0 Industrial, 1 Stainless Steel
    std::uint32_t shadow;
    std::int32_t shadowOffset;
    std::int32_t shadowOpacity;
    std::int32_t shadowSoftness;
    std::uint32_t valveColour;  // index into Red .. Gray
    std::uint32_t background;
    std::uint32_t shadowColour;
    std::int32_t seed;
    std::uint32_t effect;  // index into None .. Steampunk-moderne
    std::uint32_t noHiddenValves;
    std::uint8_t reserved2[64];
};
#pragma pack(pop)

static_assert(sizeof(PipesParameters) == 152);
static_assert(offsetof(PipesParameters, version) == 8);
static_assert(offsetof(PipesParameters, size) == 12);
static_assert(offsetof(PipesParameters, reserved) == 16);
static_assert(offsetof(PipesParameters, outputWidth) == 20);
static_assert(offsetof(PipesParameters, outputDepth) == 24);
static_assert(offsetof(PipesParameters, reduction) == 28);
static_assert(offsetof(PipesParameters, widthCells) == 32);
static_assert(offsetof(PipesParameters, depthCells) == 36);
static_assert(offsetof(PipesParameters, density) == 40);
static_assert(offsetof(PipesParameters, style) == 44);
static_assert(offsetof(PipesParameters, shadow) == 48);
static_assert(offsetof(PipesParameters, shadowOffset) == 52);
static_assert(offsetof(PipesParameters, shadowOpacity) == 56);
static_assert(offsetof(PipesParameters, shadowSoftness) == 60);
static_assert(offsetof(PipesParameters, valveColour) == 64);
static_assert(offsetof(PipesParameters, background) == 68);
static_assert(offsetof(PipesParameters, shadowColour) == 72);
static_assert(offsetof(PipesParameters, seed) == 76);
static_assert(offsetof(PipesParameters, effect) == 80);
static_assert(offsetof(PipesParameters, noHiddenValves) == 84);
static_assert(offsetof(PipesParameters, reserved2) == 88);

constexpr std::uint32_t kPipesOffset = 28376;
constexpr int kPipesTileCount = 11;

// Page controls.
enum : std::uint32_t {
    kPipesWidthId = 479,
    kPipesDepthId = 481,
    kPipesSeedId = 483,
    kPipesDensityId = 486,
    kPipesStyleId = 487,
    kPipesValvesId = 489,
    kPipesReductionId = 491,
    kPipesEffectId = 494,
    kPipesBackgroundId = 496,
    kPipesShadowColourId = 498,
    kPipesShadowOffsetId = 500,
    kPipesShadowOpacityId = 502,
    kPipesShadowSoftnessId = 504,
    kPipesShadowId = 506,
    kPipesPresetListId = 507,
    // Static text "%s X %s pixels": the output size the cells make.
    kPipesDimensionsId = 511,
    kPipesNoHiddenValvesId = 513,
};

int PipesReset(MasterTextureRecord* rec);
int PipesRelease(MasterTextureRecord* rec);
// The standard answers, and for code 5 the "Dimensions:" text brought up to
// date with the page's width, depth and reduction.
std::int64_t PipesQuery(MasterTextureRecord* rec, int code);

inline PipesParameters* PipesBlock(MasterTextureRecord* rec) {
    return BlockAs<PipesParameters>(rec, kPipesOffset);
}

// The session's loaded, unscaled tile images, kept until it resets or
// releases Pipes (0 when not loaded).
MemHandle PipesCachedTile(const MasterTextureRecord* rec, int tile);

MemHandle PipesRender(MasterTextureRecord* rec, const RenderValues& values);

// The effects' tone settings. The user keeps them in the configuration file;
// the application hands them over before a render. Every number is clamped
// to 2^20 where it is used.
struct PipesTones {
    std::uint32_t darkContrast = 160, darkBrightness = 74;
    std::uint32_t darkerContrast = 170, darkerBrightness = 50;
    std::uint32_t noirContrast = 179, noirBrightness = 29;
    std::uint32_t spookyContrast = 167, spookyBrightness = 15;
    std::uint32_t bronzeRed = 130, bronzeGreen = 119, bronzeBlue = 102, bronzeIntensity = 130;
    std::uint32_t copperRed = 222, copperGreen = 175, copperBlue = 129, copperIntensity = 60;
    std::uint32_t copperContrast = 145, copperBrightness = 119;
    std::uint32_t steampunkContrast = 169, steampunkBrightness = 59;
    std::uint32_t steampunkThreshold = 77, steampunkBlend = 11;
};
void SetPipesTones(const PipesTones& tones);

// Pipe pieces and their connections (bits: 1 north, 2 east, 4 south,
// 8 west). Pieces 2 and 3 are the two straights carrying a pressure valve.
constexpr std::uint8_t kPipesPieceMask[kPipesTileCount] = {10, 5, 10, 5, 3, 6, 12, 9, 14, 11, 15};

// The compressed tile images (synth/compressed_image.h): the image of
// style s, piece p, is resource kPipesArtId + 11 s + p.
constexpr unsigned kPipesArtId = 4000;

// Colour stages, on (red, green, blue) bytes.
void PipesToneCurve(int contrast, int brightness, std::uint8_t curve[256]);
// The sepia treatment of one pixel; `curve` is the Steampunk tone curve.
void PipesSepia(const std::uint8_t curve[256], int threshold, int blend, std::uint8_t rgb[3]);

// The network on a width x depth grid (wrapping at the edges): per cell four
// bytes, the back layer's piece + 1 (0 empty), the front layer's piece + 1,
// then the two layers' connection masks. `grid` starts zeroed.
void PipesLayout(int width, int depth, int density, bool noHiddenValves, Rng* rng,
                 std::uint8_t* grid);

extern const KindDescriptor kPipesKind;

}  // namespace tsn
