#include "textures/structured/matrix.h"

#include <cstring>

#include "plugin/catalogue.h"
#include "plugin/page_fields.h"

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

template <class T>
T* TransferPtr(std::uint64_t address) {
    return reinterpret_cast<T*>(static_cast<std::uintptr_t>(address));
}

// Header and the words up to the selection carry over; the size is the
// target's and everything after is zero.
template <class From, class To>
std::int64_t ConvertMatrix(MasterTextureRecord* rec) {
    if (rec->transferSourceSize != sizeof(From) || rec->transferTargetSize != sizeof(To)) return 0;
    auto* from = TransferPtr<const std::uint8_t>(rec->transferSource);
    auto* to = TransferPtr<std::uint8_t>(rec->transferTarget);
    if (!from || !to) return 0;
    std::uint8_t out[sizeof(To)] = {};
    std::memcpy(out, from, offsetof(From, selection) + 4);
    const std::uint32_t size = sizeof(To);
    std::memcpy(out + offsetof(To, size), &size, 4);
    std::memcpy(to, out, sizeof out);
    return 1;
}

}  // namespace

std::int64_t MatrixQuery(MasterTextureRecord* rec, int code) {
    switch (code) {
        case kQueryConvertIn:
            return ConvertMatrix<MatrixParameters100, MatrixParameters>(rec);
        case kQueryConvertOut:
            return ConvertMatrix<MatrixParameters, MatrixParameters100>(rec);
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
    .query = MatrixQuery,
};

}  // namespace tsn
