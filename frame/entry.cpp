// The plug-in's exported entry points and one texture session.
#include <cstdlib>
#include <cstring>

#include "app/config_file.h"
#include "frame/frame.h"
#include "kind/descriptor.h"

namespace tsn::win {

Library& Lib() {
    static Library lib;
    return lib;
}

namespace {

constexpr char kTipClass[] = "VantorelCommonFileTipClass";

// The tip window of the shared file dialogs: it paints its own text.
LRESULT CALLBACK TipProc(HWND w, UINT msg, WPARAM wp, LPARAM lp) {
    if (msg == WM_PAINT) {
        PAINTSTRUCT ps;
        HDC dc = BeginPaint(w, &ps);
        RECT r;
        GetClientRect(w, &r);
        FillRect(dc, &r, GetSysColorBrush(COLOR_INFOBK));
        char text[256] = {};
        GetWindowTextA(w, text, sizeof text);
        SetBkMode(dc, TRANSPARENT);
        HGDIOBJ old =
            SelectObject(dc, Lib().smallFont ? Lib().smallFont : GetStockObject(DEFAULT_GUI_FONT));
        DrawTextA(dc, text, -1, &r, DT_LEFT | DT_WORDBREAK);
        SelectObject(dc, old);
        EndPaint(w, &ps);
        return 0;
    }
    return DefWindowProcA(w, msg, wp, lp);
}

void Attach(HINSTANCE module) {
    Library& lib = Lib();
    lib.module = module;
    char path[MAX_PATH] = {};
    GetModuleFileNameA(module, path, MAX_PATH);
    char* slash = std::strrchr(path, '\\');
    if (slash) slash[1] = 0;
    lib.home[0] = 0;
    PathAppend(lib.home, path, true);
    lib.smallFont = CreateFontA(13, 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE, DEFAULT_CHARSET,
                                OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS, DEFAULT_QUALITY,
                                DEFAULT_PITCH | FF_DONTCARE, "Arial");
    RegisterControlClass(module, kTipClass, TipProc, IDC_ARROW, CS_DBLCLKS);
    RegisterControlClasses(module);
}

void Detach() {
    Library& lib = Lib();
    if (lib.smallFont) DeleteObject(lib.smallFont);
    lib.smallFont = nullptr;
    UnregisterClassA(kTipClass, lib.module);
    UnregisterControlClasses(lib.module);
}

void ConfigPath(char path[kMaxPath + 1]) {
    if (!ConfigFilePath(path)) path[0] = 0;
}

}  // namespace

}  // namespace tsn::win

using namespace tsn;
using namespace tsn::win;

extern "C" {

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) Attach(module);
    if (reason == DLL_PROCESS_DETACH) Detach();
    return TRUE;
}

__declspec(dllexport) INT_PTR WINAPI
    TSN16TEXTUREDoTexture(HWND parent, std::uint64_t* imageOut, void* /*hostFunction*/,
                          const std::uint32_t* size, std::uint64_t viewContext,
                          ViewImageFn viewImage, HostServiceFn hostService,
                          std::uint32_t buttonStyle, std::uint32_t flags) {
    char configPath[kMaxPath + 1];
    ConfigPath(configPath);
    if (configPath[0]) ReadConfigFile(&Config(), configPath);
    Lib().buttonStyle = buttonStyle;

    MasterTextureRecord rec;
    SessionArguments args;
    args.parent = reinterpret_cast<std::uint64_t>(parent);
    args.viewContext = viewContext;
    args.viewImage = reinterpret_cast<std::uint64_t>(viewImage);
    args.hostService = reinterpret_cast<std::uint64_t>(hostService);
    args.flags = flags;
    args.size = size;  // read only when flags bit 0 says it is valid
    InitRecord(&rec, args);

    const char* fail = std::getenv("TSNTXTR_FAIL_RENDER_ALLOCATION");
    Lib().failFirstRender = fail ? std::atol(fail) : -1;
    const INT_PTR result = RunMasterDialog(parent, &rec);
    const std::uint32_t low = std::uint32_t(result);
    if (low == 0) {
        MemFree(rec.image);
        rec.image = 0;
        if (parent) UpdateWindow(parent);
        return 0;
    }
    if (!imageOut) {
        MemFree(rec.image);
        rec.image = 0;
    } else {
        *imageOut = rec.image;  // the host owns it now
        rec.image = 0;
    }
    SaveConfigFile(Config());
    if (parent) UpdateWindow(parent);
    return INT_PTR(low);
}

__declspec(dllexport) INT_PTR WINAPI TSN16TEXTUREGetVersion() {
    return 0x101;
}

__declspec(dllexport) const char* WINAPI TSN16TEXTUREGetCopyright() {
    return "Textures and Fractals plug-in for Tessarine 16. Copyright (c) 2026 the tsntxtr "
           "developers.";
}

}  // extern "C"
