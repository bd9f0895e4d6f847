// SPDX-License-Identifier: Apache-2.0
#include "deployment/free_space.h"

#include <limits>

#include <gtest/gtest.h>
#include <sys/statvfs.h>

#include "hawkbit/exceptions.h"
#include "support/temporary_directory.h"

namespace zephran {
namespace {

TEST(FreeSpace, OfADirectoryIsThatOfItsFileSystem) {
    const TemporaryDirectory directory;
    struct statvfs status {};
    ASSERT_EQ(::statvfs(directory.path().c_str(), &status), 0);
    const std::uint64_t available = std::uint64_t{status.f_bavail} * status.f_frsize;

    // Others may write meanwhile.
    EXPECT_GE(free_space(directory.path()), available / 2);
    EXPECT_LE(free_space(directory.path()) / 2, available);
}

TEST(FreeSpace, OfAMissingDirectoryIsLeftToTheDownload) {
    EXPECT_EQ(free_space("/no/such/directory"), std::numeric_limits<std::uint64_t>::max());
}

TEST(FreeSpace, MayBeJustEnough) {
    EXPECT_NO_THROW(require_space(5, 5));
}

TEST(FreeSpace, LackIsDescribed) {
    try {
        require_space(6, 5);
        FAIL() << "nothing was thrown";
    } catch (const hawkbit::NotEnoughSpaceException& error) {
        EXPECT_STREQ(error.what(), "Not enough space for the artifact");
        EXPECT_EQ(common::describe_records(error), "needed: 6\navailable: 5");
    }
}

}  // namespace
}  // namespace zephran
