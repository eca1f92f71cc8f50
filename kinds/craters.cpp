#include "kinds/craters.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <vector>

#include "core/detmath.h"
#include "core/owners.h"
#include "kind/descriptor.h"
#include "kind/older_layout.h"
#include "kind/page_fields.h"

namespace tsn {

namespace {

using namespace fields;

constexpr std::uint32_t kPresetControls[] = {kCratersPresetListId, 296, 297, 298, 0};
constexpr double kPi = 3.14159265358979323846;

// "Density:" moves in steps of a thousand (20,000 impacts); "Depth:" in
// hundredths of the exponent.
#define CRATERS_FIELD(f) static_cast<std::uint32_t>(offsetof(CratersParameters, f))
const PageField kCratersFields[] = {
    Width(CRATERS_FIELD(width), kCratersWidthId, 800, 800, 32),
    Depth(CRATERS_FIELD(depth), kCratersDepthId, 600, 600, 32),
    Seed(CRATERS_FIELD(seed), kCratersSeedId, 10356, 32757, 15618, FieldType::U32),
    Scroll("density", "Density:", FieldType::U32, CRATERS_FIELD(density), kCratersDensityId, 1000,
           kCratersMaxDensity, 16000, -1000, "impacts / 20, in steps of 1000 on the page"),
    Scroll("depthExponent", "Depth:", FieldType::F64, CRATERS_FIELD(depthExponent),
           kCratersDepthExponentId, 0.5, 3.0, 1.5, 100,
           "crater depth grows as the radius to this power"),
    Colour("surfaceColour", "Surface color", CRATERS_FIELD(surfaceColour), kCratersSurfaceColourId,
           0xE0E0E0, "colour of the lit surface"),
    Hidden("rimLevel", FieldType::F64, CRATERS_FIELD(rimLevel), -10, 10, 0.707107,
           "height of the rim shape above the bowl"),
    Hidden("shadeExponent", FieldType::F64, CRATERS_FIELD(shadeExponent), 0.05, 20, 1.0,
           "sharpness of the slope lighting"),
};
#undef CRATERS_FIELD

const PageTable kCratersPage = TableOf(kCratersFields, kPresetControls);

// Truncation as the processor's conversion does it: toward zero, with the
// "integer indefinite" INT_MIN for NaN and anything out of range, so a
// damaged parameter still gives a defined height.
int Truncate(double v) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return INT_MIN;
    return static_cast<int>(v);
}

double Uniform(Rng& rng) {
    return double(rng.Next() & 0x7FFF) / 32767.0;
}

// The height field as the impacts address it. The plug-in's field keeps its
// rows `depth` cells apart whatever the width, and clips at the edges; a
// tileable field keeps rows `width` apart and wraps every coordinate.
struct Field {
    std::uint16_t* H;
    int w, d;
    bool wrap;
    float* exact = nullptr;  // optional: each cell before rounding

    std::size_t Stride() const { return std::size_t(wrap ? w : d); }
    std::size_t Index(int i, int j) const {
        if (wrap) {
            i = ((i % w) + w) % w;
            j = ((j % d) + d) % d;
        }
        return std::size_t(j) * Stride() + std::size_t(i);
    }
    std::uint16_t& At(int i, int j) const { return H[Index(i, j)]; }
    // Stores a cell, and what it was before rounding where that is kept.
    void Set(int i, int j, std::uint16_t v, double unrounded) const {
        const std::size_t at = Index(i, j);
        H[at] = v;
        if (exact) exact[at] = float(unrounded);
    }
    // The first and last cell of a span around `c`: clipped, or whole.
    int First(int c, int r) const { return wrap ? c - r : std::max(0, c - r); }
    int Last(int c, int r, int n) const { return wrap ? c + r : std::min(n - 1, c + r); }
};

// Integer mean of the square of cells from (x - r, y - r) to (x + r,
// y + r), clipped to the picture or wrapped around it.
std::uint32_t SquareMean(const Field& f, int x, int y, int r) {
    std::uint64_t sum = 0, n = 0;
    for (int j = f.First(y, r); j <= f.Last(y, r, f.d); ++j)
        for (int i = f.First(x, r); i <= f.Last(x, r, f.w); ++i) {
            sum += f.At(i, j);
            ++n;
        }
    return std::uint32_t(sum / n);
}

void Crater(const CratersParameters& b, const Field& f, int x, int y, double s) {
    const int r = Truncate(std::max(2.0, s / 3));
    const double avg = SquareMean(f, x, y, r);
    const int R = Truncate(std::max(2.0, s));
    const double depthScale = DetPow(double(R), b.depthExponent);
    const double rim = b.rimLevel;
    for (int j = f.First(y, R); j <= f.Last(y, R, f.d); ++j) {
        const double dy = double(y - j) / R;
        for (int i = f.First(x, R); i <= f.Last(x, R, f.w); ++i) {
            const double dx = double(x - i) / R;
            const double q = dx * dx + dy * dy;
            const double d2 = q * 2.25;
            double e = rim - std::sqrt(std::fabs(1 - d2));
            e = d2 <= 1 ? std::max(e, -10.0) : std::max(e, 0.0);
            e = e * depthScale;
            // The centre always moves by at least one unit.
            if (i == x && j == y && Truncate(e) == 0) e = e < 0 ? -1.0 : 1.0;
            const double wt =
                (1 / (1 - std::min(0.9, q)) / 10.000000000000002 - 0.09999999999999998) / 0.9;
            const double v = (f.At(i, j) + e) * wt + (avg + e) * (1 - wt);
            const std::uint32_t low = std::uint32_t(Truncate(v)) & 0xFFFF;
            const std::uint16_t cell = std::uint16_t(low > 64000 ? 64000 : low < 1000 ? 1000 : low);
            // Kept unrounded only where rounding is all that happened to it.
            f.Set(i, j, cell, v >= cell && v < cell + 1 ? v : double(cell));
        }
    }
}

}  // namespace

