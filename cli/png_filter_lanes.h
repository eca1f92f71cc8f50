// The PNG row filter over vector lanes of bytes, written once for any width:
// `Lanes` supplies the vector type and its byte operations (SSE2's sixteen
// bytes or AVX2's thirty-two). Included by one file per instruction set.
#pragma once

#include <cstddef>

namespace tsn::png_lanes {

enum : int { kNone, kSub, kUp, kAverage, kPaeth };

#define TSN_LANES_INLINE inline __attribute__((always_inline))

// The four neighbour vectors of bytes i .. i + width - 1, loaded unaligned
// at i and i - 3 (three bytes a pixel).
template <class Lanes>
struct Neighbours {
    using V = typename Lanes::V;
    V x, a, b, c;
    TSN_LANES_INLINE Neighbours(const unsigned char* row, const unsigned char* up, std::size_t i)
        : x(Lanes::Load(row + i)),
          a(Lanes::Load(row + i - 3)),
          b(Lanes::Load(up + i)),
          c(Lanes::Load(up + i - 3)) {}
};

// |x - y| of unsigned bytes.
template <class Lanes>
TSN_LANES_INLINE typename Lanes::V Distance(typename Lanes::V x, typename Lanes::V y) {
    return Lanes::Or(Lanes::SubSat(x, y), Lanes::SubSat(y, x));
}

// x <= y of unsigned bytes, as an all-ones mask.
template <class Lanes>
TSN_LANES_INLINE typename Lanes::V AtMost(typename Lanes::V x, typename Lanes::V y) {
    return Lanes::Equal(Lanes::Min(x, y), x);
}

// mask ? yes : no, byte by byte.
template <class Lanes>
TSN_LANES_INLINE typename Lanes::V Select(typename Lanes::V mask, typename Lanes::V yes,
                                          typename Lanes::V no) {
    return Lanes::Or(Lanes::And(mask, yes), Lanes::AndNot(mask, no));
}

// The Paeth predictor in bytes. With p = a + b - c: |p - a| = |b - c|,
// |p - b| = |a - c| and |p - c| = |(b - c) + (a - c)|, which is the sum
// of the other two where b - c and a - c share a sign and their difference
// where they do not. The sum may pass 255 and is held at 255: it is only
// ever compared as at least |p - a| or |p - b|, both at most 255, and the
// held value answers those comparisons as the true one does.
template <class Lanes>
TSN_LANES_INLINE typename Lanes::V PaethPrediction(const Neighbours<Lanes>& n) {
    using V = typename Lanes::V;
    const V zero = Lanes::Zero();
    const V cOverB = Lanes::SubSat(n.c, n.b), cOverA = Lanes::SubSat(n.c, n.a);
    const V pa = Lanes::Or(Lanes::SubSat(n.b, n.c), cOverB);
    const V pb = Lanes::Or(Lanes::SubSat(n.a, n.c), cOverA);
    const V signsDiffer = Lanes::Xor(Lanes::Equal(cOverB, zero), Lanes::Equal(cOverA, zero));
    const V pc = Select<Lanes>(signsDiffer, Distance<Lanes>(pa, pb), Lanes::AddSat(pa, pb));
    const V useA = Lanes::And(AtMost<Lanes>(pa, pb), AtMost<Lanes>(pa, pc));
    const V useB = AtMost<Lanes>(pb, pc);
    return Select<Lanes>(useA, n.a, Select<Lanes>(useB, n.b, n.c));
}

// floor((a + b) / 2): the average instruction rounds up.
template <class Lanes>
TSN_LANES_INLINE typename Lanes::V FloorAverage(typename Lanes::V a, typename Lanes::V b) {
    return Lanes::Sub(Lanes::Average(a, b), Lanes::And(Lanes::Xor(a, b), Lanes::Ones()));
}

// The prediction of filter `type` (a constant where it is called).
template <class Lanes, int Type>
TSN_LANES_INLINE typename Lanes::V Prediction(const Neighbours<Lanes>& n) {
    if constexpr (Type == kSub) return n.a;
    if constexpr (Type == kUp) return n.b;
    if constexpr (Type == kAverage) return FloorAverage<Lanes>(n.a, n.b);
    if constexpr (Type == kPaeth) return PaethPrediction<Lanes>(n);
    return Lanes::Zero();
}

// Adds the signed magnitudes min(v, 256 - v) of the filtered bytes v to sum.
template <class Lanes>
TSN_LANES_INLINE typename Lanes::V AddCost(typename Lanes::V sum, typename Lanes::V v) {
    return Lanes::AddMagnitudes(sum, Lanes::Min(v, Lanes::Sub(Lanes::Zero(), v)));
}

// Adds the five filters' costs over bytes 3 .. end - 1 (a whole number of
// vectors) to cost[].
template <class Lanes>
void AddCosts(const unsigned char* row, const unsigned char* up, std::size_t end,
              unsigned long cost[5]) {
    using V = typename Lanes::V;
    V sums[5] = {Lanes::Zero(), Lanes::Zero(), Lanes::Zero(), Lanes::Zero(), Lanes::Zero()};
    for (std::size_t i = 3; i < end; i += Lanes::kWidth) {
        const Neighbours<Lanes> n(row, up, i);
        sums[kNone] = AddCost<Lanes>(sums[kNone], n.x);
        sums[kSub] = AddCost<Lanes>(sums[kSub], Lanes::Sub(n.x, Prediction<Lanes, kSub>(n)));
        sums[kUp] = AddCost<Lanes>(sums[kUp], Lanes::Sub(n.x, Prediction<Lanes, kUp>(n)));
        sums[kAverage] =
            AddCost<Lanes>(sums[kAverage], Lanes::Sub(n.x, Prediction<Lanes, kAverage>(n)));
        sums[kPaeth] = AddCost<Lanes>(sums[kPaeth], Lanes::Sub(n.x, Prediction<Lanes, kPaeth>(n)));
    }
    for (int type = kNone; type <= kPaeth; ++type) cost[type] += Lanes::Total(sums[type]);
}

template <class Lanes, int Type>
void StoreFilteredAs(const unsigned char* row, const unsigned char* up, std::size_t end,
                     unsigned char* filtered) {
    for (std::size_t i = 3; i < end; i += Lanes::kWidth) {
        const Neighbours<Lanes> n(row, up, i);
        Lanes::Store(filtered + i, Lanes::Sub(n.x, Prediction<Lanes, Type>(n)));
    }
}

// Writes bytes 3 .. end - 1 of the row filtered by `type`.
template <class Lanes>
void StoreFiltered(int type, const unsigned char* row, const unsigned char* up, std::size_t end,
                   unsigned char* filtered) {
    switch (type) {
        case kNone:
            StoreFilteredAs<Lanes, kNone>(row, up, end, filtered);
            break;
        case kSub:
            StoreFilteredAs<Lanes, kSub>(row, up, end, filtered);
            break;
        case kUp:
            StoreFilteredAs<Lanes, kUp>(row, up, end, filtered);
            break;
        case kAverage:
            StoreFilteredAs<Lanes, kAverage>(row, up, end, filtered);
            break;
        default:
            StoreFilteredAs<Lanes, kPaeth>(row, up, end, filtered);
    }
}

#undef TSN_LANES_INLINE

// The channel swap one byte at a time: the whole of it without byte
// shuffles, and the last few bytes with them.
inline void RgbOfBgrBytes(const unsigned char* bgr, std::size_t n, unsigned char* rgb) {
    for (std::size_t i = 0; i + 2 < n; i += 3) {
        rgb[i] = bgr[i + 2];
        rgb[i + 1] = bgr[i + 1];
        rgb[i + 2] = bgr[i];
    }
}

}  // namespace tsn::png_lanes

namespace tsn {

// One instruction set's row filter loops, over whole vectors of bytes from
// byte 3 (the second pixel) to `end`, and its conversion of a row of
// blue-green-red pixels to the file's red-green-blue.
struct PngFilterKernel {
    std::size_t width;  // bytes a vector
    void (*addCosts)(const unsigned char* row, const unsigned char* up, std::size_t end,
                     unsigned long cost[5]);
    void (*storeFiltered)(int type, const unsigned char* row, const unsigned char* up,
                          std::size_t end, unsigned char* filtered);
    void (*rgbOfBgr)(const unsigned char* bgr, std::size_t bytes, unsigned char* rgb);
};

extern const PngFilterKernel kPngFilterAvx2;

}  // namespace tsn
