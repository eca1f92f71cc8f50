// One table per kind describes its page: which control shows which field of
// the kind's parameter block, of what type, in what range, with what
// defaults. Resetting a block, moving values between block and page (the
// dialog's and the headless one), the command line's --set and `describe`
// all read the same table, so no range or default is written twice.
#pragma once

#include <cstdint>
#include <string>

#include "core/packed.h"

namespace tsn {

enum class FieldType : std::uint8_t {
    I32,      // signed 32-bit integer
    U32,      // unsigned 32-bit integer
    F64,      // double
    FlagBit,  // one bit of an unsigned 32-bit word
    Colour,   // 0x00BBGGRR
    Fountain  // an embedded colour map, edited by its own control
};

enum class Control : std::uint8_t {
    None,       // kept in the block, not shown on the page
    Edit,       // edit field with an up-down control at id + 10000
    ScrollBar,  // position = value x scrollScale (see PageField::scrollScale)
    CheckBox,
    ColourButton,
    FountainView,
    DropList,  // drop-down list of the field's `choices`; value = item index
    ListBox    // list box whose items its kind's own code fills; value = index
};

// How the render step treats the field. Width, depth and seed are read from
// the page at render time, clamped to the range the page shows, and handed
// to the render as values (kind/render_step.h).
enum class Role : std::uint8_t { Plain, Width, Depth, Seed };

struct PageField {
    const char* name;   // lowerCamelCase name used by the command line
    const char* label;  // caption on the page
    FieldType type;
    std::uint32_t offset;  // byte offset in the kind's block
    std::uint32_t bit;     // FlagBit: the bit number
    Control control;
    std::uint32_t id;     // control identifier, 0 for Control::None
    double min, max;      // accepted values (in value units)
    double blockDefault;  // what `reset` writes
    int pageDefault;      // third number of an up-down control's range text
    // ScrollBar: positions per unit of value. A negative -n means the
    // opposite, n units of value per position, for coarse counts such as
    // thousands of impacts.
    int scrollScale;
    Role role;
    const char* help;
    // DropList: the items in value order, separated by ';'
    // ("Fast;Standard;Best"); null for every other control.
    const char* choices = nullptr;
};

struct PageTable {
    const PageField* fields;
    int count;
    // Controls of the page that show no field (labels, preset list and its
    // buttons, value displays); together with the fields' controls and their
    // up-down partners they make the kind's control list. Zero-terminated.
    const std::uint32_t* extraControls;
};

const char* FieldTypeName(FieldType t);
const char* ControlName(Control c);

// Number of ';'-separated items in a DropList's choices (0 for null).
int ChoiceCount(const char* choices);
// Index of the item equal to `text` without regard to case, or -1.
int FindChoice(const char* choices, const std::string& text);

// Field value as a double (flags and check boxes read as 0 or 1).
double GetFieldValue(const PageField& f, const std::uint8_t* block);
void SetFieldValue(const PageField& f, std::uint8_t* block, double v);

// Writes every field's block default (fountains are left to the kind).
void ApplyBlockDefaults(const PageTable& t, std::uint8_t* block);

const PageField* FindField(const PageTable& t, const std::string& name);

// "0x00BBGGRR" as a colour field shows it.
std::string ColourText(std::uint32_t c);

// The value text a field would be entered with ("25.0", "0x0000FF", "1").
std::string FormatFieldValue(const PageField& f, double v);

// Writes the kind's control list (fields, their up-down partners and
// captions, extras, and the caption of its preset list if it has one),
// zero-terminated, into out[cap]; returns the number of identifiers.
int BuildControlList(const PageTable& t, std::uint32_t presetList, std::uint32_t* out, int cap);

}  // namespace tsn
