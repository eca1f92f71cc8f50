// The colour dialog every colour button and the colour-map editor open: a
// saturation/value square with a hue strip, red, green and blue fields, and
// the colour database with its add, delete and global/local switch.
#include <windows.h>
// After windows.h, which it needs.
#include <shellapi.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "app/config_file.h"
#include "colour/colour_database.h"
#include "frame/frame.h"

namespace tsn::win {

namespace {

enum : int {
    kOpenTable = 101,
    kDatabase = 108,
    kAdd = 109,
    kDelete = 110,
    kSquare = 700,
    kHueStrip = 701,
    kSample = 705,
    kRed = 706,
    kGreen = 707,
    kBlue = 708,
    kPlace = 709,  // "global" or "local"
};

constexpr char kPickerClass[] = "TsnColourPicker";

struct ColourDialog {
    std::uint32_t colour, original;
    double hue, saturation, value;  // 0..360, 0..1, 0..1
    bool updating;
    char path[kMaxPath + 1];
};

std::uint32_t FromHsv(double h, double s, double v) {
    const double c = v * s, hp = h / 60.0;
    const double x = c * (1 - std::abs(hp - 2 * int(hp / 2) - 1));
    double r = 0, g = 0, b = 0;
    if (hp < 1)
        r = c, g = x;
    else if (hp < 2)
        r = x, g = c;
    else if (hp < 3)
        g = c, b = x;
    else if (hp < 4)
        g = x, b = c;
    else if (hp < 5)
        r = x, b = c;
    else
        r = c, b = x;
    const double m = v - c;
    auto byte = [&](double t) {
        return std::uint32_t(std::clamp(int((t + m) * 255 + 0.5), 0, 255));
    };
    return byte(r) | byte(g) << 8 | byte(b) << 16;
}

void ToHsv(std::uint32_t c, ColourDialog* d) {
    const double r = (c & 0xFF) / 255.0, g = ((c >> 8) & 0xFF) / 255.0,
                 b = ((c >> 16) & 0xFF) / 255.0;
    const double mx = std::max({r, g, b}), mn = std::min({r, g, b}), delta = mx - mn;
    d->value = mx;
    d->saturation = mx > 0 ? delta / mx : 0;
    // A grey keeps the hue it had, so the square does not jump.
    if (delta <= 0) return;
    double h = mx == r ? (g - b) / delta : mx == g ? 2 + (b - r) / delta : 4 + (r - g) / delta;
    h *= 60;
    d->hue = h < 0 ? h + 360 : h;
}

ColourDialog* DialogOf(HWND d) {
    return reinterpret_cast<ColourDialog*>(GetWindowLongPtrA(d, DWLP_USER));
}

// Shows the colour everywhere but in the control it came from.
void Show(HWND d, ColourDialog* c, int from) {
    c->updating = true;
    const int channel[3] = {int(c->colour & 0xFF), int((c->colour >> 8) & 0xFF),
                            int((c->colour >> 16) & 0xFF)};
    for (int i = 0; i < 3; ++i)
        if (from != kRed + i) SetDlgItemInt(d, kRed + i, UINT(channel[i]), FALSE);
    c->updating = false;
    for (int id : {int(kSquare), int(kHueStrip), int(kSample)})
        InvalidateRect(GetDlgItem(d, id), nullptr, FALSE);
}

void SetColour(HWND d, ColourDialog* c, std::uint32_t colour, int from) {
    c->colour = colour & 0xFFFFFF;
    ToHsv(c->colour, c);
    Show(d, c, from);
}

// The square (saturation across, value up) or the hue strip, drawn as a
// bitmap of its size.
void PaintPicker(HWND w) {
    PAINTSTRUCT ps;
    HDC dc = BeginPaint(w, &ps);
    RECT r;
    GetClientRect(w, &r);
    ColourDialog* c = DialogOf(GetParent(w));
    const int width = std::max(1L, r.right), height = std::max(1L, r.bottom);
    const bool square = GetDlgCtrlID(w) == kSquare;
    BITMAPINFO bi = {};
    bi.bmiHeader = {sizeof bi.bmiHeader, width, -height, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void* bits = nullptr;
    HBITMAP bmp = CreateDIBSection(dc, &bi, DIB_RGB_COLORS, &bits, nullptr, 0);
    if (bmp && c) {
        auto* px = static_cast<std::uint32_t*>(bits);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                const double fy = 1.0 - double(y) / std::max(1, height - 1);
                const std::uint32_t rgb =
                    square ? FromHsv(c->hue, double(x) / std::max(1, width - 1), fy)
                           : FromHsv(std::min(359.999, (1.0 - fy) * 360), 1, 1);
                // The DIB holds blue in the low byte.
                px[y * width + x] = (rgb & 0xFF) << 16 | (rgb & 0xFF00) | (rgb >> 16 & 0xFF);
            }
        HDC mem = CreateCompatibleDC(dc);
        HGDIOBJ old = SelectObject(mem, bmp);
        // The marker: a ring at the chosen point, a bar at the chosen hue.
        SelectObject(mem, GetStockObject(NULL_BRUSH));
        const int oldRop = SetROP2(mem, R2_NOT);
        if (square) {
            const int x = int(c->saturation * (width - 1) + 0.5);
            const int y = int((1 - c->value) * (height - 1) + 0.5);
            Ellipse(mem, x - 4, y - 4, x + 5, y + 5);
        } else {
            const int y = int(c->hue / 360 * (height - 1) + 0.5);
            Rectangle(mem, 0, y - 1, width, y + 2);
        }
        SetROP2(mem, oldRop);
        BitBlt(dc, 0, 0, width, height, mem, 0, 0, SRCCOPY);
        SelectObject(mem, old);
        DeleteDC(mem);
    }
    if (bmp) DeleteObject(bmp);
    EndPaint(w, &ps);
}

void Pick(HWND w, int x, int y) {
    HWND d = GetParent(w);
    ColourDialog* c = DialogOf(d);
    if (!c) return;
    RECT r;
    GetClientRect(w, &r);
    const double fx = std::clamp(double(x) / std::max(1L, r.right - 1), 0.0, 1.0);
    const double fy = std::clamp(double(y) / std::max(1L, r.bottom - 1), 0.0, 1.0);
    if (GetDlgCtrlID(w) == kSquare) {
        c->saturation = fx;
        c->value = 1 - fy;
    } else {
        c->hue = std::min(359.999, fy * 360);
    }
    c->colour = FromHsv(c->hue, c->saturation, c->value);
    Show(d, c, 0);
}

LRESULT CALLBACK PickerProc(HWND w, UINT msg, WPARAM wp, LPARAM lp) {
    const int x = short(LOWORD(lp)), y = short(HIWORD(lp));
    switch (msg) {
        case WM_PAINT:
            PaintPicker(w);
            return 0;
        case WM_ERASEBKGND:
            return 1;
        case WM_LBUTTONDOWN:
            SetCapture(w);
            Pick(w, x, y);
            return 0;
        case WM_MOUSEMOVE:
            if (GetCapture() == w) Pick(w, x, y);
            return 0;
        case WM_LBUTTONUP:
            if (GetCapture() == w) ReleaseCapture();
            return 0;
    }
    return DefWindowProcA(w, msg, wp, lp);
}

// The database in force into the list, in file order.
void LoadList(HWND d, ColourDialog* c) {
    HWND list = GetDlgItem(d, kDatabase);
    SendMessageA(list, LB_RESETCONTENT, 0, 0);
    ColourDatabasePath(Config().colourTableFile, c->path);
    MemHandle block = 0;
    int n = 0;
    if (LoadColourDatabase(c->path, &block, &n)) {
        const auto* e = static_cast<const NamedColour*>(MemLock(block));
        for (int i = 0; e && i < n; ++i) {
            const LRESULT at = SendMessageA(list, LB_ADDSTRING, 0, LPARAM(e[i].name));
            if (at >= 0) SendMessageA(list, LB_SETITEMDATA, WPARAM(at), LPARAM(e[i].colour));
        }
        MemUnlock(block);
        MemFree(block);
    }
    const bool global = GlobalColourDatabaseExists();
    SetDlgItemTextA(d, kPlace, global ? "Global color database" : "Local color database");
    EnableWindow(GetDlgItem(d, kOpenTable), !global);
}

bool SaveList(HWND d, ColourDialog* c) {
    HWND list = GetDlgItem(d, kDatabase);
    const int n = int(SendMessageA(list, LB_GETCOUNT, 0, 0));
    if (n < 0) return false;
    MemHandle block = MemAlloc(sizeof(NamedColour) * std::size_t(std::max(n, 1)));
    auto* e = static_cast<NamedColour*>(MemLock(block));
    int kept = 0;
    for (int i = 0; e && i < n; ++i) {
        if (SendMessageA(list, LB_GETTEXTLEN, WPARAM(i), 0) >= LRESULT(sizeof e[kept].name))
            continue;
        if (SendMessageA(list, LB_GETTEXT, WPARAM(i), LPARAM(e[kept].name)) < 0) continue;
        e[kept++].colour = std::uint32_t(SendMessageA(list, LB_GETITEMDATA, WPARAM(i), 0));
    }
    char folder[kMaxPath + 1];
    std::snprintf(folder, sizeof folder, "%s", c->path);
    if (char* slash = std::strrchr(folder, '\\')) slash[1] = 0;
    const bool ok = e && MakeFolders(folder) && SaveColourDatabase(c->path, e, kept);
    MemUnlock(block);
    MemFree(block);
    return ok;
}

INT_PTR CALLBACK NameProc(HWND d, UINT msg, WPARAM wp, LPARAM lp) {
    switch (msg) {
        case WM_INITDIALOG:
            SetWindowLongPtrA(d, DWLP_USER, lp);
            SendDlgItemMessageA(d, 100, EM_LIMITTEXT, 240, 0);
            return TRUE;
        case WM_COMMAND:
            if (LOWORD(wp) == IDOK) {
                char* name = reinterpret_cast<char*>(GetWindowLongPtrA(d, DWLP_USER));
                GetDlgItemTextA(d, 100, name, kMaxPath);
                const char* problem = ColourNameProblem(name);
                if (problem[0]) {
                    ShowMessage(d, problem);
                    return TRUE;
                }
                EndDialog(d, IDOK);
                return TRUE;
            }
            if (LOWORD(wp) == IDCANCEL) {
                EndDialog(d, IDCANCEL);
                return TRUE;
            }
            break;
    }
    return FALSE;
}

void Add(HWND d, ColourDialog* c) {
    HWND list = GetDlgItem(d, kDatabase);
    const int n = int(SendMessageA(list, LB_GETCOUNT, 0, 0));
    for (int i = 0; i < n; ++i) {
        if (std::uint32_t(SendMessageA(list, LB_GETITEMDATA, WPARAM(i), 0)) != c->colour) continue;
        char name[kMaxPath] = {}, text[kMaxPath + 160];
        if (SendMessageA(list, LB_GETTEXTLEN, WPARAM(i), 0) < LRESULT(sizeof name))
            SendMessageA(list, LB_GETTEXT, WPARAM(i), LPARAM(name));
        std::snprintf(text, sizeof text,
                      "This color already exists in the current color database as %s. Do you "
                      "wish to add it anyway?",
                      name);
        if (!AskYesNo(d, text)) return;
    }
    char name[kMaxPath] = {};
    if (DialogBoxParamA(Lib().module, "COMMONAddColourBox", d, NameProc, LPARAM(name)) != IDOK)
        return;
    const LRESULT at = SendMessageA(list, LB_ADDSTRING, 0, LPARAM(name));
    if (at < 0) return;
    SendMessageA(list, LB_SETITEMDATA, WPARAM(at), LPARAM(c->colour));
    SendMessageA(list, LB_SETCURSEL, WPARAM(at), 0);
    SaveList(d, c);
}

void SwitchGlobal(HWND d, ColourDialog* c) {
    char global[kMaxPath + 1], local[kMaxPath + 1];
    if (!GlobalColourDatabasePath(global) ||
        !LocalColourDatabasePath(Config().colourTableFile, local))
        return;
    if (!GlobalColourDatabaseExists()) {
        if (!AskYesNo(d,
                      "Do you want to make your current color database the global database "
                      "for all your Vantorel software?"))
            return;
        CopyColourDatabase(local, global);
    } else {
        if (!AskYesNo(d,
                      "Do you want to remove the current global color database for all your "
                      "Vantorel software?"))
            return;
        char from[kMaxPath + 2] = {};  // doubly terminated
        std::snprintf(from, kMaxPath + 1, "%s", global);
        SHFILEOPSTRUCTA op = {};
        op.hwnd = d;
        op.wFunc = FO_DELETE;
        op.pFrom = from;
        op.fFlags = FOF_ALLOWUNDO | FOF_NOCONFIRMATION | FOF_SILENT | FOF_NOERRORUI;
        SHFileOperationA(&op);
    }
    LoadList(d, c);
}

void Delete(HWND d, ColourDialog* c) {
    HWND list = GetDlgItem(d, kDatabase);
    const LRESULT sel = SendMessageA(list, LB_GETCURSEL, 0, 0);
    if (sel < 0) return;
    if (!AskYesNo(d, "Do you really want to delete this color from the current color database?"))
        return;
    SendMessageA(list, LB_DELETESTRING, WPARAM(sel), 0);
    SaveList(d, c);
    SendMessageA(list, LB_SETCURSEL, WPARAM(sel > 0 ? sel - 1 : 0), 0);
}

// The table box: the database files of the local folder, or a new name typed
// into the edit; the chosen name becomes the local database's file name.
INT_PTR CALLBACK TableProc(HWND d, UINT msg, WPARAM wp, LPARAM) {
    switch (msg) {
        case WM_INITDIALOG: {
            SendDlgItemMessageA(d, 101, EM_LIMITTEXT, 120, 0);
            SetDlgItemTextA(d, 101, Config().colourTableFile);
            char pattern[kMaxPath + 1];
            if (!LocalColourDatabasePath("*.ccl", pattern)) return TRUE;
            WIN32_FIND_DATAA found;
            HANDLE h = FindFirstFileA(pattern, &found);
            if (h == INVALID_HANDLE_VALUE) return TRUE;
            do {
                if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
                    SendDlgItemMessageA(d, 100, LB_ADDSTRING, 0, LPARAM(found.cFileName));
            } while (FindNextFileA(h, &found));
            FindClose(h);
            const LRESULT at = SendDlgItemMessageA(d, 100, LB_FINDSTRINGEXACT, WPARAM(-1),
                                                   LPARAM(Config().colourTableFile));
            if (at >= 0) SendDlgItemMessageA(d, 100, LB_SETCURSEL, WPARAM(at), 0);
            return TRUE;
        }
        case WM_COMMAND: {
            const int id = LOWORD(wp), code = HIWORD(wp);
            if (id == 100 && (code == LBN_SELCHANGE || code == LBN_DBLCLK)) {
                const LRESULT sel = SendDlgItemMessageA(d, 100, LB_GETCURSEL, 0, 0);
                char name[kMaxPath] = {};
                if (sel >= 0 && SendDlgItemMessageA(d, 100, LB_GETTEXTLEN, WPARAM(sel), 0) <
                                    LRESULT(sizeof name)) {
                    SendDlgItemMessageA(d, 100, LB_GETTEXT, WPARAM(sel), LPARAM(name));
                    SetDlgItemTextA(d, 101, name);
                }
                if (code == LBN_DBLCLK) PostMessageA(d, WM_COMMAND, IDOK, 0);
                return TRUE;
            }
            if (id == IDOK) {
                char name[kMaxPath] = {};
                GetDlgItemTextA(d, 101, name, sizeof name);
                if (!name[0] || std::strpbrk(name, "\\/:*?\"<>|")) {
                    ShowMessage(d, "Please enter the name of a file in the color table folder.");
                    return TRUE;
                }
                std::snprintf(Config().colourTableFile, sizeof Config().colourTableFile, "%s",
                              name);
                EndDialog(d, IDOK);
                return TRUE;
            }
            if (id == IDCANCEL) {
                EndDialog(d, IDCANCEL);
                return TRUE;
            }
            break;
        }
    }
    return FALSE;
}

INT_PTR CALLBACK ColourProc(HWND d, UINT msg, WPARAM wp, LPARAM lp) {
    ColourDialog* c = DialogOf(d);
    switch (msg) {
        case WM_INITDIALOG:
            SetWindowLongPtrA(d, DWLP_USER, lp);
            c = reinterpret_cast<ColourDialog*>(lp);
            for (int id : {int(kRed), int(kGreen), int(kBlue)})
                SendDlgItemMessageA(d, id, EM_LIMITTEXT, 3, 0);
            LoadList(d, c);
            SetColour(d, c, c->colour, 0);
            return TRUE;
        case WM_DRAWITEM: {
            const auto* di = reinterpret_cast<const DRAWITEMSTRUCT*>(lp);
            if (di->CtlID != kSample || !c) return FALSE;
            RECT left = di->rcItem, right = di->rcItem;
            left.right = right.left = (di->rcItem.left + di->rcItem.right) / 2;
            for (auto [part, colour] :
                 {std::pair{left, c->colour}, std::pair{right, c->original}}) {
                HBRUSH b = CreateSolidBrush(COLORREF(colour));
                FillRect(di->hDC, &part, b);
                DeleteObject(b);
            }
            FrameRect(di->hDC, &di->rcItem, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
            return TRUE;
        }
        case WM_COMMAND: {
            const int id = LOWORD(wp), code = HIWORD(wp);
            if (!c) return FALSE;
            if ((id == kRed || id == kGreen || id == kBlue) && code == EN_CHANGE && !c->updating) {
                BOOL ok = FALSE;
                const UINT v = std::min<UINT>(GetDlgItemInt(d, id, &ok, FALSE), 255);
                const int shift = 8 * (id - kRed);
                SetColour(d, c, (c->colour & ~(0xFFu << shift)) | (v << shift), id);
                return TRUE;
            }
            if (id == kDatabase && (code == LBN_SELCHANGE || code == LBN_DBLCLK)) {
                const LRESULT sel = SendDlgItemMessageA(d, kDatabase, LB_GETCURSEL, 0, 0);
                if (sel >= 0)
                    SetColour(d, c,
                              std::uint32_t(SendDlgItemMessageA(d, kDatabase, LB_GETITEMDATA,
                                                                WPARAM(sel), 0)),
                              0);
                if (code == LBN_DBLCLK) EndDialog(d, IDOK);
                return TRUE;
            }
            switch (id) {
                case kAdd:
                    if (GetKeyState(VK_SHIFT) < 0) {
                        SwitchGlobal(d, c);
                    } else {
                        Add(d, c);
                    }
                    return TRUE;
                case kDelete:
                    Delete(d, c);
                    return TRUE;
                case kOpenTable:
                    if (DialogBoxParamA(Lib().module, "COMMONOpenColourTableBox", d, TableProc,
                                        0) == IDOK)
                        LoadList(d, c);
                    return TRUE;
                case 9:
                    OpenHelpPage(d, "colors.html");
                    return TRUE;
                case IDOK:
                case IDCANCEL:
                    EndDialog(d, id);
                    return TRUE;
            }
            break;
        }
    }
    return FALSE;
}

}  // namespace

bool RegisterColourPicker(HINSTANCE module) {
    return RegisterControlClass(module, kPickerClass, PickerProc, IDC_CROSS);
}

void UnregisterColourPicker(HINSTANCE module) {
    UnregisterClassA(kPickerClass, module);
}

bool ChooseColour(HWND owner, std::uint32_t* colour) {
    ColourDialog c = {};
    c.colour = c.original = *colour & 0xFFFFFF;
    if (DialogBoxParamA(Lib().module, "TsnColourBox", owner, ColourProc, LPARAM(&c)) != IDOK)
        return false;
    *colour = c.colour;
    return true;
}

}  // namespace tsn::win
