#include "kinds/particle.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/detmath.h"
#include "core/image.h"
#include "core/parallel.h"
#include "core/random.h"
#include "kind/page_fields.h"

namespace tsn {

namespace {

using namespace fields;

#define PART(f) static_cast<std::uint32_t>(offsetof(ParticleParameters, f))
const PageField kParticleFields[] = {
    Width(PART(width), kParticleWidthId, 800, 800),
    Depth(PART(depth), kParticleDepthId, 600, 800),
    Seed(PART(seed), kParticleSeedId, 2906),
    Fountain("fountain", "Colours", PART(fountain), kParticleFountainId,
             "colour map: its start colour is the background, the rest runs along the grey "
             "the colouring gives each strand"),
    List("mode", "Growth:", PART(mode), kParticleModeId, "Aggregation;Deposition", 0,
         "aggregation grows clusters around nuclei; deposition grows a forest up from the "
         "bottom edge"),
    Edit("particles", "Particles:", PART(particles), kParticleCountId, 100, kParticleMaxCount,
         10000, 10000, Role::Plain,
         "particles that join the growth (at most a third of the cells; the walk stops early "
         "when its work bound is reached)"),
    Scroll("stickiness", "Stickiness:", FieldType::I32, PART(stickiness), kParticleStickinessId, 1,
           100, 100, 1,
           "percent chance that a particle sticks on each contact; lower values give denser, "
           "bushier growth"),
    Edit("nuclei", "Nuclei:", PART(nuclei), kParticleNucleiId, 1, 32, 1, 1, Role::Plain,
         "clusters grown at once in aggregation; one nucleus sits in the centre, more are "
         "scattered"),
    Edit("resolution", "Resolution:", PART(resolution), kParticleResolutionId, 50, 2000, 300, 300,
         Role::Plain,
         "cells across the longer side: the growth looks the same at any picture size (a "
         "picture smaller than this uses one cell per pixel)"),
    Scroll("thickness", "Thickness:", FieldType::I32, PART(thickness), kParticleThicknessId, 10,
           100, 80, 1, "strand width in percent of a cell"),
    Scroll("taper", "Taper:", FieldType::I32, PART(taper), kParticleTaperId, 0, 100, 60, 1,
           "how much thinner the tips are than the trunks, in percent"),
    List("colouring", "Colouring:", PART(colouring), kParticleColouringId,
         "Age;Distance;Branch size", 0,
         "what the grey of a strand follows: when it joined, how far it is from its root along "
         "the growth, or how much growth it carries"),
    Flag("wrap", "Wrap edges", PART(flags), 0, kParticleWrapId, 0,
         "walkers leaving one edge come back at the other, so the picture tiles"),
};
#undef PART

// The preset list and its add, delete and load buttons.
constexpr std::uint32_t kParticlePresets[] = {kParticlePresetListId, 247, 248, 249, 0};

const PageTable kParticlePage = TableOf(kParticleFields, kParticlePresets);

// The eight neighbours, orthogonal ones at even indices; d + 4 is the
// opposite of d.
constexpr const int* kDx = kParticleDx;
constexpr const int* kDy = kParticleDy;
constexpr std::uint8_t kNoParent = 8;
constexpr int kAngles = 1024;

// The neighbour of (x, y) in direction d on a w x h grid; false off a grid
// that does not wrap.
bool StepOn(int w, int h, bool wrap, int x, int y, int d, int* nx, int* ny) {
    x += kDx[d];
    y += kDy[d];
    if (wrap) {
        x = (x + w) % w;
        y = (y + h) % h;
    } else if (x < 0 || y < 0 || x >= w || y >= h) {
        return false;
    }
    *nx = x;
    *ny = y;
    return true;
}

// Blocks of cells at one scale, each flagged when it or one of its eight
// neighbour blocks holds growth; a walker in an unflagged block may jump.
struct Level {
    int size = 0, nx = 0, ny = 0;
    std::uint8_t* near = nullptr;
};

struct Growth {
    int w = 0, h = 0;
    bool wrap = false;
    std::uint8_t* occupied = nullptr;
    std::uint8_t* parent = nullptr;  // direction to the cell stuck to
    std::uint8_t* links = nullptr;   // bit d: linked to the neighbour in direction d
    std::uint32_t* order = nullptr;  // cells in the order they joined
    std::uint32_t* branch = nullptr;
    float* value = nullptr;   // 0 .. 1, the grey along the cell's strands
    float* radius = nullptr;  // of the link to the parent, in cells
    int count = 0, capacity = 0;
    int top = 0;      // highest occupied row
    Level levels[3];  // blocks of 4, 16 and 64 cells
    double cosine[kAngles], sine[kAngles];

