// Draws the Pipes kind's artwork: eleven pipe pieces in two styles, each a
// 512 x 512 picture with an alpha channel, and writes them as compressed
// resources ("CPX_HEAD" header, zlib stream) plus a C++ table that embeds
// them in the portable build.
//
//   make_pipe_art OUTDIR            OUTDIR/4000.cpx .. 4021.cpx, pipe_art_data.cpp
//   make_pipe_art OUTDIR SHEET.bmp  also a contact sheet of all 22 pieces
//
// Pieces (connections N, E, S, W): 0 straight E-W, 1 straight N-S,
// 2 E-W with a pressure valve, 3 N-S with a pressure valve, elbows 4 N-E,
// 5 E-S, 6 S-W, 7 W-N, tees 8 E-S-W and 9 N-E-W, 10 cross. Every piece
// meets the cell edge at the middle of the side with half of a bolted
// flange, so any two pieces that both connect across an edge join there.
//
// The scene is seen straight from the front: pipes lie along the wall,
// hand wheels face the viewer. Each pixel keeps the surface nearest the
// viewer among simple solids (tubes, cones, tori, spheres, discs) and is
// lit from the upper left. Metal is pure grey (red = green = blue) so that
// the valve colour option, which rewrites only coloured pixels, changes the
// hand wheels alone.
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int kSize = 512;
constexpr double kPi = 3.14159265358979323846;
constexpr int kPieces = 11;

enum Material { kPipe, kFlange, kNut, kBody, kWheel, kStem };

struct Style {
    bool stainless;
    double pipeR, flangeR, flangeHalf, neckLen, boltR, nutR, nutLen;
    int bolts;
    double bodyR, bonnetR, wheelR, wheelTube, hubR;
    int spokes;
};

const Style kStyles[2] = {
    // Industrial: heavy cast iron, wide flanges with eight hex nuts.
    {false, 62, 100, 24, 22, 82, 12, 15, 8, 98, 42, 126, 12, 26, 5},
    // Stainless steel: slim polished tube, thin flanges, six bolts.
    {true, 46, 78, 13, 16, 64, 9, 11, 6, 80, 34, 108, 8, 20, 3},
};

struct Hit {
    double z = -1e9;
    double nx = 0, ny = 0, nz = 1;
    Material m = kPipe;
};

// Solids. Each tests a point of the picture and, when it covers it, offers
// its height above the pipes' axis plane and its surface normal.
struct Tube {  // along a line in the wall plane; r0 at a, r1 at b
    double ax, ay, bx, by, r0, r1, z;
    Material m;
    int facets;  // 0 round, 6 a hexagonal prism
};
struct Torus {  // a quarter bend around (cx, cy) toward (sx, sy)
    double cx, cy, bend, r;
    int sx, sy;
    Material m;
};
struct Ball {
    double cx, cy, r, z;
    Material m;
};
struct Disc {  // a cylinder pointing at the viewer, rounded at its rim
    double cx, cy, r, top, bevel;
    Material m;
};
struct Ring {  // a torus facing the viewer (the hand wheel's rim)
    double cx, cy, R, r, z, bumps;
    Material m;
};

struct Scene {
    std::vector<Tube> tubes;
    std::vector<Torus> tori;
    std::vector<Ball> balls;
    std::vector<Disc> discs;
    std::vector<Ring> rings;
};

void Offer(Hit* h, double z, double nx, double ny, double nz, Material m) {
    if (z <= h->z) return;
    double len = std::sqrt(nx * nx + ny * ny + nz * nz);
    *h = {z, nx / len, ny / len, nz / len, m};
}