std::size_t CratersFieldCells(int width, int depth) {
    const std::size_t w = std::size_t(std::max(width, 0)), d = std::size_t(std::max(depth, 0));
    return std::max(w * d, d > 0 ? (d - 1) * d + w : 0);
}

void CratersImpacts(const CratersParameters& b, int w, int d, Rng& rng, std::uint16_t* H, bool wrap,
                    float* exact) {
    const Field field{H, w, d, wrap, exact};
    // The page offers densities up to its maximum; a larger value comes only
    // from a damaged file and would run for hours, so it counts as the
    // maximum. Smaller values, even below the page's minimum, are kept.
    const std::uint32_t density = b.density;  // packed: copied out, not referenced
    const std::uint64_t impacts = std::uint64_t(std::min(density, kCratersMaxDensity)) * 20;
    for (std::uint64_t n = 0; n < impacts; ++n) {
        // The plug-in's impacts never land on the last column or row; on a
        // tileable field every column is alike.
        const int x = Truncate((wrap ? w : w - 1) * Uniform(rng));
        const int y = Truncate((wrap ? d : d - 1) * Uniform(rng));
        const double s = std::sqrt(1 / ((1 - Uniform(rng) * 0.9999) * kPi));
        if (s < 3) {
            // A pit: the mean of its neighbourhood, roughened; not clamped.
            std::uint32_t v = SquareMean(field, x, y, 1);
            if (s >= 1) v += std::uint32_t(((rng.Next() >> 8) & 3) - 1);
            field.Set(x, y, std::uint16_t(v), double(std::uint16_t(v)));
        } else {
            Crater(b, field, x, y, s);
        }
    }
}

void CratersLightingTable(double shadeExponent, int table[105]) {
    const double p = shadeExponent * 0.5;
    for (int k = -52; k <= 52; ++k) {
        const double shade = 127 * DetPow(DetSin(double(k <= 0 ? -k : k) * kPi / 104), p);
        table[k + 52] = Truncate(k <= 0 ? 128 - shade : 128 + shade);
    }
}

void CratersShade(const std::uint16_t* H, const int table[105], std::uint32_t colour,
                  const ImageView& v, bool wrap) {
    const int w = v.width, d = v.depth;
    const std::int64_t surface[3] = {colour & 0xFF, (colour >> 8) & 0xFF, (colour >> 16) & 0xFF};
    // Each pixel is lit by the step to its right-hand neighbour; without
    // wrapping the last column has none and stays black.
    const int lit = wrap ? w : w - 1;
    for (int y = 0; y < d; ++y) {
        std::uint8_t* row = v.Row(y);
        const std::uint16_t* h = H + std::size_t(y) * std::size_t(wrap ? w : d);
        for (int x = 0; x < lit; ++x) {
            const int k = std::clamp(int(h[x + 1 < w ? x + 1 : 0]) - int(h[x]), -52, 52);
            const std::int64_t b = table[k + 52];
            // Blend onto the pixel as it is (black); bytes are blue, green, red.
            for (int c = 0; c < 3; ++c) {
                std::uint8_t& p = row[3 * x + 2 - c];
                p = std::uint8_t((surface[c] * b) / 255 + (std::int64_t(p) * (255 - b)) / 255);
            }
        }
    }
}

