#include "kind/page_transfer.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "core/detmath.h"

namespace tsn {

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
}  // namespace tsn
