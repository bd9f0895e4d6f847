// SPDX-License-Identifier: Apache-2.0
// A separate program: the registry of a process that has registered an installer is never empty.
#include <gtest/gtest.h>

#include "installer/hawkbit_installer.h"
#include "installer/installer_factory.h"
#include "support/captured_log.h"
#include "support/make_chunk.h"

namespace zephran {

namespace {

TEST(EmptyInstallerFactory, ReportsThatItIsEmpty) {
    const CapturedLog log;

    InstallerFactory::report();

    EXPECT_NE(log.text().find(" ERROR installer_factory.cpp:"), std::string::npos) << log.text();
    EXPECT_NE(log.text().find("action=factory_report message=no registered installers\n"),
              std::string::npos)
        << log.text();
}

TEST(EmptyInstallerFactory, SupportsNoPart) {
    EXPECT_THROW((void)InstallerFactory::create_installer("os", {}), UnsupportedPartException);
}

TEST(EmptyInstallerFactory, KeepsTheOrderOfChunks) {
    const auto ordered = InstallerFactory::reorder_chunks({make_chunk("opkg"), make_chunk("os")});

    ASSERT_EQ(ordered.size(), 2U);
    EXPECT_EQ(ordered[0].part(), "opkg");
}

TEST(EmptyInstallerFactory, HasNothingToDisable) {
    InstallerFactory::disable_installer("os");

    EXPECT_THROW((void)InstallerFactory::create_installer("os", {}), UnsupportedPartException);
}

}  // namespace

}  // namespace zephran
