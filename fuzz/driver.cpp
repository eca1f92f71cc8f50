// Runs the fuzz entry without libFuzzer: over built-in seeds (a sound
// library, each of its prefixes, and copies with bytes changed by a fixed
// sequence) and over every file of the folders named on the command line.
#include <dirent.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Bytes = std::vector<std::uint8_t>;

void Put32(Bytes& b, std::size_t at, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + i] = std::uint8_t(v >> (8 * i));
}

// A library of a 3 x 2 8-bit tile (with padding) and a foreign record.
Bytes SoundLibrary() {
    Bytes b(1082, 0);
    std::memcpy(b.data(), "VANTMTXf", 8);
    Put32(b, 818, 2);
    Bytes tile(40 + 8 + 8 + 3, 0);
    Put32(tile, 0, 40);
    Put32(tile, 4, 3);
    Put32(tile, 8, 2);
    tile[12] = 1;
    tile[14] = 8;
    Put32(tile, 32, 2);
    for (const Bytes* data : {&tile}) {
        Bytes r(72, 0);
        std::memcpy(r.data(), "MTXi", 4);
        Put32(r, 4, std::uint32_t(data->size()));
        b.insert(b.end(), r.begin(), r.end());
        b.insert(b.end(), data->begin(), data->end());
    }
    Bytes other(72 + 5, 0);
    std::memcpy(other.data(), "ABCD", 4);
    Put32(other, 4, 5);
    b.insert(b.end(), other.begin(), other.end());
    return b;
}

int Run(const Bytes& b) {
    return LLVMFuzzerTestOneInput(b.data(), b.size());
}

}  // namespace

int main(int argc, char** argv) {
    const Bytes sound = SoundLibrary();
    long runs = 0;
    for (std::size_t n = 0; n <= sound.size(); ++n, ++runs)
        Run(Bytes(sound.begin(), sound.begin() + long(n)));
    std::uint32_t state = 12345;
    for (int i = 0; i < 2000; ++i, ++runs) {
        Bytes b = sound;
        for (int k = 0; k < 4; ++k) {
            state = state * 214013u + 2531011u;
            // Mostly the record headers and the bitmap header, sometimes anywhere.
            const std::size_t at = (state >> 8) % 8 ? 1082 + (state >> 12) % (b.size() - 1082)
                                                    : (state >> 12) % b.size();
            b[at] = std::uint8_t(state >> 24);
        }
        Run(b);
    }
    for (int a = 1; a < argc; ++a) {
        DIR* d = opendir(argv[a]);
        if (!d) {
            std::fprintf(stderr, "cannot read %s\n", argv[a]);
            return 1;
        }
        while (const dirent* e = readdir(d)) {
            const std::string path = std::string(argv[a]) + "/" + e->d_name;
            std::FILE* f = std::fopen(path.c_str(), "rb");
            if (!f || e->d_name[0] == '.') {
                if (f) std::fclose(f);
                continue;
            }
            Bytes b;
            std::uint8_t buf[65536];
            std::size_t n;
            while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) b.insert(b.end(), buf, buf + n);
            std::fclose(f);
            Run(b);
            ++runs;
        }
        closedir(d);
    }
    std::printf("%ld inputs, no fault\n", runs);
    return 0;
}
