// tsnhost: a stand-in for the image editor. It loads tsntxtr_x64.dll, calls
// TSN16TEXTUREDoTexture as the editor does, shows pictures through its view
// function and writes what the plug-in returns to a BMP file. Options drive
// the dialog for tests: cancel it, or walk through every kind taking
// screenshots.
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using DoTextureFn = INT_PTR(WINAPI*)(HWND, std::uint64_t*, void*, const std::uint32_t*,
                                     std::uint64_t, void*, void*, std::uint32_t, std::uint32_t);
using VersionFn = INT_PTR(WINAPI*)();
using CopyrightFn = const char*(WINAPI*)();

struct Options {
    std::string dll = "tsntxtr_x64.dll";
    std::string out;
    std::string walk;  // folder for screenshots
    bool sizeGiven = false;
    std::uint32_t size[2] = {0, 0};
    std::uint32_t flags = 0;
    std::uint32_t buttonStyle = 1;
    bool nullImage = false;
    bool versionOnly = false;
    int cancelAfterMs = -1;
    int okAfterMs = -1;
    bool dismissMessages = false;
    int clickId = -1, clickX = 0, clickY = 0;  // click a control, then accept
    std::string presetFrom, presetTo;          // load one preset, save it as another
};

void Usage() {
    std::printf(
        "usage: tsnhost [--dll PATH] [--width W --depth D] [--flags N] [--button-style N]\n"
        "               [--null-image] [--out FILE.bmp] [--cancel-after MS] [--ok-after MS]\n"
        "               [--walk FOLDER] [--dismiss-messages] [--click ID X Y] [--version]\n"
        "               [--preset-round-trip FROM TO]\n"
        "Calls the plug-in's TSN16TEXTUREDoTexture and writes the returned picture.\n"
        "--width/--depth pass a size (and set flags bit 0); --flags adds the other bits:\n"
        "  2 = do not save the settings file, 4 = run without interaction, 8 = \"Done\" mode.\n"
        "--walk selects every kind in turn, previews it and saves a screenshot of the\n"
        "dialog per kind into FOLDER, printing what it saw; then it cancels.\n"
        "--dismiss-messages answers the plug-in's message boxes, printing their text.\n"
        "--click ID X Y clicks control ID at (X, Y) of its client area, then presses OK.\n"
        "--preset-round-trip, on every kind's page, loads preset FROM and adds the\n"
        "loaded parameters as preset TO through the name box.\n");
}

bool Parse(int argc, char** argv, Options* o) {
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        // The values an option takes, or nullptr when too few follow.
        auto values = [&](int n) -> char** {
            if (i + n >= argc) {
                std::fprintf(stderr, "tsnhost: %s needs %d value(s)\n", a.c_str(), n);
                return nullptr;
            }
            char** first = argv + i + 1;
            i += n;
            return first;
        };
        char** v = nullptr;
        if (a == "--null-image") {
            o->nullImage = true;
        } else if (a == "--dismiss-messages") {
            o->dismissMessages = true;
        } else if (a == "--version") {
            o->versionOnly = true;
        } else if (a == "--preset-round-trip") {
            if (i + 2 >= argc) return false;
            o->presetFrom = argv[++i];
            o->presetTo = argv[++i];
        } else if (a == "--click") {
            if (!(v = values(3))) return false;
            o->clickId = std::atoi(v[0]);
            o->clickX = std::atoi(v[1]);
            o->clickY = std::atoi(v[2]);
        } else if (a == "--dll" || a == "--out" || a == "--walk" || a == "--width" ||
                   a == "--depth" || a == "--flags" || a == "--button-style" ||
                   a == "--cancel-after" || a == "--ok-after") {
            if (!(v = values(1))) return false;
            const char* x = v[0];
            if (a == "--dll") o->dll = x;
            if (a == "--out") o->out = x;
            if (a == "--walk") o->walk = x;
            if (a == "--width") o->size[0] = std::uint32_t(std::atoi(x)), o->sizeGiven = true;
            if (a == "--depth") o->size[1] = std::uint32_t(std::atoi(x)), o->sizeGiven = true;
            if (a == "--flags") o->flags = std::uint32_t(std::strtoul(x, nullptr, 0));
            if (a == "--button-style") o->buttonStyle = std::uint32_t(std::atoi(x));
            if (a == "--cancel-after") o->cancelAfterMs = std::atoi(x);
            if (a == "--ok-after") o->okAfterMs = std::atoi(x);
        } else {
            Usage();
            return false;
        }
    }
    return true;
}

