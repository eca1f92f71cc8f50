// A batch manifest is text from anyone: split into words as a shell would
// (without expanding or running anything), then each line read with the
// options of `render`. Besides not crashing, every line must come back
// either as words or as an error, in order, and a line that reads has its
// picture first among its outputs.
#include <cstdlib>
#include <string>

#include "cli/manifest.h"

using namespace tsn::cli;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    int previous = 0;
    for (const ManifestLine& line : ReadManifestText(text)) {
        if (line.number <= previous || line.error.empty() == line.words.empty()) std::abort();
        previous = line.number;
        if (!line.error.empty()) continue;
        // Any word might be handed to --shard.
        int k = 0, n = 0;
        std::string why;
        if (ParseShard(line.words.front(), &k, &n, &why) && !(k >= 0 && k < n)) std::abort();
        RenderRequest r;
        std::string error;
        if (!ParseRenderLine(line.words, "folder", &r, &error)) {
            if (error.empty()) std::abort();
            continue;
        }
        const auto outputs = OutputsOf(r);
        if (outputs.empty() || outputs.front() != r.output) std::abort();
        const std::string quoted = CsvField(r.output, true);
        if (quoted.size() < r.output.size() + 2 || quoted.front() != '"' || quoted.back() != '"')
            std::abort();
    }
    return 0;
}
