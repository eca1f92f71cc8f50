// The colour database: the user's named colours, kept as text lines
// "NAME=R,G,B". A global file shared by all of the maker's programs is used
// when it exists, otherwise the plug-in's own local file. The colour dialog
// and the command line both read and write it through these functions.
#pragma once

#include <cstdint>

#include "core/platform.h"

namespace tsn {

struct NamedColour {
    char name[kMaxPath];   // at most 259 characters
    std::uint32_t colour;  // 0x00BBGGRR
};

// "<application data>Vantorel\colors.ccl"; false (and empty) without a
// folder.
bool GlobalColourDatabasePath(char out[kMaxPath + 1]);
// "<application data>Vantorel\Tessarine 16\<fileName>".
bool LocalColourDatabasePath(const char* fileName, char out[kMaxPath + 1]);
// The database in force: the global one when its file exists, else the
// local one named `localFileName`.
bool ColourDatabasePath(const char* localFileName, char out[kMaxPath + 1]);
bool GlobalColourDatabaseExists();

// One line of the file (without its line end) as an entry; false for a line
// that holds none (no "=", empty name, fewer than two commas after it).
bool ParseColourLine(const char* line, NamedColour* out);

// Every valid line in file order into a new block of `*count` entries
// (*entries = 0 when there are none). False for a file that cannot be
// opened or exhausted memory, with nothing allocated.
bool LoadColourDatabase(const char* path, MemHandle* entries, int* count);

// Writes the entries as "%s=%d,%d,%d" lines beside `path` and renames the
// file over it, so a failed write leaves the database as it was.
bool SaveColourDatabase(const char* path, const NamedColour* entries, int count);

// Copies the file at `from` over `to` (written beside it, then renamed).
bool CopyColourDatabase(const char* from, const char* to);

// Empty when `name` can be stored as a colour's name; otherwise why not.
const char* ColourNameProblem(const char* name);

}  // namespace tsn
