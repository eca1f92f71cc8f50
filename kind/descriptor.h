// The contract of a texture kind. Each kind's own files export one constant
// `KindDescriptor` that says everything the rest of the system knows of it:
// names, where its block lives, its page, its four functions and how the
// dialog treats it; and the shared behaviours a kind falls back to. The list
// of kinds in texture-list order is the application's (app/kind_list.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "core/height_field.h"
#include "core/picture_rows.h"
#include "core/platform.h"
#include "kind/master_record.h"
#include "kind/page_table.h"

namespace tsn {

// What the render step hands a kind's render besides its block: the values
// it takes from the page at render time.
struct RenderValues {
    int width = 0, depth = 0;  // the page's, clamped; 0 for a kind without them
    // The seed this generation uses: the page's, or for a kind whose seed
    // shows one generation late, the one the block held before the render.
    std::uint32_t seed = 0;
    // The kind's tile list: the block of the item its list field selects,
    // 0 when that item is missing or has no block.
    MemHandle tile = 0;
    // The state of the kind's option check box (see optionCheck).
    bool option = false;
    // Beyond the plug-in's pages, asked for on the command line only (and
    // only of kinds whose descriptor offers them, see `maps`):
    // make the picture periodic, so it tiles without a seam;
    bool tileable = false;
    // and, when not null, fill this with the scalar field the picture was
    // coloured from, at 16 bits.
    HeightField* height = nullptr;
    // When not null, told what the maps changed of the page's values (a
    // scale rounded to whole periods of the picture), to pass on to the user.
    std::string* note = nullptr;
    // When not null, a kind whose rows do not depend on one another may
    // hand its picture here a band at a time (PaintPicture) and return 0;
    // any other kind ignores it and returns its image as usual.
    RowSink* rows = nullptr;
};

// What a kind offers beyond its page (KindDescriptor::maps).
constexpr std::uint32_t kMapsTile = 1u << 0;    // renders periodic pictures on request
constexpr std::uint32_t kMapsHeight = 1u << 1;  // hands out its height field

using RenderFn = MemHandle (*)(MasterTextureRecord*, const RenderValues&);
using ResetFn = int (*)(MasterTextureRecord*);
using ReleaseFn = int (*)(MasterTextureRecord*);
using QueryFn = std::int64_t (*)(MasterTextureRecord*, int code);
// True for a block the kind will not render; its page's size and seed are
// then left unread.
using RefusesFn = bool (*)(const std::uint8_t* block);
// The text a kind shows about its block (Pipes: the picture's size).
using StatusTextFn = void (*)(const std::uint8_t* block, char* text, std::size_t cap);

// A render as the catalogue row offers it: the render step, then the
// kind's render (kind/render_step.h).
using RowRenderFn = MemHandle (*)(MasterTextureRecord*);

// One row of the catalogue as the dialog dispatches through it.
struct TextureKind {
    const char* name;
    RowRenderFn render;
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
    // How the render step treats the page (kind/render_step.h).
    // The picture uses the seed the block held; the page's seed is stored
    // for the next render.
    bool seedShowsNextRender = false;
    // Checked before the page's size and seed are read.
    RefusesFn refuses = nullptr;
    // The control the seed query reads instead of the seed field's (one
    // that may not be on the kind's page at all); 0 for the seed field.
    std::uint32_t seedQueryControl = 0;
    // A check box the page shows outside the block; its state reaches the
    // render as RenderValues::option. 0 for none.
    std::uint32_t optionCheck = 0;
    // A static text kept up to date with the block: before each render
    // and, as the page is edited, from what the next render would read.
    std::uint32_t statusControl = 0;
    StatusTextFn statusText = nullptr;
    // kMapsTile, kMapsHeight.
    std::uint32_t maps = 0;
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