    std::size_t At(int x, int y) const { return std::size_t(y) * w + x; }
    bool Step(int x, int y, int d, int* nx, int* ny) const {
        return StepOn(w, h, wrap, x, y, d, nx, ny);
    }
    ParticleCells View() const { return {w, h, wrap, occupied, parent, links, value, radius}; }

    void Mark(Level& l, int x, int y) {
        const int bx = x / l.size, by = y / l.size;
        for (int j = -1; j <= 1; ++j)
            for (int i = -1; i <= 1; ++i) {
                int cx = bx + i, cy = by + j;
                if (wrap) {
                    cx = (cx + l.nx) % l.nx;
                    cy = (cy + l.ny) % l.ny;
                } else if (cx < 0 || cy < 0 || cx >= l.nx || cy >= l.ny) {
                    continue;
                }
                l.near[std::size_t(cy) * l.nx + cx] = 1;
            }
    }

    void Occupy(int x, int y, std::uint8_t dir) {
        const std::size_t c = At(x, y);
        occupied[c] = 1;
        parent[c] = dir;
        if (dir != kNoParent) {
            int px = 0, py = 0;
            Step(x, y, dir, &px, &py);
            links[c] |= std::uint8_t(1u << dir);
            links[At(px, py)] |= std::uint8_t(1u << ((dir + 4) & 7));
        }
        order[count++] = std::uint32_t(c);
        top = std::min(top, y);
        for (Level& l : levels) Mark(l, x, y);
    }

    // Width of block i along an axis of n cells split into blocks of `size`;
    // beyond a picture that does not wrap nothing grows, and one block's
    // width is a safe lower bound there.
    int BlockWidth(int i, int blocks, int size, int n) const {
        if (i < 0 || i >= blocks) {
            if (!wrap) return size;
            i = (i + blocks) % blocks;
        }
        return std::min(size, n - i * size);
    }

    // How far a walker at (x, y) may jump without passing growth: the
    // distance to the edge of the empty 3 x 3 blocks around it, less one; 0
    // when growth is near.
    int SafeRadius(const Level& l, int x, int y) const {
        const int bx = x / l.size, by = y / l.size;
        if (l.near[std::size_t(by) * l.nx + bx]) return 0;
        const int x0 = bx * l.size, y0 = by * l.size;
        const int left = x - x0 + BlockWidth(bx - 1, l.nx, l.size, w);
        const int right = std::min(x0 + l.size, w) - 1 - x + BlockWidth(bx + 1, l.nx, l.size, w);
        const int up = y - y0 + BlockWidth(by - 1, l.ny, l.size, h);
        const int down = std::min(y0 + l.size, h) - 1 - y + BlockWidth(by + 1, l.ny, l.size, h);
        return std::min(std::min(left, right), std::min(up, down)) - 1;
    }

