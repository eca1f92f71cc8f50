// Lays copies of a picture edge to edge, to show whether it tiles.
//
// usage: tile_preview IN.png OUT.png [N]   (N x N copies, 2 by default)
#include <cstdio>
#include <cstdlib>
#include <string>

#include "cli/image_io.h"
#include "core/image.h"
#include "core/owners.h"

int main(int argc, char** argv) {
    using namespace tsn;
    const int n = argc == 4 ? std::atoi(argv[3]) : 2;
    if ((argc != 3 && argc != 4) || n < 1 || n > 16) {
        std::fprintf(stderr, "usage: tile_preview IN.png OUT.png [N]\n");
        return 2;
    }
    RgbImage in;
    std::string error;
    if (!ReadPngFile(argv[1], &in, &error, 4096)) {
        std::fprintf(stderr, "tile_preview: %s: %s\n", argv[1], error.c_str());
        return 1;
    }
    const OwnedBlock out(NewImage(in.width * n, in.height * n));
    const LockedImage v(out.get());
    if (!v) {
        std::fprintf(stderr, "tile_preview: out of memory\n");
        return 1;
    }
    for (int y = 0; y < v->depth; ++y)
        for (int x = 0; x < v->width; ++x) {
            const unsigned char* p =
                &in.rgb[(std::size_t(y % in.height) * in.width + std::size_t(x % in.width)) * 3];
            SetPixel(v.view(), x, y,
                     std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16);
        }
    if (!WriteImageFile(out.get(), argv[2], &error)) {
        std::fprintf(stderr, "tile_preview: %s\n", error.c_str());
        return 1;
    }
    return 0;
}
