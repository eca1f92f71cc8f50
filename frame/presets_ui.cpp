// The pages' preset lists and their add, delete and load buttons, and the
// box that asks for a new preset's name.
#include <windows.h>

#include <string>
#include <vector>

#include "app/kind_list.h"
#include "app/presets.h"
#include "frame/frame.h"

namespace tsn::win {

namespace {

enum : int { kNameEdit = 100 };

struct NameRequest {
    HWND list;  // the page's preset list, whose names are taken
    std::string name;
};

bool ListHolds(HWND list, const char* name) {
    const int count = int(SendMessageA(list, CB_GETCOUNT, 0, 0));
    for (int i = 0; i < count; ++i) {
        char item[kMaxPath + 1] = {};
        if (SendMessageA(list, CB_GETLBTEXTLEN, WPARAM(i), 0) > kMaxPath) continue;
        SendMessageA(list, CB_GETLBTEXT, WPARAM(i), LPARAM(item));
        if (lstrcmpiA(item, name) == 0) return true;
    }
    return false;
}

INT_PTR CALLBACK NameBoxProc(HWND w, UINT msg, WPARAM wp, LPARAM lp) {
    auto* request = reinterpret_cast<NameRequest*>(GetWindowLongPtrA(w, DWLP_USER));
    switch (msg) {
        case WM_INITDIALOG:
            SetWindowLongPtrA(w, DWLP_USER, lp);
            SetDlgItemTextA(w, kNameEdit, "Untitled");
            SendDlgItemMessageA(w, kNameEdit, EM_LIMITTEXT, 200, 0);
            SendDlgItemMessageA(w, kNameEdit, EM_SETSEL, 0, -1);
            SetFocus(GetDlgItem(w, kNameEdit));
            return FALSE;
        case WM_COMMAND:
            if (LOWORD(wp) == IDCANCEL) {
                EndDialog(w, IDCANCEL);
                return TRUE;
            }
            if (LOWORD(wp) == IDOK && request) {
                char name[kMaxPath + 1] = {};
                GetDlgItemTextA(w, kNameEdit, name, sizeof name);
                const std::string problem = PresetNameProblem(name);
                if (!problem.empty()) {
                    ShowMessage(w, problem.c_str());
                } else if (ListHolds(request->list, name)) {
                    ShowMessage(w, "The name you have selected already exists in this library.");
                } else {
                    request->name = name;
                    EndDialog(w, IDOK);
                }
                return TRUE;
            }
            break;
    }
    return FALSE;
}

std::string SelectedName(HWND list) {
    const LRESULT sel = SendMessageA(list, CB_GETCURSEL, 0, 0);
    if (sel == CB_ERR || SendMessageA(list, CB_GETLBTEXTLEN, WPARAM(sel), 0) > kMaxPath) return {};
    char name[kMaxPath + 1] = {};
    SendMessageA(list, CB_GETLBTEXT, WPARAM(sel), LPARAM(name));
    return name;
}

void Add(HWND dlg, MasterTextureRecord* rec, int kind, HWND list) {
    if (KindAt(kind).query(rec, kQueryBlockSize) < 1 ||
        KindAt(kind).query(rec, kQueryOldBlockSize) < 1)
        return;
    NameRequest request{list, {}};
    if (DialogBoxParamA(Lib().module, "TextureNameBox", dlg, NameBoxProc, LPARAM(&request)) != IDOK)
        return;
    if (!SavePreset(rec, kind, request.name)) {
        ShowMessage(dlg, "There has been an error adding a new texture to the current library.");
        return;
    }
    const LRESULT at = SendMessageA(list, CB_ADDSTRING, 0, LPARAM(request.name.c_str()));
    SendMessageA(list, CB_SETCURSEL, WPARAM(at), 0);
}

void Delete(HWND dlg, int kind, HWND list) {
    const std::string name = SelectedName(list);
    if (name.empty()) return;
    char question[kMaxPath + 64];
    wsprintfA(question, "Do you really want to delete %s from this library?", name.c_str());
    if (!AskYesNo(dlg, question)) return;
    if (!DeletePreset(kind, name)) {
        ShowMessage(dlg, "There has been an error deleteing the selected texture.");
        return;
    }
    const LRESULT at = SendMessageA(list, CB_FINDSTRINGEXACT, WPARAM(-1), LPARAM(name.c_str()));
    if (at == CB_ERR) return;
    SendMessageA(list, CB_DELETESTRING, WPARAM(at), 0);
    const LRESULT count = SendMessageA(list, CB_GETCOUNT, 0, 0);
    if (count > 0) SendMessageA(list, CB_SETCURSEL, WPARAM(at < count ? at : count - 1), 0);
}

void Load(HWND dlg, MasterTextureRecord* rec, int kind, HWND list) {
    const std::string name = SelectedName(list);
    if (name.empty() || !LoadPreset(rec, kind, name)) {
        ShowMessage(dlg, "There has been an error reading the selected texture.");
        return;
    }
    // The reload refills the list: keep the loaded name selected.
    TransferToPage(dlg, rec, kind);
    const LRESULT at = SendMessageA(list, CB_FINDSTRINGEXACT, WPARAM(-1), LPARAM(name.c_str()));
    if (at != CB_ERR) SendMessageA(list, CB_SETCURSEL, WPARAM(at), 0);
    rec->needsRender = 1;
    PostMessageA(dlg, WM_COMMAND, MAKEWPARAM(102, BN_CLICKED), 0);
    KindAt(kind).query(rec, kQueryRefreshControls);
}

}  // namespace

void FillPresetList(HWND dlg, int kind) {
    HWND list = GetDlgItem(dlg, int(KindOf(kind).presetList));
    if (!KindOf(kind).presetList || !list) return;
    SendMessageA(list, CB_RESETCONTENT, 0, 0);
    for (const std::string& name : ListPresets(kind))
        SendMessageA(list, CB_ADDSTRING, 0, LPARAM(name.c_str()));
    SendMessageA(list, CB_SETCURSEL, 0, 0);
}

bool PresetButton(HWND dlg, MasterTextureRecord* rec, int id) {
    for (int action = 1; action <= 3; ++action) {
        const int kind = KindOfPresetList(std::uint32_t(id - action));
        if (kind < 0) continue;
        HWND list = GetDlgItem(dlg, id - action);
        if (!list) return false;
        if (action == 1) Add(dlg, rec, kind, list);
        if (action == 2) Delete(dlg, kind, list);
        if (action == 3) Load(dlg, rec, kind, list);
        return true;
    }
    return false;
}

}  // namespace tsn::win
