#include "colour/fountain.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace tsn {

namespace {
constexpr std::uint32_t kDefaultMarkers[7] = {
    MakeMarker(0x20, 0xFF0000), MakeMarker(0x40, 0xFFFF00), MakeMarker(0x60, 0x00FF00),
    MakeMarker(0x80, 0x00FFFF), MakeMarker(0xA0, 0x0000FF), MakeMarker(0xC0, 0xFF00FF),
    MakeMarker(0xE0, 0xCC0099)};
}  // namespace

void ResetFountain(FountainDefinition* f) {
    std::memset(f, 0, sizeof *f);
    WriteHeader(f, "VANTFNTN", sizeof *f);
    f->count = 7;
    f->start = 0x000000;
    f->end = 0xFF000000u | 0xFFFFFF;
    std::memcpy(f->markers, kDefaultMarkers, sizeof kDefaultMarkers);
}

void DesignFountain(FountainDefinition* f, std::uint32_t start, std::uint32_t end,
                    const std::uint32_t* markers, std::uint32_t count) {
    // The record is packed, so the markers are copied bytewise: a typed
    // pointer into it may be misaligned.
    ResetFountain(f);
    if (count > 64) count = 64;
    f->count = count;
    f->start = start;
    f->end = end;
    std::memset(f->markers, 0, sizeof f->markers);
    std::memcpy(f->markers, markers, count * sizeof(std::uint32_t));
}

MemHandle LinearGradient(std::uint32_t c0, std::uint32_t c1, int width, int height) {
    MemHandle h = NewImage(width, height);
    ImageView v;
    if (!h || !LockImage(h, &v)) {
        MemFree(h);
        return 0;
    }
    // Per channel in double precision, accumulated by repeated addition so
    // the columns come out exactly as the colour maps have always looked.
    double value[3], step[3];
    for (int c = 0; c < 3; ++c) {
        const int a = int((c0 >> (8 * c)) & 0xFF), b = int((c1 >> (8 * c)) & 0xFF);
        value[c] = a;
        step[c] = double(b - a) / width;
    }
    std::uint8_t* top = v.Row(0);
    for (int x = 0; x < width; ++x) {
        std::uint8_t rgb[3];
        for (int c = 0; c < 3; ++c) {
            rgb[c] = std::uint8_t(std::clamp(TruncToInt(value[c]), 0, 255));
            value[c] += step[c];
        }
        top[3 * x] = rgb[2];
        top[3 * x + 1] = rgb[1];
        top[3 * x + 2] = rgb[0];
    }
    for (int y = 1; y < height; ++y) std::memcpy(v.Row(y), top, std::size_t(width) * 3);
    UnlockImage(&v);
    return h;
}

MemHandle RenderFountain(const FountainDefinition& f, int width, int height) {
    ImageView o;
    MemHandle out = NewLockedImage(width, height, &o);
    if (!out) return 0;
    auto segment = [&](std::uint32_t from, std::uint32_t to, int span, int px) {
        MemHandle seg = LinearGradient(from, to, span, height);
        ImageView s;
        if (!seg || !LockImage(seg, &s)) {
            MemFree(seg);
            return false;
        }
        BlitTile(o, s, px, 0);
        UnlockImage(&s);
        MemFree(seg);
        return true;
    };
    bool ok = true;
    std::uint32_t prev = f.start;
    int px = 0;
    const std::uint32_t count = f.count < 64 ? f.count : 64;  // packed: read by value
    for (std::uint32_t i = 0; i < count && ok; ++i) {
        const int xi = TruncToInt(MarkerPosition(f.markers[i]) / 255.0 * width);
        const int span = xi - px;
        if (span > 0) ok = segment(prev, f.markers[i], span, px);
        px = xi;
        prev = f.markers[i];
    }
    if (ok && width - px >= 1) ok = segment(prev, f.end, width - px, px);
    UnlockImage(&o);
    if (!ok) {
        MemFree(out);
        return 0;
    }
    return out;
}

