#include "app/config_file.h"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "core/text.h"

namespace tsn {

namespace {

#define INT_ENTRY(key, field) \
    { key, false, offsetof(ConfigValues, field) }
const ConfigEntry kTable[kConfigEntries] = {
    {"ColourTableFile", true, offsetof(ConfigValues, colourTableFile)},
    INT_ENTRY("LiveButtons", liveButtons),
    INT_ENTRY("MatrixIntegralDimensions", matrixIntegralDimensions),
    INT_ENTRY("PipesBronzeBlue", pipesBronzeBlue),
    INT_ENTRY("PipesBronzeGreen", pipesBronzeGreen),
    INT_ENTRY("PipesBronzeIntensity", pipesBronzeIntensity),
    INT_ENTRY("PipesBronzeRed", pipesBronzeRed),
    INT_ENTRY("PipesCopperBlue", pipesCopperBlue),
    INT_ENTRY("PipesCopperBrightness", pipesCopperBrightness),
    INT_ENTRY("PipesCopperContrast", pipesCopperContrast),
    INT_ENTRY("PipesCopperGreen", pipesCopperGreen),
    INT_ENTRY("PipesCopperIntensity", pipesCopperIntensity),
    INT_ENTRY("PipesCopperRed", pipesCopperRed),
    INT_ENTRY("PipesDarkBrightness", pipesDarkBrightness),
    INT_ENTRY("PipesDarkContrast", pipesDarkContrast),
    INT_ENTRY("PipesDarkerBrightness", pipesDarkerBrightness),
    INT_ENTRY("PipesDarkerContrast", pipesDarkerContrast),
    INT_ENTRY("PipesNoirContrast", pipesNoirContrast),
    INT_ENTRY("PipesNoirBrightness", pipesNoirBrightness),
    INT_ENTRY("PipesSpookyContrast", pipesSpookyContrast),
    INT_ENTRY("PipesSpookyBrightness", pipesSpookyBrightness),
    INT_ENTRY("PipesSteampunkBlend", pipesSteampunkBlend),
    INT_ENTRY("PipesSteampunkBrightness", pipesSteampunkBrightness),
    INT_ENTRY("PipesSteampunkContrast", pipesSteampunkContrast),
    INT_ENTRY("PipesSteampunkThreshold", pipesSteampunkThreshold),
    INT_ENTRY("StickyWindowBottom", stickyWindowBottom),
    INT_ENTRY("StickyWindowLeft", stickyWindowLeft),
    INT_ENTRY("StickyWindowRight", stickyWindowRight),
    INT_ENTRY("StickyWindowTop", stickyWindowTop),
    {"MatrixCurrentLibrary", true, offsetof(ConfigValues, matrixCurrentLibrary)},
};
#undef INT_ENTRY

ConfigValues MakeDefaults() {
    ConfigValues c{};
    ResetConfig(&c);
    return c;
}

ConfigValues g_config = MakeDefaults();

char* TextOf(ConfigValues* c, const ConfigEntry& e) {
    return reinterpret_cast<char*>(c) + e.offset;
}
std::uint32_t* IntOf(ConfigValues* c, const ConfigEntry& e) {
    return reinterpret_cast<std::uint32_t*>(reinterpret_cast<char*>(c) + e.offset);
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

}  // namespace

ConfigValues& Config() {
    return g_config;
}
const ConfigEntry* ConfigTable() {
    return kTable;
}

void SetConfigTones(ConfigValues* c, const PipesTones& t) {
    c->pipesDarkContrast = t.darkContrast;
    c->pipesDarkBrightness = t.darkBrightness;
    c->pipesDarkerContrast = t.darkerContrast;
    c->pipesDarkerBrightness = t.darkerBrightness;
    c->pipesNoirContrast = t.noirContrast;
    c->pipesNoirBrightness = t.noirBrightness;
    c->pipesSpookyContrast = t.spookyContrast;
    c->pipesSpookyBrightness = t.spookyBrightness;
    c->pipesBronzeRed = t.bronzeRed;
    c->pipesBronzeGreen = t.bronzeGreen;
    c->pipesBronzeBlue = t.bronzeBlue;
    c->pipesBronzeIntensity = t.bronzeIntensity;
    c->pipesCopperRed = t.copperRed;
    c->pipesCopperGreen = t.copperGreen;
    c->pipesCopperBlue = t.copperBlue;
    c->pipesCopperIntensity = t.copperIntensity;
    c->pipesCopperContrast = t.copperContrast;
    c->pipesCopperBrightness = t.copperBrightness;
    c->pipesSteampunkContrast = t.steampunkContrast;
    c->pipesSteampunkBrightness = t.steampunkBrightness;
    c->pipesSteampunkThreshold = t.steampunkThreshold;
    c->pipesSteampunkBlend = t.steampunkBlend;
}

PipesTones PipesTonesOf(const ConfigValues& c) {
    PipesTones t;
    t.darkContrast = c.pipesDarkContrast;
    t.darkBrightness = c.pipesDarkBrightness;
    t.darkerContrast = c.pipesDarkerContrast;
    t.darkerBrightness = c.pipesDarkerBrightness;
    t.noirContrast = c.pipesNoirContrast;
    t.noirBrightness = c.pipesNoirBrightness;
    t.spookyContrast = c.pipesSpookyContrast;
    t.spookyBrightness = c.pipesSpookyBrightness;
    t.bronzeRed = c.pipesBronzeRed;
    t.bronzeGreen = c.pipesBronzeGreen;
    t.bronzeBlue = c.pipesBronzeBlue;
    t.bronzeIntensity = c.pipesBronzeIntensity;
    t.copperRed = c.pipesCopperRed;
    t.copperGreen = c.pipesCopperGreen;
    t.copperBlue = c.pipesCopperBlue;
    t.copperIntensity = c.pipesCopperIntensity;
    t.copperContrast = c.pipesCopperContrast;
    t.copperBrightness = c.pipesCopperBrightness;
    t.steampunkContrast = c.pipesSteampunkContrast;
    t.steampunkBrightness = c.pipesSteampunkBrightness;
    t.steampunkThreshold = c.pipesSteampunkThreshold;
    t.steampunkBlend = c.pipesSteampunkBlend;
    return t;
}

void ResetConfig(ConfigValues* c) {
    std::memset(c, 0, sizeof *c);
    std::snprintf(c->colourTableFile, sizeof c->colourTableFile, "%s", "TSNTXTR.CCL");
    c->liveButtons = 1;
    c->matrixIntegralDimensions = 0;
    SetConfigTones(c, PipesTones{});
    c->stickyWindowBottom = c->stickyWindowLeft = kNoWindowPosition;
    c->stickyWindowRight = c->stickyWindowTop = kNoWindowPosition;
    std::snprintf(c->matrixCurrentLibrary, sizeof c->matrixCurrentLibrary, "%s", "Tessarine.mtx");
}

bool ConfigFilePath(char out[kMaxPath + 1]) {
    if (!AppDataFolder(out)) return false;
    PathAppend(out, "Vantorel", true);
    PathAppend(out, "TSNTXTR.INI", false);
    return true;
}

std::string FolderNameProblem(const char* name) {
    if (!name[0]) return "it is empty";
    if (std::strpbrk(name, "/\\")) return "it holds a folder separator";
    if (std::strchr(name, ':')) return "it names a drive";
    if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) return "it names a folder";
    return {};
}

namespace {
// A text entry's value from the file, or its default when it is no name
// inside its folder.
void SetFileName(ConfigValues* c, const ConfigEntry& e, const char* value, std::string* refused) {
    char* field = TextOf(c, e);
    std::snprintf(field, kMaxPath + 1, "%.260s", value);
    const std::string problem = FolderNameProblem(field);
    if (problem.empty()) return;
    ConfigValues defaults = MakeDefaults();
    std::snprintf(field, kMaxPath + 1, "%s", TextOf(&defaults, e));
    if (refused)
        *refused += std::string(e.key) + " = " + value + " is refused (" + problem +
                    "; it must be a file name inside its folder); using " + field + "\n";
}
}  // namespace

bool ReadConfigFile(ConfigValues* c, const char* path, std::string* refused) {
    std::FILE* f = std::fopen(path, "r");
    if (!f) return false;
    char line[kMaxPath + 1];
    while (std::fgets(line, sizeof line, f)) {
        if (line[0] == ';') continue;
        for (char* p = line; *p; ++p)
            if (static_cast<unsigned char>(*p) < 32) {
                *p = 0;
                break;
            }
        int keyLen = 0;
        while (line[keyLen] && !IsBlank(line[keyLen]) && line[keyLen] != '=') ++keyLen;
        // An empty key would match the first entry by its empty prefix; a
        // blank line must not wipe a setting.
        if (keyLen == 0) continue;
        const ConfigEntry* entry = nullptr;
        for (const ConfigEntry& e : kTable)
            if (StartsWithNoCase(e.key, line, keyLen)) {
                entry = &e;
                break;
            }
        if (!entry) continue;
        const char* v = line + keyLen;
        while (IsBlank(*v)) ++v;
        while (*v == '=') ++v;
        while (IsBlank(*v)) ++v;
        if (entry->isText) {
            SetFileName(c, *entry, v, refused);
        } else {
            std::uint64_t n = 0;
            for (; *v >= '0' && *v <= '9'; ++v) {
                n = n * 10 + std::uint64_t(*v - '0');
                if (n > 0xFFFFFFFFu) n = 0xFFFFFFFFu;
            }
            *IntOf(c, *entry) = std::uint32_t(n);
        }
    }
    std::fclose(f);
    return true;
}

bool WriteConfigFile(const ConfigValues& c, const char* path) {
    // Written beside the file and moved over it, so a failed write never
    // leaves a half file in place of the user's settings.
    return WriteFileBeside(path, "w", [&](std::FILE* f) {
        std::time_t now = std::time(nullptr);
        const char* when = std::ctime(&now);
        std::fprintf(f,
                     ";TSNTXTR configuration file\n;Edit this at your own risk\n;Last updated "
                     "%.24s\n;\n[PlugIn]\n",
                     when ? when : "");
        auto& values = const_cast<ConfigValues&>(c);
        for (const ConfigEntry& e : kTable) {
            if (e.isText)
                std::fprintf(f, "%s = %.260s\n", e.key, TextOf(&values, e));
            else
                std::fprintf(f, "%s = %u\n", e.key, *IntOf(&values, e));
        }
        return true;
    });
}

bool SaveConfigFile(const ConfigValues& c) {
    char path[kMaxPath + 1], folder[kMaxPath + 1];
    if (!ConfigFilePath(path) || !AppDataFolder(folder)) return false;
    PathAppend(folder, "Vantorel", true);
    return MakeFolders(folder) && WriteConfigFile(c, path);
}

}  // namespace tsn
