#include "synth/compressed_image.h"

#include <zlib.h>

#include <cstring>

#include "core/packed.h"

namespace tsn {

namespace {

// The header: "CPX_HEAD", unpacked size, packed size, method, 32 reserved
// bytes.
constexpr std::size_t kCpxHeader = 52;

}  // namespace

bool InflateStream(std::uint8_t* dst, std::size_t capacity, const std::uint8_t* src,
                   std::uint32_t* length) {
    z_stream zs{};
    if (inflateInit(&zs) != Z_OK) return false;
    const std::uint32_t packed = *length;
    std::size_t written = 0;
    bool ok = true;
    std::uint32_t consumed = 0;
    while (packed != 0) {
        std::uint8_t window[8192];
        zs.next_in = const_cast<Bytef*>(src + consumed);
        zs.avail_in = packed - consumed;
        zs.next_out = window;
        zs.avail_out = sizeof window;
        const int status = inflate(&zs, Z_PARTIAL_FLUSH);
        const std::size_t produced = sizeof window - zs.avail_out;
        if (produced > capacity - written) {
            ok = false;  // more than the image the header announced
            break;
        }
        std::memcpy(dst + written, window, produced);
        written += produced;
        consumed = packed - zs.avail_in;
        if (status == Z_STREAM_END) break;
        if (status != Z_OK) {
            ok = false;
            break;
        }
        if (consumed == packed) break;
    }
    inflateEnd(&zs);
    if (ok) *length = std::uint32_t(written);
    return ok;
}

MemHandle DecodeCompressedBytes(const std::uint8_t* data, std::size_t size) {
    if (!data || size < kCpxHeader || std::memcmp(data, "CPX_HEAD", 8) != 0) return 0;
    const std::uint32_t unpacked = LoadLittle32(data + 8);
    std::uint32_t packed = LoadLittle32(data + 12);
    if (packed > size - kCpxHeader) return 0;  // cut short
    // No artwork is empty or near 64 MiB. Deflate cannot expand a byte into
    // more than 1032, so a header that claims more than that is damaged;
    // but an empty stream inflates, successfully, to nothing, and leaves the
    // image as allocated: zeroed.
    if (unpacked == 0 || unpacked > (64u << 20)) return 0;
    if (packed != 0 && unpacked > std::uint64_t(packed) * 1032) return 0;
    const MemHandle h = MemAlloc(unpacked);
    auto* dst = static_cast<std::uint8_t*>(MemLock(h));
    if (!dst || !InflateStream(dst, unpacked, data + kCpxHeader, &packed)) {
        if (dst) MemUnlock(h);
        MemFree(h);
        return 0;
    }
    MemUnlock(h);
    return h;
}

MemHandle DecodeCompressedImage(unsigned id) {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
    return FindModuleResource("CPX", id, &data, &size) ? DecodeCompressedBytes(data, size) : 0;
}

}  // namespace tsn
