// Pictures from outside: the first byte picks the reader, by its remainder
// by three. 0: the rest is a PNG file read as Matrix's Add reads one
// (refused past the tile size before anything is allocated). 1: a
// compressed artwork resource, decoded as the Pipes kind does. 2: a 16-bit
// grey height map.
#include <string>

#include "cli/image_io.h"
#include "kinds/matrix/matrix_tiles.h"
#include "kinds/pipes/pipes.h"
#include "synth/compressed_image.h"
#include "tests/fuzz/fuzz_support.h"

using namespace tsn;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const long live = MemLiveBlocks();
    if (data[0] % 3 == 2) {
        fuzz::InputFile file(data + 1, size - 1);
        if (!file.ok()) return 0;
        HeightField heights;
        std::string error;
        if (ReadHeightPng(file.path(), &heights, &error) &&
            heights.level.size() != std::size_t(heights.width) * std::size_t(heights.depth))
            std::abort();  // a height map read must be whole
    } else if (data[0] % 3 == 0) {
        fuzz::InputFile file(data + 1, size - 1);
        if (!file.ok()) return 0;
        RgbImage image;
        std::string error;
        if (ReadPngFile(file.path(), &image, &error, kMaxTileSide) &&
            image.rgb.size() != std::size_t(image.width) * image.height * 3)
            std::abort();  // a picture read must be whole
    } else {
        MemFree(DecodeCompressedBytes(data + 1, size - 1));
    }
    fuzz::ExpectNoLeak(live, "image");
    return 0;
}
