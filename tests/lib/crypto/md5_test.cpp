// SPDX-License-Identifier: Apache-2.0
#include "crypto/md5.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zephran::crypto {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* digest_of_nothing = "d41d8cd98f00b204e9800998ecf8427e";
constexpr const char* digest_of_abc = "900150983cd24fb0d6963f7d28e17f72";

std::string hex(const std::vector<std::uint8_t>& bytes) {
    const std::string digits = "0123456789abcdef";
    std::string text;
    for (const auto byte : bytes) {
        text += digits[byte / 16U];
        text += digits[byte % 16U];
    }
    return text;
}

class RecordingHash : public HashAlgorithm {
public:
    using HashAlgorithm::update;
    const std::vector<std::uint8_t>& digest() override { return fed; }
    void update(const std::uint8_t* data, std::size_t length) override {
        blocks.push_back(length);
        std::copy_n(data, length, std::back_inserter(fed));
    }

    std::vector<std::size_t> blocks;
    std::vector<std::uint8_t> fed;
};

TEST(MD5, KnowsTheReferenceDigests) {
    MD5 md5;

    EXPECT_EQ(hex(md5.digest()), digest_of_nothing);
    md5.update(std::string{"abc"});
    EXPECT_EQ(hex(md5.digest()), digest_of_abc);
    md5.update(std::string{"message digest"});
    EXPECT_EQ(hex(md5.digest()), "f96b697d7cb7938d525a2f31aaf161d0");
}

TEST(MD5, SecondDigestIsThatOfNoData) {
    MD5 md5;
    md5.update(std::string{"abc"});

    EXPECT_EQ(hex(md5.digest()), digest_of_abc);
    EXPECT_EQ(hex(md5.digest()), digest_of_nothing);
}

TEST(MD5, DigestIsReturnedByReferenceToTheSameBytes) {
    MD5 md5;

    const auto& digest = md5.digest();
    md5.update(std::string{"abc"});
    md5.digest();

    EXPECT_EQ(hex(digest), digest_of_abc);
}

TEST(MD5, PiecesAddUp) {
    MD5 md5;
    const std::uint8_t a = 'a';
    std::istringstream c{"c and more"};

    md5.update(&a, 1);
    md5.update(std::vector<std::uint8_t>{'b'});
    md5.update(c, 1);

    EXPECT_EQ(hex(md5.digest()), digest_of_abc);
}

TEST(MD5, HashesALongStream) {
    MD5 md5;
    std::istringstream million{std::string(1000000, 'a')};

    md5.update(million);

    EXPECT_EQ(hex(md5.digest()), "7707d6ae4e027c70eea2a935c2296f21");
}

// A block has 64 bytes, of which the padding takes nine.
TEST(MD5, KnowsWhatEndsAroundABlock) {
    const std::vector<std::pair<std::size_t, std::string>> digests = {
        {55, "ef1772b6dff9a122358552954ad0df65"},  {56, "3b0c8ac703f828b04c6c197006d17218"},
        {57, "652b906d60af96844ebd21b674f35e93"},  {63, "b06521f39153d618550606be297466d5"},
        {64, "014842d480b571495a4a0363793f7367"},  {65, "c743a45e0d2e6a95cb859adae0248435"},
        {119, "8a7bd0732ed6a28ce75f6dabc90e1613"}, {120, "5f61c0ccad4cac44c75ff505e1f1e537"},
        {128, "e510683b3f5ffe4093d021808bc6ff70"},
    };
    MD5 md5;

    for (const auto& [length, digest] : digests) {
        md5.update(std::string(length, 'a'));

        EXPECT_EQ(hex(md5.digest()), digest) << length;
    }
}

TEST(MD5, PiecesOfEveryLengthAddUp) {
    const std::string text(200, 'x');
    MD5 md5;
    md5.update(text);
    const auto whole = md5.digest();

    for (std::size_t length = 1; length <= text.size(); ++length) {
        for (std::size_t begin = 0; begin < text.size(); begin += length) {
            md5.update(text.substr(begin, length));
        }

        EXPECT_EQ(md5.digest(), whole) << length;
    }
}

TEST(MD5, UpdateWithNothingChangesNothing) {
    MD5 md5;

    md5.update(std::string{"ab"});
    md5.update(std::string{});
    md5.update(std::string{"c"});

    EXPECT_EQ(hex(md5.digest()), digest_of_abc);
}

TEST(MD5, ExceptionHasItsText) {
    EXPECT_STREQ(MD5Exception{}.what(), "Failed to calculate MD5 sum");
}

TEST(HashAlgorithm, StringIsFedWithItsNulAndWithoutTerminator) {
    RecordingHash hash;

    hash.update(std::string{"a\0b", 3});

    EXPECT_THAT(hash.fed, ElementsAre('a', 0, 'b'));
}

TEST(HashAlgorithm, StreamOfOneBlockIsFollowedByAnEmptyBlock) {
    RecordingHash hash;
    std::istringstream stream{std::string(1024, 'x')};

    hash.update(stream);

    EXPECT_THAT(hash.blocks, ElementsAre(1024, 0));
}

TEST(HashAlgorithm, ShortReadAtTheEndOfTheStreamIsFed) {
    RecordingHash hash;
    std::istringstream stream{std::string(2500, 'x')};

    hash.update(stream);

    EXPECT_THAT(hash.blocks, ElementsAre(1024, 1024, 452));
}

TEST(HashAlgorithm, UnreadableStreamFeedsNoBytes) {
    RecordingHash hash;
    std::istringstream stream{"text"};
    stream.setstate(std::ios::failbit);

    hash.update(stream);
    hash.update(stream, 4);

    EXPECT_THAT(hash.fed, IsEmpty());
}

TEST(HashAlgorithm, BoundedReadStopsAtItsCount) {
    RecordingHash hash;
    std::istringstream stream{std::string(1500, 'x') + "rest"};

    hash.update(stream, 1500);

    EXPECT_THAT(hash.blocks, ElementsAre(1024, 476));
    std::string rest;
    stream >> rest;
    EXPECT_EQ(rest, "rest");
}

TEST(HashAlgorithm, BoundedReadOfNothingReadsNothing) {
    RecordingHash hash;
    std::istringstream stream{"text"};

    hash.update(stream, 0);

    EXPECT_THAT(hash.blocks, IsEmpty());
    EXPECT_EQ(stream.tellg(), 0);
}

TEST(HashAlgorithm, BoundedReadEndsWithTheStream) {
    RecordingHash hash;
    std::istringstream stream{std::string(1500, 'x')};

    hash.update(stream, 100000);

    EXPECT_EQ(hash.fed.size(), 1500U);
}

}  // namespace
}  // namespace zephran::crypto
