// Plasma's pass walker, built once per instruction set like the draws (each
// build includes this inside its own target region, so every function here
// has internal linkage). What differs between builds is how a leaf tests
// and finishes its five points at once; the walk, the draws and the exact
// per-channel course are the same code.
#pragma once

#include <emmintrin.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <new>

#include "core/simd.h"
#include "kinds/plasma/plasma.h"
#include "kinds/plasma/plasma_draws.h"

namespace tsn {
namespace {

// Per-channel mean, rounded down, of two colours: half of each channel
// with the low bit dropped, plus one where both low bits were set.
inline std::uint32_t Average(std::uint32_t p, std::uint32_t q) {
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

    explicit DrawStream(std::uint32_t state)
        : fill_(ActiveKernel(SimdKernels<void (*)(const PlasmaDrawJob&)>{
              PlasmaDrawsSse2, PlasmaDrawsAvx2, PlasmaDrawsAvx512})) {
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

// The usual course of a channel: it stays inside the clamp with its first
// three draws and takes four. Its first and third sums must be above 0 and
// its second below 255; the fourth is its value, wrapped.
inline __m128i UsualAbove() {
    return _mm_setr_epi32(0, INT32_MIN, 0, INT32_MIN);
}
inline __m128i UsualBelow() {
    return _mm_setr_epi32(INT32_MAX, 255, INT32_MAX, INT32_MAX);
}

// A channel's four sums, four draws from `draws` onwards; the lanes that
// pass their test of the usual course; the value the fourth gives.
[[gnu::always_inline]] inline __m128i ChannelSums(std::uint32_t colour, int channel,
                                                  const std::int32_t* draws) {
    return _mm_add_epi32(_mm_set1_epi32(int(colour >> (8 * channel)) & 0xFF),
                         _mm_loadu_si128(reinterpret_cast<const __m128i*>(draws)));
}
[[gnu::always_inline]] inline __m128i UsualLanes(__m128i sums) {
    return _mm_and_si128(_mm_cmpgt_epi32(sums, UsualAbove()), _mm_cmpgt_epi32(UsualBelow(), sums));
}
[[gnu::always_inline]] inline std::uint32_t ValueOf(__m128i sums) {
    return std::uint32_t(_mm_cvtsi128_si32(_mm_shuffle_epi32(sums, 0xFF))) & 0xFF;
}

// Perturb, with one test for the usual course of all three channels: their
// twelve draws are tested at once, four to a register. Any other case goes
// the exact way from the start. The sums cannot overflow: a displacement is
// at most 2^31 / 100 x 64.
[[gnu::always_inline]] inline std::uint32_t PerturbUsually(std::uint32_t colour, Draws& d) {
    const __m128i r = ChannelSums(colour, 0, d.p), g = ChannelSums(colour, 1, d.p + 4),
                  b = ChannelSums(colour, 2, d.p + 8);
    if (_mm_movemask_epi8(
            _mm_and_si128(_mm_and_si128(UsualLanes(r), UsualLanes(g)), UsualLanes(b))) == 0xFFFF) {
        d.p += 12;
        return ValueOf(r) | ValueOf(g) << 8 | ValueOf(b) << 16;
    }
    return Perturb(colour, d);
}

// Stores a value in the picture's byte order (blue in the low byte).
[[gnu::always_inline]] inline void PutPixel(std::uint8_t* p, std::uint32_t v) {
    const auto low = std::uint16_t(v);
    std::memcpy(p, &low, 2);
    p[2] = std::uint8_t(v >> 16);
}

// A leaf's five points, perturbed from the colours c[] and written to at[]
// in that order, when all of them take the usual course. False when any
// point does not, and then nothing is written. The SSE2 build: five of
// PerturbUsually's tests, one branch.
struct FiveSse2 {
    [[gnu::always_inline]] static bool Usual(const std::int32_t* draws, const std::uint32_t c[5],
                                             std::uint8_t* const at[5]) {
        __m128i all = _mm_set1_epi32(-1);
        __m128i sums[15];
        for (int k = 0; k < 15; ++k) {
            sums[k] = ChannelSums(c[k / 3], k % 3, draws + 4 * k);
            all = _mm_and_si128(all, UsualLanes(sums[k]));
        }
        if (_mm_movemask_epi8(all) != 0xFFFF) return false;
        for (int i = 0; i < 5; ++i)
            PutPixel(at[i], ValueOf(sums[3 * i + 2]) | ValueOf(sums[3 * i + 1]) << 8 |
                                ValueOf(sums[3 * i]) << 16);
        return true;
    }
};

// The bitmap's rows, addressed from the top row's pointer.
struct Rows {
    std::uint8_t* top;  // row 0; later rows lie below it in memory
    std::ptrdiff_t stride;
    std::uint8_t* At(int x, int y) const { return top - y * stride + 3 * x; }
};

// The pass walker. Every point a leaf touches lies inside the picture.
template <class Five>
struct PlasmaWalker {
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
        const std::uint32_t c00 = Get(x0, y0), c01 = Get(x0, y1);
        const std::uint32_t c10 = Get(x1, y0), c11 = Get(x1, y1);
        const int mx = (x0 + x1) / 2, my = (y0 + y1) / 2;
        const int r = (x1 - x0 >= 3 || y1 - y0 >= 3) ? 1 : 0;
        // Almost every leaf has all five points and all of them take the
        // usual course. The points are written in the same order either
        // way, which matters where a narrow leaf writes one twice.
        if (x0 != x1 && y0 != y1 && (x0 != mx || my != y1)) {
            const std::uint32_t c[5] = {Average(c00, c01), Average(c10, c11), Average(c01, c11),
                                        Average(c00, c10),
                                        Average(Average(c11, c00), Average(c10, c01))};
            std::uint8_t* const at[5] = {store.At(x0, my), store.At(x1, my), store.At(mx, y1),
                                         store.At(mx, y0), store.At(mx, my)};
            if (Five::Usual(d.p, c, at)) {
                d.p += 60;
                return r;
            }
        }
        auto SetPerturbed = [&](int x, int y, std::uint32_t c) __attribute__((always_inline)) {
            Set(x, y, PerturbUsually(c, d));
        };
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

// Every pass of a picture whose nine anchors are set.
template <class Five>
void PlasmaWalkOf(const PlasmaWalkJob& job) {
    DrawStream* stream = new (job.streamMemory) DrawStream(job.state);
    PlasmaWalker<Five> p{Rows{job.top, job.stride}, stream};
    // Each pass walks the whole picture again, one level deeper. A 1 x 1
    // picture's only leaf is a single pixel that always asks for another
    // pass, so it stops after the first.
    for (int d = 1;; ++d) {
        stream->SetAmplitude(double(PlasmaAmplitude(d, job.turbulence)));
        const int more = p.Subdivide(0, 0, job.w - 1, job.h - 1, d);
        if (!more || (job.w == 1 && job.h == 1)) break;
    }
}

}  // namespace
}  // namespace tsn
