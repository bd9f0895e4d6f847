// SPDX-License-Identifier: Apache-2.0
#include "installer/mtd_installer.h"

#include <chrono>
#include <functional>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "chip_lock.h"
#include "support/captured_log.h"
#include "support/fake_platform.h"
#include "support/image_chunk.h"
#include "support/noted_pauses.h"
#include "support/simulated_tools.h"
#include "support/waiting_program.h"

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

using Lines = std::vector<std::string>;

const std::string image = "boot loader\n";
// The content of the file that simulates the partition after an erase.
const std::string erased(20, '\xFF');

class MTDInstallerTest : public testing::Test {
protected:
    MTDInstallerTest() {
        platform.directory.write("boot.bin", image);
        gateway.write("dev/mtd1", "old loader and what follows it");
        gateway.write("mtd/mtd1/erasesize", "65536\n");
        erase_with("");
        write_with("");
    }

    /// @param script runs before the partition is erased, and may end the tool
    void erase_with(const std::string& script) const {
        tools.add("flash_erase", script + "\nhead -c " + std::to_string(erased.size()) +
                                     R"( /dev/zero | tr '\0' '\377' >"$1")");
    }
    /// @param script runs before the image is written, and may end the tool
    void write_with(const std::string& script) const {
        tools.add("dd", script + "\ndd \"$@\" conv=notrunc 2>/dev/null");
    }
    /// Takes the steps that check and start the installation.
    void start(std::uint32_t attempts = 5) {
        installer = std::make_unique<MTDInstaller>(
            "mtd1", attempts,
            MTDInstaller::Environment{gateway.path("dev") + "/", gateway.path("mtd") + "/"},
            required_label);
        installer->assign(make_image_chunk("bl", "boot.bin", image, "3.4"), attributes);
        installer->call_before_overwriting(
            [this](const auto&) { calls_before_overwriting.push_back(tools.calls().size()); });
        installer->tick();
        installer->tick();
    }
    [[nodiscard]] std::string erase_command() const { return "flash_erase " + device + " 0 0"; }
    [[nodiscard]] std::string write_command() const {
        return "dd if=" + platform.temp_directory + "boot.bin of=" + device + " bs=65536";
    }
    [[nodiscard]] Lines executed() const {
        return logged_after("start_installation: event=executing command=", log.text());
    }
    void expect_failure(const std::string& message) {
        installer->tick();
        EXPECT_TRUE(installer->is_cancelled());
        EXPECT_FALSE(installer->is_finished());
        EXPECT_EQ(installer->error().error_message, message);
        EXPECT_EQ(HawkbitInstaller::get_installed_version("bl"), "");
    }

    FakePlatform platform;
    CapturedLog log{"INFO"};
    SimulatedTools tools;
    TemporaryDirectory gateway;
    std::string device = gateway.path("dev/mtd1");
    hawkbit::Attributes attributes;
    std::optional<std::string> required_label;
    std::vector<std::size_t> calls_before_overwriting;
    std::unique_ptr<MTDInstaller> installer;
};

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

TEST_F(MTDInstallerTest, ImageLargerThanThePartitionIsRefusedBeforeTheErase) {
    const std::string content = gateway.read("dev/mtd1");
    gateway.write("mtd/mtd1/size", std::to_string(image.size() - 1) + "\n");

    start();

    expect_failure("Image is larger than the partition");
    EXPECT_EQ(installer->error().error_details,
              "filename: " + device + "\nimage_size: 12\npartition_size: 11");
    EXPECT_EQ(tools.calls(), Lines{});
    EXPECT_EQ(gateway.read("dev/mtd1"), content);
}

TEST_F(MTDInstallerTest, PartitionWithoutRoomTakesNoImage) {
    gateway.write("mtd/mtd1/size", "0\n");

    start();

    expect_failure("Image is larger than the partition");
    EXPECT_EQ(tools.calls(), Lines{});
}

TEST_F(MTDInstallerTest, FileLargerThanThePartitionIsRefusedWhateverSizeWasAnnounced) {
    platform.directory.write("boot.bin", image + "more");
    gateway.write("mtd/mtd1/size", std::to_string(image.size()) + "\n");

    start();

    expect_failure("Image is larger than the partition");
    EXPECT_EQ(tools.calls(), Lines{});
}

