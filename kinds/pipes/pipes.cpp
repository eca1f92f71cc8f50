#include "kinds/pipes/pipes.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <new>

#include "core/detmath.h"
#include "core/image.h"
#include "core/parallel.h"
#include "kind/descriptor.h"
#include "kind/page_fields.h"
#include "kinds/pipes/pipes_parts.h"
#include "synth/compressed_image.h"

namespace tsn {

using namespace pipes;

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

// The loaded tiles, one set per session (keyed by its record): sessions on
// other threads, each with its own style, neither share nor free them.
struct TileCache {
    MemHandle tiles[kPipesTileCount] = {};
};
std::mutex g_cacheLock;
std::map<const MasterTextureRecord*, TileCache> g_caches;

// The session's tiles, made empty on first use; null when memory runs out.
// Only the session's own thread uses them, and map entries stay put while
// others are added or removed.
MemHandle* SessionTiles(const MasterTextureRecord* rec) {
    std::lock_guard<std::mutex> lock(g_cacheLock);
    try {
        return g_caches[rec].tiles;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
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

// The page's "Dimensions:" text: the picture's size in pixels, as the
// block's cells and reduction make it.
void DimensionsText(const std::uint8_t* block, char* text, std::size_t cap) {
    PipesParameters b;
    std::memcpy(&b, block, sizeof b);
    const Geometry g = GeometryOf(b);
    char w[16], d[16];
    FormatThousands(g.wc * g.cell, w);
    FormatThousands(g.dc * g.cell, d);
    std::snprintf(text, cap, "%s X %s pixels", w, d);
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

// The tiles: decoded once a session, then scaled and coloured for this
// render, and locked into tiles[]. Any failure fails the render (and the
// caller empties the cache). The cache is not keyed by style: the style
// only matters when a tile has to be loaded, and a style with no art (a
// damaged block) then fails the render as missing art would; its resource
// number is never formed, as it could wrap round to another style's.
bool PrepareTiles(const MasterTextureRecord* rec, const PipesParameters& b, int cell,
                  RenderState* st, Dib32 tiles[]) {
    MemHandle* cached = SessionTiles(rec);
    if (!cached) return false;
    for (int i = 0; i < kPipesTileCount; ++i) {
        if (!cached[i] && b.style <= 1)
            cached[i] = DecodeCompressedImage(kPipesArtId + 11 * b.style + i);
        st->scaled[i] = cached[i] ? ScaleDib32(cached[i], cell) : 0;
        if (!st->scaled[i]) return false;
        RecolourValves(st->scaled[i], b.valveColour);
        ApplyEffect(&st->scaled[i], b.effect);
    }
    for (int i = 0; i < kPipesTileCount; ++i)
        if (!LockDib32(st->scaled[i], &tiles[i])) return false;
    return true;
}

// Draws the picture from the layout, the tiles and their shadows, a band of
// rows per worker.
struct Composer {
    const ImageView& out;
    const std::uint8_t* grid;
    const Dib32* tiles;
    int cell, wc, dc;
    int outW = wc * cell, outD = dc * cell;
    bool shadow, front;
    int soft, margin, extent, offset, opacity;
    std::size_t maskBytes;
    std::uint8_t bg[3], sc[3];  // blue, green, red
    std::uint8_t* masks = nullptr;

    Composer(const ImageView& o, const std::uint8_t* g, const Dib32* t, int c, int w, int d,
             const PipesParameters& b)
        : out(o),
          grid(g),
          tiles(t),
          cell(c),
          wc(w),
          dc(d),
          shadow(b.shadow != 0),
          front(b.density >= 2),
          soft(std::clamp(b.shadowSoftness, 0, 32)),
          margin(2 * soft),
          extent(cell + 2 * margin),
          offset(std::clamp(b.shadowOffset, -64, 64)),
          opacity(std::clamp(b.shadowOpacity, 0, 255)),
          maskBytes(std::size_t(extent) * std::size_t(extent)),
          bg{std::uint8_t(b.background >> 16), std::uint8_t(b.background >> 8),
             std::uint8_t(b.background)},
          sc{std::uint8_t(b.shadowColour >> 16), std::uint8_t(b.shadowColour >> 8),
             std::uint8_t(b.shadowColour)} {}

    int PieceAt(int r, int c, int layer) const {
        return grid[(std::size_t(r) * wc + c) * 4 + layer] - 1;
    }

    // Shadow masks, one per piece.
    bool BuildMasks(RenderState* st) {
        st->masks = MemAlloc(maskBytes * kPipesTileCount + std::size_t(extent));
        masks = static_cast<std::uint8_t*>(MemLock(st->masks));
        if (!masks) return false;
        for (int i = 0; i < kPipesTileCount; ++i)
            BuildShadowMask(tiles[i], soft, opacity, masks + maskBytes * i,
                            masks + maskBytes * kPipesTileCount);
        return true;
    }

    // The shadows of one layer's pieces over row y.
    void Shadows(int y, int layer, std::uint8_t* acc, std::uint8_t* row) const {
        std::memset(acc, 0, std::size_t(outW));
        for (int r = 0; r < dc; ++r) {
            int v = (y - (r * cell + offset - margin)) % outD;
            if (v < 0) v += outD;
            if (v >= extent) continue;
            for (int c = 0; c < wc; ++c) {
                const int piece = PieceAt(r, c, layer);
                if (piece < 0) continue;
                const std::uint8_t* m = masks + maskBytes * piece + std::size_t(v) * extent;
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
                for (int k = 0; k < 3; ++k) row[3 * x + k] = Over(row[3 * x + k], sc[k], acc[x]);
    }

    // One layer's pieces over row y.
    void Pieces(int y, int layer, std::uint8_t* row) const {
        const int r = y / cell, ty = y % cell;
        for (int c = 0; c < wc; ++c) {
            const int piece = PieceAt(r, c, layer);
            if (piece < 0) continue;
            const std::uint8_t* p = tiles[piece].Row(ty);
            std::uint8_t* q = row + std::size_t(c) * cell * 3;
            for (int x = 0; x < cell; ++x, p += 4, q += 3)
                if (p[3])
                    for (int k = 0; k < 3; ++k) q[k] = Over(q[k], p[k], p[3]);
        }
    }

    // Every row; false when a worker's row of shadow sums could not be had.
    bool Draw() const {
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
                    if (shadow) Shadows(y, layer, acc, row);
                    Pieces(y, layer, row);
                }
            }
            if (accH) MemUnlock(accH);
            MemFree(accH);
        });
        return !short_;
    }
};

}  // namespace

MemHandle PipesCachedTile(const MasterTextureRecord* rec, int tile) {
    std::lock_guard<std::mutex> lock(g_cacheLock);
    const auto it = g_caches.find(rec);
    return it == g_caches.end() ? 0 : it->second.tiles[tile];
}

int PipesReset(MasterTextureRecord* rec) {
    ResetKindBlock(kPipesKind, rec);
    PipesParameters* b = PipesBlock(rec);
    // Two cells of 256 pixels each way, until the generator writes its own.
    b->outputWidth = 512;
    b->outputDepth = 512;
    return PipesRelease(rec);  // an empty tile cache
}

int PipesRelease(MasterTextureRecord* rec) {
    TileCache gone;
    {
        std::lock_guard<std::mutex> lock(g_cacheLock);
        const auto it = g_caches.find(rec);
        if (it == g_caches.end()) return 1;
        gone = it->second;
        g_caches.erase(it);
    }
    for (MemHandle t : gone.tiles) MemFree(t);
    return 1;
}

MemHandle PipesRender(MasterTextureRecord* rec, const RenderValues& values) {
    PipesParameters* b = PipesBlock(rec);
    const Geometry geometry = GeometryOf(*b);
    const int cell = geometry.cell, wc = geometry.wc, dc = geometry.dc;
    const int outW = wc * cell, outD = dc * cell;
    b->outputWidth = outW;
    b->outputDepth = outD;

    Rng rng;
    rng.Seed(values.seed);
    RenderState st;
    st.grid = MemAlloc(std::size_t(wc) * dc * 4);
    st.image = NewImage(outW, outD);
    auto* grid = static_cast<std::uint8_t*>(MemLock(st.grid));
    ImageView out;
    if (!grid || !LockImage(st.image, &out)) {
        if (grid) MemUnlock(st.grid);
        return 0;
    }
    Dib32 tiles[kPipesTileCount];
    bool failed = !PrepareTiles(rec, *b, cell, &st, tiles);
    Composer compose{out, grid, tiles, cell, wc, dc, *b};
    if (!failed && compose.shadow) failed = !compose.BuildMasks(&st);
    if (!failed) {
        PipesLayout(wc, dc, std::clamp(b->density, 0, 2), b->noHiddenValves != 0, &rng, grid);
        failed = !compose.Draw();
    }
    for (Dib32& t : tiles) UnlockDib32(&t);
    if (compose.masks) MemUnlock(st.masks);
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
    .presetList = kPipesPresetListId,
    // The dimensions follow the width, depth and reduction as they are
    // edited; only a render stores them into the block.
    .statusControl = kPipesDimensionsId,
    .statusText = DimensionsText,
};

}  // namespace tsn
