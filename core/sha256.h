// SHA-256 (FIPS 180-4), for the digests a batch report gives of the files it
// wrote, so runs on several machines can be compared file by file.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace tsn {

class Sha256 {
  public:
    Sha256();
    void Update(const void* data, std::size_t n);
    // The digest of everything given; the object is spent afterwards.
    std::array<std::uint8_t, 32> Finish();

  private:
    void Block(const std::uint8_t* p);
    std::uint32_t h_[8];
    std::uint8_t buffer_[64];
    std::size_t buffered_ = 0;
    std::uint64_t length_ = 0;  // bytes given so far
};

// The digest as 64 lower-case hexadecimal digits.
std::string Sha256Hex(const void* data, std::size_t n);
// The digest of a file's contents as hexadecimal; false when it cannot be read.
bool Sha256OfFile(const char* path, std::string* hex);

}  // namespace tsn