// The picture window the editor would open for "View...".
LRESULT CALLBACK ViewProc(HWND w, UINT msg, WPARAM wp, LPARAM lp) {
    if (msg == WM_PAINT) {
        PAINTSTRUCT ps;
        HDC dc = BeginPaint(w, &ps);
        auto image = reinterpret_cast<HGLOBAL>(GetWindowLongPtrA(w, GWLP_USERDATA));
        if (auto* info = static_cast<BITMAPINFO*>(GlobalLock(image))) {
            const auto* bits = reinterpret_cast<const unsigned char*>(info) + 40;
            StretchDIBits(dc, 0, 0, info->bmiHeader.biWidth, info->bmiHeader.biHeight, 0, 0,
                          info->bmiHeader.biWidth, info->bmiHeader.biHeight, bits, info,
                          DIB_RGB_COLORS, SRCCOPY);
            GlobalUnlock(image);
        }
        EndPaint(w, &ps);
        return 0;
    }
    return DefWindowProcA(w, msg, wp, lp);
}

BOOL WINAPI ViewImage(HWND dialog, HGLOBAL image, std::uint64_t context) {
    std::printf("view: image %p context %llu\n", static_cast<void*>(image),
                (unsigned long long)context);
    if (!image) return FALSE;
    static bool registered = false;
    if (!registered) {
        WNDCLASSA wc = {};
        wc.lpfnWndProc = ViewProc;
        wc.hInstance = GetModuleHandleA(nullptr);
        wc.hCursor = LoadCursor(nullptr, IDC_ARROW);
        wc.lpszClassName = "TsnHostView";
        registered = RegisterClassA(&wc) != 0;
    }
    HWND w = CreateWindowA("TsnHostView", "Picture", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 40, 40, 640,
                           480, dialog, nullptr, GetModuleHandleA(nullptr), nullptr);
    if (!w) return FALSE;
    SetWindowLongPtrA(w, GWLP_USERDATA, LONG_PTR(image));
    return TRUE;
}

INT_PTR WINAPI HostService(HWND, WPARAM request) {
    std::printf("host service: request %llu\n", (unsigned long long)request);
    return 0;
}

HWND FindDialog(int waitMs) {
    for (int waited = 0; waited <= waitMs; waited += 50) {
        HWND dlg = FindWindowA("#32770", "Textures and Fractals");
        if (dlg) return dlg;
        Sleep(50);
    }
    return nullptr;
}

// Lets the dialog's thread handle everything already posted to it.
void Settle(HWND dlg) {
    for (int i = 0; i < 4; ++i) {
        DWORD_PTR r;
        SendMessageTimeoutA(dlg, WM_NULL, 0, 0, SMTO_NORMAL, 20000, &r);
        Sleep(60);
    }
}

bool SaveWindowBmp(HWND w, const std::string& path) {
    RECT r;
    GetWindowRect(w, &r);
    const int width = r.right - r.left, height = r.bottom - r.top;
    HDC screen = GetDC(nullptr);
    HDC mem = CreateCompatibleDC(screen);
    BITMAPINFO bi = {};
    bi.bmiHeader.biSize = sizeof bi.bmiHeader;
    bi.bmiHeader.biWidth = width;
    bi.bmiHeader.biHeight = height;
    bi.bmiHeader.biPlanes = 1;
    bi.bmiHeader.biBitCount = 24;
    void* bits = nullptr;
    HBITMAP bmp = CreateDIBSection(screen, &bi, DIB_RGB_COLORS, &bits, nullptr, 0);
    bool ok = false;
    if (bmp) {
        HGDIOBJ old = SelectObject(mem, bmp);
        // The screen's pixels: what a person sees (asking the window to print
        // itself misses its children under Wine).
        BitBlt(mem, 0, 0, width, height, screen, r.left, r.top, SRCCOPY);
        SelectObject(mem, old);
        GdiFlush();
        const DWORD stride = ((DWORD(width) * 24 + 31) / 32) * 4, image = stride * DWORD(height);
        BITMAPFILEHEADER fh = {};
        fh.bfType = 0x4D42;
        fh.bfOffBits = sizeof fh + sizeof bi.bmiHeader;
        fh.bfSize = fh.bfOffBits + image;
        bi.bmiHeader.biSizeImage = image;
        if (std::FILE* f = std::fopen(path.c_str(), "wb")) {
            ok = std::fwrite(&fh, sizeof fh, 1, f) == 1 &&
                 std::fwrite(&bi.bmiHeader, sizeof bi.bmiHeader, 1, f) == 1 &&
                 std::fwrite(bits, 1, image, f) == image;
            ok = std::fclose(f) == 0 && ok;
        }
        DeleteObject(bmp);
    }
    DeleteDC(mem);
    ReleaseDC(nullptr, screen);
    return ok;
}

