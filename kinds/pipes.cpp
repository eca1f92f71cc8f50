#include "kinds/pipes.h"

#include <zlib.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

#include "app/config_file.h"
#include "core/detmath.h"
#include "core/image.h"
#include "core/page.h"
#include "core/parallel.h"
#include "kind/descriptor.h"
#include "kind/page_fields.h"

namespace tsn {

namespace {

using namespace fields;

#define PIPES_FIELD(f) static_cast<std::uint32_t>(offsetof(PipesParameters, f))
// Width and depth count cells here; the picture's size follows from them
// and the reduction, so they are ordinary page values.
const PageField kPipesFields[] = {
    Edit("widthCells", "Width:", PIPES_FIELD(widthCells), kPipesWidthId, 2, 16, 2, 2, Role::Plain,
         "cells across"),
    Edit("depthCells", "Depth:", PIPES_FIELD(depthCells), kPipesDepthId, 2, 16, 2, 2, Role::Plain,
         "cells down"),
    Seed(PIPES_FIELD(seed), kPipesSeedId, 8787),
    Scroll("density", "Density", FieldType::I32, PIPES_FIELD(density), kPipesDensityId, 0, 2, 1, 1,
           "how densely the cells are filled with pipes"),
    List("style", "Style:", PIPES_FIELD(style), kPipesStyleId, "Industrial;Stainless Steel", 0,
         "tile set: 0 Industrial, 1 Stainless Steel"),
    List("valves", "Valves:", PIPES_FIELD(valveColour), kPipesValvesId,
         "Red;Green;Blue;Cyan;Magenta;Yellow;Gray", 0,
         "valve colour: 0 Red, 1 Green, 2 Blue, 3 Cyan, 4 Magenta, 5 Yellow, 6 Gray"),
    Scroll("reduction", "Reduction:", FieldType::I32, PIPES_FIELD(reduction), kPipesReductionId, 1,
           4, 2, 1, "cells are 512 / reduction pixels square"),
    List("effect", "Effect:", PIPES_FIELD(effect), kPipesEffectId,
         "None;Dark;Darker;Noir;Spooky;Bronze;Copper;Steampunk;Steampunk-moderne", 2,
         "colour effect: 0 None, 1 Dark, 2 Darker, 3 Noir, 4 Spooky, 5 Bronze, 6 Copper, "
         "7 Steampunk, 8 Steampunk-moderne"),
    Colour("background", "Background:", PIPES_FIELD(background), kPipesBackgroundId, 0x202020,
           "colour behind the pipes"),
    Colour("shadowColour", "Shadow:", PIPES_FIELD(shadowColour), kPipesShadowColourId, 0x080808,
           "colour of the drop shadow"),
    Edit("shadowOffset", "Shadow offset:", PIPES_FIELD(shadowOffset), kPipesShadowOffsetId, 1, 32,
         4, 4, Role::Plain, "shadow distance in pixels"),
    Edit("shadowOpacity", "Shadow opacity:", PIPES_FIELD(shadowOpacity), kPipesShadowOpacityId, 32,
         255, 192, 192, Role::Plain, "shadow opacity, 255 opaque"),
    Edit("shadowSoftness", "Shadow softness:", PIPES_FIELD(shadowSoftness), kPipesShadowSoftnessId,
         0, 32, 20, 20, Role::Plain, "blur of the shadow's edge"),
    Check("shadow", "Enable shadow", FieldType::U32, PIPES_FIELD(shadow), kPipesShadowId, 1,
          "draw a drop shadow under the pipes"),
    Check("noHiddenValves", "No hidden pressure valves", FieldType::U32,
          PIPES_FIELD(noHiddenValves), kPipesNoHiddenValvesId, 1,
          "keep pressure valves where they can be seen"),
};
#undef PIPES_FIELD

// The preset list, its add, delete and load buttons, then the dimensions
// text.
const std::uint32_t kPipesExtras[] = {kPipesPresetListId, 508, 509, 510, kPipesDimensionsId, 0};

const PageTable kPipesPage = TableOf(kPipesFields, kPipesExtras);

// One session at a time uses the plug-in, so the cache is the library's.
MemHandle g_tiles[kPipesTileCount];

// ---------------------------------------------------------------------------
// Compressed tile images: "CPX_HEAD", unpacked size, packed size, method,
// 32 reserved bytes, then a zlib stream of a packed 32-bit bitmap.

constexpr std::size_t kCpxHeader = 52;

std::uint32_t Read32(const std::uint8_t* p) {
    return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 |
           std::uint32_t(p[3]) << 24;
}

// A locked packed 32-bit bitmap; rows top-down as in ImageView.
struct Dib32 {
    MemHandle handle = 0;
    BitmapInfoHeader* header = nullptr;
    std::uint8_t* bits = nullptr;
    int width = 0, depth = 0;
    std::uint8_t* Row(int y) const {
        return bits + std::size_t(depth - 1 - y) * std::size_t(width) * 4;
    }
};

bool LockDib32(MemHandle h, Dib32* d) {
    *d = Dib32{};
    auto* hdr = static_cast<BitmapInfoHeader*>(MemLock(h));
    if (!hdr) return false;
    const bool ok = MemSize(h) >= 40 && hdr->size == 40 && hdr->bitCount == 32 && hdr->width > 0 &&
                    hdr->height > 0 && hdr->width <= 65536 && hdr->height <= 65536 &&
                    MemSize(h) >= 40 + std::size_t(hdr->width) * std::size_t(hdr->height) * 4;
    if (!ok) {
        MemUnlock(h);
        return false;
    }
    *d = {h, hdr, reinterpret_cast<std::uint8_t*>(hdr) + 40, hdr->width, hdr->height};
    return true;
}

void UnlockDib32(Dib32* d) {
    if (d->handle) MemUnlock(d->handle);
    *d = Dib32{};
}

MemHandle NewDib32(int width, int depth) {
    const std::size_t bytes = std::size_t(width) * std::size_t(depth) * 4;
    const MemHandle h = MemAlloc(40 + bytes);
    auto* hdr = static_cast<BitmapInfoHeader*>(MemLock(h));
    if (!hdr) {
        MemFree(h);
        return 0;
    }
    *hdr = BitmapInfoHeader{40, width, depth, 1, 32, 0, std::uint32_t(bytes), 0, 0, 0, 0};
    MemUnlock(h);
    return h;
}

// ---------------------------------------------------------------------------
// Scaling: each new pixel averages the source area it covers, weighted by
// exact overlap. Colours are weighted by their opacity, so transparent
// pixels do not darken the edges of the pipes.

struct Span {
    int first, count;
    int weight[5];  // overlaps in units of 1 / (source x target) of a pixel
};

// Target pixel j covers source [j S / D, (j + 1) S / D); in units of 1/D
// the source pixel i covers [i D, (i + 1) D). Weights of a target sum to S.
void Spans(int source, int target, Span* out) {
    for (int j = 0; j < target; ++j) {
        const long long lo = (long long)j * source, hi = lo + source;
        Span& sp = out[j];
        sp.first = int(lo / target);
        sp.count = 0;
        for (int i = sp.first; i < source && (long long)i * target < hi; ++i) {
            const long long a = std::max(lo, (long long)i * target);
            const long long b = std::min(hi, (long long)(i + 1) * target);
            sp.weight[sp.count++] = int(b - a);
        }
    }
}

MemHandle ScaleDib32(MemHandle src, int cell) {
    Dib32 s;
    if (!LockDib32(src, &s)) return 0;
    // Each axis scales on its own and either way: a piece need not be
    // square, so one axis may grow while the other shrinks or stays. A
    // growing axis meets at most two source pixels per target pixel; a
    // shrinking one is held to 4 to 1 (the smallest cells the reductions
    // make), so it meets at most five.
    if (s.width > 4 * cell || s.depth > 4 * cell) {
        UnlockDib32(&s);
        return 0;
    }
    const MemHandle out = NewDib32(cell, cell);
    const MemHandle spans = MemAlloc(sizeof(Span) * std::size_t(2 * cell));
    Dib32 d;
    auto* sp = static_cast<Span*>(MemLock(spans));
    if (!out || !sp || !LockDib32(out, &d)) {
        MemFree(spans);
        MemFree(out);
        UnlockDib32(&s);
        return 0;
    }
    Span* sx = sp;
    Span* sy = sp + cell;
    Spans(s.width, cell, sx);
    Spans(s.depth, cell, sy);
    const std::uint64_t area = std::uint64_t(s.width) * std::uint64_t(s.depth);
    ParallelRows(cell, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            std::uint8_t* q = d.Row(y);
            for (int x = 0; x < cell; ++x, q += 4) {
                std::uint64_t alpha = 0, c[3] = {0, 0, 0};
                for (int j = 0; j < sy[y].count; ++j) {
                    const std::uint8_t* p = s.Row(sy[y].first + j) + std::size_t(sx[x].first) * 4;
                    for (int i = 0; i < sx[x].count; ++i, p += 4) {
                        const std::uint64_t wa =
                            std::uint64_t(sy[y].weight[j]) * std::uint64_t(sx[x].weight[i]) * p[3];
                        alpha += wa;
                        for (int k = 0; k < 3; ++k) c[k] += wa * p[k];
                    }
                }
                q[3] = std::uint8_t((alpha + area / 2) / area);
                for (int k = 0; k < 3; ++k)
                    q[k] = alpha ? std::uint8_t((c[k] + alpha / 2) / alpha) : 0;
            }
        }
    });
    UnlockDib32(&d);
    MemFree(spans);
    UnlockDib32(&s);
    return out;
}

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
    const ConfigValues& c = Config();
    auto i = [](std::uint32_t v) { return int(std::min<std::uint32_t>(v, 1u << 20)); };
    switch (effect) {
        case 1:
            ApplyCurve(tile, i(c.pipesDarkContrast), i(c.pipesDarkBrightness));
            break;
        case 2:
            ApplyCurve(tile, i(c.pipesDarkerContrast), i(c.pipesDarkerBrightness));
            break;
        case 3:
            ApplyCurve(tile, i(c.pipesNoirContrast), i(c.pipesNoirBrightness));
            break;
        case 4:
            ApplyCurve(tile, i(c.pipesSpookyContrast), i(c.pipesSpookyBrightness));
            break;
        case 5:
            ApplyShift(tile, i(c.pipesBronzeRed) - 128, i(c.pipesBronzeGreen) - 128,
                       i(c.pipesBronzeBlue) - 128, i(c.pipesBronzeIntensity) - 128);
            break;
        case 6:
            ApplyShift(tile, i(c.pipesCopperRed) - 128, i(c.pipesCopperGreen) - 128,
                       i(c.pipesCopperBlue) - 128, i(c.pipesCopperIntensity) - 128);
            ApplyCurve(tile, i(c.pipesCopperContrast), i(c.pipesCopperBrightness));
            break;
        case 7:
        case 8: {
            std::uint8_t curve[256];
            PipesToneCurve(i(c.pipesSteampunkContrast), i(c.pipesSteampunkBrightness), curve);
            const int t = i(c.pipesSteampunkThreshold), blend = i(c.pipesSteampunkBlend);
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

// ---------------------------------------------------------------------------
// Layout.
//
// The grid wraps at its edges (a pipe leaving on the right comes back on the
// left), so pictures tile seamlessly. Each layer is the union of the
// outlines of random rectangles of 2 to 6 cells a side, so every pipe runs in
// a closed loop; where outlines meet they make tees and crosses. The pieces
// have tees only across horizontal runs (E-S-W, N-E-W), so a vertical run
// with a branch to one side is carried on through the run as a horizontal
// pipe until it meets a pipe that can take it. Loops are added until a
// share of the cells is covered, and whole loops and carried branches
// overshoot it (measured over grids of 2 to 16 cells a side): density 0
// aims at 40 % and covers about 55 % of the cells with one network, 1 aims
// at 75 % and covers about 88 % (small grids more, a 2 x 2 grid all of it);
// 2 adds a second network, aiming at 35 % and covering about half, drawn
// in front of the first with its own shadow.
// Straight runs get pressure valves (one in three, at least one per
// picture). A valve is hidden when a front pipe runs over its cell; with
// "No hidden pressure valves" no back-layer valve goes where the front layer
// has a pipe.

constexpr int kDirX[4] = {0, 1, 0, -1};
constexpr int kDirY[4] = {-1, 0, 1, 0};

struct Layer {
    int w, h, layer;
    std::uint8_t* grid;
    std::uint8_t& Mask(int x, int y) const {
        x = ((x % w) + w) % w;
        y = ((y % h) + h) % h;
        return grid[(std::size_t(y) * w + x) * 4 + 2 + layer];
    }
    // Joins (x, y) to its neighbour in direction d.
    void Join(int x, int y, int d) const {
        Mask(x, y) |= std::uint8_t(1 << d);
        Mask(x + kDirX[d], y + kDirY[d]) |= std::uint8_t(1 << ((d + 2) % 4));
    }
    int Covered() const {
        int n = 0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) n += Mask(x, y) != 0;
        return n;
    }
};

void AddLoop(const Layer& L, Rng* rng) {
    const int x0 = rng->Next() % L.w;
    const int y0 = rng->Next() % L.h;
    const int rw = 2 + rng->Next() % std::min(L.w - 1, 5);
    const int rh = 2 + rng->Next() % std::min(L.h - 1, 5);
    for (int i = 0; i + 1 < rw; ++i) {
        L.Join(x0 + i, y0, 1);
        L.Join(x0 + i, y0 + rh - 1, 1);
    }
    for (int j = 0; j + 1 < rh; ++j) {
        L.Join(x0, y0 + j, 2);
        L.Join(x0 + rw - 1, y0 + j, 2);
    }
}

void BuildLayer(const Layer& L, Rng* rng, int percent, int minLoops) {
    const int cells = L.w * L.h;
    const int target = (cells * percent + 99) / 100;
    for (int loops = 0; loops < 3 * cells + 4; ++loops) {
        if (loops >= minLoops && L.Covered() >= target) break;
        AddLoop(L, rng);
    }
    // A vertical run with one branch (N-E-S or N-S-W) has no piece: carry
    // the branch on through the run until a pipe takes it.
    for (int y = 0; y < L.h; ++y)
        for (int x = 0; x < L.w; ++x) {
            const std::uint8_t m = L.Mask(x, y);
            if (m != 7 && m != 13) continue;
            const int d = m == 7 ? 3 : 1;  // the missing side
            int cx = x;
            for (;;) {
                L.Join(cx, y, d);
                cx += kDirX[d];
                const std::uint8_t n = L.Mask(cx, y);
                const std::uint8_t back = std::uint8_t(1 << ((d + 2) % 4));
                // Carry on through an empty cell or a vertical run.
                if (n != back && n != (back | 5)) break;
            }
        }
}

int PieceOf(std::uint8_t mask) {
    for (int p = 0; p < kPipesTileCount; ++p)
        if (p != 2 && p != 3 && kPipesPieceMask[p] == mask) return p;
    return -1;
}

// Straight cells get valves by the rules above.
void PlaceValves(int w, int h, bool twoLayers, bool noHidden, std::uint8_t* grid, Rng* rng) {
    int eligible = 0, placed = 0;
    const int layers = twoLayers ? 2 : 1;
    auto can = [&](std::size_t c, int layer) {
        const int p = grid[c * 4 + layer] - 1;
        if (p != 0 && p != 1) return false;
        return !(layer == 0 && noHidden && grid[c * 4 + 1] != 0);
    };
    const std::size_t cells = std::size_t(w) * h;
    for (std::size_t c = 0; c < cells; ++c)
        for (int layer = 0; layer < layers; ++layer) {
            if (!can(c, layer)) continue;
            ++eligible;
            if (rng->Next() % 3 == 0) {
                grid[c * 4 + layer] += 2;
                ++placed;
            }
        }
    if (placed || !eligible) return;
    int pick = rng->Next() % eligible;
    for (std::size_t c = 0; c < cells; ++c)
        for (int layer = 0; layer < layers; ++layer)
            if (can(c, layer) && pick-- == 0) grid[c * 4 + layer] += 2;
}

// ---------------------------------------------------------------------------
// Shadows: each piece's opacity, blurred by a box filter of radius
// `softness` run twice, scaled by the shadow's opacity; the mask is
// cell + 4 softness pixels square, centred on the cell.

void BoxBlur(std::uint8_t* v, std::uint8_t* tmp, int n, int stride, int r) {
    if (r <= 0) return;
    const int width = 2 * r + 1;
    int sum = 0;
    for (int i = 0; i < r && i < n; ++i) sum += v[std::size_t(i) * stride];
    for (int i = 0; i < n; ++i) {
        if (i + r < n) sum += v[std::size_t(i + r) * stride];
        if (i - r - 1 >= 0) sum -= v[std::size_t(i - r - 1) * stride];
        tmp[i] = std::uint8_t((sum + width / 2) / width);
    }
    for (int i = 0; i < n; ++i) v[std::size_t(i) * stride] = tmp[i];
}

void BuildShadowMask(const Dib32& tile, int softness, int opacity, std::uint8_t* mask,
                     std::uint8_t* tmp) {
    const int m = 2 * softness, e = tile.width + 2 * m;
    std::memset(mask, 0, std::size_t(e) * e);
    for (int y = 0; y < tile.depth; ++y) {
        const std::uint8_t* p = tile.Row(y);
        std::uint8_t* q = mask + std::size_t(y + m) * e + m;
        for (int x = 0; x < tile.width; ++x) q[x] = p[4 * x + 3];
    }
    for (int pass = 0; pass < 2; ++pass) {
        for (int y = 0; y < e; ++y) BoxBlur(mask + std::size_t(y) * e, tmp, e, 1, softness);
        for (int x = 0; x < e; ++x) BoxBlur(mask + x, tmp, e, e, softness);
    }
    for (std::size_t i = 0; i < std::size_t(e) * e; ++i)
        mask[i] = std::uint8_t((mask[i] * opacity + 127) / 255);
}

std::uint8_t Over(std::uint8_t under, std::uint8_t over, int alpha) {
    return std::uint8_t((under * (255 - alpha) + over * alpha + 127) / 255);
}

void FormatThousands(int v, char* out) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%d", v);
    const int n = int(std::strlen(digits));
    int o = 0;
    for (int i = 0; i < n; ++i) {
        if (i > 0 && (n - i) % 3 == 0) out[o++] = ',';
        out[o++] = digits[i];
    }
    out[o] = 0;
}

