// The planet's cloud field written straight from its definition: every
// coefficient of the half plane drawn from its own generator state, its
// conjugate mirrored, and the real field summed frequency by frequency
// (a direct Fourier sum, no FFT), then scaled to unit variance.
#pragma once

#include <cstdint>
#include <vector>

namespace tsn::reference {

// The n x n field, row y at [y n]; n a small power of two.
std::vector<double> LiteralCloudField(std::uint32_t seed, double roughness, int n);

// The planet's field at point (x, y, z) of the unit sphere, one point at a
// time in plain scalar code: three planar projections of the n x n periodic
// field `f` (row y at [y n]), blended by how squarely the surface faces each
// axis, each twisted by the field itself when `twist` and carrying
// `octaves` copies, each 4.3 times finer than the last. The vector kernels
// must give these bits.
float LiteralSphereField(const float* f, int n, int octaves, double swirl, double x, double y,
                         double z, double scale, double offset, bool twist);

}  // namespace tsn::reference
