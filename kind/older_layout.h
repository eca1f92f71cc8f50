// A kind's block in its older layout (the one its presets are written in),
// described as a list of fields, and the one conversion every kind with such
// a layout uses for its queries 6 and 7.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kind/master_record.h"

namespace tsn {

// How a field moves between the layouts.
enum class FieldMove : std::uint8_t {
    Bytes,     // copied as it stands
    Fountain,  // a colour map, converted between its 585- and 581-byte forms
};

// One field: its offset in the current layout and in the older one, and its
// length (in the current layout, for a colour map).
struct LayoutField {
    std::uint32_t current, older, bytes;
    FieldMove move = FieldMove::Bytes;
};

struct OlderLayout {
    std::uint32_t currentSize, olderSize;
    const LayoutField* fields;
    int count;
    // The size word written: the target layout's own size, or always the
    // current one (what Mandelbrot's older presets have always carried).
    bool sizeIsAlwaysCurrent = false;
    // Bytes of the target that no field names keep what they held (Noise
    // and Mandelbrot), rather than becoming zero.
    bool keepsUnnamedBytes = false;
};

// Query 6 (older to current) or 7 (current to older) through the record's
// transfer fields: every field moved, the size word written after them.
// 1, or 0 for other sizes, another code or a missing address.
std::int64_t ConvertOlderLayout(const OlderLayout& layout, MasterTextureRecord* rec, int code);

// The field `f` of two instantiations of one layout.
#define TSN_LAYOUT_FIELD(Current, Older, f)                                     \
    ::tsn::LayoutField {                                                        \
        std::uint32_t(offsetof(Current, f)), std::uint32_t(offsetof(Older, f)), \
            std::uint32_t(sizeof(Current::f))                                   \
    }
#define TSN_LAYOUT_FOUNTAIN(Current, Older, f)                                  \
    ::tsn::LayoutField {                                                        \
        std::uint32_t(offsetof(Current, f)), std::uint32_t(offsetof(Older, f)), \
            std::uint32_t(sizeof(Current::f)), ::tsn::FieldMove::Fountain       \
    }

}  // namespace tsn