// The cells' size and count as a render takes them from a block.
struct Geometry {
    int cell, wc, dc;
};

Geometry GeometryOf(const PipesParameters& b) {
    const int reduction = std::clamp(b.reduction, 1, 4);
    return {512 / reduction, std::clamp(b.widthCells, 2, 16), std::clamp(b.depthCells, 2, 16)};
}

// The page's "Dimensions:" text: the picture's size in pixels.
void ShowDimensions(PageRef page, const Geometry& g) {
    char w[16], d[16], text[64];
    FormatThousands(g.wc * g.cell, w);
    FormatThousands(g.dc * g.cell, d);
    std::snprintf(text, sizeof text, "%s X %s pixels", w, d);
    Page().setText(page, kPipesDimensionsId, text);
}

struct RenderState {
    MemHandle scaled[kPipesTileCount] = {};
    MemHandle grid = 0, masks = 0, image = 0;
    ~RenderState() {
        for (MemHandle& t : scaled) MemFree(t);
        MemFree(grid);
        MemFree(masks);
        MemFree(image);
    }
};

}  // namespace

MemHandle PipesCachedTile(int tile) {
    return g_tiles[tile];
}
void SetPipesCachedTile(int tile, MemHandle image) {
    g_tiles[tile] = image;
}

int PipesReset(MasterTextureRecord* rec) {
    ResetKindBlock(kPipesKind, rec);
    PipesParameters* b = PipesBlock(rec);
    // Two cells of 256 pixels each way, until the generator writes its own.
    b->outputWidth = 512;
    b->outputDepth = 512;
    return PipesRelease(rec);  // an empty tile cache
}

