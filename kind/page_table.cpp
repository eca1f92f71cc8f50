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

namespace {

// Scroll position of a value, unrounded, and the value of a position.
double PositionOf(const PageField& f, double v) {
    return f.scrollScale >= 0 ? v * f.scrollScale : v / -f.scrollScale;
}
double ValueOfPosition(const PageField& f, int pos) {
    return f.scrollScale >= 0 ? double(pos) / f.scrollScale : double(pos) * -f.scrollScale;
}
int ScrollMin(const PageField& f) {
    return int(PositionOf(f, f.min));
}
int ScrollMax(const PageField& f) {
    return int(PositionOf(f, f.max));
}

int ScrollPosition(const PageField& f, double v) {
    double pos = std::floor(PositionOf(f, v) + 0.5);
    return std::clamp(TruncToInt(pos), ScrollMin(f), ScrollMax(f));
}

std::string ColourText(std::uint32_t c) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "0x%06X", c & 0xFFFFFFu);
    return buf;
}

bool ParseNumber(const std::string& text, double* out) {
    if (text.empty()) return false;
    const char* s = text.c_str();
    char* end = nullptr;
    errno = 0;
    double v;
    if (text.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X')) {
        unsigned long long u = std::strtoull(s + 2, &end, 16);
        v = double(u);
    } else {
        v = std::strtod(s, &end);
    }
    if (errno != 0 || *end != 0 || !std::isfinite(v)) return false;
    *out = v;
    return true;
}

}  // namespace

void PageFromBlock(const PageTable& t, const std::uint8_t* block, PageRef page) {
    const PageOps& ops = Page();
    for (int i = 0; i < t.count; ++i) {
        const PageField& f = t.fields[i];
        double v = GetFieldValue(f, block);
        char buf[64];
        switch (f.control) {
            case Control::Edit:
                std::snprintf(buf, sizeof buf, "%d,%d,%d", int(f.min), int(f.max), f.pageDefault);
                ops.setText(page, f.id + 10000, buf);
                std::snprintf(buf, sizeof buf, "%.0f", v);
                ops.setText(page, f.id, buf);
                break;
            case Control::ScrollBar:
                ops.setScroll(page, f.id, ScrollMin(f), ScrollMax(f), ScrollPosition(f, v));
                break;
            case Control::CheckBox:
                ops.setCheck(page, f.id, v != 0);
                break;
            case Control::ColourButton:
                ops.setText(page, f.id, ColourText(std::uint32_t(v)).c_str());
                break;
            case Control::DropList:
            case Control::ListBox:
                ops.setSelection(page, f.id, f.choices, TruncToInt(v));
                break;
            case Control::None:
            case Control::FountainView:
                break;
        }
    }
}

void PageToBlock(const PageTable& t, PageRef page, std::uint8_t* block) {
    const PageOps& ops = Page();
    for (int i = 0; i < t.count; ++i) {
        const PageField& f = t.fields[i];
        if (f.role != Role::Plain) continue;
        double v = GetFieldValue(f, block);
        char buf[64];
        switch (f.control) {
            case Control::Edit: {
                ops.getText(page, f.id, buf, sizeof buf);
                int shown = TruncToInt(v);
                int now = ParseEditInteger(buf);
                if (now != shown) SetFieldValue(f, block, std::clamp(double(now), f.min, f.max));
                break;
            }
            case Control::ScrollBar: {
                int now = ops.getScroll(page, f.id);
                if (now != ScrollPosition(f, v)) SetFieldValue(f, block, ValueOfPosition(f, now));
                break;
            }
            case Control::CheckBox: {
                bool now = ops.getCheck(page, f.id);
                if (now != (v != 0)) SetFieldValue(f, block, now ? 1 : 0);
                break;
            }
            case Control::ColourButton: {
                ops.getText(page, f.id, buf, sizeof buf);
                double c;
                if (ParseNumber(buf, &c) && std::uint32_t(c) != std::uint32_t(v))
                    SetFieldValue(f, block, double(std::uint32_t(c) & 0xFFFFFFu));
                break;
            }
            case Control::DropList:
            case Control::ListBox: {
                // A list shows nothing for a value that is no item of it;
                // with nothing selected the block keeps what it holds.
                const int now = ops.getSelection(page, f.id);
                if (now >= 0 && now != TruncToInt(v))
                    SetFieldValue(f, block, std::clamp(double(now), f.min, f.max));
                break;
            }
            case Control::None:
            case Control::FountainView:
                break;
        }
    }
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

bool EnterFieldText(const PageField& f, const std::string& text, PageRef page, std::uint8_t* block,
                    std::string* error, double* entered) {
    double v;
    std::string lower = text;
    for (char& c : lower) c = char(std::tolower(static_cast<unsigned char>(c)));
    if (f.type == FieldType::FlagBit || f.control == Control::CheckBox) {
        if (lower == "on" || lower == "true" || lower == "yes") lower = "1";
        if (lower == "off" || lower == "false" || lower == "no") lower = "0";
    }
    if (f.type == FieldType::Fountain) {
        *error = std::string(f.name) + " is a colour map and cannot be set as a value";
        return false;
    }
    if (f.control == Control::DropList) {
        const int item = FindChoice(f.choices, text);
        if (item >= 0) lower = std::to_string(item);
    }
    if (!ParseNumber(lower, &v)) {
        *error = "'" + text + "' is not a value for " + f.name;
        return false;
    }
    bool integral = f.type != FieldType::F64 || f.control == Control::Edit;
    if (integral && v != std::floor(v)) {
        *error = std::string(f.name) + " takes a whole number, not '" + text + "'";
        return false;
    }
    if (entered) *entered = v;
    const PageOps& ops = Page();
    char buf[64];
    switch (f.control) {
        case Control::Edit:
            std::snprintf(buf, sizeof buf, "%.0f", std::clamp(v, -2147483648.0, 2147483647.0));
            ops.setText(page, f.id, buf);
            break;
        case Control::ScrollBar:
            ops.setScroll(page, f.id, ScrollMin(f), ScrollMax(f),
                          TruncToInt(std::floor(PositionOf(f, v) + 0.5)));
            break;
        case Control::CheckBox:
            ops.setCheck(page, f.id, v != 0);
            break;
        case Control::ColourButton:
            ops.setText(page, f.id, ColourText(std::uint32_t(v)).c_str());
            break;
        case Control::DropList:
            ops.setSelection(page, f.id, f.choices, TruncToInt(std::clamp(v, f.min, f.max)));
            break;
        case Control::ListBox:
            // Its items come from the kind's own code and may not be there
            // (no dialog); the block takes the value, the list shows it.
            SetFieldValue(f, block, std::clamp(v, f.min, f.max));
            ops.setSelection(page, f.id, nullptr, TruncToInt(std::clamp(v, f.min, f.max)));
            break;
        case Control::None:
            SetFieldValue(f, block, std::clamp(v, f.min, f.max));
            break;
        case Control::FountainView:
            break;
    }
    return true;
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
