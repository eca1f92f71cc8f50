// The "Scratch" and "Threads" kinds: random polylines in two to five
// foreground colours over a flat background, optionally drawn at double
// size and reduced for smooth edges. Scratch draws star-like scribbles
// around each start point; Threads wanders in equal steps that turn by an
// eighth of a circle. Both blocks have the same shape and share one query.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kind/descriptor.h"
#include "kind/master_record.h"
#include "kind/page_table.h"

namespace tsn {

#pragma pack(push, 1)
// Field names are Scratch's; Threads reads `fraction` as its pen weight.
struct ScratchParameters {
    char signature[8];  // "VANTSCRA" ("VANTTHRD" for Threads)
    std::uint32_t version;
    std::uint32_t size;  // 92
    std::uint32_t reserved;
    std::int32_t width;
    std::int32_t depth;
    std::int32_t seed;
    std::int32_t fraction;    // Scratch: divisor of the largest step; Threads: pen weight
    std::int32_t complexity;  // base number of segments (steps) per line
    std::int32_t iterations;  // number of lines
    std::uint32_t background;
    std::uint32_t foreground[5];
    std::int32_t enable[3];  // foreground 3, 4 and 5 are used when nonzero
    std::int32_t antialias;
    std::int32_t lineSize;  // Scratch: pen width; Threads: length of one step
    std::int32_t angle;     // Scratch: minimum jump in thousandths of the smaller side;
                            // Threads: extra twist in degrees
};
#pragma pack(pop)
using ThreadsParameters = ScratchParameters;

static_assert(sizeof(ScratchParameters) == 92);
static_assert(offsetof(ScratchParameters, version) == 8);
static_assert(offsetof(ScratchParameters, size) == 12);
static_assert(offsetof(ScratchParameters, reserved) == 16);
static_assert(offsetof(ScratchParameters, width) == 20);
static_assert(offsetof(ScratchParameters, depth) == 24);
static_assert(offsetof(ScratchParameters, seed) == 28);
static_assert(offsetof(ScratchParameters, fraction) == 32);
static_assert(offsetof(ScratchParameters, complexity) == 36);
static_assert(offsetof(ScratchParameters, iterations) == 40);
static_assert(offsetof(ScratchParameters, background) == 44);
static_assert(offsetof(ScratchParameters, foreground) == 48);
static_assert(offsetof(ScratchParameters, enable) == 68);
static_assert(offsetof(ScratchParameters, antialias) == 80);
static_assert(offsetof(ScratchParameters, lineSize) == 84);
static_assert(offsetof(ScratchParameters, angle) == 88);

constexpr std::uint32_t kScratchOffset = 29116;
constexpr std::uint32_t kThreadsOffset = 29208;

// The control both kinds' query reads as "the page's seed". Neither page
// has it: on the one master dialog it is CGI Turbulence's seed edit. The
// rule is kept as it is so mutation seeds stay what they always were.
constexpr std::uint32_t kScratchQuerySeedId = 680;

// Page controls.
enum : std::uint32_t {
    kScratchWidthId = 718,
    kScratchDepthId = 721,
    kScratchSeedId = 725,
    kScratchPresetListId = 751,
    kThreadsWidthId = 755,
    kThreadsDepthId = 758,
    kThreadsSeedId = 762,
    kThreadsPresetListId = 788,
};

const PageTable& ScratchPageTable();
const PageTable& ThreadsPageTable();

MemHandle ScratchRender(MasterTextureRecord* rec, const RenderValues& values);
MemHandle ThreadsRender(MasterTextureRecord* rec, const RenderValues& values);
int ScratchReset(MasterTextureRecord* rec);
int ThreadsReset(MasterTextureRecord* rec);
// The one query of both kinds.
std::int64_t ScratchQuery(MasterTextureRecord* rec, int code);

inline ScratchParameters* ScratchBlock(MasterTextureRecord* rec) {
    return BlockAs<ScratchParameters>(rec, kScratchOffset);
}
inline ThreadsParameters* ThreadsBlock(MasterTextureRecord* rec) {
    return BlockAs<ThreadsParameters>(rec, kThreadsOffset);
}

extern const KindDescriptor kScratchKind;
extern const KindDescriptor kThreadsKind;

}  // namespace tsn
