#include "colour/colour_database.h"

#include <cstdio>
#include <cstring>

namespace tsn {

namespace {

// The runtime library's atoi, saturating where it would overflow (both
// runtimes then give a value whose low byte is 255 or 0 respectively).
int LeadingNumber(const char* s) {
    while (*s == ' ' || (*s >= '\t' && *s <= '\r')) ++s;
    bool negative = false;
    if (*s == '+' || *s == '-') negative = *s++ == '-';
    long long v = 0;
    for (; *s >= '0' && *s <= '9'; ++s)
        if (v <= 2147483648LL) v = v * 10 + (*s - '0');
    if (negative) v = -v;
    if (v > 2147483647LL) v = 2147483647LL;
    if (v < -2147483648LL) v = -2147483648LL;
    return int(v);
}

// Reads lines of at most 259 characters (a longer line arrives in pieces)
// without their line ends, handing each to `each` until it returns false.
template <class Each>
bool ForEachLine(const char* path, Each each) {
    std::FILE* f = std::fopen(path, "r");
    if (!f) return false;
    char line[kMaxPath];
    while (std::fgets(line, sizeof line, f)) {
        line[std::strcspn(line, "\n")] = 0;
        line[std::strcspn(line, "\r")] = 0;
        if (!each(line)) break;
    }
    std::fclose(f);
    return true;
}

bool FileExists(const char* path) {
    std::FILE* f = std::fopen(path, "rb");
    if (f) std::fclose(f);
    return f != nullptr;
}

}  // namespace

bool GlobalColourDatabasePath(char out[kMaxPath + 1]) {
    if (!AppDataFolder(out)) {
        out[0] = 0;
        return false;
    }
    PathAppend(out, "Vantorel", true);
    PathAppend(out, "colors.ccl", false);
    return true;
}

bool LocalColourDatabasePath(const char* fileName, char out[kMaxPath + 1]) {
    if (!AppDataFolder(out)) {
        out[0] = 0;
        return false;
    }
    PathAppend(out, "Vantorel", true);
    PathAppend(out, "Tessarine 16", true);
    PathAppend(out, fileName, false);
    return true;
}

bool GlobalColourDatabaseExists() {
    char path[kMaxPath + 1];
    return GlobalColourDatabasePath(path) && FileExists(path);
}

bool ColourDatabasePath(const char* localFileName, char out[kMaxPath + 1]) {
    if (GlobalColourDatabaseExists()) return GlobalColourDatabasePath(out);
    return LocalColourDatabasePath(localFileName, out);
}

bool ParseColourLine(const char* line, NamedColour* out) {
    const char* eq = std::strchr(line, '=');
    if (!eq || eq == line) return false;
    const char* p = eq + 1;
    // Exactly these: space, '=' and backspace. A tab is left to the number
    // reader, which skips white space of its own.
    while (*p == ' ' || *p == '=' || *p == '\b') ++p;
    int channel[3];
    for (int c = 0; c < 3; ++c) {
        if (c > 0) {
            p = std::strchr(p, ',');
            if (!p) return false;
            while (*p == ',') ++p;
        }
        channel[c] = LeadingNumber(p) & 0xFF;
    }
    const std::size_t n = std::size_t(eq - line);
    std::memcpy(out->name, line, n);
    out->name[n] = 0;
    out->colour = std::uint32_t(channel[0]) | std::uint32_t(channel[1]) << 8 |
                  std::uint32_t(channel[2]) << 16;
    return true;
}

bool LoadColourDatabase(const char* path, MemHandle* entries, int* count) {
    *entries = 0;
    *count = 0;
    // Counted first, so the block is sized by what the file holds.
    int valid = 0;
    NamedColour entry;
    if (!ForEachLine(path, [&](const char* line) {
            valid += ParseColourLine(line, &entry) ? 1 : 0;
            return valid < (1 << 24);
        }))
        return false;
    if (valid == 0) return true;
    MemHandle block = MemAlloc(std::size_t(valid) * sizeof(NamedColour));
    auto* out = static_cast<NamedColour*>(MemLock(block));
    if (!out) {
        MemFree(block);
        return false;
    }
    int n = 0;
    const bool read = ForEachLine(path, [&](const char* line) {
        if (ParseColourLine(line, &out[n])) ++n;
        return n < valid;
    });
    MemUnlock(block);
    if (!read || n == 0) {
        MemFree(block);
        return read;
    }
    *entries = block;
    *count = n;
    return true;
}

bool SaveColourDatabase(const char* path, const NamedColour* entries, int count) {
    return WriteFileBeside(path, "w", [&](std::FILE* out) {
        for (int i = 0; i < count; ++i) {
            const std::uint32_t c = entries[i].colour;
            if (std::fprintf(out, "%s=%d,%d,%d\n", entries[i].name, int(c & 0xFF),
                             int((c >> 8) & 0xFF), int((c >> 16) & 0xFF)) < 0)
                return false;
        }
        return true;
    });
}

bool CopyColourDatabase(const char* from, const char* to) {
    std::FILE* in = std::fopen(from, "rb");
    if (!in) return false;
    const bool ok = WriteFileBeside(to, "wb", [&](std::FILE* out) {
        char piece[4096];
        std::size_t n;
        while ((n = std::fread(piece, 1, sizeof piece, in)) > 0)
            if (std::fwrite(piece, 1, n, out) != n) return false;
        return std::ferror(in) == 0;
    });
    std::fclose(in);
    return ok;
}

const char* ColourNameProblem(const char* name) {
    if (!name[0]) return "A colour needs a name.";
    if (std::strlen(name) > 240) return "A colour's name may be at most 240 characters long.";
    for (const char* c = name; *c; ++c) {
        if (*c == '=') return "A colour's name may not hold \"=\".";
        if (static_cast<unsigned char>(*c) < 32)
            return "A colour's name may not hold control characters.";
    }
    return "";
}

}  // namespace tsn
