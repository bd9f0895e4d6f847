// SPDX-License-Identifier: Apache-2.0
#include "crypto/sha256.h"

#include <string>

#include <gtest/gtest.h>

namespace zephran::crypto {
namespace {

std::string hex_digest(SHA256& hash) {
    std::string text;
    for (const std::uint8_t byte : hash.digest()) {
        constexpr const char* digits = "0123456789abcdef";
        text += digits[byte / 16];
        text += digits[byte % 16];
    }
    return text;
}

std::string sha256_of(const std::string& data) {
    SHA256 hash;
    hash.update(data);
    return hex_digest(hash);
}

// The messages of FIPS 180-4's examples and of RFC 6234.
TEST(SHA256Digest, OfKnownMessages) {
    EXPECT_EQ(sha256_of(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(sha256_of("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(sha256_of("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(sha256_of(std::string(1'000'000, 'a')),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(SHA256Digest, DoesNotDependOnThePieces) {
    const std::string data(200, 'x');
    const std::string whole = sha256_of(data);
    for (std::size_t piece = 1; piece < data.size(); ++piece) {
        SHA256 hash;
        for (std::size_t begin = 0; begin < data.size(); begin += piece) {
            hash.update(data.substr(begin, piece));
        }
        EXPECT_EQ(hex_digest(hash), whole) << piece;
    }
}

// Sums of a second implementation, at each side of the block's end.
TEST(SHA256Digest, OfLengthsAroundTheEndOfABlock) {
    EXPECT_EQ(sha256_of(std::string(55, 'a')),
              "9f4390f8d30c2dd92ec9f095b65e2b9ae9b0a925a5258e241c9f1e910f734318");
    EXPECT_EQ(sha256_of(std::string(56, 'a')),
              "b35439a4ac6f0948b6d6f9e3c6af0f5f590ce20f1bde7090ef7970686ec6738a");
    EXPECT_EQ(sha256_of(std::string(63, 'a')),
              "7d3e74a05d7db15bce4ad9ec0658ea98e3f06eeecf16b4c6fff2da457ddc2f34");
    EXPECT_EQ(sha256_of(std::string(64, 'a')),
              "ffe054fe7ae0cb6dc65c3af9b61d5209f439851db43d0ba5997337df154668eb");
    EXPECT_EQ(sha256_of(std::string(119, 'a')),
              "31eba51c313a5c08226adf18d4a359cfdfd8d2e816b13f4af952f7ea6584dcfb");
}

TEST(SHA256Digest, BeginsANewHashAfterTheDigest) {
    SHA256 hash;
    hash.update(std::string{"something else"});
    hash.digest();

    hash.update(std::string{"abc"});

    EXPECT_EQ(hex_digest(hash), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
}  // namespace zephran::crypto