    // The direction of a touching cell of the growth, orthogonal ones
    // first; -1 when there is none.
    int Contact(int x, int y) const {
        static constexpr int kOrder[8] = {0, 2, 4, 6, 1, 3, 5, 7};
        for (int d : kOrder) {
            int nx = 0, ny = 0;
            if (Step(x, y, d, &nx, &ny) && occupied[At(nx, ny)]) return d;
        }
        return -1;
    }
};

int Draw(Rng& rng, int n) {
    // Two draws, high bits first (in separate statements: the order of
    // the operands of one expression is the compiler's choice).
    const int high = rng.Next();
    const int low = rng.Next();
    return ((high << 15) | low) % n;
}

int RoundToInt(double v) {
    return int(std::floor(v + 0.5));
}

struct Settings {
    int particles, stickiness, nuclei, resolution, thickness, taper;
    bool deposition, wrap;
    std::uint32_t colouring;
};

// A fresh walker: anywhere away from the growth in aggregation, just above
// it in deposition. False when no free cell turns up (a full grid).
bool Launch(Growth& g, Rng& rng, bool deposition, int* x, int* y) {
    if (deposition) {
        *x = Draw(rng, g.w);
        for (*y = std::max(0, g.top - 6); *y >= 0; --*y)
            if (!g.occupied[g.At(*x, *y)]) return true;
        return false;
    }
    // Walkers start as far from the growth as the picture allows: a
    // walker set down in a fjord would fill it, and the growth would lose
    // its branches.
    int quality = -1;
    for (int tries = 0; tries < 64 && quality < 2; ++tries) {
        const int cx = Draw(rng, g.w), cy = Draw(rng, g.h);
        if (g.occupied[g.At(cx, cy)]) continue;
        int q = 0;
        for (int k = 1; k <= 2; ++k) {
            const Level& l = g.levels[k];
            if (!l.near[std::size_t(cy / l.size) * l.nx + cx / l.size]) q = k;
        }
        if (q <= quality) continue;
        quality = q;
        *x = cx;
        *y = cy;
    }
    return quality >= 0;
}

// Grows the cluster; returns the moves made.
long long Grow(Growth& g, Rng& rng, const Settings& s) {
    if (s.deposition) {
        for (int x = 0; x < g.w; ++x) g.Occupy(x, g.h - 1, kNoParent);
    } else {
        for (int k = 0; k < s.nuclei; ++k) {
            int x = g.w / 2, y = g.h / 2;
            if (s.nuclei > 1) {
                const int mx = s.wrap ? 0 : g.w / 8, my = s.wrap ? 0 : g.h / 8;
                x = mx + Draw(rng, std::max(1, g.w - 2 * mx));
                y = my + Draw(rng, std::max(1, g.h - 2 * my));
            }
            if (!g.occupied[g.At(x, y)]) g.Occupy(x, y, kNoParent);
        }
    }
    const int target = g.count + s.particles;
    long long moves = 0;
    int x = 0, y = 0;
    while (g.count < target && moves < kParticleMaxMoves) {
        if (!Launch(g, rng, s.deposition, &x, &y)) break;
        for (int walk = 0; walk < kParticleMovesPerParticle && moves < kParticleMaxMoves; ++walk) {
            ++moves;
            int r = 0;
            for (int k = 2; k >= 0 && r < 2; --k) r = g.SafeRadius(g.levels[k], x, y);
            if (r >= 2) {
                const int a = rng.Next() >> 5;
                x += RoundToInt(r * g.cosine[a]);
                y += RoundToInt(r * g.sine[a]);
                if (g.wrap) {
                    x = ((x % g.w) + g.w) % g.w;
                    y = ((y % g.h) + g.h) % g.h;
                } else {
                    x = std::clamp(x, 0, g.w - 1);
                    y = std::clamp(y, 0, g.h - 1);
                }
            } else {
                const int d = g.Contact(x, y);
                if (d >= 0 && rng.Next() % 100 < s.stickiness) {
                    g.Occupy(x, y, std::uint8_t(d));
                    break;
                }
                int nx = 0, ny = 0;
                if (g.Step(x, y, 2 * ((rng.Next() >> 7) & 3), &nx, &ny) &&
                    !g.occupied[g.At(nx, ny)]) {
                    x = nx;
                    y = ny;
                }
            }
            // A deposition walker that strays far above the growth starts
            // again just above it.
            if (s.deposition && y < g.top - 40 && !Launch(g, rng, true, &x, &y)) break;
        }
    }
    return moves;
}

// The grey of every cell and the radius of its link, from the settings.
void Shade(Growth& g, const Settings& s) {
    // Branch sizes: each cell carries itself and everything that stuck to
    // it, later cells first.
    for (int k = 0; k < g.count; ++k) g.branch[g.order[k]] = 1;
    for (int k = g.count - 1; k >= 0; --k) {
        const std::uint32_t c = g.order[k];
        const int d = g.parent[c];
        if (d == kNoParent) continue;
        int px = 0, py = 0;
        g.Step(int(c % g.w), int(c / g.w), d, &px, &py);
        g.branch[g.At(px, py)] += g.branch[c];
    }
    std::uint32_t mostBranch = 1;
    for (int k = 0; k < g.count; ++k) mostBranch = std::max(mostBranch, g.branch[g.order[k]]);
    const double logMost = DetLog(1.0 + mostBranch);
    // Distances from the roots, in join order so a parent comes first; kept
    // in `value` until they are scaled.
    float far = 1;
    for (int k = 0; k < g.count; ++k) {
        const std::uint32_t c = g.order[k];
        const int d = g.parent[c];
        float v = 0;
        if (d != kNoParent) {
            int px = 0, py = 0;
            g.Step(int(c % g.w), int(c / g.w), d, &px, &py);
            v = g.value[g.At(px, py)] + ((d & 1) ? 1.41421356f : 1.0f);
        }
        g.value[c] = v;
        far = std::max(far, v);
    }
    const double full = 0.5 * s.thickness / 100.0, taper = s.taper / 100.0;
    const int roots = s.deposition ? g.w : 0;
    const double span = std::max(1, g.count - roots - 1);
    for (int k = 0; k < g.count; ++k) {
        const std::uint32_t c = g.order[k];
        const double size = DetLog(1.0 + g.branch[c]) / logMost;
        g.radius[c] = float(full * ((1 - taper) + taper * size));
        switch (s.colouring) {
            case 1:
                g.value[c] /= far;
                break;
            case 2:
                g.value[c] = float(size);
                break;
            default:
                g.value[c] = float(std::max(0, k - roots) / span);
                break;
        }
    }
}

// Lays the growth's arrays out in one block.
MemHandle AllocateGrowth(Growth& g, int capacity) {
    std::size_t blocks = 0;
    for (int k = 0; k < 3; ++k) {
        Level& l = g.levels[k];
        l.size = 4 << (2 * k);
        l.nx = (g.w + l.size - 1) / l.size;
        l.ny = (g.h + l.size - 1) / l.size;
        blocks += std::size_t(l.nx) * l.ny;
    }
    const std::size_t cells = std::size_t(g.w) * g.h;
    const std::size_t bytes =
        cells * (3 + 3 * sizeof(float)) + std::size_t(capacity) * 4 + blocks + 16;
    const MemHandle h = MemAlloc(bytes);
    auto* p = static_cast<std::uint8_t*>(MemLock(h));
    if (!p) {
        MemFree(h);
        return 0;
    }
    // The four-byte arrays first, so each is aligned.
    g.value = reinterpret_cast<float*>(p);
    g.radius = g.value + cells;
    g.branch = reinterpret_cast<std::uint32_t*>(g.radius + cells);
    g.order = g.branch + cells;
    p = reinterpret_cast<std::uint8_t*>(g.order + capacity);
    g.occupied = p;
    g.parent = p + cells;
    g.links = p + 2 * cells;
    p += 3 * cells;
    for (Level& l : g.levels) {
        l.near = p;
        p += std::size_t(l.nx) * l.ny;
    }
    g.capacity = capacity;
    g.top = g.h - 1;
    for (int a = 0; a < kAngles; ++a) {
        const double angle = a * (6.28318530717958647692 / kAngles);
        g.cosine[a] = DetCos(angle);
        g.sine[a] = DetSin(angle);
    }
    return h;
}

}  // namespace

int ParticleReset(MasterTextureRecord* rec) {
    ResetKindBlock(kParticleKind, rec);
    // Grey 0 is the background; the strands start at 1, so the colour map
    // jumps there from a dark ground to white-hot trunks that cool through
    // gold and red to violet tips.
    FountainDefinition& f =
        reinterpret_cast<ParticleParameters*>(BlockAt(rec, kParticleOffset))->fountain;
    const std::uint32_t markers[] = {MakeMarker(1, 0xF0FCFF), MakeMarker(0x30, 0x60D8FF),
                                     MakeMarker(0x70, 0x2060F0), MakeMarker(0xB0, 0x3020C0),
                                     MakeMarker(0xE0, 0x802090)};
    DesignFountain(&f, 0x200C06, 0xFF000000u | 0x902860, markers, std::size(markers));
    return 1;
}

void ParticleJitter(int x, int y, double* jx, double* jy) {
    Rng rng;
    rng.Seed((std::uint32_t(x) * 0x8DA6B343u) ^ (std::uint32_t(y) * 0xD8163841u));
    rng.Next();
    *jx = (rng.Next() / 32767.0 - 0.5) * (2 * kParticleJitter);
    *jy = (rng.Next() / 32767.0 - 0.5) * (2 * kParticleJitter);
}

// Only the 3 x 3 cells around the point can hold a strand that reaches
// it: each cell draws the halves of its links, which stay within its
// centre's jitter of the cell, and jitter and radius together are less
// than a cell.
int ParticleGrey(const ParticleCells& g, double u, double v) {
    const int cx = int(std::floor(u)), cy = int(std::floor(v));
    double best = 1.0;
    double grey = -1;
    for (int j = -1; j <= 1; ++j)
        for (int i = -1; i <= 1; ++i) {
            int x = cx + i, y = cy + j;
            if (g.wrap) {
                x = (x + g.width) % g.width;
                y = (y + g.height) % g.height;
            } else if (x < 0 || y < 0 || x >= g.width || y >= g.height) {
                continue;
            }
            const std::size_t c = std::size_t(y) * g.width + x;
            if (!g.occupied[c]) continue;
            double jx, jy;
            ParticleJitter(x, y, &jx, &jy);
            const double ox = u - (cx + i + 0.5 + jx), oy = v - (cy + j + 0.5 + jy);
            const unsigned links = g.links[c];
            if (!links) {
                const double r = g.radius[c];
                const double k = (ox * ox + oy * oy) / (r * r);
                if (k <= best) {
                    best = k;
                    grey = g.value[c];
                }
                continue;
            }
            for (int d = 0; d < 8; ++d) {
                if (!(links & (1u << d))) continue;
                // Half the link, from this cell's centre to the border.
                // Half the link: from this cell's centre to the middle
                // of the way to the neighbour's.
                int nx = 0, ny = 0;
                StepOn(g.width, g.height, g.wrap, x, y, d, &nx, &ny);
                const std::size_t n = std::size_t(ny) * g.width + nx;
                double kx, ky;
                ParticleJitter(nx, ny, &kx, &ky);
                const double hx = 0.5 * (kDx[d] + kx - jx), hy = 0.5 * (kDy[d] + ky - jy);
                const double t = std::clamp((ox * hx + oy * hy) / (hx * hx + hy * hy), 0.0, 1.0);
                const double dx = ox - t * hx, dy = oy - t * hy;
                const double r = g.parent[c] == d ? g.radius[c] : g.radius[n];
                const double k = (dx * dx + dy * dy) / (r * r);
                if (k <= best) {
                    best = k;
                    grey = g.value[c] + 0.5 * t * (g.value[n] - g.value[c]);
                }
            }
        }
    if (grey < 0) return 0;
    return 1 + std::clamp(TruncToInt(grey * 254.0), 0, 254);
}

void ParticleRowGreys::Gather(const ParticleCells& g, int cy) {
    segments_.clear();
    first_.assign(std::size_t(g.width) + 1, 0);
    for (int cx = 0; cx < g.width; ++cx) {
        first_[cx] = std::uint32_t(segments_.size());
        for (int j = -1; j <= 1; ++j)
            for (int i = -1; i <= 1; ++i) {
                int x = cx + i, y = cy + j;
                if (g.wrap) {
                    x = (x + g.width) % g.width;
                    y = (y + g.height) % g.height;
                } else if (x < 0 || y < 0 || x >= g.width || y >= g.height) {
                    continue;
                }
                const std::size_t c = std::size_t(y) * g.width + x;
                if (!g.occupied[c]) continue;
                double jx, jy;
                ParticleJitter(x, y, &jx, &jy);
                ParticleSegment s{};
                s.cx = cx + i + 0.5 + jx;
                s.cy = cy + j + 0.5 + jy;
                const unsigned links = g.links[c];
                if (!links) {
                    const double r = g.radius[c];
                    s.r2 = r * r;
                    s.v0 = g.value[c];
                    s.point = true;
                    segments_.push_back(s);
                    continue;
                }
                for (int d = 0; d < 8; ++d) {
                    if (!(links & (1u << d))) continue;
                    int nx = 0, ny = 0;
                    StepOn(g.width, g.height, g.wrap, x, y, d, &nx, &ny);
                    const std::size_t n = std::size_t(ny) * g.width + nx;
                    double kx, ky;
                    ParticleJitter(nx, ny, &kx, &ky);
                    s.hx = 0.5 * (kDx[d] + kx - jx);
                    s.hy = 0.5 * (kDy[d] + ky - jy);
                    s.hh = s.hx * s.hx + s.hy * s.hy;
                    const double r = g.parent[c] == d ? g.radius[c] : g.radius[n];
                    s.r2 = r * r;
                    s.v0 = g.value[c];
                    s.dv = g.value[n] - g.value[c];  // in float, as ParticleGrey
                    s.point = false;
                    segments_.push_back(s);
                }
            }
    }
    first_[g.width] = std::uint32_t(segments_.size());
    cellRow_ = cy;
    cells_ = &g;
}

void ParticleRowGreys::Row(const ParticleCells& g, double v, double sx, int count,
                           std::uint8_t* greys) {
    const int cy = int(std::floor(v));
    if (cy != cellRow_ || cells_ != &g) Gather(g, cy);
    nearest_.resize(std::size_t(count) + kMaxDoubleLanes);
    ParticleRowKernel()({segments_.data(), first_.data(), v, sx, count, nearest_.data()});
    for (int x = 0; x < count; ++x) {
        const double grey = nearest_[x];
        greys[x] = grey < 0 ? 0 : std::uint8_t(1 + std::clamp(TruncToInt(grey * 254.0), 0, 254));
    }
}

bool GrowParticles(const ParticleParameters& b, int w, int h,
                   const std::function<bool(const ParticleCells&)>& use) {
    if (w < 1 || h < 1) return false;
    Settings s;
    s.stickiness = std::clamp(int(b.stickiness), 1, 100);
    s.nuclei = std::clamp(int(b.nuclei), 1, 32);
    s.resolution = std::clamp(int(b.resolution), 16, 2000);
    s.thickness = std::clamp(int(b.thickness), 1, 100);
    s.taper = std::clamp(int(b.taper), 0, 100);
    s.deposition = b.mode == 1;
    s.wrap = (b.flags & kParticleWrap) != 0;
    s.colouring = b.colouring <= 2 ? b.colouring : 0;

    // The grid: `resolution` cells across the longer side, never more
    // than one cell per pixel.
    Growth g;
    const int longer = std::max(w, h);
    const double cell = double(longer) / std::min(s.resolution, longer);
    g.w = std::max(1, RoundToInt(w / cell));
    g.h = std::max(1, RoundToInt(h / cell));
    g.wrap = s.wrap;
    const long long cells = (long long)g.w * g.h;
    // A picture too small for the full grid grows fewer particles, as many
    // as fill its coarser grid alike (the growth's mass rises with its size
    // to the power 1.71), so it shows the same kind of growth.
    double particles = std::clamp(int(b.particles), 1, kParticleMaxCount);
    if (longer < s.resolution) particles *= DetPow(double(longer) / s.resolution, 1.71);
    s.particles = int(std::clamp<long long>(TruncToInt(particles), 1, std::max(1LL, cells / 3)));
    const int roots = s.deposition ? g.w : s.nuclei;
    const MemHandle grid = AllocateGrowth(g, roots + s.particles);
    if (!grid) return false;

    Rng rng;
    rng.Seed(std::uint32_t(b.seed));
    Grow(g, rng, s);
    Shade(g, s);
    const bool done = use(g.View());
    MemUnlock(grid);
    MemFree(grid);
    return done;
}

MemHandle ParticleRender(MasterTextureRecord* rec, const RenderValues& values) {
    auto* b = reinterpret_cast<ParticleParameters*>(BlockAt(rec, kParticleOffset));
    const int w = values.width, h = values.depth;
    ReleaseGreySlot(kParticleKind, rec);

    MemHandle grey = 0, out = 0;
    const bool done = GrowParticles(*b, w, h, [&](const ParticleCells& g) {
        grey = NewImage(w, h);
        out = NewImage(w, h);
        ImageView gv, ov;
        if (!grey || !out || !LockImage(grey, &gv)) return false;
        if (!LockImage(out, &ov)) {
            UnlockImage(&gv);
            return false;
        }
        FountainToColourTable(b->fountain, rec->colourTable);
        const std::uint8_t* table = rec->colourTable;
        const double sx = double(g.width) / w, sy = double(g.height) / h;
        PlanWork(h);
        ParallelRows(h, [&](int y0, int y1) {
            ParticleRowGreys greys;
            std::vector<std::uint8_t> line(std::size_t(w), 0);
            for (int y = y0; y < y1; ++y) {
                std::uint8_t* gr = gv.Row(y);
                std::uint8_t* orow = ov.Row(y);
                greys.Row(g, (y + 0.5) * sy, sx, w, line.data());
                for (int x = 0; x < w; ++x) {
                    const int i = line[x];
                    gr[3 * x + 2] = std::uint8_t(i);
                    orow[3 * x] = table[3 * i + 2];
                    orow[3 * x + 1] = table[3 * i + 1];
                    orow[3 * x + 2] = table[3 * i];
                }
            }
        });
        UnlockImage(&ov);
        UnlockImage(&gv);
        return true;
    });
    if (!done) {
        MemFree(grey);
        MemFree(out);
        return 0;
    }
    SetGreyImageAt(rec, kParticleGreySlot, grey);
    return out;
}

const KindDescriptor kParticleKind = {
    .name = "Particle",
    .key = "particle",
    .signature = "VANTPART",
    .blockOffset = kParticleOffset,
    .blockSize = sizeof(ParticleParameters),
    .page = &kParticlePage,
    .flags = kKindHasColourMap,
    .render = ParticleRender,
    .reset = ParticleReset,
    .greySlot = kParticleGreySlot,
    .presetList = kParticlePresetListId,
    .takesHostSize = true,
};

}  // namespace tsn