TEST_F(MTDInstallerTest, AnnouncedSizeLargerThanThePartitionIsRefusedWhateverTheFileHas) {
    platform.directory.write("boot.bin", "short");
    gateway.write("mtd/mtd1/size", std::to_string(image.size() - 1) + "\n");

    start();

    expect_failure("Image is larger than the partition");
    EXPECT_EQ(tools.calls(), Lines{});
}

TEST_F(MTDInstallerTest, ImageAsLargeAsThePartitionIsWritten) {
    gateway.write("mtd/mtd1/size", std::to_string(image.size()) + "\n");

    start();

    EXPECT_EQ(tools.calls(), (Lines{erase_command(), write_command()}));
}

TEST_F(MTDInstallerTest, UnreadableSizeOfThePartitionLimitsNothing) {
    Lines expected;
    for (const char* const content : {"", "\n", "unknown\n", "5 blocks\n", "-1\n"}) {
        gateway.write("mtd/mtd1/size", content);
        gateway.write("dev/mtd1", "another loader");

        start();

        expected.insert(expected.end(), {erase_command(), write_command()});
        EXPECT_EQ(tools.calls(), expected) << content;
    }
}

TEST_F(MTDInstallerTest, PartitionWithAnotherLabelIsNotErased) {
    const std::string content = gateway.read("dev/mtd1");
    required_label = "u-boot";
    for (const char* const label : {"rootfs\n", "u-boot-env\n", "u-boo\n", "\nu-boot\n", ""}) {
        gateway.write("mtd/mtd1/name", label);

        start();

        expect_failure("Flash partition has another label than configured");
        EXPECT_EQ(tools.calls(), Lines{}) << label;
    }
    EXPECT_EQ(gateway.read("dev/mtd1"), content);
}

TEST_F(MTDInstallerTest, BothLabelsAreReported) {
    required_label = "u-boot";
    gateway.write("mtd/mtd1/name", "rootfs\n");

    start();

    EXPECT_EQ(installer->error().error_details,
              "filename: " + device + "\nexpected_label: u-boot\nfound_label: rootfs");
}

TEST_F(MTDInstallerTest, PartitionWhoseLabelCannotBeReadIsNotErased) {
    required_label = "u-boot";

    start();

    expect_failure("Flash partition has another label than configured");
    EXPECT_EQ(tools.calls(), Lines{});
}

TEST_F(MTDInstallerTest, PartitionWithTheRequiredLabelIsWritten) {
    required_label = "u-boot";
    gateway.write("mtd/mtd1/name", "u-boot\n");

    start();

    EXPECT_EQ(tools.calls(), (Lines{erase_command(), write_command()}));
}

TEST_F(MTDInstallerTest, EraseSizeIsTheUnchangedFirstLine) {
    gateway.write("mtd/mtd1/erasesize", "64k\nsecond line");

    start();

    const std::string with_size = "dd if=" + platform.temp_directory + "boot.bin of=" + device;
    EXPECT_EQ(executed(), (Lines{erase_command(), with_size + " bs=64k"}));
    installer->tick();
    EXPECT_TRUE(installer->is_finished());
}

TEST_F(MTDInstallerTest, MissingEraseSizeStopsItBeforeTheErase) {
    std::filesystem::remove(gateway.path("mtd/mtd1/erasesize"));

    start();

    expect_failure("Failed to open file for reading");
    EXPECT_EQ(installer->error().error_details, "filename: " + gateway.path("mtd/mtd1/erasesize"));
    EXPECT_EQ(tools.calls(), Lines{});
}

TEST_F(MTDInstallerTest, EmptyEraseSizeStopsItBeforeTheErase) {
    for (const char* const content : {"", "\n", "\n65536\n"}) {
        gateway.write("mtd/mtd1/erasesize", content);

        start();

        expect_failure("Failed to read from file");
        EXPECT_EQ(installer->error().error_details,
                  "filename: " + gateway.path("mtd/mtd1/erasesize"));
        EXPECT_EQ(tools.calls(), Lines{});
    }
}

TEST_F(MTDInstallerTest, UnreadableEraseSizeStopsItBeforeTheErase) {
    std::filesystem::remove(gateway.path("mtd/mtd1/erasesize"));
    std::filesystem::create_directory(gateway.path("mtd/mtd1/erasesize"));

    start();

    expect_failure("Failed to read from file");
    EXPECT_EQ(tools.calls(), Lines{});
}

