// The master dialog "Textures and Fractals": texture list, the kinds' pages,
// preview, mutation grid, OK and Cancel.
#include <windows.h>
// After windows.h, which it needs.
#include <commctrl.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "app/config_file.h"
#include "app/help_page.h"
#include "app/kind_list.h"
#include "app/session.h"
#include "core/image.h"
#include "core/tile_list.h"
#include "frame/frame.h"
#include "kind/page_layout.h"
#include "kind/page_transfer.h"

namespace tsn::win {

namespace {

enum : int {
    kPreviewFrame = 101,
    kPreview = 102,
    kTextureList = 103,
    kRemember = 104,
    kView = 106,
    kMutate = 109,
    kShowMutations = 110,
    kHelp = 9,
    kGridFirst = 190,
    kGridLast = 198,
};

// Buttons that get the shared owner-drawn look, besides each page's preset
// load button.
constexpr int kDecorated[] = {IDOK, IDCANCEL, kHelp, kPreview, kView, kMutate};

MasterTextureRecord* Rec() {
    return Lib().current;
}

bool KindSelected(const MasterTextureRecord* rec) {
    return rec && rec->kindIndex >= 0 && rec->kindIndex < kKindCount;
}

bool ShiftHeld() {
    return GetKeyState(VK_SHIFT) < 0;
}

// The field a control shows, in any kind's page table.
const PageField* FieldOfControl(std::uint32_t id, int* kindOut = nullptr) {
    for (int k = 0; k < kKindCount; ++k) {
        const PageTable* t = KindOf(k).page;
        for (int i = 0; t && i < t->count; ++i)
            if (t->fields[i].id == id && t->fields[i].control != Control::None) {
                if (kindOut) *kindOut = k;
                return &t->fields[i];
            }
    }
    return nullptr;
}

void UpdateValueDisplay(HWND dlg, std::uint32_t scrollId) {
    const PageField* f = FieldOfControl(scrollId);
    HWND bar = GetDlgItem(dlg, int(scrollId));
    if (!f || !bar || f->scrollScale == 0) return;
    char text[32];
    const int pos = GetScrollPos(bar, SB_CTL);
    // A negative scale counts several units of value per position.
    if (f->scrollScale < 0)
        std::snprintf(text, sizeof text, "%d", pos * -f->scrollScale);
    else if (f->scrollScale == 1)
        std::snprintf(text, sizeof text, "%d", pos);
    else
        std::snprintf(text, sizeof text, "%.1f", double(pos) / f->scrollScale);
    SetDlgItemTextA(dlg, int(scrollId + kValueDisplayOffset), text);
}

void TransferAllToPages(HWND dlg, MasterTextureRecord* rec) {
    for (int k = 0; k < kKindCount; ++k) TransferToPage(dlg, rec, k);
}

// Copies every control of a page template into the master dialog, hidden.
INT_PTR CALLBACK PageTemplateProc(HWND page, UINT msg, WPARAM, LPARAM lp) {
    if (msg != WM_INITDIALOG) return FALSE;
    HWND master = reinterpret_cast<HWND>(lp);
    HFONT font = reinterpret_cast<HFONT>(SendMessageA(master, WM_GETFONT, 0, 0));
    for (HWND c = GetWindow(page, GW_CHILD); c; c = GetWindow(c, GW_HWNDNEXT)) {
        char cls[64] = {}, text[256] = {};
        GetClassNameA(c, cls, sizeof cls);
        GetWindowTextA(c, text, sizeof text);
        RECT r;
        GetWindowRect(c, &r);
        MapWindowPoints(nullptr, page, reinterpret_cast<POINT*>(&r), 2);
        int height = r.bottom - r.top;
        if (lstrcmpiA(cls, "combobox") == 0) height += 200;
        const DWORD style = DWORD(GetWindowLongA(c, GWL_STYLE)) & ~DWORD(WS_VISIBLE);
        const DWORD exStyle = DWORD(GetWindowLongA(c, GWL_EXSTYLE));
        HWND copy = CreateWindowExA(
            exStyle, cls, text, style, r.left, r.top, r.right - r.left, height, master,
            reinterpret_cast<HMENU>(INT_PTR(GetDlgCtrlID(c))), Lib().module, nullptr);
        if (copy) SendMessageA(copy, WM_SETFONT, WPARAM(font), FALSE);
    }
    return TRUE;
}

void BuildPages(HWND dlg) {
    for (int n = 1; n <= kKindCount; ++n) {
        char name[32];
        std::snprintf(name, sizeof name, "MasterTextureBox%02d", n);
        HWND page = CreateDialogParamA(Lib().module, name, dlg, PageTemplateProc, LPARAM(dlg));
        if (page) DestroyWindow(page);
    }
}

void FreeThumbnails(HWND dlg, MasterTextureRecord* rec) {
    for (FountainDefinition& m : rec->mutations) {
        MemFree(m.cachedImage);
        m.cachedImage = 0;
    }
    for (int id = kGridFirst; id <= kGridLast; ++id)
        InvalidateRect(GetDlgItem(dlg, id), nullptr, FALSE);
}

bool GridAllowed(const MasterTextureRecord* rec) {
    return KindSelected(rec) && (KindAt(rec->kindIndex).flags & kKindHasColourMap);
}

void ShowGrid(HWND dlg, MasterTextureRecord* rec) {
    const bool visible = IsDlgButtonChecked(dlg, kShowMutations) == BST_CHECKED && GridAllowed(rec);
    for (int id = kGridFirst; id <= kGridLast; ++id)
        ShowWindow(GetDlgItem(dlg, id), visible ? SW_SHOW : SW_HIDE);
    EnableWindow(GetDlgItem(dlg, kMutate), visible);
    CheckDlgButton(dlg, kShowMutations, visible ? BST_CHECKED : BST_UNCHECKED);
}

void BuildGeneration(HWND dlg, MasterTextureRecord* rec) {
    BuildMutationSet(rec, KindSelected(rec) ? rec->kindIndex : -1);
    for (int id = kGridFirst; id <= kGridLast; ++id)
        InvalidateRect(GetDlgItem(dlg, id), nullptr, FALSE);
}

void SetFrameButtonsEnabled(HWND dlg, bool on) {
    for (int id : {int(kPreview), int(IDOK), int(kHelp), int(kRemember)})
        EnableWindow(GetDlgItem(dlg, id), on);
}

void RenderOnRequest(HWND dlg) {
    MasterTextureRecord* rec = Rec();
    if (!rec || !IsWindowVisible(dlg) || !KindSelected(rec)) return;
    const bool cancelOn = IsWindowEnabled(GetDlgItem(dlg, IDCANCEL));
    const bool showOn = IsWindowEnabled(GetDlgItem(dlg, kShowMutations));
    SetFrameButtonsEnabled(dlg, false);
    EnableWindow(GetDlgItem(dlg, IDCANCEL), FALSE);
    EnableWindow(GetDlgItem(dlg, kShowMutations), FALSE);
    MemFree(rec->image);
    rec->image = 0;
    HCURSOR old = SetCursor(LoadCursor(nullptr, IDC_WAIT));
    if (Lib().failFirstRender >= 0) MemFailAfter(Lib().failFirstRender);
    Lib().failFirstRender = -1;
    rec->image = RenderSelectedKind(rec);
    MemFailAfter(-1);
    const TextureKind& kind = KindAt(rec->kindIndex);
    if (rec->image) {
        InvalidateRect(GetDlgItem(dlg, kPreviewFrame), nullptr, FALSE);
        PostMessageA(dlg, kMsgRefreshMutations, 0, 0);
        if (kind.flags & kKindRepaintExtra)
            InvalidateRect(GetDlgItem(dlg, int(kind.extraControl)), nullptr, FALSE);
        // Generators store back what they clamped: show it. The edits this
        // makes describe the picture just made, so they ask for no other
        // render (OK would otherwise render the same picture again).
        const KindDescriptor& info = KindOf(rec->kindIndex);
        if (info.page) PageFromBlock(*info.page, BlockAt(rec, info.blockOffset), rec->dialog);
        rec->needsRender = 0;
    } else {
        char text[256];
        if (LoadStringA(Lib().module, 6, text, sizeof text) <= 0)
            std::snprintf(text, sizeof text, "%s",
                          "String table error - this application may be damaged");
        ShowMessage(dlg, text);
    }
    SetCursor(old);
    EnableWindow(GetDlgItem(dlg, IDCANCEL), cancelOn);
    EnableWindow(GetDlgItem(dlg, kShowMutations), showOn);
    SetFrameButtonsEnabled(dlg, true);
}

void SwitchKind(HWND dlg) {
    MasterTextureRecord* rec = Rec();
    HWND list = GetDlgItem(dlg, kTextureList);
    const LRESULT sel = SendMessageA(list, CB_GETCURSEL, 0, 0);
    if (!rec || sel == CB_ERR) return;
    const LRESULT data = SendMessageA(list, CB_GETITEMDATA, WPARAM(sel), 0);
    if (data == CB_ERR || data < 1 || data > kKindCount) return;
    const TextureKind& kind = KindAt(int(data - 1));
    for (HWND c = GetWindow(dlg, GW_CHILD); c; c = GetWindow(c, GW_HWNDNEXT)) {
        const std::uint32_t id = std::uint32_t(GetDlgCtrlID(c));
        if (id < 200) continue;
        bool mine = false;
        for (const std::uint32_t* k = kind.controls; k && *k && !mine; ++k) mine = *k == id;
        ShowWindow(c, mine ? SW_SHOW : SW_HIDE);
    }
    KindAt(0).query(rec, kQueryRefreshControls);
    rec->kindIndex = int(data - 1);
    rec->needsRender = 1;
    PostMessageA(dlg, kMsgRefreshMutations, 1, 0);
    PostMessageA(dlg, WM_COMMAND, MAKEWPARAM(kPreview, BN_CLICKED), 0);
}

void ChooseMutation(HWND dlg, int k) {
    MasterTextureRecord* rec = Rec();
    if (!rec || !IsWindowVisible(dlg) || !GridAllowed(rec)) return;
    const TextureKind& kind = KindAt(rec->kindIndex);
    const std::int64_t control = kind.query(rec, kQueryFountainControl);
    auto* def = reinterpret_cast<FountainDefinition*>(
        static_cast<std::uintptr_t>(kind.query(rec, kQueryFountain)));
    if (!control || !def) return;
    std::memcpy(def, &rec->mutations[k], sizeof *def);
    def->cachedImage = 0;
    SendDlgItemMessageA(dlg, int(control), kMsgSetFountain, 0, LPARAM(def));
    PostMessageA(dlg, WM_COMMAND, MAKEWPARAM(kPreview, BN_CLICKED), 0);
}

void SaveWindowPosition(HWND dlg) {
    // A session without interaction shrank the window to nothing: that is
    // no place to remember.
    if (IsZoomed(dlg) || (Rec() && (Rec()->flags & kFlagNonInteractive))) return;
    RECT r;
    GetWindowRect(dlg, &r);
    ConfigValues& c = Config();
    c.stickyWindowLeft = std::uint32_t(std::max<LONG>(0, r.left));
    c.stickyWindowTop = std::uint32_t(std::max<LONG>(0, r.top));
    c.stickyWindowRight = std::uint32_t(std::min<LONG>(GetSystemMetrics(SM_CXSCREEN), r.right));
    c.stickyWindowBottom = std::uint32_t(std::min<LONG>(GetSystemMetrics(SM_CYSCREEN), r.bottom));
}

void PlaceWindow(HWND dlg, bool doneMode) {
    const ConfigValues& c = Config();
    const int sw = GetSystemMetrics(SM_CXSCREEN), sh = GetSystemMetrics(SM_CYSCREEN);
    RECT r;
    GetWindowRect(dlg, &r);
    const bool stored =
        c.stickyWindowLeft != kNoWindowPosition && c.stickyWindowTop != kNoWindowPosition &&
        c.stickyWindowRight != kNoWindowPosition && c.stickyWindowBottom != kNoWindowPosition;
    if (stored && !doneMode) {
        int left = int(c.stickyWindowLeft), top = int(c.stickyWindowTop);
        // Never smaller than the dialog's own layout, so nothing is cut off.
        const int minW = std::max<int>(612, r.right - r.left),
                  minH = std::max<int>(415, r.bottom - r.top);
        int w = std::max(minW, int(c.stickyWindowRight) - left);
        int h = std::max(minH, int(c.stickyWindowBottom) - top);
        w = std::min(w, std::max(minW, sw - left));
        h = std::min(h, std::max(minH, sh - top));
        left = std::max(0, std::min(left, sw - w));
        top = std::max(0, std::min(top, sh - h));
        SetWindowPos(dlg, nullptr, left, top, w, h, SWP_NOZORDER | SWP_NOACTIVATE);
    } else {
        const int w = r.right - r.left, h = r.bottom - r.top;
        SetWindowPos(dlg, nullptr, (sw - w) / 2, (sh - h) / 2, 0, 0,
                     SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
    }
}

void DrawGridButton(const DRAWITEMSTRUCT* d, int k) {
    MasterTextureRecord* rec = Rec();
    const RECT& b = d->rcItem;
    if (!rec || !rec->image || !KindSelected(rec)) {
        DrawFramed(d->hDC, b, nullptr);
        return;
    }
    FountainDefinition& slot = rec->mutations[k];
    if (!slot.cachedImage) {
        const MemHandle grey = MemHandle(KindAt(rec->kindIndex).query(rec, kQueryIndexImage));
        if (!grey) {
            DrawFramed(d->hDC, b, nullptr);
            return;
        }
        slot.cachedImage = MutationThumbnail(rec, k, grey, b.right - b.left, b.bottom - b.top);
    }
    ImageView t;
    if (!LockImage(slot.cachedImage, &t)) {
        DrawFramed(d->hDC, b, nullptr);
        return;
    }
    const int x = b.left + (b.right - b.left - t.width) / 2,
              y = b.top + (b.bottom - b.top - t.depth) / 2;
    const RECT pic = {x, y, x + t.width, y + t.depth};
    UnlockImage(&t);
    DrawImage(d->hDC, reinterpret_cast<HGLOBAL>(slot.cachedImage), pic);
    DrawFramed(d->hDC, b, &pic);
}

void DrawPreview(const DRAWITEMSTRUCT* d) {
    MasterTextureRecord* rec = Rec();
    RECT r = d->rcItem;
    FillRect(d->hDC, &r, GetSysColorBrush(COLOR_BTNFACE));
    ImageView v;
    if (!rec || !LockImage(rec->image, &v)) return;
    InflateRect(&r, -1, -1);
    const double fw = r.right - r.left, fh = r.bottom - r.top;
    const double pct = std::min({fw * 100.0 / v.width, fh * 100.0 / v.depth, 100.0});
    const int w = int(std::ceil(v.width * pct / 100.0)), h = int(std::ceil(v.depth * pct / 100.0));
    UnlockImage(&v);
    const int x = r.left + (int(fw) - w) / 2, y = r.top + (int(fh) - h) / 2;
    RECT dest = {x + 1, y + 1, x + w - 1, y + h - 1};
    DrawImage(d->hDC, reinterpret_cast<HGLOBAL>(rec->image), dest);
}

void Decorate(HWND button) {
    if (!button) return;
    const LONG style = GetWindowLongA(button, GWL_STYLE);
    SetWindowLongA(button, GWL_STYLE, (style & ~0xF) | BS_OWNERDRAW);
}

// The kinds that take the host's size show it in their width and depth.
void SeedHostSize(HWND dlg, const MasterTextureRecord* rec) {
    for (int k = 0; k < kKindCount; ++k) {
        const KindDescriptor& kind = KindOf(k);
        if (!kind.takesHostSize || !kind.page) continue;
        if (const PageField* w = FieldWithRole(*kind.page, Role::Width))
            SetDlgItemInt(dlg, int(w->id), rec->width, FALSE);
        if (const PageField* d = FieldWithRole(*kind.page, Role::Depth))
            SetDlgItemInt(dlg, int(d->id), rec->depth, FALSE);
    }
}

// A control on the selected kind's page changed: the kind brings what
// depends on it up to date (Pipes' dimensions text follows its width, depth
// and reduction).
void PageControlChanged(MasterTextureRecord* rec, int id) {
    int kind = -1;
    if (rec && FieldOfControl(std::uint32_t(id), &kind) && kind == rec->kindIndex)
        KindAt(kind).query(rec, kQueryRefreshControls);
}

void OnScroll(HWND dlg, WPARAM wp, HWND bar) {
    if (!bar) return;
    const int id = GetDlgCtrlID(bar);
    // Code 255 asks only for the value display to follow the position.
    if (LOWORD(wp) == 255 || StepScrollBar(bar, LOWORD(wp))) {
        UpdateValueDisplay(dlg, std::uint32_t(id));
        if (LOWORD(wp) != 255 && Rec()) Rec()->needsRender = 1;
        PageControlChanged(Rec(), id);
    }
}

void StartUp(HWND dlg, MasterTextureRecord* rec) {
    rec->dialog = reinterpret_cast<std::uint64_t>(dlg);
    Lib().current = rec;
    SetPageOps(Win32PageOps());
    BuildPages(dlg);
    PrepareTileLists(dlg);
    if (Lib().buttonStyle != 0) {
        for (int id : kDecorated) Decorate(GetDlgItem(dlg, id));
        for (int k = 0; k < kKindCount; ++k)
            if (KindOf(k).presetList) Decorate(GetDlgItem(dlg, int(KindOf(k).presetList + 3)));
    }
    rec->showMutations = 1;
    HWND list = GetDlgItem(dlg, kTextureList);
    SendMessageA(list, CB_RESETCONTENT, 0, 0);
    for (int i = 0; i < kKindCount; ++i) {
        KindAt(i).reset(rec);
        const LRESULT item = SendMessageA(list, CB_ADDSTRING, 0, LPARAM(KindAt(i).name));
        SendMessageA(list, CB_SETITEMDATA, WPARAM(item), LPARAM(i + 1));
    }
    char path[kMaxPath + 1];
    SetFountainWriteBack(false);
    if (!ShiftHeld() && SettingsFilePath(path) && LoadSettingsFile(rec, path))
        ForgetAllUntrustedFountainNames(rec);
    SendMessageA(list, CB_SETCURSEL, WPARAM(rec->kindIndex), 0);
    CheckDlgButton(dlg, kRemember, Lib().rememberSettings ? BST_CHECKED : BST_UNCHECKED);
    OpenPages(rec);
    TransferAllToPages(dlg, rec);
    SendMessageA(dlg, WM_COMMAND, MAKEWPARAM(kTextureList, CBN_CLOSEUP), LPARAM(list));
    if (rec->showMutations) CheckDlgButton(dlg, kShowMutations, BST_CHECKED);
    PostMessageA(dlg, kMsgRefreshMutations, 1, 0);
    const bool doneMode = rec->flags & kFlagDoneMode;
    if (doneMode) {
        EnableWindow(GetDlgItem(dlg, IDCANCEL), FALSE);
        SetDlgItemTextA(dlg, IDOK, "Done");
    }
    SetFocus(GetDlgItem(dlg, IDOK));
    PostMessageA(dlg, kMsgRefreshMutations, 0, 0);
    PlaceWindow(dlg, doneMode);
    if (rec->flags & kFlagSizeValid) SeedHostSize(dlg, rec);
    if (rec->flags & kFlagNonInteractive) {
        SetWindowPos(dlg, nullptr, 0, 0, 1, 1, SWP_NOZORDER | SWP_NOMOVE | SWP_NOACTIVATE);
        PostMessageA(dlg, WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), 0);
    }
}

void Destroy(HWND dlg, MasterTextureRecord* rec) {
    FreeThumbnails(dlg, rec);
    ReleaseAllKinds(rec);
    FreePageLists(rec);
    SetTileListOps(nullptr);
    char folder[kMaxPath + 1], path[kMaxPath + 1];
    if (Lib().rememberSettings && !(rec->flags & kFlagNoSave) && TextureFolder(folder) &&
        SettingsFilePath(path)) {
        MakeFolders(folder);
        SaveSettingsFile(*rec, path);
    }
    SetPageOps(nullptr);
    Lib().current = nullptr;
}

void OnDrawItem(int id, const DRAWITEMSTRUCT* d) {
    if (d->CtlType == ODT_LISTBOX) {
        DrawTileItem(d);
    } else if (id == kPreviewFrame) {
        DrawPreview(d);
    } else if (id >= kGridFirst && id <= kGridLast) {
        DrawGridButton(d, id - kGridFirst);
    } else {
        const PageField* f = FieldOfControl(std::uint32_t(id));
        if (f && f->control == Control::ColourButton)
            DrawColourButton(d);
        else
            DrawDecoratedButton(d);
    }
}

// The colour-map editor tells of each change: its colours go into the
// kind's block. A colour button opens the colour dialog. Either way the
// preview follows. False for any other control.
bool PageControlClicked(HWND dlg, MasterTextureRecord* rec, int id) {
    int kind = -1;
    const PageField* f = FieldOfControl(std::uint32_t(id), &kind);
    if (!f || kind != int(rec->kindIndex)) return false;
    std::uint8_t* block = BlockAt(rec, KindOf(kind).blockOffset);
    if (f->control == Control::FountainView) {
        SendDlgItemMessageA(dlg, id, kMsgGetFountain, 0, LPARAM(block + f->offset));
    } else if (f->control == Control::ColourButton) {
        char text[32] = {};
        GetDlgItemTextA(dlg, id, text, sizeof text);
        std::uint32_t colour = std::uint32_t(std::strtoul(text, nullptr, 16)) & 0xFFFFFF;
        if (!ChooseColour(dlg, &colour)) return true;
        std::snprintf(text, sizeof text, "0x%06X", unsigned(colour));
        SetDlgItemTextA(dlg, id, text);
        InvalidateRect(GetDlgItem(dlg, id), nullptr, TRUE);
    } else {
        return false;
    }
    rec->needsRender = 1;
    PostMessageA(dlg, WM_COMMAND, MAKEWPARAM(kPreview, BN_CLICKED), 0);
    return true;
}

// The dialog's buttons and the pages' controls. Returns TRUE for what it
// handled.
INT_PTR OnCommand(HWND dlg, MasterTextureRecord* rec, int id, int code) {
    if (id == kTextureList && code == CBN_CLOSEUP) {
        SwitchKind(dlg);
        return TRUE;
    }
    if (code != BN_CLICKED) {
        if (code == EN_CHANGE && id >= 200) {
            rec->needsRender = 1;
            PageControlChanged(rec, id);
        }
        return FALSE;
    }
    switch (id) {
        case kPreview:
            RenderOnRequest(dlg);
            return TRUE;
        case IDOK:
            SaveWindowPosition(dlg);
            if (rec->needsRender) RenderOnRequest(dlg);
            if (Lib().rememberSettings)
                GetDlgItemTextA(dlg, kTextureList, Lib().rememberedTexture, kMaxPath + 1);
            SetFountainWriteBack(true);
            KeepPageSettings(rec);
            EndDialog(dlg, 1);
            return TRUE;
        case IDCANCEL:
            SaveWindowPosition(dlg);
            EndDialog(dlg, 0);
            return TRUE;
        case kRemember:
            Lib().rememberSettings = IsDlgButtonChecked(dlg, kRemember) == BST_CHECKED;
            return TRUE;
        case kView:
            if (rec->viewImage) {
                auto fn =
                    reinterpret_cast<ViewImageFn>(static_cast<std::uintptr_t>(rec->viewImage));
                if (!fn(dlg, reinterpret_cast<HGLOBAL>(rec->image), rec->viewContext))
                    ShowMessage(dlg, "There has been an error viewing this graphic.");
            }
            return TRUE;
        case kMutate:
            if (!ShiftHeld()) rec->mutationGeneration = (rec->mutationGeneration + 1) % 32;
            BuildGeneration(dlg, rec);
            return TRUE;
        case kShowMutations:
            rec->showMutations = IsDlgButtonChecked(dlg, kShowMutations) == BST_CHECKED;
            PostMessageA(dlg, kMsgRefreshMutations, 1, 0);
            return TRUE;
        case kHelp: {
            const std::string page = KindHelpFileName(int(rec->kindIndex));
            OpenHelpPage(dlg, page.empty() ? "index.html" : page.c_str());
            return TRUE;
        }
        default:
            if (id >= kGridFirst && id <= kGridLast) {
                ChooseMutation(dlg, id - kGridFirst);
                return TRUE;
            }
            if (PresetButton(dlg, rec, id)) return TRUE;
            if (PageControlClicked(dlg, rec, id)) return TRUE;
            if (id >= 200) rec->needsRender = 1;
            return FALSE;
    }
}

INT_PTR CALLBACK MasterProc(HWND dlg, UINT msg, WPARAM wp, LPARAM lp) {
    MasterTextureRecord* rec = Rec();
    switch (msg) {
        case WM_INITDIALOG:
            StartUp(dlg, reinterpret_cast<MasterTextureRecord*>(lp));
            return FALSE;
        case kMsgRefreshMutations:
            if (!rec) return TRUE;
            if (wp == 0) {
                FreeThumbnails(dlg, rec);
            } else {
                ShowGrid(dlg, rec);
                rec->mutationGeneration = 0;
                FreeThumbnails(dlg, rec);
                BuildGeneration(dlg, rec);
            }
            return TRUE;
        case kMsgHostService:
            if (rec && rec->hostService) {
                auto fn =
                    reinterpret_cast<HostServiceFn>(static_cast<std::uintptr_t>(rec->hostService));
                const INT_PTR result = fn(dlg, wp);
                if (lp) *reinterpret_cast<INT_PTR*>(lp) = result;
            }
            return TRUE;
        case kMsgPickImage:
            SetWindowLongPtrA(dlg, DWLP_MSGRESULT, LONG_PTR(PickImage(dlg)));
            return TRUE;
        case WM_HSCROLL:
        case WM_VSCROLL:
            OnScroll(dlg, wp, reinterpret_cast<HWND>(lp));
            return TRUE;
        case WM_DRAWITEM:
            OnDrawItem(int(wp), reinterpret_cast<const DRAWITEMSTRUCT*>(lp));
            return TRUE;
        case WM_COMMAND:
            return rec ? OnCommand(dlg, rec, LOWORD(wp), HIWORD(wp)) : FALSE;
        case WM_DESTROY:
            if (rec) Destroy(dlg, rec);
            return FALSE;
    }
    return FALSE;
}

}  // namespace

void TransferToPage(HWND dlg, MasterTextureRecord* rec, int kind) {
    const KindDescriptor& info = KindOf(kind);
    if (!info.page) return;
    PageFromBlock(*info.page, BlockAt(rec, info.blockOffset), rec->dialog);
    for (int i = 0; i < info.page->count; ++i) {
        const PageField& f = info.page->fields[i];
        if (f.control == Control::ScrollBar) UpdateValueDisplay(dlg, f.id);
        if (f.control == Control::FountainView)
            SendDlgItemMessageA(dlg, int(f.id), kMsgSetFountain, 0,
                                LPARAM(BlockAt(rec, info.blockOffset) + f.offset));
    }
    FillPresetList(dlg, kind);
}

INT_PTR RunMasterDialog(HWND parent, MasterTextureRecord* rec) {
    // The pages' up-down controls live in the common controls library.
    INITCOMMONCONTROLSEX icc = {sizeof icc, ICC_UPDOWN_CLASS | ICC_STANDARD_CLASSES};
    InitCommonControlsEx(&icc);
    return DialogBoxParamA(Lib().module, "MasterTextureBox", parent, MasterProc, LPARAM(rec));
}

}  // namespace tsn::win