void Probe(const Scene& s, double x, double y, Hit* h) {
    for (const Tube& t : s.tubes) {
        double dx = t.bx - t.ax, dy = t.by - t.ay, len = std::hypot(dx, dy);
        double ux = dx / len, uy = dy / len;
        double along = (x - t.ax) * ux + (y - t.ay) * uy;
        if (along < 0 || along > len) continue;
        double r = t.r0 + (t.r1 - t.r0) * along / len;
        double across = -(x - t.ax) * uy + (y - t.ay) * ux;  // perpendicular: (-uy, ux)
        if (std::fabs(across) >= r) continue;
        double a = std::asin(across / r);
        if (t.facets) a = std::round(a / (kPi / 3)) * (kPi / 3);
        Offer(h, t.z + std::sqrt(r * r - across * across), -uy * std::sin(a), ux * std::sin(a),
              std::cos(a), t.m);
    }
    for (const Torus& t : s.tori) {
        double rx = x - t.cx, ry = y - t.cy;
        if (rx * t.sx < 0 || ry * t.sy < 0) continue;
        double d = std::hypot(rx, ry), off = d - t.bend;
        if (std::fabs(off) >= t.r) continue;
        double k = off / t.r;
        Offer(h, std::sqrt(t.r * t.r - off * off), rx / d * k, ry / d * k, std::sqrt(1 - k * k),
              t.m);
    }
    for (const Ball& b : s.balls) {
        double rx = x - b.cx, ry = y - b.cy, d2 = rx * rx + ry * ry;
        if (d2 >= b.r * b.r) continue;
        double nz = std::sqrt(b.r * b.r - d2);
        Offer(h, b.z + nz, rx, ry, nz, b.m);
    }
    for (const Disc& c : s.discs) {
        double rx = x - c.cx, ry = y - c.cy, d = std::hypot(rx, ry);
        if (d >= c.r) continue;
        double e = std::max(0.0, (d - (c.r - c.bevel)) / c.bevel);
        double tilt = e * kPi * 0.45;
        double k = d > 0 ? std::sin(tilt) / d : 0;
        Offer(h, c.top - c.bevel * (1 - std::cos(tilt)), rx * k, ry * k, std::cos(tilt), c.m);
    }
    for (const Ring& g : s.rings) {
        double rx = x - g.cx, ry = y - g.cy, d = std::hypot(rx, ry);
        double r = g.r * (1 + g.bumps * std::cos(std::atan2(ry, rx) * 24));
        double off = d - g.R;
        if (std::fabs(off) >= r || d == 0) continue;
        double k = off / r;
        Offer(h, g.z + std::sqrt(r * r - off * off), rx / d * k, ry / d * k, std::sqrt(1 - k * k),
              g.m);
    }
}

// Directions: 0 N, 1 E, 2 S, 3 W.
constexpr int kDx[4] = {0, 1, 0, -1};
constexpr int kDy[4] = {-1, 0, 1, 0};

// The flanged end of a pipe where it meets the cell edge in direction d.
void AddFlange(Scene* s, const Style& st, int d) {
    const double c = kSize / 2.0;
    const double ex = c + kDx[d] * c, ey = c + kDy[d] * c;  // edge midpoint
    const double ix = -kDx[d], iy = -kDy[d];                // inward
    auto at = [&](double depth, double* x, double* y) {
        *x = ex + ix * depth;
        *y = ey + iy * depth;
    };
    double x0, y0, x1, y1, x2, y2;
    at(0, &x0, &y0);
    at(st.flangeHalf, &x1, &y1);
    at(st.flangeHalf + st.neckLen, &x2, &y2);
    s->tubes.push_back({x0, y0, x1, y1, st.flangeR, st.flangeR, 0, kFlange, 0});
    // A slightly smaller lip at the joint itself marks the seam between the
    // two flanges.
    double lx, ly;
    at(2.5, &lx, &ly);
    s->tubes.push_back({x0, y0, lx, ly, st.flangeR - 4, st.flangeR - 4, 0, kFlange, 0});
    s->tubes.push_back({x1, y1, x2, y2, st.pipeR * 1.32, st.pipeR * 1.02, 0, kFlange, 0});
    for (int k = 0; k < st.bolts; ++k) {
        double phi = (k + 0.5) * 2 * kPi / st.bolts;
        double across = st.boltR * std::cos(phi), height = st.boltR * std::sin(phi);
        // Across the pipe is the direction perpendicular to the inward one.
        double px = -iy * across, py = ix * across;
        double n0x, n0y, n1x, n1y, b1x, b1y;
        at(st.flangeHalf, &n0x, &n0y);
        at(st.flangeHalf + st.nutLen, &n1x, &n1y);
        at(st.flangeHalf + st.nutLen + st.nutR * 0.7, &b1x, &b1y);
        if (st.stainless) {
            // Domed cap nuts.
            s->tubes.push_back(
                {n0x + px, n0y + py, n1x + px, n1y + py, st.nutR, st.nutR, height, kNut, 6});
            s->balls.push_back({n1x + px, n1y + py, st.nutR * 0.95, height, kNut});
        } else {
            s->tubes.push_back(
                {n0x + px, n0y + py, n1x + px, n1y + py, st.nutR, st.nutR, height, kNut, 6});
            s->tubes.push_back({n1x + px, n1y + py, b1x + px, b1y + py, st.nutR * 0.55,
                                st.nutR * 0.55, height, kStem, 0});
        }
    }
}

