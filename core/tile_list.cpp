#include "core/tile_list.h"

namespace tsn {

namespace {

HeadlessControl* Find(PageRef page, std::uint32_t id) {
    auto* p = reinterpret_cast<HeadlessPage*>(static_cast<std::uintptr_t>(page));
    if (!p) return nullptr;
    auto it = p->controls.find(id);
    return it == p->controls.end() ? nullptr : &it->second;
}

// Items and their data stay in step; a list filled by SetSelection's item
// texts has no data, which reads as "no tile".
int Count(PageRef page, std::uint32_t id) {
    const HeadlessControl* c = Find(page, id);
    return c ? int(c->items.size()) : 0;
}

MemHandle Tile(PageRef page, std::uint32_t id, int index) {
    const HeadlessControl* c = Find(page, id);
    if (!c || index < 0 || index >= int(c->itemData.size())) return 0;
    return c->itemData[std::size_t(index)];
}

bool Append(PageRef page, std::uint32_t id, MemHandle tile) {
    auto* p = reinterpret_cast<HeadlessPage*>(static_cast<std::uintptr_t>(page));
    if (!p || !tile) return false;
    HeadlessControl& c = p->controls[id];
    c.itemData.resize(c.items.size());
    c.items.emplace_back();
    c.itemData.push_back(tile);
    return true;
}

void Remove(PageRef page, std::uint32_t id, int index) {
    HeadlessControl* c = Find(page, id);
    if (!c || index < 0 || index >= int(c->items.size())) return;
    if (index < int(c->itemData.size())) {
        MemFree(c->itemData[std::size_t(index)]);
        c->itemData.erase(c->itemData.begin() + index);
    }
    c->items.erase(c->items.begin() + index);
    if (c->selection >= int(c->items.size())) c->selection = -1;
}

void Clear(PageRef page, std::uint32_t id) {
    HeadlessControl* c = Find(page, id);
    if (!c) return;
    for (MemHandle h : c->itemData) MemFree(h);
    c->itemData.clear();
    c->items.clear();
    c->selection = -1;
}

const TileListOps kHeadlessTileOps = {Count, Tile, Append, Remove, Clear};
const TileListOps* g_tileOps = &kHeadlessTileOps;

}  // namespace

void SetTileListOps(const TileListOps* ops) {
    g_tileOps = ops ? ops : &kHeadlessTileOps;
}

const TileListOps& TileList() {
    return *g_tileOps;
}

}  // namespace tsn
