// Where a kind's page sits among the page templates and how its controls
// are laid out, in dialog units. The resource generator and the dialog both
// use it, so the templates and the code that fills them agree.
#pragma once

#include <cstdint>

#include "kind/page_table.h"

namespace tsn {

// Companion controls the dialog creates for fields.
constexpr std::uint32_t kUpDownOffset = 10000;
constexpr std::uint32_t kLabelOffset = 20000;
constexpr std::uint32_t kValueDisplayOffset = 30000;

// Extra controls with a look of their own: a check box whose state lives in
// the configuration file rather than the kind's block.
struct ExtraCheckBox {
    std::uint32_t id;
    const char* caption;
};
const ExtraCheckBox* FindExtraCheckBox(std::uint32_t id);

// The page area inside the master dialog, in dialog units.
constexpr int kPageLeft = 7, kPageTop = 30, kPageWidth = 236, kPageHeight = 236;

}  // namespace tsn
