// The commands over the user's files shared with the plug-in: the fountain
// library and the colour database.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "app/config_file.h"
#include "cli/commands.h"
#include "cli/image_io.h"
#include "colour/colour_database.h"
#include "colour/fountain_library.h"
#include "core/owners.h"

namespace tsn::cli {

namespace {

void Fail(const std::string& message) {
    std::fprintf(stderr, "tsntxtr: %s\n", message.c_str());
}

// The loaded library, freed at scope exit.
struct Library {
    char path[kMaxPath + 1] = {};
    MemHandle block = 0;
    int count = 0;
    FountainDefinition* entries = nullptr;
    bool exists = false;

    // False after reporting why the library cannot be read.
    bool Load() {
        if (!FountainLibraryPath(path)) {
            Fail("no application-data folder is known (set HOME)");
            return false;
        }
        if (std::FILE* f = std::fopen(path, "rb")) {
            std::fclose(f);
            exists = true;
        } else {
            return true;  // no library yet: an empty one
        }
        if (!LoadFountainLibrary(path, &block, &count)) {
            Fail(std::string("'") + path +
                 "' is a damaged fountain library (short, wrongly signed or counting more "
                 "entries than it holds)");
            return false;
        }
        entries = static_cast<FountainDefinition*>(MemLock(block));
        return true;
    }
    ~Library() {
        MemUnlock(block);
        MemFree(block);
    }
};

std::string Hex(std::uint32_t c) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "0x%06X", unsigned(c & 0xFFFFFF));
    return buf;
}

// Entry `n` (from 1) of the library; false after reporting a bad number.
bool CheckEntry(const Library& lib, int n) {
    if (n >= 1 && n <= lib.count) return true;
    Fail("the fountain library has " +
         (lib.count ? "entries 1 .. " + std::to_string(lib.count) : std::string("no entries")) +
         ", not " + std::to_string(n));
    return false;
}

}  // namespace

bool LibraryFountain(int n, FountainDefinition* target) {
    Library lib;
    if (!lib.Load() || !CheckEntry(lib, n)) return false;
    CopyFountainColours(lib.entries[n - 1], target);
    return true;
}

int Fountains(const std::string& action, int n, const std::string& output, int width, int height) {
    Library lib;
    if (!lib.Load()) return lib.path[0] ? 1 : 2;
    if (action == "list") {
        if (!lib.exists)
            std::fprintf(stderr, "tsntxtr: no fountain library at '%s' yet\n", lib.path);
        std::printf("%-4s %-7s %-9s %-9s %s\n", "#", "MARKERS", "START", "END",
                    "MARKERS (POSITION:COLOUR)");
        for (int i = 0; i < lib.count; ++i) {
            const FountainDefinition& f = lib.entries[i];
            std::string markers;
            for (std::uint32_t m = 0; m < f.count; ++m) {
                char buf[24];
                std::snprintf(buf, sizeof buf, "%s%u:%06X", m ? " " : "",
                              unsigned(MarkerPosition(f.markers[m])),
                              unsigned(f.markers[m] & kMarkerColourMask));
                markers += buf;
            }
            std::printf("%-4d %-7u %-9s %-9s %s\n", i + 1, unsigned(f.count), Hex(f.start).c_str(),
                        Hex(f.end).c_str(), markers.c_str());
        }
        return 0;
    }
    if (!CheckEntry(lib, n)) return 2;
    if (action == "show") {
        if (!IsImageExtension(output)) {
            Fail("cannot tell the format of '" + output + "': name it .png or .bmp");
            return 2;
        }
        if (width < 1 || height < 1 || width > 16384 || height > 16384) {
            Fail("the strip's width and height must be 1 .. 16384");
            return 2;
        }
        const MemHandle strip = RenderFountain(lib.entries[n - 1], width, height);
        std::string error;
        const bool ok = strip && WriteImageFile(strip, output, &error);
        MemFree(strip);
        if (!ok) Fail(strip ? error : "out of memory");
        return ok ? 0 : 1;
    }
    // delete
    for (int i = n; i < lib.count; ++i) lib.entries[i - 1] = lib.entries[i];
    if (!WriteFountainLibrary(lib.path, lib.entries, lib.count - 1)) {
        Fail(std::string("cannot rewrite '") + lib.path + "'");
        return 1;
    }
    return 0;
}

