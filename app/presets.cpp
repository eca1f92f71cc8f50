#include "app/presets.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "app/kind_list.h"
#include "core/owners.h"
#include "core/text.h"

namespace tsn {

namespace {

// Runs a conversion query with the transfer fields set, then clears them:
// they hold addresses that mean nothing after the call.
bool Transfer(MasterTextureRecord* rec, int kind, int code, void* from, std::uint32_t fromSize,
              void* to, std::uint32_t toSize) {
    rec->transferSource = reinterpret_cast<std::uintptr_t>(from);
    rec->transferTarget = reinterpret_cast<std::uintptr_t>(to);
    rec->transferSourceSize = fromSize;
    rec->transferTargetSize = toSize;
    const bool ok = KindAt(kind).query(rec, code) == 1;
    rec->transferSource = rec->transferTarget = 0;
    rec->transferSourceSize = rec->transferTargetSize = 0;
    return ok;
}

// A zeroed conversion buffer of the older layout's size and a little more,
// from the platform's memory so allocation failures can be tested.
struct Buffer {
    OwnedBlock block;
    LockedBlock<std::uint8_t> locked;
    explicit Buffer(std::int64_t size)
        : block(MemAlloc(std::size_t(size) + 16)), locked(block.get()) {}
};

}  // namespace

bool LoadPresetFile(MasterTextureRecord* rec, int kind, const char* path) {
    const std::int64_t size = KindAt(kind).query(rec, kQueryBlockSize);
    const std::int64_t oldSize = KindAt(kind).query(rec, kQueryOldBlockSize);
    if (size < 1 || oldSize < 1) return false;
    Buffer b(oldSize);
    std::uint8_t* buffer = b.locked.get();
    if (!buffer) return false;
    bool ok = false;
    if (std::FILE* f = std::fopen(path, "rb")) {
        const std::size_t got = std::fread(buffer, 1, std::size_t(oldSize), f);
        std::fclose(f);
        const KindDescriptor& k = KindOf(kind);
        ok = got == std::size_t(oldSize) && HasSignature(buffer, k.signature) &&
             Transfer(rec, kind, kQueryConvertIn, buffer, std::uint32_t(oldSize),
                      BlockAt(rec, k.blockOffset), std::uint32_t(size));
    }
    if (ok) ForgetUntrustedFountainNames(rec, kind);
    return ok;
}

bool SavePresetFile(MasterTextureRecord* rec, int kind, const char* path) {
    const std::int64_t size = KindAt(kind).query(rec, kQueryBlockSize);
    const std::int64_t oldSize = KindAt(kind).query(rec, kQueryOldBlockSize);
    if (size < 1 || oldSize < 1) return false;
    Buffer b(oldSize);
    std::uint8_t* buffer = b.locked.get();
    if (!buffer) return false;
    bool ok = Transfer(rec, kind, kQueryConvertOut, BlockAt(rec, KindOf(kind).blockOffset),
                       std::uint32_t(size), buffer, std::uint32_t(oldSize));
    return ok && WriteFileBeside(path, "wb", [&](std::FILE* f) {
               return std::fwrite(buffer, 1, std::size_t(oldSize), f) == std::size_t(oldSize);
           });
}

bool PresetPath(int kind, const std::string& name, char out[kMaxPath + 1]) {
    char folder[kMaxPath + 1];
    if (!TextureFolder(folder)) return false;
    std::string file = name + "." + KindOf(kind).key, found;
    if (FindFileNoCase(folder, file.c_str(), &found)) file = found;
    const int n = std::snprintf(out, kMaxPath + 1, "%s%s", folder, file.c_str());
    return n > 0 && n <= kMaxPath;
}

std::string NewPresetProblem(int kind, const std::string& name) {
    std::string problem = PresetNameProblem(name);
    if (!problem.empty()) return problem;
    for (const std::string& listed : ListPresets(kind))
        if (EqualNoCase(listed.c_str(), name.c_str())) return kPresetExistsMessage;
    char folder[kMaxPath + 1];
    if (!TextureFolder(folder)) return "No folder for presets is known.";
    const std::size_t length =
        std::strlen(folder) + name.size() + 1 + std::strlen(KindOf(kind).key);
    if (length <= std::size_t(kMaxPath)) return {};
    const std::size_t excess = length - std::size_t(kMaxPath);
    const std::string needs = "The name is too long: its preset file in " + std::string(folder) +
                              " would need a path of " + std::to_string(length) +
                              " characters, and a path holds at most " + std::to_string(kMaxPath) +
                              ".";
    if (excess >= name.size()) return needs + " The preset folder itself is too deep.";
    return needs + " Choose a name of at most " + std::to_string(name.size() - excess) +
           " characters.";
}

std::string PresetNameProblem(const std::string& name) {
    if (name.empty()) return "A preset needs a name.";
    if (name[0] == '.' || name.back() == '.' || name.back() == ' ')
        return "A preset name may not begin with a dot or end with a dot or a space.";
    for (char c : name)
        if (std::strchr("\\/:*?\"<>|", c) || static_cast<unsigned char>(c) < 32)
            return "A preset name may not hold any of \\ / : * ? \" < > |.";
    // Room for the folder, the dot and the longest key.
    if (name.size() > 200) return "A preset name may be at most 200 characters long.";
    return {};
}

std::vector<std::string> ListPresets(int kind) {
    struct Context {
        const char* key;
        std::vector<std::string> names;
    } context{KindOf(kind).key, {}};
    char folder[kMaxPath + 1];
    if (!TextureFolder(folder)) return {};
    ForEachFile(
        folder,
        [](const char* file, void* p) {
            auto* c = static_cast<Context*>(p);
            const char* dot = std::strrchr(file, '.');
            if (file[0] == '.' || !dot || !EqualNoCase(dot + 1, c->key)) return;
            c->names.emplace_back(file, dot);
        },
        &context);
    std::sort(context.names.begin(), context.names.end(),
              [](const std::string& a, const std::string& b) { return LessNoCase(a, b); });
    return context.names;
}

bool SavePreset(MasterTextureRecord* rec, int kind, const std::string& name) {
    char folder[kMaxPath + 1], path[kMaxPath + 1];
    return PresetNameProblem(name).empty() && TextureFolder(folder) && MakeFolders(folder) &&
           PresetPath(kind, name, path) && SavePresetFile(rec, kind, path);
}

bool LoadPreset(MasterTextureRecord* rec, int kind, const std::string& name) {
    char path[kMaxPath + 1];
    return PresetPath(kind, name, path) && LoadPresetFile(rec, kind, path);
}

bool DeletePreset(int kind, const std::string& name) {
    char path[kMaxPath + 1];
    return PresetPath(kind, name, path) && DeleteFileAt(path);
}

}  // namespace tsn
