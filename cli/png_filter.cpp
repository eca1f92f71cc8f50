#include "cli/png_filter.h"

#include <cstdlib>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "cli/png_filter_lanes.h"
#include "core/simd.h"

namespace tsn {

namespace {

using png_lanes::kNone, png_lanes::kSub, png_lanes::kUp, png_lanes::kAverage, png_lanes::kPaeth;

int PaethPredictor(int a, int b, int c) {
    const int p = a + b - c, pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
    return pa <= pb && pa <= pc ? a : pb <= pc ? b : c;
}

// Byte x filtered by `type` with its left (a), upper (b) and upper-left (c)
// neighbours.
unsigned char Filtered(int type, int x, int a, int b, int c) {
    switch (type) {
        case kSub:
            return static_cast<unsigned char>(x - a);
        case kUp:
            return static_cast<unsigned char>(x - b);
        case kAverage:
            return static_cast<unsigned char>(x - (a + b) / 2);
        case kPaeth:
            return static_cast<unsigned char>(x - PaethPredictor(a, b, c));
    }
    return static_cast<unsigned char>(x);
}

unsigned Magnitude(unsigned char f) {
    return f < 128 ? f : 256u - f;
}

#if defined(__SSE2__)
// Sixteen bytes at a time.
struct Sse2Lanes {
    using V = __m128i;
    static constexpr std::size_t kWidth = 16;
    static V Load(const unsigned char* p) { return _mm_loadu_si128(reinterpret_cast<const V*>(p)); }
    static void Store(unsigned char* p, V v) { _mm_storeu_si128(reinterpret_cast<V*>(p), v); }
    static V Zero() { return _mm_setzero_si128(); }
    static V Ones() { return _mm_set1_epi8(1); }
    static V Sub(V x, V y) { return _mm_sub_epi8(x, y); }
    static V SubSat(V x, V y) { return _mm_subs_epu8(x, y); }
    static V AddSat(V x, V y) { return _mm_adds_epu8(x, y); }
    static V Min(V x, V y) { return _mm_min_epu8(x, y); }
    static V Average(V x, V y) { return _mm_avg_epu8(x, y); }
    static V Equal(V x, V y) { return _mm_cmpeq_epi8(x, y); }
    static V And(V x, V y) { return _mm_and_si128(x, y); }
    static V AndNot(V mask, V x) { return _mm_andnot_si128(mask, x); }
    static V Or(V x, V y) { return _mm_or_si128(x, y); }
    static V Xor(V x, V y) { return _mm_xor_si128(x, y); }
    // Sums the bytes of v into the 64-bit halves of sum.
    static V AddMagnitudes(V sum, V v) {
        return _mm_add_epi64(sum, _mm_sad_epu8(v, _mm_setzero_si128()));
    }
    static unsigned long Total(V sum) {
        return static_cast<unsigned long>(_mm_cvtsi128_si64(sum)) +
               static_cast<unsigned long>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(sum, sum)));
    }
};

const PngFilterKernel kPngFilterSse2 = {Sse2Lanes::kWidth, png_lanes::AddCosts<Sse2Lanes>,
                                        png_lanes::StoreFiltered<Sse2Lanes>,
                                        png_lanes::RgbOfBgrBytes};

const PngFilterKernel& ActiveFilterKernel() {
    static const SimdKernels<const PngFilterKernel*> kernels = {&kPngFilterSse2, &kPngFilterAvx2,
                                                                &kPngFilterAvx2};
    return *ActiveKernel(kernels);
}
#endif

}  // namespace

void FilterPngRow(const unsigned char* row, const unsigned char* up, std::size_t n,
                  unsigned char* out) {
    // The first pixel's left neighbours are zero. Bytes before `vectorEnd`
    // (from the second pixel on) go a vector at a time, the rest one by one.
    auto at = [&](int type, std::size_t i) {
        return i < 3 ? Filtered(type, row[i], 0, up[i], 0)
                     : Filtered(type, row[i], row[i - 3], up[i], up[i - 3]);
    };
    unsigned long cost[5] = {};
    std::size_t vectorEnd = 3;
#if defined(__SSE2__)
    const PngFilterKernel& kernel = ActiveFilterKernel();
    if (n >= 3 + kernel.width) {
        vectorEnd = 3 + (n - 3) / kernel.width * kernel.width;
        kernel.addCosts(row, up, vectorEnd, cost);
    }
#endif
    if (vectorEnd > n) vectorEnd = n;
    for (int type = kNone; type <= kPaeth; ++type) {
        for (std::size_t i = 0; i < 3 && i < n; ++i) cost[type] += Magnitude(at(type, i));
        for (std::size_t i = vectorEnd; i < n; ++i) cost[type] += Magnitude(at(type, i));
    }
    int best = kNone;
    for (int type = kSub; type <= kPaeth; ++type)
        if (cost[type] < cost[best]) best = type;

    out[0] = static_cast<unsigned char>(best);
    unsigned char* filtered = out + 1;
    for (std::size_t i = 0; i < 3 && i < n; ++i) filtered[i] = at(best, i);
#if defined(__SSE2__)
    if (vectorEnd > 3) kernel.storeFiltered(best, row, up, vectorEnd, filtered);
#endif
    for (std::size_t i = vectorEnd; i < n; ++i) filtered[i] = at(best, i);
}

void RgbOfBgrRow(const unsigned char* bgr, std::size_t n, unsigned char* rgb) {
#if defined(__SSE2__)
    ActiveFilterKernel().rgbOfBgr(bgr, n, rgb);
#else
    png_lanes::RgbOfBgrBytes(bgr, n, rgb);
#endif
}

}  // namespace tsn
