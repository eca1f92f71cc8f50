#include "tests/reference/noise2d_literal.h"

#include <cmath>

namespace tsn::reference {

namespace {

int Mod(int i, int p) {
    return p > 0 ? ((i % p) + p) % p : i;
}

double Corner(const NoiseField& f, const NoiseOctave& o, int i, int j, double dx, double dy) {
    const unsigned h = f.perm[f.perm[(i + o.offsetX) & 1023] + ((j + o.offsetY) & 1023)];
    if (f.s.basis == kBasisValue) return f.value[h];
    return f.gradX[h] * dx + f.gradY[h] * dy;
}

double Octave(const NoiseField& f, const NoiseOctave& o, double u, double v) {
    const int i = int(std::floor(u)), j = int(std::floor(v));
    const double x = u - i, y = v - j;
    const int i0 = Mod(i, o.periodX), i1 = Mod(i + 1, o.periodX);
    const int j0 = Mod(j, o.periodY), j1 = Mod(j + 1, o.periodY);
    const double a = Corner(f, o, i0, j0, x, y), b = Corner(f, o, i1, j0, x - 1, y);
    const double c = Corner(f, o, i0, j1, x, y - 1), d = Corner(f, o, i1, j1, x - 1, y - 1);
    const double sx = x * x * x * (x * (x * 6 - 15) + 10), sy = y * y * y * (y * (y * 6 - 15) + 10);
    const double top = a + sx * (b - a), bottom = c + sx * (d - c);
    const double n = top + sy * (bottom - top);
    return f.s.basis == kBasisValue ? n : 1.4142135623730951 * n;
}

}  // namespace

double LiteralNoise(const NoiseField& f, double u, double v) {
    if (f.s.fractal == kFractalNone) return Octave(f, f.octave[0], u, v);
    double sum = 0;
    for (int k = 0; k < f.s.octaves; ++k) {
        const NoiseOctave& o = f.octave[k];
        sum += o.amplitude * Octave(f, o, u * o.scaleX, v * o.scaleY);
    }
    return sum;
}

}  // namespace tsn::reference
