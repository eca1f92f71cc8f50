// Runs a fuzz target over files and folders of inputs, for builds without
// libFuzzer: the seed corpora and the saved regressions become plain tests.
// An input named *.hex holds its bytes as hexadecimal text, so regressions
// can be kept as text; "#" starts a comment that runs to the line's end.
#include <dirent.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/fuzz/fuzz_support.h"

namespace {

std::vector<std::uint8_t> FromHex(const std::string& text) {
    std::vector<std::uint8_t> out;
    int high = -1;
    bool comment = false;
    for (char c : text) {
        if (c == '#' || c == '\n') comment = c == '#';
        if (comment) continue;
        int v = c >= '0' && c <= '9'   ? c - '0'
                : c >= 'a' && c <= 'f' ? c - 'a' + 10
                : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                       : -1;
        if (v < 0) continue;
        if (high < 0) {
            high = v;
        } else {
            out.push_back(std::uint8_t(high * 16 + v));
            high = -1;
        }
    }
    return out;
}

int RunFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<std::uint8_t> data;
    if (path.size() > 4 && path.compare(path.size() - 4, 4, ".hex") == 0)
        data = FromHex(bytes);
    else
        data.assign(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(data.data(), data.size());
    return 1;
}

int Run(const std::string& path) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) {
        std::fprintf(stderr, "no such input: %s\n", path.c_str());
        return -1;
    }
    if (!S_ISDIR(st.st_mode)) return RunFile(path);
    int n = 0;
    if (DIR* d = opendir(path.c_str())) {
        while (dirent* e = readdir(d)) {
            if (e->d_name[0] == '.') continue;
            const int got = Run(path + "/" + e->d_name);
            if (got < 0) n = -1000000;
            n += got;
        }
        closedir(d);
    }
    return n;
}

}  // namespace

int main(int argc, char** argv) {
    int n = 0;
    for (int i = 1; i < argc; ++i) {
        const int got = Run(argv[i]);
        if (got < 0) return 1;
        n += got;
    }
    std::printf("%d inputs ran\n", n);
    return n > 0 ? 0 : 1;
}
