#include "kinds/clouds.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "core/detmath.h"
#include "core/image.h"
#include "core/parallel.h"
#include "core/picture_rows.h"
#include "core/random.h"
#include "kind/page_fields.h"
#include "kinds/clouds/clouds_lanes.h"
#include "synth/fft.h"

namespace tsn {

namespace {

using namespace fields;

#define CLOU(f) static_cast<std::uint32_t>(offsetof(CloudsParameters, f))
const PageField kCloudsFields[] = {
    Width(CLOU(width), kCloudsWidthId, 800, 800, 16),
    Depth(CLOU(depth), kCloudsDepthId, 600, 800, 16),
    Seed(CLOU(seed), kCloudsSeedId, 4711),
    Scroll("radius", "Radius:", FieldType::I32, CLOU(radius), kCloudsRadiusId, 5, 400, 80, 1,
           "planet radius in percent of half the smaller side; above 100 the planet overfills "
           "the picture"),
    Scroll("centreX", "Centre X:", FieldType::I32, CLOU(centreX), kCloudsCentreXId, -100, 100, 0, 1,
           "planet centre right of the picture's centre, percent of half the width"),
    Scroll("centreY", "Centre Y:", FieldType::I32, CLOU(centreY), kCloudsCentreYId, -100, 100, 0, 1,
           "planet centre below the picture's centre, percent of half the depth"),
    Scroll("lightAngle", "Sun angle:", FieldType::I32, CLOU(lightAngle), kCloudsLightAngleId, 0,
           359, 140, 1, "direction of the sun in the picture, degrees (0 right, 90 top)"),
    Scroll("phase", "Phase:", FieldType::I32, CLOU(phase), kCloudsPhaseId, 0, 180, 60, 1,
           "degrees between viewer and sun as seen from the planet: 0 full, 90 half lit, "
           "near 180 a thin crescent"),
    Scroll("spin", "Spin:", FieldType::I32, CLOU(spin), kCloudsSpinId, 0, 359, 0, 1,
           "degrees the planet is turned about its axis"),
    Scroll("tilt", "Tilt:", FieldType::I32, CLOU(tilt), kCloudsTiltId, -90, 90, 20, 1,
           "degrees the north pole leans toward the viewer"),
    Scroll("cover", "Cloud cover:", FieldType::I32, CLOU(cover), kCloudsCoverId, 0, 100, 40, 1,
           "percent of the planet under cloud"),
    Scroll("scale", "Weather size:", FieldType::F64, CLOU(scale), kCloudsScaleId, 0.2, 4.0, 1.0, 10,
           "size of the cloud systems: larger values give more, smaller systems"),
    Scroll("swirl", "Swirl:", FieldType::I32, CLOU(swirl), kCloudsSwirlId, 0, 100, 70, 1,
           "percent by which the clouds are twisted into eddies"),
    Scroll("bands", "Bands:", FieldType::I32, CLOU(bands), kCloudsBandsId, 0, 100, 0, 1,
           "percent by which the clouds are drawn out along latitudes, as on a gas giant"),
    Scroll("roughness", "Roughness:", FieldType::F64, CLOU(roughness), kCloudsRoughnessId, 0.8, 2.5,
           2.0, 100,
           "how fast the field's detail fades: the amplitudes fall as frequency^-roughness; "
           "larger is smoother"),
    Scroll("gridBits", "Detail:", FieldType::I32, CLOU(gridBits), kCloudsGridId, 6, 11, 9, 1,
           "the cloud field is synthesised on a grid of at most 2^detail cells square; "
           "smaller planets use a smaller grid of the same field"),
    Scroll("land", "Land:", FieldType::I32, CLOU(land), kCloudsLandId, 0, 100, 35, 1,
           "percent of the surface that is land; 0 gives an ocean world"),
    Scroll("ice", "Ice caps:", FieldType::I32, CLOU(ice), kCloudsIceId, 0, 100, 14, 1,
           "polar ice, percent of the way from the poles to the equator"),
    Edit("stars", "Stars:", CLOU(stars), kCloudsStarsId, 0, 5000, 500, 500, Role::Plain,
         "stars per million pixels of space"),
    Check("atmosphere", "Atmosphere", FieldType::U32, CLOU(atmosphere), kCloudsAtmosphereId, 1,
          "haze over the limb and a glowing rim of air around the planet"),
    Scroll("glow", "Air height:", FieldType::I32, CLOU(glow), kCloudsGlowId, 1, 30, 5, 1,
           "height of the atmosphere's glow, percent of the radius"),
    Colour("atmosphereColour", "Air colour:", CLOU(atmosphereColour), kCloudsAtmosphereColourId,
           0xFFB060, "colour of the atmosphere's glow"),
    Colour("cloudColour", "Cloud colour:", CLOU(cloudColour), kCloudsCloudColourId, 0xFFFFFF,
           "colour of the clouds in full sun"),
    Colour("oceanColour", "Ocean colour:", CLOU(oceanColour), kCloudsOceanColourId, 0x6A3210,
           "colour of deep water (or of the ground under a gas giant's clouds)"),
    Colour("landColour", "Land colour:", CLOU(landColour), kCloudsLandColourId, 0x3C7A5A,
           "colour of the lowlands; highlands are darker"),
    Colour("spaceColour", "Space colour:", CLOU(spaceColour), kCloudsSpaceColourId, 0x000000,
           "colour behind the planet and stars"),
};
#undef CLOU

// The preset list and its add, delete and load buttons.
constexpr std::uint32_t kCloudsPresets[] = {kCloudsPresetListId, 311, 312, 313, 0};

const PageTable kCloudsPage = TableOf(kCloudsFields, kCloudsPresets);

constexpr double kPi = 3.14159265358979323846;

// A real field value clamped into [lo, hi]; a damaged (non-finite) one
// takes `fallback`.
double Sane(double v, double lo, double hi, double fallback) {
    if (!std::isfinite(v)) return fallback;
    return std::clamp(v, lo, hi);
}

// The generator state that draws coefficient (kx, ky): a mix of the seed
// and the frequency, so every coefficient has a stream of its own.
std::uint32_t CoefficientSeed(std::uint32_t seed, int kx, int ky) {
    std::uint32_t h = seed * 0x9E3779B1u;
    h ^= std::uint32_t(kx + 0x8000) * 0x85EBCA77u;
    h = (h ^ (h >> 15)) * 0x2C1B3C6Du;
    h ^= std::uint32_t(ky + 0x8000) * 0xC2B2AE3Du;
    h = (h ^ (h >> 13)) * 0x297A2D39u;
    return h ^ (h >> 16);
}

struct Complex {
    double re, im;
};

// Coefficient (kx, ky) of the canonical half plane: a Gaussian amplitude
// (four uniform draws) times |k|^-roughness, then a uniform phase.
Complex Coefficient(std::uint32_t seed, int kx, int ky, double roughness) {
    Rng rng;
    rng.Seed(CoefficientSeed(seed, kx, ky));
    int sum = 0;
    for (int k = 0; k < 4; ++k) sum += rng.Next();
    const double gauss = (sum - 2.0 * 32767.0) / (32767.0 * 0.57735026918962576);
    const double amplitude = gauss * DetPow(double(kx * kx + ky * ky), -0.5 * roughness);
    const double phase = rng.Next() * (2.0 * kPi / 32768.0);
    return {amplitude * DetCos(phase), amplitude * DetSin(phase)};
}

struct Vec {
    double x, y, z;
};
inline double Dot(const Vec& a, const Vec& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

// Latitude of a point on the unit sphere from its height (arcsine, within
// a few hundred thousandths of a radian, from basic operations only).
double Latitude(double y) {
    const double a = std::min(1.0, std::fabs(y));
    const double t = 1.5707288 + a * (-0.2121144 + a * (0.0742610 - 0.0187293 * a));
    const double r = 1.57079632679489662 - std::sqrt(1.0 - a) * t;
    return y < 0 ? -r : r;
}

inline double Smooth(double e0, double e1, double x) {
    const double t = std::clamp((x - e0) / (e1 - e0), 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

// The field on the sphere: three planar projections blended by how squarely
// the surface faces each axis, so there are no seams and no pinched poles.
// Each projection is twisted by the field itself (for the clouds) and
// carries scaled copies of the grid for detail it lacks. The row kernel
// (kinds/clouds/) evaluates it at many points at once.
struct SphereField {
    const float* f = nullptr;
    int n = 0, bits = 0;
    int octaves = 1;  // the grid, then scaled copies for detail it lacks
    double swirl = 0;
};

// Points on the unit sphere for the field kernel, with room for whole
// vectors past the last one.
struct FieldPoints {
    std::vector<double> x, y, z;
    std::vector<float> out;
    int count = 0;

    explicit FieldPoints(int capacity) {
        const std::size_t room = std::size_t(capacity) + kMaxDoubleLanes;
        x.resize(room);
        y.resize(room);
        z.resize(room);
        out.resize(room);
    }
    void Add(const Vec& p) {
        x[count] = p.x;
        y[count] = p.y;
        z[count] = p.z;
        ++count;
    }
    // The field at every point into `values` (which has the same room);
    // the kernel's spare lanes repeat the last point.
    void FieldAt(const SphereField& fd, double scale, double offset, bool twist, float* values) {
        if (count == 0) return;
        for (int i = count; i < count + kMaxDoubleLanes; ++i) {
            x[i] = x[count - 1];
            y[i] = y[count - 1];
            z[i] = z[count - 1];
        }
        CloudFieldKernel()({fd.f, fd.n, fd.bits, fd.octaves, fd.swirl, x.data(), y.data(), z.data(),
                            count, scale, offset, twist, values});
    }
};

struct Planet {
    SphereField field;
    double scale, bands, coverLevel, landLevel, iceLine;
    bool hasLand, hasIce;
    // Rows of the rotation from the viewer's frame to the planet's.
    Vec m0, m1, m2;

    Vec ToBody(const Vec& n) const { return {Dot(m0, n), Dot(m1, n), Dot(m2, n)}; }
    // The two fields the clouds are made of, at every point of `pts`.
    void CloudFields(FieldPoints& pts, float* broad, float* streaks) const {
        pts.FieldAt(field, scale, 0.0, true, broad);
        pts.FieldAt(field, scale * 1.7, 0.57, true, streaks);
    }
    double Cloud(const Vec& p, float broad, float streaks) const {
        // Broad systems plus streaks where a finer field crosses zero.
        double c = broad + 0.5 * (0.55 - std::fabs(streaks));
        if (bands > 0) {
            // Belts and zones of several widths, their edges rippled by
            // the field.
            const double lat = Latitude(p.y);
            const double stripes =
                DetSin(lat * 11.0 + 0.3 * c) + 0.6 * DetSin(lat * 29.0 + 0.15 * c);
            c = (1 - bands) * c + bands * (2.0 * stripes + 0.3 * c);
        }
        return c;
    }
    // Continents, with finer detail so the coasts stay ragged however
    // smooth the weather is.
    void HeightFields(FieldPoints& pts, float* base, float* detail) const {
        pts.FieldAt(field, scale * 0.45, 0.31, false, base);
        pts.FieldAt(field, scale * 1.9, 0.13, false, detail);
    }
    static double Height(float base, float detail) { return base + 0.3 * detail; }
};

// Evenly spread points on the sphere, for the levels that give the asked
// cloud and land cover.
constexpr int kProbes = 2048;
Vec Probe(int i) {
    const double z = 1.0 - (2.0 * i + 1.0) / kProbes;
    const double r = std::sqrt(1.0 - z * z);
    double t = i * 0.38196601125010515;  // golden-angle turns
    t -= std::floor(t);
    const double a = t * 2 * kPi;
    return {r * DetCos(a), r * DetSin(a), z};
}
double Level(double* values, int percentAbove) {
    std::sort(values, values + kProbes);
    const int k = std::clamp(kProbes - 1 - percentAbove * kProbes / 100, 0, kProbes - 1);
    return values[k];
}

struct Rgb {
    double r, g, b;
};
Rgb RgbOf(std::uint32_t c) {
    return {double(c & 0xFF), double((c >> 8) & 0xFF), double((c >> 16) & 0xFF)};
}
Rgb Mix(const Rgb& a, const Rgb& b, double t) {
    return {a.r + t * (b.r - a.r), a.g + t * (b.g - a.g), a.b + t * (b.b - a.b)};
}
Rgb Scale(const Rgb& a, double k) {
    return {a.r * k, a.g * k, a.b * k};
}
Rgb Add(const Rgb& a, const Rgb& b) {
    return {a.r + b.r, a.g + b.g, a.b + b.b};
}
std::uint8_t Byte(double v) {
    return std::uint8_t(std::clamp(TruncToInt(v + 0.5), 0, 255));
}

struct Scene {
    Planet planet;
    double cx, cy, radius, air;  // air: glow height over the radius
    bool atmosphere;
    Vec sun, halfway;
    Rgb airColour, cloudColour, oceanColour, landColour, spaceColour, iceColour, desertColour;

    // The fields the lit surface at one point needs (Surface's order of
    // use): the height, a slow field of climate where that is land, the
    // field that roughens the ice line near the poles, and the clouds.
    struct Fields {
        float base = 0, detail = 0, climate = 0, frost = 0, broad = 0, streaks = 0;
    };
    bool NeedsClimate(double height) const { return planet.hasLand && height > planet.landLevel; }
    bool NeedsFrost(const Vec& p) const {
        return planet.hasIce && std::fabs(p.y) > planet.iceLine - 0.35;
    }

    // The lit surface at unit normal n (viewer's frame), where the sun
    // reaches (light > -0.15); p is n in the planet's frame.
    Rgb Surface(const Vec& n, const Vec& p, double light, const Fields& f) const {
        const Planet& pl = planet;
        Rgb ground = oceanColour;
        double wet = 1;
        if (pl.hasLand) {
            const double h = Planet::Height(f.base, f.detail);
            if (h > pl.landLevel) {
                const double up = std::clamp((h - pl.landLevel) / 1.6, 0.0, 1.0);
                // Dry country where a slow field of climate runs high.
                const double dry = 0.75 * Smooth(0.3, 1.3, f.climate);
                ground = Scale(Mix(landColour, desertColour, dry), 1.0 - 0.45 * up);
                wet = 0;
            } else {
                // Shallow water near the coasts is lighter.
                ground =
                    Scale(oceanColour, 0.7 + 0.5 * Smooth(pl.landLevel - 0.8, pl.landLevel, h));
            }
        }
        if (NeedsFrost(p)) {
            const double ice =
                Smooth(pl.iceLine - 0.03, pl.iceLine + 0.03, std::fabs(p.y) + 0.05 * f.frost);
            ground = Mix(ground, iceColour, ice);
            wet *= 1 - ice;
        }
        const double cloud =
            Smooth(pl.coverLevel, pl.coverLevel + 1.3, pl.Cloud(p, f.broad, f.streaks));
        // A soft terminator: light wraps a little past the edge of the disc
        // of day, as it does through an atmosphere.
        const double day = Smooth(-0.12, 1.0, light) * 1.08;
        Rgb c = Mix(Scale(ground, day), Scale(cloudColour, Smooth(-0.15, 0.9, light)), cloud);
        wet *= 1 - pl.bands;  // a gas giant has no sea to glint
        if (wet > 0 && light > 0) {
            double s = std::max(0.0, Dot(n, halfway));
            for (int k = 0; k < 6; ++k) s *= s;  // s^64
            c = Add(c, Scale(Rgb{255, 245, 225}, 0.55 * s * wet * (1 - cloud)));
        }
        return Haze(c, n, light);
    }

    // Haze thickens toward the limb, where the line of sight grazes.
    Rgb Haze(Rgb c, const Vec& n, double light) const {
        if (!atmosphere) return c;
        const double graze = 1 - n.z;
        const double haze = graze * graze * graze;
        const double lit = Smooth(-0.35, 0.6, light);
        c = Mix(c, Scale(airColour, lit), 0.75 * haze);
        return Add(c, Scale(airColour, 0.25 * haze * lit));
    }
};

// The stars, drawn on black before the planet: each a small disc at a
// random place, brighter at its centre, added to what lies beneath.
struct Star {
    int x, y, reach;
    double bright, r;
    Rgb tint;
};

// A picture's stars in the order they are drawn, and for each band of
// kStarBand rows the stars that touch it, in that order, so rows are drawn
// a band at a time with every pixel's sums in the same order.
constexpr int kStarBand = 16;
struct Starfield {
    std::vector<Star> stars;
    std::vector<std::vector<int>> bands;
};

Starfield PlaceStars(int width, int depth, Rng& rng, long long count, double size) {
    static const Rgb kTints[4] = {
        {255, 255, 255}, {200, 220, 255}, {255, 236, 200}, {255, 210, 170}};
    Starfield f;
    f.stars.reserve(std::size_t(count));
    f.bands.resize(std::size_t(depth + kStarBand - 1) / kStarBand);
    for (long long s = 0; s < count; ++s) {
        Star star;
        star.x = TruncToInt(rng.Next() / 32768.0 * width);
        star.y = TruncToInt(rng.Next() / 32768.0 * depth);
        const double m = rng.Next() / 32767.0;
        star.bright = 0.3 + 0.7 * m * m * m * m * m * m;
        star.tint = kTints[rng.Next() & 3];
        star.r = (0.8 + 1.6 * star.bright) * size;
        star.reach = TruncToInt(star.r) + 1;
        const int first = std::max(0, star.y - star.reach) / kStarBand;
        const int last = std::min(depth - 1, star.y + star.reach) / kStarBand;
        for (int b = first; b <= last; ++b) f.bands[std::size_t(b)].push_back(int(s));
        f.stars.push_back(star);
    }
    return f;
}

// Rows y0 .. y1 - 1: black, then the stars that reach them.
void DrawStarRows(const Starfield& f, int y0, int y1, const PictureRows& o, int depth) {
    const int width = o.band.width;
    for (int y = y0; y < y1; ++y) std::memset(o.Row(y), 0, std::size_t(width) * 3);
    for (int b = y0 / kStarBand; b * kStarBand < y1; ++b) {
        // This band's rows among y0 .. y1 - 1; every row is drawn under
        // one band only.
        const int top = std::max(y0, b * kStarBand), bottom = std::min(y1, (b + 1) * kStarBand);
        for (const int s : f.bands[std::size_t(b)]) {
            const Star& star = f.stars[std::size_t(s)];
            for (int j = -star.reach; j <= star.reach; ++j) {
                const int py = star.y + j;
                if (py < top || py >= bottom || py >= depth) continue;
                for (int i = -star.reach; i <= star.reach; ++i) {
                    const int px = star.x + i;
                    if (px < 0 || px >= width) continue;
                    const double d = std::sqrt(double(i * i + j * j)) / star.r;
                    if (d >= 1) continue;
                    const double k = star.bright * (1 - d) * (1 - d);
                    std::uint8_t* p = o.Row(py) + 3 * px;
                    p[0] = Byte(p[0] + k * star.tint.b);
                    p[1] = Byte(p[1] + k * star.tint.g);
                    p[2] = Byte(p[2] + k * star.tint.r);
                }
            }
        }
    }
}

}  // namespace

MemHandle CloudField(std::uint32_t seed, double roughness, int bits) {
    if (bits < 1 || bits > kMaxFftLog2) return 0;
    const int n = 1 << bits, half = n / 2;
    const std::size_t cells = std::size_t(n) * n;
    const MemHandle complexArray = MemAlloc(cells * 2 * sizeof(float));
    const MemHandle out = MemAlloc(cells * sizeof(float));
    auto* c = static_cast<float*>(MemLock(complexArray));
    auto* f = static_cast<float*>(MemLock(out));
    if (!c || !f) {
        if (c) MemUnlock(complexArray);
        if (f) MemUnlock(out);
        MemFree(complexArray);
        MemFree(out);
        return 0;
    }
    // Row ky holds the coefficients of frequency ky (negative ones from
    // n/2 on). Each one of the half plane ky > 0, or ky = 0 and kx > 0, is
    // drawn once and its conjugate set at (-kx, -ky), so the transform is
    // real. The Nyquist row and column stay zero.
    auto put = [&](int kx, int ky, float re, float im) {
        float* e = c + 2 * (std::size_t(ky & (n - 1)) * n + std::size_t(kx & (n - 1)));
        e[0] = re;
        e[1] = im;
    };
    PlanWork(half);
    ParallelRows(half, [&](int y0, int y1) {
        for (int ky = y0; ky < y1; ++ky)
            for (int kx = -half + 1; kx < half; ++kx) {
                if (ky == 0 && kx <= 0) continue;
                const Complex k = Coefficient(seed, kx, ky, roughness);
                put(kx, ky, float(k.re), float(k.im));
                put(-kx, -ky, float(k.re), float(-k.im));
            }
    });
    const bool done = Fft2D(c, n);
    if (done) {
        // Unit variance, so levels mean the same at every grid size; the
        // rows' sums are added in order, whatever the threads did.
        double sum = 0;
        for (int y = 0; y < n; ++y) {
            double row = 0;
            const float* e = c + 2 * std::size_t(y) * n;
            for (int x = 0; x < n; ++x) row += double(e[2 * x]) * e[2 * x];
            sum += row;
        }
        const double k = sum > 0 ? 1.0 / std::sqrt(sum / double(cells)) : 0.0;
        PlanWork(n);
        ParallelRows(n, [&](int y0, int y1) {
            for (std::size_t i = std::size_t(y0) * n; i < std::size_t(y1) * n; ++i)
                f[i] = float(c[2 * i] * k);
        });
    }
    MemUnlock(complexArray);
    MemFree(complexArray);
    MemUnlock(out);
    if (!done) {
        MemFree(out);
        return 0;
    }
    return out;
}

namespace {

// The 2^bits square field of `square` laid out as the field kernel reads
// it: rows of 2^bits + 1 values, the last repeating the first. Frees
// `square`; 0 when memory runs out.
MemHandle WithRowsWrapped(MemHandle square, int bits) {
    const auto* f = static_cast<const float*>(MemLock(square));
    const std::size_t n = std::size_t(1) << bits;
    const MemHandle wrapped = f ? MemAlloc((n + 1) * n * sizeof(float)) : 0;
    auto* g = static_cast<float*>(MemLock(wrapped));
    if (g) {
        for (std::size_t y = 0; y < n; ++y) {
            std::memcpy(g + y * (n + 1), f + y * n, n * sizeof(float));
            g[y * (n + 1) + n] = f[y * n];
        }
        MemUnlock(wrapped);
    } else {
        MemFree(wrapped);
    }
    if (f) MemUnlock(square);
    MemFree(square);
    return g ? wrapped : 0;
}

// The scene a block asks for in a w x h picture: the disc, the light, the
// colours and the planet's turn; its field comes later.
Scene SceneOf(const CloudsParameters& b, int w, int h) {
    Scene sc;
    const double shorter = std::min(w, h);
    sc.radius = std::max(0.5, shorter / 2 * std::clamp(int(b.radius), 1, 1000) / 100.0);
    sc.cx = w / 2.0 + w / 2.0 * std::clamp(int(b.centreX), -400, 400) / 100.0;
    sc.cy = h / 2.0 + h / 2.0 * std::clamp(int(b.centreY), -400, 400) / 100.0;
    sc.atmosphere = b.atmosphere != 0;
    sc.air = std::clamp(int(b.glow), 1, 100) / 100.0;
    sc.airColour = RgbOf(b.atmosphereColour);
    sc.cloudColour = RgbOf(b.cloudColour);
    sc.oceanColour = RgbOf(b.oceanColour);
    sc.landColour = RgbOf(b.landColour);
    sc.spaceColour = RgbOf(b.spaceColour);
    sc.iceColour = {238, 242, 248};
    sc.desertColour = {186, 156, 112};
    const double angle = std::clamp(int(b.lightAngle), -3600, 3600) * (kPi / 180);
    const double phase = std::clamp(int(b.phase), 0, 180) * (kPi / 180);
    sc.sun = {DetSin(phase) * DetCos(angle), DetSin(phase) * DetSin(angle), DetCos(phase)};
    {
        const Vec hv{sc.sun.x, sc.sun.y, sc.sun.z + 1};
        const double len = std::sqrt(Dot(hv, hv));
        sc.halfway = len > 1e-9 ? Vec{hv.x / len, hv.y / len, hv.z / len} : Vec{0, 0, 1};
    }
    // Viewer to planet: lean the pole toward the viewer, then turn.
    const double tilt = std::clamp(int(b.tilt), -90, 90) * (kPi / 180);
    const double spin = std::clamp(int(b.spin), -3600, 3600) * (kPi / 180);
    const double ct = DetCos(tilt), st = DetSin(tilt), cs = DetCos(spin), ss = DetSin(spin);
    // Rx(tilt) then Ry(spin), as rows.
    sc.planet.m0 = {cs, ss * st, -ss * ct};
    sc.planet.m1 = {0, ct, st};
    sc.planet.m2 = {ss, -cs * st, cs * ct};
    Planet& pl = sc.planet;
    pl.scale = Sane(b.scale, 0.05, 16.0, 1.0);
    pl.bands = std::clamp(int(b.bands), 0, 100) / 100.0;
    pl.field.swirl = std::clamp(int(b.swirl), 0, 100) / 100.0;
    return sc;
}

// The levels over which the asked shares of cloud and land lie.
void SetLevels(const CloudsParameters& b, Planet* pl) {
    FieldPoints probes(kProbes);
    for (int i = 0; i < kProbes; ++i) probes.Add(Probe(i));
    std::vector<float> broad(probes.out.size()), streaks(broad.size()), base(broad.size()),
        detail(broad.size());
    pl->CloudFields(probes, broad.data(), streaks.data());
    pl->HeightFields(probes, base.data(), detail.data());
    double clouds[kProbes], heights[kProbes];
    for (int i = 0; i < kProbes; ++i) {
        clouds[i] = pl->Cloud(Probe(i), broad[i], streaks[i]);
        heights[i] = Planet::Height(base[i], detail[i]);
    }
    const int cover = std::clamp(int(b.cover), 0, 100);
    pl->coverLevel = cover == 0 ? 1e30 : Level(clouds, cover) - 0.3;
    const int land = std::clamp(int(b.land), 0, 100);
    pl->hasLand = land > 0;
    pl->landLevel = land >= 100 ? -1e30 : Level(heights, land);
    const int ice = std::clamp(int(b.ice), 0, 100);
    pl->hasIce = ice > 0;
    pl->iceLine = 1.0 - ice / 100.0;
}

// The planet and its glow over the stars already in the picture. Each row
// goes in runs of pixels: the geometry of every pixel first, then the
// field at all the sunlit points of the run at once, then their colours.
constexpr int kRun = 256;

// Rows y0 .. y1 - 1 of the planet, its glow and the space around it, over
// the stars.
void DrawPlanetRows(int y0, int y1, const PictureRows& o, const Scene& sc) {
    const int w = o.band.width;
    const double reach = sc.radius * (1 + (sc.atmosphere ? 6 * sc.air : 0)) + 2;
    const Planet& pl = sc.planet;
    // The run's sunlit points: where they go, what lies behind them, and
    // how much of their pixel the disc covers.
    FieldPoints lit(kRun), climate(kRun), frost(kRun);
    const std::size_t room = lit.out.size();
    std::vector<float> base(room), detail(room), broad(room), streaks(room), dry(room), ice(room);
    int at[kRun], climateOf[kRun], frostOf[kRun], glowOf[kRun];
    double distance[kRun], across[kRun], coverage[kRun];
    Rgb space[kRun];
    constexpr int kRoom = kRun + kMaxDoubleLanes;
    double glowD[kRoom], glowX[kRoom], glowY[kRoom], glowR[kRoom], glowG[kRoom], glowB[kRoom];
    Vec normal[kRun];
    Rgb behind[kRun];
    double coverOf[kRun], lightOf[kRun];
    for (int y = y0; y < y1; ++y) {
        std::uint8_t* row = o.Row(y);
        const double dy = sc.cy - (y + 0.5);
        for (int x0 = 0; x0 < w; x0 += kRun) {
            const int x1 = std::min(w, x0 + kRun);
            lit.count = 0;
            // Which pixels of the run the glow reaches, and how far out.
            int glows = 0;
            for (int x = x0; x < x1; ++x) {
                const int j = x - x0;
                std::uint8_t* px = row + 3 * x;
                const double dx = (x + 0.5) - sc.cx;
                const double d2 = dx * dx + dy * dy;
                const Rgb back = Add(sc.spaceColour, {double(px[2]), double(px[1]), double(px[0])});
                if (d2 > reach * reach) {
                    px[0] = Byte(back.b);
                    px[1] = Byte(back.g);
                    px[2] = Byte(back.r);
                    distance[j] = -1;
                    continue;
                }
                const double d = std::sqrt(d2);
                // Coverage of the pixel by the disc, for a smooth edge.
                const double cover = std::clamp(sc.radius - d + 0.5, 0.0, 1.0);
                distance[j] = d;
                across[j] = dx;
                coverage[j] = cover;
                space[j] = back;
                glowOf[j] = -1;
                if (sc.atmosphere && cover < 1 && d > 0) {
                    glowOf[j] = glows;
                    glowD[glows] = std::max(d, sc.radius);
                    glowX[glows] = dx;
                    glowY[glows] = dy;
                    ++glows;
                }
            }
            if (glows > 0) {
                for (int i = glows; i < glows + kMaxDoubleLanes; ++i) {
                    glowD[i] = glowD[glows - 1];
                    glowX[i] = glowX[glows - 1];
                    glowY[i] = glowY[glows - 1];
                }
                CloudHaloKernel()({glowD, glowX, glowY, glows, sc.radius, sc.air, sc.sun.x,
                                   sc.sun.y, sc.sun.z, sc.airColour.r, sc.airColour.g,
                                   sc.airColour.b, glowR, glowG, glowB});
            }
            for (int x = x0; x < x1; ++x) {
                const int j = x - x0;
                const double d = distance[j];
                if (d < 0) continue;
                std::uint8_t* px = row + 3 * x;
                const double dx = across[j], cover = coverage[j];
                Rgb back = space[j];
                if (glowOf[j] >= 0) {
                    const int g = glowOf[j];
                    back = Add(back, Rgb{glowR[g], glowG[g], glowB[g]});
                }
                Rgb c = back;
                if (cover > 0) {
                    const double r = std::min(d, sc.radius) / sc.radius;
                    const double nz = std::sqrt(std::max(0.0, 1 - r * r));
                    const double k = d > 0 ? r / d : 0;
                    const Vec n{dx * k, dy * k, nz};
                    const double light = Dot(n, sc.sun);
                    if (light > -0.15) {
                        // Coloured once the run's fields are known.
                        const int i = lit.count;
                        at[i] = x;
                        normal[i] = n;
                        behind[i] = back;
                        coverOf[i] = cover;
                        lightOf[i] = light;
                        lit.Add(pl.ToBody(n));
                        continue;
                    }
                    // Night: nothing of the surface shows, only the haze.
                    c = Mix(back, sc.Haze(Rgb{0, 0, 0}, n, light), cover);
                }
                px[0] = Byte(c.b);
                px[1] = Byte(c.g);
                px[2] = Byte(c.r);
            }
            if (lit.count == 0) continue;
            climate.count = frost.count = 0;
            if (pl.hasLand) {
                pl.HeightFields(lit, base.data(), detail.data());
                for (int i = 0; i < lit.count; ++i) {
                    climateOf[i] = -1;
                    if (!sc.NeedsClimate(Planet::Height(base[i], detail[i]))) continue;
                    climateOf[i] = climate.count;
                    climate.Add({lit.x[i], lit.y[i], lit.z[i]});
                }
                climate.FieldAt(pl.field, pl.scale * 0.3, 0.77, false, dry.data());
            }
            for (int i = 0; i < lit.count; ++i) {
                frostOf[i] = -1;
                if (!sc.NeedsFrost({lit.x[i], lit.y[i], lit.z[i]})) continue;
                frostOf[i] = frost.count;
                frost.Add({lit.x[i], lit.y[i], lit.z[i]});
            }
            frost.FieldAt(pl.field, 2.0, 0.7, false, ice.data());
            pl.CloudFields(lit, broad.data(), streaks.data());
            for (int i = 0; i < lit.count; ++i) {
                Scene::Fields f;
                if (pl.hasLand) {
                    f.base = base[i];
                    f.detail = detail[i];
                    if (climateOf[i] >= 0) f.climate = dry[climateOf[i]];
                }
                if (frostOf[i] >= 0) f.frost = ice[frostOf[i]];
                f.broad = broad[i];
                f.streaks = streaks[i];
                const Vec p{lit.x[i], lit.y[i], lit.z[i]};
                const Rgb c = Mix(behind[i], sc.Surface(normal[i], p, lightOf[i], f), coverOf[i]);
                std::uint8_t* px = row + 3 * at[i];
                px[0] = Byte(c.b);
                px[1] = Byte(c.g);
                px[2] = Byte(c.r);
            }
        }
    }
}

}  // namespace

MemHandle CloudsRender(MasterTextureRecord* rec, const RenderValues& values) {
    auto* b = reinterpret_cast<CloudsParameters*>(BlockAt(rec, kCloudsOffset));
    const int w = values.width, h = values.depth;
    if (w < 1 || h < 1) return 0;
    const std::uint32_t seed = values.seed;

    Scene sc = SceneOf(*b, w, h);
    Planet& pl = sc.planet;
    // The grid: fine enough for the planet's size in pixels (about a cell
    // per pixel across the disc), at most 2^gridBits.
    const int maxBits = std::clamp(int(b->gridBits), 4, 11);
    const double cellsWanted = 2.0 * sc.radius / pl.scale;
    int bits = 5;
    while (bits < maxBits && double(1 << bits) < cellsWanted) ++bits;
    // Copies of the field for the detail a large planet needs beyond the
    // grid: each is 4.3 times finer.
    pl.field.octaves = 1;
    for (double need = cellsWanted / (1 << bits); need > 2.0 && pl.field.octaves < 4; need /= 4.3)
        ++pl.field.octaves;
    const double roughness = Sane(b->roughness, 0.5, 3.0, 2.0);
    const MemHandle fieldBlock = WithRowsWrapped(CloudField(seed, roughness, bits), bits);
    pl.field.f = static_cast<const float*>(MemLock(fieldBlock));
    pl.field.n = 1 << bits;
    pl.field.bits = bits;
    if (!pl.field.f) {
        MemFree(fieldBlock);
        return 0;
    }
    SetLevels(*b, &pl);

    // Stars first, on black; the planet and the glow go over them.
    Rng rng;
    rng.Seed(seed);
    const double shorter = std::min(w, h);
    const long long stars = (long long)std::clamp(int(b->stars), 0, 5000) * w / 1000 * h / 1000;
    const Starfield starfield =
        PlaceStars(w, h, rng, stars, std::max(1.0, std::sqrt(shorter / 700.0)));
    PlanWork(h);
    const MemHandle out =
        PaintPicture(w, h, values.rows, [&](int y0, int y1, const PictureRows& o) {
            DrawStarRows(starfield, y0, y1, o, h);
            DrawPlanetRows(y0, y1, o, sc);
        });
    MemUnlock(fieldBlock);
    MemFree(fieldBlock);
    return out;
}

const KindDescriptor kCloudsKind = {
    .name = "Clouds",
    .key = "clouds",
    .signature = "VANTCLOU",
    .blockOffset = kCloudsOffset,
    .blockSize = sizeof(CloudsParameters),
    .page = &kCloudsPage,
    .render = CloudsRender,
    .presetList = kCloudsPresetListId,
    .takesHostSize = true,
};

}  // namespace tsn
