// The colour-map editor control on every page that shows a colour map: the
// gradient with its markers, edited by mouse and context menus, and the
// "Color Map Library" dialog. The rules themselves are the portable ones of
// textures/gradient/fountain_editor.h.
#include <windows.h>
// After windows.h, which it needs.
#include <commctrl.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "colour/fountain_editor.h"
#include "colour/fountain_library.h"
#include "core/image.h"
#include "frame/frame.h"

namespace tsn::win {

namespace {

constexpr char kEditorClass[] = "TsnFountainView";

// Private messages of the editor.
constexpr UINT kMsgChangeColour = WM_USER + 310;  // 1334, marker n
constexpr UINT kMsgAddMarker = WM_USER + 311;     // 1335, position n
constexpr UINT kMsgDeleteMarker = WM_USER + 312;  // 1336
constexpr UINT kMsgAdjustMarker = WM_USER + 313;  // 1337
constexpr UINT kMsgMarkerMenu = WM_USER + 314;    // 1338, n, point
constexpr UINT kMsgLibraryMenu = WM_USER + 315;   // 1339, point

enum MenuId : UINT {
    kDeleteMarker = 100,
    kChangeColour = 101,
    kAdjustPosition = 102,
    kAddToLibrary = 103,
    kManageLibrary = 104
};

// Keeps a second colour dialog from opening while one is up.
bool g_choosing = false;

FountainDefinition* Own(HWND w) {
    return reinterpret_cast<FountainDefinition*>(GetWindowLongPtrA(w, GWLP_USERDATA));
}

EditorRect RectOf(HWND w) {
    RECT r;
    GetClientRect(w, &r);
    return {r.left, r.top, r.right, r.bottom};
}

void Rerender(HWND w, FountainDefinition* f) {
    MemFree(f->cachedImage);
    const EditorRect r = RectOf(w);
    f->cachedImage =
        RenderFountain(*f, std::max(1, GradientWidth(r)), std::max(1, GradientHeight(r)));
}

// After every change: a new preview, a repaint, and the page is told.
void Changed(HWND w, FountainDefinition* f) {
    Rerender(w, f);
    InvalidateRect(w, nullptr, FALSE);
    SendMessageA(GetParent(w), WM_COMMAND, MAKEWPARAM(GetDlgCtrlID(w), BN_CLICKED), LPARAM(w));
}

void Triangle(HDC dc, int x, int top) {
    const POINT p[3] = {{x - 5, top + 4}, {x + 5, top + 4}, {x, top + 9}};
    Polygon(dc, p, 3);
}

void Paint(HWND w, FountainDefinition* f) {
    PAINTSTRUCT ps;
    HDC screen = BeginPaint(w, &ps);
    RECT c;
    GetClientRect(w, &c);
    HDC dc = CreateCompatibleDC(screen);
    HBITMAP bmp = CreateCompatibleBitmap(screen, std::max(1L, c.right), std::max(1L, c.bottom));
    HGDIOBJ oldBmp = SelectObject(dc, bmp);
    const EditorRect r = RectOf(w);
    FillRect(dc, &c, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
    FrameRect(dc, &c, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
    const RECT strip = {r.left + 8, r.top + 3, r.right - 8, r.top + 11};
    FillRect(dc, &strip, static_cast<HBRUSH>(GetStockObject(LTGRAY_BRUSH)));
    RECT gradient = {r.left + 8, r.top + 16, r.right - 8, r.bottom - 4};
    if (f && f->cachedImage) {
        DrawImage(dc, reinterpret_cast<HGLOBAL>(f->cachedImage), gradient);
        RECT frame = gradient;
        InflateRect(&frame, 1, 1);
        FrameRect(dc, &frame, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
    } else {
        FillRect(dc, &gradient, GetSysColorBrush(COLOR_BTNFACE));
    }
    if (f) {
        HGDIOBJ oldBrush = SelectObject(dc, GetStockObject(BLACK_BRUSH));
        HGDIOBJ oldPen = SelectObject(dc, GetStockObject(BLACK_PEN));
        for (int x : {r.left + 8, r.right - 8}) {
            const RECT block = {x - 5, r.top + 4, x + 5, r.top + 10};
            FillRect(dc, &block, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
        }
        SelectObject(dc, GetStockObject(GRAY_BRUSH));
        for (int i = 0; i < int(std::min<std::uint32_t>(f->count, 64)); ++i)
            Triangle(dc, MarkerX(*f, i, r), r.top);
        const FountainEditorState s = GetEditorState(*f);
        if (s.drawn) {
            const int oldRop = SetROP2(dc, R2_NOT);
            Triangle(dc, s.lastX, r.top);
            SetROP2(dc, oldRop);
        }
        SelectObject(dc, oldBrush);
        SelectObject(dc, oldPen);
    }
    BitBlt(screen, 0, 0, c.right, c.bottom, dc, 0, 0, SRCCOPY);
    SelectObject(dc, oldBmp);
    DeleteObject(bmp);
    DeleteDC(dc);
    EndPaint(w, &ps);
}

INT_PTR CALLBACK PositionProc(HWND d, UINT msg, WPARAM wp, LPARAM lp) {
    switch (msg) {
        case WM_INITDIALOG:
            SendDlgItemMessageA(d, 101, UDM_SETRANGE32, 1, 255);
            SetDlgItemInt(d, 100, UINT(lp), FALSE);
            return TRUE;
        case WM_COMMAND:
            if (LOWORD(wp) == IDOK || LOWORD(wp) == IDCANCEL) {
                BOOL ok = FALSE;
                const UINT v = GetDlgItemInt(d, 100, &ok, FALSE);
                EndDialog(d, LOWORD(wp) == IDOK && ok ? INT_PTR(std::clamp<UINT>(v, 1, 255)) : 0);
                return TRUE;
            }
            break;
    }
    return FALSE;
}

void ShowMenu(HWND w, bool library, POINT at) {
    HMENU menu = CreatePopupMenu();
    if (!menu) return;
    if (library) {
        AppendMenuA(menu, MF_STRING, kAddToLibrary, "Add to library");
        AppendMenuA(menu, MF_STRING, kManageLibrary, "Manage library");
    } else {
        AppendMenuA(menu, MF_STRING, kDeleteMarker, "Delete marker");
        AppendMenuA(menu, MF_STRING, kChangeColour, "Change color");
        AppendMenuA(menu, MF_STRING, kAdjustPosition, "Adjust position");
    }
    ClientToScreen(w, &at);
    TrackPopupMenu(menu, TPM_LEFTALIGN | TPM_RIGHTBUTTON, at.x, at.y, 0, w, nullptr);
    DestroyMenu(menu);
}

void LibraryCommand(HWND w, FountainDefinition* f, UINT id) {
    char path[kMaxPath + 1], folder[kMaxPath + 1];
    if (id == kAddToLibrary) {
        const bool ok = FountainLibraryPath(path) && TextureFolder(folder) && MakeFolders(folder) &&
                        AppendToFountainLibrary(path, *f);
        if (!ok) ShowMessage(w, "There has been an error adding this library entry.");
    } else if (RunFountainLibraryDialog(w, f)) {
        Changed(w, f);
    }
}

void OnCommand(HWND w, FountainDefinition* f, UINT id) {
    const int n = GetEditorState(*f).selected;
    switch (id) {
        case kDeleteMarker:
            PostMessageA(w, kMsgDeleteMarker, WPARAM(n), 0);
            break;
        case kChangeColour:
            PostMessageA(w, kMsgChangeColour, WPARAM(n), 0);
            break;
        case kAdjustPosition:
            PostMessageA(w, kMsgAdjustMarker, WPARAM(n), 0);
            break;
        case kAddToLibrary:
        case kManageLibrary:
            LibraryCommand(w, f, id);
            break;
    }
}

// Whether closing editors write their records back to the files they name:
// only when the dialog that holds them was confirmed, never on Cancel.
bool g_writeBackOnClose = false;

// The editor's handlers, one a message.
LRESULT OnSetFountain(HWND w, FountainDefinition* f, LPARAM lp) {
    const auto* given = reinterpret_cast<const FountainDefinition*>(lp);
    if (!given) return 0;
    if (!f) {
        f = static_cast<FountainDefinition*>(
            HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(FountainDefinition)));
        if (!f) return 0;
        SetWindowLongPtrA(w, GWLP_USERDATA, LONG_PTR(f));
    }
    // The editor owns its copy and its preview alone.
    MemFree(f->cachedImage);
    std::memcpy(f, given, sizeof *f);
    f->cachedImage = 0;
    if (f->count > 64) f->count = 64;
    SetEditorState(f, FountainEditorState{-1, 0, 0, 0, 0, 0, 0});
    Rerender(w, f);
    InvalidateRect(w, nullptr, FALSE);
    return 1;
}

void OnButtonDown(HWND w, FountainDefinition* f, int x, int y) {
    FountainEditorState s = GetEditorState(*f);
    s.dragging = 0;
    s.selected = HitInnerMarker(*f, RectOf(w), x, y);
    if (s.selected >= 0) {
        SetCapture(w);
        s.pressX = s.lastX = ClampDragX(RectOf(w), x);
        s.pressY = s.lastY = y;
        s.drawn = s.dragging = 1;
        InvalidateRect(w, nullptr, FALSE);
    }
    SetEditorState(f, s);
}

void OnMouseMove(HWND w, FountainDefinition* f, int x, int y) {
    FountainEditorState s = GetEditorState(*f);
    if (GetCapture() == w && s.dragging) {
        s.lastX = ClampDragX(RectOf(w), x);
        s.lastY = y;
        SetEditorState(f, s);
        InvalidateRect(w, nullptr, FALSE);
    }
}

void OnButtonUp(HWND w, FountainDefinition* f, int x) {
    if (GetCapture() != w) return;
    FountainEditorState s = GetEditorState(*f);
    const bool moved = s.dragging && ClampDragX(RectOf(w), x) != s.pressX;
    if (moved) MoveMarker(f, s.selected, DropPosition(RectOf(w), x));
    s.drawn = s.dragging = 0;
    SetEditorState(f, s);
    if (moved) {
        Changed(w, f);
    } else {
        InvalidateRect(w, nullptr, FALSE);
    }
    ReleaseCapture();
}

void OnCaptureChanged(HWND w, FountainDefinition* f) {
    FountainEditorState s = GetEditorState(*f);
    if (s.drawn || s.dragging) {
        s.drawn = s.dragging = 0;
        SetEditorState(f, s);
        InvalidateRect(w, nullptr, FALSE);
    }
}

void OnDoubleClick(HWND w, FountainDefinition* f, int x, int y) {
    const EditorRect r = RectOf(w);
    if (const int end = HitEndColour(r, x, y)) {
        SendMessageA(w, kMsgChangeColour, WPARAM(end), 0);
    } else if (const int i = HitInnerMarker(*f, r, x, y); i >= 0) {
        SendMessageA(w, kMsgChangeColour, WPARAM(i), 0);
    } else if (InMarkerStrip(r, x, y)) {
        SendMessageA(w, kMsgAddMarker, WPARAM(PositionAtX(r, x)), 0);
    }
}

void OnRightButton(HWND w, FountainDefinition* f, int x, int y) {
    const EditorRect r = RectOf(w);
    if (InGradient(r, x, y)) {
        ShowMenu(w, true, POINT{x, y});
    } else if (const int end = HitEndColour(r, x, y)) {
        SendMessageA(w, kMsgChangeColour, WPARAM(end), 0);
    } else if (const int i = HitInnerMarker(*f, r, x, y); i >= 0) {
        if (GetKeyState(VK_SHIFT) < 0) {
            SendMessageA(w, kMsgDeleteMarker, WPARAM(i), 0);
        } else {
            FountainEditorState s = GetEditorState(*f);
            s.selected = i;
            SetEditorState(f, s);
            ShowMenu(w, false, POINT{x, y});
        }
    }
}

void OnChangeColour(HWND w, FountainDefinition* f, int marker) {
    if (g_choosing) return;
    std::uint32_t word;
    if (!GetMarkerWord(*f, marker, &word)) {
        ShowMessage(w, "Internal error");
        return;
    }
    std::uint32_t colour = word & kMarkerColourMask;
    g_choosing = true;
    const bool chosen = ChooseColour(w, &colour);
    g_choosing = false;
    // The dialog may have let other messages change the record.
    if (chosen && GetMarkerWord(*f, marker, &word)) {
        SetMarkerWord(f, marker, (word & ~kMarkerColourMask) | (colour & kMarkerColourMask));
        Changed(w, f);
    }
}

void OnAddMarker(HWND w, FountainDefinition* f, int position) {
    if (g_choosing) return;
    int p = std::clamp(position, 1, 255);
    if (!FindFreePosition(*f, &p)) {
        ShowMessage(w, "No more marker space is available. Delete an existing marker.");
        return;
    }
    std::uint32_t colour = 0x808080;
    g_choosing = true;
    const bool chosen = ChooseColour(w, &colour);
    g_choosing = false;
    if (chosen && AddMarker(f, p, colour)) Changed(w, f);
}

void OnDeleteMarker(HWND w, FountainDefinition* f, int marker) {
    if (f->count == 0) {
        ShowMessage(w, "That marker cannot be deleted");
    } else if (!DeleteMarker(f, marker)) {
        ShowMessage(w, "Internal error");
    } else {
        Changed(w, f);
    }
}

void OnAdjustMarker(HWND w, FountainDefinition* f, int marker) {
    std::uint32_t word;
    if (marker < 0 || !GetMarkerWord(*f, marker, &word)) return;
    const INT_PTR p = DialogBoxParamA(Lib().module, "FountainMarkerPositionBox", w, PositionProc,
                                      LPARAM(MarkerPosition(word)));
    if (p >= 1 && GetMarkerWord(*f, marker, &word)) {
        SetMarkerWord(f, marker, MakeMarker(std::uint32_t(p), word));
        SortMarkers(f);
        Changed(w, f);
    }
}

void OnDestroy(HWND w, FountainDefinition* f) {
    MemFree(f->cachedImage);
    f->cachedImage = 0;
    if (g_writeBackOnClose) WriteFountainBack(*f);
    HeapFree(GetProcessHeap(), 0, f);
    SetWindowLongPtrA(w, GWLP_USERDATA, 0);
}

LRESULT CALLBACK EditorProc(HWND w, UINT msg, WPARAM wp, LPARAM lp) {
    FountainDefinition* f = Own(w);
    const int x = short(LOWORD(lp)), y = short(HIWORD(lp));
    if (!f && msg != kMsgSetFountain && msg != WM_PAINT) return DefWindowProcA(w, msg, wp, lp);
    switch (msg) {
        case kMsgSetFountain:
            return OnSetFountain(w, f, lp);
        case kMsgGetFountain:
            if (lp) CopyFountainColours(*f, reinterpret_cast<FountainDefinition*>(lp));
            return 1;
        case WM_SIZE:
            Rerender(w, f);
            return 0;
        case WM_ERASEBKGND:
            return 1;
        case WM_PAINT:
            Paint(w, f);
            return 0;
        case WM_LBUTTONDOWN:
            OnButtonDown(w, f, x, y);
            return 0;
        case WM_MOUSEMOVE:
            OnMouseMove(w, f, x, y);
            return 0;
        case WM_LBUTTONUP:
            OnButtonUp(w, f, x);
            return 0;
        case WM_CAPTURECHANGED:
            OnCaptureChanged(w, f);
            return 0;
        case WM_LBUTTONDBLCLK:
            OnDoubleClick(w, f, x, y);
            return 0;
        case WM_RBUTTONDOWN:
            OnRightButton(w, f, x, y);
            return 0;
        case kMsgMarkerMenu:
        case kMsgLibraryMenu:
            ShowMenu(w, msg == kMsgLibraryMenu, POINT{x, y});
            return 0;
        case WM_COMMAND:
            OnCommand(w, f, LOWORD(wp));
            return 0;
        case kMsgChangeColour:
            OnChangeColour(w, f, int(wp));
            return 0;
        case kMsgAddMarker:
            OnAddMarker(w, f, int(wp));
            return 0;
        case kMsgDeleteMarker:
            OnDeleteMarker(w, f, int(wp));
            return 0;
        case kMsgAdjustMarker:
            OnAdjustMarker(w, f, int(wp));
            return 0;
        case WM_NCDESTROY:
            OnDestroy(w, f);
            break;
    }
    return DefWindowProcA(w, msg, wp, lp);
}

// The library dialog: the entries with their previews as item data.
struct LibraryDialog {
    FountainDefinition* target;
};

constexpr int kLibraryList = 101, kLibraryDelete = 102;

void FreeItems(HWND d) {
    HWND list = GetDlgItem(d, kLibraryList);
    const int n = int(SendMessageA(list, LB_GETCOUNT, 0, 0));
    for (int i = 0; i < n; ++i) {
        auto* e =
            reinterpret_cast<FountainDefinition*>(SendMessageA(list, LB_GETITEMDATA, WPARAM(i), 0));
        if (!e || LRESULT(e) == LB_ERR) continue;
        MemFree(e->cachedImage);
        HeapFree(GetProcessHeap(), 0, e);
        SendMessageA(list, LB_SETITEMDATA, WPARAM(i), 0);
    }
}

bool LoadLibraryList(HWND d) {
    char path[kMaxPath + 1];
    MemHandle block = 0;
    int count = 0;
    if (!FountainLibraryPath(path) || !LoadFountainLibrary(path, &block, &count)) return false;
    const auto* entries = static_cast<const FountainDefinition*>(MemLock(block));
    const int width = 170 - GetSystemMetrics(SM_CXVSCROLL);
    bool ok = true;
    for (int i = 0; ok && i < count; ++i) {
        auto* e = static_cast<FountainDefinition*>(
            HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(FountainDefinition)));
        ok = e != nullptr;
        if (!ok) break;
        CopyFountainColours(entries[i], e);
        e->cachedImage = RenderFountain(*e, width, 26);
        const LRESULT item = e->cachedImage
                                 ? SendDlgItemMessageA(d, kLibraryList, LB_ADDSTRING, 0, LPARAM(e))
                                 : LB_ERR;
        ok = item >= 0;
        if (!ok) {
            MemFree(e->cachedImage);
            HeapFree(GetProcessHeap(), 0, e);
        }
    }
    MemUnlock(block);
    MemFree(block);
    return ok;
}

void UpdateDelete(HWND d) {
    const LRESULT sel = SendDlgItemMessageA(d, kLibraryList, LB_GETCURSEL, 0, 0);
    EnableWindow(GetDlgItem(d, kLibraryDelete), sel >= 0);
}

void FinishLibrary(HWND d, LibraryDialog* dlg) {
    HWND list = GetDlgItem(d, kLibraryList);
    const int n = int(SendMessageA(list, LB_GETCOUNT, 0, 0));
    MemHandle block = MemAlloc(sizeof(FountainDefinition) * std::size_t(std::max(n, 1)));
    auto* entries = static_cast<FountainDefinition*>(MemLock(block));
    char path[kMaxPath + 1];
    bool ok = entries && FountainLibraryPath(path);
    for (int i = 0; ok && i < n; ++i)
        entries[i] = *reinterpret_cast<FountainDefinition*>(
            SendMessageA(list, LB_GETITEMDATA, WPARAM(i), 0));
    if (!ok || !WriteFountainLibrary(path, entries, n))
        ShowMessage(d, "There has been an error updating the fountain library.");
    MemUnlock(block);
    MemFree(block);
    const LRESULT sel = SendMessageA(list, LB_GETCURSEL, 0, 0);
    if (sel >= 0)
        CopyFountainColours(*reinterpret_cast<FountainDefinition*>(
                                SendMessageA(list, LB_GETITEMDATA, WPARAM(sel), 0)),
                            dlg->target);
    EndDialog(d, 1);
}

INT_PTR CALLBACK LibraryProc(HWND d, UINT msg, WPARAM wp, LPARAM lp) {
    auto* dlg = reinterpret_cast<LibraryDialog*>(GetWindowLongPtrA(d, DWLP_USER));
    switch (msg) {
        case WM_INITDIALOG: {
            SetWindowLongPtrA(d, DWLP_USER, lp);
            SendDlgItemMessageA(d, kLibraryList, LB_SETITEMHEIGHT, 0, 42);
            if (!LoadLibraryList(d)) {
                ShowMessage(d, "There has been an error loading the fountain library.");
                EndDialog(d, 0);
                return TRUE;
            }
            SendDlgItemMessageA(d, kLibraryList, LB_SETCURSEL, 0, 0);
            UpdateDelete(d);
            RECT r;
            GetWindowRect(d, &r);
            SetWindowPos(d, nullptr, (GetSystemMetrics(SM_CXSCREEN) - (r.right - r.left)) / 2,
                         (GetSystemMetrics(SM_CYSCREEN) - (r.bottom - r.top)) / 2, 0, 0,
                         SWP_NOSIZE | SWP_NOZORDER);
            return TRUE;
        }
        case WM_MEASUREITEM:
            reinterpret_cast<MEASUREITEMSTRUCT*>(lp)->itemHeight = 42;
            return TRUE;
        case WM_DRAWITEM: {
            const auto* di = reinterpret_cast<const DRAWITEMSTRUCT*>(lp);
            if (di->CtlID != kLibraryList) return FALSE;
            FillRect(di->hDC, &di->rcItem,
                     (di->itemState & ODS_SELECTED)
                         ? GetSysColorBrush(COLOR_BTNSHADOW)
                         : static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
            const auto* e = reinterpret_cast<const FountainDefinition*>(di->itemData);
            ImageView v;
            if (di->itemID != UINT(-1) && e && LockImage(e->cachedImage, &v)) {
                const RECT at = {di->rcItem.left + 8, di->rcItem.top + 8,
                                 di->rcItem.left + 8 + v.width, di->rcItem.top + 8 + v.depth};
                UnlockImage(&v);
                DrawImage(di->hDC, reinterpret_cast<HGLOBAL>(e->cachedImage), at);
            }
            return TRUE;
        }
        case WM_COMMAND:
            switch (LOWORD(wp)) {
                case kLibraryList:
                    if (HIWORD(wp) == LBN_DBLCLK) FinishLibrary(d, dlg);
                    if (HIWORD(wp) == LBN_SELCHANGE) UpdateDelete(d);
                    return TRUE;
                case kLibraryDelete: {
                    HWND list = GetDlgItem(d, kLibraryList);
                    const LRESULT sel = SendMessageA(list, LB_GETCURSEL, 0, 0);
                    if (sel < 0) return TRUE;
                    auto* e = reinterpret_cast<FountainDefinition*>(
                        SendMessageA(list, LB_GETITEMDATA, WPARAM(sel), 0));
                    MemFree(e->cachedImage);
                    HeapFree(GetProcessHeap(), 0, e);
                    SendMessageA(list, LB_DELETESTRING, WPARAM(sel), 0);
                    if (SendMessageA(list, LB_GETCURSEL, 0, 0) < 0)
                        SendMessageA(list, LB_SETCURSEL,
                                     WPARAM(SendMessageA(list, LB_GETCOUNT, 0, 0) - 1), 0);
                    UpdateDelete(d);
                    return TRUE;
                }
                case IDOK:
                    FinishLibrary(d, dlg);
                    return TRUE;
                case IDCANCEL:
                    EndDialog(d, 0);
                    return TRUE;
                case 9:
                    OpenHelpPage(d, "index.html");
                    return TRUE;
            }
            break;
        case WM_DESTROY:
            FreeItems(d);
            return FALSE;
    }
    return FALSE;
}

}  // namespace

bool RunFountainLibraryDialog(HWND owner, FountainDefinition* target) {
    LibraryDialog dlg{target};
    return DialogBoxParamA(Lib().module, "FountainLibraryManageBox", owner, LibraryProc,
                           LPARAM(&dlg)) == 1;
}

void SetFountainWriteBack(bool onClose) {
    g_writeBackOnClose = onClose;
}

bool RegisterFountainEditor(HINSTANCE module) {
    return RegisterControlClass(module, kEditorClass, EditorProc, IDC_ARROW, CS_DBLCLKS);
}

void UnregisterFountainEditor(HINSTANCE module) {
    UnregisterClassA(kEditorClass, module);
}

}  // namespace tsn::win
