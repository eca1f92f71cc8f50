// The pages' tile lists: list boxes of 54 x 54 owner-drawn items in columns,
// each item's data a movable block holding a packed bitmap. The context
// menu adds and deletes tiles and switches or creates the matrix library;
// every change is written to the library file at once.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "app/config_file.h"
#include "app/kind_list.h"
#include "app/matrix_library.h"
#include "core/tile_list.h"
#include "frame/frame.h"
#include "kinds/matrix/matrix_tiles.h"

namespace tsn::win {

namespace {

constexpr int kItemSide = 54;
constexpr char kOldProc[] = "TsnTileListProc";

enum : int { kMenuAdd = 101, kMenuDelete = 102, kMenuLibrary = 103, kNameCombo = 101 };

HWND ListOf(PageRef page, std::uint32_t id) {
    return GetDlgItem(reinterpret_cast<HWND>(page), int(id));
}

int Count(PageRef page, std::uint32_t id) {
    HWND w = ListOf(page, id);
    const LRESULT n = w ? SendMessageA(w, LB_GETCOUNT, 0, 0) : 0;
    return n < 0 ? 0 : int(n);
}

MemHandle Tile(PageRef page, std::uint32_t id, int index) {
    HWND w = ListOf(page, id);
    if (!w || index < 0 || index >= Count(page, id)) return 0;
    const LRESULT data = SendMessageA(w, LB_GETITEMDATA, WPARAM(index), 0);
    return data == LB_ERR ? 0 : MemHandle(data);
}

// Owner-drawn without strings: the added "string" is the item's data.
bool Append(PageRef page, std::uint32_t id, MemHandle tile) {
    HWND w = ListOf(page, id);
    if (!w || !tile) return false;
    const LRESULT at = SendMessageA(w, LB_ADDSTRING, 0, LPARAM(tile));
    return at != LB_ERR && at != LB_ERRSPACE;
}

void Remove(PageRef page, std::uint32_t id, int index) {
    const MemHandle h = Tile(page, id, index);
    if (index < 0 || index >= Count(page, id)) return;
    SendMessageA(ListOf(page, id), LB_DELETESTRING, WPARAM(index), 0);
    MemFree(h);
}

void Clear(PageRef page, std::uint32_t id) {
    HWND w = ListOf(page, id);
    if (!w) return;
    for (int i = Count(page, id) - 1; i >= 0; --i) MemFree(Tile(page, id, i));
    SendMessageA(w, LB_RESETCONTENT, 0, 0);
}

const TileListOps kWin32TileOps = {Count, Tile, Append, Remove, Clear};

PageRef PageOf(HWND list) {
    return PageRef(reinterpret_cast<std::uintptr_t>(GetParent(list)));
}

std::uint32_t IdOf(HWND list) {
    return std::uint32_t(GetDlgCtrlID(list));
}

bool LibraryPath(char out[kMaxPath + 1]) {
    return MatrixLibraryPath(Config().matrixCurrentLibrary, out);
}

bool SaveLibrary(HWND list) {
    char path[kMaxPath + 1], folder[kMaxPath + 1];
    const bool ok = LibraryPath(path) && TextureFolder(folder) && MakeFolders(folder) &&
                    WriteLibraryFile(path, PageOf(list), IdOf(list));
    if (!ok) ShowMessage(GetParent(list), "There has been an error updating the matrix file.");
    return ok;
}

void Changed() {
    if (Lib().current) Lib().current->needsRender = 1;
}

void AddTile(HWND list) {
    HWND dlg = GetParent(list);
    const LRESULT picked = SendMessageA(dlg, kMsgPickImage, 0, 0);
    if (picked == LRESULT(-1)) return;  // the user cancelled
    const MemHandle tile = MemHandle(picked);
    if (!tile) {
        ShowMessage(dlg, "There has been an error reading the selected image.");
        return;
    }
    TileView v;
    if (!LockTile(tile, &v)) {
        MemFree(tile);
        ShowMessage(dlg, "There has been an error allocating memory for the selected image.");
        return;
    }
    const bool tooLarge = v.width > kMaxTileSide || v.height > kMaxTileSide;
    UnlockTile(&v);
    if (tooLarge) {
        MemFree(tile);
        ShowMessage(dlg, kTileTooLargeMessage);
        return;
    }
    if (!Append(PageOf(list), IdOf(list), tile)) {
        MemFree(tile);
        ShowMessage(dlg, "There has been an error adding new items to the current matrix.");
        return;
    }
    SendMessageA(list, LB_SETCURSEL, WPARAM(Count(PageOf(list), IdOf(list)) - 1), 0);
    Changed();
    SaveLibrary(list);
}

void DeleteTile(HWND list) {
    HWND dlg = GetParent(list);
    const int count = Count(PageOf(list), IdOf(list));
    if (count <= 1) {
        ShowMessage(dlg, "You can't delete all the images in a matrix file.");
        return;
    }
    const LRESULT sel = SendMessageA(list, LB_GETCURSEL, 0, 0);
    if (sel == LB_ERR) return;
    if (!AskYesNo(dlg,
                  "Are you certain you want to delete the selected tile?\n\nClick on Yes to "
                  "proceed."))
        return;
    Remove(PageOf(list), IdOf(list), int(sel));
    SendMessageA(list, LB_SETCURSEL, WPARAM(std::min<LRESULT>(sel, count - 2)), 0);
    Changed();
    SaveLibrary(list);
}

struct NameChoice {
    std::string name;  // in: the current base name; out: the chosen file name
    bool existing = false;
};

INT_PTR CALLBACK NameBoxProc(HWND w, UINT msg, WPARAM wp, LPARAM lp) {
    auto* choice = reinterpret_cast<NameChoice*>(GetWindowLongPtrA(w, DWLP_USER));
    switch (msg) {
        case WM_INITDIALOG: {
            SetWindowLongPtrA(w, DWLP_USER, lp);
            choice = reinterpret_cast<NameChoice*>(lp);
            HWND combo = GetDlgItem(w, kNameCombo);
            for (const std::string& n : ListLibraryNames())
                SendMessageA(combo, CB_ADDSTRING, 0, LPARAM(n.c_str()));
            SendMessageA(combo, CB_LIMITTEXT, 200, 0);
            SetWindowTextA(combo, choice->name.c_str());
            return TRUE;
        }
        case WM_COMMAND:
            if (LOWORD(wp) == IDCANCEL) {
                EndDialog(w, IDCANCEL);
                return TRUE;
            }
            if (LOWORD(wp) == IDOK && choice) {
                char text[kMaxPath + 1] = {};
                HWND combo = GetDlgItem(w, kNameCombo);
                GetWindowTextA(combo, text, sizeof text);
                if (!text[0]) return TRUE;
                const LRESULT found =
                    SendMessageA(combo, CB_FINDSTRINGEXACT, WPARAM(-1), LPARAM(text));
                choice->existing = false;
                if (found != CB_ERR) {
                    if (!AskYesNo(w,
                                  "Your have selected an existing matrix library.\n\nClick on "
                                  "Yes to make this your current library, or click on No to "
                                  "enter a different name."))
                        return TRUE;
                    choice->existing = true;
                }
                choice->name = std::string(text) + ".mtx";
                EndDialog(w, IDOK);
                return TRUE;
            }
            break;
    }
    return FALSE;
}

void ChooseLibrary(HWND list) {
    HWND dlg = GetParent(list);
    NameChoice choice;
    choice.name = Config().matrixCurrentLibrary;
    const std::size_t n = choice.name.size();
    if (n > 4 && lstrcmpiA(choice.name.c_str() + n - 4, ".mtx") == 0) choice.name.resize(n - 4);
    if (DialogBoxParamA(Lib().module, "MatrixNameBox", dlg, NameBoxProc, LPARAM(&choice)) != IDOK)
        return;
    std::snprintf(Config().matrixCurrentLibrary, kMaxPath + 1, "%s", choice.name.c_str());
    if (choice.existing) {
        char path[kMaxPath + 1];
        if (!LibraryPath(path) || !ReadLibraryFile(path, PageOf(list), IdOf(list)))
            ShowMessage(dlg, "There has been an error reading the matrix file.");
        SendMessageA(list, LB_SETCURSEL, 0, 0);
        Changed();
    } else {
        SaveLibrary(list);
    }
}

void ShowMenu(HWND list, LPARAM lp) {
    const LRESULT hit = SendMessageA(list, LB_ITEMFROMPOINT, 0, lp);
    const bool onItem = HIWORD(hit) == 0 && LOWORD(hit) < Count(PageOf(list), IdOf(list));
    if (onItem) {
        SendMessageA(list, LB_SETCURSEL, WPARAM(LOWORD(hit)), 0);
        Changed();
    }
    HMENU menu = CreatePopupMenu();
    if (!menu) return;
    AppendMenuA(menu, MF_STRING, kMenuAdd, "&Add");
    if (onItem) AppendMenuA(menu, MF_STRING, kMenuDelete, "&Delete");
    AppendMenuA(menu, MF_STRING, kMenuLibrary, "&Library");
    POINT p = {short(LOWORD(lp)), short(HIWORD(lp))};
    ClientToScreen(list, &p);
    // The command comes back to the list as WM_COMMAND.
    TrackPopupMenu(menu, TPM_LEFTALIGN | TPM_RIGHTBUTTON, p.x, p.y, 0, list, nullptr);
    DestroyMenu(menu);
}

LRESULT CALLBACK TileListProc(HWND w, UINT msg, WPARAM wp, LPARAM lp) {
    auto old = reinterpret_cast<WNDPROC>(GetPropA(w, kOldProc));
    switch (msg) {
        case WM_RBUTTONUP:
            ShowMenu(w, lp);
            return 0;
        case WM_COMMAND:
            if (lp == 0 && LOWORD(wp) == kMenuAdd) AddTile(w);
            if (lp == 0 && LOWORD(wp) == kMenuDelete) DeleteTile(w);
            if (lp == 0 && LOWORD(wp) == kMenuLibrary) ChooseLibrary(w);
            return 0;
        case WM_LBUTTONDOWN:
        case WM_KEYDOWN:
            Changed();
            break;
        case WM_NCDESTROY:
            RemovePropA(w, kOldProc);
            if (old) SetWindowLongPtrA(w, GWLP_WNDPROC, LONG_PTR(old));
            break;
    }
    return old ? CallWindowProcA(old, w, msg, wp, lp) : DefWindowProcA(w, msg, wp, lp);
}

// The page templates make plain list boxes; a tile list needs the styles
// that can only be given at creation, so the copy is made again.
void MakeTileList(HWND dlg, int id) {
    HWND plain = GetDlgItem(dlg, id);
    if (!plain) return;
    RECT r;
    GetWindowRect(plain, &r);
    MapWindowPoints(nullptr, dlg, reinterpret_cast<POINT*>(&r), 2);
    const DWORD visible = DWORD(GetWindowLongA(plain, GWL_STYLE)) & WS_VISIBLE;
    HFONT font = reinterpret_cast<HFONT>(SendMessageA(plain, WM_GETFONT, 0, 0));
    HWND after = GetWindow(plain, GW_HWNDPREV);
    DestroyWindow(plain);
    const DWORD style = WS_CHILD | WS_BORDER | WS_TABSTOP | WS_HSCROLL | LBS_NOTIFY |
                        LBS_MULTICOLUMN | LBS_OWNERDRAWFIXED | LBS_NOINTEGRALHEIGHT | visible;
    HWND list = CreateWindowExA(WS_EX_CLIENTEDGE, "ListBox", "", style, r.left, r.top,
                                r.right - r.left, r.bottom - r.top, dlg,
                                reinterpret_cast<HMENU>(INT_PTR(id)), Lib().module, nullptr);
    if (!list) return;
    SetWindowPos(list, after ? after : HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE);
    SendMessageA(list, WM_SETFONT, WPARAM(font), FALSE);
    SendMessageA(list, LB_SETITEMHEIGHT, 0, kItemSide);
    SendMessageA(list, LB_SETCOLUMNWIDTH, kItemSide, 0);
    SetPropA(
        list, kOldProc,
        reinterpret_cast<HANDLE>(SetWindowLongPtrA(list, GWLP_WNDPROC, LONG_PTR(TileListProc))));
}

}  // namespace

void PrepareTileLists(HWND dlg) {
    SetTileListOps(&kWin32TileOps);
    for (int k = 0; k < kKindCount; ++k) {
        const PageTable* t = KindOf(k).page;
        for (int i = 0; t && i < t->count; ++i)
            if (t->fields[i].control == Control::ListBox) MakeTileList(dlg, int(t->fields[i].id));
    }
}

void DrawTileItem(const DRAWITEMSTRUCT* d) {
    if (d->itemID == UINT(-1)) return;
    RECT r = d->rcItem;
    const bool selected = d->itemState & ODS_SELECTED;
    FillRect(d->hDC, &r, GetSysColorBrush(selected ? COLOR_HIGHLIGHT : COLOR_WINDOW));
    TileView v;
    if (LockTile(MemHandle(d->itemData), &v)) {
        // Fitted into the item less a 3-pixel margin, never enlarged.
        const int room = kItemSide - 6;
        const double scale = std::min({1.0, double(room) / v.width, double(room) / v.height});
        const int w = std::max(1, int(v.width * scale)), h = std::max(1, int(v.height * scale));
        const int x = r.left + (r.right - r.left - w) / 2, y = r.top + (r.bottom - r.top - h) / 2;
        SetStretchBltMode(d->hDC, v.bitCount == 1 ? BLACKONWHITE : HALFTONE);
        SetBrushOrgEx(d->hDC, 0, 0, nullptr);
        const auto* info = static_cast<const BITMAPINFO*>(MemLock(v.handle));
        StretchDIBits(d->hDC, x, y, w, h, 0, 0, v.width, v.height, v.bits, info, DIB_RGB_COLORS,
                      SRCCOPY);
        MemUnlock(v.handle);
        UnlockTile(&v);
    }
    if (d->itemState & ODS_FOCUS) DrawFocusRect(d->hDC, &r);
}

}  // namespace tsn::win
