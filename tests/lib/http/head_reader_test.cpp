// SPDX-License-Identifier: Apache-2.0
#include "http/head_reader.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zephran::http {
namespace {

/// Whether each line has ended the head.
std::vector<bool> read_lines(HeadReader& reader, const std::vector<std::string>& lines) {
    std::vector<bool> ended;
    ended.reserve(lines.size());
    for (const std::string& line : lines) {
        ended.push_back(reader.add(line + "\r\n"));
    }
    return ended;
}

TEST(HeadReader, TakesWhatADownloadNeeds) {
    HeadReader reader;

    const auto ended = read_lines(
        reader, {"HTTP/1.1 206 Partial Content", "etag:  \"a b\" ", "Content-Range: bytes 1-2/3",
                 "RETRY-AFTER: 7", "ETagged: no", "no header", ""});

    EXPECT_EQ(ended, (std::vector<bool>{false, false, false, false, false, false, true}));
    EXPECT_EQ(reader.head().status, 206U);
    EXPECT_EQ(reader.head().entity_tag, "\"a b\"");
    EXPECT_EQ(reader.head().content_range, "bytes 1-2/3");
    EXPECT_EQ(reader.head().retry_after, "7");
}

TEST(HeadReader, AnswerWithoutAStatusHasNone) {
    HeadReader reader;

    EXPECT_FALSE(reader.add("HTTP/1.1\r\n"));

    EXPECT_EQ(reader.head().status, 0U);
}

TEST(HeadReader, NeedsNeitherCarriageReturnsNorBlanks) {
    HeadReader reader;

    EXPECT_FALSE(reader.add("HTTP/1.1 200 OK\n"));
    EXPECT_FALSE(reader.add("ETag:a\n"));
    EXPECT_TRUE(reader.add("\n"));
    EXPECT_EQ(reader.head().entity_tag, "a");
}

TEST(HeadReader, NameWithoutAColonIsNoHeader) {
    HeadReader reader;

    EXPECT_FALSE(reader.add("ETag"));
    EXPECT_EQ(reader.head().entity_tag, "");
}

TEST(HeadReader, ReadsTheShortStatusLineOfHttp2) {
    HeadReader reader;

    read_lines(reader, {"HTTP/2 503 ", ""});

    EXPECT_EQ(reader.head().status, 503U);
}

TEST(HeadReader, ForgetsAnInterimAnswer) {
    HeadReader reader;

    const auto ended =
        read_lines(reader, {"HTTP/1.1 103 Early Hints", "ETag: early", "", "HTTP/1.1 200 OK", ""});

    EXPECT_EQ(ended, (std::vector<bool>{false, false, false, false, true}));
    EXPECT_EQ(reader.head().entity_tag, "");
}

TEST(HeadReader, TrailersChangeNothing) {
    HeadReader reader;

    read_lines(reader, {"HTTP/1.1 200 OK", "ETag: one", ""});
    const auto ended = read_lines(reader, {"ETag: two", ""});

    EXPECT_EQ(ended, (std::vector<bool>{false, false}));
    EXPECT_EQ(reader.head().entity_tag, "one");
}

}  // namespace
}  // namespace zephran::http
