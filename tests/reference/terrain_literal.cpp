#include "tests/reference/terrain_literal.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "core/detmath.h"
#include "core/image.h"
#include "core/packed.h"
#include "core/random.h"

namespace tsn::reference {

namespace {

constexpr double kTwoPi = 6.28318530717958647692;

// Sample position along one axis: 0 .. n - 1 over 0 .. size - 1; a single
// pixel sits on the first sample.
double Along(int at, int size, int n) {
    if (size == 1) return 0.0;
    return double(at) / double(size - 1) * double(n - 1);
}

double Sample(const std::uint8_t* map, int n, int x, int y, int width, int depth) {
    const double fx = Along(x, width, n);
    const int ix = int(std::floor(fx));
    const int ix1 = ix + 1;
    const double wx = fx - ix;
    const double fy = Along(y, depth, n);
    const double wy = fy - std::floor(fy);
    const int row0 = n * int(std::floor(fy));
    const int row1 = row0 + n;
    return map[row0 + ix] * (1 - wx) * (1 - wy) + map[row1 + ix] * (1 - wx) * wy +
           map[row1 + ix1] * wx * wy + map[row0 + ix1] * wx * (1 - wy);
}

std::uint32_t Rgb(const std::uint8_t* palette, int k) {
    return palette[3 * k] | palette[3 * k + 1] << 8 | palette[3 * k + 2] << 16;
}

}  // namespace

void LiteralFourn(float* data, int n, int isign) {
    const int nn[2] = {n, n};
    const int ntot = n * n;
    int nprev = 1;
    for (int idim = 1; idim >= 0; --idim) {
        const int len = nn[idim];
        const int nrem = ntot / (len * nprev);
        const int ip1 = nprev << 1;
        const int ip2 = ip1 * len;
        const int ip3 = ip2 * nrem;
        int i2rev = 1;
        for (int i2 = 1; i2 <= ip2; i2 += ip1) {
            if (i2 < i2rev) {
                for (int i1 = i2; i1 <= i2 + ip1 - 2; i1 += 2)
                    for (int i3 = i1; i3 <= ip3; i3 += ip2) {
                        const int i3rev = i2rev + i3 - i2;
                        std::swap(data[i3], data[i3rev]);
                        std::swap(data[i3 + 1], data[i3rev + 1]);
                    }
            }
            int ibit = ip2 >> 1;
            while (ibit >= ip1 && i2rev > ibit) {
                i2rev -= ibit;
                ibit >>= 1;
            }
            i2rev += ibit;
        }
        int ifp1 = ip1;
        while (ifp1 < ip2) {
            const int ifp2 = ifp1 << 1;
            const double theta = isign * kTwoPi / (ifp2 / ip1);
            double wtemp = DetSin(0.5 * theta);
            const double wpr = -2.0 * wtemp * wtemp;
            const double wpi = DetSin(theta);
            double wr = 1.0, wi = 0.0;
            for (int i3 = 1; i3 <= ifp1; i3 += ip1) {
                for (int i1 = i3; i1 <= i3 + ip1 - 2; i1 += 2)
                    for (int i2 = i1; i2 <= ip3; i2 += ifp2) {
                        const int k1 = i2;
                        const int k2 = k1 + ifp1;
                        const float tempr = float(wr) * data[k2] - float(wi) * data[k2 + 1];
                        const float tempi = float(wr) * data[k2 + 1] + float(wi) * data[k2];
                        data[k2] = data[k1] - tempr;
                        data[k2 + 1] = data[k1 + 1] - tempi;
                        data[k1] += tempr;
                        data[k1 + 1] += tempi;
                    }
                wr = (wtemp = wr) * wpr - wi * wpi + wr;
                wi = wi * wpr + wtemp * wpi + wi;
            }
            ifp1 = ifp2;
        }
        nprev *= len;
    }
}

std::vector<float> LiteralSpectrum(std::uint32_t seed, double density, int n) {
    std::vector<float> data(2 * std::size_t(n) * n + 2, 0.0f);
    Rng rng;
    rng.Seed(seed);
    const double arand = 32767.0;
    const double gaussAdd = std::sqrt(3.0 * 4.0);
    const double gaussFac = 2.0 * gaussAdd / (4.0 * arand);
    auto gauss = [&] {
        int sum = 0;
        for (int k = 0; k < 4; ++k) sum += rng.Next();
        return gaussFac * sum - gaussAdd;
    };
    auto re = [&](int i, int j) -> float& { return data[2 * (std::size_t(i) * n + j) + 1]; };
    auto im = [&](int i, int j) -> float& { return data[2 * (std::size_t(i) * n + j) + 2]; };
    const double H = 3.0 - density;
    for (int i = 0; i <= n / 2; ++i)
        for (int j = 0; j <= n / 2; ++j) {
            const double phase = (rng.Next() & 0x7FFF) * kTwoPi / 32767.0;
            double rad = 0.0;
            if (i != 0 || j != 0) rad = DetPow(double(i * i + j * j), -(H + 1.0) / 2.0) * gauss();
            re(i, j) = float(rad * DetCos(phase));
            im(i, j) = float(rad * DetSin(phase));
            const int i0 = i == 0 ? 0 : n - i;
            const int j0 = j == 0 ? 0 : n - j;
            re(i0, j0) = float(rad * DetCos(phase));
            im(i0, j0) = -float(rad * DetSin(phase));
        }
    im(n / 2, 0) = 0;
    im(0, n / 2) = 0;
    im(n / 2, n / 2) = 0;
    for (int i = 1; i <= n / 2 - 1; ++i)
        for (int j = 1; j <= n / 2 - 1; ++j) {
            const double phase = (rng.Next() & 0x7FFF) * kTwoPi / 32767.0;
            const double rad = DetPow(double(i * i + j * j), -(H + 1.0) / 2.0) * gauss();
            re(i, n - j) = float(rad * DetCos(phase));
            im(i, n - j) = float(rad * DetSin(phase));
            re(n - i, j) = float(rad * DetCos(phase));
            im(n - i, j) = -float(rad * DetSin(phase));
        }
    return data;
}

std::vector<std::uint8_t> LiteralHeightMap(std::uint32_t seed, double density, double elevation,
                                           int n) {
    std::vector<float> data = LiteralSpectrum(seed, density, n);
    LiteralFourn(data.data(), n, -1);
    const std::size_t count = std::size_t(n) * n;
    if (elevation != 1.0)
        for (std::size_t e = 0; e < count; ++e) {
            float& v = data[2 * e + 1];
            if (v > 0) v = float(DetPow(v, elevation));
        }
    float lo = data[1], hi = data[1];
    for (std::size_t e = 0; e < count; ++e) {
        if (!std::isfinite(data[2 * e + 1])) return {};
        lo = std::min(lo, data[2 * e + 1]);
        hi = std::max(hi, data[2 * e + 1]);
    }
    const double mid = (double(hi) + double(lo)) * 0.5;
    const double half = (double(hi) - double(lo)) * 0.5;
    if (!std::isfinite(mid) || !std::isfinite(half)) return {};
    std::vector<std::uint8_t> map(count + n + 1, 0);
    for (std::size_t e = 0; e < count; ++e) {
        // A flat field has no range to spread: it becomes level mid-grey.
        const float v = half > 0 ? float((data[2 * e + 1] - mid) / half) : 0.0f;
        map[e] = std::uint8_t(int((v + 1.0) * 255.0 * 0.5));
    }
    map[count] = map[count - 1];
    return map;
}

MemHandle LiteralTerrainImage(const std::uint8_t* map, int n, int width, int depth,
                              const std::uint8_t* land, const std::uint8_t* water) {
    MemHandle h = NewImage(width, depth);
    ImageView view;
    if (!LockImage(h, &view)) return 0;
    for (int y = 0; y < depth; ++y)
        for (int x = 0; x < width; ++x) {
            const double v = Sample(map, n, x, y, width, depth);
            if (v >= 128)
                SetPixel(view, x, y, Rgb(land, int((v - 128) * 2)));
            else
                SetPixel(view, x, y, Rgb(water, int(v * 2)));
        }
    UnlockImage(&view);
    return h;
}

MemHandle LiteralSurfaceGrey(const std::uint8_t* map, int n, int width, int depth) {
    MemHandle h = NewImage(width, depth);
    ImageView view;
    if (!LockImage(h, &view)) return 0;
    for (int y = 0; y < depth; ++y)
        for (int x = 0; x < width; ++x) {
            int g = int(Sample(map, n, x, y, width, depth));
            if (g < 1) g = 0;
            if (g >= 255) g = 255;
            SetPixel(view, x, y, std::uint32_t(g) * 0x010101u);
        }
    UnlockImage(&view);
    return h;
}

}  // namespace tsn::reference
