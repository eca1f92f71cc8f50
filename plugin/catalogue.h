// The catalogue of texture kinds. The dialog and the command line never name
// a kind in code: they list, reset, render, release and query kinds only
// through these rows.
#pragma once

#include <cstdint>

#include "common/platform.h"
#include "plugin/master_record.h"
#include "plugin/page_table.h"

namespace tsn {

using RenderFn = MemHandle (*)(MasterTextureRecord*);
using ResetFn = int (*)(MasterTextureRecord*);
using ReleaseFn = int (*)(MasterTextureRecord*);
using QueryFn = std::int64_t (*)(MasterTextureRecord*, int code);

struct TextureKind {
    const char* name;
    RenderFn render;
    ResetFn reset;
    ReleaseFn release;
    QueryFn query;
    const std::uint32_t* controls;  // zero-terminated
    std::uint32_t flags;
    std::uint32_t extraControl;
    std::uint32_t unused[3];
};

constexpr std::uint32_t kKindHasColourMap = 1u << 0;
constexpr std::uint32_t kKindRepaintExtra = 1u << 1;

// Query codes.
enum QueryCode : int {
    kQueryIndexImage = 1,
    kQuerySeed = 2,
    kQueryFountain = 3,
    kQueryFountainControl = 4,
    kQueryRefreshControls = 5,
    kQueryConvertIn = 6,   // older layout -> current
    kQueryConvertOut = 7,  // current -> older layout
    kQueryBlockSize = 8,
    kQueryOldBlockSize = 9,
};

constexpr int kKindCount = 23;

// What the front ends need to know of a kind beyond its catalogue row.
struct KindInfo {
    const char* key;        // preset extension and command-line name
    const char* signature;  // of its parameter block
    std::uint32_t blockOffset;
    std::uint32_t blockSize;
    const PageTable* page;  // nullptr until the kind's page is built
    bool available;         // its generator is built
};

const TextureKind& KindAt(int index);
const KindInfo& KindInfoAt(int index);

// Index of the kind with this key or display name (case-insensitive), or -1.
int FindKind(const char* keyOrName);
// Index of the kind whose block carries `signature` and, when given, whose
// key is `keyHint` (two kinds share a signature); -1 if none.
int FindKindBySignature(const char* signature, const char* keyHint);

void ResetAllKinds(MasterTextureRecord* rec);
void ReleaseAllKinds(MasterTextureRecord* rec);

// Copies a block through the record's transfer fields when both sizes are
// `size`: the conversion of a kind without an older layout.
std::int64_t CopyTransfer(MasterTextureRecord* rec, std::uint32_t size);

// The release of kinds that keep nothing.
int ReleaseNothing(MasterTextureRecord* rec);

}  // namespace tsn
