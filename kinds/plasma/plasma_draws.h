// Plasma's draws made ahead of need, sixteen generator states at a time,
// built once per instruction set: the plain loop below is the SSE2 build,
// and the AVX2 and AVX-512 builds spell the same operations out in their
// vector instructions. Every build does the same operations per draw, so
// all give the same values.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tsn {

constexpr int kPlasmaLanes = 16;

// Fills raw[0 .. count) with the next draws and displacement[] with each
// draw's displacement for amplitude a; count is a multiple of kPlasmaLanes.
// lanes[j] holds the state of the j-th next draw and moves on by count.
struct PlasmaDrawJob {
    std::uint32_t* lanes;
    std::uint16_t* raw;
    std::int32_t* displacement;
    int count;
    double a;
};

void PlasmaDrawsSse2(const PlasmaDrawJob& job);
void PlasmaDrawsAvx2(const PlasmaDrawJob& job);
void PlasmaDrawsAvx512(const PlasmaDrawJob& job);

// Every pass of a picture whose nine anchors are set: the rows from the top
// one's address, the size, the turbulence, the generator's state after the
// anchors, and room for the walker's stream of draws.
struct PlasmaWalkJob {
    std::uint8_t* top;
    std::ptrdiff_t stride;
    int w, h;
    std::int32_t turbulence;
    std::uint32_t state;
    void* streamMemory;
};

void PlasmaWalkSse2(const PlasmaWalkJob& job);
void PlasmaWalkAvx2(const PlasmaWalkJob& job);
void PlasmaWalkAvx512(const PlasmaWalkJob& job);

// Each build's own copies (internal linkage): one shared inline copy could
// otherwise be the AVX-512 one for every caller.
namespace {

// A draw's displacement: a single-precision fraction, centred and scaled in
// double precision, truncated toward zero. Its magnitude is at most |a| / 2,
// below 2^31 for every amplitude there is, so 32 bits hold it exactly.
inline std::int32_t PlasmaDisplacement(std::uint32_t draw, double a) {
    const float fraction = float(std::int32_t(draw)) / 32767.0f;
    return std::int32_t((double(fraction) - 0.5) * a);
}

constexpr std::uint32_t kA = 214013u, kC = 2531011u;
// The generator stepped n times at once: x -> Power(n) x + Sum(n).
constexpr std::uint32_t Power(int n) {
    return n == 0 ? 1u : kA * Power(n - 1);
}
constexpr std::uint32_t Sum(int n) {
    return n == 0 ? 0u : kC + kA * Sum(n - 1);
}

constexpr std::uint32_t kStepA = Power(kPlasmaLanes), kStepC = Sum(kPlasmaLanes);

// The plain loop; the wider builds spell the same operations out in vector
// instructions.
inline void PlasmaDrawsOf(const PlasmaDrawJob& job) {
    std::uint32_t lanes[kPlasmaLanes];
    for (int j = 0; j < kPlasmaLanes; ++j) lanes[j] = job.lanes[j];
    for (int k = 0; k < job.count; k += kPlasmaLanes)
        for (int j = 0; j < kPlasmaLanes; ++j) {
            const std::uint32_t v = (lanes[j] >> 16) & 0x7FFF;
            job.raw[k + j] = std::uint16_t(v);
            job.displacement[k + j] = PlasmaDisplacement(v, job.a);
            lanes[j] = lanes[j] * kStepA + kStepC;
        }
    for (int j = 0; j < kPlasmaLanes; ++j) job.lanes[j] = lanes[j];
}

}  // namespace
}  // namespace tsn
