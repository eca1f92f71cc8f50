// The "Matrix" kind: the picture is tiled with one small image picked from
// the page's tile list, which shows the current matrix library.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/platform.h"
#include "kind/descriptor.h"
#include "kind/master_record.h"
#include "kind/page_table.h"

namespace tsn {

#pragma pack(push, 1)
struct MatrixParameters {
    char signature[8];  // "VANTMTRX"
    std::uint32_t version;
    std::uint32_t size;  // 104 (100 in the older layout)
    std::uint32_t reserved;
    std::int32_t width;
    std::int32_t depth;
    std::int32_t selection;  // index of the tile in the page's list
    std::uint64_t tileList;  // the list control's handle; means nothing when stored
    std::uint8_t reserved2[64];
};
// Presets of earlier versions: the same fields up to the selection.
struct MatrixParameters100 {
    char signature[8];
    std::uint32_t version;
    std::uint32_t size;
    std::uint32_t reserved;
    std::int32_t width;
    std::int32_t depth;
    std::int32_t selection;
    std::uint8_t reserved2[68];
};
#pragma pack(pop)

static_assert(sizeof(MatrixParameters) == 104);
static_assert(offsetof(MatrixParameters, version) == 8);
static_assert(offsetof(MatrixParameters, size) == 12);
static_assert(offsetof(MatrixParameters, reserved) == 16);
static_assert(offsetof(MatrixParameters, width) == 20);
static_assert(offsetof(MatrixParameters, depth) == 24);
static_assert(offsetof(MatrixParameters, selection) == 28);
static_assert(offsetof(MatrixParameters, tileList) == 32);
static_assert(offsetof(MatrixParameters, reserved2) == 40);
static_assert(sizeof(MatrixParameters100) == 100);
static_assert(offsetof(MatrixParameters100, selection) == 28);

constexpr std::uint32_t kMatrixOffset = 22508;

// Page controls.
enum : std::uint32_t {
    kMatrixWidthId = 400,
    kMatrixDepthId = 402,
    kMatrixTileListId = 404,
    // "Integral dimensions": a session-wide switch kept in the configuration
    // file, not in the block.
    kMatrixIntegralId = 405,
};

MemHandle MatrixRender(MasterTextureRecord* rec, const RenderValues& values);
std::int64_t MatrixQuery(MasterTextureRecord* rec, int code);
// Puts the default tile in the page's list (the application then adds the
// current library's tiles, when it has any).
void MatrixOpenPage(MasterTextureRecord* rec);

// The width x depth picture tiled with `tile` from the top-left corner
// (grown to whole tiles plus one when `integral`); 0 for a tile that is no
// drawable bitmap or when memory runs out.
MemHandle MatrixTiles(MemHandle tile, int width, int depth, bool integral);

inline MatrixParameters* MatrixBlock(MasterTextureRecord* rec) {
    return BlockAs<MatrixParameters>(rec, kMatrixOffset);
}

extern const KindDescriptor kMatrixKind;

}  // namespace tsn
