// Converts 24-bit BMP files (as the stand-in host writes its screenshots) to
// PNG, for the test run's artifacts.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "cli/image_io.h"
#include "core/image.h"

int main(int argc, char** argv) {
    using namespace tsn;
    if (argc != 3) {
        std::fprintf(stderr, "usage: bmp2png IN.bmp OUT.png\n");
        return 2;
    }
    std::FILE* f = std::fopen(argv[1], "rb");
    if (!f) {
        std::perror(argv[1]);
        return 1;
    }
    std::vector<unsigned char> file;
    unsigned char buf[65536];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, f)) > 0;)
        file.insert(file.end(), buf, buf + n);
    std::fclose(f);
    BitmapInfoHeader h;
    std::uint32_t offset = 0;
    if (file.size() < 54 || file[0] != 'B' || file[1] != 'M') {
        std::fprintf(stderr, "bmp2png: %s is no BMP file\n", argv[1]);
        return 1;
    }
    std::memcpy(&offset, file.data() + 10, 4);
    std::memcpy(&h, file.data() + 14, sizeof h);
    const bool bottomUp = h.height > 0;
    const int width = h.width, depth = bottomUp ? h.height : -h.height;
    if (h.bitCount != 24 || width < 1 || depth < 1 ||
        file.size() < offset + ImageStride(width) * std::size_t(depth)) {
        std::fprintf(stderr, "bmp2png: %s is not a 24-bit picture this tool reads\n", argv[1]);
        return 1;
    }
    const MemHandle img = NewImage(width, depth);
    ImageView v;
    if (!LockImage(img, &v)) return 1;
    for (int y = 0; y < depth; ++y) {
        const int stored = bottomUp ? y : depth - 1 - y;
        std::memcpy(v.bits + std::size_t(y) * v.stride,
                    file.data() + offset + std::size_t(stored) * v.stride, v.stride);
    }
    UnlockImage(&v);
    std::string error;
    const bool ok = WriteImageFile(img, argv[2], &error);
    MemFree(img);
    if (!ok) std::fprintf(stderr, "bmp2png: %s\n", error.c_str());
    return ok ? 0 : 1;
}
