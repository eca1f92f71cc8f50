#include "kinds/terrain.h"

#include <cstring>

#include "core/image.h"
#include "core/owners.h"
#include "kind/descriptor.h"
#include "kind/older_layout.h"
#include "kind/page_fields.h"
#include "synth/spectral.h"

namespace tsn {

namespace {

using namespace fields;

constexpr std::uint32_t kExtraControls[] = {
    kTerrainPresetListId,     413, 414, 415, kTerrainDensityLabelId, kTerrainMeshLabelId,
    kTerrainElevationLabelId, 0};

#define TERRAIN_FIELD(f) static_cast<std::uint32_t>(offsetof(TerrainParameters, f))
const PageField kTerrainFields[] = {
    Width(TERRAIN_FIELD(width), kTerrainWidthId, 800, 800),
    Depth(TERRAIN_FIELD(depth), kTerrainDepthId, 600, 800),
    Seed(TERRAIN_FIELD(seed), kTerrainSeedId, 10356, 32757, 15618),
    Scroll("density", "Density", FieldType::F64, TERRAIN_FIELD(density), kTerrainDensityId, 0.1,
           5.0, 2.9, 10, "fractal dimension: higher values give rougher land"),
    Scroll("meshPower", "Mesh", FieldType::I32, TERRAIN_FIELD(meshPower), kTerrainMeshId, 4, 12, 8,
           1, "the synthesis grid is 2^meshPower square (16 .. 4096)"),
    Scroll("elevation", "Elevation", FieldType::F64, TERRAIN_FIELD(elevation), kTerrainElevationId,
           0.5, 1.5, 1.0, 10, "power applied to the heights above the mean level"),
    Fountain("land", "Land", TERRAIN_FIELD(land), kTerrainLandId,
             "colours of the upper half of the heights"),
    Fountain("water", "Water", TERRAIN_FIELD(water), kTerrainWaterId,
             "colours of the lower half of the heights"),
    Hidden("meshSize", FieldType::I32, TERRAIN_FIELD(meshSize), 1, 4096, 256,
           "grid size; recomputed from meshPower at every render"),
};
#undef TERRAIN_FIELD

const PageTable kTerrainPage = TableOf(kTerrainFields, kExtraControls);

void SetFountain(FountainDefinition* f, std::uint32_t start, std::uint32_t end,
                 std::uint32_t marker) {
    ResetFountain(f);
    f->start = start;
    f->end = end;
    f->count = 1;
    f->markers[0] = marker;
}

// The older layout (2818 bytes): the colour maps in their 581-byte form.
const LayoutField kTerrainOlderFields[] = {
    TSN_LAYOUT_FIELD(TerrainParameters, TerrainParameters2818, signature),
    TSN_LAYOUT_FIELD(TerrainParameters, TerrainParameters2818, version),
    TSN_LAYOUT_FIELD(TerrainParameters, TerrainParameters2818, reserved),
    TSN_LAYOUT_FIELD(TerrainParameters, TerrainParameters2818, width),
    TSN_LAYOUT_FIELD(TerrainParameters, TerrainParameters2818, depth),
    TSN_LAYOUT_FIELD(TerrainParameters, TerrainParameters2818, density),
    TSN_LAYOUT_FIELD(TerrainParameters, TerrainParameters2818, elevation),
    TSN_LAYOUT_FIELD(TerrainParameters, TerrainParameters2818, meshSize),
    TSN_LAYOUT_FIELD(TerrainParameters, TerrainParameters2818, meshPower),
    TSN_LAYOUT_FIELD(TerrainParameters, TerrainParameters2818, seed),
    TSN_LAYOUT_FOUNTAIN(TerrainParameters, TerrainParameters2818, land),
    TSN_LAYOUT_FOUNTAIN(TerrainParameters, TerrainParameters2818, water),
    TSN_LAYOUT_FIELD(TerrainParameters, TerrainParameters2818, landPalette),
    TSN_LAYOUT_FIELD(TerrainParameters, TerrainParameters2818, waterPalette),
    TSN_LAYOUT_FIELD(TerrainParameters, TerrainParameters2818, reservedTail),
};
const OlderLayout kTerrainOlder{sizeof(TerrainParameters), sizeof(TerrainParameters2818),
                                kTerrainOlderFields, int(std::size(kTerrainOlderFields))};

}  // namespace

int TerrainReset(MasterTextureRecord* rec) {
    ResetKindBlock(kTerrainKind, rec);
    TerrainParameters* b = TerrainBlock(rec);
    SetFountain(&b->land, 0x008FBAA9u, 0xFF0F1E18u, 0x314E7267u);
    SetFountain(&b->water, 0x003C3C28u, 0xFFFAFAF8u, 0x8A999966u);
    return 1;
}

std::int64_t TerrainQuery(MasterTextureRecord* rec, int code) {
    switch (code) {
        case kQueryConvertIn:
        case kQueryConvertOut:
            return ConvertOlderLayout(kTerrainOlder, rec, code);
        default:
            return StandardQuery(kTerrainKind, rec, code);
    }
}

namespace {

// The map through the palettes, and when asked its heights (sea level at
// 32768).
bool FillTerrain(const std::uint8_t* map, int n, MemHandle image, const std::uint8_t* land,
                 const std::uint8_t* water, bool wrap = false, HeightField* heights = nullptr) {
    const LockedImage view(image);
    if (!view || (heights && !heights->Resize(view->width, view->depth))) return false;
    return ResampleHeights(
        map, n, view.view(),
        [&](double v, std::uint8_t* px, int x, int y) {
            const std::uint8_t* rgb = TerrainColour(v, land, water);
            px[0] = rgb[2];
            px[1] = rgb[1];
            px[2] = rgb[0];
            if (heights) heights->Row(y)[x] = MapLevel(v);
        },
        wrap);
}

}  // namespace

MemHandle TerrainImage(const std::uint8_t* map, int n, int width, int depth,
                       const std::uint8_t* landPalette, const std::uint8_t* waterPalette) {
    const MemHandle image = NewImage(width, depth);
    if (image && FillTerrain(map, n, image, landPalette, waterPalette)) return image;
    MemFree(image);
    return 0;
}

MemHandle TerrainRender(MasterTextureRecord* rec, const RenderValues& values) {
    TerrainParameters* b = TerrainBlock(rec);
    const int w = values.width, h = values.depth;
    const std::uint32_t seed = values.seed;
    const int meshPower = b->meshPower;
    b->meshSize = std::int32_t(1u << (meshPower & 31));
    // A palette whose fountain cannot be drawn keeps its previous colours.
    FountainToColourTable(b->land, b->landPalette);
    FountainToColourTable(b->water, b->waterPalette);

    OwnedBlock image(NewImage(w, h));
    if (!image) return 0;
    int n = 0;
    const OwnedBlock map(SpectralHeightMap({seed, b->density, b->elevation, meshPower}, &n));
    const LockedBlock<const std::uint8_t> bytes(map.get());
    if (!bytes || !FillTerrain(bytes.get(), n, image.get(), b->landPalette, b->waterPalette,
                               values.tileable, values.height))
        return 0;
    return image.release();
}

const KindDescriptor kTerrainKind = {
    .name = "Terrain",
    .key = "terrain",
    .signature = "VANTTERR",
    .blockOffset = kTerrainOffset,
    .blockSize = sizeof(TerrainParameters),
    .oldBlockSize = sizeof(TerrainParameters2818),
    .page = &kTerrainPage,
    .render = TerrainRender,
    .reset = TerrainReset,
    .query = TerrainQuery,
    .presetList = kTerrainPresetListId,
    .seedShowsNextRender = true,
    .maps = kMapsTile | kMapsHeight,
};

}  // namespace tsn
