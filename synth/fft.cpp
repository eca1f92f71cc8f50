#include "synth/fft.h"

#include <emmintrin.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "core/detmath.h"
#include "core/parallel.h"
#include "core/platform.h"

namespace tsn {

namespace {

constexpr double kTwoPi = 6.28318530717958647692;

// Transforms run kLanes at a time through a working buffer, one lane per
// transform: buffer position p holds the kLanes real parts, then the kLanes
// imaginary parts, of element p of every transform. Each butterfly then works
// on whole vectors with one twiddle for all lanes, and a row block and a
// column block are the same job once gathered. A buffer (n x 64 bytes, 256 KB
// at n = 4096) stays in the second-level cache through all the stages, so
// main memory is read and written once per pass.
constexpr int kLanes = 8;
constexpr int kVectors = kLanes / 4;
constexpr int kPosition = 2 * kLanes;  // floats per buffer position
constexpr int kTwiddleFloats = 24;     // W^j, W^2j, W^3j, each re and im broadcast
constexpr int kMaxThreads = 64;

struct Plan {
    int n = 0;
    bool radix2First = false;
    int stages = 0;
    int quarter[kMaxFftLog2] = {};  // a stage's butterflies span 4 x quarter
    const float* twiddles[kMaxFftLog2] = {};
    const int* reversed = nullptr;  // bit reversal of 0 .. n - 1
    float* buffers = nullptr;
    int bufferCount = 0;
    std::atomic<bool> busy[kMaxThreads] = {};

