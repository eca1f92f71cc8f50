#include "textures/gradient/plasma.h"

#include <emmintrin.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstring>
#include <new>
#include <thread>

#include "common/page.h"
#include "common/simd.h"
#include "plugin/catalogue.h"
#include "plugin/page_fields.h"
#include "textures/gradient/plasma_draws.h"

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

// The draws, generated ahead of need. The sequence does not depend on who
// consumes it, so it is made in blocks by sixteen generator states that each
// step sixteen draws at a time: the multiply chain of the generator, one draw
// after the other, then no longer paces the pixel loop, and the
// displacements are worked out with vector instructions. (A second thread
// making the blocks was tried: moving them between the cores cost more than
// making them.)
class DrawStream {
  public:
    // At most this many draws serve the walker's last level at once: four
    // leaves of five points, three channels, four draws each.
    static constexpr int kLeafDraws = 4 * 60;

    explicit DrawStream(std::uint32_t state) : fill_(FillOf(ActiveSimdPath())) {
        for (std::uint32_t& lane : lanes_) lane = state = state * kA + kC;
    }
    // The pass's amplitude: displacements of draws made but not yet used
    // are worked out again.
    void SetAmplitude(double a) {
        a_ = a;
        for (int k = next_; k < end_; ++k) displacement_[k] = PlasmaDisplacement(raw_[k], a);
    }
    // The next kLeafDraws displacements, in order, from *cursor onwards.
    const std::int32_t* Reserve() {
        if (end_ - next_ < kLeafDraws) Refill();
        return displacement_ + next_;
    }
    void Consumed(const std::int32_t* cursor) { next_ = int(cursor - displacement_); }

  private:
    static constexpr int kBlock = 4096, kCapacity = kBlock + kLeafDraws;

    static void (*FillOf(SimdPath path))(const PlasmaDrawJob&) {
        switch (path) {
            case SimdPath::Avx512:
                return PlasmaDrawsAvx512;
            case SimdPath::Avx2:
                return PlasmaDrawsAvx2;
            default:
                return PlasmaDrawsSse2;
        }
    }
    void Refill() {
        const int left = end_ - next_;
        std::memmove(raw_, raw_ + next_, sizeof raw_[0] * std::size_t(left));
        std::memmove(displacement_, displacement_ + next_, sizeof displacement_[0] * left);
        next_ = 0;
        end_ = left;
        fill_({lanes_, raw_ + end_, displacement_ + end_, kBlock, a_});
        end_ += kBlock;
    }

    void (*fill_)(const PlasmaDrawJob&);
    std::uint32_t lanes_[kPlasmaLanes];  // the states of the next sixteen draws
    double a_ = 0;
    int next_ = 0, end_ = 0;
    std::uint16_t raw_[kCapacity];
    std::int32_t displacement_[kCapacity];
};

// A leaf's view of the stream.
struct Draws {
    const std::int32_t* p;
    [[gnu::always_inline]] long long operator()() { return *p++; }
};

// Perturb, with one test for the usual case: every channel stays inside
// the clamp with its first three draws and so takes four. The three
// channels' twelve draws are tested at once, four to a register: the first
// and third sums must be above 0, the second below 255. Any other case goes
// the exact way from the start. The sums cannot overflow: a displacement is
// at most 2^31 / 100 x 64.
[[gnu::always_inline]] inline std::uint32_t PerturbUsually(std::uint32_t colour, Draws& d) {
    const __m128i above = _mm_setr_epi32(0, INT32_MIN, 0, INT32_MIN);
    const __m128i below = _mm_setr_epi32(INT32_MAX, 255, INT32_MAX, INT32_MAX);
    auto sums = [&](int channel) {
        const __m128i draws = _mm_loadu_si128(reinterpret_cast<const __m128i*>(d.p + 4 * channel));
        return _mm_add_epi32(_mm_set1_epi32(int(colour >> (8 * channel)) & 0xFF), draws);
    };
    auto inside = [&](__m128i v) {
        return _mm_and_si128(_mm_cmpgt_epi32(v, above), _mm_cmpgt_epi32(below, v));
    };
    const __m128i r = sums(0), g = sums(1), b = sums(2);
    if (_mm_movemask_epi8(_mm_and_si128(_mm_and_si128(inside(r), inside(g)), inside(b))) ==
        0xFFFF) {
        d.p += 12;
        auto last = [](__m128i v) {
            return std::uint32_t(_mm_cvtsi128_si32(_mm_shuffle_epi32(v, 0xFF))) & 0xFF;
        };
        return last(r) | last(g) << 8 | last(b) << 16;
    }
    return Perturb(colour, d);
}

// The bitmap's rows, addressed from the top row's pointer.
struct Rows {
    std::uint8_t* top;  // row 0; later rows lie below it in memory
    std::ptrdiff_t stride;
    std::uint8_t* At(int x, int y) const { return top - y * stride + 3 * x; }
};

// The pass walker. Every point a leaf touches lies inside the picture.
struct Plasma {
    Rows store;
    DrawStream* draws;

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
    // The draws live in a local for the leaf, so the pixel stores, which may
    // alias anything, do not force them through memory.
    int Leaf(int x0, int y0, int x1, int y1) {
        Draws d{draws->Reserve()};
        const int r = LeafWith(d, x0, y0, x1, y1);
        draws->Consumed(d.p);
        return r;
    }

    [[gnu::always_inline]] int LeafWith(Draws& d, int x0, int y0, int x1, int y1) {
        auto SetPerturbed = [&](int x, int y, std::uint32_t c) { Set(x, y, PerturbUsually(c, d)); };
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
            Draws dr{draws->Reserve()};
            LeafWith(dr, x0, y0, mx, my);
            LeafWith(dr, x0, my, mx, y1);
            LeafWith(dr, mx, y0, x1, my);
            const int r = LeafWith(dr, mx, my, x1, y1);
            draws->Consumed(dr.p);
            return r;
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
    Plasma p{Rows{view.Row(0), std::ptrdiff_t(view.stride)}, nullptr};
    for (const auto& at : anchors)
        p.Set(at[0], at[1], useSeedColour ? (seedColour & 0xFFFFFFu) : RandomColour(rng));
    // Each pass walks the whole picture again, one level deeper. A 1 x 1
    // picture's only leaf is a single pixel that always asks for another
    // pass, so it stops after the first.
    DrawStream* stream = new (streamMemory) DrawStream(rng.state);
    p.draws = stream;
    for (int d = 1;; ++d) {
        stream->SetAmplitude(double(PlasmaAmplitude(d, turbulence)));
        const int more = p.Subdivide(0, 0, w - 1, h - 1, d);
        if (!more || (w == 1 && h == 1)) break;
    }
    MemUnlock(streamBlock);
    MemFree(streamBlock);
    UnlockImage(&view);
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
