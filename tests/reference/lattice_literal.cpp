#include "tests/reference/lattice_literal.h"

#include <algorithm>
#include <cmath>

namespace tsn::reference {

namespace {

int Wrap(int i, int period) {
    if (period <= 0) return i;
    const int r = i % period;
    return r < 0 ? r + period : r;
}

int Floor(double v) {
    const int i = int(v);
    return double(i) > v ? i - 1 : i;
}

unsigned Hash(const LatticeTables& t, int hashX, int hashY, int i, int j) {
    const unsigned a = t.perm[(unsigned(i) + unsigned(hashX)) & 1023];
    return t.perm[a + ((unsigned(j) + unsigned(hashY)) & 1023)];
}

unsigned Hash(const NoiseField& f, const NoiseOctave& o, int i, int j) {
    return Hash(f, o.offsetX, o.offsetY, i, j);
}

double Fade(double t) {
    return t * t * t * (t * (t * 6.0 - 15.0) + 10.0);
}

double Lerp(double t, double a, double b) {
    return a + t * (b - a);
}

double Grad(const NoiseField& f, unsigned h, double x, double y) {
    return double(f.gradX[h]) * x + double(f.gradY[h]) * y;
}

double Value(const NoiseField& f, const NoiseOctave& o, double u, double v) {
    const int i = Floor(u), j = Floor(v);
    const double fu = u - i, fv = v - j;
    const int i0 = Wrap(i, o.periodX), i1 = Wrap(i + 1, o.periodX);
    const int j0 = Wrap(j, o.periodY), j1 = Wrap(j + 1, o.periodY);
    const double a = f.value[Hash(f, o, i0, j0)], b = f.value[Hash(f, o, i1, j0)];
    const double c = f.value[Hash(f, o, i0, j1)], d = f.value[Hash(f, o, i1, j1)];
    return Lerp(Fade(fv), Lerp(Fade(fu), a, b), Lerp(Fade(fu), c, d));
}

double Perlin(const NoiseField& f, const NoiseOctave& o, double u, double v) {
    const int i = Floor(u), j = Floor(v);
    const double fu = u - i, fv = v - j;
    const int i0 = Wrap(i, o.periodX), i1 = Wrap(i + 1, o.periodX);
    const int j0 = Wrap(j, o.periodY), j1 = Wrap(j + 1, o.periodY);
    const double a = Grad(f, Hash(f, o, i0, j0), fu, fv);
    const double b = Grad(f, Hash(f, o, i1, j0), fu - 1.0, fv);
    const double c = Grad(f, Hash(f, o, i0, j1), fu, fv - 1.0);
    const double d = Grad(f, Hash(f, o, i1, j1), fu - 1.0, fv - 1.0);
    return 1.4142135623730951 * Lerp(Fade(fv), Lerp(Fade(fu), a, b), Lerp(Fade(fu), c, d));
}

double SimplexPlain(const NoiseField& f, const NoiseOctave& o, double u, double v) {
    const double F2 = 0.36602540378443865;  // (sqrt 3 - 1) / 2
    const double G2 = 0.21132486540518713;  // (3 - sqrt 3) / 6
    const double s = (u + v) * F2;
    const int i = Floor(u + s), j = Floor(v + s);
    const double t = double(i + j) * G2;
    const double x0 = u - (double(i) - t), y0 = v - (double(j) - t);
    int i1, j1;
    if (x0 > y0) {
        i1 = 1, j1 = 0;
    } else {
        i1 = 0, j1 = 1;
    }
    const double xs[3] = {x0, x0 - double(i1) + G2, x0 - 1.0 + 2.0 * G2};
    const double ys[3] = {y0, y0 - double(j1) + G2, y0 - 1.0 + 2.0 * G2};
    const int is[3] = {i, i + i1, i + 1}, js[3] = {j, j + j1, j + 1};
    double n = 0;
    for (int k = 0; k < 3; ++k) {
        double r = 0.5 - xs[k] * xs[k] - ys[k] * ys[k];
        if (r <= 0) continue;
        r *= r;
        n += r * r * Grad(f, Hash(f, o, is[k], js[k]), xs[k], ys[k]);
    }
    return 99.0 * n;
}

double Simplex(const NoiseField& f, const NoiseOctave& o, double u, double v) {
    if (o.periodX <= 0) return SimplexPlain(f, o, u, v);
    const double px = o.periodX, py = o.periodY;
    const double a = u - px * double(Floor(u / px));
    const double b = v - py * double(Floor(v / py));
    const double wx = a / px, wy = b / py;
    const double top = Lerp(wx, SimplexPlain(f, o, a, b), SimplexPlain(f, o, a - px, b));
    const double bottom =
        Lerp(wx, SimplexPlain(f, o, a, b - py), SimplexPlain(f, o, a - px, b - py));
    return Lerp(wy, top, bottom);
}

double Cellular(const NoiseField& f, const NoiseOctave& o, double u, double v) {
    const int i = Floor(u), j = Floor(v);
    const double fu = u - i, fv = v - j;
    double d1 = 1e30, d2 = 1e30;
    for (int dj = -1; dj <= 1; ++dj)
        for (int di = -1; di <= 1; ++di) {
            const unsigned h = Hash(f, o, Wrap(i + di, o.periodX), Wrap(j + dj, o.periodY));
            const double x = double(di) + double(f.jitterX[h]) - fu;
            const double y = double(dj) + double(f.jitterY[h]) - fv;
            const double d = x * x + y * y;
            if (d < d1) {
                d2 = d1;
                d1 = d;
            } else if (d < d2) {
                d2 = d;
            }
        }
    if (f.s.cellular == kCellSecond) return 2.0 * std::sqrt(d2) - 1.5;
    if (f.s.cellular == kCellDifference) return 2.5 * (std::sqrt(d2) - std::sqrt(d1)) - 1.0;
    return 2.0 * std::sqrt(d1) - 1.0;
}

double White(const NoiseField& f, const NoiseOctave& o, double u, double v) {
    return f.value[Hash(f, o, Wrap(Floor(u), o.periodX), Wrap(Floor(v), o.periodY))];
}

double CatmullRom(double p0, double p1, double p2, double p3, double t) {
    return p1 + 0.5 * t *
                    (p2 - p0 +
                     t * (2.0 * p0 - 5.0 * p1 + 4.0 * p2 - p3 + t * (3.0 * (p1 - p2) + p3 - p0)));
}

double Cubic(const NoiseField& f, const NoiseOctave& o, double u, double v) {
    const int i = Floor(u), j = Floor(v);
    double rows[4];
    for (int r = 0; r < 4; ++r) {
        double p[4];
        for (int k = 0; k < 4; ++k)
            p[k] = f.value[Hash(f, o, Wrap(i - 1 + k, o.periodX), Wrap(j - 1 + r, o.periodY))];
        rows[r] = CatmullRom(p[0], p[1], p[2], p[3], u - i);
    }
    return CatmullRom(rows[0], rows[1], rows[2], rows[3], v - j);
}

double Basis(const NoiseField& f, const NoiseOctave& o, double u, double v) {
    switch (f.s.basis) {
        case kBasisValue:
            return Value(f, o, u, v);
        case kBasisSimplex:
            return Simplex(f, o, u, v);
        case kBasisCellular:
            return Cellular(f, o, u, v);
        case kBasisWhite:
            return White(f, o, u, v);
        case kBasisCubic:
            return Cubic(f, o, u, v);
        default:
            return Perlin(f, o, u, v);
    }
}

float FadeF(float t, bool quintic) {
    if (quintic) return t * t * t * (t * (t * 6.0f - 15.0f) + 10.0f);
    return t * t * (3.0f - 2.0f * t);
}

int FloorF(float x) {
    const int i = int(x);
    return x < float(i) ? i - 1 : i;
}

}  // namespace

double LiteralField(const NoiseField& f, double u, double v) {
    if (f.s.warp > 0) {
        const NoiseOctave* w = f.warp;
        const double du =
            Perlin(f, w[0], u, v) + 0.5 * Perlin(f, w[1], u * w[1].scaleX, v * w[1].scaleY);
        const double dv =
            Perlin(f, w[2], u, v) + 0.5 * Perlin(f, w[3], u * w[3].scaleX, v * w[3].scaleY);
        u += f.s.warp * du;
        v += f.s.warp * dv;
    }
    if (f.s.fractal == kFractalNone) return Basis(f, f.octave[0], u, v);
    double sum = 0, weight = 1;
    for (int k = 0; k < f.s.octaves; ++k) {
        const NoiseOctave& o = f.octave[k];
        const double n = Basis(f, o, u * o.scaleX, v * o.scaleY);
        if (f.s.fractal == kFractalBillow) {
            sum += o.amplitude * (2.0 * std::fabs(n) - 1.0);
        } else if (f.s.fractal == kFractalRidged) {
            double r = 1.0 - std::fabs(n);
            r = r * r * weight;
            weight = std::clamp(2.0 * r, 0.0, 1.0);
            sum += o.amplitude * r;
        } else {
            sum += o.amplitude * n;
        }
    }
    return sum;
}

float LiteralGradient(const LatticeTables& t, const LatticeOctave& o, bool quintic, float x,
                      float y) {
    const int ix = FloorF(x), iy = FloorF(y);
    const float fx = x - float(ix), fy = y - float(iy);
    const int x0 = Wrap(ix, o.periodX), x1 = Wrap(ix + 1, o.periodX);
    const int y0 = Wrap(iy, o.periodY), y1 = Wrap(iy + 1, o.periodY);
    auto ramp = [&](int i, int j, float dx, float dy) {
        const unsigned h = Hash(t, o.hashX, o.hashY, i, j);
        return t.gradX[h] * dx + t.gradY[h] * dy;
    };
    const float n00 = ramp(x0, y0, fx, fy), n10 = ramp(x1, y0, fx - 1.0f, fy);
    const float n01 = ramp(x0, y1, fx, fy - 1.0f), n11 = ramp(x1, y1, fx - 1.0f, fy - 1.0f);
    const float u = FadeF(fx, quintic), v = FadeF(fy, quintic);
    const float n0 = n00 + u * (n10 - n00), n1 = n01 + u * (n11 - n01);
    return n0 + v * (n1 - n0);
}

LiteralCell LiteralPowerCell(const LatticeTables& t, const float* weight, const LatticeOctave& o,
                             float x, float y) {
    const int ix = FloorF(x), iy = FloorF(y);
    float d1 = 1e30f, d2 = 1e30f, x1 = 0, y1 = 0, x2 = 0, y2 = 0;
    int nearest = 0, second = 0;
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
            const int h =
                int(Hash(t, o.hashX, o.hashY, Wrap(ix + dx, o.periodX), Wrap(iy + dy, o.periodY)));
            const float ex = float(ix + dx) + t.jitterX[h] - x;
            const float ey = (float(iy + dy) - y) + t.jitterY[h];
            const float d = ex * ex + ey * ey - weight[h];
            if (d < d1) {
                d2 = d1, x2 = x1, y2 = y1, second = nearest;
                d1 = d, x1 = ex, y1 = ey, nearest = h;
            } else if (d < d2) {
                d2 = d, x2 = ex, y2 = ey, second = h;
            }
        }
    const float gap = std::sqrt((x2 - x1) * (x2 - x1) + (y2 - y1) * (y2 - y1));
    return {nearest, second, (d2 - d1) / (2.0f * gap + 1e-6f), x1, y1};
}

}  // namespace tsn::reference
