// SPDX-License-Identifier: Apache-2.0
#include "installer/exceptions.h"

#include <gtest/gtest.h>

namespace zephran::installer {
namespace {

TEST(InstallerExceptions, StartWithoutARecordHasItsText) {
    EXPECT_STREQ(InstallationNotRecordedException{}.what(),
                 "The start of the installation could not be recorded");
}

}  // namespace
}  // namespace zephran::installer