// A message box of the plug-in owned by the dialog, if one is open.
HWND FindMessageBox() {
    return FindWindowA("#32770", "Textures and Fractals: message");
}

// The shown page's preset list: a visible drop list followed by its add,
// delete and load buttons.
HWND ShownPresetList(HWND dlg) {
    for (HWND c = GetWindow(dlg, GW_CHILD); c; c = GetWindow(c, GW_HWNDNEXT)) {
        char cls[32] = {};
        GetClassNameA(c, cls, sizeof cls);
        const int id = GetDlgCtrlID(c);
        if (id < 200 || !IsWindowVisible(c) || lstrcmpiA(cls, "ComboBox") != 0) continue;
        bool buttons = true;
        for (int k = 1; k <= 3; ++k) {
            char next[32] = {};
            HWND b = GetDlgItem(dlg, id + k);
            if (b) GetClassNameA(b, next, sizeof next);
            buttons = buttons && lstrcmpiA(next, "Button") == 0;
        }
        if (buttons) return c;
    }
    return nullptr;
}

// Presses a button of the dialog without waiting for what it opens.
void Press(HWND dlg, int id) {
    PostMessageA(dlg, WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), LPARAM(GetDlgItem(dlg, id)));
    Settle(dlg);
}

void PresetRoundTrip(HWND dlg, const Options& o) {
    HWND kinds = GetDlgItem(dlg, 103);
    const int count = int(SendMessageA(kinds, CB_GETCOUNT, 0, 0));
    for (int i = 0; i < count; ++i) {
        SendMessageA(kinds, CB_SETCURSEL, WPARAM(i), 0);
        SendMessageA(dlg, WM_COMMAND, MAKEWPARAM(103, CBN_CLOSEUP), LPARAM(kinds));
        Settle(dlg);
        if (HWND box = FindMessageBox()) PostMessageA(box, WM_COMMAND, IDOK, 0), Settle(dlg);
        HWND list = ShownPresetList(dlg);
        const int id = list ? GetDlgCtrlID(list) : 0;
        const LRESULT at =
            list ? SendMessageA(list, CB_FINDSTRINGEXACT, WPARAM(-1), LPARAM(o.presetFrom.c_str()))
                 : CB_ERR;
        bool loaded = false, named = false;
        if (at != CB_ERR) {
            SendMessageA(list, CB_SETCURSEL, WPARAM(at), 0);
            Press(dlg, id + 3);
            // A failed load says so; a kind that cannot render says so after
            // the load's preview.
            loaded = true;
            while (HWND box = FindMessageBox()) {
                char text[256] = {};
                GetDlgItemTextA(box, 100, text, sizeof text);
                if (std::strstr(text, "error reading")) loaded = false;
                PostMessageA(box, WM_COMMAND, IDOK, 0);
                Settle(dlg);
            }
            Press(dlg, id + 1);
            if (HWND name = FindWindowA("#32770", "Textures and Fractals: new preset")) {
                SetDlgItemTextA(name, 100, o.presetTo.c_str());
                PostMessageA(name, WM_COMMAND, IDOK, 0);
                Settle(dlg);
                named = true;
            }
        }
        std::printf("preset %d list %d loaded %d named %d\n", i, id, loaded ? 1 : 0, named ? 1 : 0);
        std::fflush(stdout);
    }
    PostMessageA(dlg, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
}

DWORD WINAPI Drive(LPVOID param) {
    const Options& o = *static_cast<Options*>(param);
    HWND dlg = FindDialog(60000);
    if (!dlg) {
        std::printf("driver: no dialog appeared\n");
        return 1;
    }
    Settle(dlg);
    if (!o.walk.empty()) {
        HWND list = GetDlgItem(dlg, 103);
        const int count = int(SendMessageA(list, CB_GETCOUNT, 0, 0));
        for (int i = 0; i < count; ++i) {
            SendMessageA(list, CB_SETCURSEL, WPARAM(i), 0);
            SendMessageA(dlg, WM_COMMAND, MAKEWPARAM(103, CBN_CLOSEUP), LPARAM(list));
            Settle(dlg);
            // Tick "Show mutations" as a user would: kinds without a colour map
            // must refuse it.
            CheckDlgButton(dlg, 110, BST_CHECKED);
            SendMessageA(dlg, WM_COMMAND, MAKEWPARAM(110, BN_CLICKED),
                         LPARAM(GetDlgItem(dlg, 110)));
            Settle(dlg);
            // A kind that cannot render may say so more than once (its
            // preview and the refused tick); close them all here so none is
            // counted against the next kind.
            bool box = false;
            char text[256] = {};
            while (HWND b = FindMessageBox()) {
                if (!box) GetDlgItemTextA(b, 100, text, sizeof text);
                box = true;
                PostMessageA(b, WM_COMMAND, IDOK, 0);
                Settle(dlg);
            }
            char name[64] = {};
            SendMessageA(list, CB_GETLBTEXT, WPARAM(i), LPARAM(name));
            const LRESULT data = SendMessageA(list, CB_GETITEMDATA, WPARAM(i), 0);
            SetForegroundWindow(dlg);
            RedrawWindow(dlg, nullptr, nullptr,
                         RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN | RDW_UPDATENOW);
            Settle(dlg);
            char file[400];
            std::snprintf(file, sizeof file, "%s\\kind-%02d.bmp", o.walk.c_str(), i);
            const bool shot = SaveWindowBmp(dlg, file);
            std::printf(
                "walk %d data %ld name \"%s\" show %d grid %d mutate %d messagebox %d \"%s\" shot "
                "%d\n",
                i, long(data), name, IsDlgButtonChecked(dlg, 110) == BST_CHECKED ? 1 : 0,
                IsWindowVisible(GetDlgItem(dlg, 190)) ? 1 : 0,
                IsWindowEnabled(GetDlgItem(dlg, 109)) ? 1 : 0, box ? 1 : 0, text, shot ? 1 : 0);
            std::fflush(stdout);
        }
        PostMessageA(dlg, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
        return 0;
    }
    if (!o.presetFrom.empty()) {
        PresetRoundTrip(dlg, o);
        return 0;
    }
    if (o.clickId >= 0) {
        HWND control = GetDlgItem(dlg, o.clickId);
        std::printf("click %d %s\n", o.clickId, control ? "found" : "missing");
        const LPARAM at = MAKELPARAM(o.clickX, o.clickY);
        PostMessageA(control, WM_MOUSEMOVE, 0, at);
        PostMessageA(control, WM_LBUTTONDOWN, MK_LBUTTON, at);
        PostMessageA(control, WM_LBUTTONUP, 0, at);
        Settle(dlg);
        char status[128] = {};
        GetDlgItemTextA(dlg, o.clickId + 1, status, sizeof status);
        std::printf("status %s\n", status);
        PostMessageA(dlg, WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), 0);
        return 0;
    }
    if (o.dismissMessages) {
        // Until the dialog is gone, report and close every message box;
        // with --ok-after, press OK once that time has passed.
        const DWORD start = GetTickCount();
        bool okSent = false;
        while (IsWindow(dlg)) {
            if (!okSent && o.okAfterMs >= 0 && GetTickCount() - start >= DWORD(o.okAfterMs) &&
                !FindMessageBox()) {
                PostMessageA(dlg, WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), 0);
                okSent = true;
            }
            if (HWND box = FindMessageBox()) {
                char text[256] = {};
                GetDlgItemTextA(box, 100, text, sizeof text);
                std::printf("messagebox %s\n", text);
                std::fflush(stdout);
                PostMessageA(box, WM_COMMAND, IDOK, 0);
                Sleep(200);
            }
            Sleep(50);
        }
        return 0;
    }
    if (o.cancelAfterMs >= 0) {
        Sleep(DWORD(o.cancelAfterMs));
        PostMessageA(dlg, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
    } else if (o.okAfterMs >= 0) {
        Sleep(DWORD(o.okAfterMs));
        // What the user sees of the frame, then "View...", then OK.
        char ok[32] = {};
        GetDlgItemTextA(dlg, IDOK, ok, sizeof ok);
        std::printf("buttons ok \"%s\" cancel %d\n", ok,
                    IsWindowEnabled(GetDlgItem(dlg, IDCANCEL)) ? 1 : 0);
        std::fflush(stdout);
        SendMessageA(dlg, WM_COMMAND, MAKEWPARAM(106, BN_CLICKED), LPARAM(GetDlgItem(dlg, 106)));
        Settle(dlg);
        PostMessageA(dlg, WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), 0);
    }
    return 0;
}