    float* Acquire() {
        for (;;)
            for (int i = 0; i < bufferCount; ++i) {
                bool expected = false;
                if (busy[i].compare_exchange_strong(expected, true))
                    return buffers + std::size_t(i) * n * kPosition;
            }
    }
    void Release(const float* buffer) {
        busy[(buffer - buffers) / (std::size_t(n) * kPosition)].store(false);
    }
};

inline __m128 Load(const float* p) {
    return _mm_load_ps(p);
}
inline void Store(float* p, __m128 v) {
    _mm_store_ps(p, v);
}

// Decimation in time over bit-reversed input: an optional radix-2 stage,
// then radix-4 stages. A radix-4 butterfly is two radix-2 stages fused, with
// the inputs at j, j + h, j + 2h, j + 3h taking W^2j, W^j and W^3j
// (W = exp(-2 pi i / 4h)).
void Butterflies(float* buf, const Plan& p) {
    const int n = p.n;
    if (p.radix2First) {
        for (int k = 0; k < n; k += 2) {
            float* a = buf + std::size_t(k) * kPosition;
            float* b = a + kPosition;
            for (int v = 0; v < kPosition; v += 4) {
                const __m128 x = Load(a + v), y = Load(b + v);
                Store(a + v, _mm_add_ps(x, y));
                Store(b + v, _mm_sub_ps(x, y));
            }
        }
    }
    for (int s = 0; s < p.stages; ++s) {
        const int h = p.quarter[s];
        if (h == 1) {
            // The first radix-4 stage: all its twiddles are 1.
            for (int k = 0; k < n; k += 4) {
                float* a = buf + std::size_t(k) * kPosition;
                for (int v = 0; v < kLanes; v += 4, a += 4) {
                    float* b = a + kPosition;
                    float* c = b + kPosition;
                    float* d = c + kPosition;
                    const __m128 ar = Load(a), ai = Load(a + kLanes);
                    const __m128 br = Load(b), bi = Load(b + kLanes);
                    const __m128 cr = Load(c), ci = Load(c + kLanes);
                    const __m128 dr = Load(d), di = Load(d + kLanes);
                    const __m128 s0r = _mm_add_ps(ar, br), s0i = _mm_add_ps(ai, bi);
                    const __m128 s1r = _mm_sub_ps(ar, br), s1i = _mm_sub_ps(ai, bi);
                    const __m128 t0r = _mm_add_ps(cr, dr), t0i = _mm_add_ps(ci, di);
                    const __m128 t1r = _mm_sub_ps(cr, dr), t1i = _mm_sub_ps(ci, di);
                    Store(a, _mm_add_ps(s0r, t0r));
                    Store(a + kLanes, _mm_add_ps(s0i, t0i));
                    Store(c, _mm_sub_ps(s0r, t0r));
                    Store(c + kLanes, _mm_sub_ps(s0i, t0i));
                    Store(b, _mm_add_ps(s1r, t1i));
                    Store(b + kLanes, _mm_sub_ps(s1i, t1r));
                    Store(d, _mm_sub_ps(s1r, t1i));
                    Store(d + kLanes, _mm_add_ps(s1i, t1r));
                }
            }
            continue;
        }
        const std::size_t step = std::size_t(h) * kPosition;
        for (int k = 0; k < n; k += 4 * h) {
            const float* w = p.twiddles[s];
            float* group = buf + std::size_t(k) * kPosition;
            for (int j = 0; j < h; ++j, w += kTwiddleFloats) {
                const __m128 w1r = Load(w), w1i = Load(w + 4);
                const __m128 w2r = Load(w + 8), w2i = Load(w + 12);
                const __m128 w3r = Load(w + 16), w3i = Load(w + 20);
                for (int v = 0; v < kVectors; ++v) {
                    float* a = group + std::size_t(j) * kPosition + 4 * v;
                    float* b = a + step;
                    float* c = b + step;
                    float* d = c + step;
                    const __m128 ar = Load(a), ai = Load(a + kLanes);
                    const __m128 br = Load(b), bi = Load(b + kLanes);
                    const __m128 cr = Load(c), ci = Load(c + kLanes);
                    const __m128 dr = Load(d), di = Load(d + kLanes);
                    const __m128 Br = _mm_sub_ps(_mm_mul_ps(br, w2r), _mm_mul_ps(bi, w2i));
                    const __m128 Bi = _mm_add_ps(_mm_mul_ps(br, w2i), _mm_mul_ps(bi, w2r));
                    const __m128 Cr = _mm_sub_ps(_mm_mul_ps(cr, w1r), _mm_mul_ps(ci, w1i));
                    const __m128 Ci = _mm_add_ps(_mm_mul_ps(cr, w1i), _mm_mul_ps(ci, w1r));
                    const __m128 Dr = _mm_sub_ps(_mm_mul_ps(dr, w3r), _mm_mul_ps(di, w3i));
                    const __m128 Di = _mm_add_ps(_mm_mul_ps(dr, w3i), _mm_mul_ps(di, w3r));
                    const __m128 s0r = _mm_add_ps(ar, Br), s0i = _mm_add_ps(ai, Bi);
                    const __m128 s1r = _mm_sub_ps(ar, Br), s1i = _mm_sub_ps(ai, Bi);
                    const __m128 t0r = _mm_add_ps(Cr, Dr), t0i = _mm_add_ps(Ci, Di);
                    const __m128 t1r = _mm_sub_ps(Cr, Dr), t1i = _mm_sub_ps(Ci, Di);
                    Store(a, _mm_add_ps(s0r, t0r));
                    Store(a + kLanes, _mm_add_ps(s0i, t0i));
                    Store(c, _mm_sub_ps(s0r, t0r));
                    Store(c + kLanes, _mm_sub_ps(s0i, t0i));
                    // s1 - i t1 and s1 + i t1
                    Store(b, _mm_add_ps(s1r, t1i));
                    Store(b + kLanes, _mm_sub_ps(s1i, t1r));
                    Store(d, _mm_sub_ps(s1r, t1i));
                    Store(d + kLanes, _mm_add_ps(s1i, t1r));
                }
            }
        }
    }
}

// Rows r0 .. r0 + kLanes - 1 into the buffer's lanes, positions bit-reversed:
// a 4 x 4 transposition per four rows and two elements.
void GatherRows(const float* c, int n, int r0, float* buf, const int* rev) {
    const std::size_t row = 2 * std::size_t(n);
    const float* q = c + std::size_t(r0) * row;
    for (int k = 0; k < n; k += 2) {
        float* p0 = buf + std::size_t(rev[k]) * kPosition;
        float* p1 = buf + std::size_t(rev[k + 1]) * kPosition;
        for (int g = 0; g < kVectors; ++g) {
            const float* e = q + 4 * g * row + 2 * k;
            const __m128 v0 = _mm_loadu_ps(e), v1 = _mm_loadu_ps(e + row);
            const __m128 v2 = _mm_loadu_ps(e + 2 * row), v3 = _mm_loadu_ps(e + 3 * row);
            const __m128 t0 = _mm_unpacklo_ps(v0, v1), t1 = _mm_unpacklo_ps(v2, v3);
            const __m128 t2 = _mm_unpackhi_ps(v0, v1), t3 = _mm_unpackhi_ps(v2, v3);
            Store(p0 + 4 * g, _mm_movelh_ps(t0, t1));
            Store(p0 + kLanes + 4 * g, _mm_movehl_ps(t1, t0));
            Store(p1 + 4 * g, _mm_movelh_ps(t2, t3));
            Store(p1 + kLanes + 4 * g, _mm_movehl_ps(t3, t2));
        }
    }
}

void ScatterRows(float* c, int n, int r0, const float* buf) {
    const std::size_t row = 2 * std::size_t(n);
    float* q = c + std::size_t(r0) * row;
    for (int k = 0; k < n; k += 2) {
        const float* p = buf + std::size_t(k) * kPosition;
        for (int g = 0; g < kVectors; ++g) {
            const __m128 r0v = Load(p + 4 * g), i0v = Load(p + kLanes + 4 * g);
            const __m128 r1v = Load(p + kPosition + 4 * g);
            const __m128 i1v = Load(p + kPosition + kLanes + 4 * g);
            const __m128 u0 = _mm_unpacklo_ps(r0v, i0v), u1 = _mm_unpackhi_ps(r0v, i0v);
            const __m128 u2 = _mm_unpacklo_ps(r1v, i1v), u3 = _mm_unpackhi_ps(r1v, i1v);
            float* e = q + 4 * g * row + 2 * k;
            _mm_storeu_ps(e, _mm_movelh_ps(u0, u2));
            _mm_storeu_ps(e + row, _mm_movehl_ps(u2, u0));
            _mm_storeu_ps(e + 2 * row, _mm_movelh_ps(u1, u3));
            _mm_storeu_ps(e + 3 * row, _mm_movehl_ps(u3, u1));
        }
    }
}

// Columns c0 .. c0 + kLanes - 1: one cache line of each row.
void GatherColumns(const float* c, int n, int c0, float* buf, const int* rev) {
    const std::size_t row = 2 * std::size_t(n);
    const float* q = c + 2 * std::size_t(c0);
    for (int i = 0; i < n; ++i, q += row) {
        // The rows are a long stride apart; ask for the lines well ahead.
        if (i + 24 < n) _mm_prefetch(reinterpret_cast<const char*>(q + 24 * row), _MM_HINT_T0);
        float* p = buf + std::size_t(rev[i]) * kPosition;
        for (int v = 0; v < kVectors; ++v) {
            const __m128 a = _mm_loadu_ps(q + 8 * v), b = _mm_loadu_ps(q + 8 * v + 4);
            Store(p + 4 * v, _mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)));
            Store(p + kLanes + 4 * v, _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1)));
        }
    }
}

