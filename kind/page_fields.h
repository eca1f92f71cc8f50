// Short builders for the rows of a kind's page table, so a table reads as a
// list of controls rather than of fourteen positional numbers.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kind/page_table.h"

namespace tsn::fields {

// An integer edit field with its up-down control; `pageDefault` is the
// third number of the up-down's range text.
constexpr PageField Edit(const char* name, const char* label, std::uint32_t offset,
                         std::uint32_t id, double min, double max, double blockDefault,
                         int pageDefault, Role role, const char* help) {
    return {name, label, FieldType::I32, offset,      0, Control::Edit, id,
            min,  max,   blockDefault,   pageDefault, 0, role,          help};
}

// A scroll bar over an integer (scale 1) or a real (scale = positions per
// unit of value).
constexpr PageField Scroll(const char* name, const char* label, FieldType type,
                           std::uint32_t offset, std::uint32_t id, double min, double max,
                           double blockDefault, int scale, const char* help) {
    return {name, label, type,         offset, 0,     Control::ScrollBar, id,
            min,  max,   blockDefault, 0,      scale, Role::Plain,        help};
}

// A check box over a whole word that holds 0 or 1.
constexpr PageField Check(const char* name, const char* label, FieldType type, std::uint32_t offset,
                          std::uint32_t id, double blockDefault, const char* help) {
    return {name, label, type,         offset, 0, Control::CheckBox, id,
            0,    1,     blockDefault, 0,      0, Role::Plain,       help};
}

constexpr PageField Colour(const char* name, const char* label, std::uint32_t offset,
                           std::uint32_t id, std::uint32_t blockDefault, const char* help) {
    return {name, label,      FieldType::Colour,    offset, 0, Control::ColourButton, id,
            0,    16777215.0, double(blockDefault), 0,      0, Role::Plain,           help};
}

constexpr int CountChoices(const char* choices) {
    int n = 1;
    for (const char* c = choices; *c; ++c) n += *c == ';';
    return n;
}

// A drop-down list over an unsigned word holding the item index.
constexpr PageField List(const char* name, const char* label, std::uint32_t offset,
                         std::uint32_t id, const char* choices, double blockDefault,
                         const char* help) {
    return {name,         label, FieldType::U32,
            offset,       0,     Control::DropList,
            id,           0,     double(CountChoices(choices) - 1),
            blockDefault, 0,     0,
            Role::Plain,  help,  choices};
}

// A list box that the kind's own code fills; the value is the item index.
constexpr PageField ListBox(const char* name, const char* label, std::uint32_t offset,
                            std::uint32_t id, double max, const char* help) {
    return {name, label, FieldType::I32, offset, 0, Control::ListBox, id, 0, max, 0,
            0,    0,     Role::Plain,    help};
}

constexpr PageField Fountain(const char* name, const char* label, std::uint32_t offset,
                             std::uint32_t id, const char* help) {
    return {name, label, FieldType::Fountain, offset, 0, Control::FountainView, id, 0, 0, 0,
            0,    0,     Role::Plain,         help};
}

// Width, depth and seed edits: the generator reads these itself.
constexpr PageField Width(std::uint32_t offset, std::uint32_t id, double blockDefault,
                          int pageDefault, double min = 64) {
    return Edit("width", "Width:", offset, id, min, 32760, blockDefault, pageDefault, Role::Width,
                "picture width in pixels");
}
constexpr PageField Depth(std::uint32_t offset, std::uint32_t id, double blockDefault,
                          int pageDefault, double min = 64) {
    return Edit("depth", "Depth:", offset, id, min, 32760, blockDefault, pageDefault, Role::Depth,
                "picture height in pixels");
}
// The seed edit; most pages offer 100 .. 32760 and show the block's seed
// as the up-down's default.
constexpr PageField Seed(std::uint32_t offset, std::uint32_t id, double blockDefault,
                         double max = 32760, int pageDefault = -1,
                         FieldType type = FieldType::I32) {
    PageField f =
        Edit("seed", "Random seed:", offset, id, 100, max, blockDefault,
             pageDefault < 0 ? int(blockDefault) : pageDefault, Role::Seed, "random seed");
    f.type = type;
    return f;
}

// A check box over one bit of a flags word.
constexpr PageField Flag(const char* name, const char* label, std::uint32_t offset,
                         std::uint32_t bit, std::uint32_t id, double blockDefault,
                         const char* help) {
    return {name, label, FieldType::FlagBit, offset, bit, Control::CheckBox, id,
            0,    1,     blockDefault,       0,      0,   Role::Plain,       help};
}

// A value kept in the block that no control shows; the command line can
// still set it.
constexpr PageField Hidden(const char* name, FieldType type, std::uint32_t offset, double min,
                           double max, double blockDefault, const char* help) {
    return {name, "",  type,         offset, 0, Control::None, 0,
            min,  max, blockDefault, 0,      0, Role::Plain,   help};
}

template <std::size_t N>
constexpr PageTable TableOf(const PageField (&f)[N], const std::uint32_t* extras) {
    return PageTable{f, int(N), extras};
}

}  // namespace tsn::fields
