// SPDX-License-Identifier: Apache-2.0
#include "installer/file_md5.h"

#include <gtest/gtest.h>

#include "crypto/md5.h"
#include "support/temporary_directory.h"

namespace zephran::installer {
namespace {

std::vector<std::uint8_t> digest_of(const std::string& text) {
    crypto::MD5 md5;
    md5.update(text);
    return md5.digest();
}

class FileMd5 : public testing::Test {
protected:
    FileMd5() { directory.write("file", "abcdef"); }

    TemporaryDirectory directory;
};

TEST_F(FileMd5, CoversTheFirstBytesOnly) {
    EXPECT_EQ(get_file_md5(directory.path("file"), 3), digest_of("abc"));
}

TEST_F(FileMd5, SizeBeyondTheEndCoversTheWholeFile) {
    EXPECT_EQ(get_file_md5(directory.path("file"), 1000), digest_of("abcdef"));
}

TEST_F(FileMd5, SizeZeroCoversNothing) {
    EXPECT_EQ(get_file_md5(directory.path("file"), 0), digest_of(""));
}

TEST_F(FileMd5, MissingFileGivesTheDigestOfNothing) {
    EXPECT_EQ(get_file_md5(directory.path("missing"), 1000), digest_of(""));
}

}  // namespace
}  // namespace zephran::installer