void ScatterColumns(float* c, int n, int c0, const float* buf) {
    const std::size_t row = 2 * std::size_t(n);
    float* q = c + 2 * std::size_t(c0);
    for (int i = 0; i < n; ++i, q += row) {
        const float* p = buf + std::size_t(i) * kPosition;
        for (int v = 0; v < kVectors; ++v) {
            const __m128 re = Load(p + 4 * v), im = Load(p + kLanes + 4 * v);
            _mm_storeu_ps(q + 8 * v, _mm_unpacklo_ps(re, im));
            _mm_storeu_ps(q + 8 * v + 4, _mm_unpackhi_ps(re, im));
        }
    }
}

// Below one row block: the transform by its definition. The twiddles of
// n <= 4 are quarter turns, exact in any arithmetic.
void SmallDft(float* c, int n) {
    static const float kCos[4] = {1, 0, -1, 0}, kSin[4] = {0, 1, 0, -1};
    float out[2 * 4 * 4];
    const int turn = 4 / n;
    for (int k = 0; k < n; ++k)
        for (int l = 0; l < n; ++l) {
            float re = 0, im = 0;
            for (int i = 0; i < n; ++i)
                for (int j = 0; j < n; ++j) {
                    const int m = ((k * i + l * j) % n) * turn;
                    const float wr = kCos[m], wi = -kSin[m];
                    const float xr = c[2 * (i * n + j)], xi = c[2 * (i * n + j) + 1];
                    re += xr * wr - xi * wi;
                    im += xr * wi + xi * wr;
                }
            out[2 * (k * n + l)] = re;
            out[2 * (k * n + l) + 1] = im;
        }
    std::copy(out, out + 2 * n * n, c);
}

std::size_t Align64(std::size_t bytes) {
    return (bytes + 63) & ~std::size_t(63);
}

}  // namespace

