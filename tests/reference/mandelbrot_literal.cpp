#include "tests/reference/mandelbrot_literal.h"

#include <cmath>
#include <cstring>

#include "core/image.h"
#include "core/page.h"
#include "kinds/mandelbrot/mandelbrot.h"

namespace tsn::reference {

MemHandle LiteralMandelbrotRender(MasterTextureRecord* rec) {
    MandelbrotParameters* p = MandelbrotBlock(rec);
    const int width = ReadPageInteger(rec->dialog, kMandelbrotWidthId);
    const int depth = ReadPageInteger(rec->dialog, kMandelbrotDepthId);
    p->width = width;
    p->depth = depth;
    MemFree(GreyImageAt(rec, kMandelbrotGreySlot));
    SetGreyImageAt(rec, kMandelbrotGreySlot, 0);
    if (p->zoomFactor == 0) return 0;

    const int S = width > depth ? width : depth;
    const double v =
        (double)p->zoomFactor * (((double)p->zoomLevel + 1.0) * ((double)p->zoomLevel + 1.0));
    const double step = 1000.0 / v / (double)S * 0.0028;
    const double rspan = 3.05 / v, ispan = 2.8 / v;
    p->realStart = p->centreRealOffset - rspan / 2 - 2.05;
    p->realEnd = p->centreRealOffset + rspan / 2 - 2.05;
    p->imaginaryStart = p->centreImaginaryOffset - ispan / 2 - 1.4;
    p->imaginaryEnd = p->centreImaginaryOffset + ispan / 2 - 1.4;
    p->step = step;
    p->realStartCopy = p->realStart;
    p->stepCopy = step;
    p->viewRect[0] = 0;
    p->viewRect[1] = 0;
    p->viewRect[2] = S - 1;
    p->viewRect[3] = S - 1;
    p->viewRectLeftCopy = 0;
    p->imaginaryBound = p->imaginaryStart - (double)(p->viewRect[3] - p->viewRect[1]) * step;
    std::uint32_t L = 25;
    double t = step * 100;
    while (t < 1) {
        t = t * 100;
        L = L * 2;
    }
    p->iterationLimit = L;
    const std::uint16_t L16 = (std::uint16_t)L;

    MemHandle grey = NewImage(S, S);
    if (!grey) return 0;
    MemHandle countsBlock = MemAlloc((std::size_t)S * (std::size_t)S * 2);
    std::uint16_t* counts = (std::uint16_t*)MemLock(countsBlock);
    ImageView g;
    if (!counts || !LockImage(grey, &g)) {
        MemFree(countsBlock);
        MemFree(grey);
        return 0;
    }
    double cr = p->realStart;
    for (int x = 0; x < S; x++) {
        double ci = p->imaginaryStart;
        for (int y = 0; y < S; y++) {
            std::uint16_t count;
            if (std::fabs(cr) > 4 || std::fabs(ci) > 4) {
                count = 0;
            } else {
                double a = cr * cr;
                double b = ci * ci;
                double zr = cr * cr - ci * ci + cr;
                double zi = 2.0 * cr * ci + ci;
                std::uint16_t n = (std::uint16_t)(L16 - 1);
                if (L16 != 1) {
                    do {
                        if (a + b > 4) break;
                        a = zr * zr;
                        b = zi * zi;
                        zi = zi * 2.0 * zr + ci;
                        zr = zr * zr - b + cr;
                    } while (--n);
                }
                count = (std::uint16_t)(L16 - n);
            }
            counts[(std::size_t)y * S + x] = count;
            ci += step;
        }
        cr += step;
    }
    std::uint16_t mn = 65535;
    for (std::size_t i = 0; i < (std::size_t)S * S; i++)
        if (counts[i] < mn) mn = counts[i];
    std::uint16_t mx = 0;
    for (std::size_t i = 0; i < (std::size_t)S * S; i++) {
        counts[i] = (std::uint16_t)(counts[i] - mn);
        if (counts[i] > mx) mx = counts[i];
    }
    const double divisor = mx > 0.0001 ? (double)mx : 0.0001;
    for (std::size_t i = 0; i < (std::size_t)S * S; i++)
        counts[i] = (std::uint16_t)(int)((double)counts[i] * (65535 / divisor));
    for (int y = 0; y < S; y++)
        for (int x = 0; x < S; x++) {
            const std::uint32_t c = counts[(std::size_t)y * S + x] >> 8;
            SetPixel(g, x, y, c | (c << 8) | (c << 16));
        }
    UnlockImage(&g);
    MemUnlock(countsBlock);
    MemFree(countsBlock);
    SetGreyImageAt(rec, kMandelbrotGreySlot, grey);

    MemHandle strip = RenderFountain(p->fountain, 256, 1);
    if (strip) {
        CopyColourTable(rec->colourTable, strip);
        MemFree(strip);
    }
    MemHandle coloured = ColouriseImage(grey, rec->colourTable);
    if (!coloured) return 0;
    MemHandle cut = NewImage(width, depth);
    ImageView from, to;
    if (!cut || !LockImage(cut, &to)) {
        MemFree(cut);
        return coloured;
    }
    LockImage(coloured, &from);
    const int ox = (S - width) / 2, oy = (S - depth) / 2;
    for (int y = 0; y < depth; y++)
        for (int x = 0; x < width; x++) SetPixel(to, x, y, GetPixel(from, ox + x, oy + y));
    UnlockImage(&from);
    UnlockImage(&to);
    MemFree(coloured);
    return cut;
}

}  // namespace tsn::reference
