// The colour effects of the Pipes kind, with the tones the user keeps.
#include <algorithm>
#include <cstring>
#include <mutex>

#include "core/detmath.h"
#include "kinds/pipes/pipes.h"
#include "kinds/pipes/pipes_parts.h"

namespace tsn {

namespace pipes {
namespace {
// Handed over before every render, perhaps by several threads at once.
std::mutex g_tonesLock;
PipesTones g_tones;

PipesTones CurrentTones() {
    std::lock_guard<std::mutex> lock(g_tonesLock);
    return g_tones;
}
}  // namespace

// ---------------------------------------------------------------------------
// Colour stages. Each makes a new image of the tile (the fourth byte kept);
// the caller keeps the old one when a stage makes nothing.

template <typename Op>
MemHandle MapTile(MemHandle src, Op op) {
    Dib32 s, d;
    if (!LockDib32(src, &s)) return 0;
    const MemHandle out = NewDib32(s.width, s.depth);
    if (!out || !LockDib32(out, &d)) {
        MemFree(out);
        UnlockDib32(&s);
        return 0;
    }
    const std::size_t n = std::size_t(s.width) * std::size_t(s.depth);
    for (std::size_t i = 0; i < n; ++i) {
        const std::uint8_t* p = s.bits + 4 * i;
        std::uint8_t* q = d.bits + 4 * i;
        std::uint8_t rgb[3] = {p[2], p[1], p[0]};
        op(rgb);
        q[0] = rgb[2];
        q[1] = rgb[1];
        q[2] = rgb[0];
        q[3] = p[3];
    }
    UnlockDib32(&d);
    UnlockDib32(&s);
    return out;
}

void ReplaceTile(MemHandle* tile, MemHandle made) {
    if (!made) return;
    MemFree(*tile);
    *tile = made;
}

void ApplyCurve(MemHandle* tile, int contrast, int brightness) {
    std::uint8_t curve[256];
    PipesToneCurve(contrast, brightness, curve);
    ReplaceTile(tile, MapTile(*tile, [&](std::uint8_t* c) {
                    for (int k = 0; k < 3; ++k) c[k] = curve[c[k]];
                }));
}

void ApplyShift(MemHandle* tile, int dr, int dg, int db, int intensity) {
    const int shift[3] = {dr, dg, db};
    ReplaceTile(tile, MapTile(*tile, [&](std::uint8_t* c) {
                    for (int k = 0; k < 3; ++k)
                        c[k] = std::uint8_t(std::clamp(c[k] + shift[k] + intensity, 0, 255));
                }));
}

// Valve colours: the tiles' valves are red; everything else is grey.
void RecolourValves(MemHandle tile, std::uint32_t index) {
    Dib32 d;
    if (index == 0 || index > 6 || !LockDib32(tile, &d)) return;
    const std::size_t n = std::size_t(d.width) * std::size_t(d.depth);
    for (std::size_t i = 0; i < n; ++i) {
        std::uint8_t* p = d.bits + 4 * i;
        const std::uint8_t R = p[2], G = p[1], B = p[0];
        if (R == G && G == B) continue;
        const std::uint8_t table[7][3] = {{R, G, B}, {G, R, B}, {B, G, R}, {G, R, R},
                                          {R, G, R}, {R, R, B}, {R, R, R}};
        p[2] = table[index][0];
        p[1] = table[index][1];
        p[0] = table[index][2];
    }
    UnlockDib32(&d);
}

void ApplyEffect(MemHandle* tile, std::uint32_t effect) {
    const PipesTones c = CurrentTones();
    auto i = [](std::uint32_t v) { return int(std::min<std::uint32_t>(v, 1u << 20)); };
    switch (effect) {
        case 1:
            ApplyCurve(tile, i(c.darkContrast), i(c.darkBrightness));
            break;
        case 2:
            ApplyCurve(tile, i(c.darkerContrast), i(c.darkerBrightness));
            break;
        case 3:
            ApplyCurve(tile, i(c.noirContrast), i(c.noirBrightness));
            break;
        case 4:
            ApplyCurve(tile, i(c.spookyContrast), i(c.spookyBrightness));
            break;
        case 5:
            ApplyShift(tile, i(c.bronzeRed) - 128, i(c.bronzeGreen) - 128, i(c.bronzeBlue) - 128,
                       i(c.bronzeIntensity) - 128);
            break;
        case 6:
            ApplyShift(tile, i(c.copperRed) - 128, i(c.copperGreen) - 128, i(c.copperBlue) - 128,
                       i(c.copperIntensity) - 128);
            ApplyCurve(tile, i(c.copperContrast), i(c.copperBrightness));
            break;
        case 7:
        case 8: {
            std::uint8_t curve[256];
            PipesToneCurve(i(c.steampunkContrast), i(c.steampunkBrightness), curve);
            const int t = i(c.steampunkThreshold), blend = i(c.steampunkBlend);
            const bool greyOnly = effect == 8;
            ReplaceTile(tile, MapTile(*tile, [&](std::uint8_t* p) {
                            if (!greyOnly || (p[0] == p[1] && p[1] == p[2])) {
                                PipesSepia(curve, t, blend, p);
                            } else {
                                for (int k = 0; k < 3; ++k) p[k] = curve[p[k]];
                            }
                        }));
            break;
        }
        default:
            break;
    }
}

}  // namespace pipes

void SetPipesTones(const PipesTones& tones) {
    std::lock_guard<std::mutex> lock(pipes::g_tonesLock);
    pipes::g_tones = tones;
}

void PipesToneCurve(int contrast, int brightness, std::uint8_t curve[256]) {
    const double c = double(contrast - 127);
    const double step = 256.0 / std::max(1.0, 256.0 - 2.0 * c);
    double v = double(brightness - 127) - c;
    for (int i = 0; i < 256; ++i) {
        curve[i] = v > 255.0 ? 255 : v < 0.0 ? 0 : std::uint8_t(int(v));
        v += step;
    }
}

void PipesSepia(const std::uint8_t curve[256], int threshold, int blend, std::uint8_t rgb[3]) {
    const int r = curve[rgb[0]], g = curve[rgb[1]], b = curve[rgb[2]];
    const int grey = (77 * r / 255 + 150 * g / 255 + 28 * b / 255) & 0xFF;
    auto lin = [](int x) {
        const double v = double(x);
        if (v <= 10.314300250662438) return v / 12.92;
        return DetPow((v / 255.0 + 0.055) / 1.055, 2.4) * 255.0;
    };
    const float yf =
        0.298839f * float(lin(r)) + 0.586811f * float(lin(g)) + 0.11435f * float(lin(b));
    const int y = int(std::clamp(yf, 0.0f, 255.0f));
    // The sepia colour and its mix with the grey hold fractions (7T/6, T/6,
    // T/7, hundredths of the blend) and each channel is truncated once, at
    // the end, not term by term (unlike the grey above): in whole numbers,
    // one exact division of the whole numerator. Division truncates toward
    // zero as the truncation does, and anything negative becomes 0 anyway.
    const int t = threshold;
    auto clamp8 = [](int v) { return std::clamp(v, 0, 255); };
    const int red = clamp8(y > t ? 255 : y + 255 - t);
    int green = clamp8(6 * y > 7 * t ? 255 : (6 * (y + 255) - 7 * t) / 6);
    int blue = clamp8(6 * y < t ? 0 : (6 * y - t) / 6);
    // The floor T/7 applies where it is greater than the channel.
    const int floor = clamp8(t / 7);
    if (t > 7 * green) green = floor;
    if (t > 7 * blue) blue = floor;
    const int ch[3] = {red, green, blue};
    for (int k = 0; k < 3; ++k)
        rgb[k] = std::uint8_t(clamp8((ch[k] * blend + (100 - blend) * grey) / 100));
}

}  // namespace tsn
