// The lattice noise loops, written once over plain arrays and compiled once
// per instruction set (noise2d_sse2.cpp, noise2d_avx2.cpp,
// noise2d_avx512.cpp), where the compiler turns every loop into vector
// lanes. Each loop does, per sample, exactly the operations of the one-sample
// definition in the same order: the lanes only run side by side, so every
// instruction set gives the same bits. Branches are written as selections
// between values both computed, and nothing here may be contracted or
// reassociated (the build forbids both). These files alone are built
// without trapping arithmetic and without errno from the square root,
// which changes no value but lets the compiler turn those selections and
// square roots into lane operations.
//
// Included by one source file per instruction set, inside no other
// namespace: everything here has internal linkage, so no code built for a
// wider instruction set can stand in for baseline code.
#pragma once

#include <cmath>
#include <cstdint>

#include "synth/noise2d.h"

namespace tsn {
namespace {

constexpr unsigned kLane = kLattice - 1;
// Samples handled per pass over a row: enough to fill the vector loops,
// few enough that the working arrays stay in the first-level cache.
constexpr int kPass = 256;

template <class T>
[[gnu::always_inline]] inline int FloorOf(T v) {
    const int i = int(v);
    return i - int(T(i) > v);
}

// The least and greatest cell index of n coordinates.
template <class T>
[[gnu::always_inline]] inline void CellSpan(const T* a, int n, int* lo, int* hi) {
    *lo = *hi = FloorOf(a[0]);
    for (int k = 1; k < n; ++k) {
        const int i = FloorOf(a[k]);
        *lo = i < *lo ? i : *lo;
        *hi = i > *hi ? i : *hi;
    }
}

// i modulo a period p > 0, 0 .. p - 1. The quotient is rounded to the
// nearest double and truncated; for any int i it lies within one of the
// truth, and the remainder is corrected into range.
[[gnu::always_inline]] inline int WrapOf(int i, int p) {
    const int r = i - int(double(i) / double(p)) * p;
    return r < 0 ? r + p : r;
}

template <bool Quintic, class T>
[[gnu::always_inline]] inline T FadeOf(T t) {
    if constexpr (Quintic)
        return t * t * t * (t * (t * T(6) - T(15)) + T(10));
    else
        return t * t * (T(3) - T(2) * t);
}

// FadeOf over a lanes type V (core/double_lanes_*.h), the same operations
// in the same order.
template <class V, bool Quintic>
[[gnu::always_inline]] inline typename V::D FadeLanes(typename V::D t) {
    if constexpr (Quintic)
        return V::Mul(
            V::Mul(V::Mul(t, t), t),
            V::Add(V::Mul(t, V::Sub(V::Mul(t, V::Set(6.0)), V::Set(15.0))), V::Set(10.0)));
    else
        return V::Mul(V::Mul(t, t), V::Sub(V::Set(3.0), V::Mul(V::Set(2.0), t)));
}

template <class T>
[[gnu::always_inline]] inline T LerpOf(T t, T a, T b) {
    return a + t * (b - a);
}

// Table entry of a lattice cell: the column through the permutation, then
// the row added to it.
[[gnu::always_inline]] inline int HashOf(const std::int32_t* perm, int column, int row) {
    return perm[(unsigned(perm[column & kLane]) + unsigned(row)) & kLane];
}

// The permutation's entries of a block's columns, lo + c for c < columns,
// wrapped when `Wrap`: the first half of HashOf, once a column rather than
// once a cell.
template <bool Wrap>
[[gnu::always_inline]] inline void ColumnHashes(const std::int32_t* perm, const LatticeOctave& o,
                                                int lo, long columns, std::int32_t* out) {
    for (long c = 0; c < columns; ++c) {
        const int x = (Wrap ? WrapOf(lo + int(c), o.periodX) : lo + int(c)) + o.hashX;
        out[c] = perm[unsigned(x) & kLane];
    }
}

// The second half: a column's entry and a row give the cell's entry.
[[gnu::always_inline]] inline int CellHashOf(const std::int32_t* perm, std::int32_t columnHash,
                                             int row) {
    return perm[(unsigned(columnHash) + unsigned(row)) & kLane];
}

// ---- gradient and value noise ----

// One octave at n points: the blend of the four corner ramps (gradient
// noise) or corner values (value noise), before any gain. With `Line`,
// every sample has y = y[0].
template <class T, bool Wrap, bool Quintic, bool Value, bool Line>
void LatticeLoop(const LatticeTables& t, const LatticeOctave& o, const T* X, const T* Y, int n,
                 T* __restrict out) {
    const std::int32_t* p = t.perm;
    const float* gx = t.gradX;
    const float* gy = t.gradY;
    const float* val = t.value;
    // The row's part, once for a line.
    int lineY0 = 0, lineY1 = 0;
    T lineFy = 0, lineV = 0;
    if constexpr (Line) {
        const T y = Y[0];
        const int iy = FloorOf(y);
        lineFy = y - T(iy);
        lineV = FadeOf<Quintic>(lineFy);
        lineY0 = (Wrap ? WrapOf(iy, o.periodY) : iy) + o.hashY;
        lineY1 = (Wrap ? WrapOf(iy + 1, o.periodY) : iy + 1) + o.hashY;
    }
    for (int i = 0; i < n; ++i) {
        const T x = X[i];
        const int ix = FloorOf(x);
        const T fx = x - T(ix);
        const T u = FadeOf<Quintic>(fx);
        T fy, v;
        int y0, y1;
        if constexpr (Line) {
            fy = lineFy, v = lineV, y0 = lineY0, y1 = lineY1;
        } else {
            const T y = Y[i];
            const int iy = FloorOf(y);
            fy = y - T(iy);
            v = FadeOf<Quintic>(fy);
            y0 = (Wrap ? WrapOf(iy, o.periodY) : iy) + o.hashY;
            y1 = (Wrap ? WrapOf(iy + 1, o.periodY) : iy + 1) + o.hashY;
        }
        const int x0 = (Wrap ? WrapOf(ix, o.periodX) : ix) + o.hashX;
        const int x1 = (Wrap ? WrapOf(ix + 1, o.periodX) : ix + 1) + o.hashX;
        const int a = p[unsigned(x0) & kLane], b = p[unsigned(x1) & kLane];
        const int h00 = p[(unsigned(a) + unsigned(y0)) & kLane];
        const int h10 = p[(unsigned(b) + unsigned(y0)) & kLane];
        const int h01 = p[(unsigned(a) + unsigned(y1)) & kLane];
        const int h11 = p[(unsigned(b) + unsigned(y1)) & kLane];
        T n00, n10, n01, n11;
        if constexpr (Value) {
            n00 = T(val[h00]), n10 = T(val[h10]), n01 = T(val[h01]), n11 = T(val[h11]);
        } else {
            n00 = T(gx[h00]) * fx + T(gy[h00]) * fy;
            n10 = T(gx[h10]) * (fx - T(1)) + T(gy[h10]) * fy;
            n01 = T(gx[h01]) * fx + T(gy[h01]) * (fy - T(1));
            n11 = T(gx[h11]) * (fx - T(1)) + T(gy[h11]) * (fy - T(1));
        }
        const T n0 = LerpOf(u, n00, n10), n1 = LerpOf(u, n01, n11);
        out[i] = LerpOf(v, n0, n1);
    }
}

// ---- rows of double samples through a row table ----

// Along a row the y half of every lattice lookup is fixed, so what each
// lattice column contributes at the row's two lattice rows is looked up
// once into a row table, and the samples pick their entries by column.
// Entry c belongs to column first + c; a sample in column ix reads entries
// ix - first and ix - first + 1. For gradient noise `a` holds the
// gradients' x components and `b` their y terms (the y component times the
// row offset, the same product the sample would form); value noise keeps
// the corner values in `a`.
constexpr int kRowCells = kPass + 2;  // columns a table holds at most
constexpr int kRowSpare = 16;         // entries past the last, for whole-vector loads
// The cells a block table (of cellular or simplex noise) holds at most:
// three rows of a pass's columns.
constexpr int kBlockCells = 3 * kRowCells;

template <class T, int Spare>
struct RowTableOf {
    int first;
    T v;  // the row's fade
    alignas(64) T a0[kRowCells + Spare];
    alignas(64) T b0[kRowCells + Spare];
    alignas(64) T a1[kRowCells + Spare];
    alignas(64) T b1[kRowCells + Spare];
};
using RowTable = RowTableOf<double, kRowSpare>;

// Lane by lane: each sample's column, offsets and fade, its four corners
// from the table, and the blend, exactly as in LatticeLoop; `scale`
// multiplies every result (1 for none). Defined per instruction set.
template <bool Quintic, bool Value>
void PickRow(const RowTable& r, const double* X, int n, double scale, double* out);

// The same one sample at a time, for instruction sets without table
// lookups in vector lanes and for the ends of rows.
// One sample at its offset fx in its column, with the fade u of fx, reading
// entries k and k + 1.
template <bool Value>
[[gnu::always_inline]] inline double PickOneAt(const RowTable& r, double fx, double u, int k) {
    double n00, n10, n01, n11;
    if constexpr (Value) {
        n00 = r.a0[k], n10 = r.a0[k + 1], n01 = r.a1[k], n11 = r.a1[k + 1];
    } else {
        n00 = r.a0[k] * fx + r.b0[k];
        n10 = r.a0[k + 1] * (fx - 1.0) + r.b0[k + 1];
        n01 = r.a1[k] * fx + r.b1[k];
        n11 = r.a1[k + 1] * (fx - 1.0) + r.b1[k + 1];
    }
    const double n0 = LerpOf(u, n00, n10), n1 = LerpOf(u, n01, n11);
    return LerpOf(r.v, n0, n1);
}

template <bool Quintic, bool Value>
[[gnu::always_inline]] inline double PickOne(const RowTable& r, double x) {
    const int ix = FloorOf(x);
    const double fx = x - double(ix);
    return PickOneAt<Value>(r, fx, FadeOf<Quintic>(fx), ix - r.first);
}

// Fills the table for the columns of X, or returns false when they span
// more columns than there are samples (a table would then cost more than
// it saves) or than it holds.
// Fills the table's `cells` columns from lo for the row y.
template <bool Wrap, bool Quintic, bool Value>
void FillRowTableAt(const LatticeTables& t, const LatticeOctave& o, int lo, int cells, double y,
                    RowTable* r) {
    const int iy = FloorOf(y);
    const double fy = y - double(iy);
    const int y0 = (Wrap ? WrapOf(iy, o.periodY) : iy) + o.hashY;
    const int y1 = (Wrap ? WrapOf(iy + 1, o.periodY) : iy + 1) + o.hashY;
    r->first = lo;
    r->v = FadeOf<Quintic>(fy);
    const std::int32_t* p = t.perm;
    for (int c = 0; c < cells; ++c) {
        const int x0 = (Wrap ? WrapOf(lo + c, o.periodX) : lo + c) + o.hashX;
        const int a = p[unsigned(x0) & kLane];
        const int h0 = p[(unsigned(a) + unsigned(y0)) & kLane];
        const int h1 = p[(unsigned(a) + unsigned(y1)) & kLane];
        if constexpr (Value) {
            r->a0[c] = double(t.value[h0]), r->a1[c] = double(t.value[h1]);
            r->b0[c] = r->b1[c] = 0;
        } else {
            r->a0[c] = double(t.gradX[h0]), r->b0[c] = double(t.gradY[h0]) * fy;
            r->a1[c] = double(t.gradX[h1]), r->b1[c] = double(t.gradY[h1]) * (fy - 1.0);
        }
    }
    for (int c = cells; c < cells + kRowSpare; ++c) r->a0[c] = r->b0[c] = r->a1[c] = r->b1[c] = 0;
}

// The columns a table needs for the samples X, or 0 when they span more
// columns than there are samples (a table would then cost more than it
// saves) or than it holds.
inline int RowTableCells(const double* X, int n, int* lo) {
    int hi;
    CellSpan(X, n, lo, &hi);
    const int cells = hi - *lo + 2;
    return cells > n + 1 || cells > kRowCells ? 0 : cells;
}

template <bool Quintic, bool Value>
void FillRowTableOf(const LatticeTables& t, const LatticeOctave& o, int lo, int cells, double y,
                    RowTable* r) {
    if (o.periodX > 0)
        FillRowTableAt<true, Quintic, Value>(t, o, lo, cells, y, r);
    else
        FillRowTableAt<false, Quintic, Value>(t, o, lo, cells, y, r);
}

template <bool Quintic, bool Value>
bool TableRow(const LatticeTables& t, const LatticeOctave& o, const double* X, double y, int n,
              double scale, double* out) {
    int lo;
    const int cells = RowTableCells(X, n, &lo);
    if (cells == 0) return false;
    RowTable r;
    FillRowTableOf<Quintic, Value>(t, o, lo, cells, y, &r);
    PickRow<Quintic, Value>(r, X, n, scale, out);
    return true;
}

// ---- rows that share their columns ----

constexpr int kColumnSpare = 8;  // a vector of doubles

// What a row table's samples need that does not depend on the row: each
// sample's position x in cells, its offset fx in its column, the fade of
// fx and its column's entry k. Rows at the same x positions (a picture's
// rows) work these out once. `cells` is 0 where the samples take no table.
// Past the n samples, kColumnSpare copies of the last one.
struct RowColumns {
    int lo, cells;
    alignas(64) double x[kPass + kColumnSpare];
    alignas(64) double fx[kPass + kColumnSpare];
    alignas(64) double fade[kPass + kColumnSpare];
    alignas(64) std::int32_t k[kPass + kColumnSpare];
};

// Lane by lane as PickRow, from the columns' offsets, fades and entries.
// Defined per instruction set.
template <bool Value>
void PickRowAt(const RowTable& r, const RowColumns& c, int n, double scale, double* out);

// The columns of the samples U[i] * scale, or U[i] itself without `scale`,
// with the quintic fade (both bases that read row tables use it).
void FillRowColumns(const double* U, const double* scale, int n, RowColumns* c) {
    for (int i = 0; i < n; ++i) c->x[i] = scale ? U[i] * *scale : U[i];
    c->cells = RowTableCells(c->x, n, &c->lo);
    for (int i = 0; i < n; ++i) {
        const int ix = FloorOf(c->x[i]);
        c->fx[i] = c->x[i] - double(ix);
        c->fade[i] = FadeOf<true>(c->fx[i]);
        c->k[i] = ix - c->lo;
    }
    for (int i = n; i < n + kColumnSpare; ++i)
        c->x[i] = c->x[n - 1], c->fx[i] = c->fx[n - 1], c->fade[i] = c->fade[n - 1],
        c->k[i] = c->k[n - 1];
}

template <class T, bool Quintic, bool Value>
void LatticeRow(const LatticeTables& t, const LatticeOctave& o, const T* X, const T* Y, bool line,
                int n, T* out) {
    const bool wrap = o.periodX > 0;
    if (wrap) {
        if (line)
            LatticeLoop<T, true, Quintic, Value, true>(t, o, X, Y, n, out);
        else
            LatticeLoop<T, true, Quintic, Value, false>(t, o, X, Y, n, out);
    } else {
        if (line)
            LatticeLoop<T, false, Quintic, Value, true>(t, o, X, Y, n, out);
        else
            LatticeLoop<T, false, Quintic, Value, false>(t, o, X, Y, n, out);
    }
}

// ---- float gradient noise along a row through a row table ----

// The row table of float samples, as RowTable is for doubles (the service's
// gradient noise).
constexpr int kFloatRowSpare = 32;  // entries past the last, for whole-vector loads
using FloatRowTable = RowTableOf<float, kFloatRowSpare>;

// Lane by lane: each sample's column, offset and fade, its four corners
// from the table and the blend, exactly as in LatticeLoop along a line.
// Defined per instruction set.
template <bool Quintic>
void PickGradientRow(const FloatRowTable& r, const float* X, int n, float* out);

// The same one sample at a time.
template <bool Quintic>
[[gnu::always_inline]] inline float PickGradientRowOne(const FloatRowTable& r, float x) {
    const int ix = FloorOf(x);
    const float fx = x - float(ix);
    const float u = FadeOf<Quintic>(fx);
    const int k = ix - r.first;
    const float n00 = r.a0[k] * fx + r.b0[k];
    const float n10 = r.a0[k + 1] * (fx - 1.0f) + r.b0[k + 1];
    const float n01 = r.a1[k] * fx + r.b1[k];
    const float n11 = r.a1[k + 1] * (fx - 1.0f) + r.b1[k + 1];
    const float n0 = LerpOf(u, n00, n10), n1 = LerpOf(u, n01, n11);
    return LerpOf(r.v, n0, n1);
}

// Float gradient noise at samples on the row y through a row table. False
// (nothing done) when they span more columns than there are samples or
// than the table holds.
template <bool Quintic>
bool GradientLine(const LatticeTables& f, const LatticeOctave& o, const float* X, float y, int n,
                  float* out) {
    int lo, hi;
    CellSpan(X, n, &lo, &hi);
    const long columns = long(hi) - lo + 2;
    if (columns > n + 1 || columns > kRowCells) return false;
    const bool wrap = o.periodX > 0;
    const int iy = FloorOf(y);
    const float fy = y - float(iy);
    const int y0 = (wrap ? WrapOf(iy, o.periodY) : iy) + o.hashY;
    const int y1 = (wrap ? WrapOf(iy + 1, o.periodY) : iy + 1) + o.hashY;
    FloatRowTable r;
    r.first = lo;
    r.v = FadeOf<Quintic>(fy);
    for (int c = 0; c < columns; ++c) {
        const int x0 = (wrap ? WrapOf(lo + c, o.periodX) : lo + c) + o.hashX;
        const int h0 = HashOf(f.perm, x0, y0), h1 = HashOf(f.perm, x0, y1);
        r.a0[c] = f.gradX[h0], r.b0[c] = f.gradY[h0] * fy;
        r.a1[c] = f.gradX[h1], r.b1[c] = f.gradY[h1] * (fy - 1.0f);
    }
    for (long c = columns; c < columns + kFloatRowSpare; ++c)
        r.a0[c] = r.b0[c] = r.a1[c] = r.b1[c] = 0;
    PickGradientRow<Quintic>(r, X, n, out);
    return true;
}

// ---- float gradient noise through a block table ----

// The gradients of a small block of lattice points, looked up once, in
// rows of `width` from point (lo, jlo): a sample in cell (i, j) finds its
// four corners at entry (j - jlo) * width + (i - lo), the next one, and the
// two a row further.
struct GradientTable {
    int lo, jlo, width;
    alignas(64) float x[kBlockCells + kFloatRowSpare];
    alignas(64) float y[kBlockCells + kFloatRowSpare];
};

// Lane by lane: each sample's cell, offsets and fades, its four corners
// from the table and the blend, exactly as in LatticeLoop. Defined per
// instruction set.
template <bool Quintic>
void PickGradients(const GradientTable& t, const float* X, const float* Y, int n, float* out);

// The same one sample at a time.
template <bool Quintic>
[[gnu::always_inline]] inline float PickGradientOne(const GradientTable& t, float x, float y) {
    const int ix = FloorOf(x);
    const float fx = x - float(ix);
    const float u = FadeOf<Quintic>(fx);
    const int iy = FloorOf(y);
    const float fy = y - float(iy);
    const float v = FadeOf<Quintic>(fy);
    const int k = (iy - t.jlo) * t.width + (ix - t.lo), w = t.width;
    const float n00 = t.x[k] * fx + t.y[k] * fy;
    const float n10 = t.x[k + 1] * (fx - 1.0f) + t.y[k + 1] * fy;
    const float n01 = t.x[k + w] * fx + t.y[k + w] * (fy - 1.0f);
    const float n11 = t.x[k + w + 1] * (fx - 1.0f) + t.y[k + w + 1] * (fy - 1.0f);
    const float n0 = LerpOf(u, n00, n10), n1 = LerpOf(u, n01, n11);
    return LerpOf(v, n0, n1);
}

// Float gradient noise at samples that lie in a small block of cells (a
// warped row's mostly do) through a block table. False (nothing done) when
// the block has more points than the table holds or than two per sample.
template <bool Quintic>
bool GradientBlock(const LatticeTables& f, const LatticeOctave& o, const float* X, const float* Y,
                   int n, float* out) {
    int lo, hi, jlo, jhi;
    CellSpan(X, n, &lo, &hi);
    CellSpan(Y, n, &jlo, &jhi);
    const long columns = long(hi) - lo + 2, rows = long(jhi) - jlo + 2;  // and the next corners
    if (columns * rows > kBlockCells || columns * rows > 2L * n + 4) return false;
    GradientTable t;
    t.lo = lo;
    t.jlo = jlo;
    t.width = int(columns);
    const bool wrap = o.periodX > 0;
    std::int32_t column[kBlockCells];
    wrap ? ColumnHashes<true>(f.perm, o, lo, columns, column)
         : ColumnHashes<false>(f.perm, o, lo, columns, column);
    for (int r = 0; r < rows; ++r) {
        const int cy = (wrap ? WrapOf(jlo + r, o.periodY) : jlo + r) + o.hashY;
        for (int c = 0; c < columns; ++c) {
            const int h = CellHashOf(f.perm, column[c], cy);
            t.x[r * columns + c] = f.gradX[h];
            t.y[r * columns + c] = f.gradY[h];
        }
    }
    for (long c = rows * columns; c < rows * columns + kFloatRowSpare; ++c) t.x[c] = t.y[c] = 0;
    PickGradients<Quintic>(t, X, Y, n, out);
    return true;
}

void GradientRowOf(const GradientJob& job) {
    const LatticeTables& t = *job.tables;
    const LatticeOctave& o = job.octave;
    if (job.n > 0) {
        const bool done =
            job.line ? (job.quintic ? GradientLine<true>(t, o, job.x, job.y[0], job.n, job.out)
                                    : GradientLine<false>(t, o, job.x, job.y[0], job.n, job.out))
                     : (job.quintic ? GradientBlock<true>(t, o, job.x, job.y, job.n, job.out)
                                    : GradientBlock<false>(t, o, job.x, job.y, job.n, job.out));
        if (done) return;
    }
    // A warped batch strewn over too many cells for one table is taken in
    // halves, whose samples lie closer together; each sample's value is
    // the same whichever way it is reached.
    if (!job.line && job.n >= 64) {
        const int half = job.n / 2;
        GradientJob first = job, second = job;
        first.n = half;
        second.x += half, second.y += half, second.out += half, second.n -= half;
        GradientRowOf(first);
        GradientRowOf(second);
        return;
    }
    if (job.quintic)
        LatticeRow<float, true, false>(t, o, job.x, job.y, job.line, job.n, job.out);
    else
        LatticeRow<float, false, false>(t, o, job.x, job.y, job.line, job.n, job.out);
}

// ---- cells ----

// The service's cellular noise, weighted into a power diagram: for every
// sample the winning and the runner-up feature point among the 3 x 3 cells
// around it (see CellJob). `point(i, j)` gives cell (i, j)'s entry, and
// the sample keeps the entries, offsets and weighted distances in `Winners`.
struct Winners {
    float d1 = 1e30f, d2 = 1e30f, x1 = 0, y1 = 0, x2 = 0, y2 = 0;
    int nearest = 0, second = 0;

