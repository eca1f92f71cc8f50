#include "textures/external/pipes.h"

#include <cstring>

#include "common/page.h"
#include "plugin/catalogue.h"
#include "plugin/page_fields.h"

namespace tsn {

namespace {

using namespace fields;

#define PIPES_FIELD(f) static_cast<std::uint32_t>(offsetof(PipesParameters, f))
// Width and depth count cells here; the picture's size follows from them
// and the reduction, so they are ordinary page values.
const PageField kPipesFields[] = {
    Edit("widthCells", "Width:", PIPES_FIELD(widthCells), kPipesWidthId, 2, 16, 2, 2, Role::Plain,
         "cells across"),
    Edit("depthCells", "Depth:", PIPES_FIELD(depthCells), kPipesDepthId, 2, 16, 2, 2, Role::Plain,
         "cells down"),
    Seed(PIPES_FIELD(seed), kPipesSeedId, 8787),
    Scroll("density", "Density", FieldType::I32, PIPES_FIELD(density), kPipesDensityId, 0, 2, 1, 1,
           "how densely the cells are filled with pipes"),
    List("style", "Style:", PIPES_FIELD(style), kPipesStyleId, "Industrial;Stainless Steel", 0,
         "tile set: 0 Industrial, 1 Stainless Steel"),
    List("valves", "Valves:", PIPES_FIELD(valveColour), kPipesValvesId,
         "Red;Green;Blue;Cyan;Magenta;Yellow;Gray", 0,
         "valve colour: 0 Red, 1 Green, 2 Blue, 3 Cyan, 4 Magenta, 5 Yellow, 6 Gray"),
    Scroll("reduction", "Reduction:", FieldType::I32, PIPES_FIELD(reduction), kPipesReductionId, 1,
           4, 2, 1, "cells are 512 / reduction pixels square"),
    List("effect", "Effect:", PIPES_FIELD(effect), kPipesEffectId,
         "None;Dark;Darker;Noir;Spooky;Bronze;Copper;Steampunk;Steampunk-moderne", 2,
         "colour effect: 0 None, 1 Dark, 2 Darker, 3 Noir, 4 Spooky, 5 Bronze, 6 Copper, "
         "7 Steampunk, 8 Steampunk-moderne"),
    Colour("background", "Background:", PIPES_FIELD(background), kPipesBackgroundId, 0x202020,
           "colour behind the pipes"),
    Colour("shadowColour", "Shadow:", PIPES_FIELD(shadowColour), kPipesShadowColourId, 0x080808,
           "colour of the drop shadow"),
    Edit("shadowOffset", "Shadow offset:", PIPES_FIELD(shadowOffset), kPipesShadowOffsetId, 1, 32,
         4, 4, Role::Plain, "shadow distance in pixels"),
    Edit("shadowOpacity", "Shadow opacity:", PIPES_FIELD(shadowOpacity), kPipesShadowOpacityId, 32,
         255, 192, 192, Role::Plain, "shadow opacity, 255 opaque"),
    Edit("shadowSoftness", "Shadow softness:", PIPES_FIELD(shadowSoftness), kPipesShadowSoftnessId,
         0, 32, 20, 20, Role::Plain, "blur of the shadow's edge"),
    Check("shadow", "Enable shadow", FieldType::U32, PIPES_FIELD(shadow), kPipesShadowId, 1,
          "draw a drop shadow under the pipes"),
    Check("noHiddenValves", "No hidden pressure valves", FieldType::U32,
          PIPES_FIELD(noHiddenValves), kPipesNoHiddenValvesId, 1,
          "keep pressure valves where they can be seen"),
};
#undef PIPES_FIELD

// The preset list, its add, delete and load buttons, then the dimensions
// text.
const std::uint32_t kPipesExtras[] = {kPipesPresetListId, 508, 509, 510, kPipesDimensionsId, 0};

const PageTable kPipesPage = TableOf(kPipesFields, kPipesExtras);

// One session at a time uses the plug-in, so the cache is the library's.
MemHandle g_tiles[kPipesTileCount];

}  // namespace

MemHandle PipesCachedTile(int tile) {
    return g_tiles[tile];
}
void SetPipesCachedTile(int tile, MemHandle image) {
    g_tiles[tile] = image;
}

int PipesReset(MasterTextureRecord* rec) {
    ResetKindBlock(kPipesKind, rec);
    PipesParameters* b = PipesBlock(rec);
    // Two cells of 256 pixels each way, until the generator writes its own.
    b->outputWidth = 512;
    b->outputDepth = 512;
    return PipesRelease(rec);  // an empty tile cache
}

int PipesRelease(MasterTextureRecord*) {
    for (MemHandle& t : g_tiles) {
        MemFree(t);
        t = 0;
    }
    return 1;
}

const KindDescriptor kPipesKind = {
    .name = "Pipes",
    .key = "pipes",
    .signature = "VANTPIPE",
    .blockOffset = kPipesOffset,
    .blockSize = sizeof(PipesParameters),
    .page = &kPipesPage,
    .reset = PipesReset,
    .release = PipesRelease,
    .presetList = kPipesPresetListId,
};

}  // namespace tsn
