// Lists of small images on a page: each item carries a movable memory block
// holding a packed device-independent bitmap (header, colour table, pixels),
// and the list owns those blocks. In the plug-in the list is a list box of
// the dialog; headless it is the page's in-memory control.
#pragma once

#include <cstdint>

#include "core/page.h"
#include "core/platform.h"

namespace tsn {

struct TileListOps {
    int (*count)(PageRef page, std::uint32_t id);
    // The block of item `index`, 0 when there is no such item.
    MemHandle (*tile)(PageRef page, std::uint32_t id, int index);
    // Appends an item holding `tile`; on success the list owns the block,
    // on failure (false) the caller still does.
    bool (*append)(PageRef page, std::uint32_t id, MemHandle tile);
    // Frees item `index`'s block and removes the item.
    void (*remove)(PageRef page, std::uint32_t id, int index);
    // Frees every block and empties the list.
    void (*clear)(PageRef page, std::uint32_t id);
};

// The operations in force: the headless ones unless a front end installs
// its own (nullptr restores the headless ones).
void SetTileListOps(const TileListOps* ops);
const TileListOps& TileList();

}  // namespace tsn
