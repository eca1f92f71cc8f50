#include "core/sha256.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "tests/test_support.h"

namespace tsn {
namespace {

std::string Digest(const std::string& s) {
    return Sha256Hex(s.data(), s.size());
}

// The examples of FIPS 180's SHA-256 appendix and its long-message test.
TEST(Sha256, StandardExamples) {
    EXPECT_EQ(Digest(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(Digest("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(Digest("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(Digest("abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmno"
                     "ijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu"),
              "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1");
    EXPECT_EQ(Digest(std::string(1000000, 'a')),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

// Messages whose padding falls on either side of a block's end, given in
// pieces of every size, digest as they do given whole.
TEST(Sha256, PiecesDigestAsTheWhole) {
    std::string message;
    for (int i = 0; i < 300; ++i) message += char(i * 7 + 3);
    for (std::size_t length : {55u, 56u, 63u, 64u, 65u, 119u, 120u, 300u}) {
        const std::string whole = Sha256Hex(message.data(), length);
        for (std::size_t piece : {1u, 3u, 63u, 64u, 65u}) {
            Sha256 s;
            for (std::size_t at = 0; at < length; at += piece)
                s.Update(message.data() + at, std::min(piece, length - at));
            const auto d = s.Finish();
            std::string hex;
            for (std::uint8_t b : d) {
                char two[3];
                std::snprintf(two, sizeof two, "%02x", b);
                hex += two;
            }
            EXPECT_EQ(hex, whole) << length << " in pieces of " << piece;
        }
    }
}

TEST(Sha256, FilesDigestTheirContents) {
    test::TempFolder folder;
    const std::string path = folder.File("abc.txt");
    ASSERT_TRUE(test::WriteAll(path, "abc", 3));
    std::string hex;
    ASSERT_TRUE(Sha256OfFile(path.c_str(), &hex));
    EXPECT_EQ(hex, Digest("abc"));
    EXPECT_FALSE(Sha256OfFile(folder.File("missing").c_str(), &hex));
}

}  // namespace
}  // namespace tsn
