// The contract of a texture kind. Each kind's own files export one constant
// `KindDescriptor` that says everything the rest of the system knows of it:
// names, where its block lives, its page, its four functions and how the
// dialog treats it; and the shared behaviours a kind falls back to. The list
// of kinds in texture-list order is the application's (app/kind_list.h).
#pragma once

#include <cstdint>

#include "core/platform.h"
#include "kind/master_record.h"
#include "kind/page_table.h"

namespace tsn {

using RenderFn = MemHandle (*)(MasterTextureRecord*);
using ResetFn = int (*)(MasterTextureRecord*);
using ReleaseFn = int (*)(MasterTextureRecord*);
using QueryFn = std::int64_t (*)(MasterTextureRecord*, int code);
using OpenPageFn = void (*)(MasterTextureRecord*);

// One row of the catalogue as the dialog dispatches through it.
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

struct KindDescriptor {
    const char* name;       // in the texture list
    const char* key;        // preset extension and command-line name
    const char* signature;  // of its parameter block
    std::uint32_t blockOffset;
    std::uint32_t blockSize;
    std::uint32_t oldBlockSize = 0;  // the presets' older layout; 0: the same as the block
    const PageTable* page = nullptr;
    std::uint32_t flags = 0;  // kKindHasColourMap, kKindRepaintExtra
    std::uint32_t extraControl = 0;
    // The four functions. A null render means the generator is not built
    // yet; the others fall back to the shared behaviour: ResetKindBlock,
    // ReleaseGreySlot and StandardQuery.
    RenderFn render = nullptr;
    ResetFn reset = nullptr;
    ReleaseFn release = nullptr;
    QueryFn query = nullptr;
    // Record offset of the grey image the kind keeps for the mutation grid
    // (an unaligned 8-byte slot after its block); 0 for none.
    std::uint32_t greySlot = 0;
    // The page's preset list; its add, delete and load buttons follow at
    // +1, +2 and +3. 0 for none.
    std::uint32_t presetList = 0;
    // The page's width and depth edits are seeded from the host's size.
    bool takesHostSize = false;
    // Fills what the page shows beyond its block's values (a kind's own
    // lists), once its controls exist and before the block moves into them.
    OpenPageFn openPage = nullptr;
};

constexpr int kKindCount = 23;

// True when the kind's generator is built.
inline bool KindRenders(const KindDescriptor& k) {
    return k.render != nullptr;
}

// The length of the kind's preset files: its older layout's size, or its
// block's when it has only one layout.
inline std::uint32_t PresetSize(const KindDescriptor& k) {
    return k.oldBlockSize ? k.oldBlockSize : k.blockSize;
}

// The shared behaviours a descriptor falls back to; kinds that do a little
// more call them for the rest.
// Zeroes the block, writes its header, its page's defaults and the default
// colour map into every fountain field.
int ResetKindBlock(const KindDescriptor& k, MasterTextureRecord* rec);
// Grey image (1), page seed (2), colour map and its control (3, 4, kinds
// with a colour map), plain-copy conversion (6, 7, kinds with one layout)
// and block sizes (8, 9).
std::int64_t StandardQuery(const KindDescriptor& k, MasterTextureRecord* rec, int code);
// Frees the kept grey image, if the kind keeps one.
int ReleaseGreySlot(const KindDescriptor& k, MasterTextureRecord* rec);

// The grey image kept at `slot` (copied in and out: the place is unaligned).
MemHandle GreyImageAt(const MasterTextureRecord* rec, std::uint32_t slot);
void SetGreyImageAt(MasterTextureRecord* rec, std::uint32_t slot, MemHandle grey);

// Copies a block through the record's transfer fields when both sizes are
// `size`: the conversion of a kind without an older layout.
std::int64_t CopyTransfer(MasterTextureRecord* rec, std::uint32_t size);

// The first field of the page with this role (or fountain type), or null.
const PageField* FieldWithRole(const PageTable& t, Role role);
const PageField* FountainField(const PageTable& t);

}  // namespace tsn
