#include "core/detmath.h"

#include <cstdint>
#include <cstring>
#include <limits>

namespace tsn {

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

bool IsNaN(double x) {
    return x != x;
}

std::uint64_t Bits(double x) {
    std::uint64_t b;
    std::memcpy(&b, &x, 8);
    return b;
}
double FromBits(std::uint64_t b) {
    double x;
    std::memcpy(&x, &b, 8);
    return x;
}

// Round to the nearest whole number, halves away from zero, for |x| < 2^52.
double RoundHalfAway(double x) {
    const double t = x < 0 ? -x : x;
    double r = double(std::int64_t(t + 0.5));
    return x < 0 ? -r : r;
}

// 2^k for k in -1074 .. 1023, exactly.
double TwoTo(int k) {
    if (k >= -1022) return FromBits(std::uint64_t(k + 1023) << 52);
    return FromBits(std::uint64_t(1) << (k + 1074));
}

// sin and cos of r, |r| <= pi/4, by their Taylor series (the neglected terms
// are below 1e-19).
double SinKernel(double r) {
    const double z = r * r;
    double p = 1.0 / 355687428096000.0;  // 1/17!
    p = p * z - 1.0 / 1307674368000.0;
    p = p * z + 1.0 / 6227020800.0;
    p = p * z - 1.0 / 39916800.0;
    p = p * z + 1.0 / 362880.0;
    p = p * z - 1.0 / 5040.0;
    p = p * z + 1.0 / 120.0;
    p = p * z - 1.0 / 6.0;
    return r + r * z * p;
}
double CosKernel(double r) {
    const double z = r * r;
    double p = 1.0 / 6402373705728000.0;  // 1/18!
    p = p * z - 1.0 / 20922789888000.0;
    p = p * z + 1.0 / 87178291200.0;
    p = p * z - 1.0 / 479001600.0;
    p = p * z + 1.0 / 3628800.0;
    p = p * z - 1.0 / 40320.0;
    p = p * z + 1.0 / 720.0;
    p = p * z - 1.0 / 24.0;
    p = p * z + 0.5;
    return 1.0 - z * p;
}

// x = k * pi/2 + r with |r| <= pi/4 (Cody and Waite's three-part constant,
// exact products for |k| < 2^20; larger arguments stay deterministic but
// lose accuracy).
double Reduce(double x, int* quadrant) {
    constexpr double kTwoOverPi = 6.36619772367581382433e-01;
    constexpr double kPio2_1 = 1.57079632673412561417e+00;
    constexpr double kPio2_2 = 6.07710050650619224932e-11;
    constexpr double kPio2_3 = 2.02226624879595063154e-21;
    const double k = RoundHalfAway(x * kTwoOverPi);
    *quadrant = int(std::int64_t(k) & 3);
    return ((x - k * kPio2_1) - k * kPio2_2) - k * kPio2_3;
}

}  // namespace

double DetSin(double x) {
    if (IsNaN(x) || x == kInf || x == -kInf) return kNaN;
    if (x > 4.5e15 || x < -4.5e15) return 0.0;  // no digits of the angle are left
    int q;
    const double r = Reduce(x, &q);
    switch (q) {
        case 0:
            return SinKernel(r);
        case 1:
            return CosKernel(r);
        case 2:
            return -SinKernel(r);
        default:
            return -CosKernel(r);
    }
}

double DetCos(double x) {
    if (IsNaN(x) || x == kInf || x == -kInf) return kNaN;
    if (x > 4.5e15 || x < -4.5e15) return 1.0;
    int q;
    const double r = Reduce(x, &q);
    switch (q) {
        case 0:
            return CosKernel(r);
        case 1:
            return -SinKernel(r);
        case 2:
            return -CosKernel(r);
        default:
            return SinKernel(r);
    }
}

double DetExp(double x) {
    if (IsNaN(x)) return x;
    if (x > 709.782712893384) return kInf;
    if (x < -745.1332191019412) return 0.0;
    constexpr double kInvLn2 = 1.44269504088896338700e+00;
    constexpr double kLn2Hi = 6.93147180369123816490e-01;  // 32 significant bits
    constexpr double kLn2Lo = 1.90821492927058770002e-10;
    const double k = RoundHalfAway(x * kInvLn2);
    const double r = (x - k * kLn2Hi) - k * kLn2Lo;  // |r| <= 0.35
    // e^r by its Taylor series to r^14 / 14!.
    double p = 1.0 / 87178291200.0;
    const double inv[] = {6227020800.0, 479001600.0, 39916800.0, 3628800.0, 362880.0, 40320.0,
                          5040.0,       720.0,       120.0,      24.0,      6.0,      2.0};
    for (double d : inv) p = p * r + 1.0 / d;
    p = p * r + 1.0;
    p = p * r + 1.0;
    // Scale in two steps so results near the subnormal range stay exact.
    const int ki = int(k);
    if (ki > 1000) return p * TwoTo(1000) * TwoTo(ki - 1000);
    if (ki < -1000) return p * TwoTo(-1000) * TwoTo(ki + 1000);
    return p * TwoTo(ki);
}

double DetLog(double x) {
    if (IsNaN(x) || x < 0) return kNaN;
    if (x == 0) return -kInf;
    if (x == kInf) return kInf;
    int e = 0;
    if (x < 2.2250738585072014e-308) {  // subnormal: make it normal first
        x *= 18014398509481984.0;       // 2^54
        e = -54;
    }
    const std::uint64_t b = Bits(x);
    e += int((b >> 52) & 0x7FF) - 1023;
    double m = FromBits((b & 0x000FFFFFFFFFFFFFull) | 0x3FF0000000000000ull);  // 1 <= m < 2
    if (m > 1.4142135623730951) {
        m *= 0.5;
        ++e;
    }
    // log m = 2 atanh f with f = (m - 1) / (m + 1), |f| <= 0.1716.
    const double f = (m - 1.0) / (m + 1.0);
    const double s = f * f;
    double p = 1.0 / 23.0;
    for (int d = 21; d >= 3; d -= 2) p = p * s + 1.0 / d;
    const double logm = 2.0 * f + 2.0 * f * s * p;
    constexpr double kLn2Hi = 6.93147180369123816490e-01;
    constexpr double kLn2Lo = 1.90821492927058770002e-10;
    return double(e) * kLn2Hi + (double(e) * kLn2Lo + logm);
}

double DetPow(double x, double y) {
    if (y == 0 || x == 1.0) return 1.0;
    if (IsNaN(x) || IsNaN(y)) return kNaN;
    if (x == 0) return y > 0 ? 0.0 : kInf;
    if (x < 0) {
        const double whole = RoundHalfAway(y);
        if (whole != y || y > 9.0e15 || y < -9.0e15) return kNaN;
        const double mag = DetExp(y * DetLog(-x));
        return (std::int64_t(whole) & 1) ? -mag : mag;
    }
    return DetExp(y * DetLog(x));
}

}  // namespace tsn