TEST_F(MTDInstallerTest, FailedFirstEraseIsAnError) {
    erase_with("exit 1");

    start();

    expect_failure("External program returned an error");
    EXPECT_EQ(installer->error().error_details,
              "popen_command: " + erase_command() + "\nprogram_exit_code: 1");
    EXPECT_EQ(tools.calls(), Lines{erase_command()});
}

TEST_F(MTDInstallerTest, FailedWriteIsRepeatedAfterAnErase) {
    write_with("[ $call -gt 2 ] || exit 1");

    start();
    installer->tick();

    EXPECT_TRUE(installer->is_finished());
    EXPECT_EQ(executed(), (Lines{erase_command(), write_command(), erase_command(), write_command(),
                                 erase_command(), write_command()}));
    EXPECT_EQ(tools.calls(), executed());
}

TEST_F(MTDInstallerTest, FailedEraseInBetweenOnlySkipsTheWrite) {
    erase_with("[ $call -ne 2 ] && [ $call -ne 3 ] || exit 1");
    write_with("[ $call -gt 1 ] || exit 1");

    start(4);
    installer->tick();

    EXPECT_TRUE(installer->is_finished());
    EXPECT_EQ(executed(), (Lines{erase_command(), write_command(), erase_command(), erase_command(),
                                 erase_command(), write_command()}));
    EXPECT_EQ(tools.calls(), executed());
}

TEST_F(MTDInstallerTest, SkippedWriteIsAnAttempt) {
    erase_with("[ $call -eq 1 ] || exit 1");
    write_with("exit 1");

    start(3);

    expect_failure("Failed to install artifacts");
    EXPECT_EQ(tools.calls(), (Lines{erase_command(), write_command(), erase_command(),
                                    erase_command(), erase_command()}));
}

TEST_F(MTDInstallerTest, GivesUpAfterTheLastAttemptWithThePartitionErased) {
    constexpr std::uint32_t attempts = 20;
    write_with("exit 1");

    start(attempts);

    expect_failure("Failed to install artifacts");
    EXPECT_EQ(installer->error().error_details, "filename: " + device);
    Lines expected{erase_command()};
    for (std::uint32_t attempt = 0; attempt < attempts; ++attempt) {
        expected.push_back(write_command());
        expected.push_back(erase_command());
    }
    EXPECT_EQ(tools.calls(), expected);
    EXPECT_EQ(gateway.read("dev/mtd1"), erased);
}

TEST_F(MTDInstallerTest, PausesBetweenTheAttempts) {
    constexpr std::uint32_t attempts = 20;
    write_with("exit 1");
    const NotedPauses pauses;

    start(attempts);

    EXPECT_EQ(pauses.all(),
              std::vector<std::chrono::nanoseconds>(attempts, std::chrono::milliseconds{10}));
}

TEST_F(MTDInstallerTest, NoAttemptsLeaveThePartitionErased) {
    start(0);

    expect_failure("Failed to install artifacts");
    EXPECT_EQ(tools.calls(), Lines{erase_command()});
}

TEST_F(MTDInstallerTest, NothingIsStartedBesideAToolThatOutlivesItsShell) {
    const WaitingProgram rest;
    write_with("{ " + rest.command() + "; } & kill -9 $$");

    start(100);

    EXPECT_EQ(installer->error().error_message, "Failed to install artifacts");
    EXPECT_EQ(tools.calls().size(), 2U);
    rest.end();
    EXPECT_TRUE(becomes_free(lock_of_chips(platform)));
}

TEST_F(MTDInstallerTest, PartitionThatReadsBackDifferentlyIsAnError) {
    tools.add("dd", "echo 'boot loadeR' >\"${2#of=}\"");

    start();

    expect_failure("Flash verification failed");
    EXPECT_EQ(installer->error().error_details, "filename: " + device);
    EXPECT_EQ(gateway.read("dev/mtd1"), "boot loadeR\n");
    EXPECT_EQ(tools.calls(), (Lines{erase_command(), write_command()}));
}

TEST_F(MTDInstallerTest, MissingAndKilledToolsAreFailures) {
    tools.add("dd", "kill -9 $$");
    start(1);
    expect_failure("Failed to install artifacts");

    tools.remove("dd");
    start(1);
    expect_failure("Failed to install artifacts");

    tools.add("flash_erase", "kill -9 $$");
    start(1);
    expect_failure("External program returned an error");

    tools.remove("flash_erase");
    start(1);
    expect_failure("External program returned an error");
    EXPECT_EQ(installer->error().error_details,
              "popen_command: " + erase_command() + "\nprogram_exit_code: 127");
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
