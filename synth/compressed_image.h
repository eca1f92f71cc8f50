// The compressed images the module carries (resources of type "CPX"): a
// 52-byte header, then a zlib stream of a packed 32-bit bitmap.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/platform.h"

namespace tsn {

// Decodes compressed image resource `id` of the module (type "CPX") into a
// new packed 32-bit bitmap; 0 when the resource is missing or damaged.
MemHandle DecodeCompressedImage(unsigned id);
// The same from a resource's bytes (a 52-byte header: "CPX_HEAD", unpacked
// size, packed size, method, reserved; then the zlib stream).
MemHandle DecodeCompressedBytes(const std::uint8_t* data, std::size_t size);
// Inflates a zlib stream of *length bytes into dst (capacity bytes) through
// a fixed 8192-byte window; on success *length is the number written.
bool InflateStream(std::uint8_t* dst, std::size_t capacity, const std::uint8_t* src,
                   std::uint32_t* length);

}  // namespace tsn
