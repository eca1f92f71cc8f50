// `tsntxtr sheet`: a grid of small renders of one kind, one per seed or per
// value of one field, each captioned, so a user can pick one by eye.
#pragma once

#include <string>

#include "cli/commands.h"

namespace tsn::cli {

struct SheetRequest {
    // Every cell's request: kind, --from, --preset, --set, the cell's
    // --width and --depth, the output file and its PNG level.
    RenderRequest cell;
    std::string seeds;  // "100-115", "100,200,300" or both mixed
    std::string vary;   // FIELD=FROM..TO
    bool hasCount = false;
    int count = 0;      // values of the --vary sweep
    int cellSide = -1;  // --cell: the side of a square cell; -1 when not given
    int columns = 0;    // 0: chosen to make the sheet about square
};

constexpr int kDefaultCellSide = 128;
constexpr int kMostSheetCells = 256;
constexpr long long kMostSheetPixels = 8192LL * 8192;
// A sweep without --count takes each value the field has in the range, up
// to this many.
constexpr int kDefaultSweepCount = 16;

int Sheet(const SheetRequest& r);

}  // namespace tsn::cli
