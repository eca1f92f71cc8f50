#include "kinds/scratch.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "core/detmath.h"
#include "core/lines.h"
#include "core/parallel.h"
#include "core/random.h"
#include "core/surface.h"
#include "kind/descriptor.h"
#include "kind/page_fields.h"

namespace tsn {

namespace {

using namespace fields;

#define SCRATCH_FIELD(f) static_cast<std::uint32_t>(offsetof(ScratchParameters, f))

// Colours and switches sit at the same places in both blocks.
#define LINE_COLOURS(bg, f1, f2, f3, f4, f5, e3, e4, e5, aa)                             \
    Colour("background", "Background", SCRATCH_FIELD(background), bg, 0x999999,          \
           "colour the lines are drawn on"),                                             \
        Colour("foreground1", "Colour 1:", SCRATCH_FIELD(foreground) + 0, f1, 0xE5E5E5,  \
               "line colour"),                                                           \
        Colour("foreground2", "Colour 2:", SCRATCH_FIELD(foreground) + 4, f2, 0x333333,  \
               "line colour"),                                                           \
        Colour("foreground3", "Colour 3:", SCRATCH_FIELD(foreground) + 8, f3, 0xE7CEB6,  \
               "line colour when enable3 is on"),                                        \
        Colour("foreground4", "Colour 4:", SCRATCH_FIELD(foreground) + 12, f4, 0x996633, \
               "line colour when enable4 is on"),                                        \
        Colour("foreground5", "Colour 5:", SCRATCH_FIELD(foreground) + 16, f5, 0x4D331A, \
               "line colour when enable5 is on"),                                        \
        Check("enable3", "Enable", FieldType::I32, SCRATCH_FIELD(enable) + 0, e3, 0,     \
              "use foreground3"),                                                        \
        Check("enable4", "Enable", FieldType::I32, SCRATCH_FIELD(enable) + 4, e4, 0,     \
              "use foreground4"),                                                        \
        Check("enable5", "Enable", FieldType::I32, SCRATCH_FIELD(enable) + 8, e5, 0,     \
              "use foreground5"),                                                        \
        Check("antialias", "Antialias", FieldType::I32, SCRATCH_FIELD(antialias), aa, 0, \
              "draw at double size and reduce")

// The page sets the lower ends of Fraction, Line size and Angle and the
// upper end of Angle: a fraction of 1 still divides, an angle of 0 turns the
// minimum jump off.
const PageField kScratchFields[] = {
    Width(SCRATCH_FIELD(width), kScratchWidthId, 800, 800),
    Depth(SCRATCH_FIELD(depth), kScratchDepthId, 600, 600),
    Seed(SCRATCH_FIELD(seed), kScratchSeedId, 12621),
    Scroll("fraction", "Fraction:", FieldType::I32, SCRATCH_FIELD(fraction), 726, 1, 30, 10, 1,
           "the largest step is the picture's size divided by this"),
    Scroll("complexity", "Complexity:", FieldType::I32, SCRATCH_FIELD(complexity), 729, 60, 300,
           256, 1, "base number of segments per scratch"),
    Scroll("iterations", "Iterations:", FieldType::I32, SCRATCH_FIELD(iterations), 732, 500, 2000,
           1000, 1, "number of scratches"),
    LINE_COLOURS(735, 736, 737, 738, 739, 740, 741, 742, 743, 744),
    Scroll("lineSize", "Line size:", FieldType::I32, SCRATCH_FIELD(lineSize), 745, 1, 6, 1, 1,
           "pen width in pixels"),
    Scroll("angle", "Angle:", FieldType::I32, SCRATCH_FIELD(angle), 748, 0, 100, 15, 1,
           "minimum jump between points, thousandths of the smaller side (0: none)"),
};

const PageField kThreadsFields[] = {
    Width(SCRATCH_FIELD(width), kThreadsWidthId, 800, 800),
    Depth(SCRATCH_FIELD(depth), kThreadsDepthId, 600, 600),
    Seed(SCRATCH_FIELD(seed), kThreadsSeedId, 12876),
    Scroll("weight", "Weight:", FieldType::I32, SCRATCH_FIELD(fraction), 763, 1, 8, 1, 1,
           "pen width in pixels"),
    Scroll("complexity", "Complexity:", FieldType::I32, SCRATCH_FIELD(complexity), 766, 60, 1000,
           256, 1, "base number of steps per thread"),
    Scroll("iterations", "Iterations:", FieldType::I32, SCRATCH_FIELD(iterations), 769, 500, 5000,
           1000, 1, "number of threads"),
    LINE_COLOURS(772, 773, 774, 775, 776, 777, 778, 779, 780, 781),
    Scroll("lineSize", "Line size:", FieldType::I32, SCRATCH_FIELD(lineSize), 782, 1, 12, 4, 1,
           "length of one step in pixels"),
    Scroll("angle", "Angle:", FieldType::I32, SCRATCH_FIELD(angle), 785, 0, 90, 30, 1,
           "extra twist of every heading, degrees"),
};
#undef LINE_COLOURS
#undef SCRATCH_FIELD

// The preset list and its add, delete and load buttons.
const std::uint32_t kScratchPresets[] = {kScratchPresetListId, 752, 753, 754, 0};
const std::uint32_t kThreadsPresets[] = {kThreadsPresetListId, 789, 790, 791, 0};

const PageTable kScratchPage = {
    kScratchFields, int(sizeof kScratchFields / sizeof kScratchFields[0]), kScratchPresets};
const PageTable kThreadsPage = {
    kThreadsFields, int(sizeof kThreadsFields / sizeof kThreadsFields[0]), kThreadsPresets};

int ResetLines(ScratchParameters* b, const char* signature, const PageTable& page) {
    std::memset(b, 0, sizeof *b);
    WriteHeader(b, signature, sizeof *b);
    ApplyBlockDefaults(page, reinterpret_cast<std::uint8_t*>(b));
    return 1;
}

// Bounds past which a damaged block cannot be drawn safely (coordinates and
// products stay well inside 32 bits); the pages stay far below them.
constexpr int kMaxComplexity = 65536;
constexpr int kMaxPen = 1024;
constexpr int kMaxStep = 4096;
// Lines times segments: twice the most the pages offer (Threads: 5000 lines
// of up to 1000), so a damaged block cannot keep a render busy for hours.
constexpr std::int64_t kMaxSegments = 10000000;

// Segments times the width of the pen that draws them (doubled when drawn
// at double size and reduced): every pixel of the pen's width is a row or
// column more to fill. Twice the pages' most (8-pixel pen, antialiased).
constexpr std::int64_t kMaxPenWork = kMaxSegments * 8 * 2;

bool TooMuchWork(const ScratchParameters* b, std::int32_t pen) {
    const std::int64_t segments = std::int64_t(b->iterations) * std::max(b->complexity, 1);
    const std::int64_t width = std::max<std::int64_t>(pen < 0 ? -std::int64_t(pen) : pen, 1);
    return segments > kMaxSegments || segments * width * (b->antialias ? 2 : 1) > kMaxPenWork;
}

int Abs(int v) {
    return v < 0 ? -v : v;
}

// What both kinds set up before their lines: the seeded generator, the
// colour list and an open surface of the background colour.
struct LineCanvas {
    Rng rng;
    std::uint32_t colours[5] = {};
    int count = 0;
    int w = 0, h = 0, cx = 0, cy = 0;
    bool antialias = false;
    bool wrap = false;  // tileable
    int pen = 1;
    DrawSurface surface;

