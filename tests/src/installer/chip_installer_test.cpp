// SPDX-License-Identifier: Apache-2.0
#include "installer/chip_installer.h"

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "chip_lock.h"
#include "common/lock_file.h"
#include "installer/exceptions.h"
#include "installer/system_command.h"
#include "support/captured_log.h"
#include "support/fake_platform.h"
#include "support/make_chunk.h"
#include "support/simulated_tools.h"
#include "support/waiting_program.h"

namespace zephran::installer {
namespace {

/// Notes whether anybody else would get the lock while it writes.
class NotingInstaller : public ChipInstaller {
public:
    explicit NotingInstaller(std::string path) : lock_path{std::move(path)} {}

    unsigned writes = 0;
    unsigned questions = 0;
    bool fails = false;
    /// Inherits the lock.
    std::string tool;
    bool was_free = false;
    bool had_descriptor = false;

protected:
    void write_chip() override {
        ++writes;
        was_free = common::LockFile{lock_path}.try_to_lock();
        had_descriptor = lock_descriptor() != -1;
        if (!tool.empty()) {
            run_required_command(tool, lock_descriptor());
        }
        if (fails) {
            ZEPHRAN_THROW(InstallationFailedException{});
        }
        set_installed();
    }
    [[nodiscard]] bool chip_is_written() override {
        ++questions;
        return ChipInstaller::chip_is_written();
    }

private:
    std::string lock_path;
};

class ChipInstallerTest : public testing::Test {
protected:
    ChipInstallerTest() {
        installer.assign(make_chunk("zw", {"zw.bin"}, "radio", "6.71"), attributes);
        installer.call_before_start([this](const auto& /*chunk*/) {
            ++checks;
            if (artifacts_have_changed) {
                ZEPHRAN_THROW(VerificationFailedException{});
            }
        });
    }

    void tick(unsigned times) {
        for (; times != 0; --times) {
            installer.tick();
        }
    }
    [[nodiscard]] bool is_free() const { return common::LockFile{path}.try_to_lock(); }
    [[nodiscard]] std::vector<std::string> waits(
        const std::string& function = "start_installation") const {
        return logged_after(" " + function + ": event=waiting ", log.text());
    }