// A straight run from the centre to the edge in direction d.
void AddArm(Scene* s, const Style& st, int d) {
    const double c = kSize / 2.0;
    s->tubes.push_back({c, c, c + kDx[d] * c, c + kDy[d] * c, st.pipeR, st.pipeR, 0, kPipe, 0});
    AddFlange(s, st, d);
}

// The body of a tee or cross: a fitting a little wider than the pipe, with
// beads where it ends.
void AddFitting(Scene* s, const Style& st, int mask) {
    const double c = kSize / 2.0;
    const double reach = st.pipeR * (st.stainless ? 1.25 : 1.9);
    const double fr = st.pipeR * (st.stainless ? 1.0 : 1.2);
    for (int d = 0; d < 4; ++d) {
        if (!(mask & (1 << d))) continue;
        double ex = c + kDx[d] * reach, ey = c + kDy[d] * reach;
        s->tubes.push_back({c, c, ex, ey, fr, fr, 0, kBody, 0});
        double bx = ex - kDx[d] * 7, by = ey - kDy[d] * 7;
        double bead = st.pipeR * (st.stainless ? 1.08 : 1.34);
        s->tubes.push_back({bx, by, ex, ey, bead, bead, 0, kBody, 0});
    }
    s->balls.push_back({c, c, fr * (st.stainless ? 1.0 : 1.18), 0, kBody});
}

// A pressure valve in the middle of a straight run along direction d.
void AddValve(Scene* s, const Style& st, int d) {
    const double c = kSize / 2.0;
    const double ux = kDx[d], uy = kDy[d];
    // Flanged globe body.
    s->balls.push_back({c, c, st.bodyR * 0.78, 0, kBody});
    for (int sign = -1; sign <= 1; sign += 2) {
        double ax = c + sign * ux * st.bodyR * 0.55, ay = c + sign * uy * st.bodyR * 0.55;
        double bx = c + sign * ux * st.bodyR * 0.95, by = c + sign * uy * st.bodyR * 0.95;
        s->tubes.push_back({ax, ay, bx, by, st.pipeR * 1.18, st.pipeR * 1.3, 0, kBody, 0});
        double fx = c + sign * ux * (st.bodyR * 0.95 + 10),
               fy = c + sign * uy * (st.bodyR * 0.95 + 10);
        s->tubes.push_back({bx, by, fx, fy, st.flangeR * 0.9, st.flangeR * 0.9, 0, kFlange, 0});
    }
    // Bonnet towards the viewer, packing nut, then the hand wheel.
    const double bonnetTop = st.bodyR * 0.78 + 34;
    s->discs.push_back({c, c, st.bonnetR, bonnetTop, 6, kBody});
    const double wheelZ = bonnetTop + 30;
    s->rings.push_back({c, c, st.wheelR, st.wheelTube, wheelZ, st.stainless ? 0.0 : 0.12, kWheel});
    for (int k = 0; k < st.spokes; ++k) {
        double a = -kPi / 2 + k * 2 * kPi / st.spokes + 0.3;
        double ex = c + std::cos(a) * st.wheelR, ey = c + std::sin(a) * st.wheelR;
        double w = st.wheelTube * 0.75;
        s->tubes.push_back({c, c, ex, ey, w * 1.3, w, wheelZ, kWheel, 0});
    }
    s->discs.push_back({c, c, st.hubR, wheelZ + st.wheelTube + 6, 5, kWheel});
    s->discs.push_back({c, c, st.hubR * 0.5, wheelZ + st.wheelTube + 14, 3, kStem});
}