    // Lines are made in order on one thread, then drawn a batch at a time
    // with the picture split into one band of rows per core; each band
    // draws the whole batch in order, so the picture is the one drawn line
    // by line.
    struct Segment {
        int x0, y0, x1, y1;
        std::uint32_t colour;
    };
    static constexpr std::size_t kBatch = 1 << 15;
    std::vector<Segment> batch;

    void Line(int x0, int y0, int x1, int y1, std::uint32_t colour) {
        if (!wrap) return Add({x0, y0, x1, y1, colour});
        // Tileable: the plane is covered with copies of the picture, and
        // every copy of the line that can touch this one is drawn, so a
        // line leaving one edge enters at the other.
        const int pad = std::abs(pen) + 2;
        for (int kx = FloorDiv(std::min(x0, x1) - pad, w);
             kx <= FloorDiv(std::max(x0, x1) + pad, w); ++kx)
            for (int ky = FloorDiv(std::min(y0, y1) - pad, h);
                 ky <= FloorDiv(std::max(y0, y1) + pad, h); ++ky)
                Add({x0 - kx * w, y0 - ky * h, x1 - kx * w, y1 - ky * h, colour});
    }

    static int FloorDiv(int a, int n) { return a >= 0 ? a / n : -((-a + n - 1) / n); }

    // Where a coordinate that ran off the top or left edge is drawn: the
    // plug-in mirrors it back in; a tileable picture lets it wrap round,
    // so the lines are spread evenly up to the seam.
    int Fold(int v) const { return wrap ? v : Abs(v); }