int MarkerOrder(std::uint32_t a, std::uint32_t b) {
    const int pa = int(MarkerPosition(a)), pb = int(MarkerPosition(b));
    if (pa == 0) return 1;
    if (pb == 0) return -1;
    return pa - pb;
}

std::uint32_t ScaleColour(std::uint32_t colour, double factor) {
    int ch[3];
    for (int c = 0; c < 3; ++c) ch[c] = TruncToInt(double((colour >> (8 * c)) & 0xFF) * factor);
    const bool over = ch[0] > 255 || ch[1] > 255 || ch[2] > 255;
    if (factor > 1 && over) {
        const int excess = std::max({ch[0], ch[1], ch[2]}) - 255;
        for (int& v : ch) v = std::max(0, v - excess);
    }
    return std::uint32_t(ch[0] & 0xFF) | (std::uint32_t(ch[1] & 0xFF) << 8) |
           (std::uint32_t(ch[2] & 0xFF) << 16);
}

namespace {
template <class From, class To>
void ConvertFountain(const From& from, To* to) {
    std::memset(to, 0, sizeof *to);
    std::memcpy(to->signature, from.signature, 8);
    to->version = from.version;
    to->size = sizeof(To);
    to->reserved = from.reserved;
    std::memcpy(to->fileName, from.fileName, 260);
    to->fileName[260] = 0;
    to->count = from.count;
    to->start = from.start;
    to->end = from.end;
    std::memcpy(to->markers, from.markers, sizeof to->markers);
}
}  // namespace

void ConvertFountain581To585(const FountainDefinition581& from, FountainDefinition* to) {
    ConvertFountain(from, to);
}
void ConvertFountain585To581(const FountainDefinition& from, FountainDefinition581* to) {
    ConvertFountain(from, to);
}

bool IsFountainRecordFile(const char* path) {
    if (!path[0]) return false;
    std::FILE* in = std::fopen(path, "rb");
    if (!in) return false;
    FountainDefinition f;
    char extra;
    const bool whole =
        std::fread(&f, 1, sizeof f, in) == sizeof f && std::fread(&extra, 1, 1, in) == 0;
    std::fclose(in);
    return whole && HasSignature(&f, "VANTFNTN") && f.version == kVersion && f.size == sizeof f;
}

namespace {
// The name field as a terminated string, however the field was filled.
void NameOf(const FountainDefinition& f, char name[kMaxPath + 1]) {
    std::memcpy(name, f.fileName, kMaxPath);
    name[kMaxPath] = 0;
}
}  // namespace

void ForgetUntrustedFileName(FountainDefinition* f) {
    char name[kMaxPath + 1];
    NameOf(*f, name);
    if (!IsFountainRecordFile(name)) std::memset(f->fileName, 0, sizeof f->fileName);
}

bool WriteFountainBack(const FountainDefinition& f) {
    char name[kMaxPath + 1];
    NameOf(f, name);
    if (!IsFountainRecordFile(name)) return false;
    FountainDefinition copy = f;
    copy.cachedImage = 0;
    return WriteFileBeside(
        name, "wb", [&](std::FILE* out) { return std::fwrite(&copy, sizeof copy, 1, out) == 1; });
}

bool CopyColourTable(std::uint8_t* table, MemHandle image) {
    ImageView v;
    if (!LockImage(image, &v)) return false;
    const bool fits = v.width >= 256;
    if (fits) {
        for (int i = 0; i < 256; ++i) {
            const std::uint32_t c = GetPixel(v, i, 0);
            table[3 * i] = std::uint8_t(c);
            table[3 * i + 1] = std::uint8_t(c >> 8);
            table[3 * i + 2] = std::uint8_t(c >> 16);
        }
    }
    UnlockImage(&v);
    return fits;
}

bool FountainToColourTable(const FountainDefinition& f, std::uint8_t* table) {
    MemHandle strip = RenderFountain(f, 256, 1);
    if (!strip) return false;
    const bool ok = CopyColourTable(table, strip);
    MemFree(strip);
    return ok;
}

}  // namespace tsn
