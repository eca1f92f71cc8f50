#include "kind/page_layout.h"

namespace tsn {

const ExtraCheckBox* FindExtraCheckBox(std::uint32_t id) {
    static constexpr ExtraCheckBox kBoxes[] = {{405, "Integral dimensions"}};
    for (const ExtraCheckBox& b : kBoxes)
        if (b.id == id) return &b;
    return nullptr;
}

}  // namespace tsn
