// Writes the 23 page templates "MasterTextureBox01" .. "MasterTextureBox23"
// as a resource script, from the kinds' page tables: every field gets its
// caption, its control and (for edit fields) its up-down partner, and the
// preset list with its three buttons closes the page. The dialog copies
// these controls into itself when it starts.
#include <algorithm>
#include <cstdio>
#include <string>

#include "app/kind_list.h"
#include "kind/page_layout.h"

namespace {

using namespace tsn;

std::string Quoted(const char* s) {
    std::string out = "\"";
    for (; *s; ++s) out += *s == '"' ? std::string("\"\"") : std::string(1, *s);
    return out + "\"";
}

// One row of a page: caption on the left, control on the right.
constexpr int kRow = 15, kLabelW = 62, kCtrlX = 66;
// A list box takes the height of this many rows.
constexpr int kListRows = 4;

void WriteField(std::FILE* out, const PageField& f, int x, int y, int colW) {
    const unsigned id = f.id;
    const int ctrlW = colW - kCtrlX;
    switch (f.control) {
        case Control::Edit:
            std::fprintf(out, "  LTEXT %s, %u, %d, %d, %d, 9\n", Quoted(f.label).c_str(),
                         id + kLabelOffset, x, y + 2, kLabelW);
            std::fprintf(out, "  EDITTEXT %u, %d, %d, 46, 12, ES_AUTOHSCROLL\n", id, x + kCtrlX, y);
            std::fprintf(
                out,
                "  CONTROL \"\", %u, \"msctls_updown32\", UDS_SETBUDDYINT | UDS_ALIGNRIGHT "
                "| UDS_AUTOBUDDY | UDS_ARROWKEYS | UDS_NOTHOUSANDS, %d, %d, 10, 12\n",
                id + kUpDownOffset, x + kCtrlX + 46, y);
            break;
        case Control::ScrollBar:
            std::fprintf(out, "  LTEXT %s, %u, %d, %d, %d, 9\n", Quoted(f.label).c_str(),
                         id + kLabelOffset, x, y + 2, kLabelW);
            std::fprintf(out, "  SCROLLBAR %u, %d, %d, %d, 10, SBS_HORZ\n", id, x + kCtrlX, y + 1,
                         ctrlW - 34);
            std::fprintf(out, "  RTEXT \"\", %u, %d, %d, 30, 9\n", id + kValueDisplayOffset,
                         x + colW - 32, y + 2);
            break;
        case Control::CheckBox:
            std::fprintf(out, "  AUTOCHECKBOX %s, %u, %d, %d, %d, 10\n", Quoted(f.label).c_str(),
                         id, x, y + 1, colW - 4);
            break;
        case Control::ColourButton:
            std::fprintf(out, "  LTEXT %s, %u, %d, %d, %d, 9\n", Quoted(f.label).c_str(),
                         id + kLabelOffset, x, y + 2, kLabelW);
            std::fprintf(
                out, "  CONTROL \"\", %u, \"Button\", BS_OWNERDRAW | WS_TABSTOP, %d, %d, 40, 12\n",
                id, x + kCtrlX, y);
            break;
        case Control::FountainView:
            std::fprintf(out, "  LTEXT %s, %u, %d, %d, %d, 9\n", Quoted(f.label).c_str(),
                         id + kLabelOffset, x, y + 2, kLabelW);
            std::fprintf(out,
                         "  CONTROL \"\", %u, \"TsnFountainView\", WS_TABSTOP, %d, %d, %d, %d\n",
                         id, x + kCtrlX, y, ctrlW - 2, 2 * kRow - 1);
            break;
        case Control::DropList:
            std::fprintf(out, "  LTEXT %s, %u, %d, %d, %d, 9\n", Quoted(f.label).c_str(),
                         id + kLabelOffset, x, y + 2, kLabelW);
            std::fprintf(
                out, "  COMBOBOX %u, %d, %d, %d, 14, CBS_DROPDOWNLIST | WS_VSCROLL | WS_TABSTOP\n",
                id, x + kCtrlX, y, ctrlW - 2);
            break;
        case Control::ListBox:
            std::fprintf(out, "  LTEXT %s, %u, %d, %d, %d, 9\n", Quoted(f.label).c_str(),
                         id + kLabelOffset, x, y + 2, kLabelW);
            std::fprintf(
                out,
                "  LISTBOX %u, %d, %d, %d, %d, LBS_NOTIFY | WS_VSCROLL | WS_BORDER | WS_TABSTOP\n",
                id, x + kCtrlX, y, ctrlW - 2, kRow * kListRows - 3);
            break;
        case Control::None:
            break;
    }
}

void WritePage(std::FILE* out, int number) {
    const int kind = KindOfPageTemplate(number);
    std::fprintf(out, "\nMasterTextureBox%02d DIALOGEX 0, 0, %d, %d\n", number,
                 kPageLeft + kPageWidth, kPageTop + kPageHeight);
    std::fprintf(out, "STYLE DS_CONTROL | WS_CHILD\nFONT 8, \"MS Shell Dlg\"\nBEGIN\n");
    const KindDescriptor& info = KindOf(kind);
    if (info.page) {
        const PageTable& t = *info.page;
        auto rowsOf = [](const PageField& f) {
            return f.control == Control::None           ? 0
                   : f.control == Control::ListBox      ? kListRows
                   : f.control == Control::FountainView ? 2
                                                        : 1;
        };
        int shown = 0;
        for (int i = 0; i < t.count; ++i) shown += rowsOf(t.fields[i]);
        // Up to 13 rows in one column; longer pages use two narrower ones.
        const int perColumn = shown > 13 ? (shown + 1) / 2 : 13;
        const int colW = shown > 13 ? kPageWidth / 2 - 2 : kPageWidth;
        int row = 0;
        for (int i = 0; i < t.count; ++i) {
            const int rows = rowsOf(t.fields[i]);
            if (rows == 0) continue;
            // A field never straddles the columns.
            if (row / perColumn != (row + rows - 1) / perColumn)
                row = (row / perColumn + 1) * perColumn;
            const int col = row / perColumn;
            WriteField(out, t.fields[i], kPageLeft + col * (colW + 4),
                       kPageTop + (row % perColumn) * kRow, colW);
            row += rows;
        }
        // The preset library: its list and the add, delete and load buttons.
        const std::uint32_t* e = t.extraControls;
        const int presetY = kPageTop + kPageHeight - 30;
        int extraCount = 0;
        while (e && e[extraCount]) ++extraCount;
        int first = 0;
        if (extraCount >= 4 && KindOfPresetList(e[0]) >= 0) {
            std::fprintf(out, "  LTEXT \"Presets:\", %u, %d, %d, 60, 9\n", e[0] + kLabelOffset,
                         kPageLeft, presetY - 11);
            std::fprintf(
                out, "  COMBOBOX %u, %d, %d, 150, 14, CBS_DROPDOWNLIST | WS_VSCROLL | WS_TABSTOP\n",
                e[0], kPageLeft, presetY);
            const char* captions[] = {"Add...", "Delete", "Load"};
            for (int b = 1; b <= 3; ++b)
                std::fprintf(out, "  PUSHBUTTON %s, %u, %d, %d, 46, 13\n",
                             Quoted(captions[b - 1]).c_str(), e[b], kPageLeft + (b - 1) * 50,
                             presetY + 16);
            first = 4;
        }
        // The control a kind repaints after each render is its picture view:
        // it takes the free part of the page. Other extra controls are check
        // boxes of their own or status lines, under the fields.
        const TextureKind& kindRow = KindAt(kind);
        int top = kPageTop + (std::min(shown, perColumn) + 1) * kRow;
        const int bottom = presetY - 16;
        if (kindRow.flags & kKindRepaintExtra) {
            const int statusLines = extraCount - first - 1;
            const int height = bottom - top - 10 * statusLines - 4;
            std::fprintf(out, "  CONTROL \"\", %u, \"TsnPictureView\", WS_BORDER, %d, %d, %d, %d\n",
                         kindRow.extraControl, kPageLeft, top, kPageWidth - 4, height);
            top += height + 3;
        }
        for (int i = first; i < extraCount; ++i) {
            if ((kindRow.flags & kKindRepaintExtra) && e[i] == kindRow.extraControl) continue;
            if (const ExtraCheckBox* box = FindExtraCheckBox(e[i])) {
                std::fprintf(out, "  AUTOCHECKBOX %s, %u, %d, %d, %d, 10\n",
                             Quoted(box->caption).c_str(), e[i], kPageLeft, top, kPageWidth - 4);
                top += kRow;
            } else {
                std::fprintf(out, "  LTEXT \"\", %u, %d, %d, %d, 9\n", e[i], kPageLeft, top,
                             kPageWidth - 4);
                top += 10;
            }
        }
    }
    std::fprintf(out, "END\n");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_pages_rc OUTPUT.rc\n");
        return 2;
    }
    std::FILE* out = std::fopen(argv[1], "w");
    if (!out) {
        std::perror(argv[1]);
        return 1;
    }
    std::fprintf(out, "// Generated from the kinds' page tables by make_pages_rc; do not edit.\n");
    std::fprintf(out, "#include <windows.h>\n#include <commctrl.h>\n");
    for (int n = 1; n <= kKindCount; ++n) WritePage(out, n);
    return std::fclose(out) == 0 ? 0 : 1;
}
