#include "kinds/matrix/matrix.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "core/image.h"
#include "kind/descriptor.h"
#include "kind/older_layout.h"
#include "kind/page_fields.h"
#include "kinds/matrix/matrix_tiles.h"

namespace tsn {

namespace {

using namespace fields;

// The up-downs offer 800 while the block starts at 400 x 300.
const PageField kMatrixFields[] = {
    Width(offsetof(MatrixParameters, width), kMatrixWidthId, 400, 800),
    Depth(offsetof(MatrixParameters, depth), kMatrixDepthId, 300, 800),
    ListBox("selection", "", offsetof(MatrixParameters, selection), kMatrixTileListId, 2147483647.0,
            "index of the tile in the library's list"),
};

// Matrix keeps its tiles in its own library, not in presets.
const std::uint32_t kMatrixExtras[] = {kMatrixIntegralId, 0};

const PageTable kMatrixPage = TableOf(kMatrixFields, kMatrixExtras);

// Presets of earlier versions hold the same fields up to the selection, in
// 100 bytes; the rest of the target is zero.
const LayoutField kMatrixOlderFields[] = {
    {0, 0, std::uint32_t(offsetof(MatrixParameters100, selection)) + 4},
};
static_assert(offsetof(MatrixParameters100, selection) == offsetof(MatrixParameters, selection));
const OlderLayout kMatrixOlder{sizeof(MatrixParameters), sizeof(MatrixParameters100),
                               kMatrixOlderFields, int(std::size(kMatrixOlderFields))};

}  // namespace

MemHandle MatrixTiles(MemHandle tile, int width, int depth, bool integral) {
    TileView t;
    if (!LockTile(tile, &t)) return 0;
    if (integral) {
        width = IntegralSize(width, t.width);
        depth = IntegralSize(depth, t.height);
    }
    // The tile's rows as the image stores pixels: blue, green, red.
    std::vector<std::uint8_t> rows;
    const MemHandle image = NewImage(width, depth);
    ImageView out;
    const std::size_t rowBytes = std::size_t(t.width) * 3;
    if (image && LockImage(image, &out)) {
        rows.resize(rowBytes * std::size_t(t.height));
        for (int y = 0; y < t.height; ++y)
            for (int x = 0; x < t.width; ++x) {
                const std::uint32_t c = TileGetPixel(t, x, y);
                std::uint8_t* p = &rows[std::size_t(y) * rowBytes + std::size_t(x) * 3];
                p[0] = std::uint8_t(c >> 16);
                p[1] = std::uint8_t(c >> 8);
                p[2] = std::uint8_t(c);
            }
        // Tiles start at every multiple of the tile's size up to and
        // including the image's edge; whatever falls outside is clipped.
        for (int y0 = 0; y0 <= depth; y0 += t.height)
            for (int x0 = 0; x0 <= width; x0 += t.width) {
                const int w = std::min(t.width, width - x0);
                for (int y = y0; y < y0 + t.height && y < depth && w > 0; ++y)
                    std::memcpy(out.Row(y) + std::size_t(x0) * 3,
                                &rows[std::size_t(y - y0) * rowBytes], std::size_t(w) * 3);
            }
        UnlockImage(&out);
    }
    UnlockTile(&t);
    return image;
}

// The selected tile repeated over the picture; the option is the
// integral-dimensions switch.
MemHandle MatrixRender(MasterTextureRecord*, const RenderValues& values) {
    return MatrixTiles(values.tile, values.width, values.depth, values.option);
}

std::int64_t MatrixQuery(MasterTextureRecord* rec, int code) {
    switch (code) {
        case kQueryConvertIn:
        case kQueryConvertOut:
            return ConvertOlderLayout(kMatrixOlder, rec, code);
        default:
            return StandardQuery(kMatrixKind, rec, code);
    }
}

const KindDescriptor kMatrixKind = {
    .name = "Matrix",
    .key = "matrix",
    .signature = "VANTMTRX",
    .blockOffset = kMatrixOffset,
    .blockSize = sizeof(MatrixParameters),
    .oldBlockSize = sizeof(MatrixParameters100),
    .page = &kMatrixPage,
    .render = MatrixRender,
    .query = MatrixQuery,
    .optionCheck = kMatrixIntegralId,
};

}  // namespace tsn