Scene BuildPiece(const Style& st, int piece) {
    Scene s;
    const double c = kSize / 2.0;
    auto straight = [&](int d) {
        s.tubes.push_back({c - kDx[d] * c, c - kDy[d] * c, c + kDx[d] * c, c + kDy[d] * c, st.pipeR,
                           st.pipeR, 0, kPipe, 0});
        AddFlange(&s, st, d);
        AddFlange(&s, st, (d + 2) % 4);
    };
    switch (piece) {
        case 0:
            straight(1);
            break;
        case 1:
            straight(2);
            break;
        case 2:
            straight(1);
            AddValve(&s, st, 1);
            break;
        case 3:
            straight(2);
            AddValve(&s, st, 2);
            break;
        case 4:
        case 5:
        case 6:
        case 7: {
            // Elbow joining directions a and a + 1 (N-E, E-S, S-W, W-N),
            // bent around the cell corner between them.
            int a = piece - 4, b = (a + 1) % 4;
            double cx = c + (kDx[a] + kDx[b]) * c, cy = c + (kDy[a] + kDy[b]) * c;
            int sx = cx > c ? -1 : 1, sy = cy > c ? -1 : 1;
            s.tori.push_back({cx, cy, c, st.pipeR, sx, sy, kPipe});
            AddFlange(&s, st, a);
            AddFlange(&s, st, b);
            break;
        }
        default: {
            int mask = piece == 8 ? 0xE : piece == 9 ? 0xB : 0xF;  // bits N, E, S, W
            for (int d = 0; d < 4; ++d)
                if (mask & (1 << d)) AddArm(&s, st, d);
            AddFitting(&s, st, mask);
            break;
        }
    }
    return s;
}

// Small deterministic noise for the cast iron's grain.
double Hash(int x, int y) {
    std::uint32_t h = std::uint32_t(x) * 374761393u + std::uint32_t(y) * 668265263u;
    h = (h ^ (h >> 13)) * 1274126177u;
    return double((h ^ (h >> 16)) & 0xFFFF) / 65535.0;
}
double Smooth(double x, double y, double cell) {
    double fx = x / cell, fy = y / cell;
    int ix = int(std::floor(fx)), iy = int(std::floor(fy));
    double tx = fx - ix, ty = fy - iy;
    tx = tx * tx * (3 - 2 * tx);
    ty = ty * ty * (3 - 2 * ty);
    double a = Hash(ix, iy) + (Hash(ix + 1, iy) - Hash(ix, iy)) * tx;
    double b = Hash(ix, iy + 1) + (Hash(ix + 1, iy + 1) - Hash(ix, iy + 1)) * tx;
    return a + (b - a) * ty;
}

