// Helpers for the byte-packed little-endian records that double as file
// formats.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

static_assert(std::endian::native == std::endian::little,
              "records are stored verbatim and are little-endian");

namespace tsn {

constexpr std::uint32_t kVersion = 0x10006101u;

// A little-endian 32-bit word at any byte address.
inline std::uint32_t LoadLittle32(const std::uint8_t* p) {
    return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 |
           std::uint32_t(p[3]) << 24;
}
inline void StoreLittle32(std::uint8_t* p, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = std::uint8_t(v >> (8 * i));
}

// Every block, record and file opens with this header.
#pragma pack(push, 1)
struct BlockHeader16 {
    char signature[8];
    std::uint32_t version;
    std::uint32_t size;
};
#pragma pack(pop)
static_assert(sizeof(BlockHeader16) == 16);

// The opening of the blocks of seeded pictures: the header, a reserved zero
// word, the picture's width and depth, and the random seed. A kind's struct
// starts with it and then lists its own fields.
#define TSN_SEEDED_PICTURE_HEAD \
    char signature[8];          \
    std::uint32_t version;      \
    std::uint32_t size;         \
    std::uint32_t reserved;     \
    std::int32_t width;         \
    std::int32_t depth;         \
    std::int32_t seed
#define TSN_SEEDED_PICTURE_HEAD_AT(T)           \
    static_assert(offsetof(T, version) == 8);   \
    static_assert(offsetof(T, size) == 12);     \
    static_assert(offsetof(T, reserved) == 16); \
    static_assert(offsetof(T, width) == 20);    \
    static_assert(offsetof(T, depth) == 24);    \
    static_assert(offsetof(T, seed) == 28)

inline void WriteHeader(void* block, const char* signature, std::uint32_t size) {
    auto* h = static_cast<BlockHeader16*>(block);
    std::memcpy(h->signature, signature, 8);
    h->version = kVersion;
    h->size = size;
}

inline bool HasSignature(const void* block, const char* signature) {
    return std::memcmp(block, signature, 8) == 0;
}

// Truncation toward zero that is defined for every input: NaN gives 0 and
// values beyond the int range saturate. Generators convert through this so
// damaged parameters can never reach undefined behaviour.
inline int TruncToInt(double v) {
    if (!(v == v)) return 0;
    if (v >= 2147483647.0) return 2147483647;
    if (v <= -2147483648.0) return -2147483647 - 1;
    return static_cast<int>(v);
}

// A value read from a block, kept to [lo, hi]; NaN gives `fallback`.
inline double ClampedOr(double v, double lo, double hi, double fallback) {
    if (!(v == v)) return fallback;
    return v < lo ? lo : v > hi ? hi : v;
}

}  // namespace tsn
