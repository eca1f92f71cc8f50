// Choosing a colour: every colour button and the colour-map editor ask
// through ChooseColour.
#include <windows.h>
// After windows.h, which it needs.
#include <commdlg.h>

#include "plugin/win32/frame.h"

namespace tsn::win {

namespace {
// The sixteen custom colours the system dialog keeps for the session.
COLORREF g_custom[16] = {};
}  // namespace

bool ChooseColour(HWND owner, std::uint32_t* colour) {
    CHOOSECOLORA cc = {};
    cc.lStructSize = sizeof cc;
    cc.hwndOwner = owner;
    cc.rgbResult = COLORREF(*colour & 0xFFFFFF);
    cc.lpCustColors = g_custom;
    cc.Flags = CC_RGBINIT | CC_FULLOPEN | CC_ANYCOLOR;
    if (!ChooseColorA(&cc)) return false;
    *colour = std::uint32_t(cc.rgbResult) & 0xFFFFFF;
    return true;
}

}  // namespace tsn::win
