#include "kind/render_step.h"

#include <cstring>

#include "core/page.h"
#include "core/tile_list.h"

namespace tsn {

namespace {

// Stores a page integer into an integer field, bit for bit as the block
// holds it (signed or unsigned alike).
void StoreInteger(const PageField& f, std::uint8_t* block, int v) {
    const std::int32_t bits = v;
    std::memcpy(block + f.offset, &bits, sizeof bits);
}

std::int32_t IntegerAt(const PageField& f, const std::uint8_t* block) {
    std::int32_t bits;
    std::memcpy(&bits, block + f.offset, sizeof bits);
    return bits;
}

// Reads the field with `role`, if the page has one, into the block.
bool TakeRole(const PageTable& t, Role role, PageRef page, std::uint8_t* block, int* out) {
    const PageField* f = FieldWithRole(t, role);
    if (!f) return false;
    *out = ReadPageInteger(page, f->id);
    StoreInteger(*f, block, *out);
    return true;
}

// The block of the tile list's selected item, 0 for none.
MemHandle SelectedTile(const PageTable& t, PageRef page, const std::uint8_t* block) {
    for (int i = 0; i < t.count; ++i) {
        const PageField& f = t.fields[i];
        if (f.control != Control::ListBox) continue;
        const int selected = IntegerAt(f, block);
        if (selected < 0 || selected >= TileList().count(page, f.id)) return 0;
        return TileList().tile(page, f.id, selected);
    }
    return 0;
}

}  // namespace

bool TakeRenderValues(const KindDescriptor& k, MasterTextureRecord* rec, RenderValues* values) {
    *values = RenderValues{};
    std::uint8_t* block = BlockAt(rec, k.blockOffset);
    if (k.refuses && k.refuses(block)) return false;
    if (!k.page) return true;
    const PageTable& t = *k.page;
    TakeRole(t, Role::Width, rec->dialog, block, &values->width);
    TakeRole(t, Role::Depth, rec->dialog, block, &values->depth);
    if (const PageField* seed = FieldWithRole(t, Role::Seed)) {
        const std::int32_t held = IntegerAt(*seed, block);
        int shown = 0;
        TakeRole(t, Role::Seed, rec->dialog, block, &shown);
        values->seed = std::uint32_t(k.seedShowsNextRender ? held : shown);
    }
    if (k.optionCheck) values->option = Page().getCheck(rec->dialog, k.optionCheck);
    values->tile = SelectedTile(t, rec->dialog, block);
    ShowStatus(k, block, rec->dialog);
    return true;
}

MemHandle RenderTakingValues(const KindDescriptor& k, MasterTextureRecord* rec,
                             const MapRequest& maps) {
    if (!k.render) return 0;
    RenderValues values;
    if (!TakeRenderValues(k, rec, &values)) return 0;
    values.tileable = maps.tileable && (k.maps & kMapsTile);
    values.height = (k.maps & kMapsHeight) ? maps.height : nullptr;
    values.note = maps.note;
    values.rows = maps.rows;
    return k.render(rec, values);
}

}  // namespace tsn
