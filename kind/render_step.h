// The one step between a kind's page and its render. The page's values
// reach the block as the page table says; the width, depth and seed are
// read fresh from the page, clamped to the ranges it shows, stored into the
// block and handed to the render as values, together with what else the
// descriptor declares (a tile, an option check box). The kinds' own files
// never read a page.
#pragma once

#include "core/page.h"
#include "kind/descriptor.h"

namespace tsn {

// Reads the page's width, depth and seed into the block and `values` as
// the descriptor declares; false when the kind refuses its block (nothing
// is then read).
bool TakeRenderValues(const KindDescriptor& k, MasterTextureRecord* rec, RenderValues* values);

// Puts the kind's status text about `block` on the page (kinds that have
// one), and the text for what the page now shows, as the next render would
// read it, without changing the block.
void ShowStatus(const KindDescriptor& k, const std::uint8_t* block, PageRef page);
void ShowEditedStatus(const KindDescriptor& k, MasterTextureRecord* rec);

// What a render is asked for beyond the page (the command line's maps).
struct MapRequest {
    bool tileable = false;
    HeightField* height = nullptr;
    std::string* note = nullptr;  // see RenderValues::note
    RowSink* rows = nullptr;      // see RenderValues::rows
};

// TakeRenderValues, then the kind's render: for a block whose other fields
// are already what the render should use. A request the kind does not
// offer is not passed on.
MemHandle RenderTakingValues(const KindDescriptor& k, MasterTextureRecord* rec,
                             const MapRequest& maps = {});

}  // namespace tsn
