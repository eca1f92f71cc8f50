#include "kinds/surface.h"

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
    kSurfacePresetListId,     436, 437, 438, kSurfaceDensityLabelId, kSurfaceMeshLabelId,
    kSurfaceElevationLabelId, 0};

#define SURFACE_FIELD(f) static_cast<std::uint32_t>(offsetof(SurfaceParameters, f))
const PageField kSurfaceFields[] = {
    Width(SURFACE_FIELD(width), kSurfaceWidthId, 800, 800),
    Depth(SURFACE_FIELD(depth), kSurfaceDepthId, 600, 800),
    Seed(SURFACE_FIELD(seed), kSurfaceSeedId, 8764, 32757, 15618),
    Scroll("density", "Density", FieldType::F64, SURFACE_FIELD(density), kSurfaceDensityId, 0.1,
           5.0, 2.4, 10, "fractal dimension: higher values give a finer mottle"),
    Scroll("meshPower", "Mesh", FieldType::I32, SURFACE_FIELD(meshPower), kSurfaceMeshId, 4, 12, 9,
           1, "the synthesis grid is 2^meshPower square (16 .. 4096)"),
    Scroll("elevation", "Elevation", FieldType::F64, SURFACE_FIELD(elevation), kSurfaceElevationId,
           0.5, 1.5, 1.0, 10, "power applied to the heights above the mean level"),
    Fountain("gradient", "Colours", SURFACE_FIELD(gradient), kSurfaceGradientId,
             "colour map of the grey heights"),
    Hidden("meshSize", FieldType::I32, SURFACE_FIELD(meshSize), 1, 4096, 512,
           "grid size; recomputed from meshPower at every render"),
};
#undef SURFACE_FIELD

const PageTable kSurfacePage = TableOf(kSurfaceFields, kExtraControls);

// The older layout (1469 bytes): the colour map in its 581-byte form.
const LayoutField kSurfaceOlderFields[] = {
    TSN_LAYOUT_FIELD(SurfaceParameters, SurfaceParameters1469, signature),
    TSN_LAYOUT_FIELD(SurfaceParameters, SurfaceParameters1469, version),
    TSN_LAYOUT_FIELD(SurfaceParameters, SurfaceParameters1469, reserved),
    TSN_LAYOUT_FIELD(SurfaceParameters, SurfaceParameters1469, width),
    TSN_LAYOUT_FIELD(SurfaceParameters, SurfaceParameters1469, depth),
    TSN_LAYOUT_FIELD(SurfaceParameters, SurfaceParameters1469, density),
    TSN_LAYOUT_FIELD(SurfaceParameters, SurfaceParameters1469, elevation),
    TSN_LAYOUT_FIELD(SurfaceParameters, SurfaceParameters1469, meshSize),
    TSN_LAYOUT_FIELD(SurfaceParameters, SurfaceParameters1469, meshPower),
    TSN_LAYOUT_FIELD(SurfaceParameters, SurfaceParameters1469, seed),
    TSN_LAYOUT_FOUNTAIN(SurfaceParameters, SurfaceParameters1469, gradient),
    TSN_LAYOUT_FIELD(SurfaceParameters, SurfaceParameters1469, palette),
    TSN_LAYOUT_FIELD(SurfaceParameters, SurfaceParameters1469, reservedTail),
};
const OlderLayout kSurfaceOlder{sizeof(SurfaceParameters), sizeof(SurfaceParameters1469),
                                kSurfaceOlderFields, int(std::size(kSurfaceOlderFields))};

// The grey picture of the map, and when asked its heights: the grey's
// position at 16 bits, whose top byte is the grey.
bool FillGrey(const std::uint8_t* map, int n, MemHandle image, bool wrap = false,
              HeightField* heights = nullptr) {
    const LockedImage view(image);
    if (!view || (heights && !heights->Resize(view->width, view->depth))) return false;
    return ResampleHeights(
        map, n, view.view(),
        [&](double v, std::uint8_t* px, int x, int y) {
            const std::uint8_t g = std::uint8_t(SurfaceGrey(v));
            px[0] = px[1] = px[2] = g;
            if (heights) heights->Row(y)[x] = MapLevel(v);
        },
        wrap);
}

}  // namespace

int SurfaceReset(MasterTextureRecord* rec) {
    ResetKindBlock(kSurfaceKind, rec);
    SurfaceParameters* b = SurfaceBlock(rec);
    b->gradient.start = 0x00DADAB6u;
    b->gradient.end = 0xFF1B1B12u;
    b->gradient.count = 1;
    b->gradient.markers[0] = 0x7A666633u;
    return 1;
}

std::int64_t SurfaceQuery(MasterTextureRecord* rec, int code) {
    switch (code) {
        case kQueryConvertIn:
        case kQueryConvertOut:
            return ConvertOlderLayout(kSurfaceOlder, rec, code);
        default:
            return StandardQuery(kSurfaceKind, rec, code);
    }
}

MemHandle SurfaceGreyFromMap(const std::uint8_t* map, int n, int width, int depth) {
    const MemHandle image = NewImage(width, depth);
    if (image && FillGrey(map, n, image)) return image;
    MemFree(image);
    return 0;
}

MemHandle SurfaceRender(MasterTextureRecord* rec, const RenderValues& values) {
    SurfaceParameters* b = SurfaceBlock(rec);
    const int w = values.width, h = values.depth;
    const std::uint32_t seed = values.seed;
    const int meshPower = b->meshPower;
    b->meshSize = std::int32_t(1u << (meshPower & 31));
    ReleaseGreySlot(kSurfaceKind, rec);

    OwnedBlock grey(NewImage(w, h));
    if (!grey) return 0;
    {
        int n = 0;
        const OwnedBlock map(SpectralHeightMap({seed, b->density, b->elevation, meshPower}, &n));
        const LockedBlock<const std::uint8_t> bytes(map.get());
        if (!bytes || !FillGrey(bytes.get(), n, grey.get(), values.tileable, values.height))
            return 0;
    }
    const MemHandle kept = grey.release();
    SetGreyImageAt(rec, kSurfaceGreySlot, kept);

    // A gradient that cannot be drawn leaves the previous colour table.
    FountainToColourTable(b->gradient, rec->colourTable);
    return ColouriseImage(kept, rec->colourTable);
}

const KindDescriptor kSurfaceKind = {
    .name = "Surface",
    .key = "surface",
    .signature = "VANTSURF",
    .blockOffset = kSurfaceOffset,
    .blockSize = sizeof(SurfaceParameters),
    .oldBlockSize = sizeof(SurfaceParameters1469),
    .page = &kSurfacePage,
    .flags = kKindHasColourMap,
    .render = SurfaceRender,
    .reset = SurfaceReset,
    .query = SurfaceQuery,
    .greySlot = kSurfaceGreySlot,
    .presetList = kSurfacePresetListId,
    .seedShowsNextRender = true,
    .maps = kMapsTile | kMapsHeight,
};

}  // namespace tsn
