// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

extern "C" {
#include <libubox/md5.h>
}

namespace {

using testing::Each;
using testing::ElementsAre;

// What the digests are, the tests of lib/crypto say.

TEST(UboxMD5, EndWritesTheDigestAndClearsTheContext) {
    md5_ctx_t context{};
    std::array<unsigned char, 18> result{};
    md5_begin(&context);
    const std::string secret = "abc";
    md5_hash(secret.data(), secret.size(), &context);

    md5_end(result.data() + 1, &context);

    EXPECT_THAT(result, ElementsAre(0, 0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2, 0x4f, 0xb0, 0xd6, 0x96,
                                    0x3f, 0x7d, 0x28, 0xe1, 0x7f, 0x72, 0));
    EXPECT_THAT(context.buffer, Each(0));
    EXPECT_EQ(context.a | context.b | context.c | context.d | context.lo | context.hi, 0U);
}

TEST(UboxMD5, LengthIsCountedBeyondItsLowWord) {
    md5_ctx_t context{};
    md5_begin(&context);
    context.lo = (1U << 29U) - 64;
    const std::string block(64, 'x');

    md5_hash(block.data(), block.size(), &context);

    EXPECT_EQ(context.lo, 0U);
    EXPECT_EQ(context.hi, 1U);
}

}  // namespace
