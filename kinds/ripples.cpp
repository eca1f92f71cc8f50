#include "kinds/ripples.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "core/detmath.h"
#include "core/image.h"
#include "core/owners.h"
#include "core/parallel.h"
#include "core/random.h"
#include "kind/page_fields.h"

namespace tsn {

namespace {

using namespace fields;

#define RIPL(f) static_cast<std::uint32_t>(offsetof(RipplesParameters, f))
const PageField kRipplesFields[] = {
    Width(RIPL(width), kRipplesWidthId, 800, 800),
    Depth(RIPL(depth), kRipplesDepthId, 600, 800),
    Seed(RIPL(seed), kRipplesSeedId, 9973),
    Edit("drops", "Drops:", RIPL(drops), kRipplesDropsId, 1, 200, 14, 14, Role::Plain,
         "drops that fell, each sending out one train of circular waves"),
    Scroll("wavelength", "Wavelength:", FieldType::I32, RIPL(wavelength), kRipplesWavelengthId, 4,
           400, 14, 1, "distance between crests in pixels"),
    Edit("rings", "Rings:", RIPL(rings), kRipplesRingsId, 1, 30, 5, 5, Role::Plain,
         "crests in each drop's train of waves"),
    Scroll("damping", "Damping:", FieldType::I32, RIPL(damping), kRipplesDampingId, 0, 99, 60, 1,
           "percent of a train's height lost while its front runs across the longer side; the "
           "fronts have run up to 0.6 of it"),
    Scroll("relief", "Relief:", FieldType::I32, RIPL(relief), kRipplesReliefId, 0, 400, 100, 1,
           "steepness of the waves in percent; 0 leaves the water flat"),
    Scroll("lightAngle", "Light angle:", FieldType::I32, RIPL(lightAngle), kRipplesLightAngleId, 0,
           359, 135, 1,
           "direction the light comes from, in degrees counterclockwise from the right; it "
           "stands 45 degrees above the water"),
    Colour("lightColour", "Light:", RIPL(lightColour), kRipplesLightColourId, 0xFFE0C0,
           "colour of slopes facing the light"),
    Colour("darkColour", "Dark:", RIPL(darkColour), kRipplesDarkColourId, 0x804000,
           "colour of slopes facing away; still water lies halfway between the two"),
};
#undef RIPL

// The preset list and its add, delete and load buttons.
constexpr std::uint32_t kRipplesPresets[] = {kRipplesPresetListId, 715, 716, 717, 0};

const PageTable kRipplesPage = TableOf(kRipplesFields, kRipplesPresets);

constexpr double kTwoPi = 6.283185307179586;
constexpr double kHalfSqrt2 = 0.7071067811865476;  // the light's 45 degrees
// A train spans three envelope widths either side of its front.
constexpr double kReach = 3.0;
// The slope table holds 64 entries per wavelength.
constexpr int kStepsPerWave = 64;
// The envelope's width per crest of the train.
constexpr double kSigmaPerRing = 0.35;
constexpr int kMaxTable = int(2 * kReach * kSigmaPerRing * 30 * kStepsPerWave) + 3;

double Unit(Rng& rng) {
    return double(rng.Next()) / 32768.0;
}

// x to the 32nd power.
double Glint(double x) {
    for (int i = 0; i < 5; ++i) x *= x;
    return x;
}

int ClampedInt(std::int32_t v, int lo, int hi) {
    return std::clamp(int(v), lo, hi);
}

}  // namespace

RippleSettings RippleSettingsOf(const RipplesParameters& b) {
    RippleSettings s;
    s.w = b.width;
    s.h = b.depth;
    s.drops = ClampedInt(b.drops, 1, 200);
    s.wavelength = ClampedInt(b.wavelength, 4, 400);
    s.sigma = kSigmaPerRing * ClampedInt(b.rings, 1, 30) * s.wavelength;
    s.damping = ClampedInt(b.damping, 0, 99) / 100.0;
    s.relief = ClampedInt(b.relief, 0, 400) / 100.0;
    const int degrees = ((b.lightAngle % 360) + 360) % 360;
    const double a = degrees * (kTwoPi / 360.0);
    // Rows run downwards, so the light's y component is negated.
    s.lightX = DetCos(a) * kHalfSqrt2;
    s.lightY = -DetSin(a) * kHalfSqrt2;
    s.lightZ = kHalfSqrt2;
    s.light = b.lightColour & 0xFFFFFF;
    s.dark = b.darkColour & 0xFFFFFF;
    return s;
}

void DrawRippleDrops(const RippleSettings& s, std::uint32_t seed, RippleDrop* out) {
    Rng rng;
    rng.Seed(seed);
    const double longer = std::max(s.w, s.h);
    for (int i = 0; i < s.drops; ++i) {
        RippleDrop& d = out[i];
        d.x = Unit(rng) * s.w;
        d.y = Unit(rng) * s.h;
        // Squared, so young drops with small rings are as common as old
        // ones with wide rings are rare.
        const double age = Unit(rng);
        d.front = s.wavelength + age * age * 0.6 * longer;
        d.amplitude =
            (0.4 + 0.6 * double(rng.Next()) / 32767.0) * DetPow(1.0 - s.damping, d.front / longer);
    }
}

double RippleSlope(const RippleSettings& s, double u) {
    // Height: a Gaussian envelope times cos(k u), scaled so the steepest
    // slope of a lone train is 0.5.
    const double k = kTwoPi / s.wavelength;
    const double q = u / s.sigma;
    const double e = DetExp(-q * q);
    return (0.5 / k) * e * (-2.0 * u / (s.sigma * s.sigma) * DetCos(k * u) - k * DetSin(k * u));
}

std::uint32_t RippleShade(const RippleSettings& s, double sx, double sy, double sky) {
    const double nx = -s.relief * sx, ny = -s.relief * sy;
    const double len = std::sqrt(nx * nx + ny * ny + 1.0);
    const double diffuse = (nx * s.lightX + ny * s.lightY + s.lightZ) / len;
    // Steep slopes approach half the way to either colour softly rather
    // than clipping, so high relief keeps its shape.
    const double lit = 2.0 * (diffuse - s.lightZ);
    const double shade = std::clamp(sky + lit / (1.0 + 2.0 * std::fabs(lit)), 0.0, 1.0);
    // The glint: the normal against the half-way vector between the light
    // and a viewer straight above, less what still water shows.
    const double hz0 = s.lightZ + 1.0;
    const double hl = std::sqrt(s.lightX * s.lightX + s.lightY * s.lightY + hz0 * hz0);
    const double facing = (nx * s.lightX + ny * s.lightY + hz0) / (hl * len);
    const double flat = Glint(hz0 / hl);
    const double glint = std::max(0.0, (Glint(std::max(0.0, facing)) - flat) / (1.0 - flat));
    std::uint32_t out = 0;
    for (int shift = 0; shift < 24; shift += 8) {
        const double d = (s.dark >> shift) & 0xFF, l = (s.light >> shift) & 0xFF;
        double c = d + (l - d) * shade;
        c += (255.0 - c) * 0.8 * glint;
        out |= std::uint32_t(std::clamp(TruncToInt(c + 0.5), 0, 255)) << shift;
    }
    return out;
}

double RippleSky(const RippleSettings& s, double py) {
    return 0.6 - 0.2 * py / s.h;
}

namespace {

// The drops a picture draws: the plug-in's, or for a tileable picture
// every copy of each drop, shifted by whole pictures, whose rings can reach
// the picture.
std::vector<RippleDrop> PictureDrops(const RippleSettings& s, const RippleDrop* drawn, double reach,
                                     bool wrap) {
    std::vector<RippleDrop> drops(drawn, drawn + s.drops);
    if (!wrap) return drops;
    std::vector<RippleDrop> copies;
    for (const RippleDrop& d : drops) {
        const double r = d.front + reach;
        const int kx = int(std::ceil(r / s.w)), ky = int(std::ceil(r / s.h));
        for (int j = -ky; j <= ky; ++j)
            for (int i = -kx; i <= kx; ++i) {
                RippleDrop c = d;
                c.x += double(i) * s.w;
                c.y += double(j) * s.h;
                // Only copies whose outer ring meets the picture.
                const double nx = std::clamp(c.x, 0.0, double(s.w)) - c.x;
                const double ny = std::clamp(c.y, 0.0, double(s.h)) - c.y;
                if (nx * nx + ny * ny < r * r) copies.push_back(c);
            }
    }
    return copies;
}

// A train's height at distance u past its front, whose slope RippleSlope
// gives.
double RippleHeight(const RippleSettings& s, double u) {
    const double k = kTwoPi / s.wavelength;
    const double q = u / s.sigma;
    return (0.5 / k) * DetExp(-q * q) * DetCos(k * u);
}

// One train's shape, tabulated at `step` from -reach and read with linear
// interpolation.
struct TrainTable {
    double reach = 0, step = 0;
    int entries = 0;
    double slope[kMaxTable], height[kMaxTable];