namespace {

// Appends a named colour; the exit code.
int AddColour(const NamedColour* entries, int count, const char* path, const std::string& name,
              const std::string& value) {
    char* end = nullptr;
    errno = 0;
    const unsigned long colour = std::strtoul(value.c_str(), &end, 0);
    const char* problem = ColourNameProblem(name.c_str());
    if (problem[0]) {
        Fail(problem);
        return 2;
    }
    if (value.empty() || *end || errno || colour > 0xFFFFFF || value[0] == '-') {
        Fail("'" + value + "' is no colour: give 0xBBGGRR (blue, green, red), 0 .. 0xFFFFFF");
        return 2;
    }
    for (int i = 0; i < count; ++i)
        if (entries[i].colour == colour)
            std::fprintf(stderr, "tsntxtr: note: this colour is already in the database as %s\n",
                         entries[i].name);
    const OwnedBlock grown(MemAlloc(std::size_t(count + 1) * sizeof(NamedColour)));
    const LockedBlock<NamedColour> g(grown.get());
    char folder[kMaxPath + 1];
    std::snprintf(folder, sizeof folder, "%s", path);
    if (char* slash = std::strrchr(folder, PathSeparator())) slash[1] = 0;
    if (g) {
        if (count) std::memcpy(g.get(), entries, std::size_t(count) * sizeof(NamedColour));
        std::snprintf(g.get()[count].name, sizeof g.get()[count].name, "%s", name.c_str());
        g.get()[count].colour = std::uint32_t(colour);
    }
    if (!g || !MakeFolders(folder) || !SaveColourDatabase(path, g.get(), count + 1)) {
        Fail(std::string("cannot write '") + path + "'");
        return 1;
    }
    return 0;
}

// Deletes every colour of that name; the exit code.
int DeleteColours(NamedColour* entries, int count, const char* path, const std::string& name) {
    int kept = 0;
    for (int i = 0; i < count; ++i)
        if (name != entries[i].name) entries[kept++] = entries[i];
    if (kept == count) {
        Fail("the colour database has no colour named '" + name + "'");
        return 2;
    }
    if (!SaveColourDatabase(path, entries, kept)) {
        Fail(std::string("cannot write '") + path + "'");
        return 1;
    }
    return 0;
}

}  // namespace

int Colours(const std::string& action, const std::string& name, const std::string& value) {
    char ini[kMaxPath + 1], path[kMaxPath + 1];
    if (ConfigFilePath(ini)) ReadConfigFile(&Config(), ini);
    if (!ColourDatabasePath(Config().colourTableFile, path)) {
        Fail("no application-data folder is known (set HOME)");
        return 2;
    }
    MemHandle loaded = 0;
    int count = 0;
    std::FILE* probe = std::fopen(path, "r");
    if (probe) std::fclose(probe);
    if (probe && !LoadColourDatabase(path, &loaded, &count)) {
        Fail(std::string("cannot read '") + path + "'");
        return 1;
    }
    const OwnedBlock block(loaded);
    const LockedBlock<NamedColour> entries(block.get());
    if (action == "add") return AddColour(entries.get(), count, path, name, value);
    if (action == "delete") return DeleteColours(entries.get(), count, path, name);
    if (!probe) std::fprintf(stderr, "tsntxtr: no colour database at '%s' yet\n", path);
    for (int i = 0; i < count; ++i)
        std::printf("%s  %s\n", Hex(entries.get()[i].colour).c_str(), entries.get()[i].name);
    return 0;
}

}  // namespace tsn::cli
