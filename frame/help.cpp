// Help: the pages written at build time into "tsntxtr_help" beside the
// plug-in, opened in the user's browser.
#include <windows.h>
// After windows.h, which it needs.
#include <shellapi.h>

#include <cstdio>
#include <cstring>

#include "frame/frame.h"

namespace tsn::win {

void OpenHelpPage(HWND owner, const char* page) {
    char path[MAX_PATH + 1] = {};
    const DWORD n = GetModuleFileNameA(Lib().module, path, MAX_PATH);
    char* slash = n ? std::strrchr(path, '\\') : nullptr;
    char file[MAX_PATH + 1] = {};
    if (slash) {
        slash[1] = 0;
        std::snprintf(file, sizeof file, "%stsntxtr_help\\%s", path, page);
    }
    if (!slash || GetFileAttributesA(file) == INVALID_FILE_ATTRIBUTES) {
        ShowMessage(owner,
                    "The help pages are missing: they belong in the folder "
                    "\"tsntxtr_help\" beside the plug-in.");
        return;
    }
    // The shell's answer is above 32 when a program took the page.
    if (reinterpret_cast<INT_PTR>(
            ShellExecuteA(owner, "open", file, nullptr, nullptr, SW_SHOWNORMAL)) <= 32)
        ShowMessage(owner, "There is no program to show the help page with.");
}

}  // namespace tsn::win
