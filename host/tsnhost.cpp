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
    int mapKind = -1, buttonKind = -1;         // --edit-colours
    std::string pickName, addName, shots;
};

void Usage() {
    std::printf(
        "usage: tsnhost [--dll PATH] [--width W --depth D] [--flags N] [--button-style N]\n"
        "               [--null-image] [--out FILE.bmp] [--cancel-after MS] [--ok-after MS]\n"
        "               [--walk FOLDER] [--dismiss-messages] [--click ID X Y] [--version]\n"
        "               [--preset-round-trip FROM TO]\n"
        "               [--edit-colours MAPKIND BUTTONKIND PICK ADD FOLDER]\n"
        "Calls the plug-in's TSN16TEXTUREDoTexture and writes the returned picture.\n"
        "--width/--depth pass a size (and set flags bit 0); --flags adds the other bits:\n"
        "  2 = do not save the settings file, 4 = run without interaction, 8 = \"Done\" mode.\n"
        "--walk selects every kind in turn, previews it and saves a screenshot of the\n"
        "dialog per kind into FOLDER, printing what it saw; then it cancels.\n"
        "--dismiss-messages answers the plug-in's message boxes, printing their text.\n"
        "--click ID X Y clicks control ID at (X, Y) of its client area, then presses OK.\n"
        "--preset-round-trip, on every kind's page, loads preset FROM and adds the\n"
        "loaded parameters as preset TO through the name box.\n"
        "--edit-colours: on kind BUTTONKIND picks the named colour PICK into the first\n"
        "colour button; on kind MAPKIND stores the map in the library, adds a marker by\n"
        "double click (colour PICK, after adding the dialog's colour 10,20,30 to the\n"
        "database as ADD), drags it, stores the map again, deletes the marker and picks\n"
        "the second library entry; prints each record and saves screenshots into\n"
        "FOLDER; then presses OK.\n");
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
        } else if (a == "--edit-colours") {
            if (!(v = values(5))) return false;
            o->mapKind = std::atoi(v[0]);
            o->buttonKind = std::atoi(v[1]);
            o->pickName = v[2];
            o->addName = v[3];
            o->shots = v[4];
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

// --- Driving the colour-map editor, the colour dialog and the library.

// The editor's colours as the plug-in's packed record keeps them.
struct Fountain {
    std::uint32_t count = 0, start = 0, end = 0, markers[64] = {};
};
constexpr UINT kMsgGetFountain = WM_USER + 401;

Fountain ReadFountain(HWND editor) {
    unsigned char record[600] = {};
    SendMessageA(editor, kMsgGetFountain, 0, LPARAM(record));
    Fountain f;
    std::memcpy(&f.count, record + 289, 4);
    std::memcpy(&f.start, record + 293, 4);
    std::memcpy(&f.end, record + 297, 4);
    std::memcpy(f.markers, record + 301, sizeof f.markers);
    if (f.count > 64) f.count = 64;
    return f;
}

void PrintFountain(const char* step, const Fountain& f) {
    std::printf("%s count %u start %06X end %06X markers", step, f.count, f.start & 0xFFFFFF,
                f.end & 0xFFFFFF);
    for (std::uint32_t i = 0; i < f.count; ++i)
        std::printf(" %u:%06X", f.markers[i] >> 24, f.markers[i] & 0xFFFFFF);
    std::printf("\n");
    std::fflush(stdout);
}

void SelectKind(HWND dlg, int index) {
    HWND kinds = GetDlgItem(dlg, 103);
    SendMessageA(kinds, CB_SETCURSEL, WPARAM(index), 0);
    SendMessageA(dlg, WM_COMMAND, MAKEWPARAM(103, CBN_CLOSEUP), LPARAM(kinds));
    Settle(dlg);
}

// The first visible child of the dialog of class `cls` whose text starts
// with `prefix`.
HWND ShownChild(HWND dlg, const char* cls, const char* prefix) {
    for (HWND c = GetWindow(dlg, GW_CHILD); c; c = GetWindow(c, GW_HWNDNEXT)) {
        char name[64] = {}, text[64] = {};
        GetClassNameA(c, name, sizeof name);
        GetWindowTextA(c, text, sizeof text);
        if (IsWindowVisible(c) && lstrcmpiA(name, cls) == 0 &&
            std::strncmp(text, prefix, std::strlen(prefix)) == 0)
            return c;
    }
    return nullptr;
}

HWND WaitWindow(const char* title, int waitMs = 5000) {
    for (int waited = 0; waited <= waitMs; waited += 50) {
        if (HWND w = FindWindowA("#32770", title)) return w;
        Sleep(50);
    }
    return nullptr;
}

void Shot(HWND w, const Options& o, const char* name) {
    RedrawWindow(w, nullptr, nullptr, RDW_INVALIDATE | RDW_ALLCHILDREN | RDW_UPDATENOW);
    Settle(w);
    const bool ok = SaveWindowBmp(w, o.shots + "\\" + name + ".bmp");
    std::printf("shot %s %d\n", name, ok ? 1 : 0);
}

// In the open colour dialog, the named colour from the database list, then
// OK. Optionally first adds the colour 10,20,30 under `add`.
bool PickNamedColour(HWND owner, const Options& o, const char* add, const char* shot) {
    HWND box = WaitWindow("Color");
    if (!box) {
        std::printf("colour dialog missing\n");
        return false;
    }
    Settle(box);
    if (add) {
        const int rgb[3] = {10, 20, 30};
        for (int i = 0; i < 3; ++i) SetDlgItemInt(box, 706 + i, UINT(rgb[i]), FALSE);
        Settle(box);
        PostMessageA(box, WM_COMMAND, MAKEWPARAM(109, BN_CLICKED), 0);
        if (HWND name = WaitWindow("Add Color")) {
            SetDlgItemTextA(name, 100, add);
            PostMessageA(name, WM_COMMAND, IDOK, 0);
        }
        Settle(box);
    }
    HWND list = GetDlgItem(box, 108);
    const LRESULT at =
        SendMessageA(list, LB_FINDSTRINGEXACT, WPARAM(-1), LPARAM(o.pickName.c_str()));
    std::printf("database %ld entries, %s at %ld\n", long(SendMessageA(list, LB_GETCOUNT, 0, 0)),
                o.pickName.c_str(), long(at));
    SendMessageA(list, LB_SETCURSEL, WPARAM(at), 0);
    SendMessageA(box, WM_COMMAND, MAKEWPARAM(108, LBN_SELCHANGE), LPARAM(list));
    if (shot) Shot(box, o, shot);
    PostMessageA(box, WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), 0);
    Settle(owner);
    return at >= 0;
}

