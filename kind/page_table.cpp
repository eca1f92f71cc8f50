#include "kind/page_table.h"

#include "kind/page_layout.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/text.h"

namespace tsn {

const char* FieldTypeName(FieldType t) {
    switch (t) {
        case FieldType::I32:
            return "integer";
        case FieldType::U32:
            return "unsigned";
        case FieldType::F64:
            return "real";
        case FieldType::FlagBit:
            return "flag";
        case FieldType::Colour:
            return "colour";
        case FieldType::Fountain:
            return "fountain";
    }
    return "?";
}

const char* ControlName(Control c) {
    switch (c) {
        case Control::None:
            return "-";
        case Control::Edit:
            return "edit";
        case Control::ScrollBar:
            return "scroll bar";
        case Control::CheckBox:
            return "check box";
        case Control::ColourButton:
            return "colour button";
        case Control::FountainView:
            return "fountain";
        case Control::DropList:
            return "drop list";
        case Control::ListBox:
            return "list box";
    }
    return "?";
}

int ChoiceCount(const char* choices) {
    if (!choices) return 0;
    int n = 1;
    for (const char* c = choices; *c; ++c) n += *c == ';';
    return n;
}

int FindChoice(const char* choices, const std::string& text) {
    if (!choices) return -1;
    int index = 0;
    std::string item;
    for (const char* c = choices;; ++c) {
        if (*c == ';' || *c == 0) {
            if (EqualNoCase(item.c_str(), text.c_str())) return index;
            if (*c == 0) return -1;
            item.clear();
            ++index;
        } else {
            item += *c;
        }
    }
}

double GetFieldValue(const PageField& f, const std::uint8_t* block) {
    const std::uint8_t* p = block + f.offset;
    switch (f.type) {
        case FieldType::I32: {
            std::int32_t v;
            std::memcpy(&v, p, 4);
            return v;
        }
        case FieldType::U32:
        case FieldType::Colour: {
            std::uint32_t v;
            std::memcpy(&v, p, 4);
            return v;
        }
        case FieldType::F64: {
            double v;
            std::memcpy(&v, p, 8);
            return v;
        }
        case FieldType::FlagBit: {
            std::uint32_t v;
            std::memcpy(&v, p, 4);
            return (v >> f.bit) & 1u;
        }
        case FieldType::Fountain:
            return 0;
    }
    return 0;
}

void SetFieldValue(const PageField& f, std::uint8_t* block, double v) {
    std::uint8_t* p = block + f.offset;
    switch (f.type) {
        case FieldType::I32: {
            std::int32_t x = TruncToInt(v);
            std::memcpy(p, &x, 4);
            break;
        }
        case FieldType::U32:
        case FieldType::Colour: {
            std::uint32_t x = v <= 0 ? 0u : v >= 4294967295.0 ? 0xFFFFFFFFu : std::uint32_t(v);
            std::memcpy(p, &x, 4);
            break;
        }
        case FieldType::F64:
            std::memcpy(p, &v, 8);
            break;
        case FieldType::FlagBit: {
            std::uint32_t x;
            std::memcpy(&x, p, 4);
            x = v != 0 ? (x | (1u << f.bit)) : (x & ~(1u << f.bit));
            std::memcpy(p, &x, 4);
            break;
        }
        case FieldType::Fountain:
            break;
    }
}

void ApplyBlockDefaults(const PageTable& t, std::uint8_t* block) {
    for (int i = 0; i < t.count; ++i)
        if (t.fields[i].type != FieldType::Fountain)
            SetFieldValue(t.fields[i], block, t.fields[i].blockDefault);
}

std::string ColourText(std::uint32_t c) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "0x%06X", c & 0xFFFFFFu);
    return buf;
}

const PageField* FindField(const PageTable& t, const std::string& name) {
    for (int i = 0; i < t.count; ++i)
        if (name == t.fields[i].name) return &t.fields[i];
    return nullptr;
}

std::string FormatFieldValue(const PageField& f, double v) {
    char buf[64];
    switch (f.type) {
        case FieldType::F64:
            std::snprintf(buf, sizeof buf, "%g", v);
            return buf;
        case FieldType::Colour:
            return ColourText(std::uint32_t(v));
        default:
            std::snprintf(buf, sizeof buf, "%.0f", v);
            return buf;
    }
}

int BuildControlList(const PageTable& t, std::uint32_t presetList, std::uint32_t* out, int cap) {
    int n = 0;
    auto add = [&](std::uint32_t id) {
        if (n + 1 < cap) out[n++] = id;
    };
    for (int i = 0; i < t.count; ++i) {
        const PageField& f = t.fields[i];
        if (f.control == Control::None) continue;
        add(f.id);
        if (f.control == Control::Edit) add(f.id + kUpDownOffset);
        // Captions are separate statics except on check boxes, which carry
        // their own; scroll bars show their value beside them.
        if (f.label && f.label[0] && f.control != Control::CheckBox) add(f.id + kLabelOffset);
        if (f.control == Control::ScrollBar) add(f.id + kValueDisplayOffset);
    }
    for (const std::uint32_t* e = t.extraControls; e && *e; ++e) add(*e);
    if (presetList) add(presetList + kLabelOffset);
    if (cap > 0) out[n] = 0;
    return n;
}

}  // namespace tsn
