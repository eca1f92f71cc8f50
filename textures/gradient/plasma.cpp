#include "textures/gradient/plasma.h"

#include <cstring>

#include "common/page.h"
#include "plugin/catalogue.h"
#include "plugin/page_fields.h"

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

// Per-channel mean, rounded down, of two colours.
std::uint32_t Average(std::uint32_t p, std::uint32_t q) {
    std::uint32_t out = 0;
    for (int shift = 0; shift < 24; shift += 8) {
        const std::uint32_t a = (p >> shift) & 0xFF, b = (q >> shift) & 0xFF;
        out |= ((a + b) / 2) << shift;
    }
    return out;
}

// One displacement: a single-precision fraction, centred and scaled in
// double precision, truncated toward zero.
long long Displacement(Rng& rng, float a) {
    const float fraction = float(rng.Next()) / 32767.0f;
    return TruncToInt((double(fraction) - 0.5) * double(a));
}

// The clamp re-evaluates its argument, with a fresh displacement, at every
// use; that fixes how many numbers a channel draws, so it is kept as it is.
std::uint32_t DisplaceChannel(std::uint32_t v, float a, Rng& rng) {
    const long long base = v;
    if (base + Displacement(rng, a) > 0) {
        if (base + Displacement(rng, a) >= 255) return 255;
    }
    if (base + Displacement(rng, a) < 1) return 0;
    // Not clamped again: a value out of range wraps.
    return std::uint32_t(base + Displacement(rng, a)) & 0xFF;
}

// The pass walker. Pixels are addressed directly in the locked rows; every
// point a leaf touches lies inside the picture.
struct Plasma {
    ImageView view;
    Rng rng;
    float amplitude = 0;  // of the running pass's leaves

    std::uint32_t Get(int x, int y) const {
        const std::uint8_t* p = view.Row(y) + 3 * x;
        return std::uint32_t(p[2]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[0]) << 16;
    }
    void Set(int x, int y, std::uint32_t c) {
        std::uint8_t* p = view.Row(y) + 3 * x;
        p[0] = std::uint8_t(c >> 16);
        p[1] = std::uint8_t(c >> 8);
        p[2] = std::uint8_t(c);
    }
    void SetPerturbed(int x, int y, std::uint32_t c) {
        Set(x, y, PlasmaPerturb(c, amplitude, rng));
    }

    int Leaf(int x0, int y0, int x1, int y1) {
        const std::uint32_t c00 = Get(x0, y0), c01 = Get(x0, y1);
        const std::uint32_t c10 = Get(x1, y0), c11 = Get(x1, y1);
        const int mx = (x0 + x1) / 2, my = (y0 + y1) / 2;
        if (x0 != x1) {
            SetPerturbed(x0, my, Average(c00, c01));
            SetPerturbed(x1, my, Average(c10, c11));
        } else if (y0 == y1) {
            return 1;
        }
        if (y0 != y1) {
            if (x0 != mx || my != y1) SetPerturbed(mx, y1, Average(c01, c11));
            SetPerturbed(mx, y0, Average(c00, c10));
        }
        const int r = (x1 - x0 >= 3 || y1 - y0 >= 3) ? 1 : 0;
        SetPerturbed(mx, my, Average(Average(c11, c00), Average(c10, c01)));
        return r;
    }

    // The flag of a pass is that of its bottom-right-most leaf.
    int Subdivide(int x0, int y0, int x1, int y1, int d) {
        if (d == 0) return Leaf(x0, y0, x1, y1);
        const int mx = (x0 + x1) / 2, my = (y0 + y1) / 2;
        Subdivide(x0, y0, mx, my, d - 1);
        Subdivide(x0, my, mx, y1, d - 1);
        Subdivide(mx, y0, x1, my, d - 1);
        return Subdivide(mx, my, x1, y1, d - 1);
    }
};

std::uint32_t RandomColour(Rng& rng) {
    const std::uint32_t r = std::uint32_t(rng.Next() % 255);
    const std::uint32_t g = std::uint32_t(rng.Next() % 255);
    const std::uint32_t b = std::uint32_t(rng.Next() % 255);
    return r | g << 8 | b << 16;
}

}  // namespace

float PlasmaAmplitude(int level, std::int32_t turbulence) {
    const float quotient = 256.0f / float(2 * level);
    return float(double(quotient) * (double(turbulence) / 100.0));
}

std::uint32_t PlasmaPerturb(std::uint32_t colour, float a, Rng& rng) {
    const std::uint32_t r = DisplaceChannel(colour & 0xFF, a, rng);
    const std::uint32_t g = DisplaceChannel((colour >> 8) & 0xFF, a, rng);
    const std::uint32_t b = DisplaceChannel((colour >> 16) & 0xFF, a, rng);
    return r | g << 8 | b << 16;
}

MemHandle PlasmaImage(int w, int h, std::int32_t seed, std::int32_t turbulence,
                      std::uint32_t seedColour, bool useSeedColour) {
    const MemHandle image = NewImage(w, h);
    Plasma p;
    if (!image || !LockImage(image, &p.view)) {
        MemFree(image);
        return 0;
    }
    p.rng.Seed(std::uint32_t(seed));
    const int cx = (w - 1) / 2, cy = (h - 1) / 2;
    const int anchors[9][2] = {{0, 0},  {w - 1, 0},  {0, h - 1}, {w - 1, h - 1}, {cx, cy},
                               {0, cy}, {w - 1, cy}, {cx, 0},    {cx, h - 1}};
    for (const auto& at : anchors)
        p.Set(at[0], at[1], useSeedColour ? (seedColour & 0xFFFFFFu) : RandomColour(p.rng));
    // Each pass walks the whole picture again, one level deeper. A 1 x 1
    // picture's only leaf is a single pixel that always asks for another
    // pass, so it stops after the first.
    for (int d = 1;; ++d) {
        p.amplitude = PlasmaAmplitude(d, turbulence);
        const int more = p.Subdivide(0, 0, w - 1, h - 1, d);
        if (!more || (w == 1 && h == 1)) break;
    }
    UnlockImage(&p.view);
    return image;
}

MemHandle PlasmaRender(MasterTextureRecord* rec) {
    PlasmaParameters* b = PlasmaBlock(rec);
    // Unlike Noise, the seed typed on the page is this generation's seed.
    b->width = ReadPageInteger(rec->dialog, kPlasmaWidthId);
    b->depth = ReadPageInteger(rec->dialog, kPlasmaDepthId);
    b->seed = ReadPageInteger(rec->dialog, kPlasmaSeedId);
    return PlasmaImage(b->width, b->depth, b->seed, b->turbulence, b->seedColour,
                       b->useSeedColour != 0);
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
};

}  // namespace tsn