bool WriteBmp(HGLOBAL image, const std::string& path) {
    auto* info = static_cast<const BITMAPINFOHEADER*>(GlobalLock(image));
    if (!info) return false;
    const DWORD dib = info->biSize + info->biSizeImage;
    BITMAPFILEHEADER fh = {};
    fh.bfType = 0x4D42;
    fh.bfOffBits = sizeof fh + 40;
    fh.bfSize = sizeof fh + dib;
    bool ok = false;
    if (std::FILE* f = std::fopen(path.c_str(), "wb")) {
        ok = std::fwrite(&fh, sizeof fh, 1, f) == 1 && std::fwrite(info, 1, dib, f) == dib;
        ok = std::fclose(f) == 0 && ok;
    }
    GlobalUnlock(image);
    return ok;
}

// An exported function of the plug-in with its real type.
template <class Fn>
Fn Entry(HMODULE dll, const char* name) {
    return reinterpret_cast<Fn>(reinterpret_cast<void*>(GetProcAddress(dll, name)));
}

}  // namespace

int main(int argc, char** argv) {
    Options o;
    if (!Parse(argc, argv, &o)) return 2;
    HMODULE dll = LoadLibraryA(o.dll.c_str());
    if (!dll) {
        std::fprintf(stderr, "tsnhost: cannot load %s (error %lu)\n", o.dll.c_str(),
                     GetLastError());
        return 1;
    }
    auto doTexture = Entry<DoTextureFn>(dll, "TSN16TEXTUREDoTexture");
    auto version = Entry<VersionFn>(dll, "TSN16TEXTUREGetVersion");
    auto copyright = Entry<CopyrightFn>(dll, "TSN16TEXTUREGetCopyright");
    if (!doTexture || !version || !copyright) {
        std::fprintf(stderr, "tsnhost: %s lacks the plug-in's entry points\n", o.dll.c_str());
        return 1;
    }
    std::printf("version %lld\ncopyright %s\n", (long long)version(), copyright());
    if (o.versionOnly) return 0;

    HANDLE driver = nullptr;
    if (!o.walk.empty() || o.cancelAfterMs >= 0 || o.okAfterMs >= 0 || o.dismissMessages ||
        o.clickId >= 0 || !o.presetFrom.empty())
        driver = CreateThread(nullptr, 0, Drive, &o, 0, nullptr);
    std::uint64_t image = 0;
    const std::uint32_t flags = o.flags | (o.sizeGiven ? 1u : 0u);
    const INT_PTR result =
        doTexture(nullptr, o.nullImage ? nullptr : &image, nullptr, o.sizeGiven ? o.size : nullptr,
                  7, reinterpret_cast<void*>(ViewImage), reinterpret_cast<void*>(HostService),
                  o.buttonStyle, flags);
    if (driver) {
        WaitForSingleObject(driver, 10000);
        CloseHandle(driver);
    }
    std::printf("result %lld\n", (long long)result);
    int code = 0;
    if (image) {
        auto h = reinterpret_cast<HGLOBAL>(image);
        if (auto* info = static_cast<const BITMAPINFOHEADER*>(GlobalLock(h))) {
            std::printf("image %ld x %ld\n", long(info->biWidth), long(info->biHeight));
            GlobalUnlock(h);
        }
        if (!o.out.empty() && !WriteBmp(h, o.out)) {
            std::fprintf(stderr, "tsnhost: cannot write %s\n", o.out.c_str());
            code = 1;
        }
        GlobalFree(h);
    } else {
        std::printf("image none\n");
    }
    std::fflush(stdout);
    FreeLibrary(dll);
    return code;
}
