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

// The rim of air outside the planet's disc in one colour channel of
// strength `channel`: at distance d (pixels, at least the radius) from the
// centre along direction (dx, dy), for a sun at (sunX, sunY, sunZ) and a
// glow `air` radii high, fading as e^(-1.6 h) over h glow heights, lit on
// the sunward side and, for a backlit planet, all round.
double LiteralHalo(double d, double dx, double dy, double radius, double air, double sunX,
                   double sunY, double sunZ, double channel);

}  // namespace tsn::reference
