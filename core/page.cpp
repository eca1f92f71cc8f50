#include "core/page.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tsn {

namespace {

HeadlessPage* Headless(PageRef page) {
    return reinterpret_cast<HeadlessPage*>(static_cast<std::uintptr_t>(page));
}

bool HeadlessGetText(PageRef page, std::uint32_t id, char* buf, int cap) {
    HeadlessPage* p = Headless(page);
    if (cap > 0) buf[0] = 0;
    if (!p) return false;
    auto it = p->controls.find(id);
    if (it == p->controls.end()) return false;
    if (cap > 0) std::snprintf(buf, std::size_t(cap), "%s", it->second.text.c_str());
    return true;
}
void HeadlessSetText(PageRef page, std::uint32_t id, const char* text) {
    if (HeadlessPage* p = Headless(page)) p->controls[id].text = text;
}
bool HeadlessGetCheck(PageRef page, std::uint32_t id) {
    HeadlessPage* p = Headless(page);
    if (!p) return false;
    auto it = p->controls.find(id);
    return it != p->controls.end() && it->second.checked;
}
void HeadlessSetCheck(PageRef page, std::uint32_t id, bool on) {
    if (HeadlessPage* p = Headless(page)) p->controls[id].checked = on;
}
int HeadlessGetScroll(PageRef page, std::uint32_t id) {
    HeadlessPage* p = Headless(page);
    if (!p) return 0;
    auto it = p->controls.find(id);
    return it == p->controls.end() ? 0 : it->second.scrollPos;
}
void HeadlessSetScroll(PageRef page, std::uint32_t id, int min, int max, int pos) {
    HeadlessPage* p = Headless(page);
    if (!p) return;
    HeadlessControl& c = p->controls[id];
    c.scrollMin = min;
    c.scrollMax = max;
    // A scroll bar keeps its thumb inside its range, as the real control does.
    c.scrollPos = std::clamp(pos, min, std::max(min, max));
}

int HeadlessGetSelection(PageRef page, std::uint32_t id) {
    HeadlessPage* p = Headless(page);
    if (!p) return -1;
    auto it = p->controls.find(id);
    return it == p->controls.end() ? -1 : it->second.selection;
}
void HeadlessSetSelection(PageRef page, std::uint32_t id, const char* items, int index) {
    HeadlessPage* p = Headless(page);
    if (!p) return;
    HeadlessControl& c = p->controls[id];
    if (items) {
        c.items.clear();
        std::string item;
        for (const char* s = items;; ++s) {
            if (*s == ';' || *s == 0) {
                c.items.push_back(item);
                item.clear();
                if (*s == 0) break;
            } else {
                item += *s;
            }
        }
    }
    // Like the real controls, an index outside the list selects nothing.
    c.selection = index >= 0 && index < int(c.items.size()) ? index : -1;
}

const PageOps kHeadlessOps = {HeadlessGetText,      HeadlessSetText,     HeadlessGetCheck,
                              HeadlessSetCheck,     HeadlessGetScroll,   HeadlessSetScroll,
                              HeadlessGetSelection, HeadlessSetSelection};
const PageOps* g_ops = &kHeadlessOps;

}  // namespace

void SetPageOps(const PageOps* ops) {
    g_ops = ops ? ops : &kHeadlessOps;
}
const PageOps& Page() {
    return *g_ops;
}

bool ParseRangeText(const char* text, int* min, int* max, int* def) {
    return std::sscanf(text, "%d,%d,%d", min, max, def) == 3;
}

int ParseEditInteger(const char* text) {
    while (*text == ' ' || *text == '\t') ++text;
    bool negative = false;
    if (*text == '-' || *text == '+') negative = *text++ == '-';
    long long v = 0;
    for (; *text >= '0' && *text <= '9'; ++text) {
        v = v * 10 + (*text - '0');
        if (v > 2147483648LL) v = 2147483648LL;  // saturate, then clamp below
    }
    if (negative) v = -v;
    return int(std::clamp<long long>(v, -2147483647LL - 1, 2147483647LL));
}

int ReadPageInteger(PageRef page, std::uint32_t id) {
    char text[64];
    Page().getText(page, id, text, sizeof text);
    int value = ParseEditInteger(text);
    char range[64];
    int mn = 0, mx = 100, def = 0;
    if (!Page().getText(page, id + 10000, range, sizeof range) ||
        !ParseRangeText(range, &mn, &mx, &def)) {
        mn = 0;
        mx = 100;
    }
    if (value < mn) value = mn;
    if (value > mx) value = mx;
    return value;
}

}  // namespace tsn