int PipesRelease(MasterTextureRecord*) {
    for (MemHandle& t : g_tiles) {
        MemFree(t);
        t = 0;
    }
    return 1;
}

bool InflateStream(std::uint8_t* dst, std::size_t capacity, const std::uint8_t* src,
                   std::uint32_t* length) {
    z_stream zs{};
    if (inflateInit(&zs) != Z_OK) return false;
    const std::uint32_t packed = *length;
    std::size_t written = 0;
    bool ok = true;
    std::uint32_t consumed = 0;
    while (packed != 0) {
        std::uint8_t window[8192];
        zs.next_in = const_cast<Bytef*>(src + consumed);
        zs.avail_in = packed - consumed;
        zs.next_out = window;
        zs.avail_out = sizeof window;
        const int status = inflate(&zs, Z_PARTIAL_FLUSH);
        const std::size_t produced = sizeof window - zs.avail_out;
        if (produced > capacity - written) {
            ok = false;  // more than the image the header announced
            break;
        }
        std::memcpy(dst + written, window, produced);
        written += produced;
        consumed = packed - zs.avail_in;
        if (status == Z_STREAM_END) break;
        if (status != Z_OK) {
            ok = false;
            break;
        }
        if (consumed == packed) break;
    }
    inflateEnd(&zs);
    if (ok) *length = std::uint32_t(written);
    return ok;
}

