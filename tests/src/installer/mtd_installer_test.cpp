// SPDX-License-Identifier: Apache-2.0
#include "mtd_installer_test.h"

#include <functional>

#include <unistd.h>

#include "chip_lock.h"

namespace {

std::function<void()> on_sync;

}  // namespace

// In the place of the system's.

extern "C" void sync() noexcept {
    if (on_sync) {
        on_sync();
    }
}

namespace zephran::installer {
namespace {

TEST(MTDInstallerContext, AllowsNoAttemptUntilItSaysHowMany) {
    EXPECT_EQ(InstallerContext{}.mtd_write_attempts, 0U);
}

TEST_F(MTDInstallerTest, PartitionIsErasedWrittenAndRecorded) {
    start();
    EXPECT_FALSE(installer->is_finished());
    installer->tick();

    EXPECT_TRUE(installer->is_finished());
    EXPECT_EQ(gateway.read("dev/mtd1"), image + erased.substr(image.size()));
    EXPECT_EQ(executed(), (Lines{erase_command(), write_command()}));
    EXPECT_EQ(tools.calls(), executed());
    EXPECT_EQ(HawkbitInstaller::get_installed_version("bl"), "3.4");
}

TEST_F(MTDInstallerTest, ItIsSaidOnceAndBeforeTheFirstErase) {
    write_with("[ $call -gt 1 ] || exit 1");

    start();

    EXPECT_EQ(calls_before_overwriting, std::vector<std::size_t>{0});
}

TEST_F(MTDInstallerTest, NothingIsSaidOfAPartitionThatIsLeftAlone) {
    gateway.write("dev/mtd1", image);
    start();
    gateway.write("dev/mtd1", "another loader");
    gateway.write("mtd/mtd1/size", "1\n");
    start();

    EXPECT_TRUE(calls_before_overwriting.empty());
}

TEST_F(MTDInstallerTest, EveryToolHoldsTheLock) {
    erase_with(held_lock(platform));
    write_with(held_lock(platform) + "\n[ $call -gt 1 ] || exit 1");

    start();

    const std::string held = lock_of_chips(platform) + "\n";
    EXPECT_EQ(platform.directory.read("held"), held + held + held + held);
}

TEST_F(MTDInstallerTest, WrittenPartitionIsSyncedBeforeItIsReadBack) {
    std::vector<std::string> synced;
    on_sync = [&] {
        synced.push_back(gateway.read("dev/mtd1"));
        gateway.write("dev/mtd1", "what the chip really holds");
    };

    start();
    installer->tick();
    on_sync = nullptr;

    EXPECT_EQ(synced, Lines{image + erased.substr(image.size())});
    EXPECT_TRUE(installer->is_cancelled());
}

TEST_F(MTDInstallerTest, PartitionThatHoldsTheImageIsSkipped) {
    gateway.write("dev/mtd1", image + "rest of the partition");
    std::filesystem::remove(gateway.path("mtd/mtd1/erasesize"));

    start();
    installer->tick();

    EXPECT_TRUE(installer->is_finished());
    EXPECT_EQ(tools.calls(), Lines{});
    const std::string skipped =
        "start_installation: event=skip_installation "
        "message=artifact is identical to flashed content";
    EXPECT_EQ(logged_after(skipped, log.text()), Lines{""});
    EXPECT_EQ(HawkbitInstaller::get_installed_version("bl"), "3.4");
}

TEST_F(MTDInstallerTest, PartitionThatHoldsOnlyTheBeginningOfTheImageIsWritten) {
    gateway.write("dev/mtd1", image.substr(0, image.size() - 1));

    start();

    EXPECT_EQ(tools.calls(), (Lines{erase_command(), write_command()}));
}

TEST_F(MTDInstallerTest, UnreadableDeviceIsErasedAndWritten) {
    std::filesystem::remove(device);

    start();
    installer->tick();

    EXPECT_TRUE(installer->is_finished());
    EXPECT_EQ(tools.calls(), (Lines{erase_command(), write_command()}));
}

TEST_F(MTDInstallerTest, PartitionIsTheOneOfTheContext) {
    InstallerContext context;
    context.bootloader_mtd = "zephran-test-has-no-such-partition";
    const auto created = MTDInstaller::create(context);
    created->assign(make_image_chunk("bl", "boot.bin", image), attributes);

    created->tick();
    created->tick();

    EXPECT_EQ(created->error().error_details,
              "filename: /sys/class/mtd/zephran-test-has-no-such-partition/erasesize");
}

TEST(MTDInstallerEnvironment, AreThoseOfTheSystem) {
    EXPECT_EQ(MTDInstaller::Environment{}.device_directory, "/dev/");
    EXPECT_EQ(MTDInstaller::Environment{}.partition_directory, "/sys/class/mtd/");
}

}  // namespace
}  // namespace zephran::installer
