// Named presets. A preset is one kind's parameter block, in the layout its
// conversion query writes out, as a file of its own named "NAME.KEY" in the
// texture folder; a kind's library is the set of such files. The dialog's
// preset buttons and the command line both work through these functions.
#pragma once

#include <string>
#include <vector>

#include "core/platform.h"
#include "kind/master_record.h"

namespace tsn {

// Reads a preset file into kind `kind`'s block through the kind's older
// layout conversion. False, with the block unchanged, for a file of another
// length or signature.
bool LoadPresetFile(MasterTextureRecord* rec, int kind, const char* path);
// Writes kind `kind`'s block as a preset file (in its older layout). The
// file is written beside `path` and renamed over it, so a failed write
// leaves an earlier file of that name as it was.
bool SavePresetFile(MasterTextureRecord* rec, int kind, const char* path);

// The names of kind `kind`'s presets: files in the texture folder whose
// extension is the kind's key (without regard to case) and whose name does
// not begin with ".", sorted without regard to case.
std::vector<std::string> ListPresets(int kind);
// The file of preset `name` of kind `kind`: the file already there whose
// name matches without regard to case, or else the name as given; false
// when the folder is unknown or the path would be too long.
bool PresetPath(int kind, const std::string& name, char out[kMaxPath + 1]);
// Empty when `name` can name a preset file; otherwise why not.
std::string PresetNameProblem(const std::string& name);
// Empty when `name` can name a new preset of kind `kind`: a possible file
// name, not yet in the kind's library (compared without case), and short
// enough for its path; otherwise why not.
std::string NewPresetProblem(int kind, const std::string& name);

constexpr const char* kPresetExistsMessage =
    "The name you have selected already exists in this library.";

bool SavePreset(MasterTextureRecord* rec, int kind, const std::string& name);
bool LoadPreset(MasterTextureRecord* rec, int kind, const std::string& name);
bool DeletePreset(int kind, const std::string& name);

}  // namespace tsn
