// Short builders for the rows of a kind's page table, so a table reads as a
// list of controls rather than of fourteen positional numbers.
#pragma once

#include <cstdint>

#include "plugin/page_table.h"

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

constexpr PageField Fountain(const char* name, const char* label, std::uint32_t offset,
                             std::uint32_t id, const char* help) {
    return {name, label, FieldType::Fountain, offset, 0, Control::FountainView, id, 0, 0, 0,
            0,    0,     Role::Plain,         help};
}

// Width, depth and seed edits: the generator reads these itself.
constexpr PageField Width(std::uint32_t offset, std::uint32_t id, double blockDefault,
                          int pageDefault) {
    return Edit("width", "Width:", offset, id, 64, 32760, blockDefault, pageDefault, Role::Width,
                "picture width in pixels");
}
constexpr PageField Depth(std::uint32_t offset, std::uint32_t id, double blockDefault,
                          int pageDefault) {
    return Edit("depth", "Depth:", offset, id, 64, 32760, blockDefault, pageDefault, Role::Depth,
                "picture height in pixels");
}
constexpr PageField Seed(std::uint32_t offset, std::uint32_t id, double blockDefault) {
    return Edit("seed", "Random seed:", offset, id, 100, 32760, blockDefault, int(blockDefault),
                Role::Seed, "random seed");
}

}  // namespace tsn::fields