bool Fft2D(float* c, int n) {
    if (n < 1 || n > (1 << kMaxFftLog2) || (n & (n - 1)) != 0) return false;
    if (n < kLanes) {
        SmallDft(c, n);
        return true;
    }
    Plan plan;
    plan.n = n;
    int log2n = 0;
    while ((1 << log2n) < n) ++log2n;
    plan.radix2First = (log2n & 1) != 0;
    std::size_t twiddleFloats = 0;
    for (int h = plan.radix2First ? 2 : 1; 4 * h <= n; h *= 4) {
        plan.quarter[plan.stages++] = h;
        twiddleFloats += std::size_t(h) * kTwiddleFloats;
    }
    const int blocks = n / kLanes;
    plan.bufferCount = std::clamp(WorkerThreads(), 1, std::min(blocks, kMaxThreads));

    // One block for the tables and the working buffers.
    const std::size_t revBytes = Align64(sizeof(int) * n);
    const std::size_t circleBytes = Align64(2 * sizeof(double) * n);
    const std::size_t twiddleBytes = Align64(sizeof(float) * twiddleFloats);
    const std::size_t bufferBytes = sizeof(float) * kPosition * std::size_t(n);
    const MemHandle mem =
        MemAlloc(64 + revBytes + circleBytes + twiddleBytes + bufferBytes * plan.bufferCount);
    auto* raw = static_cast<std::uint8_t*>(MemLock(mem));
    if (!raw) {
        MemFree(mem);
        return false;
    }
    std::uint8_t* at = raw + ((64 - reinterpret_cast<std::uintptr_t>(raw) % 64) % 64);
    int* rev = reinterpret_cast<int*>(at);
    double* cosine = reinterpret_cast<double*>(at + revBytes);
    double* sine = cosine + n;
    float* twiddles = reinterpret_cast<float*>(at + revBytes + circleBytes);
    plan.buffers = reinterpret_cast<float*>(at + revBytes + circleBytes + twiddleBytes);
    plan.reversed = rev;

    for (int k = 0; k < n; ++k) {
        int r = 0;
        for (int b = 0; b < log2n; ++b) r |= ((k >> b) & 1) << (log2n - 1 - b);
        rev[k] = r;
    }
    // The circle from its first octant, so the symmetries hold exactly.
    auto set = [&](int k, double cs, double sn) {
        cosine[k] = cs;
        sine[k] = sn;
    };
    for (int k = 0; k <= n / 8; ++k) {
        const double theta = kTwoPi * k / n;
        const double cs = DetCos(theta), sn = DetSin(theta);
        set(k, cs, sn);
        set(n / 4 - k, sn, cs);
        set(n / 4 + k, -sn, cs);
        set(n / 2 - k, -cs, sn);
        set(n / 2 + k, -cs, -sn);
        set(3 * n / 4 - k, -sn, -cs);
        set(3 * n / 4 + k, sn, -cs);
        if (k > 0) set(n - k, cs, -sn);
    }
    float* w = twiddles;
    for (int s = 0; s < plan.stages; ++s) {
        const int h = plan.quarter[s];
        const int stride = n / (4 * h);
        plan.twiddles[s] = w;
        for (int j = 0; j < h; ++j)
            for (int m = 1; m <= 3; ++m) {
                // exp(-2 pi i m j / 4h)
                const int k = m * j * stride;
                std::fill(w, w + 4, float(cosine[k]));
                std::fill(w + 4, w + 8, float(-sine[k]));
                w += 8;
            }
    }

    PlanWork(2L * blocks);
    ParallelRows(blocks, [&](int b0, int b1) {
        float* buf = plan.Acquire();
        for (int b = b0; b < b1; ++b) {
            GatherRows(c, n, b * kLanes, buf, rev);
            Butterflies(buf, plan);
            ScatterRows(c, n, b * kLanes, buf);
        }
        plan.Release(buf);
    });
    ParallelRows(blocks, [&](int b0, int b1) {
        float* buf = plan.Acquire();
        for (int b = b0; b < b1; ++b) {
            GatherColumns(c, n, b * kLanes, buf, rev);
            Butterflies(buf, plan);
            ScatterColumns(c, n, b * kLanes, buf);
        }
        plan.Release(buf);
    });
    MemUnlock(mem);
    MemFree(mem);
    return true;
}

}  // namespace tsn