    [[gnu::always_inline]] void Meet(int h, float ex, float ey, float d) {
        const bool first = d < d1, runner = !first && d < d2;
        d2 = first ? d1 : (runner ? d : d2);
        x2 = first ? x1 : (runner ? ex : x2);
        y2 = first ? y1 : (runner ? ey : y2);
        second = first ? nearest : (runner ? h : second);
        d1 = first ? d : d1;
        x1 = first ? ex : x1;
        y1 = first ? ey : y1;
        nearest = first ? h : nearest;
    }
};

// Sample i's outputs from its winners.
[[gnu::always_inline]] inline void StoreWinners(const Winners& b, int i, int* __restrict cell,
                                                int* __restrict next, float* __restrict ox,
                                                float* __restrict oy, float* __restrict edge) {
    const float gap = std::sqrt((b.x2 - b.x1) * (b.x2 - b.x1) + (b.y2 - b.y1) * (b.y2 - b.y1));
    cell[i] = b.nearest;
    next[i] = b.second;
    ox[i] = b.x1;
    oy[i] = b.y1;
    edge[i] = (b.d2 - b.d1) / (2.0f * gap + 1e-6f);
}

template <bool Wrap>
void PowerCellsLoop(const CellJob& job) {
    const LatticeTables& t = *job.tables;
    const LatticeOctave& o = job.octave;
    const std::int32_t* p = t.perm;
    const float* jx = t.jitterX;
    const float* jy = t.jitterY;
    const float* w = job.weight;
    for (int i = 0; i < job.n; ++i) {
        const float x = job.x[i], y = job.y[i];
        const int ix = FloorOf(x), iy = FloorOf(y);
        Winners best;
#pragma GCC unroll 3
        for (int dy = -1; dy <= 1; ++dy) {
            const int cy = (Wrap ? WrapOf(iy + dy, o.periodY) : iy + dy) + o.hashY;
            const float ry = float(iy + dy) - y;
#pragma GCC unroll 3
            for (int dx = -1; dx <= 1; ++dx) {
                const int cx = (Wrap ? WrapOf(ix + dx, o.periodX) : ix + dx) + o.hashX;
                const int h = HashOf(p, cx, cy);
                const float ex = float(ix + dx) + jx[h] - x, ey = ry + jy[h];
                best.Meet(h, ex, ey, ex * ex + ey * ey - w[h]);
            }
        }
        StoreWinners(best, i, job.cell, job.next, job.ox, job.oy, job.edge);
    }
}

// The entries, jitters and weights of a small block of cells and a cell
// around it, looked up once, in rows of `width` from cell (lo - 1, jlo - 1):
// a sample in cell (i, j) finds its 3 x 3 from entry (j - jlo) * width +
// (i - lo) on.
// Past the last cell, kFloatRowSpare zeros, for whole-vector loads.
struct PowerTable {
    int lo, jlo, width;
    alignas(64) int entry[kBlockCells + kFloatRowSpare];
    alignas(64) float x[kBlockCells + kFloatRowSpare];
    alignas(64) float y[kBlockCells + kFloatRowSpare];
    alignas(64) float weight[kBlockCells + kFloatRowSpare];
};

// Sample i of the job through the table, as PowerCellsLoop finds it.
[[gnu::always_inline]] inline void PickPowerCellOne(const PowerTable& t, const CellJob& job,
                                                    int i) {
    const float x = job.x[i], y = job.y[i];
    const int ix = FloorOf(x), iy = FloorOf(y);
    const int at = (iy - t.jlo) * t.width + (ix - t.lo);
    Winners best;
#pragma GCC unroll 3
    for (int dy = -1; dy <= 1; ++dy) {
        const float ry = float(iy + dy) - y;
#pragma GCC unroll 3
        for (int dx = -1; dx <= 1; ++dx) {
            const int k = at + (dy + 1) * t.width + dx + 1;
            const float ex = float(ix + dx) + t.x[k] - x, ey = ry + t.y[k];
            best.Meet(t.entry[k], ex, ey, ex * ex + ey * ey - t.weight[k]);
        }
    }
    StoreWinners(best, i, job.cell, job.next, job.ox, job.oy, job.edge);
}

// Every sample of the job through the table. Defined per instruction set.
void PickPowerCells(const PowerTable& t, const CellJob& job);

// The float tables' samples one at a time, for the instruction sets whose
// file has nothing better (TSN_FLOAT_PICKS_IN_LANES: AVX-512's permutes and
// gathers); on AVX2 the compiler makes the lanes' lookups from single loads,
// which on the processors measured is as quick as its gathers.
#ifndef TSN_FLOAT_PICKS_IN_LANES
template <bool Quintic>
void PickGradientRow(const FloatRowTable& r, const float* X, int n, float* out) {
    for (int i = 0; i < n; ++i) out[i] = PickGradientRowOne<Quintic>(r, X[i]);
}
template <bool Quintic>
void PickGradients(const GradientTable& t, const float* X, const float* Y, int n, float* out) {
    for (int i = 0; i < n; ++i) out[i] = PickGradientOne<Quintic>(t, X[i], Y[i]);
}
void PickPowerCells(const PowerTable& t, const CellJob& job) {
    for (int i = 0; i < job.n; ++i) PickPowerCellOne(t, job, i);
}
#endif

// The same for samples in a small block of cells (warped rows mostly lie
// in one) through a table. False (nothing done) when the block has more
// cells than the table holds or than three per sample.
template <bool Wrap>
bool PowerCellsBlock(const CellJob& job) {
    const int n = job.n;
    int lo, hi, jlo, jhi;
    CellSpan(job.x, n, &lo, &hi);
    CellSpan(job.y, n, &jlo, &jhi);
    const long columns = long(hi) - lo + 3, rows = long(jhi) - jlo + 3;  // and one around
    if (columns * rows > kBlockCells || columns * rows > 3L * n + 6) return false;
    PowerTable table;
    table.lo = lo;
    table.jlo = jlo;
    table.width = int(columns);
    const LatticeTables& t = *job.tables;
    const LatticeOctave& o = job.octave;
    std::int32_t column[kBlockCells];
    ColumnHashes<Wrap>(t.perm, o, lo - 1, columns, column);
    for (int r = 0; r < rows; ++r) {
        const int cy = (Wrap ? WrapOf(jlo - 1 + r, o.periodY) : jlo - 1 + r) + o.hashY;
        for (int c = 0; c < columns; ++c) {
            const int h = CellHashOf(t.perm, column[c], cy), at = r * int(columns) + c;
            table.entry[at] = h;
            table.x[at] = t.jitterX[h];
            table.y[at] = t.jitterY[h];
            table.weight[at] = job.weight[h];
        }
    }
    for (long at = columns * rows; at < columns * rows + kFloatRowSpare; ++at)
        table.entry[at] = 0, table.x[at] = table.y[at] = table.weight[at] = 0;
    PickPowerCells(table, job);
    return true;
}

void PowerCellsOf(const CellJob& job) {
    if (job.n <= 0) return;
    if (job.octave.periodX > 0) {
        if (!PowerCellsBlock<true>(job)) PowerCellsLoop<true>(job);
    } else {
        if (!PowerCellsBlock<false>(job)) PowerCellsLoop<false>(job);
    }
}

// ---- the field of noise2d ----

// Wraps a cell index for an octave whose period may be 0 (none).
template <bool Wrap>
[[gnu::always_inline]] inline int WrapIf(int i, int p) {
    if constexpr (Wrap)
        return WrapOf(i, p);
    else
        return i;
}

inline LatticeOctave LatticeOf(const NoiseOctave& o) {
    return {o.periodX, o.periodY, o.offsetX, o.offsetY};
}

constexpr double kSkew = 0.36602540378443865;    // (sqrt 3 - 1) / 2
constexpr double kUnskew = 0.21132486540518713;  // (3 - sqrt 3) / 6

// Simplex noise on the skewed triangular lattice, 99 times the sum of the
// three corners' kernels; a corner past its reach adds nothing.
// `gradient(i, j, &gx, &gy)` gives skewed cell (i, j)'s gradient.
template <class Gradient>
[[gnu::always_inline]] inline double SimplexOf(double u, double v, Gradient gradient) {
    const double s = (u + v) * kSkew;
    const int i = FloorOf(u + s), j = FloorOf(v + s);
    const double g = double(i + j) * kUnskew;
    const double x0 = u - (double(i) - g), y0 = v - (double(j) - g);
    const int i1 = int(x0 > y0), j1 = 1 - i1;
    const double x1 = x0 - double(i1) + kUnskew, y1 = y0 - double(j1) + kUnskew;
    const double x2 = x0 - 1.0 + 2.0 * kUnskew, y2 = y0 - 1.0 + 2.0 * kUnskew;
    auto corner = [&](double n, int ci, int cj, double x, double y) {
        double gx, gy;
        gradient(ci, cj, &gx, &gy);
        double k = 0.5 - x * x - y * y;
        const bool reach = !(k <= 0);
        k *= k;
        const double add = n + k * k * (gx * x + gy * y);
        return reach ? add : n;
    };
    double n = 0;
    n = corner(n, i, j, x0, y0);
    n = corner(n, i + i1, j + j1, x1, y1);
    n = corner(n, i + 1, j + 1, x2, y2);
    return 99.0 * n;
}

[[gnu::always_inline]] inline double SimplexAt(const LatticeTables& t, const LatticeOctave& o,
                                               double u, double v) {
    return SimplexOf(u, v, [&](int i, int j, double* gx, double* gy) {
        const int h = HashOf(t.perm, i + o.hashX, j + o.hashY);
        *gx = double(t.gradX[h]);
        *gy = double(t.gradY[h]);
    });
}

// Simplex noise (unwrapped) at samples that lie in a small block of skewed
// cells: the block's gradients are looked up once into a table, in rows of
// `width` from cell (lo, jlo), and each sample reads its three corners
// from there; the same operations as SimplexAt. False (nothing done) when
// the block has more cells than the table holds or than three per sample.
bool SimplexBlock(const LatticeTables& f, const LatticeOctave& o, const double* U, const double* V,
                  int n, double* __restrict out) {
    auto cellOf = [](double a, double b) { return FloorOf(a + (a + b) * kSkew); };
    int lo = cellOf(U[0], V[0]), hi = lo, jlo = cellOf(V[0], U[0]), jhi = jlo;
    for (int k = 1; k < n; ++k) {
        const int i = cellOf(U[k], V[k]), j = cellOf(V[k], U[k]);
        lo = i < lo ? i : lo;
        hi = i > hi ? i : hi;
        jlo = j < jlo ? j : jlo;
        jhi = j > jhi ? j : jhi;
    }
    const long columns = long(hi) - lo + 2, rows = long(jhi) - jlo + 2;  // and the next corners
    if (columns * rows > kBlockCells || columns * rows > 3L * n + 6) return false;
    struct Block {
        alignas(64) double x[kBlockCells];
        alignas(64) double y[kBlockCells];
    } table;
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c) {
            const int h = HashOf(f.perm, lo + c + o.hashX, jlo + r + o.hashY);
            table.x[r * columns + c] = double(f.gradX[h]);
            table.y[r * columns + c] = double(f.gradY[h]);
        }
    const double* gradX = table.x;
    const double* gradY = table.y;
    const int width = int(columns);
    for (int k = 0; k < n; ++k)
        out[k] = SimplexOf(U[k], V[k], [&](int i, int j, double* gx, double* gy) {
            const int at = (j - jlo) * width + (i - lo);
            *gx = gradX[at];
            *gy = gradY[at];
        });
    return true;
}

template <bool Wrap>
void SimplexLoop(const NoiseField& f, const LatticeOctave& o, const double* U, const double* V,
                 int n, double* __restrict out) {
    if constexpr (!Wrap) {
        for (int i = 0; i < n; ++i) out[i] = SimplexAt(f, o, U[i], V[i]);
    } else {
        // The skewed lattice cannot wrap on the picture's axes, so the four
        // copies one period apart are blended across the period.
        const double px = o.periodX, py = o.periodY;
        for (int i = 0; i < n; ++i) {
            const double u = U[i], v = V[i];
            const double a = u - px * double(FloorOf(u / px));
            const double b = v - py * double(FloorOf(v / py));
            const double wx = a / px, wy = b / py;
            const double n00 = SimplexAt(f, o, a, b), n10 = SimplexAt(f, o, a - px, b);
            const double n01 = SimplexAt(f, o, a, b - py), n11 = SimplexAt(f, o, a - px, b - py);
            out[i] = LerpOf(wy, LerpOf(wx, n00, n10), LerpOf(wx, n01, n11));
        }
    }
}

// Keeps the two least squared distances as the feature point at (x, y)
// from the sample is met.
[[gnu::always_inline]] inline void MeetPoint(double x, double y, double& d1, double& d2) {
    const double d = x * x + y * y;
    d2 = d < d1 ? d1 : (d < d2 ? d : d2);
    d1 = d < d1 ? d : d1;
}

// The chosen output of cellular noise from the two least squared distances.
[[gnu::always_inline]] inline double CellularOutputOf(std::uint32_t output, double d1, double d2) {
    const double second = 2.0 * std::sqrt(d2) - 1.5;
    const double difference = 2.5 * (std::sqrt(d2) - std::sqrt(d1)) - 1.0;
    const double nearest = 2.0 * std::sqrt(d1) - 1.0;
    return output == kCellSecond ? second : output == kCellDifference ? difference : nearest;
}

// Cellular noise: distances to the nearest two feature points among the
// 3 x 3 cells around the sample, reduced to the chosen output.
template <bool Wrap>
void CellularLoop(const NoiseField& f, const LatticeOctave& o, const double* U, const double* V,
                  int n, double* __restrict out) {
    const std::uint32_t output = f.s.cellular;
    for (int k = 0; k < n; ++k) {
        const double u = U[k], v = V[k];
        const int i = FloorOf(u), j = FloorOf(v);
        const double fu = u - double(i), fv = v - double(j);
        double d1 = 1e30, d2 = 1e30;
#pragma GCC unroll 3
        for (int dj = -1; dj <= 1; ++dj) {
            const int cj = WrapIf<Wrap>(j + dj, o.periodY) + o.hashY;
#pragma GCC unroll 3
            for (int di = -1; di <= 1; ++di) {
                const int h = HashOf(f.perm, WrapIf<Wrap>(i + di, o.periodX) + o.hashX, cj);
                const double x = double(di) + double(f.jitterX[h]) - fu;
                const double y = double(dj) + double(f.jitterY[h]) - fv;
                MeetPoint(x, y, d1, d2);
            }
        }
        out[k] = CellularOutputOf(output, d1, d2);
    }
}

// ---- cellular samples through a block table ----

// The feature points of a small block of cells, and of a cell around it,
// looked up once, in rows of `width` entries from cell (lo - 1, jlo - 1):
// a sample in cell (i, j) finds its 3 x 3 from entry (j - jlo) * width +
// (i - lo) on.
struct CellTable {
    int lo, jlo, width;
    std::uint32_t output;
    alignas(64) double jitterX[kBlockCells];
    alignas(64) double jitterY[kBlockCells];
};

// Lane by lane: each sample's cell and offsets, its 3 x 3 feature points
// from the table and the two least squared distances, exactly as in
// CellularLoop. Defined per instruction set.
void PickCells(const CellTable& t, const double* U, const double* V, int n, double* out);

// The same one sample at a time.
[[gnu::always_inline]] inline double PickCellOne(const CellTable& t, double u, double v) {
    const int i = FloorOf(u), j = FloorOf(v);
    const double fu = u - double(i), fv = v - double(j);
    const int at = (j - t.jlo) * t.width + (i - t.lo);
    double d1 = 1e30, d2 = 1e30;
#pragma GCC unroll 3
    for (int r = 0; r < 3; ++r) {
#pragma GCC unroll 3
        for (int c = 0; c < 3; ++c) {
            const double x = double(c - 1) + t.jitterX[at + r * t.width + c] - fu;
            const double y = double(r - 1) + t.jitterY[at + r * t.width + c] - fv;
            MeetPoint(x, y, d1, d2);
        }
    }
    return CellularOutputOf(t.output, d1, d2);
}

// Cellular noise at samples that lie in a small block of cells (along a
// row they always do) through a block table. False (nothing done) when the
// block has more cells than the table holds or than three per sample.
template <bool Wrap>
bool CellularBlock(const NoiseField& f, const LatticeOctave& o, const double* U, const double* V,
                   int n, double* out) {
    int lo, hi, jlo, jhi;
    CellSpan(U, n, &lo, &hi);
    CellSpan(V, n, &jlo, &jhi);
    const long columns = long(hi) - lo + 3, rows = long(jhi) - jlo + 3;  // and one around
    if (columns * rows > kBlockCells || columns * rows > 3L * n + 6) return false;
    CellTable t;
    t.lo = lo;
    t.jlo = jlo;
    t.width = int(columns);
    t.output = f.s.cellular;
    for (int r = 0; r < rows; ++r) {
        const int cj = WrapIf<Wrap>(jlo - 1 + r, o.periodY) + o.hashY;
        for (int c = 0; c < columns; ++c) {
            const int h = HashOf(f.perm, WrapIf<Wrap>(lo - 1 + c, o.periodX) + o.hashX, cj);
            t.jitterX[r * columns + c] = double(f.jitterX[h]);
            t.jitterY[r * columns + c] = double(f.jitterY[h]);
        }
    }
    PickCells(t, U, V, n, out);
    return true;
}

template <bool Wrap>
void WhiteLoop(const NoiseField& f, const LatticeOctave& o, const double* U, const double* V, int n,
               double* __restrict out) {
    for (int k = 0; k < n; ++k) {
        const double v = V[k];
        const int i = WrapIf<Wrap>(FloorOf(U[k]), o.periodX) + o.hashX;
        const int j = WrapIf<Wrap>(FloorOf(v), o.periodY) + o.hashY;
        out[k] = f.value[HashOf(f.perm, i, j)];
    }
}

[[gnu::always_inline]] inline double CatmullRom(double p0, double p1, double p2, double p3,
                                                double t) {
    return p1 + 0.5 * t *
                    (p2 - p0 +
                     t * (2.0 * p0 - 5.0 * p1 + 4.0 * p2 - p3 + t * (3.0 * (p1 - p2) + p3 - p0)));
}

template <bool Wrap>
void CubicLoop(const NoiseField& f, const LatticeOctave& o, const double* U, const double* V, int n,
               double* __restrict out) {
    for (int k = 0; k < n; ++k) {
        const double u = U[k], v = V[k];
        const int i = FloorOf(u), j = FloorOf(v);
        const double fu = u - double(i), fv = v - double(j);
        int cols[4];
#pragma GCC unroll 4
        for (int c = 0; c < 4; ++c) cols[c] = WrapIf<Wrap>(i - 1 + c, o.periodX) + o.hashX;
        double rows[4];
#pragma GCC unroll 4
        for (int r = 0; r < 4; ++r) {
            const int cj = WrapIf<Wrap>(j - 1 + r, o.periodY) + o.hashY;
            double q[4];
#pragma GCC unroll 4
            for (int c = 0; c < 4; ++c) q[c] = f.value[HashOf(f.perm, cols[c], cj)];
            rows[r] = CatmullRom(q[0], q[1], q[2], q[3], fu);
        }
        out[k] = CatmullRom(rows[0], rows[1], rows[2], rows[3], fv);
    }
}

// One octave of the field's basis at n points.
void BasisRow(const NoiseField& f, std::uint32_t basis, const NoiseOctave& no, const double* U,
              const double* V, bool line, int n, double* out) {
    const LatticeOctave o = LatticeOf(no);
    const bool wrap = o.periodX > 0;
    // The other bases take a row as n points.
    double rowV[kPass] = {};
    if (line && basis != kBasisValue && basis != kBasisPerlin) {
        for (int i = 0; i < n; ++i) rowV[i] = V[0];
        V = rowV;
    }
    switch (basis) {
        case kBasisValue:
            if (line && n > 0 && TableRow<true, true>(f, o, U, V[0], n, 1.0, out)) return;
            LatticeRow<double, true, true>(f, o, U, V, line, n, out);
            return;
        case kBasisSimplex:
            if (!wrap && n > 0 && SimplexBlock(f, o, U, V, n, out)) return;
            wrap ? SimplexLoop<true>(f, o, U, V, n, out) : SimplexLoop<false>(f, o, U, V, n, out);
            return;
        case kBasisCellular:
            if (n > 0 && (wrap ? CellularBlock<true>(f, o, U, V, n, out)
                               : CellularBlock<false>(f, o, U, V, n, out)))
                return;
            wrap ? CellularLoop<true>(f, o, U, V, n, out) : CellularLoop<false>(f, o, U, V, n, out);
            return;
        case kBasisWhite:
            wrap ? WhiteLoop<true>(f, o, U, V, n, out) : WhiteLoop<false>(f, o, U, V, n, out);
            return;
        case kBasisCubic:
            wrap ? CubicLoop<true>(f, o, U, V, n, out) : CubicLoop<false>(f, o, U, V, n, out);
            return;
        default:
            if (line && n > 0 && TableRow<true, false>(f, o, U, V[0], n, 1.4142135623730951, out))
                return;
            LatticeRow<double, true, false>(f, o, U, V, line, n, out);
            for (int i = 0; i < n; ++i) out[i] = 1.4142135623730951 * out[i];
            return;
    }
}

// Adds octave b of amplitude a to the sum in `out` by the fractal mode;
// ridged octaves also weigh by, and update, `weight`.
void AddOctave(std::uint32_t fractal, double a, const double* b, int n, double* out,
               double* weight) {
    if (fractal == kFractalBillow) {
        for (int i = 0; i < n; ++i) out[i] += a * (2.0 * std::fabs(b[i]) - 1.0);
    } else if (fractal == kFractalRidged) {
        // Musgrave's ridges: each octave is weighted by the one before, so
        // detail gathers along the ridges.
        for (int i = 0; i < n; ++i) {
            double r = 1.0 - std::fabs(b[i]);
            r = r * r * weight[i];
            const double twice = 2.0 * r;
            weight[i] = twice < 0.0 ? 0.0 : (1.0 < twice ? 1.0 : twice);
            out[i] += a * r;
        }
    } else {
        for (int i = 0; i < n; ++i) out[i] += a * b[i];
    }
}

// The field at up to kPass points.
void FieldPass(const NoiseField& f, const double* U, const double* V, bool line, int n,
               double* out) {
    const NoiseSettings& s = f.s;
    double wu[kPass], wv[kPass], b[kPass], weight[kPass];
    double su[kPass] = {}, sv[kPass] = {};
    if (s.warp > 0) {
        // The domain is pushed by two components of two Perlin octaves each.
        const NoiseOctave* w = f.warp;
        double d0[kPass], d1[kPass];
        auto component = [&](const NoiseOctave& first, const NoiseOctave& second, double* d) {
            BasisRow(f, kBasisPerlin, first, U, V, line, n, d0);
            for (int i = 0; i < n; ++i) su[i] = U[i] * second.scaleX;
            if (line) {
                sv[0] = V[0] * second.scaleY;
            } else {
                for (int i = 0; i < n; ++i) sv[i] = V[i] * second.scaleY;
            }
            BasisRow(f, kBasisPerlin, second, su, sv, line, n, d1);
            for (int i = 0; i < n; ++i) d[i] = d0[i] + 0.5 * d1[i];
        };
        double du[kPass], dv[kPass];
        component(w[0], w[1], du);
        component(w[2], w[3], dv);
        for (int i = 0; i < n; ++i) {
            wu[i] = U[i] + s.warp * du[i];
            wv[i] = (line ? V[0] : V[i]) + s.warp * dv[i];
        }
        U = wu, V = wv, line = false;
    }
    if (s.fractal == kFractalNone) {
        BasisRow(f, s.basis, f.octave[0], U, V, line, n, out);
        return;
    }
    for (int i = 0; i < n; ++i) out[i] = 0, weight[i] = 1;
    for (int k = 0; k < s.octaves; ++k) {
        const NoiseOctave& o = f.octave[k];
        for (int i = 0; i < n; ++i) su[i] = U[i] * o.scaleX;
        if (line) {
            sv[0] = V[0] * o.scaleY;
        } else {
            for (int i = 0; i < n; ++i) sv[i] = V[i] * o.scaleY;
        }
        BasisRow(f, s.basis, o, su, sv, line, n, b);
        AddOctave(s.fractal, o.amplitude, b, n, out, weight);
    }
}

// One octave of a row whose columns are worked out: through the row table
// as BasisRow takes it, or where the columns take none, as BasisRow.
void BasisRowAt(const NoiseField& f, std::uint32_t basis, const NoiseOctave& no,
                const RowColumns& c, double y, int n, double* out) {
    if (c.cells == 0) {
        BasisRow(f, basis, no, c.x, &y, true, n, out);
        return;
    }
    const LatticeOctave o = LatticeOf(no);
    RowTable r;
    if (basis == kBasisValue) {
        FillRowTableOf<true, true>(f, o, c.lo, c.cells, y, &r);
        PickRowAt<true>(r, c, n, 1.0, out);
    } else {
        FillRowTableOf<true, false>(f, o, c.lo, c.cells, y, &r);
        PickRowAt<false>(r, c, n, 1.4142135623730951, out);
    }
}

// FieldPass along `rows` rows at V[r] that share the points U (n at most
// kPass), row r into out + r * stride, for fields of value or Perlin noise
// without warp: each octave's columns are worked out once for all rows.
void FieldPassRows(const NoiseField& f, const double* U, const double* V, int rows, int n,
                   double* out, std::ptrdiff_t stride) {
    const NoiseSettings& s = f.s;
    if (s.fractal == kFractalNone) {
        RowColumns c;
        FillRowColumns(U, nullptr, n, &c);
        for (int r = 0; r < rows; ++r)
            BasisRowAt(f, s.basis, f.octave[0], c, V[r], n, out + r * stride);
        return;
    }
    RowColumns columns[kMaxOctaves];
    for (int k = 0; k < s.octaves; ++k) FillRowColumns(U, &f.octave[k].scaleX, n, &columns[k]);
    double b[kPass], weight[kPass];
    for (int r = 0; r < rows; ++r) {
        double* row = out + r * stride;
        for (int i = 0; i < n; ++i) row[i] = 0, weight[i] = 1;
        for (int k = 0; k < s.octaves; ++k) {
            const NoiseOctave& o = f.octave[k];
            BasisRowAt(f, s.basis, o, columns[k], V[r] * o.scaleY, n, b);
            AddOctave(s.fractal, o.amplitude, b, n, row, weight);
        }
    }
}

void FieldRowOf(const NoiseField& f, const double* u, const double* v, bool line, int n,
                double* out) {
    for (int i = 0; i < n; i += kPass) {
        const int m = n - i < kPass ? n - i : kPass;
        FieldPass(f, u + i, line ? v : v + i, line, m, out + i);
    }
}

// Rows that share their points, a pass of columns at a time.
void FieldRowsOf(const NoiseField& f, const double* u, const double* v, int rows, int n,
                 double* out, std::ptrdiff_t stride) {
    const bool shared = f.s.warp <= 0 && (f.s.basis == kBasisPerlin || f.s.basis == kBasisValue);
    for (int i = 0; i < n; i += kPass) {
        const int m = n - i < kPass ? n - i : kPass;
        if (shared) {
            FieldPassRows(f, u + i, v, rows, m, out + i, stride);
        } else {
            for (int r = 0; r < rows; ++r)
                FieldPass(f, u + i, v + r, true, m, out + r * stride + i);
        }
    }
}

void BasisRowOf(const NoiseField& f, std::uint32_t basis, const NoiseOctave& o, const double* u,
                const double* v, bool line, int n, double* out) {
    for (int i = 0; i < n; i += kPass) {
        const int m = n - i < kPass ? n - i : kPass;
        BasisRow(f, basis, o, u + i, line ? v : v + i, line, m, out + i);
    }
}

constexpr NoiseKernels kKernelsOfThisSet = {FieldRowOf, FieldRowsOf, BasisRowOf, GradientRowOf,
                                            PowerCellsOf};

}  // namespace
}  // namespace tsn
