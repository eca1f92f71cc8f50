// Moving a kind's values between its block and its page, as the page
// table describes: the dialog's controls or the headless page behind the
// same operations. Only the kind contract and the front ends use this; a
// kind's own files never touch a page.
#pragma once

#include <cstdint>
#include <string>

#include "core/page.h"
#include "kind/page_table.h"

namespace tsn {

// Block -> page: edit texts, up-down range texts, scroll ranges and
// positions, check states.
void PageFromBlock(const PageTable& t, const std::uint8_t* block, PageRef page);

// Page -> block for every field the generator does not read itself. A field
// whose control still shows what PageFromBlock put there keeps its block
// value exactly (a preset may hold a value finer than, or outside, what the
// control can show); a changed control is clamped into range and stored.
void PageToBlock(const PageTable& t, PageRef page, std::uint8_t* block);

// Puts a value given as text on the page, as a user typing or scrolling
// would, or into the block for a field without a control. Returns false with
// a message for text that is no value of the field's type; `entered`, when
// given, receives the value the text stands for (check boxes take on/off,
// drop lists their items' names).
bool EnterFieldText(const PageField& f, const std::string& text, PageRef page, std::uint8_t* block,
                    std::string* error, double* entered = nullptr);

}  // namespace tsn
