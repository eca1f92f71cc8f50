// The options of `render` and of the commands that start a session like it,
// defined once: the command line and each line of a batch manifest are read
// by the same definitions.
#pragma once

#include <CLI/CLI.hpp>

#include "cli/commands.h"

namespace tsn::cli {

// KIND, --width, --depth, --seed, --set, --from, --preset: what every
// command that starts a session takes.
void AddSessionOptions(CLI::App* sub, RenderRequest& req);
// --format: what `-o -` writes to standard output.
void AddOutputFormat(CLI::App* sub, RenderRequest& req);
// Everything `render` takes: the session options, -o and the render's own.
void AddRenderOptions(CLI::App* sub, RenderRequest& req);

}  // namespace tsn::cli
