// The "Particle" kind: diffusion-limited growth. Particles wander at random
// on a grid of cells until they touch the growth and stick to it, either
// around seeded nuclei (aggregation) or on the bottom edge (deposition).
// Every particle is linked to the cell it stuck to; the links are drawn as
// strands whose grey records the particle's age, its distance from the root
// or the size of the branch it carries, and the grey image is coloured
// through the block's fountain, which the mutation grid can vary.
//
// The growth is sequential by nature, so its work is bounded: at most
// kParticleMaxCount particles join, and the walk stops after
// kParticleMovesPerParticle moves of one particle (that particle is then
// dropped) or kParticleMaxMoves moves in all, whichever comes first. Walkers
// far from the growth jump across empty blocks of 4, 16 or 64 cells, so a
// move is often many cells. The defaults need about 1.4 million moves; the
// full bound of 2^24 moves costs about half a second on one core of the
// reference machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "colour/fountain.h"
#include "core/packed.h"
#include "kind/descriptor.h"
#include "kind/master_record.h"
#include "kinds/particle/particle_lanes.h"

namespace tsn {

#pragma pack(push, 1)
struct ParticleParameters {  // "VANTPART", 837 bytes, then an 8-byte grey image slot
    TSN_SEEDED_PICTURE_HEAD;
    std::int32_t particles;   // particles that join the growth
    std::int32_t stickiness;  // percent chance of sticking on each contact
    std::int32_t nuclei;      // clusters grown at once (aggregation)
    std::uint32_t flags;      // bit 0: walkers wrap around the edges
    FountainDefinition fountain;
    std::uint32_t mode;       // 0 aggregation around nuclei, 1 deposition on the bottom edge
    std::int32_t resolution;  // cells across the longer side of the picture
    std::int32_t thickness;   // strand width, percent of a cell
    std::int32_t taper;       // percent by which thin branches narrow
    std::uint32_t colouring;  // grey from 0 age, 1 distance from the root, 2 branch size
    std::uint8_t reserved2[184];
};
#pragma pack(pop)

TSN_SEEDED_PICTURE_HEAD_AT(ParticleParameters);
static_assert(sizeof(ParticleParameters) == 837);
static_assert(offsetof(ParticleParameters, particles) == 32);
static_assert(offsetof(ParticleParameters, stickiness) == 36);
static_assert(offsetof(ParticleParameters, nuclei) == 40);
static_assert(offsetof(ParticleParameters, flags) == 44);
static_assert(offsetof(ParticleParameters, fountain) == 48);
static_assert(offsetof(ParticleParameters, mode) == 633);
static_assert(offsetof(ParticleParameters, resolution) == 637);
static_assert(offsetof(ParticleParameters, thickness) == 641);
static_assert(offsetof(ParticleParameters, taper) == 645);
static_assert(offsetof(ParticleParameters, colouring) == 649);
static_assert(offsetof(ParticleParameters, reserved2) == 653);

constexpr std::uint32_t kParticleOffset = 7034;
constexpr std::uint32_t kParticleGreySlot = kParticleOffset + sizeof(ParticleParameters);
static_assert(kParticleGreySlot == kWorkingSlots[1].offset);
constexpr std::uint32_t kParticleWrap = 1u << 0;

// The bound on the sequential work.
constexpr int kParticleMaxCount = 200000;
constexpr int kParticleMovesPerParticle = 20000;
constexpr long long kParticleMaxMoves = 1 << 24;

// Page controls.
enum : std::uint32_t {
    kParticleWidthId = 239,
    kParticleDepthId = 241,
    kParticleSeedId = 243,
    kParticleFountainId = 245,
    kParticlePresetListId = 246,  // 247 add, 248 delete, 249 load
    kParticleCountId = 250,
    kParticleStickinessId = 252,
    kParticleNucleiId = 254,
    kParticleWrapId = 256,
    kParticleModeId = 258,
    kParticleResolutionId = 260,
    kParticleThicknessId = 262,
    kParticleTaperId = 264,
    kParticleColouringId = 266,
};

// The grown cells as the drawing sees them, row by row, `width` x
// `height`. Direction d = 0 .. 7 points to the neighbour at (kDx[d],
// kDy[d]) with y downward: right, down-right, down, and on round.
struct ParticleCells {
    int width = 0, height = 0;
    bool wrap = false;
    const std::uint8_t* occupied = nullptr;
    const std::uint8_t* parent = nullptr;  // direction to the cell stuck to; 8 for a root
    const std::uint8_t* links = nullptr;   // bit d: linked to the neighbour in direction d
    const float* value = nullptr;          // 0 .. 1 along the cell's strands
    const float* radius = nullptr;         // of the link to the parent, in cells
};
constexpr int kParticleDx[8] = {1, 1, 0, -1, -1, -1, 0, 1};
constexpr int kParticleDy[8] = {0, 1, 1, 1, 0, -1, -1, -1};

// Each cell's centre is moved by up to kParticleJitter of a cell in x and
// y, from a stream of its own, so strands wander instead of following the
// grid's rows and diagonals. Jitter plus the widest radius stays below one
// cell.
constexpr double kParticleJitter = 0.3;
void ParticleJitter(int x, int y, double* jx, double* jy);

// Grows and shades the cells of block `b` for a w x h picture and passes
// them to `use`; false when memory runs out or `use` fails.
bool GrowParticles(const ParticleParameters& b, int w, int h,
                   const std::function<bool(const ParticleCells&)>& use);

// The grey at cell coordinates (u, v): 0 off the strands, else 1 .. 255
// from the value of the strand nearest relative to its radius.
int ParticleGrey(const ParticleCells& c, double u, double v);

// ParticleGrey along a row of pixels: pixel x of `count` at cell coordinates
// ((x + 0.5) * sx, v). The strands that can reach a column of cells are
// gathered once per row of cells and then measured against every pixel
// over that column, with the same operations in the same order, so each
// grey equals ParticleGrey's. One per thread: it keeps the row of cells it
// last gathered.
class ParticleRowGreys {
  public:
    void Row(const ParticleCells& g, double v, double sx, int count, std::uint8_t* greys);

  private:
    void Gather(const ParticleCells& g, int cy);
    int cellRow_ = -1;
    const ParticleCells* cells_ = nullptr;
    std::vector<ParticleSegment> segments_;
    std::vector<double> nearest_;
    std::vector<std::uint32_t> first_;  // column cx's segments: first_[cx] .. first_[cx + 1]
};

MemHandle ParticleRender(MasterTextureRecord* rec, const RenderValues& values);
int ParticleReset(MasterTextureRecord* rec);

extern const KindDescriptor kParticleKind;

}  // namespace tsn
