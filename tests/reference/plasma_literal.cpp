#include "tests/reference/plasma_literal.h"

#include "core/image.h"
#include "core/page.h"
#include "kinds/plasma/plasma.h"

namespace tsn::reference {

namespace {

unsigned long g_next = 1;
void ref_srand(unsigned int seed) {
    g_next = seed;
}
int ref_rand() {
    g_next = (g_next * 214013UL + 2531011UL) & 0xFFFFFFFFUL;
    return int((g_next >> 16) & 0x7FFF);
}

ImageView g_img;
long g_turbulence;

unsigned long avg(unsigned long p, unsigned long q) {
    unsigned long r = (((p & 0xFF) + (q & 0xFF)) / 2);
    unsigned long g = ((((p >> 8) & 0xFF) + ((q >> 8) & 0xFF)) / 2);
    unsigned long b = ((((p >> 16) & 0xFF) + ((q >> 16) & 0xFF)) / 2);
    return r | (g << 8) | (b << 16);
}

// D: a fresh displacement each time the macro's argument is evaluated.
#define D ((long long)(((double)((float)ref_rand() / 32767) - 0.5) * a))
#define CLAMP(v)                                                                \
    (((v) + D) > 0 ? (((v) + D) >= 255 ? 255 : (((v) + D) < 1 ? 0 : ((v) + D))) \
                   : (((v) + D) < 1 ? 0 : ((v) + D)))

unsigned long perturb(unsigned long c, float a) {
    long long r = (long long)(c & 0xFF);
    long long g = (long long)((c >> 8) & 0xFF);
    long long b = (long long)((c >> 16) & 0xFF);
    long long nr = CLAMP(r);
    long long ng = CLAMP(g);
    long long nb = CLAMP(b);
    return (unsigned long)(nr & 0xFF) | ((unsigned long)(ng & 0xFF) << 8) |
           ((unsigned long)(nb & 0xFF) << 16);
}
#undef CLAMP
#undef D

int leaf(int x0, int y0, int x1, int y1, int level) {
    unsigned long c00 = GetPixel(g_img, x0, y0);
    unsigned long c01 = GetPixel(g_img, x0, y1);
    unsigned long c10 = GetPixel(g_img, x1, y0);
    unsigned long c11 = GetPixel(g_img, x1, y1);
    float q = 256.0f / (float)(2 * level);
    float a = (float)((double)q * ((double)g_turbulence / 100.0));
    int mx = (x0 + x1) / 2, my = (y0 + y1) / 2;
    if (x0 != x1) {
        SetPixel(g_img, x0, my, perturb(avg(c00, c01), a));
        SetPixel(g_img, x1, my, perturb(avg(c10, c11), a));
    } else if (y0 == y1) {
        return 1;
    }
    if (y0 != y1) {
        if (x0 != mx || my != y1) SetPixel(g_img, mx, y1, perturb(avg(c01, c11), a));
        SetPixel(g_img, mx, y0, perturb(avg(c00, c10), a));
    }
    int r = (x1 - x0 >= 3 || y1 - y0 >= 3) ? 1 : 0;
    if (x0 == x1 && y0 == y1) return r;
    unsigned long e1 = avg(c11, c00), e2 = avg(c10, c01);
    SetPixel(g_img, mx, my, perturb(avg(e1, e2), a));
    return r;
}

int subdivide(int x0, int y0, int x1, int y1, int d, int level) {
    if (d == 0) return leaf(x0, y0, x1, y1, level);
    int mx = (x0 + x1) / 2, my = (y0 + y1) / 2;
    subdivide(x0, y0, mx, my, d - 1, level + 1);
    subdivide(x0, my, mx, y1, d - 1, level + 1);
    subdivide(mx, y0, x1, my, d - 1, level + 1);
    return subdivide(mx, my, x1, y1, d - 1, level + 1);
}

unsigned long random_colour() {
    unsigned long r = (unsigned long)(ref_rand() % 255);
    unsigned long g = (unsigned long)(ref_rand() % 255);
    unsigned long b = (unsigned long)(ref_rand() % 255);
    return r | (g << 8) | (b << 16);
}

}  // namespace

MemHandle LiteralPlasmaRender(MasterTextureRecord* rec) {
    PlasmaParameters* p = PlasmaBlock(rec);
    p->width = ReadPageInteger(rec->dialog, kPlasmaWidthId);
    p->depth = ReadPageInteger(rec->dialog, kPlasmaDepthId);
    p->seed = ReadPageInteger(rec->dialog, kPlasmaSeedId);
    const int w = p->width, h = p->depth;
    MemHandle img = NewImage(w, h);
    if (!img) return 0;
    if (!LockImage(img, &g_img)) {
        MemFree(img);
        return 0;
    }
    ref_srand((unsigned int)p->seed);
    g_turbulence = p->turbulence;
    const int cx = (w - 1) / 2, cy = (h - 1) / 2;
    const int pts[9][2] = {{0, 0},  {w - 1, 0},  {0, h - 1}, {w - 1, h - 1}, {cx, cy},
                           {0, cy}, {w - 1, cy}, {cx, 0},    {cx, h - 1}};
    for (int i = 0; i < 9; ++i) {
        unsigned long c = p->useSeedColour ? p->seedColour : random_colour();
        SetPixel(g_img, pts[i][0], pts[i][1], c);
    }
    int d = 1;
    while (subdivide(0, 0, w - 1, h - 1, d, 0)) {
        if (w == 1 && h == 1) break;
        ++d;
    }
    UnlockImage(&g_img);
    return img;
}

}  // namespace tsn::reference
