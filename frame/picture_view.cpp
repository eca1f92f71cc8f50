// The Mandelbrot page's navigation view: the last picture, stretched to the
// control. A click centres there and zooms in; the right button offers
// zooming out and stepping back through the views already seen. While the
// pointer moves, the status line names the point under it.
#include <windows.h>

#include "app/kind_list.h"
#include "frame/frame.h"
#include "kinds/mandelbrot/mandelbrot.h"

namespace tsn::win {

namespace {

constexpr char kPictureViewClass[] = "TsnPictureView";
enum : UINT { kMenuZoomIn = 1, kMenuZoomOut, kMenuBack };

// The session's Mandelbrot block while its page is the one shown.
MandelbrotParameters* ShownBlock() {
    MasterTextureRecord* rec = Lib().current;
    if (!rec || rec->kindIndex < 0 || rec->kindIndex >= kKindCount ||
        &KindOf(rec->kindIndex) != &kMandelbrotKind)
        return nullptr;
    return MandelbrotBlock(rec);
}

// The complex point under the pointer position packed in `lp`.
void PointUnder(HWND w, const MandelbrotParameters& b, LPARAM lp, double* re, double* im) {
    RECT r;
    GetClientRect(w, &r);
    MandelbrotPointAt(b, short(LOWORD(lp)), short(HIWORD(lp)), r.right, r.bottom, re, im);
}

void Rerender(HWND view) {
    HWND dlg = GetParent(view);
    if (Lib().current) Lib().current->needsRender = 1;
    PostMessageA(dlg, WM_COMMAND, MAKEWPARAM(102, BN_CLICKED), 0);
}

LRESULT CALLBACK PictureViewProc(HWND w, UINT msg, WPARAM wp, LPARAM lp) {
    switch (msg) {
        case WM_PAINT: {
            PAINTSTRUCT ps;
            HDC dc = BeginPaint(w, &ps);
            RECT r;
            GetClientRect(w, &r);
            MasterTextureRecord* rec = Lib().current;
            if (ShownBlock() && rec->image)
                DrawImage(dc, reinterpret_cast<HGLOBAL>(rec->image), r);
            else
                FillRect(dc, &r, GetSysColorBrush(COLOR_BTNFACE));
            EndPaint(w, &ps);
            return 0;
        }
        case WM_MOUSEMOVE: {
            MandelbrotParameters* b = ShownBlock();
            if (!b) break;
            double re, im;
            PointUnder(w, *b, lp, &re, &im);
            char text[96];
            MandelbrotStatusText(*b, re, im, text, sizeof text);
            SetDlgItemTextA(GetParent(w), kMandelbrotStatusId, text);
            return 0;
        }
        case WM_LBUTTONDOWN: {
            MandelbrotParameters* b = ShownBlock();
            if (!b) break;
            double re, im;
            PointUnder(w, *b, lp, &re, &im);
            MandelbrotCentreOn(b, re, im);
            MandelbrotZoomIn(b);
            Rerender(w);
            return 0;
        }
        case WM_RBUTTONUP: {
            MandelbrotParameters* b = ShownBlock();
            if (!b) break;
            HMENU menu = CreatePopupMenu();
            AppendMenuA(menu, MF_STRING, kMenuZoomIn, "Zoom &in");
            AppendMenuA(menu, MF_STRING, kMenuZoomOut, "Zoom &out");
            AppendMenuA(menu, MF_STRING | (MandelbrotHistoryDepth(*b) ? 0 : MF_GRAYED), kMenuBack,
                        "&Back");
            POINT p = {short(LOWORD(lp)), short(HIWORD(lp))};
            ClientToScreen(w, &p);
            const UINT chosen =
                TrackPopupMenu(menu, TPM_RETURNCMD | TPM_RIGHTBUTTON, p.x, p.y, 0, w, nullptr);
            DestroyMenu(menu);
            bool changed = false;
            if (chosen == kMenuZoomIn) changed = MandelbrotZoomIn(b);
            if (chosen == kMenuZoomOut) changed = MandelbrotZoomOut(b);
            if (chosen == kMenuBack) changed = MandelbrotBack(b);
            if (changed) Rerender(w);
            return 0;
        }
        case WM_KEYDOWN:
        case WM_CHAR:
            break;
    }
    return DefWindowProcA(w, msg, wp, lp);
}

}  // namespace

bool RegisterPictureView(HINSTANCE module) {
    return RegisterControlClass(module, kPictureViewClass, PictureViewProc, IDC_CROSS);
}

void UnregisterPictureView(HINSTANCE module) {
    UnregisterClassA(kPictureViewClass, module);
}

}  // namespace tsn::win
