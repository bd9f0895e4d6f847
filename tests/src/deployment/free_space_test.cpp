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

    EXPECT_LE(free_space(directory.path()), std::uint64_t{status.f_blocks} * status.f_frsize);
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
