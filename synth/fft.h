// Our own two-dimensional FFT for the spectral-synthesis kinds. The Windows
// plug-in has to carry the very same code as the Linux command, so no FFT
// library is linked into the product.
#pragma once

namespace tsn {

constexpr int kMaxFftLog2 = 12;  // 4096 x 4096

// Transforms the n x n complex array `c` in place with the negative exponent,
// X(k, l) = sum over (i, j) of c(i, j) exp(-2 pi i (k i + l j) / n), and no
// normalisation. Element (i, j) is c[2 (i n + j)] (real) and the float after
// it (imaginary). n is a power of two, 1 .. 2^kMaxFftLog2. Rows are split
// between the cores; the result does not depend on how many there are. The
// array is best 16-byte aligned. Returns false, with `c` untouched, when n is
// not such a power or memory for the working buffers runs out.
bool Fft2D(float* c, int n);

}  // namespace tsn
