// A kind's page of controls, seen from the core. In the plug-in the page is
// the master dialog's child windows; on the command line and in tests it is a
// HeadlessPage. The record's `dialog` field names the page either way, and
// the functions installed with SetPageOps know how to reach it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tsn {

using PageRef = std::uint64_t;  // the record's `dialog` field

struct PageOps {
    // Window text of a control; false when there is no such control.
    bool (*getText)(PageRef page, std::uint32_t id, char* buf, int cap);
    void (*setText)(PageRef page, std::uint32_t id, const char* text);
    bool (*getCheck)(PageRef page, std::uint32_t id);
    void (*setCheck)(PageRef page, std::uint32_t id, bool on);
    int (*getScroll)(PageRef page, std::uint32_t id);
    void (*setScroll)(PageRef page, std::uint32_t id, int min, int max, int pos);
    // Drop-down lists and list boxes: the selected item's index, -1 for none.
    int (*getSelection)(PageRef page, std::uint32_t id);
    // Selects item `index` (none when it is outside the list). `items`, when
    // not null, first replaces the list's items: their texts separated by
    // ';' ("Fast;Standard;Best"). A list box filled by its kind's own code is
    // given null and keeps its items.
    void (*setSelection)(PageRef page, std::uint32_t id, const char* items, int index);
};

// The operations in force; the headless ones unless a front end installs its
// own. Passing nullptr restores the headless ones.
void SetPageOps(const PageOps* ops);
const PageOps& Page();

// Reads the integer in edit control `id` and clamps it into the range written
// as "%d,%d,%d" (minimum, maximum, default) in the window text of control
// id + 10000; 0 .. 100 when that text does not parse. Text that is not a
// number reads as 0 before clamping.
int ReadPageInteger(PageRef page, std::uint32_t id);

// Parses "%d,%d,%d"; false unless all three numbers are there.
bool ParseRangeText(const char* text, int* min, int* max, int* def);
// The integer an edit control's text holds, as the dialog reads it: optional
// blanks, an optional sign and leading digits; 0 when there are none.
int ParseEditInteger(const char* text);

// In-memory page: what a dialog page would hold, control by control.
struct HeadlessControl {
    std::string text;
    bool checked = false;
    int scrollMin = 0, scrollMax = 0, scrollPos = 0;
    std::vector<std::string> items;
    // A list's item data, one per item: blocks the page owns (tile lists).
    std::vector<std::uint64_t> itemData;
    int selection = -1;
};
struct HeadlessPage {
    std::map<std::uint32_t, HeadlessControl> controls;
};

inline PageRef RefOf(HeadlessPage* page) {
    return static_cast<PageRef>(reinterpret_cast<std::uintptr_t>(page));
}

}  // namespace tsn