// Picks item `down` (from 1) of the popup menu a right click opened.
void ChooseMenuItem(HWND owner, int down) {
    HWND menu = nullptr;
    for (int waited = 0; !menu && waited <= 3000; waited += 50) {
        menu = FindWindowA("#32768", nullptr);
        if (!menu) Sleep(50);
    }
    std::printf("menu %s\n", menu ? "shown" : "missing");
    if (!menu) return;
    for (int i = 0; i < down; ++i) PostMessageA(menu, WM_KEYDOWN, VK_DOWN, 0);
    PostMessageA(menu, WM_KEYDOWN, VK_RETURN, 0);
    Settle(owner);
}

void Post(HWND w, UINT msg, WPARAM wp, int x, int y) {
    PostMessageA(w, msg, wp, MAKELPARAM(x, y));
}

void EditColours(HWND dlg, const Options& o) {
    // A named colour into a colour button.
    SelectKind(dlg, o.buttonKind);
    if (HWND button = ShownChild(dlg, "Button", "0x")) {
        const int id = GetDlgCtrlID(button);
        PostMessageA(dlg, WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), LPARAM(button));
        PickNamedColour(dlg, o, nullptr, nullptr);
        char text[32] = {};
        GetWindowTextA(button, text, sizeof text);
        std::printf("button %s\n", text);
    } else {
        std::printf("button missing\n");
    }

    SelectKind(dlg, o.mapKind);
    HWND editor = ShownChild(dlg, "TsnFountainView", "");
    std::printf("editor %s\n", editor ? "found" : "missing");
    if (!editor) {
        PostMessageA(dlg, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0);
        return;
    }
    RECT r;
    GetClientRect(editor, &r);
    const int left = 8, width = r.right - 16, gradientY = (16 + r.bottom - 4) / 2;
    auto xOf = [&](std::uint32_t position) { return left + int(position / 255.0 * width); };
    Fountain f = ReadFountain(editor);
    PrintFountain("initial", f);

    // The unchanged map into the library: the gradient's menu, first item.
    Post(editor, WM_RBUTTONDOWN, MK_RBUTTON, r.right / 2, gradientY);
    ChooseMenuItem(dlg, 1);

    // A double click in the marker strip, at least a box's width away from
    // every marker, adds one there in a colour from the dialog.
    int x = -1;
    for (int p = 30; p < 230 && x < 0; ++p) {
        bool clear = true;
        for (std::uint32_t i = 0; i < f.count; ++i)
            clear = clear && std::abs(xOf(f.markers[i] >> 24) - xOf(std::uint32_t(p))) > 12;
        if (clear) x = xOf(std::uint32_t(p));
    }
    std::printf("add at x %d position %d\n", x, int(double(x - left) / width * 255));
    Post(editor, WM_LBUTTONDBLCLK, MK_LBUTTON, x, 6);
    PickNamedColour(dlg, o, o.addName.c_str(), "colour-dialog");
    f = ReadFountain(editor);
    PrintFountain("added", f);
    {
        HDC dc = GetDC(editor);
        const COLORREF c = GetPixel(dc, x, gradientY);
        ReleaseDC(editor, dc);
        std::printf("gradient at marker %06X\n", unsigned(c) & 0xFFFFFF);
    }
    Shot(dlg, o, "marker-editor");

    // Drag it 40 pixels right.
    const int to = std::min(x + 40, int(r.right) - 20);
    Post(editor, WM_LBUTTONDOWN, MK_LBUTTON, x, 6);
    Post(editor, WM_MOUSEMOVE, MK_LBUTTON, (x + to) / 2, 7);
    Post(editor, WM_MOUSEMOVE, MK_LBUTTON, to, 7);
    Post(editor, WM_LBUTTONUP, 0, to, 7);
    Settle(dlg);
    std::printf("drag to x %d position %d\n", to, int(double(to - left) / width * 255));
    f = ReadFountain(editor);
    PrintFountain("dragged", f);
    Post(editor, WM_RBUTTONDOWN, MK_RBUTTON, r.right / 2, gradientY);
    ChooseMenuItem(dlg, 1);

    // Its menu's first item deletes it.
    Post(editor, WM_RBUTTONDOWN, MK_RBUTTON, to, 6);
    ChooseMenuItem(dlg, 1);
    f = ReadFountain(editor);
    PrintFountain("deleted", f);

    // The library dialog: the gradient's menu, second item; pick entry 2.
    Post(editor, WM_RBUTTONDOWN, MK_RBUTTON, r.right / 2, gradientY);
    HWND menu = nullptr;
    for (int waited = 0; !menu && waited <= 3000; waited += 50)
        if (!(menu = FindWindowA("#32768", nullptr))) Sleep(50);
    if (menu) {
        PostMessageA(menu, WM_KEYDOWN, VK_DOWN, 0);
        PostMessageA(menu, WM_KEYDOWN, VK_DOWN, 0);
        PostMessageA(menu, WM_KEYDOWN, VK_RETURN, 0);
    }
    if (HWND lib = WaitWindow("Color Map Library")) {
        Settle(lib);
        HWND list = GetDlgItem(lib, 101);
        std::printf("library %ld entries\n", long(SendMessageA(list, LB_GETCOUNT, 0, 0)));
        SendMessageA(list, LB_SETCURSEL, 1, 0);
        SendMessageA(lib, WM_COMMAND, MAKEWPARAM(101, LBN_SELCHANGE), LPARAM(list));
        Shot(lib, o, "library-dialog");
        PostMessageA(lib, WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), 0);
        Settle(dlg);
    } else {
        std::printf("library dialog missing\n");
    }
    f = ReadFountain(editor);
    PrintFountain("picked", f);
    Settle(dlg);
    PostMessageA(dlg, WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), 0);
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
    if (o.mapKind >= 0) {
        EditColours(dlg, o);
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
        o.clickId >= 0 || !o.presetFrom.empty() || o.mapKind >= 0)
        driver = CreateThread(nullptr, 0, Drive, &o, 0, nullptr);
    std::uint64_t image = 0;
    const std::uint32_t flags = o.flags | (o.sizeGiven ? 1u : 0u);
    LARGE_INTEGER frequency, start, end;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&start);
    const INT_PTR result =
        doTexture(nullptr, o.nullImage ? nullptr : &image, nullptr, o.sizeGiven ? o.size : nullptr,
                  7, reinterpret_cast<void*>(ViewImage), reinterpret_cast<void*>(HostService),
                  o.buttonStyle, flags);
    QueryPerformanceCounter(&end);
    if (driver) {
        WaitForSingleObject(driver, 10000);
        CloseHandle(driver);
    }
    std::printf("result %lld\n", (long long)result);
    // The whole call: dialog, previews and the final render.
    std::printf("session %.3f s\n",
                double(end.QuadPart - start.QuadPart) / double(frequency.QuadPart));
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
