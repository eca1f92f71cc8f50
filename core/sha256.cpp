#include "core/sha256.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace tsn {

namespace {

// The first 32 bits of the fractional parts of the cube roots of the first
// 64 primes.
constexpr std::uint32_t kRound[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

inline std::uint32_t Rotr(std::uint32_t x, int n) {
    return (x >> n) | (x << (32 - n));
}

}  // namespace

Sha256::Sha256()
    : h_{0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
         0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19} {}

void Sha256::Block(const std::uint8_t* p) {
    std::uint32_t w[64];
    for (int t = 0; t < 16; ++t)
        w[t] = std::uint32_t(p[4 * t]) << 24 | std::uint32_t(p[4 * t + 1]) << 16 |
               std::uint32_t(p[4 * t + 2]) << 8 | p[4 * t + 3];
    for (int t = 16; t < 64; ++t) {
        const std::uint32_t s0 = Rotr(w[t - 15], 7) ^ Rotr(w[t - 15], 18) ^ (w[t - 15] >> 3);
        const std::uint32_t s1 = Rotr(w[t - 2], 17) ^ Rotr(w[t - 2], 19) ^ (w[t - 2] >> 10);
        w[t] = w[t - 16] + s0 + w[t - 7] + s1;
    }
    std::uint32_t a = h_[0], b = h_[1], c = h_[2], d = h_[3];
    std::uint32_t e = h_[4], f = h_[5], g = h_[6], h = h_[7];
    for (int t = 0; t < 64; ++t) {
        const std::uint32_t t1 =
            h + (Rotr(e, 6) ^ Rotr(e, 11) ^ Rotr(e, 25)) + ((e & f) ^ (~e & g)) + kRound[t] + w[t];
        const std::uint32_t t2 =
            (Rotr(a, 2) ^ Rotr(a, 13) ^ Rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
        h = g;
        g = f;
        f = e;
        e = d + t1;
        d = c;
        c = b;
        b = a;
        a = t1 + t2;
    }
    h_[0] += a;
    h_[1] += b;
    h_[2] += c;
    h_[3] += d;
    h_[4] += e;
    h_[5] += f;
    h_[6] += g;
    h_[7] += h;
}

void Sha256::Update(const void* data, std::size_t n) {
    const auto* p = static_cast<const std::uint8_t*>(data);
    length_ += n;
    if (buffered_ > 0) {
        const std::size_t take = std::min(n, sizeof buffer_ - buffered_);
        std::memcpy(buffer_ + buffered_, p, take);
        buffered_ += take;
        p += take;
        n -= take;
        if (buffered_ < sizeof buffer_) return;
        Block(buffer_);
        buffered_ = 0;
    }
    for (; n >= 64; p += 64, n -= 64) Block(p);
    std::memcpy(buffer_, p, n);
    buffered_ = n;
}

std::array<std::uint8_t, 32> Sha256::Finish() {
    // A one bit, zeros up to 56 bytes into a block, then the length in bits.
    const std::uint64_t bits = length_ * 8;
    const std::uint8_t one = 0x80, zero[64] = {};
    Update(&one, 1);
    Update(zero, (120 - buffered_) % 64);
    std::uint8_t tail[8];
    for (int i = 0; i < 8; ++i) tail[i] = std::uint8_t(bits >> (56 - 8 * i));
    Update(tail, 8);
    std::array<std::uint8_t, 32> digest;
    for (int i = 0; i < 8; ++i)
        for (int j = 0; j < 4; ++j) digest[4 * i + j] = std::uint8_t(h_[i] >> (24 - 8 * j));
    return digest;
}

namespace {

std::string Hex(const std::array<std::uint8_t, 32>& digest) {
    static const char kDigits[] = "0123456789abcdef";
    std::string s;
    for (std::uint8_t b : digest) {
        s += kDigits[b >> 4];
        s += kDigits[b & 15];
    }
    return s;
}

}  // namespace

std::string Sha256Hex(const void* data, std::size_t n) {
    Sha256 s;
    s.Update(data, n);
    return Hex(s.Finish());
}

bool Sha256OfFile(const char* path, std::string* hex) {
    std::FILE* f = std::fopen(path, "rb");
    if (!f) return false;
    Sha256 s;
    std::uint8_t buf[1 << 16];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) s.Update(buf, n);
    const bool ok = !std::ferror(f);
    std::fclose(f);
    if (ok) *hex = Hex(s.Finish());
    return ok;
}

}  // namespace tsn
