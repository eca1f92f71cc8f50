// Writes the plug-in's help pages into a folder that is installed beside
// the plug-in: one page per kind, an index and the page on colours.
#include <cstdio>
#include <string>

#include "app/help_page.h"
#include "kind/descriptor.h"

namespace {
bool Write(const std::string& path, const std::string& text) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    bool ok = f && std::fwrite(text.data(), 1, text.size(), f) == text.size();
    if (f && std::fclose(f) != 0) ok = false;
    if (!ok) std::perror(path.c_str());
    return ok;
}
}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_help_pages FOLDER\n");
        return 2;
    }
    const std::string folder = std::string(argv[1]) + "/";
    bool ok = Write(folder + "index.html", tsn::HelpIndexPage()) &&
              Write(folder + "colors.html", tsn::ColoursHelpPage());
    for (int k = 0; ok && k < tsn::kKindCount; ++k)
        ok = Write(folder + tsn::KindHelpFileName(k), tsn::KindHelpPage(k));
    return ok ? 0 : 1;
}