    FakePlatform platform;
    CapturedLog log{"INFO"};
    hawkbit::Attributes attributes;
    std::string path = lock_of_chips(platform);
    common::LockFile other_tool{path};
    unsigned checks = 0;
    bool artifacts_have_changed = false;
    NotingInstaller installer{path};
};

TEST_F(ChipInstallerTest, LockIsHeldExactlyWhileTheChipIsWritten) {
    tick(1);
    EXPECT_TRUE(is_free());
    tick(1);

    EXPECT_EQ(installer.writes, 1U);
    EXPECT_FALSE(installer.was_free);
    EXPECT_TRUE(installer.had_descriptor);
    EXPECT_TRUE(is_free());
    tick(1);
    EXPECT_TRUE(installer.is_finished());
    EXPECT_EQ(installer.writes, 1U);
    EXPECT_EQ(checks, 1U);
    EXPECT_TRUE(waits().empty());
}

TEST_F(ChipInstallerTest, TellsWhetherAChipIsBeingWritten) {
    EXPECT_FALSE(is_chip_being_written());
    ASSERT_TRUE(other_tool.try_to_lock());
    EXPECT_TRUE(is_chip_being_written());
    other_tool.unlock();

    EXPECT_FALSE(is_chip_being_written());
    EXPECT_TRUE(is_free());
}

TEST_F(ChipInstallerTest, AChipMayBeBeingWrittenIfNobodyCanTell) {
    std::filesystem::create_directory(path);

    EXPECT_TRUE(is_chip_being_written());

    EXPECT_EQ(logged_after(" is_chip_being_written: event=exception_caught ", log.text()).size(),
              1U);
}

TEST_F(ChipInstallerTest, FailureReleasesTheLock) {
    installer.fails = true;

    tick(2);

    EXPECT_EQ(installer.error().error_message, "Failed to install artifacts");
    EXPECT_TRUE(is_free());
}

TEST_F(ChipInstallerTest, FailureLeavesTheLockToWhatTheToolHasLeftBehind) {
    const WaitingProgram rest;
    installer.tool = "{ " + rest.command() + "; } & kill -9 $$";

    tick(2);
    EXPECT_EQ(installer.error().error_message, "External program returned an error");
    EXPECT_FALSE(is_free());
    rest.end();

    EXPECT_TRUE(becomes_free(path));
}

TEST_F(ChipInstallerTest, SuccessReleasesTheLockWhateverTheToolHasLeftBehind) {
    const WaitingProgram rest;
    installer.tool = "{ " + rest.command() + "; } &";

    tick(2);

    EXPECT_FALSE(installer.error().has_error);
    EXPECT_TRUE(is_free());
    rest.end();
}

TEST_F(ChipInstallerTest, WaitsUntilTheLockIsFreeAndSaysSoOnce) {
    ASSERT_TRUE(other_tool.try_to_lock());

    tick(5);
    EXPECT_EQ(installer.writes, 0U);
    EXPECT_EQ(installer.questions, 0U);
    EXPECT_FALSE(installer.is_finished());
    EXPECT_FALSE(installer.error().has_error);
    other_tool.unlock();
    tick(1);

    EXPECT_EQ(installer.writes, 1U);
    EXPECT_FALSE(installer.was_free);
    EXPECT_TRUE(installer.is_finished());
    EXPECT_TRUE(is_free());
    EXPECT_EQ(waits(), std::vector<std::string>{"message=a tool is still writing a chip"});
}

TEST_F(ChipInstallerTest, ToolOfTheNextInstallationDoesNotHoldUpTheEnd) {
    tick(2);
    ASSERT_TRUE(other_tool.try_to_lock());

    tick(1);

    EXPECT_TRUE(installer.is_finished());
}

TEST_F(ChipInstallerTest, ArtifactsAreVerifiedOnceMoreAfterTheWait) {
    ASSERT_TRUE(other_tool.try_to_lock());
    tick(3);
    EXPECT_EQ(checks, 1U);
    artifacts_have_changed = true;

    other_tool.unlock();
    tick(2);

    EXPECT_EQ(checks, 2U);
    EXPECT_EQ(installer.writes, 0U);
    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_EQ(installer.error().error_message, "Flash verification failed");
    EXPECT_TRUE(is_free());
}

TEST_F(ChipInstallerTest, FailureAfterTheWaitEndsIt) {
    ASSERT_TRUE(other_tool.try_to_lock());
    tick(3);
    installer.fails = true;

    other_tool.unlock();
    tick(3);

    EXPECT_EQ(installer.writes, 1U);
    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_EQ(installer.error().error_message, "Failed to install artifacts");
    EXPECT_EQ(logged_after("message=giving up a failed installation", log.text()).size(), 1U);
}

TEST_F(ChipInstallerTest, CanBeCancelledWhileItWaits) {
    ASSERT_TRUE(other_tool.try_to_lock());
    tick(3);

    installer.cancel();
    other_tool.unlock();
    tick(2);

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_FALSE(installer.error().has_error);
    EXPECT_EQ(installer.writes, 0U);
}

TEST_F(ChipInstallerTest, NothingIsWrittenWithoutALock) {
    std::filesystem::create_directory(path);

    tick(3);

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_EQ(installer.error().error_message, "Failed to open file for writing");
    EXPECT_EQ(installer.error().error_details, "filename: " + path);
    EXPECT_EQ(installer.writes, 0U);
}

TEST_F(ChipInstallerTest, ResumedInstallationIsNotStarted) {
    installer.resume();

    tick(3);

    EXPECT_EQ(installer.writes, 0U);
    EXPECT_FALSE(installer.is_finished());
    EXPECT_EQ(installer.questions, 3U);
    EXPECT_TRUE(is_free());
}

TEST_F(ChipInstallerTest, ResultOfAResumedOneIsAskedForOnceItsToolHasEnded) {
    ASSERT_TRUE(other_tool.try_to_lock());
    installer.resume();

    tick(3);
    EXPECT_EQ(installer.questions, 0U);
    EXPECT_FALSE(installer.error().has_error);
    other_tool.unlock();
    tick(1);

    EXPECT_EQ(installer.questions, 1U);
    EXPECT_TRUE(is_free());
    EXPECT_EQ(waits("installation_has_finished"),
              std::vector<std::string>{"message=a tool is still writing a chip"});
}

TEST_F(ChipInstallerTest, ToolThatStartsLaterDoesNotHoldUpAResumedOne) {
    installer.resume();
    tick(1);
    ASSERT_TRUE(other_tool.try_to_lock());

    tick(1);

    EXPECT_EQ(installer.questions, 2U);
}

TEST_F(ChipInstallerTest, ResumedOneWhoseToolStillWritesCannotBeCancelled) {
    ASSERT_TRUE(other_tool.try_to_lock());
    installer.resume();
    tick(1);

    installer.cancel();
    tick(2);

    EXPECT_FALSE(installer.is_cancelled());
    EXPECT_EQ(installer.error().error_message, "Installation cannot be cancelled");
    other_tool.unlock();
    tick(1);
    EXPECT_EQ(installer.questions, 1U);
}

}  // namespace
}  // namespace zephran::installer
