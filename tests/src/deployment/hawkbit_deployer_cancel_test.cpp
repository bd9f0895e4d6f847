// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "deployment/hawkbit_deployer.h"
#include "support/deployer_bench.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class HawkbitDeployerCancel : public ::testing::Test, protected DeployerBench {
protected:
    /// Ticks until the installation of the first chunk has been started.
    void run_to_installation() {
        part.script.steps_to_install = 3;
        make(scripted_deployment(2));
        tick(ticks_to_installer + 1);
        ASSERT_TRUE(deployer->has_installer());
        ASSERT_THAT(part.script.started, ElementsAre("a:1"));
    }
};

class HawkbitDeployerEarlyCancel : public ::testing::TestWithParam<unsigned>,
                                   protected DeployerBench {};

TEST_P(HawkbitDeployerEarlyCancel, EndsAtOnceAndDeletesTheFiles) {
    make(scripted_deployment(2));
    tick(GetParam());

    deployer->cancel();

    EXPECT_TRUE(deployer->is_cancelled());
    EXPECT_FALSE(deployer->is_cancelling());
    EXPECT_FALSE(deployer->error().has_error);
    EXPECT_FALSE(has_file("a.bin"));
    EXPECT_THAT(part.script.started, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(BeforeAnInstallerExists, HawkbitDeployerEarlyCancel,
                         ::testing::Range(0U, DeployerBench::ticks_to_installer));

TEST_F(HawkbitDeployerCancel, BetweenTwoChunksEndsAtOnce) {
    make(scripted_deployment(2));
    tick(11);
    ASSERT_THAT(part.script.started, ElementsAre("a:1"));

    deployer->cancel();

    EXPECT_TRUE(deployer->is_cancelled());
}

TEST_F(HawkbitDeployerCancel, WaitsUntilTheInstallerIsGone) {
    part.script.steps_to_cancel = 2;
    run_to_installation();

    deployer->cancel();
    EXPECT_TRUE(deployer->is_cancelling());
    tick(2);
    EXPECT_TRUE(deployer->has_installer());
    tick(1);
    EXPECT_FALSE(deployer->has_installer());
    EXPECT_FALSE(deployer->is_cancelled());
    EXPECT_TRUE(has_file("a.bin"));
    tick(1);

    EXPECT_TRUE(deployer->is_cancelled());
    EXPECT_FALSE(deployer->is_cancelling());
    EXPECT_FALSE(deployer->error().has_error);
    EXPECT_FALSE(has_file("a.bin"));
    EXPECT_EQ(deployer->chunk_index(), 0U);
}

TEST_F(HawkbitDeployerCancel, SecondOneChangesNothing) {
    part.script.steps_to_cancel = 2;
    run_to_installation();
    deployer->cancel();
    tick(1);

    deployer->cancel();

    EXPECT_TRUE(deployer->is_cancelling());
    EXPECT_FALSE(deployer->is_cancelled());
    EXPECT_EQ(part.script.cancellations, 1U);
    run_to_end();
    EXPECT_TRUE(deployer->is_cancelled());
    EXPECT_FALSE(deployer->error().has_error);
}

TEST_F(HawkbitDeployerCancel, AfterTheEndChangesNothing) {
    make(scripted_deployment(1));
    run_to_end();

    deployer->cancel();
    tick(1);

    EXPECT_TRUE(deployer->is_finished());
    EXPECT_FALSE(deployer->is_cancelled());
    EXPECT_FALSE(deployer->error().has_error);
}

TEST_F(HawkbitDeployerCancel, AfterACancellationChangesNothing) {
    make(scripted_deployment(1));
    deployer->cancel();

    deployer->cancel();
    tick(3);

    EXPECT_TRUE(deployer->is_cancelled());
    EXPECT_THAT(files.requests, IsEmpty());
}

TEST_F(HawkbitDeployerCancel, RefusedOneLetsTheInstallationRunToItsEnd) {
    part.script.is_cancellable = false;
    run_to_installation();

    deployer->cancel();
    tick(1);
    EXPECT_EQ(deployer->error().error_message, "Installation cannot be cancelled");
    EXPECT_TRUE(deployer->is_cancelling());
    tick(2);
    EXPECT_TRUE(deployer->has_installer());
    tick(1);
    EXPECT_FALSE(deployer->has_installer());
    tick(1);

    EXPECT_TRUE(deployer->is_cancelled());
    EXPECT_THAT(part.script.started, ElementsAre("a:1"));
    EXPECT_EQ(platform.config.values["zephran.device.version_scripted"], "1");
    EXPECT_FALSE(has_file("a.bin"));
}

TEST_F(HawkbitDeployerCancel, JustAfterAnInstallationEndedIsRecordedAndStillEndsTheDeployment) {
    make(scripted_deployment(2));
    tick(ticks_to_installer + 2);
    ASSERT_FALSE(deployer->has_installer());

    deployer->cancel();
    EXPECT_EQ(deployer->error().error_message, "No installation in progress");
    EXPECT_FALSE(deployer->is_cancelled());
    tick(1);

    EXPECT_TRUE(deployer->is_cancelled());
    EXPECT_FALSE(has_file("a.bin"));
    EXPECT_THAT(part.script.started, ElementsAre("a:1"));
}

TEST_F(HawkbitDeployerCancel, InstallerThatHasNotStartedYetIsDroppedUnstarted) {
    make(scripted_deployment(1));
    tick(ticks_to_installer);

    deployer->cancel();
    run_to_end();

    EXPECT_TRUE(deployer->is_cancelled());
    EXPECT_THAT(part.script.started, IsEmpty());
    EXPECT_EQ(part.script.cancellations, 0U);
}

TEST_F(HawkbitDeployerCancel, WithoutAnInstallerThereIsNothingToCancel) {
    make(scripted_deployment(1));

    EXPECT_THROW(deployer->cancel_installer(), NoInstallationInProgressException);
}

TEST_F(HawkbitDeployerCancel, RunningInstallerIsNotReplaced) {
    run_to_installation();

    EXPECT_THROW(deployer->start_installer(), InstallationInProgressException);
    EXPECT_STREQ(InstallationInProgressException{}.what(),
                 "An installation is already in progress");
    run_to_end();

    EXPECT_THAT(part.script.started, ElementsAre("a:1", "b:2"));
}

}  // namespace
}  // namespace zephran::test