    TrainTable(const RippleSettings& s, bool heights) {
        reach = kReach * s.sigma;
        step = s.wavelength / kStepsPerWave;
        entries = std::min(kMaxTable, int(2.0 * reach / step) + 3);
        for (int i = 0; i < entries; ++i) slope[i] = RippleSlope(s, -reach + i * step);
        for (int i = 0; heights && i < entries; ++i) height[i] = RippleHeight(s, -reach + i * step);
    }
};

}  // namespace

MemHandle RipplesPicture(const RipplesParameters& b, bool tileable, HeightField* heights) {
    const RippleSettings s = RippleSettingsOf(b);
    if (s.w <= 0 || s.h <= 0) return 0;
    RippleDrop drawn[200];
    DrawRippleDrops(s, std::uint32_t(b.seed), drawn);

    // Every train has the same shape, so its slope is tabulated once.
    const auto train = std::make_unique<TrainTable>(s, heights != nullptr);
    const double reach = train->reach, step = train->step;
    const int entries = train->entries;
    const double* table = train->slope;
    const std::vector<RippleDrop> drops = PictureDrops(s, drawn, reach, tileable);
    std::vector<double> field;
    if (heights) {
        if (!heights->Resize(s.w, s.h)) return 0;
        field.resize(std::size_t(s.w) * std::size_t(s.h));
    }

    OwnedBlock out(NewImage(s.w, s.h));
    LockedImage o(out.get());
    if (!o) return 0;
    PlanWork(s.h);
    ParallelRows(s.h, [&](int y0, int y1) {
        std::vector<int> near(drops.size());
        for (int y = y0; y < y1; ++y) {
            const double py = y + 0.5;
            // A tileable picture has no horizon: still water shows the
            // sky's middle everywhere.
            const double sky = tileable ? RippleSky(s, 0.5 * s.h) : RippleSky(s, py);
            // The trains this row crosses.
            int count = 0;
            for (int d = 0; d < int(drops.size()); ++d)
                if (std::fabs(py - drops[d].y) < drops[d].front + reach) near[count++] = d;
            std::uint8_t* row = o->Row(y);
            double* level = heights ? &field[std::size_t(y) * std::size_t(s.w)] : nullptr;
            for (int x = 0; x < s.w; ++x) {
                const double px = x + 0.5;
                double sx = 0, sy = 0, z = 0;
                for (int k = 0; k < count; ++k) {
                    const RippleDrop& d = drops[near[k]];
                    const double dx = px - d.x, dy = py - d.y;
                    const double r2 = dx * dx + dy * dy;
                    const double outer = d.front + reach, inner = std::max(0.0, d.front - reach);
                    if (r2 >= outer * outer || r2 <= inner * inner) continue;
                    const double r = std::sqrt(r2);
                    const double t = (r - d.front + reach) / step;
                    const int i = std::min(int(t), entries - 2);
                    const double slope = table[i] + (t - i) * (table[i + 1] - table[i]);
                    sx += d.amplitude * slope * dx / r;
                    sy += d.amplitude * slope * dy / r;
                    if (level) {
                        const double* hs = train->height;
                        z += d.amplitude * (hs[i] + (t - i) * (hs[i + 1] - hs[i]));
                    }
                }
                if (level) level[x] = z;
                const std::uint32_t c = RippleShade(s, sx, sy, sky);
                row[3 * x] = std::uint8_t(c >> 16);
                row[3 * x + 1] = std::uint8_t(c >> 8);
                row[3 * x + 2] = std::uint8_t(c);
            }
        }
    });
    if (heights) {
        const auto [lo, hi] = std::minmax_element(field.begin(), field.end());
        for (std::size_t i = 0; i < field.size(); ++i)
            heights->level[i] = SpreadLevel(field[i], *lo, *hi);
    }
    return out.release();
}

MemHandle RipplesRender(MasterTextureRecord* rec, const RenderValues& values) {
    // The render step has stored the page's size and seed into the block.
    return RipplesPicture(*RipplesBlock(rec), values.tileable, values.height);
}

const KindDescriptor kRipplesKind = {
    .name = "Ripples",
    .key = "ripples",
    .signature = "VANTRIPL",
    .blockOffset = kRipplesOffset,
    .blockSize = sizeof(RipplesParameters),
    .page = &kRipplesPage,
    .render = RipplesRender,
    .presetList = kRipplesPresetListId,
    .maps = kMapsTile | kMapsHeight,
};

}  // namespace tsn
