// Controls and small dialogs the pages share: the page operations over real
// windows and the plug-in's message dialogs.
#include <windows.h>
// After windows.h, which it needs.
#include <commctrl.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "colour/fountain.h"
#include "core/image.h"
#include "core/page.h"
#include "frame/frame.h"

namespace tsn::win {

namespace {

HWND Control(PageRef page, std::uint32_t id) {
    return GetDlgItem(reinterpret_cast<HWND>(page), int(id));
}

bool IsClass(HWND w, const char* name) {
    char cls[64] = {};
    GetClassNameA(w, cls, sizeof cls);
    return lstrcmpiA(cls, name) == 0;
}

bool GetText(PageRef page, std::uint32_t id, char* buf, int cap) {
    if (cap > 0) buf[0] = 0;
    HWND w = Control(page, id);
    if (!w) return false;
    GetWindowTextA(w, buf, cap);
    return true;
}

void SetText(PageRef page, std::uint32_t id, const char* text) {
    HWND w = Control(page, id);
    if (!w) return;
    SetWindowTextA(w, text);
    // An up-down control keeps its range as text for the page reader; its
    // arrows need the range as numbers too.
    int mn, mx, def;
    if (IsClass(w, UPDOWN_CLASSA) && ParseRangeText(text, &mn, &mx, &def))
        SendMessageA(w, UDM_SETRANGE32, WPARAM(mn), LPARAM(mx));
    InvalidateRect(w, nullptr, TRUE);
}

bool GetCheck(PageRef page, std::uint32_t id) {
    return IsDlgButtonChecked(reinterpret_cast<HWND>(page), int(id)) == BST_CHECKED;
}

void SetCheck(PageRef page, std::uint32_t id, bool on) {
    CheckDlgButton(reinterpret_cast<HWND>(page), int(id), on ? BST_CHECKED : BST_UNCHECKED);
}

int GetScroll(PageRef page, std::uint32_t id) {
    HWND w = Control(page, id);
    return w ? GetScrollPos(w, SB_CTL) : 0;
}

void SetScroll(PageRef page, std::uint32_t id, int min, int max, int pos) {
    HWND w = Control(page, id);
    if (!w) return;
    SetScrollRange(w, SB_CTL, min, max, FALSE);
    SetScrollPos(w, SB_CTL, pos, TRUE);
}

bool IsListBox(HWND w) {
    return IsClass(w, "ListBox");
}

int GetSelection(PageRef page, std::uint32_t id) {
    HWND w = Control(page, id);
    if (!w) return -1;
    const LRESULT sel = SendMessageA(w, IsListBox(w) ? LB_GETCURSEL : CB_GETCURSEL, 0, 0);
    return sel < 0 ? -1 : int(sel);
}

void SetSelection(PageRef page, std::uint32_t id, const char* items, int index) {
    HWND w = Control(page, id);
    if (!w) return;
    const bool list = IsListBox(w);
    if (items) {
        SendMessageA(w, list ? LB_RESETCONTENT : CB_RESETCONTENT, 0, 0);
        const char* start = items;
        for (const char* p = items;; ++p) {
            if (*p != ';' && *p) continue;
            char text[128];
            const std::size_t n = std::min<std::size_t>(std::size_t(p - start), sizeof text - 1);
            std::memcpy(text, start, n);
            text[n] = 0;
            SendMessageA(w, list ? LB_ADDSTRING : CB_ADDSTRING, 0, LPARAM(text));
            if (!*p) break;
            start = p + 1;
        }
    }
    SendMessageA(w, list ? LB_SETCURSEL : CB_SETCURSEL, WPARAM(index), 0);
}

const PageOps kWin32Ops = {GetText,   SetText,   GetCheck,     SetCheck,
                           GetScroll, SetScroll, GetSelection, SetSelection};

INT_PTR CALLBACK MessageProc(HWND w, UINT msg, WPARAM wp, LPARAM lp) {
    switch (msg) {
        case WM_INITDIALOG:
            SetDlgItemTextA(w, 100, reinterpret_cast<const char*>(lp));
            return TRUE;
        case WM_COMMAND:
            if (LOWORD(wp) == IDOK || LOWORD(wp) == IDCANCEL || LOWORD(wp) == IDYES ||
                LOWORD(wp) == IDNO) {
                EndDialog(w, LOWORD(wp) == IDCANCEL ? IDNO : LOWORD(wp));
                return TRUE;
            }
            break;
    }
    return FALSE;
}

}  // namespace

const PageOps* Win32PageOps() {
    return &kWin32Ops;
}

void ShowMessage(HWND owner, const char* text) {
    DialogBoxParamA(Lib().module, "MessageBox", owner, MessageProc, LPARAM(text));
}

bool AskYesNo(HWND owner, const char* text) {
    return DialogBoxParamA(Lib().module, "YesnoBox", owner, MessageProc, LPARAM(text)) == IDYES;
}

bool RegisterControlClass(HINSTANCE module, const char* name, WNDPROC proc, LPCSTR cursor,
                          UINT extra) {
    WNDCLASSA wc = {};
    wc.style = CS_HREDRAW | CS_VREDRAW | CS_GLOBALCLASS | extra;
    wc.lpfnWndProc = proc;
    wc.hInstance = module;
    wc.hCursor = LoadCursor(nullptr, cursor);
    wc.lpszClassName = name;
    return RegisterClassA(&wc) != 0;
}

bool RegisterControlClasses(HINSTANCE module) {
    const bool fountain = RegisterFountainEditor(module);
    const bool picker = RegisterColourPicker(module);
    return RegisterPictureView(module) && fountain && picker;
}

void UnregisterControlClasses(HINSTANCE module) {
    UnregisterFountainEditor(module);
    UnregisterColourPicker(module);
    UnregisterPictureView(module);
}

void DrawImage(HDC dc, HGLOBAL image, const RECT& dest) {
    ImageView v;
    if (!LockImage(reinterpret_cast<MemHandle>(image), &v)) return;
    SetStretchBltMode(dc, HALFTONE);
    SetBrushOrgEx(dc, 0, 0, nullptr);
    StretchDIBits(dc, dest.left, dest.top, dest.right - dest.left, dest.bottom - dest.top, 0, 0,
                  v.width, v.depth, v.bits, reinterpret_cast<BITMAPINFO*>(v.header), DIB_RGB_COLORS,
                  SRCCOPY);
    UnlockImage(&v);
}

void DrawFramed(HDC dc, const RECT& button, const RECT* picture) {
    HBRUSH face = GetSysColorBrush(COLOR_BTNFACE);
    if (!picture) {
        FillRect(dc, &button, face);
        FrameRect(dc, &button, GetSysColorBrush(COLOR_BTNSHADOW));
        return;
    }
    // Fill around the picture, then frame it.
    RECT parts[4] = {{button.left, button.top, button.right, picture->top},
                     {button.left, picture->bottom, button.right, button.bottom},
                     {button.left, picture->top, picture->left, picture->bottom},
                     {picture->right, picture->top, button.right, picture->bottom}};
    for (const RECT& p : parts)
        if (p.right > p.left && p.bottom > p.top) FillRect(dc, &p, face);
    RECT frame = *picture;
    InflateRect(&frame, 1, 1);
    FrameRect(dc, &frame, GetSysColorBrush(COLOR_BTNSHADOW));
}

void DrawDecoratedButton(const DRAWITEMSTRUCT* d) {
    RECT r = d->rcItem;
    const bool pressed = d->itemState & ODS_SELECTED;
    DrawFrameControl(d->hDC, &r, DFC_BUTTON, DFCS_BUTTONPUSH | (pressed ? DFCS_PUSHED : 0));
    char text[64] = {};
    GetWindowTextA(d->hwndItem, text, sizeof text);
    SetBkMode(d->hDC, TRANSPARENT);
    SetTextColor(d->hDC,
                 GetSysColor((d->itemState & ODS_DISABLED) ? COLOR_GRAYTEXT : COLOR_BTNTEXT));
    if (pressed) OffsetRect(&r, 1, 1);
    DrawTextA(d->hDC, text, -1, &r, DT_CENTER | DT_VCENTER | DT_SINGLELINE);
    if (d->itemState & ODS_FOCUS) {
        InflateRect(&r, -3, -3);
        DrawFocusRect(d->hDC, &r);
    }
}

void DrawColourButton(const DRAWITEMSTRUCT* d) {
    char text[32] = {};
    GetWindowTextA(d->hwndItem, text, sizeof text);
    const unsigned long c = std::strtoul(text, nullptr, 16);
    RECT r = d->rcItem;
    DrawEdge(d->hDC, &r, EDGE_SUNKEN, BF_RECT | BF_ADJUST);
    HBRUSH brush = CreateSolidBrush(COLORREF(c & 0xFFFFFF));
    FillRect(d->hDC, &r, brush);
    DeleteObject(brush);
}

bool StepScrollBar(HWND bar, int code) {
    int mn = 0, mx = 0;
    GetScrollRange(bar, SB_CTL, &mn, &mx);
    const int pos = GetScrollPos(bar, SB_CTL);
    int next = pos;
    switch (code) {
        case SB_LINELEFT:
            next = pos - 1;
            break;
        case SB_LINERIGHT:
            next = pos + 1;
            break;
        case SB_PAGELEFT:
            next = pos - mx / 8;
            break;
        case SB_PAGERIGHT:
            next = pos + mx / 8;
            break;
        case SB_THUMBPOSITION:
        case SB_THUMBTRACK: {
            SCROLLINFO si = {sizeof si, SIF_TRACKPOS, 0, 0, 0, 0, 0};
            GetScrollInfo(bar, SB_CTL, &si);
            next = si.nTrackPos;
            if (code == SB_THUMBTRACK) InvalidateRect(bar, nullptr, FALSE);
            break;
        }
        default:
            return false;
    }
    next = std::clamp(next, 0, mx);
    if (next == pos) return false;
    SetScrollPos(bar, SB_CTL, next, TRUE);
    return true;
}

}  // namespace tsn::win