    void Add(const Segment& s) {
        batch.push_back(s);
        if (batch.size() >= kBatch) Flush();
    }

    void Flush() {
        const int parts = std::max(1, std::min(WorkerThreads(), h));
        PlanWork(parts);
        ParallelRows(parts, [&](int p0, int p1) {
            const int top = int(std::int64_t(p0) * h / parts);
            const int bottom = int(std::int64_t(p1) * h / parts);
            for (const Segment& s : batch)
                DrawLineRows(surface.view, s.x0, s.y0, s.x1, s.y1, pen, s.colour, top, bottom);
        });
        batch.clear();
    }

    bool Open(const ScratchParameters* b, const RenderValues& values) {
        rng.Seed(values.seed);
        wrap = values.tileable;
        colours[count++] = b->foreground[0];
        colours[count++] = b->foreground[1];
        for (int i = 0; i < 3; ++i)
            if (b->enable[i]) colours[count++] = b->foreground[2 + i];
        antialias = b->antialias != 0;
        const int scale = antialias ? 2 : 1;
        if (values.width < 1 || values.depth < 1 || values.width > 32767 || values.depth > 32767)
            return false;
        w = values.width * scale;
        h = values.depth * scale;
        cx = w / 2;
        cy = h / 2;
        if (cx < 1 || cy < 1 || b->complexity / 2 < 1 || b->complexity > kMaxComplexity)
            return false;
        return OpenSurface(&surface, w, h, b->background);
    }

    // Two different colours (at most 36 draws for the second) and a blend
    // of them in single precision, truncated.
    std::uint32_t PenColour() {
        const int a = rng.Next() % count;
        int b = rng.Next() % count;
        for (int draws = 1; b == a && draws < 36; ++draws) b = rng.Next() % count;
        const float t = float(double(rng.Next() % 100) / 100.0);
        std::uint32_t pen = 0;
        for (int shift = 0; shift < 24; shift += 8) {
            const float ca = float((colours[a] >> shift) & 0xFF);
            const float cb = float((colours[b] >> shift) & 0xFF);
            pen |= std::uint32_t(int(ca * (1.0f - t) + cb * t)) << shift;
        }
        return pen;
    }

    int Start(int centre) {
        if (rng.Next() & 1) return centre + rng.Next() % centre;
        return centre - rng.Next() % centre;
    }