namespace {

// The older layout (132 bytes): four reserved bytes fewer; the working
// image handle is never carried.
const LayoutField kCratersOlderFields[] = {
    TSN_LAYOUT_FIELD(CratersParameters, CratersParameters132, signature),
    TSN_LAYOUT_FIELD(CratersParameters, CratersParameters132, version),
    TSN_LAYOUT_FIELD(CratersParameters, CratersParameters132, reserved0),
    TSN_LAYOUT_FIELD(CratersParameters, CratersParameters132, width),
    TSN_LAYOUT_FIELD(CratersParameters, CratersParameters132, depth),
    TSN_LAYOUT_FIELD(CratersParameters, CratersParameters132, seed),
    TSN_LAYOUT_FIELD(CratersParameters, CratersParameters132, density),
    TSN_LAYOUT_FIELD(CratersParameters, CratersParameters132, depthExponent),
    TSN_LAYOUT_FIELD(CratersParameters, CratersParameters132, rimLevel),
    TSN_LAYOUT_FIELD(CratersParameters, CratersParameters132, shadeExponent),
    TSN_LAYOUT_FIELD(CratersParameters, CratersParameters132, surfaceColour),
};
const OlderLayout kCratersOlder{sizeof(CratersParameters), sizeof(CratersParameters132),
                                kCratersOlderFields, int(std::size(kCratersOlderFields))};

}  // namespace

std::int64_t CratersQuery(MasterTextureRecord* rec, int code) {
    switch (code) {
        case kQueryConvertIn:
        case kQueryConvertOut:
            return ConvertOlderLayout(kCratersOlder, rec, code);
        default:
            return StandardQuery(kCratersKind, rec, code);
    }
}

namespace {

// The field before rounding, its whole range spread over 16 bits.
bool CratersHeights(const float* exact, int w, int d, bool wrap, HeightField* out) {
    if (!out->Resize(w, d)) return false;
    const std::size_t stride = std::size_t(wrap ? w : d);
    auto at = [&](int x, int y) { return exact[std::size_t(y) * stride + std::size_t(x)]; };
    float lo = at(0, 0), hi = lo;
    for (int y = 0; y < d; ++y)
        for (int x = 0; x < w; ++x) {
            lo = std::min(lo, at(x, y));
            hi = std::max(hi, at(x, y));
        }
    for (int y = 0; y < d; ++y)
        for (int x = 0; x < w; ++x) out->Row(y)[x] = SpreadLevel(at(x, y), lo, hi);
    return true;
}

}  // namespace

MemHandle CratersRender(MasterTextureRecord* rec, const RenderValues& values) {
    CratersParameters* b = CratersBlock(rec);
    const int w = values.width, d = values.depth;

    OwnedBlock image(NewImage(w, d));
    LockedImage view(image.get());
    if (!view) return 0;
    const std::size_t cells = CratersFieldCells(w, d);
    OwnedBlock field(MemAlloc(cells * sizeof(std::uint16_t)));
    LockedBlock<std::uint16_t> heights(field.get());
    if (!heights) return 0;
    std::uint16_t* H = heights.get();
    b->image = image.get();
    std::fill(H, H + cells, std::uint16_t(32767));
    // The unrounded field, only for a height map.
    std::vector<float> exact(values.height ? cells : 0, 32767.0f);
    Rng rng;
    rng.Seed(values.seed);
    CratersImpacts(*b, w, d, rng, H, values.tileable, values.height ? exact.data() : nullptr);
    int table[105];
    CratersLightingTable(b->shadeExponent, table);
    CratersShade(H, table, b->surfaceColour, view.view(), values.tileable);
    if (values.height && !CratersHeights(exact.data(), w, d, values.tileable, values.height))
        return 0;
    b->image = 0;
    return image.release();
}

// Craters keeps its block under the particle signature, as presets always
// have.
const KindDescriptor kCratersKind = {
    .name = "Craters",
    .key = "craters",
    .signature = "VANTPART",
    .blockOffset = kCratersOffset,
    .blockSize = sizeof(CratersParameters),
    .oldBlockSize = sizeof(CratersParameters132),
    .page = &kCratersPage,
    .render = CratersRender,
    .query = CratersQuery,
    .presetList = kCratersPresetListId,
    .takesHostSize = true,
    .maps = kMapsTile | kMapsHeight,
};

}  // namespace tsn
