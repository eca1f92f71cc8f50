#include "core/lines.h"

#include <algorithm>
#include <cmath>

namespace tsn {

namespace {

using i64 = std::int64_t;
__extension__ typedef __int128 i128;

// floor(a / b) and ceil(a / b) for b > 0.
i64 FloorDiv(i64 a, i64 b) {
    const i64 q = a / b;
    return (a % b != 0 && a < 0) ? q - 1 : q;
}
i64 CeilDiv(i64 a, i64 b) {
    return -FloorDiv(-a, b);
}

int Sign(i64 v) {
    return (v > 0) - (v < 0);
}

// A pixel at exactly half the pen's width from the segment, offset (ox, oy)
// from its nearest point: lit above, or level and to the left.
bool TieLit(i64 ox, i64 oy) {
    return oy < 0 || (oy == 0 && ox < 0);
}

void Put(const ImageView& v, i64 x, i64 y, std::uint32_t colour) {
    std::uint8_t* p = v.Row(int(y)) + std::size_t(x) * 3;
    p[0] = std::uint8_t(colour >> 16);
    p[1] = std::uint8_t(colour >> 8);
    p[2] = std::uint8_t(colour);
}

// Rows top .. bottom - 1 of the line are drawn.
void ThinLine(const ImageView& v, i64 x0, i64 y0, i64 x1, i64 y1, std::uint32_t colour, i64 top,
              i64 bottom) {
    const i64 dx = x1 - x0, dy = y1 - y0;
    const i64 adx = dx < 0 ? -dx : dx, ady = dy < 0 ? -dy : dy;
    if (adx == 0 && ady == 0) return;
    // Walk the major axis as "u", the minor as "w"; n pixels, end excluded.
    const bool xMajor = adx >= ady;
    const i64 n = xMajor ? adx : ady;
    const i64 u0 = xMajor ? x0 : y0, w0 = xMajor ? y0 : x0;
    const i64 su = (xMajor ? dx : dy) < 0 ? -1 : 1, dw = xMajor ? dy : dx;
    const i64 uLow = xMajor ? 0 : top, uHigh = xMajor ? v.width : bottom;
    const i64 wLow = xMajor ? top : 0, wHigh = xMajor ? bottom : v.width;
    // Steps i whose major coordinate u0 + su * i lies inside the drawn part.
    i64 first = 0, last = n - 1;
    if (su > 0) {
        first = std::max(first, uLow - u0);
        last = std::min(last, uHigh - 1 - u0);
    } else {
        first = std::max(first, u0 - (uHigh - 1));
        last = std::min(last, u0 - uLow);
    }
    for (i64 i = first; i <= last; ++i) {
        // Nearest to w0 + i * dw / n, halves toward the smaller coordinate.
        const i64 w = w0 + CeilDiv(2 * i * dw - n, 2 * n);
        if (w < wLow || w >= wHigh) continue;
        const i64 u = u0 + su * i;
        if (xMajor)
            Put(v, u, w, colour);
        else
            Put(v, w, u, colour);
    }
}

struct Stroke {
    i64 ax, ay, bx, by, ux, uy, len2, w2;

    Stroke(i64 x0, i64 y0, i64 x1, i64 y1, int width)
        : ax(x0), ay(y0), bx(x1), by(y1), ux(x1 - x0), uy(y1 - y0) {
        len2 = ux * ux + uy * uy;
        w2 = i64(width) * width;
    }

