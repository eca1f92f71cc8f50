// Shared state and helpers of the Windows frame: the library's globals, the
// master dialog and the controls the pages use.
#pragma once

#include <windows.h>

#include <cstdint>

#include "colour/fountain.h"
#include "core/page.h"
#include "kind/master_record.h"

namespace tsn::win {

// Messages between the dialog and its pages.
constexpr UINT kMsgRefreshMutations = WM_USER + 300;  // 1324
constexpr UINT kMsgHostService = WM_USER + 301;       // 1325
// Asks the dialog for an image: returns a packed bitmap's block, 0 when the
// picked file could not be read, or all ones when the user cancelled.
constexpr UINT kMsgPickImage = WM_USER + 302;    // 1326
constexpr UINT kMsgSetFountain = WM_USER + 400;  // 1424
// Copies the colour-map editor's colours into the FountainDefinition at the
// second argument.
constexpr UINT kMsgGetFountain = WM_USER + 401;

struct Library {
    HINSTANCE module = nullptr;
    char home[kMaxPath + 1] = {};
    HFONT smallFont = nullptr;
    std::uint32_t buttonStyle = 1;
    bool rememberSettings = true;
    char rememberedTexture[kMaxPath + 1] = {};
    MasterTextureRecord* current = nullptr;  // only while the dialog runs
    // When not negative, that allocation of the session's first render
    // fails: the tests' way to see a failed render reported.
    long failFirstRender = -1;
};
Library& Lib();

// The host's functions, as the record keeps them.
using ViewImageFn = BOOL(WINAPI*)(HWND dialog, HGLOBAL image, std::uint64_t viewContext);
using HostServiceFn = INT_PTR(WINAPI*)(HWND dialog, WPARAM request);

INT_PTR RunMasterDialog(HWND parent, MasterTextureRecord* rec);
// Block -> page for one kind, with what the table's text values cannot
// carry: the colour maps, the scroll bars' value displays, the preset list.
void TransferToPage(HWND dlg, MasterTextureRecord* rec, int kind);

// The preset list of the kind's page: its presets, the first selected.
void FillPresetList(HWND dlg, int kind);
// Handles a click on a page's preset add, delete or load button; false for
// any other control.
bool PresetButton(HWND dlg, MasterTextureRecord* rec, int id);

// The file dialog behind kMsgPickImage.
LRESULT PickImage(HWND dlg);

// Makes every page list box that its kind fills with tiles an owner-drawn
// tile list with its context menu, and installs the tile list operations.
void PrepareTileLists(HWND dlg);
// Draws one item of a tile list.
void DrawTileItem(const DRAWITEMSTRUCT* d);

// The page operations over real controls, installed while the dialog runs.
const tsn::PageOps* Win32PageOps();

// Opens the help page `page` ("noise.html") from the folder beside the
// plug-in in the user's browser; a message when it cannot.
void OpenHelpPage(HWND owner, const char* page);

// The colour dialog, seeded with *colour (0x00BBGGRR); false when the user
// cancels, leaving *colour as it was.
bool ChooseColour(HWND owner, std::uint32_t* colour);
bool RegisterColourPicker(HINSTANCE module);
void UnregisterColourPicker(HINSTANCE module);

// The colour-map editor control (class "TsnFountainView") and its library
// dialog, which copies the picked map's colours into `target` on OK.
bool RegisterFountainEditor(HINSTANCE module);
// Whether editors that close from now on write their fountain back to the
// fountain record file it names: set when the dialog is confirmed with OK,
// cleared when a dialog starts.
void SetFountainWriteBack(bool onClose);
void UnregisterFountainEditor(HINSTANCE module);
bool RunFountainLibraryDialog(HWND owner, FountainDefinition* target);

// The plug-in's own message dialogs.
void ShowMessage(HWND owner, const char* text);
bool AskYesNo(HWND owner, const char* text);

// Registers the window classes the page templates use.
bool RegisterControlClasses(HINSTANCE module);
void UnregisterControlClasses(HINSTANCE module);
// A control class of the pages, usable by every module's dialogs; `extra`
// adds class styles (double clicks, say).
bool RegisterControlClass(HINSTANCE module, const char* name, WNDPROC proc, LPCSTR cursor,
                          UINT extra = 0);
bool RegisterPictureView(HINSTANCE module);
void UnregisterPictureView(HINSTANCE module);

// Draws a 24-bit image block into `dc` at `dest`, stretched with halftone.
void DrawImage(HDC dc, HGLOBAL image, const RECT& dest);

// Owner drawing shared by the dialogs: a button face with the picture's
// frame (or none), the decorated push button, and a colour button showing
// the colour its text holds.
void DrawFramed(HDC dc, const RECT& button, const RECT* picture);
void DrawDecoratedButton(const DRAWITEMSTRUCT* d);
void DrawColourButton(const DRAWITEMSTRUCT* d);

// Moves a page's scroll bar as the scroll code asks: a line, an eighth of
// its range, or the thumb. True when the position changed.
bool StepScrollBar(HWND bar, int code);

}  // namespace tsn::win
