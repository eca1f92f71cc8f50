// The library's small settings file "TSNTXTR.INI": colour database file,
// matrix library, the Pipes kind's tone presets and the dialog's last place.
#pragma once

#include <cstdint>
#include <string>

#include "core/platform.h"
#include "kinds/pipes/pipes.h"

namespace tsn {

struct ConfigValues {
    char colourTableFile[kMaxPath + 1];
    std::uint32_t liveButtons;
    std::uint32_t matrixIntegralDimensions;
    std::uint32_t pipesBronzeBlue, pipesBronzeGreen, pipesBronzeIntensity, pipesBronzeRed;
    std::uint32_t pipesCopperBlue, pipesCopperBrightness, pipesCopperContrast, pipesCopperGreen,
        pipesCopperIntensity, pipesCopperRed;
    std::uint32_t pipesDarkBrightness, pipesDarkContrast;
    std::uint32_t pipesDarkerBrightness, pipesDarkerContrast;
    std::uint32_t pipesNoirContrast, pipesNoirBrightness;
    std::uint32_t pipesSpookyContrast, pipesSpookyBrightness;
    std::uint32_t pipesSteampunkBlend, pipesSteampunkBrightness, pipesSteampunkContrast,
        pipesSteampunkThreshold;
    std::uint32_t stickyWindowBottom, stickyWindowLeft, stickyWindowRight, stickyWindowTop;
    char matrixCurrentLibrary[kMaxPath + 1];
};

// The Pipes effects' tone settings, to and from the kind's own record of
// them (whose defaults are the configuration's).
void SetConfigTones(ConfigValues* c, const PipesTones& tones);
PipesTones PipesTonesOf(const ConfigValues& c);

// "No position stored" in the sticky-window entries.
constexpr std::uint32_t kNoWindowPosition = 0x7FFFFFFFu;

// The library-wide settings.
ConfigValues& Config();
// Puts the built-in defaults back.
void ResetConfig(ConfigValues* c);

struct ConfigEntry {
    const char* key;
    bool isText;
    std::size_t offset;  // in ConfigValues
};
constexpr int kConfigEntries = 30;
const ConfigEntry* ConfigTable();

// Full path of the file; false when no application-data folder is known.
bool ConfigFilePath(char out[kMaxPath + 1]);

// Reads `path` into `c`; a missing file changes nothing. Returns whether the
// file could be opened. The file names it keeps (colour database, matrix
// library) are names inside their folders: one that is a path instead (a
// folder separator, a drive or "..") is refused and the default kept, and
// `refused`, when given, collects a line saying so for each.
bool ReadConfigFile(ConfigValues* c, const char* path, std::string* refused = nullptr);

// Empty when `name` names a file inside its folder; otherwise why not.
std::string FolderNameProblem(const char* name);
// Writes the whole file; failures are silent (false).
bool WriteConfigFile(const ConfigValues& c, const char* path);
// Writes the whole file at its place (ConfigFilePath), creating its folder
// first when a new user has none yet. False when either fails.
bool SaveConfigFile(const ConfigValues& c);

}  // namespace tsn
