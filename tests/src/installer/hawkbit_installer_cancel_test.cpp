// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "installer/hawkbit_installer.h"
#include "support/installer_test.h"

namespace zephran {
namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using CancelledInstaller = test::InstallerTest;

TEST_F(CancelledInstaller, RunsUpToTheTimeLimit) {
    start_installing();
    steady_time += seconds{7200} - nanoseconds{1};

    tick();

    EXPECT_THAT(installer.calls, ElementsAre("finished?"));
    EXPECT_FALSE(installer.error().has_error);
}

TEST_F(CancelledInstaller, FinishingAtTheTimeLimitIsASuccess) {
    start_installing();
    steady_time += seconds{7200};
    installer.installed = true;

    tick();

    EXPECT_TRUE(installer.is_finished());
    EXPECT_FALSE(installer.error().has_error);
}

TEST_F(CancelledInstaller, IsCancelledAtTheTimeLimit) {
    start_installing();
    steady_time += seconds{7200};

    tick();

    EXPECT_THAT(installer.calls, ElementsAre("finished?", "cancel"));
    EXPECT_EQ(installer.error().error_message,
              "Exceeded the time limit waiting for the installation to finish");
    EXPECT_FALSE(installer.is_cancelled());
    tick(2);
    EXPECT_FALSE(installer.is_cancelled());
    installer.cancellation_done = true;
    tick();
    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_FALSE(installer.is_finished());
    EXPECT_THAT(platform.config.writes, IsEmpty());
}

TEST_F(CancelledInstaller, EndsAtTheTimeLimitEvenIfItCannotBeCancelled) {
    installer.can_be_cancelled = false;
    start_installing();
    steady_time += seconds{7200};

    tick();
    EXPECT_THAT(installer.calls, ElementsAre("finished?", "cancel"));
    EXPECT_FALSE(installer.is_cancelled());
    tick();

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_EQ(installer.error().error_message,
              "Exceeded the time limit waiting for the installation to finish");
    EXPECT_THAT(log.text(), AllOf(HasSubstr("Installation cannot be cancelled"),
                                  HasSubstr(" message=giving up a failed installation\n")));
}

TEST_F(CancelledInstaller, EndsAfterAVersionMismatchEvenIfItCannotBeCancelled) {
    installer.can_be_cancelled = false;
    installer.version_mismatch = true;
    start_installing();

    tick();
    EXPECT_THAT(installer.calls, ElementsAre("finished?", "cancel"));
    tick();

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_FALSE(installer.is_finished());
    EXPECT_EQ(installer.error().error_message, "Installed version differs");
    EXPECT_THAT(platform.config.writes, IsEmpty());
}

TEST_F(CancelledInstaller, FailureThatCannotBeCancelledWaitsForNoCancellation) {
    installer.can_be_cancelled = false;
    installer.version_mismatch = true;
    start_installing();

    tick();
    installer.cancel();
    EXPECT_FALSE(installer.is_cancelled());
    tick(2);

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_THAT(installer.calls, ElementsAre("finished?", "cancel"));
}

TEST_F(CancelledInstaller, CancellationThatFailsIsAnErrorAndIsStillAwaited) {
    start_installing();
    installer.cancel();
    installer.cancellation_fails = true;

    tick();

    EXPECT_EQ(installer.error().error_message, "Failed to cancel installation");
    EXPECT_FALSE(installer.is_cancelled());
    EXPECT_FALSE(installer.is_finished());
    installer.cancellation_fails = false;
    tick();
    EXPECT_FALSE(installer.is_cancelled());
    installer.cancellation_done = true;
    tick();
    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_THAT(installer.calls, ElementsAre("cancel", "cancelled?", "cancelled?", "cancelled?"));
}

TEST_F(CancelledInstaller, CancelIsCarriedOut) {
    start_installing();

    installer.cancel();
    EXPECT_THAT(installer.calls, ElementsAre("cancel"));
    installer.cancel();
    EXPECT_THAT(installer.calls, ElementsAre("cancel"));
    installer.cancellation_done = true;
    tick();

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_FALSE(installer.error().has_error);
}

TEST_F(CancelledInstaller, CancelBeforeTheStartNeedsNoCancellation) {
    tick();

    installer.cancel();

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_FALSE(installer.error().has_error);
    EXPECT_THAT(installer.calls, IsEmpty());
}

TEST_F(CancelledInstaller, RefusedCancelIsAnErrorButTheInstallationRunsToItsEnd) {
    installer.can_be_cancelled = false;
    start_installing();

    installer.cancel();

    EXPECT_EQ(installer.error().error_message, "Installation cannot be cancelled");
    EXPECT_THAT(installer.calls, ElementsAre("cancel"));
    tick(2);
    EXPECT_THAT(installer.calls, ElementsAre("cancel", "finished?", "finished?"));
    EXPECT_FALSE(installer.is_cancelled());
    installer.installed = true;
    tick();
    EXPECT_TRUE(installer.is_finished());
    EXPECT_FALSE(installer.is_cancelled());
    EXPECT_EQ(HawkbitInstaller::get_installed_version("os"), "2.1.0");
}

TEST_F(CancelledInstaller, FailureAfterARefusedCancelEndsTheInstallation) {
    installer.can_be_cancelled = false;
    start_installing();
    installer.cancel();
    steady_time += seconds{7200};

    tick(2);

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_EQ(installer.error().error_message, "Installation cannot be cancelled");
    EXPECT_THAT(log.text(), HasSubstr("what=Exceeded the time limit"));
}

TEST_F(CancelledInstaller, CancelAfterTheEndFailsAndTheEndStays) {
    start_installing();
    installer.installed = true;
    tick();

    installer.cancel();
    tick();

    EXPECT_EQ(installer.error().error_message, "Failed to cancel installation");
    EXPECT_TRUE(installer.is_finished());
    EXPECT_FALSE(installer.is_cancelled());
    EXPECT_THAT(installer.calls, Not(Contains("cancel")));
}

TEST_F(CancelledInstaller, TimeLimitOfAResumedInstallationCountsFromItsConstruction) {
    installer.resume();
    steady_time += seconds{7200};

    tick();

    EXPECT_THAT(installer.calls, ElementsAre("finished?", "cancel"));
}

}  // namespace
}  // namespace zephran
