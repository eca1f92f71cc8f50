#include "core/image.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "core/parallel.h"

namespace tsn {

MemHandle NewImage(int width, int depth) {
    if (width < 1 || depth < 1) return 0;
    std::size_t stride = ImageStride(width);
    std::size_t bytes = stride * static_cast<std::size_t>(depth);
    if (bytes > 0xFFFFFFFFu) return 0;  // the header's image size is 32 bits
    MemHandle h = MemAlloc(sizeof(BitmapInfoHeader) + bytes);
    if (!h) return 0;
    auto* hdr = static_cast<BitmapInfoHeader*>(MemLock(h));
    if (!hdr) {
        MemFree(h);
        return 0;
    }
    hdr->size = 40;
    hdr->width = width;
    hdr->height = depth;
    hdr->planes = 1;
    hdr->bitCount = 24;
    hdr->compression = 0;
    hdr->sizeImage = static_cast<std::uint32_t>(bytes);
    MemUnlock(h);
    return h;
}

bool LockImage(MemHandle h, ImageView* view) {
    *view = ImageView{};
    if (!h) return false;
    auto* hdr = static_cast<BitmapInfoHeader*>(MemLock(h));
    if (!hdr) return false;
    std::size_t need = 0;
    bool ok = hdr->size == 40 && hdr->bitCount == 24 && hdr->width > 0 && hdr->height > 0;
    if (ok) {
        need = sizeof(BitmapInfoHeader) + ImageStride(hdr->width) * std::size_t(hdr->height);
        ok = MemSize(h) >= need;
    }
    if (!ok) {
        MemUnlock(h);
        return false;
    }
    view->handle = h;
    view->header = hdr;
    view->bits = reinterpret_cast<std::uint8_t*>(hdr) + sizeof(BitmapInfoHeader);
    view->width = hdr->width;
    view->depth = hdr->height;
    view->stride = ImageStride(hdr->width);
    return true;
}

void UnlockImage(ImageView* view) {
    if (view->handle) MemUnlock(view->handle);
    *view = ImageView{};
}

std::uint32_t GetPixel(const ImageView& v, int x, int y) {
    if (x < 0 || y < 0 || x >= v.width || y >= v.depth) return kNoPixel;
    const std::uint8_t* p = v.Row(y) + std::size_t(x) * 3;
    return std::uint32_t(p[2]) | (std::uint32_t(p[1]) << 8) | (std::uint32_t(p[0]) << 16);
}

void SetPixel(const ImageView& v, int x, int y, std::uint32_t colour) {
    if (x < 0 || y < 0 || x >= v.width || y >= v.depth) return;
    std::uint8_t* p = v.Row(y) + std::size_t(x) * 3;
    p[0] = std::uint8_t(colour >> 16);
    p[1] = std::uint8_t(colour >> 8);
    p[2] = std::uint8_t(colour);
}

void BlitTile(const ImageView& dst, const ImageView& src, int x, int y) {
    // Clip the rectangle once instead of pixel by pixel; the result is the
    // same as setting every source pixel through SetPixel.
    int x0 = std::max(0, -x), x1 = std::min(src.width, dst.width - x);
    int y0 = std::max(0, -y), y1 = std::min(src.depth, dst.depth - y);
    if (x0 >= x1) return;
    for (int sy = y0; sy < y1; ++sy)
        std::memcpy(dst.Row(sy + y) + std::size_t(x + x0) * 3, src.Row(sy) + std::size_t(x0) * 3,
                    std::size_t(x1 - x0) * 3);
}

MemHandle ColouriseImage(MemHandle indexImage, const std::uint8_t* table) {
    ImageView in;
    if (!LockImage(indexImage, &in)) return 0;
    MemHandle out = NewImage(in.width, in.depth);
    ImageView o;
    if (!out || !LockImage(out, &o)) {
        MemFree(out);
        UnlockImage(&in);
        return 0;
    }
    // A table entry's blue, green and red bytes in one word.
    std::uint32_t colour[256];
    for (int v = 0; v < 256; ++v)
        colour[v] = std::uint32_t(table[3 * v + 2]) | std::uint32_t(table[3 * v + 1]) << 8 |
                    std::uint32_t(table[3 * v]) << 16;
    ParallelRows(in.depth, [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            const std::uint8_t* s = in.Row(y);
            WriteRow24(o.Row(y), in.width, [&](int x) { return colour[s[3 * x + 2]]; });
        }
    });
    UnlockImage(&o);
    UnlockImage(&in);
    return out;
}

MemHandle ColouredThumbnail(MemHandle indexImage, const std::uint8_t* table, int percent) {
    ImageView s;
    if (!LockImage(indexImage, &s)) return 0;
    percent = std::max(1, percent);
    const int w = std::max(1, int(std::int64_t(s.width) * percent / 100));
    const int h = std::max(1, int(std::int64_t(s.depth) * percent / 100));
    ImageView d;
    const MemHandle out = NewLockedImage(w, h, &d);
    if (!out) {
        UnlockImage(&s);
        return 0;
    }
    // Output pixel x averages the source columns x * width / w up to (not
    // including) (x + 1) * width / w, at least one; likewise for rows. A box
    // is smaller than 200 x 200 pixels when shrinking (a side of the result
    // is at least a hundredth of the source's), so 32-bit sums hold. The sums
    // of up to 256 output pixels live on the stack: nothing is allocated.
    auto from = [](int i, int source, int target) {
        return int(std::int64_t(i) * source / target);
    };
    auto to = [&](int i, int source, int target) {
        return std::max(from(i, source, target) + 1, from(i + 1, source, target));
    };
    constexpr int kChunk = 256;
    ParallelRows(h, [&](int y0, int y1) {
        std::uint32_t sum[kChunk * 3];
        for (int y = y0; y < y1; ++y) {
            const int sy0 = from(y, s.depth, h), sy1 = to(y, s.depth, h);
            for (int x0 = 0; x0 < w; x0 += kChunk) {
                const int x1 = std::min(w, x0 + kChunk);
                std::fill(sum, sum + 3 * (x1 - x0), 0u);
                for (int sy = sy0; sy < sy1; ++sy) {
                    const std::uint8_t* row = s.Row(sy);
                    for (int x = x0; x < x1; ++x) {
                        std::uint32_t r = 0, g = 0, b = 0;
                        for (int sx = from(x, s.width, w), end = to(x, s.width, w); sx < end;
                             ++sx) {
                            const std::uint8_t* c = table + 3 * row[3 * sx + 2];
                            r += c[0];
                            g += c[1];
                            b += c[2];
                        }
                        std::uint32_t* t = sum + 3 * (x - x0);
                        t[0] += b;
                        t[1] += g;
                        t[2] += r;
                    }
                }
                std::uint8_t* q = d.Row(y);
                for (int x = x0; x < x1; ++x) {
                    const std::uint32_t n = std::uint32_t(sy1 - sy0) *
                                            std::uint32_t(to(x, s.width, w) - from(x, s.width, w));
                    for (int c = 0; c < 3; ++c)
                        q[3 * x + c] = std::uint8_t((sum[3 * (x - x0) + c] + n / 2) / n);
                }
            }
        }
    });
    UnlockImage(&d);
    UnlockImage(&s);
    return out;
}

}  // namespace tsn

namespace tsn {

MemHandle NewLockedImage(int width, int depth, ImageView* v) {
    MemHandle h = NewImage(width, depth);
    if (h && !LockImage(h, v)) {
        MemFree(h);
        h = 0;
    }
    return h;
}

}  // namespace tsn
