// SPDX-License-Identifier: Apache-2.0
#include "deployment/resume_record.h"

#include <gtest/gtest.h>

namespace zephran {
namespace {

const ResumeRecord written{"/a/b?c=d", 2'147'483'647, "sha256:00ff", "un\"quoted\\"};

TEST(ResumeRecord, IsReadAsItWasWritten) {
    const auto read = ResumeRecord::from_text(written.to_text());

    ASSERT_TRUE(read);
    EXPECT_EQ(read->address, written.address);
    EXPECT_EQ(read->size, written.size);
    EXPECT_EQ(read->digest, written.digest);
    EXPECT_EQ(read->entity_tag, written.entity_tag);
}

TEST(ResumeRecord, NewOneIsOfNoBytes) {
    EXPECT_EQ(ResumeRecord{}.size, 0U);
}

TEST(ResumeRecord, ThatWasCutOffIsNone) {
    const std::string text = written.to_text();
    const std::size_t end = text.rfind('}');
    for (std::size_t length = 0; length <= end; ++length) {
        EXPECT_FALSE(ResumeRecord::from_text(text.substr(0, length))) << length;
    }
}

TEST(ResumeRecord, OfAnotherVersionIsNone) {
    std::string text = written.to_text();
    const auto version =
        text.find(": 1") == std::string::npos ? text.rfind('1') : text.find(": 1") + 2;
    text[version] = '2';

    EXPECT_FALSE(ResumeRecord::from_text(text));
}

TEST(ResumeRecord, OfOtherTypesIsNone) {
    for (const char* const text :
         {"[]", "5", "null", R"({"version": "1"})",
          R"({"version": 1, "address": 1, "size": 1, "digest": "", "etag": "a"})",
          R"({"version": 1, "address": "", "size": "1", "digest": "", "etag": "a"})",
          R"({"version": 1, "address": "", "size": 1, "digest": "", "etag": ""})"}) {
        EXPECT_FALSE(ResumeRecord::from_text(text)) << text;
    }
}

TEST(ResumeRecord, NegativeSizeIsThatOfNoFileWithBytes) {
    const auto read = ResumeRecord::from_text(
        R"({"version": 1, "address": "", "size": -1, "digest": "", "etag": "a"})");

    ASSERT_TRUE(read);
    EXPECT_EQ(read->size, 0U);
}

TEST(ResumeRecord, IsAboutTheSameFileIfAddressSizeAndSumAreTheSame) {
    ResumeRecord other = written;
    other.entity_tag = "another";
    EXPECT_TRUE(written.is_about_same_file(other));

    for (auto* const text : {&other.address, &other.digest}) {
        const std::string before = *text;
        *text += "x";
        EXPECT_FALSE(written.is_about_same_file(other)) << *text;
        *text = before;
    }
    other.size += 1;
    EXPECT_FALSE(written.is_about_same_file(other));
}

TEST(EntityTag, IsStrongIfItStandsForTheVeryBytes) {
    EXPECT_TRUE(is_strong_tag("\"quoted\""));
    EXPECT_TRUE(is_strong_tag("2fd4e1c67a2d28fced849ee1bb76e7391b93eb12"));
    EXPECT_FALSE(is_strong_tag(""));
    EXPECT_FALSE(is_strong_tag("W/\"weak\""));
    EXPECT_FALSE(is_strong_tag("with blank"));
    EXPECT_FALSE(is_strong_tag("line\r\nend"));
    EXPECT_FALSE(is_strong_tag("\xc3\xa4"));
    EXPECT_FALSE(is_strong_tag("delete\x7f"));
}

}  // namespace
}  // namespace zephran