    // Compares the squared distance with (w / 2)^2 in whole numbers: the
    // interior case is 4 * cross^2 against w^2 * len2.
    bool Lit(i64 px, i64 py) const {
        i64 ox = px - ax, oy = py - ay;
        const i64 dot = ox * ux + oy * uy;
        if (len2 != 0 && dot > 0) {
            if (dot >= len2) {
                ox = px - bx;
                oy = py - by;
            } else {
                const i64 cross = ux * oy - uy * ox;
                const i128 lhs = i128(4) * cross * cross, rhs = i128(w2) * len2;
                if (lhs != rhs) return lhs < rhs;
                // The offset from the nearest point is (-uy, ux) * cross / len2.
                return TieLit(-Sign(uy) * Sign(cross), Sign(ux) * Sign(cross));
            }
        }
        const i64 d4 = 4 * (ox * ox + oy * oy);
        if (d4 != w2) return d4 < w2;
        return TieLit(ox, oy);
    }
};

// The stroke meets row y in one run of pixels (it is convex). Find a pixel
// of the run exactly, guess its ends in floating point, then settle each end
// with the exact rule: the guess only decides how far the settling walks.
void WideLine(const ImageView& v, i64 x0, i64 y0, i64 x1, i64 y1, int width, std::uint32_t colour,
              i64 rowsFrom, i64 rowsTo) {
    const Stroke s(x0, y0, x1, y1, width);
    const i64 minY = std::min(y0, y1), maxY = std::max(y0, y1);
    const i64 minX = std::min(x0, x1), maxX = std::max(x0, x1);
    const i64 reach = (width + 1) / 2;  // no lit pixel is farther from the segment
    if (maxX + reach < 0 || minX - reach >= v.width) return;
    const i64 top = std::max<i64>(rowsFrom, minY - reach);
    const i64 bottom = std::min<i64>(rowsTo - 1, maxY + reach);
    // The band between the ends, per row: centred on the segment's x, half
    // as wide as the pen over the sine of the slope, and cut by the two
    // perpendiculars through the ends.
    const double r = width / 2.0;
    const bool slanted = s.ux != 0 && s.uy != 0;
    const double slope = slanted ? double(s.ux) / double(s.uy) : 0;
    const double half = slanted ? r * std::sqrt(double(s.len2)) / std::fabs(double(s.uy)) : 0;
    const double cutSlope = slanted ? double(s.uy) / double(s.ux) : 0;
    const double cutSpan = slanted ? double(s.len2) / double(s.ux) : 0;
    for (i64 y = top; y <= bottom; ++y) {
        // A pixel of the run if the row has one: beyond the segment's rows
        // the point under (or over) the nearer end is the nearest of the
        // row; within them, the pixel at or left of the segment is less than
        // one step from it and so inside the stroke (the pen is at least 2
        // wide).
        i64 c;
        if (y <= minY || y >= maxY) {
            c = ((y <= minY) == (y0 <= y1)) ? x0 : x1;
            if (!s.Lit(c, y)) continue;
        } else if (y1 > y0) {
            c = FloorDiv(x0 * (y1 - y0) + (y - y0) * (x1 - x0), y1 - y0);
        } else {
            c = FloorDiv(x0 * (y0 - y1) + (y - y0) * (x0 - x1), y0 - y1);
        }
        double lo = double(c), hi = double(c);
        const auto disc = [&](i64 ex, i64 ey) {
            const double d = double(y - ey), q = r * r - d * d;
            if (q < 0) return;
            const double e = std::sqrt(q);
            lo = std::min(lo, double(ex) - e);
            hi = std::max(hi, double(ex) + e);
        };
        if (y - minY <= reach || maxY - y <= reach) {
            disc(x0, y0);
            disc(x1, y1);
        }
        const double dy = double(y - y0);
        if (slanted) {
            const double at = double(x0) + slope * dy;
            const double t0 = double(x0) - cutSlope * dy, t1 = t0 + cutSpan;
            const double l = std::max(at - half, std::min(t0, t1));
            const double h = std::min(at + half, std::max(t0, t1));
            if (l <= h) {
                lo = std::min(lo, l);
                hi = std::max(hi, h);
            }
        } else if (s.ux != 0) {  // horizontal: the band spans the segment
            lo = std::min(lo, double(minX));
            hi = std::max(hi, double(maxX));
        } else if (s.uy != 0) {  // vertical
            lo = std::min(lo, double(x0) - r);
            hi = std::max(hi, double(x0) + r);
        }
        i64 left = std::max<i64>(i64(std::ceil(lo)), minX - reach);
        i64 right = std::min<i64>(i64(std::floor(hi)), maxX + reach);
        if (s.Lit(left, y))
            while (s.Lit(left - 1, y)) --left;
        else
            while (!s.Lit(left, y)) ++left;
        if (s.Lit(right, y))
            while (s.Lit(right + 1, y)) ++right;
        else
            while (!s.Lit(right, y)) --right;
        left = std::max<i64>(left, 0);
        right = std::min<i64>(right, v.width - 1);
        for (i64 x = left; x <= right; ++x) Put(v, x, y, colour);
    }
}

}  // namespace

bool InWideStroke(std::int64_t x0, std::int64_t y0, std::int64_t x1, std::int64_t y1, int width,
                  std::int64_t px, std::int64_t py) {
    return Stroke(x0, y0, x1, y1, width).Lit(px, py);
}

void DrawLine(const ImageView& v, int x0, int y0, int x1, int y1, int width, std::uint32_t colour) {
    DrawLineRows(v, x0, y0, x1, y1, width, colour, 0, v.depth);
}

void DrawLineRows(const ImageView& v, int x0, int y0, int x1, int y1, int width,
                  std::uint32_t colour, int top, int bottom) {
    top = std::max(top, 0);
    bottom = std::min(bottom, v.depth);
    if (!v.bits || top >= bottom) return;
    if (width <= 1)
        ThinLine(v, x0, y0, x1, y1, colour, top, bottom);
    else
        WideLine(v, x0, y0, x1, y1, width, colour, top, bottom);
}

}  // namespace tsn
