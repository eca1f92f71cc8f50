#include "kinds/matrix/matrix_tiles.h"

#include <cstring>

#include "core/image.h"
#include "core/packed.h"

namespace tsn {

bool ParseTile(const std::uint8_t* bytes, std::size_t size, TileView* view) {
    if (!bytes || size < sizeof(BitmapInfoHeader)) return false;
    BitmapInfoHeader h;
    std::memcpy(&h, bytes, sizeof h);
    const int bits = h.bitCount;
    if (h.size < sizeof h || h.size > size || h.width < 1 || h.height == 0 ||
        h.height < -2147483647 || h.planes != 1 || h.compression != 0 ||
        (bits != 1 && bits != 4 && bits != 8 && bits != 24 && bits != 32))
        return false;
    std::uint64_t colours = h.clrUsed;
    if (bits <= 8) {
        if (colours == 0) colours = 1u << bits;
        if (colours > (1u << bits)) return false;
    } else if (colours > 256) {
        return false;
    }
    const std::uint64_t height = std::uint64_t(h.height < 0 ? -std::int64_t(h.height) : h.height);
    const std::uint64_t stride = (std::uint64_t(h.width) * std::uint64_t(bits) + 31) / 32 * 4;
    const std::uint64_t pixels = h.size + colours * 4;
    if (pixels > size || stride * height > size - pixels) return false;
    view->palette = bytes + h.size;
    view->paletteCount = bits <= 8 ? int(colours) : 0;
    view->bits = bytes + pixels;
    view->width = h.width;
    view->height = int(height);
    view->topDown = h.height < 0;
    view->bitCount = bits;
    view->stride = std::size_t(stride);
    return true;
}

namespace {

constexpr std::size_t kBmpFileHeader = 14;
constexpr std::uint32_t kBitfields = 3;

// The byte (0 .. 3) of a 32-bit pixel that a colour mask selects, or -1
// when the mask is not one whole byte.
int MaskByte(std::uint32_t mask) {
    for (int b = 0; b < 4; ++b)
        if (mask == 0xFFu << (8 * b)) return b;
    return -1;
}

// A 32-bit picture whose channels are placed by masks (what many editors
// write), as a plain 32-bit packed DIB: blue, green, red and a zero byte
// per pixel. 0 for masks other than whole bytes, or a damaged file.
MemHandle PackedDibFromBitfields(const std::uint8_t* file, std::size_t size) {
    const std::uint8_t* info = file + kBmpFileHeader;
    BitmapInfoHeader h;
    std::memcpy(&h, info, sizeof h);
    // The masks follow a 40-byte header, or sit inside the longer ones.
    const std::size_t masksAt = kBmpFileHeader + sizeof h;
    const std::uint32_t offBits = LoadLittle32(file + 10);
    if (h.bitCount != 32 || masksAt + 12 > size || masksAt + 12 > offBits || h.width < 1 ||
        h.height == 0 || h.height < -2147483647)
        return 0;
    const int red = MaskByte(LoadLittle32(file + masksAt)),
              green = MaskByte(LoadLittle32(file + masksAt + 4)),
              blue = MaskByte(LoadLittle32(file + masksAt + 8));
    if (red < 0 || green < 0 || blue < 0 || red == green || green == blue || red == blue) return 0;
    const std::uint64_t height = std::uint64_t(h.height < 0 ? -std::int64_t(h.height) : h.height);
    const std::uint64_t pixels = std::uint64_t(h.width) * height;
    if (pixels > (size - offBits) / 4) return 0;
    const MemHandle dib = MemAlloc(sizeof h + std::size_t(pixels) * 4);
    auto* out = static_cast<std::uint8_t*>(MemLock(dib));
    if (!out) {
        MemFree(dib);
        return 0;
    }
    h.size = sizeof h;
    h.compression = 0;
    h.clrUsed = h.clrImportant = 0;
    h.sizeImage = std::uint32_t(pixels * 4);
    std::memcpy(out, &h, sizeof h);
    const std::uint8_t* in = file + offBits;
    std::uint8_t* to = out + sizeof h;
    for (std::uint64_t i = 0; i < pixels; ++i, in += 4, to += 4) {
        to[0] = in[blue];
        to[1] = in[green];
        to[2] = in[red];
        to[3] = 0;
    }
    MemUnlock(dib);
    return dib;
}

}  // namespace

MemHandle PackedDibFromBmp(const std::uint8_t* file, std::size_t size) {
    constexpr std::size_t kFileHeader = kBmpFileHeader;
    if (size < kFileHeader + sizeof(BitmapInfoHeader) || file[0] != 'B' || file[1] != 'M') return 0;
    const std::uint8_t* info = file + kFileHeader;
    const std::size_t infoSize = size - kFileHeader;
    const std::uint32_t headerSize = LoadLittle32(info);
    const std::uint32_t offBits = LoadLittle32(file + 10);
    if (headerSize < sizeof(BitmapInfoHeader) || headerSize > infoSize || offBits > size) return 0;
    if (LoadLittle32(info + 16) == kBitfields) return PackedDibFromBitfields(file, size);
    // The colour table runs from the header to the pixels (bounded by the
    // header's count, which ParseTile checks).
    const std::uint16_t bits = std::uint16_t(info[14] | info[15] << 8);
    std::uint64_t colours = LoadLittle32(info + 32);
    if (bits <= 8 && colours == 0) colours = 1u << (bits & 15);
    const std::uint64_t tableEnd =
        kFileHeader + headerSize + std::min<std::uint64_t>(colours, 256) * 4;
    if (tableEnd > offBits) return 0;
    const std::size_t head = std::size_t(tableEnd - kFileHeader), pixels = size - offBits;
    const MemHandle h = MemAlloc(head + pixels);
    auto* out = static_cast<std::uint8_t*>(MemLock(h));
    TileView v;
    bool ok = out != nullptr;
    if (ok) {
        std::memcpy(out, info, head);
        std::memcpy(out + head, file + offBits, pixels);
        ok = ParseTile(out, head + pixels, &v);
    }
    MemUnlock(h);
    if (!ok) MemFree(h);
    return ok ? h : 0;
}

bool LockTile(MemHandle h, TileView* view) {
    const auto* bytes = static_cast<const std::uint8_t*>(MemLock(h));
    if (!bytes) return false;
    if (!ParseTile(bytes, MemSize(h), view)) {
        MemUnlock(h);
        return false;
    }
    view->handle = h;
    return true;
}

void UnlockTile(TileView* view) {
    MemUnlock(view->handle);
    *view = TileView{};
}

std::uint32_t TileGetPixel(const TileView& v, int x, int y) {
    if (x < 0 || y < 0 || x >= v.width || y >= v.height) return kNoPixel;
    const std::uint8_t* row = v.bits + std::size_t(v.topDown ? y : v.height - 1 - y) * v.stride;
    const std::uint8_t* p;
    switch (v.bitCount) {
        case 24:
        case 32:
            p = row + std::size_t(x) * std::size_t(v.bitCount / 8);
            return std::uint32_t(p[2]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[0]) << 16;
        default: {
            // Pixels fill each byte from its high bits down.
            const int per = 8 / v.bitCount;
            const int shift = (per - 1 - x % per) * v.bitCount;
            const int index = (row[x / per] >> shift) & ((1 << v.bitCount) - 1);
            if (index >= v.paletteCount) return 0;
            p = v.palette + index * 4;
            return std::uint32_t(p[2]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[0]) << 16;
        }
    }
}

}  // namespace tsn
