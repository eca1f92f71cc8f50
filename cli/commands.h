// The sub-commands of `tsntxtr`, separate from argument parsing so they can
// be read (and tested) as plain functions. Each returns the process exit
// code: 0 done, 1 failed, 2 the request itself was wrong.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/platform.h"

namespace tsn {
struct FountainDefinition;
}

namespace tsn::cli {

struct RenderRequest {
    std::string kind;  // key or display name; may be empty with --from
    std::string from;  // settings or preset file
    int width = -1, depth = -1;
    bool hasSeed = false;
    long long seed = 0;
    std::vector<std::string> sets;  // FIELD=VALUE
    std::string output;             // "-": standard output
    std::string format;             // png or bmp; for standard output (png when not given)
    int pngLevel = 1;               // zlib level of a PNG output: 0 .. 9 (1: fast, as the default)
    std::string saveSettings;
    std::string preset;       // start from this named preset of the kind
    std::string savePreset;   // render only: also store the parameters used under this name
    int generation = 0;       // mutations only
    int libraryFountain = 0;  // render only: colour with this library entry (from 1)
    // render only: the maps beyond the plug-in's pages
    bool tileable = false;
    std::string height;  // 16-bit height map: .png, .r16 or .raw
    std::string normal;  // tangent-space normal map: .png or .bmp
    std::string normalY = "up";
    double normalStrength = 8.0;
};

int ListKinds(bool markdown);
// With `html`, the kind's help page (the one the plug-in's Help opens),
// written to `output` or, when that is empty, to standard output.
int DescribeKind(const std::string& kind, bool html = false, const std::string& output = "");
// `prepared`, when given, hears the picture's size in pixels once the
// request has passed every check and before it renders (0 for a kind whose
// size only its render knows).
int Render(const RenderRequest& r, const std::function<void(long long pixels)>& prepared = {});
// Renders the request as `render` does, without writing it: the picture,
// which the caller frees, or 0 after reporting why, with the exit code in
// *code. With `reportClamps` false the values the page clamped go
// unreported. No progress line is shown.
MemHandle RenderToImage(const RenderRequest& r, int* code, bool reportClamps);
// The kind the request names (KIND, or the kind of its --from file), after
// every check `render` makes before it renders; -1 after reporting what was
// wrong, with the exit code in *code.
int KindOfRequest(const RenderRequest& r, int* code);
int Mutations(const RenderRequest& r);
// Writes the 432-byte request a CGI kind sends to the noise service.
int Request(const RenderRequest& r);
// Lists the kind's presets, or with `save` stores the request's parameters
// under that name, or with `remove` deletes that preset.
int Presets(const RenderRequest& r, const std::string& save, const std::string& remove);

// The fountain library: "list", "show" (entry n, from 1, as a width x
// height strip into `output`) and "delete" (entry n).
int Fountains(const std::string& action, int n, const std::string& output, int width, int height);
// Appends the kind's colour map (after the request's --from, --preset and
// --set) to the fountain library, as the colour-map editor's "Add to
// library" does.
int AddFountain(const RenderRequest& r);
// Copies library entry n's colours into `target`; false after reporting.
bool LibraryFountain(int n, FountainDefinition* target);
// The colour database in force: "list", "add" (name, 0xBBGGRR) and
// "delete" (every colour of that name).
int Colours(const std::string& action, const std::string& name, const std::string& value);

// The matrix library `library` (default: the current one): "list" its
// tiles, "add" the image file `argument`, "delete" tile number `argument`;
// "use" makes `argument` the current library, "integral" on|off sets the
// integral-dimensions switch.
int Matrix(const std::string& action, const std::string& argument, const std::string& library);

// The settings the plug-in keeps in its configuration file (current matrix
// library, integral dimensions), read once at start.
void ReadConfiguration();

}  // namespace tsn::cli
