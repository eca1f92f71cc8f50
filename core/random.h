// The random number generator every texture is defined with: the classic
// runtime-library linear congruential generator. Carried as our own object so
// pictures are identical on every platform and compiler.
#pragma once

#include <cstdint>

namespace tsn {

struct Rng {
    std::uint32_t state = 1;

    void Seed(std::uint32_t seed) { state = seed; }
    // 0 .. 32767
    int Next() {
        state = state * 214013u + 2531011u;
        return static_cast<int>((state >> 16) & 0x7FFF);
    }
};

}  // namespace tsn
