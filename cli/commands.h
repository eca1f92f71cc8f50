// The sub-commands of `tsntxtr`, separate from argument parsing so they can
// be read (and tested) as plain functions. Each returns the process exit
// code: 0 done, 1 failed, 2 the request itself was wrong.
#pragma once

#include <string>
#include <vector>

namespace tsn::cli {

struct RenderRequest {
    std::string kind;  // key or display name; may be empty with --from
    std::string from;  // settings or preset file
    int width = -1, depth = -1;
    bool hasSeed = false;
    long long seed = 0;
    std::vector<std::string> sets;  // FIELD=VALUE
    std::string output;
    std::string saveSettings;
    int generation = 0;  // mutations only
};

int ListKinds();
int DescribeKind(const std::string& kind);
int Render(const RenderRequest& r);
int Mutations(const RenderRequest& r);

}  // namespace tsn::cli
