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

}  // namespace tsn::reference