    // The finished picture, reduced to half in each direction when drawn
    // double; a failed reduction leaves the larger picture.
    MemHandle Finish() {
        Flush();
        const MemHandle full = FinishSurface(&surface);
        if (!antialias) return full;
        const MemHandle narrow = ReduceWidth(full, 50);
        if (!narrow) return full;
        const MemHandle half = ReduceDepth(narrow, 50);
        MemFree(narrow);
        if (!half) return full;
        MemFree(full);
        return half;
    }
};

// Next heading by the parity of a draw: turning an eighth of a circle, the
// even draws clockwise from the left half and anticlockwise from the right.
constexpr int kTurn[8][2] = {{7, 1}, {2, 0}, {3, 1}, {4, 2}, {5, 3}, {6, 4}, {5, 7}, {6, 0}};
constexpr double kRadiansPerDegree = 3.14159265358979323846 / 180.0;

}  // namespace

// Blocks the kinds refuse before their page's size and seed are read.
bool ScratchRefuses(const std::uint8_t* block) {
    const auto* b = reinterpret_cast<const ScratchParameters*>(block);
    return b->fraction < 1 || b->lineSize > kMaxPen || b->lineSize < -kMaxPen ||
           TooMuchWork(b, b->lineSize);
}
bool ThreadsRefuses(const std::uint8_t* block) {
    const auto* b = reinterpret_cast<const ThreadsParameters*>(block);
    return b->fraction > kMaxPen || b->fraction < -kMaxPen || b->lineSize > kMaxStep ||
           b->lineSize < -kMaxStep || TooMuchWork(b, b->fraction);
}

MemHandle ScratchRender(MasterTextureRecord* rec, const RenderValues& values) {
    const ScratchParameters* b = ScratchBlock(rec);
    LineCanvas k;
    if (!k.Open(b, values)) return 0;
    const std::int64_t smaller = k.w < k.h ? k.w : k.h;
    std::int64_t limit = smaller * b->angle / 1000;
    const int floor = k.antialias ? 4 : 2;
    if (limit < floor) limit = floor;
    k.pen = k.antialias ? b->lineSize * 2 : b->lineSize;
    const int stepX = k.w / b->fraction, stepY = k.h / b->fraction;
    if (stepX < 1 || stepY < 1) {
        DiscardSurface(&k.surface);
        return 0;
    }
    const int half = b->complexity / 2;
    int px = -1, py = -1;
    for (int s = 0; s < b->iterations; ++s) {
        const std::uint32_t colour = k.PenColour();
        k.rng.Next();  // two draws the picture does not use
        k.rng.Next();
        const int x0 = k.Start(k.cx), y0 = k.Start(k.cy);
        int x = x0, y = y0;
        const int n = k.rng.Next() % half + half;
        for (int i = 0; i < n; ++i) {
            int nx = 0, ny = 0;
            for (int attempt = 1; attempt <= 36; ++attempt) {
                const int dx = (k.rng.Next() & 1) ? k.rng.Next() % stepX : -(k.rng.Next() % stepX);
                const int dy = (k.rng.Next() & 1) ? k.rng.Next() % stepY : -(k.rng.Next() % stepY);
                nx = k.Fold(x0 + dx);
                ny = k.Fold(y0 + dy);
                if (b->angle < 1 || px < 0 || py < 0) break;
                if (Abs(nx - px) > limit && Abs(ny - py) > limit) break;
            }
            k.Line(x, y, nx, ny, colour);
            x = px = nx;
            y = py = ny;
        }
    }
    return k.Finish();
}

MemHandle ThreadsRender(MasterTextureRecord* rec, const RenderValues& values) {
    const ThreadsParameters* b = ThreadsBlock(rec);
    LineCanvas k;
    if (!k.Open(b, values)) return 0;
    const int step = k.antialias ? b->lineSize * 2 : b->lineSize;
    k.pen = k.antialias ? b->fraction * 2 : b->fraction;
    const int half = b->complexity / 2;
    const std::int64_t twist = std::int64_t(b->angle) - 3;
    for (int s = 0; s < b->iterations; ++s) {
        const std::uint32_t colour = k.PenColour();
        int d = k.rng.Next() & 7;
        k.rng.Next();  // two draws the picture does not use
        k.rng.Next();
        int x = k.Start(k.cx), y = k.Start(k.cy);
        int drawnX = x, drawnY = y;
        const int n = k.rng.Next() % half + half;
        int last = -1;
        for (int drawn = 0; drawn < n;) {
            d = kTurn[d][k.rng.Next() & 1];
            if (d == last) continue;
            const std::int64_t degrees = 45 * (d + 1) + twist + k.rng.Next() % 6;
            const double theta = double(degrees) * kRadiansPerDegree;
            x += int(step * DetSin(theta));
            y += int(-step * DetCos(theta));
            // The thread runs on outside; only what is drawn is mirrored in.
            k.Line(drawnX, drawnY, k.Fold(x), k.Fold(y), colour);
            drawnX = k.Fold(x);
            drawnY = k.Fold(y);
            last = d;
            ++drawn;
        }
    }
    return k.Finish();
}

const PageTable& ScratchPageTable() {
    return kScratchPage;
}
const PageTable& ThreadsPageTable() {
    return kThreadsPage;
}

int ScratchReset(MasterTextureRecord* rec) {
    return ResetLines(ScratchBlock(rec), "VANTSCRA", kScratchPage);
}
int ThreadsReset(MasterTextureRecord* rec) {
    return ResetLines(ThreadsBlock(rec), "VANTTHRD", kThreadsPage);
}

const KindDescriptor kScratchKind = {
    .name = "Scratch",
    .key = "scratch",
    .signature = "VANTSCRA",
    .blockOffset = kScratchOffset,
    .blockSize = sizeof(ScratchParameters),
    .page = &kScratchPage,
    .render = ScratchRender,
    .reset = ScratchReset,
    .presetList = kScratchPresetListId,
    .refuses = ScratchRefuses,
    .seedQueryControl = kScratchQuerySeedId,
    .maps = kMapsTile,
};

const KindDescriptor kThreadsKind = {
    .name = "Threads",
    .key = "threads",
    .signature = "VANTTHRD",
    .blockOffset = kThreadsOffset,
    .blockSize = sizeof(ThreadsParameters),
    .page = &kThreadsPage,
    .render = ThreadsRender,
    .reset = ThreadsReset,
    .presetList = kThreadsPresetListId,
    .refuses = ThreadsRefuses,
    .seedQueryControl = kScratchQuerySeedId,
    .maps = kMapsTile,
};

}  // namespace tsn
