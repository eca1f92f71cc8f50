#include "tests/reference/noise_literal.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "core/image.h"
#include "core/page.h"
#include "kinds/noise/noise.h"

namespace tsn::reference {

namespace {

// The runtime library's generator, as its documentation gives it.
unsigned long g_next = 1;
void ref_srand(unsigned int seed) {
    g_next = seed;
}
int ref_rand() {
    g_next = (g_next * 214013UL + 2531011UL) & 0xFFFFFFFFUL;
    return int((g_next >> 16) & 0x7FFF);
}

// Program-wide lattice, rebuilt at the first evaluation after it goes stale.
const int B = 256;
const int BM = 255;
const float N = 4096.0f;
int p[B + B + 2];
float g1[B + B + 2];
float g2[B + B + 2][2];
float g3[B + B + 2][3];
bool lattice_stale = true;

float draw() {
    return float((ref_rand() % (B + B)) - B) / B;
}

void normalize2(float v[2]) {
    float s = std::sqrt(v[0] * v[0] + v[1] * v[1]);
    v[0] = v[0] / s;
    v[1] = v[1] / s;
}
void normalize3(float v[3]) {
    float s = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    v[0] = v[0] / s;
    v[1] = v[1] / s;
    v[2] = v[2] / s;
}

void init_lattice() {
    int i, j, k;
    for (i = 0; i < B; i++) {
        p[i] = i;
        g1[i] = draw();
        for (j = 0; j < 2; j++) g2[i][j] = draw();
        normalize2(g2[i]);
        for (j = 0; j < 3; j++) g3[i][j] = draw();
        normalize3(g3[i]);
    }
    for (i = B - 1; i >= 1; i--) {
        k = p[i];
        p[i] = p[j = ref_rand() % B];
        p[j] = k;
    }
    for (i = 0; i < B + 2; i++) {
        p[B + i] = p[i];
        g1[B + i] = g1[i];
        for (j = 0; j < 2; j++) g2[B + i][j] = g2[i][j];
        for (j = 0; j < 3; j++) g3[B + i][j] = g3[i][j];
    }
}

float s_curve(float t) {
    return t * t * (3.0f - 2.0f * t);
}
float lerp(float t, float a, float b) {
    return a + t * (b - a);
}

int trunc_int(float t) {
    if (!(t == t) || std::fabs(t) >= 2147483647.0f)
        return t > 0 ? 2147483647 : (t < 0 ? -2147483647 - 1 : 0);
    return int(t);
}

float noise3(float vec[3]) {
    if (lattice_stale) {
        lattice_stale = false;
        init_lattice();
    }
    int bx0, bx1, by0, by1, bz0, bz1, b00, b10, b01, b11;
    float rx0, rx1, ry0, ry1, rz0, rz1, *q, sy, sz, a, b, c, d, t, u, v;
    int i, j;

    t = vec[0] + N;
    bx0 = trunc_int(t) & BM;
    bx1 = (bx0 + 1) & BM;
    rx0 = t - float(trunc_int(t));
    rx1 = rx0 - 1.0f;

    t = vec[1] + N;
    by0 = trunc_int(t) & BM;
    by1 = (by0 + 1) & BM;
    ry0 = t - float(trunc_int(t));
    ry1 = ry0 - 1.0f;

    t = vec[2] + N;
    bz0 = trunc_int(t) & BM;
    bz1 = (bz0 + 1) & BM;
    rz0 = t - float(trunc_int(t));
    rz1 = rz0 - 1.0f;

    i = p[bx0];
    j = p[bx1];
    b00 = p[i + by0];
    b10 = p[j + by0];
    b01 = p[i + by1];
    b11 = p[j + by1];

    t = s_curve(rx0);
    sy = s_curve(ry0);
    sz = s_curve(rz0);

#define at3(rx, ry, rz) (rx * q[0] + ry * q[1] + rz * q[2])
    q = g3[b00 + bz0];
    u = at3(rx0, ry0, rz0);
    q = g3[b10 + bz0];
    v = at3(rx1, ry0, rz0);
    a = lerp(t, u, v);
    q = g3[b01 + bz0];
    u = at3(rx0, ry1, rz0);
    q = g3[b11 + bz0];
    v = at3(rx1, ry1, rz0);
    b = lerp(t, u, v);
    c = lerp(sy, a, b);

    q = g3[b00 + bz1];
    u = at3(rx0, ry0, rz1);
    q = g3[b10 + bz1];
    v = at3(rx1, ry0, rz1);
    a = lerp(t, u, v);
    q = g3[b01 + bz1];
    u = at3(rx0, ry1, rz1);
    q = g3[b11 + bz1];
    v = at3(rx1, ry1, rz1);
    b = lerp(t, u, v);
    d = lerp(sy, a, b);
#undef at3
    return lerp(sz, c, d);
}

MemHandle make_layer(int w, int h, const NoiseParameters* blk, double k) {
    lattice_stale = true;
    const unsigned D = blk->dimension;
    if (D < 1 || D > 3) return 0;
    // The auxiliary table: a permutation and D gradient arrays, 2056 bytes
    // each.
    int* perm = static_cast<int*>(std::malloc(514 * sizeof(int)));
    float* grad[3] = {nullptr, nullptr, nullptr};
    bool ok = perm != nullptr;
    for (unsigned d = 0; d < D && ok; ++d) {
        grad[d] = static_cast<float*>(std::malloc(514 * sizeof(float)));
        ok = grad[d] != nullptr;
    }
    auto free_aux = [&] {
        std::free(perm);
        for (float* g : grad) std::free(g);
    };
    if (!ok) {
        free_aux();
        return 0;
    }
    for (int i = 0; i < 256; i++) {
        perm[i] = i;
        float v[3];
        for (unsigned d = 0; d < D; ++d) v[d] = draw();
        if (D == 2) normalize2(v);
        if (D == 3) normalize3(v);
        for (unsigned d = 0; d < D; ++d) grad[d][i] = v[d];
    }
    for (int i = 0; i < 256; i++) {
        int j = ref_rand() % 256;
        int t = perm[i];
        perm[i] = perm[j];
        perm[j] = t;
    }
    for (int i = 0; i < 258; i++) {
        perm[256 + i] = perm[i];
        for (unsigned d = 0; d < D; ++d) grad[d][256 + i] = grad[d][i];
    }

    MemHandle img = NewImage(w, h);
    ImageView v;
    if (!img || !LockImage(img, &v)) {
        MemFree(img);
        free_aux();
        return 0;
    }
    float sx = float(k * blk->xScale);
    float sy = float(k * blk->yScale);
    float s = float(k * blk->scale);
    float z = float(1.0 / blk->zDivisor);
    int L = w > h ? w : h;
    for (int y = 0; y < h; y++) {
        for (int x = 0; x < w; x++) {
            float vec[3];
            if (blk->squareAspect) {
                vec[0] = (float(x) / float(L)) * s;
                vec[1] = (float(y) / float(L)) * s;
            } else {
                vec[0] = (float(x) / float(w)) * sx;
                vec[1] = (float(y) / float(h)) * sy;
            }
            vec[2] = z;
            float n = noise3(vec);
            double gd = double(n) * 255.0;
            int g = (gd == gd) ? int(gd) : 0;
            if (g < 0) g = 0;
            if (g > 255) g = 255;
            SetPixel(v, x, y,
                     std::uint32_t(g) | (std::uint32_t(g) << 8) | (std::uint32_t(g) << 16));
        }
    }
    UnlockImage(&v);
    free_aux();
    return img;
}

void stretch(MemHandle img) {
    ImageView v;
    if (!LockImage(img, &v)) return;
    int m = 255;
    for (int y = 0; y < v.depth; y++)
        for (int x = 0; x < v.width; x++) {
            int r = int(GetPixel(v, x, y) & 0xFF);
            if (r < m) m = r;
        }
    for (int y = 0; y < v.depth; y++)
        for (int x = 0; x < v.width; x++)
            SetPixel(v, x, y, std::uint32_t(int(GetPixel(v, x, y) & 0xFF) - m));
    int M = 0;
    for (int y = 0; y < v.depth; y++)
        for (int x = 0; x < v.width; x++) {
            int r = int(GetPixel(v, x, y) & 0xFF);
            if (r > M) M = r;
        }
    if (M > 0) {  // a flat picture stays at 0
        int f = 25500 / M;
        for (int y = 0; y < v.depth; y++)
            for (int x = 0; x < v.width; x++)
                SetPixel(v, x, y, std::uint32_t((int(GetPixel(v, x, y) & 0xFF) * f) / 100));
    }
    UnlockImage(&v);
}

}  // namespace

MemHandle LiteralNoiseRender(MasterTextureRecord* rec) {
    NoiseParameters* blk = NoiseBlock(rec);

    // 1.
    int w = ReadPageInteger(rec->dialog, kNoiseWidthId);
    int h = ReadPageInteger(rec->dialog, kNoiseDepthId);
    // 2.
    ref_srand(unsigned(blk->seed));
    blk->seed = ReadPageInteger(rec->dialog, kNoiseSeedId);
    // 3.
    if (blk->layers < 2) blk->layers = 2;
    if (blk->layers > 8) blk->layers = 8;
    // 4.
    blk->width = w;
    blk->depth = h;
    MemFree(GreyImageAt(rec, kNoiseGreySlot));
    SetGreyImageAt(rec, kNoiseGreySlot, 0);
    // 5.
    MemHandle grey;
    if (!(blk->flags & 1)) {
        grey = make_layer(w, h, blk, 1.0);
        if (!grey) return 0;
    } else {
        grey = NewImage(w, h);
        if (!grey) return 0;
        MemHandle layers[8] = {};
        int made = 0;
        for (int i = 0; i < blk->layers; i++) {
            layers[i] = make_layer(w, h, blk, double(1 << i));
            if (!layers[i]) {
                for (int j = 0; j < made; j++) MemFree(layers[j]);
                MemFree(grey);
                return 0;
            }
            made++;
        }
        ImageView gv, lv[8];
        LockImage(grey, &gv);
        for (int i = 0; i < made; i++) LockImage(layers[i], &lv[i]);
        for (int y = 0; y < h; y++)
            for (int x = 0; x < w; x++) {
                int sum = 0;
                for (int i = 0; i < made; i++) sum += int(GetPixel(lv[i], x, y) & 0xFF);
                int v = sum / 8;
                if (v < 0) v = 0;
                if (v > 255) v = 255;
                SetPixel(gv, x, y, std::uint32_t(v));
            }
        for (int i = 0; i < made; i++) {
            UnlockImage(&lv[i]);
            MemFree(layers[i]);
        }
        UnlockImage(&gv);
    }
    // 6.
    stretch(grey);
    // 7.
    MemHandle strip = RenderFountain(blk->fountain, 256, 1);
    if (strip) {
        ImageView sv;
        LockImage(strip, &sv);
        for (int i = 0; i < 256; i++) {
            std::uint32_t c = GetPixel(sv, i, 0);
            rec->colourTable[3 * i] = std::uint8_t(c & 0xFF);
            rec->colourTable[3 * i + 1] = std::uint8_t((c >> 8) & 0xFF);
            rec->colourTable[3 * i + 2] = std::uint8_t((c >> 16) & 0xFF);
        }
        UnlockImage(&sv);
        MemFree(strip);
    }
    // 8.
    MemHandle out = NewImage(w, h);
    if (!out) {
        MemFree(grey);
        return 0;
    }
    ImageView gv, ov;
    LockImage(grey, &gv);
    LockImage(out, &ov);
    for (int y = 0; y < h; y++)
        for (int x = 0; x < w; x++) {
            std::uint32_t idx = GetPixel(gv, x, y);
            if (idx == kNoPixel) continue;
            const std::uint8_t* t = rec->colourTable + 3 * (idx & 0xFF);
            SetPixel(
                ov, x, y,
                std::uint32_t(t[0]) | (std::uint32_t(t[1]) << 8) | (std::uint32_t(t[2]) << 16));
        }
    UnlockImage(&ov);
    UnlockImage(&gv);
    SetGreyImageAt(rec, kNoiseGreySlot, grey);
    return out;
}

}  // namespace tsn::reference
