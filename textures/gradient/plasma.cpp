#include "textures/gradient/plasma.h"

#include <algorithm>
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

// Per-channel mean, rounded down, of two colours: half of each channel
// with the low bit dropped, plus one where both low bits were set.
std::uint32_t Average(std::uint32_t p, std::uint32_t q) {
    return ((p & 0xFEFEFEu) >> 1) + ((q & 0xFEFEFEu) >> 1) + (p & q & 0x010101u);
}

// One displacement: a single-precision fraction, centred and scaled in
// double precision, truncated toward zero.
int Displacement(int draw, float a) {
    const float fraction = float(draw) / 32767.0f;
    return TruncToInt((double(fraction) - 0.5) * double(a));
}

// The clamp re-evaluates its argument, with a fresh displacement, at every
// use; that fixes how many numbers a channel draws, so it is kept as it is.
// `next` draws the next displacement.
template <class Next>
[[gnu::always_inline]] inline std::uint32_t DisplaceChannel(std::uint32_t v, Next& next) {
    const long long base = v;
    if (base + next() > 0) {
        if (base + next() >= 255) return 255;
    }
    if (base + next() < 1) return 0;
    // Not clamped again: a value out of range wraps.
    return std::uint32_t(base + next()) & 0xFF;
}

template <class Next>
std::uint32_t Perturb(std::uint32_t colour, Next& next) {
    const std::uint32_t r = DisplaceChannel(colour & 0xFF, next);
    const std::uint32_t g = DisplaceChannel((colour >> 8) & 0xFF, next);
    const std::uint32_t b = DisplaceChannel((colour >> 16) & 0xFF, next);
    return r | g << 8 | b << 16;
}

// The generator's step taken k times at once: state x A^k + C (1 + A + ...
// + A^(k-1)), all modulo 2^32.
constexpr std::uint32_t kRngMultiplier = 214013u, kRngIncrement = 2531011u;
constexpr std::uint32_t RngPower(int k) {
    return k == 0 ? 1u : kRngMultiplier * RngPower(k - 1);
}
constexpr std::uint32_t RngPowerSum(int k) {
    return k == 0 ? 0u : RngPowerSum(k - 1) * kRngMultiplier + 1u;
}

// The random sequence drawn ahead in blocks, each draw's displacement looked
// up in the running pass's table of all 32768. Which draws are used
// is data-dependent, but the sequence itself is not: drawing it ahead on
// eight interleaved generators keeps the multiplications off the path the
// pixels wait on.
class Displacements {
  public:
    static constexpr int kBlock = 4096;

    explicit Displacements(Rng rng) : state_(rng.state) {}
    [[gnu::always_inline]] int operator()() {
        if (pos_ == kBlock) Refill();
        return table_[raw_[pos_++]];
    }
    // The running pass's displacement of every draw.
    void UseTable(const int* table) { table_ = table; }

  private:
    static constexpr std::uint32_t kA = kRngMultiplier, kC = kRngIncrement;
    static constexpr std::uint32_t kA8 = RngPower(8), kC8 = kC * RngPowerSum(8);

    [[gnu::noinline]] void Refill() {
        std::uint32_t lane[8];
        std::uint32_t s = state_;
        for (auto& l : lane) l = s = s * kA + kC;
        for (int i = 0; i < kBlock; i += 8)
            for (int l = 0; l < 8; ++l) {
                raw_[i + l] = std::uint16_t((lane[l] >> 16) & 0x7FFF);
                s = lane[l];
                lane[l] = lane[l] * kA8 + kC8;
            }
        state_ = s;
        pos_ = 0;
    }

    std::uint32_t state_;
    const int* table_ = nullptr;
    int pos_ = kBlock;
    std::uint16_t raw_[kBlock];
};

// Where the pass walker keeps the picture: in 64 x 64 tiles of 3-byte
// pixels, each tile's rows together. The walk visits the picture in nested
// quarters, so a few neighbouring tiles hold what it touches for a long
// time; in the bitmap's own rows, wide pictures put every row's pixel of a
// column in the same few cache sets.
struct Tiles {
    std::uint8_t* bytes;
    std::size_t across;  // tiles per tile row
    static constexpr int kSide = 64, kBytes = kSide * kSide * 3;
    std::uint8_t* At(int x, int y) const {
        const unsigned ux = unsigned(x), uy = unsigned(y);
        return bytes + (std::size_t(uy / kSide) * across + ux / kSide) * kBytes +
               (uy % kSide) * (kSide * 3) + (ux % kSide) * 3;
    }
};

// The bitmap's rows, when there is no memory for the tiles.
struct Rows {
    std::uint8_t* top;  // row 0; later rows lie below it in memory
    std::ptrdiff_t stride;
    std::uint8_t* At(int x, int y) const { return top - y * stride + 3 * x; }
};