MemHandle DecodeCompressedBytes(const std::uint8_t* data, std::size_t size) {
    if (!data || size < kCpxHeader || std::memcmp(data, "CPX_HEAD", 8) != 0) return 0;
    const std::uint32_t unpacked = Read32(data + 8);
    std::uint32_t packed = Read32(data + 12);
    if (packed > size - kCpxHeader) return 0;  // cut short
    // No artwork is empty or near 64 MiB. Deflate cannot expand a byte into
    // more than 1032, so a header that claims more than that is damaged;
    // but an empty stream inflates, successfully, to nothing, and leaves the
    // image as allocated: zeroed.
    if (unpacked == 0 || unpacked > (64u << 20)) return 0;
    if (packed != 0 && unpacked > std::uint64_t(packed) * 1032) return 0;
    const MemHandle h = MemAlloc(unpacked);
    auto* dst = static_cast<std::uint8_t*>(MemLock(h));
    if (!dst || !InflateStream(dst, unpacked, data + kCpxHeader, &packed)) {
        if (dst) MemUnlock(h);
        MemFree(h);
        return 0;
    }
    MemUnlock(h);
    return h;
}

MemHandle DecodeCompressedImage(unsigned id) {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
    return FindModuleResource("CPX", id, &data, &size) ? DecodeCompressedBytes(data, size) : 0;
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

void PipesLayout(int width, int depth, int density, bool noHiddenValves, Rng* rng,
                 std::uint8_t* grid) {
    const int cells = width * depth;
    const Layer back{width, depth, 0, grid};
    BuildLayer(back, rng, density <= 0 ? 40 : 75, density <= 0 ? 1 : std::max(2, cells / 12));
    const bool twoLayers = density >= 2;
    const Layer front{width, depth, 1, grid};
    if (twoLayers) BuildLayer(front, rng, 35, 1);
    for (int c = 0; c < cells; ++c)
        for (int layer = 0; layer < 2; ++layer)
            grid[4 * c + layer] = std::uint8_t(PieceOf(grid[4 * c + 2 + layer]) + 1);
    PlaceValves(width, depth, twoLayers, noHiddenValves, grid, rng);
}

MemHandle PipesRender(MasterTextureRecord* rec) {
    PipesParameters* b = PipesBlock(rec);
    b->seed = ReadPageInteger(rec->dialog, kPipesSeedId);
    const Geometry geometry = GeometryOf(*b);
    const int cell = geometry.cell, wc = geometry.wc, dc = geometry.dc;
    const int outW = wc * cell, outD = dc * cell;
    b->outputWidth = outW;
    b->outputDepth = outD;
    ShowDimensions(rec->dialog, geometry);

    Rng rng;
    rng.Seed(std::uint32_t(b->seed));
    RenderState st;
    st.grid = MemAlloc(std::size_t(wc) * dc * 4);
    st.image = NewImage(outW, outD);
    auto* grid = static_cast<std::uint8_t*>(MemLock(st.grid));
    ImageView out;
    if (!grid || !LockImage(st.image, &out)) {
        if (grid) MemUnlock(st.grid);
        return 0;
    }
    const std::uint8_t bg[3] = {std::uint8_t(b->background >> 16), std::uint8_t(b->background >> 8),
                                std::uint8_t(b->background)};  // blue, green, red

    // The tiles: decoded once a session, then scaled and coloured for this
    // render. Any failure here fails the render and empties the cache. The
    // cache is not keyed by style: the style only matters when a tile has to
    // be loaded, and a style with no art (a damaged block) then fails the
    // render as missing art would; its resource number is never formed, as
    // it could wrap round to another style's.
    bool failed = false;
    for (int i = 0; i < kPipesTileCount && !failed; ++i) {
        if (!g_tiles[i] && b->style <= 1)
            g_tiles[i] = DecodeCompressedImage(kPipesArtId + 11 * b->style + i);
        st.scaled[i] = g_tiles[i] ? ScaleDib32(g_tiles[i], cell) : 0;
        failed = !st.scaled[i];
        if (failed) break;
        RecolourValves(st.scaled[i], b->valveColour);
        ApplyEffect(&st.scaled[i], b->effect);
    }
    Dib32 tiles[kPipesTileCount];
    for (int i = 0; i < kPipesTileCount && !failed; ++i)
        failed = !LockDib32(st.scaled[i], &tiles[i]);

    // Shadow masks, one per piece.
    const bool shadow = b->shadow != 0;
    const int soft = std::clamp(b->shadowSoftness, 0, 32);
    const int margin = 2 * soft, extent = cell + 2 * margin;
    const int offset = std::clamp(b->shadowOffset, -64, 64);
    const int opacity = std::clamp(b->shadowOpacity, 0, 255);
    const std::size_t maskBytes = std::size_t(extent) * extent;
    std::uint8_t* masks = nullptr;
    if (!failed && shadow) {
        st.masks = MemAlloc(maskBytes * kPipesTileCount + std::size_t(extent));
        masks = static_cast<std::uint8_t*>(MemLock(st.masks));
        failed = !masks;
        for (int i = 0; i < kPipesTileCount && !failed; ++i)
            BuildShadowMask(tiles[i], soft, opacity, masks + maskBytes * i,
                            masks + maskBytes * kPipesTileCount);
    }
    if (!failed) {
        PipesLayout(wc, dc, std::clamp(b->density, 0, 2), b->noHiddenValves != 0, &rng, grid);
        const bool front = b->density >= 2;
        const std::uint8_t sc[3] = {std::uint8_t(b->shadowColour >> 16),
                                    std::uint8_t(b->shadowColour >> 8),
                                    std::uint8_t(b->shadowColour)};
        std::atomic<bool> short_{false};
        PlanWork(outD);
        ParallelRows(outD, [&](int y0, int y1) {
            const MemHandle accH = shadow ? MemAlloc(std::size_t(outW)) : 0;
            auto* acc = static_cast<std::uint8_t*>(MemLock(accH));
            if (shadow && !acc) {
                short_ = true;
                MemFree(accH);
                return;
            }
            for (int y = y0; y < y1; ++y) {
                std::uint8_t* row = out.Row(y);
                for (int x = 0; x < outW; ++x) std::memcpy(row + 3 * x, bg, 3);
                for (int layer = 0; layer < (front ? 2 : 1); ++layer) {
                    if (shadow) {
                        std::memset(acc, 0, std::size_t(outW));
                        for (int r = 0; r < dc; ++r) {
                            int v = (y - (r * cell + offset - margin)) % outD;
                            if (v < 0) v += outD;
                            if (v >= extent) continue;
                            for (int c = 0; c < wc; ++c) {
                                const int piece = grid[(std::size_t(r) * wc + c) * 4 + layer] - 1;
                                if (piece < 0) continue;
                                const std::uint8_t* m =
                                    masks + maskBytes * piece + std::size_t(v) * extent;
                                int x = (c * cell + offset - margin) % outW;
                                if (x < 0) x += outW;
                                for (int i = 0; i < extent; ++i) {
                                    if (m[i] > acc[x]) acc[x] = m[i];
                                    if (++x == outW) x = 0;
                                }
                            }
                        }
                        for (int x = 0; x < outW; ++x)
                            if (acc[x])
                                for (int k = 0; k < 3; ++k)
                                    row[3 * x + k] = Over(row[3 * x + k], sc[k], acc[x]);
                    }
                    const int r = y / cell, ty = y % cell;
                    for (int c = 0; c < wc; ++c) {
                        const int piece = grid[(std::size_t(r) * wc + c) * 4 + layer] - 1;
                        if (piece < 0) continue;
                        const std::uint8_t* p = tiles[piece].Row(ty);
                        std::uint8_t* q = row + std::size_t(c) * cell * 3;
                        for (int x = 0; x < cell; ++x, p += 4, q += 3)
                            if (p[3])
                                for (int k = 0; k < 3; ++k) q[k] = Over(q[k], p[k], p[3]);
                    }
                }
            }
            if (accH) MemUnlock(accH);
            MemFree(accH);
        });
        failed = short_;
    }
    for (Dib32& t : tiles) UnlockDib32(&t);
    if (masks) MemUnlock(st.masks);
    MemUnlock(st.grid);
    UnlockImage(&out);
    if (failed) {
        PipesRelease(rec);  // a damaged or missing tile leaves nothing cached
        return 0;
    }
    const MemHandle image = st.image;
    st.image = 0;
    return image;
}

std::int64_t PipesQuery(MasterTextureRecord* rec, int code) {
    if (code != kQueryRefreshControls) return StandardQuery(kPipesKind, rec, code);
    // The dimensions text follows the width, depth and reduction as they are
    // edited, read as the next render will read them; only a render stores
    // them into the block.
    PipesParameters shown = *PipesBlock(rec);
    PageToBlock(kPipesPage, rec->dialog, reinterpret_cast<std::uint8_t*>(&shown));
    ShowDimensions(rec->dialog, GeometryOf(shown));
    return 0;
}

const KindDescriptor kPipesKind = {
    .name = "Pipes",
    .key = "pipes",
    .signature = "VANTPIPE",
    .blockOffset = kPipesOffset,
    .blockSize = sizeof(PipesParameters),
    .page = &kPipesPage,
    .render = PipesRender,
    .reset = PipesReset,
    .release = PipesRelease,
    .query = PipesQuery,
    .presetList = kPipesPresetListId,
};

}  // namespace tsn