double SmoothStep(double a, double b, double x) {
    double t = std::clamp((x - a) / (b - a), 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

// Light from the upper left and in front.
struct Light {
    double x, y, z;
};
Light Normalised(double x, double y, double z) {
    double l = std::sqrt(x * x + y * y + z * z);
    return {x / l, y / l, z / l};
}
const Light kLight = Normalised(-0.55, -0.65, 0.62);
const Light kHalf = Normalised(kLight.x, kLight.y, kLight.z + 1);

struct Rgb {
    double r, g, b;
};

Rgb Shade(const Style& st, const Hit& h, double x, double y) {
    double diffuse = std::max(0.0, h.nx * kLight.x + h.ny * kLight.y + h.nz * kLight.z);
    double nh = std::max(0.0, h.nx * kHalf.x + h.ny * kHalf.y + h.nz * kHalf.z);
    if (h.m == kWheel) {
        double shine = 0.55 * std::pow(nh, 40);
        double k = 0.16 + 0.84 * diffuse;
        return {0.80 * k + shine, 0.06 * k + shine, 0.05 * k + shine};
    }
    double v;
    if (st.stainless) {
        // Polished: mostly the reflection of a bright sky above a dark
        // horizon and a grey floor, plus a sharp highlight.
        // The reflected view ray, measured along the light's direction in
        // the wall plane, so pipes of either direction show the bands.
        double rx = 2 * h.nz * h.nx, ry = 2 * h.nz * h.ny;
        double q = -(rx * 0.646 + ry * 0.763);  // towards the light: +
        double sky = 1.0 - 0.45 * SmoothStep(0.15, 1, q);
        double ground = 0.30 + 0.35 * SmoothStep(-0.15, -1, q);
        double env = sky + (ground - sky) * SmoothStep(0.08, -0.12, q);
        env -= 0.5 * std::exp(-std::pow((q + 0.08) / 0.07, 2));  // the horizon line
        double shine = 0.9 * std::pow(nh, 90);
        double base = h.m == kNut || h.m == kStem ? 0.9 : 1.0;
        v = base * (0.08 + 0.22 * diffuse + 0.62 * std::max(0.0, env)) + shine;
    } else {
        double albedo = h.m == kPipe     ? 0.66
                        : h.m == kFlange ? 0.58
                        : h.m == kBody   ? 0.60
                        : h.m == kNut    ? 0.72
                                         : 0.80;
        if (h.m != kNut && h.m != kStem)
            albedo *= 0.88 + 0.10 * Smooth(x, y, 23) + 0.06 * Hash(int(x * 2), int(y * 2));
        double shine = (h.m == kNut || h.m == kStem ? 0.35 : 0.18) * std::pow(nh, 22);
        v = albedo * (0.16 + 0.95 * diffuse) + shine;
    }
    return {v, v, v};
}

// Renders one piece: 3 x 3 samples a pixel. Rows top-down, B G R A.
std::vector<std::uint8_t> Render(const Style& st, int piece) {
    const Scene s = BuildPiece(st, piece);
    std::vector<std::uint8_t> px(std::size_t(kSize) * kSize * 4);
    constexpr int kSub = 3;
    for (int y = 0; y < kSize; ++y)
        for (int x = 0; x < kSize; ++x) {
            double r = 0, g = 0, b = 0;
            int hits = 0;
            for (int j = 0; j < kSub; ++j)
                for (int i = 0; i < kSub; ++i) {
                    double sx = x + (i + 0.5) / kSub, sy = y + (j + 0.5) / kSub;
                    Hit h;
                    Probe(s, sx, sy, &h);
                    if (h.z < -1e8) continue;
                    Rgb c = Shade(st, h, sx, sy);
                    r += c.r;
                    g += c.g;
                    b += c.b;
                    ++hits;
                }
            std::uint8_t* p = &px[(std::size_t(y) * kSize + x) * 4];
            if (!hits) continue;
            auto byte = [&](double v) {
                return std::uint8_t(std::lround(std::clamp(v / hits, 0.0, 1.0) * 255));
            };
            p[0] = byte(b);
            p[1] = byte(g);
            p[2] = byte(r);
            p[3] = std::uint8_t((hits * 255 + kSub * kSub / 2) / (kSub * kSub));
        }
    return px;
}

void Put32(std::vector<std::uint8_t>* v, std::size_t at, std::uint32_t x) {
    for (int i = 0; i < 4; ++i) (*v)[at + i] = std::uint8_t(x >> (8 * i));
}

// The packed 32-bit bitmap (bottom-up rows), compressed behind its header.
bool MakeResource(const std::vector<std::uint8_t>& px, std::vector<std::uint8_t>* out) {
    const std::uint32_t image = kSize * kSize * 4;
    std::vector<std::uint8_t> dib(40 + image);
    Put32(&dib, 0, 40);
    Put32(&dib, 4, kSize);
    Put32(&dib, 8, kSize);
    Put32(&dib, 12, 1 | (32 << 16));  // planes, bits per pixel
    Put32(&dib, 20, image);
    for (int y = 0; y < kSize; ++y)
        std::memcpy(&dib[40 + std::size_t(kSize - 1 - y) * kSize * 4],
                    &px[std::size_t(y) * kSize * 4], kSize * 4);
    uLongf packed = compressBound(uLong(dib.size()));
    out->assign(52 + packed, 0);
    if (compress2(out->data() + 52, &packed, dib.data(), uLong(dib.size()), 9) != Z_OK)
        return false;
    out->resize(52 + packed);
    std::memcpy(out->data(), "CPX_HEAD", 8);
    Put32(out, 8, std::uint32_t(dib.size()));
    Put32(out, 12, std::uint32_t(packed));
    Put32(out, 16, 1);
    return true;
}

bool WriteFile(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return std::fclose(f) == 0 && ok;
}

// Bytes as string literals: printable characters as they are, the rest as
// three-digit octal escapes (which never swallow a following digit).
void WriteBytes(FILE* f, const std::vector<std::uint8_t>& b) {
    std::string line;
    for (std::size_t i = 0; i < b.size(); ++i) {
        unsigned char ch = b[i];
        if (ch >= 32 && ch < 127 && ch != '"' && ch != '\\' && ch != '?') {
            line += char(ch);
        } else {
            char esc[5];
            std::snprintf(esc, sizeof esc, "\\%03o", ch);
            line += esc;
        }
        if (line.size() >= 96 || i + 1 == b.size()) {
            std::fprintf(f, "    \"%s\"\n", line.c_str());
            line.clear();
        }
    }
}

// A contact sheet over a checkerboard, to look at the pieces.
bool WriteSheet(const std::string& path, const std::vector<std::vector<std::uint8_t>>& all) {
    const int tile = kSize / 2, cols = kPieces, rows = 2;
    const int w = cols * tile, h = rows * tile, stride = (w * 3 + 3) / 4 * 4;
    std::vector<std::uint8_t> bmp(54 + std::size_t(stride) * h);
    bmp[0] = 'B';
    bmp[1] = 'M';
    Put32(&bmp, 2, std::uint32_t(bmp.size()));
    Put32(&bmp, 10, 54);
    Put32(&bmp, 14, 40);
    Put32(&bmp, 18, w);
    Put32(&bmp, 22, h);
    Put32(&bmp, 26, 1 | (24 << 16));
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const auto& px = all[(y / tile) * kPieces + x / tile];
            const std::uint8_t* p = &px[(std::size_t(y % tile * 2) * kSize + x % tile * 2) * 4];
            int bg = ((x / 16 + y / 16) & 1) ? 70 : 40;
            std::uint8_t* q = &bmp[54 + std::size_t(h - 1 - y) * stride + x * 3];
            for (int c = 0; c < 3; ++c)
                q[c] = std::uint8_t((p[c] * p[3] + bg * (255 - p[3])) / 255);
        }
    return WriteFile(path, bmp);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: make_pipe_art OUTDIR [SHEET.bmp]\n");
        return 2;
    }
    const std::string dir = argv[1];
    std::vector<std::vector<std::uint8_t>> all;
    FILE* table = std::fopen((dir + "/pipe_art_data.cpp").c_str(), "w");
    if (!table) return 1;
    std::fprintf(table,
                 "// Generated by make_pipe_art: the pipe pieces, compressed.\n"
                 "#include \"core/platform_internal.h\"\n\nnamespace tsn {\nnamespace {\n");
    for (int style = 0; style < 2; ++style)
        for (int piece = 0; piece < kPieces; ++piece) {
            all.push_back(Render(kStyles[style], piece));
            std::vector<std::uint8_t> cpx;
            const int id = 4000 + 11 * style + piece;
            if (!MakeResource(all.back(), &cpx) ||
                !WriteFile(dir + "/" + std::to_string(id) + ".cpx", cpx))
                return 1;
            std::fprintf(table, "const char kArt%d[] =\n", id);
            WriteBytes(table, cpx);
            std::fprintf(table, "    ;\nconstexpr std::size_t kArt%dSize = %zu;\n", id, cpx.size());
        }
    std::fprintf(table, "}  // namespace\n\nconst EmbeddedResource kEmbeddedResources[] = {\n");
    for (int id = 4000; id < 4022; ++id)
        std::fprintf(table,
                     "    {\"CPX\", %d, reinterpret_cast<const unsigned char*>(kArt%d), "
                     "kArt%dSize},\n",
                     id, id, id);
    std::fprintf(table, "};\nconst int kEmbeddedResourceCount = 22;\n\n}  // namespace tsn\n");
    if (std::fclose(table) != 0) return 1;
    if (argc > 2 && !WriteSheet(argv[2], all)) return 1;
    return 0;
}
