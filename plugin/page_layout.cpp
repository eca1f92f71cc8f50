#include "plugin/page_layout.h"

#include <algorithm>

#include "plugin/catalogue.h"

namespace tsn {

namespace {

std::uint32_t LowestControl(int kind) {
    const TextureKind& k = KindAt(kind);
    std::uint32_t lowest = 0xFFFFFFFFu;
    for (const std::uint32_t* id = k.controls; id && *id; ++id)
        if (*id >= 200 && *id < kUpDownOffset) lowest = std::min(lowest, *id);
    // Kinds without a page yet sort after the others, in catalogue order.
    return lowest == 0xFFFFFFFFu ? 0x80000000u + std::uint32_t(kind) : lowest;
}

}  // namespace

const ExtraCheckBox* FindExtraCheckBox(std::uint32_t id) {
    static constexpr ExtraCheckBox kBoxes[] = {{405, "Integral dimensions"}};
    for (const ExtraCheckBox& b : kBoxes)
        if (b.id == id) return &b;
    return nullptr;
}

int PageTemplateNumber(int kind) {
    const std::uint32_t mine = LowestControl(kind);
    int rank = 1;
    for (int i = 0; i < kKindCount; ++i)
        if (LowestControl(i) < mine) ++rank;
    return rank;
}

int KindOfPageTemplate(int number) {
    for (int i = 0; i < kKindCount; ++i)
        if (PageTemplateNumber(i) == number) return i;
    return -1;
}

}  // namespace tsn