// The pass walker. Every point a leaf touches lies inside the picture.
template <class Store>
struct Plasma {
    Store store;
    Displacements* next = nullptr;

    std::uint32_t Get(int x, int y) const {
        const std::uint8_t* p = store.At(x, y);
        return std::uint32_t(p[2]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[0]) << 16;
    }
    void Set(int x, int y, std::uint32_t c) {
        std::uint8_t* p = store.At(x, y);
        p[0] = std::uint8_t(c >> 16);
        p[1] = std::uint8_t(c >> 8);
        p[2] = std::uint8_t(c);
    }
    void SetPerturbed(int x, int y, std::uint32_t c) { Set(x, y, Perturb(c, *next)); }

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

    // The flag of a pass is that of its bottom-right-most leaf. The last
    // level's four leaves are visited here rather than through four calls.
    int Subdivide(int x0, int y0, int x1, int y1, int d) {
        if (d == 0) return Leaf(x0, y0, x1, y1);
        const int mx = (x0 + x1) / 2, my = (y0 + y1) / 2;
        if (d == 1) {
            Leaf(x0, y0, mx, my);
            Leaf(x0, my, mx, y1);
            Leaf(mx, y0, x1, my);
            return Leaf(mx, my, x1, y1);
        }
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
    auto next = [&] { return Displacement(rng.Next(), a); };
    return Perturb(colour, next);
}

namespace {

// Anchors, then the passes: each walks the whole picture again, one level
// deeper. A 1 x 1 picture's only leaf is a single pixel that always asks for
// another pass, so it stops after the first.
template <class Store>
void DrawPlasma(Store store, int w, int h, Rng rng, std::int32_t turbulence,
                std::uint32_t seedColour, bool useSeedColour, int* table) {
    Plasma<Store> p{store};
    const int cx = (w - 1) / 2, cy = (h - 1) / 2;
    const int anchors[9][2] = {{0, 0},  {w - 1, 0},  {0, h - 1}, {w - 1, h - 1}, {cx, cy},
                               {0, cy}, {w - 1, cy}, {cx, 0},    {cx, h - 1}};
    for (const auto& at : anchors)
        p.Set(at[0], at[1], useSeedColour ? (seedColour & 0xFFFFFFu) : RandomColour(rng));
    Displacements next(rng);
    p.next = &next;
    for (int d = 1;; ++d) {
        const float a = PlasmaAmplitude(d, turbulence);
        for (int draw = 0; draw < 32768; ++draw) table[draw] = Displacement(draw, a);
        next.UseTable(table);
        const int more = p.Subdivide(0, 0, w - 1, h - 1, d);
        if (!more || (w == 1 && h == 1)) break;
    }
}

}  // namespace

MemHandle PlasmaImage(int w, int h, std::int32_t seed, std::int32_t turbulence,
                      std::uint32_t seedColour, bool useSeedColour) {
    const MemHandle image = NewImage(w, h);
    const MemHandle tableBlock = MemAlloc(32768 * sizeof(int));
    auto* table = static_cast<int*>(MemLock(tableBlock));
    ImageView view;
    if (!image || !table || !LockImage(image, &view)) {
        if (table) MemUnlock(tableBlock);
        MemFree(tableBlock);
        MemFree(image);
        return 0;
    }
    Rng rng;
    rng.Seed(std::uint32_t(seed));
    const std::size_t across = std::size_t(w + Tiles::kSide - 1) / Tiles::kSide;
    const std::size_t down = std::size_t(h + Tiles::kSide - 1) / Tiles::kSide;
    const MemHandle tileBlock = MemAlloc(across * down * Tiles::kBytes);
    auto* tiles = static_cast<std::uint8_t*>(MemLock(tileBlock));
    if (tiles) {
        DrawPlasma(Tiles{tiles, across}, w, h, rng, turbulence, seedColour, useSeedColour, table);
        // Back into the bitmap's rows, a tile row's worth at a time.
        for (int y = 0; y < h; ++y) {
            std::uint8_t* row = view.Row(y);
            for (std::size_t t = 0; t < across; ++t) {
                const int x = int(t) * Tiles::kSide;
                std::memcpy(row + 3 * x, Tiles{tiles, across}.At(x, y),
                            std::size_t(std::min(Tiles::kSide, w - x)) * 3);
            }
        }
        MemUnlock(tileBlock);
    } else {
        DrawPlasma(Rows{view.Row(0), std::ptrdiff_t(view.stride)}, w, h, rng, turbulence,
                   seedColour, useSeedColour, table);
    }
    MemFree(tileBlock);
    UnlockImage(&view);
    MemUnlock(tableBlock);
    MemFree(tableBlock);
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
