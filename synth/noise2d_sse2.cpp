// The lattice noise loops with SSE2, which every x86-64 processor has.
#include "synth/noise2d_kernel.h"

namespace tsn {

const NoiseKernels kNoiseKernelsSse2 = kKernelsOfThisSet;

namespace {

// Without lookups in vector lanes the samples pick their entries one at a
// time.
template <bool Quintic, bool Value>
void PickRow(const RowTable& r, const double* X, int n, double scale, double* out) {
    for (int i = 0; i < n; ++i) out[i] = scale * PickOne<Quintic, Value>(r, X[i]);
}

template <bool Value>
void PickRowAt(const RowTable& r, const RowColumns& c, int n, double scale, double* out) {
    for (int i = 0; i < n; ++i) out[i] = scale * PickOneAt<Value>(r, c.fx[i], c.fade[i], c.k[i]);
}

void PickCells(const CellTable& t, const double* U, const double* V, int n, double* out) {
    for (int i = 0; i < n; ++i) out[i] = PickCellOne(t, U[i], V[i]);
}

}  // namespace

}  // namespace tsn
