// `tsntxtr batch MANIFEST`: the renders of a manifest, one per line, on
// every core; a share of them with --shard, the missing ones with
// --resume, and a CSV report of each line's outcome.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace tsn::cli {

struct BatchRequest {
    std::string manifest;
    std::string shard;    // "K/N", or empty for every line
    bool resume = false;  // skip lines whose outputs all exist
    std::string report;   // CSV file of the lines' outcomes, or empty
    int jobs = 0;         // renders at once (0: one per core)
};

// Adds the batch sub-command, its options filling *b.
CLI::App* AddBatchCommand(CLI::App& app, BatchRequest& b);

// Runs the manifest's lines: 0 when every line taken rendered (or was
// skipped), 1 when any failed, 2 when the batch itself was wrong (no
// manifest, a bad --shard).
int Batch(const BatchRequest& b);

}  // namespace tsn::cli
