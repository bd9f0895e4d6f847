// SPDX-License-Identifier: Apache-2.0
#include "common/uri.h"

#include <gtest/gtest.h>

namespace zephran::common {
namespace {

TEST(URI, SplitsAllFivePartsAndComposesThemAgain) {
    const std::string text = "https://host.example:8443/a/b;c?x=1&y=2#part";

    const URI uri{text};

    EXPECT_EQ(uri.scheme(), "https");
    EXPECT_EQ(uri.authority(), "host.example:8443");
    EXPECT_EQ(uri.path(), "/a/b;c");
    EXPECT_EQ(uri.query(), "x=1&y=2");
    EXPECT_EQ(uri.fragment(), "part");
    EXPECT_EQ(uri.str(), text);
    EXPECT_EQ(static_cast<std::string>(uri), text);
}

TEST(URI, RelativePathIsThePathAlone) {
    const URI uri{"some/relative.file"};

    EXPECT_EQ(uri.scheme(), "");
    EXPECT_EQ(uri.authority(), "");
    EXPECT_EQ(uri.path(), "some/relative.file");
    EXPECT_EQ(uri.str(), "some/relative.file");
}

TEST(URI, EmptyQueryIsNotWrittenBack) {
    EXPECT_EQ(URI{"http://host/path?"}.str(), "http://host/path");
}

TEST(URI, EmptyFragmentIsNotWrittenBack) {
    EXPECT_EQ(URI{"http://host/path?q#"}.str(), "http://host/path?q");
}

TEST(URI, ComposesWhatItParsed) {
    for (const char* const text :
         {"", "/", "//host", "http:", "http:path", "?query", "#fragment", "a?b?c#d#e",
          "http://[::1]:80/", "https://user@host/%20?q=a/b", "line\nend", "http:////host/path",
          "////path", "http://host//path"}) {
        EXPECT_EQ(URI{text}.str(), text);
    }
}

TEST(URI, PathOfTwoSlashesDoesNotBecomeAnAuthority) {
    const URI uri{"https:////host/path"};

    const URI again{uri.str()};

    EXPECT_EQ(uri.authority(), "");
    EXPECT_EQ(uri.path(), "//host/path");
    EXPECT_EQ(again.authority(), "");
    EXPECT_EQ(again.path(), "//host/path");
}

TEST(URI, IsConvertedToItsTextWhereverATextIsExpected) {
    const std::string text = URI{"http://host/path"};

    EXPECT_EQ(text, "http://host/path");
}

TEST(URI, IsEmptyOnlyWithoutAnyPart) {
    EXPECT_TRUE(URI{}.empty());
    EXPECT_TRUE(URI{""}.empty());
    for (const char* const text : {"http:", "//host", "path", "?query", "#fragment"}) {
        EXPECT_FALSE(URI{text}.empty()) << text;
    }
}

TEST(URI, RefusesATextWithANulCharacter) {
    const std::string text{"http://host/a\0b", 15};

    try {
        const URI uri{text};
        FAIL() << "accepted as " << uri.str();
    } catch (const InvalidURIFormatException& e) {
        EXPECT_STREQ(e.what(), "Invalid URI format");
        ASSERT_NE(boost::get_error_info<uri_tag>(e), nullptr);
        EXPECT_EQ(*boost::get_error_info<uri_tag>(e), text);
    }
}

TEST(URI, QueryIsReplacedInACopy) {
    const URI uri{"http://host/path?old#part"};

    EXPECT_EQ(uri.with_query("new=1").str(), "http://host/path?new=1#part");
    EXPECT_EQ(uri.with_query("").str(), "http://host/path#part");
    EXPECT_EQ(uri.str(), "http://host/path?old#part");
}

TEST(URI, SuffixIsAppendedToThePath) {
    const URI uri{"http://host/path?query#part"};

    EXPECT_EQ(uri.with_path_suffix("/feedback").str(), "http://host/path/feedback?query#part");
    EXPECT_EQ(uri.path(), "/path");
}

}  // namespace
}  // namespace zephran::common
