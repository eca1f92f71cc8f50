#include "kinds/plasma/plasma.h"

#include "core/simd.h"
#include "kind/descriptor.h"
#include "kind/page_fields.h"
#include "kinds/plasma/plasma_draws.h"
#include "kinds/plasma/plasma_walk.h"

namespace tsn {

namespace {

using namespace fields;

constexpr std::uint32_t kPresetControls[] = {kPlasmaPresetListId, 236, 237, 238, 0};

#define PLASMA_FIELD(f) static_cast<std::uint32_t>(offsetof(PlasmaParameters, f))
const PageField kPlasmaFields[] = {
    Width(PLASMA_FIELD(width), kPlasmaWidthId, 800, 800),
    Depth(PLASMA_FIELD(depth), kPlasmaDepthId, 600, 800),
    Seed(PLASMA_FIELD(seed), kPlasmaSeedId, 10356, 32757, 15618),
    Scroll("turbulence", "Turbulence:", FieldType::I32, PLASMA_FIELD(turbulence),
           kPlasmaTurbulenceId, 25, 1000, 100, 1,
           "displacement strength in percent; above about 200 channels saturate or wrap"),
    Check("useSeedColour", "Use seed color", FieldType::U32, PLASMA_FIELD(useSeedColour),
          kPlasmaUseSeedColourId, 0, "all nine anchors get the seed colour instead of random ones"),
    Colour("seedColour", "Seed color", PLASMA_FIELD(seedColour), kPlasmaSeedColourId, 0x00A000,
           "anchor colour when useSeedColour is on"),
};
#undef PLASMA_FIELD

const PageTable kPlasmaPage = TableOf(kPlasmaFields, kPresetControls);

}  // namespace

std::uint32_t PlasmaAnchorColour(Rng& rng) {
    const std::uint32_t r = std::uint32_t(rng.Next() % 255);
    const std::uint32_t g = std::uint32_t(rng.Next() % 255);
    const std::uint32_t b = std::uint32_t(rng.Next() % 255);
    return r | g << 8 | b << 16;
}

float PlasmaAmplitude(int level, std::int32_t turbulence) {
    const float quotient = 256.0f / float(2 * level);
    return float(double(quotient) * (double(turbulence) / 100.0));
}

std::uint32_t PlasmaPerturb(std::uint32_t colour, float a, Rng& rng) {
    auto next = [&] { return PlasmaDisplacement(std::uint32_t(rng.Next()), double(a)); };
    return Perturb(colour, next);
}

MemHandle PlasmaImage(int w, int h, std::int32_t seed, std::int32_t turbulence,
                      std::uint32_t seedColour, bool useSeedColour) {
    const MemHandle image = NewImage(w, h);
    const MemHandle streamBlock = MemAlloc(sizeof(DrawStream));
    void* streamMemory = MemLock(streamBlock);
    ImageView view;
    if (!image || !streamMemory || !LockImage(image, &view)) {
        if (streamMemory) MemUnlock(streamBlock);
        MemFree(streamBlock);
        MemFree(image);
        return 0;
    }
    Rng rng;
    rng.Seed(std::uint32_t(seed));
    const int cx = (w - 1) / 2, cy = (h - 1) / 2;
    const int anchors[9][2] = {{0, 0},  {w - 1, 0},  {0, h - 1}, {w - 1, h - 1}, {cx, cy},
                               {0, cy}, {w - 1, cy}, {cx, 0},    {cx, h - 1}};
    for (const auto& at : anchors)
        SetPixel(view, at[0], at[1],
                 useSeedColour ? (seedColour & 0xFFFFFFu) : PlasmaAnchorColour(rng));
    const PlasmaWalkJob job{view.Row(0), std::ptrdiff_t(view.stride), w, h, turbulence, rng.state,
                            streamMemory};
    ActiveKernel(SimdKernels<void (*)(const PlasmaWalkJob&)>{PlasmaWalkSse2, PlasmaWalkAvx2,
                                                             PlasmaWalkAvx512})(job);
    MemUnlock(streamBlock);
    MemFree(streamBlock);
    UnlockImage(&view);
    return image;
}

MemHandle PlasmaRender(MasterTextureRecord* rec, const RenderValues& values) {
    const PlasmaParameters* b = PlasmaBlock(rec);
    if (values.tileable)
        return PlasmaTorusImage(values.width, values.depth, std::int32_t(values.seed),
                                b->turbulence, b->seedColour, b->useSeedColour != 0);
    return PlasmaImage(values.width, values.depth, std::int32_t(values.seed), b->turbulence,
                       b->seedColour, b->useSeedColour != 0);
}

const KindDescriptor kPlasmaKind = {
    .name = "Plasma",
    .key = "plasma",
    .signature = "VANTPLAS",
    .blockOffset = kPlasmaOffset,
    .blockSize = sizeof(PlasmaParameters),
    .page = &kPlasmaPage,
    .render = PlasmaRender,
    .presetList = kPlasmaPresetListId,
    .maps = kMapsTile,
};

}  // namespace tsn
