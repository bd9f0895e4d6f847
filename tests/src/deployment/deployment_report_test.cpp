// SPDX-License-Identifier: Apache-2.0
#include "deployment/deployment_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "deployment/hawkbit_deployer.h"
#include "support/deployer_bench.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Recipient = DeploymentReport::Recipient;
using ExecutionStatus = DeploymentReport::ExecutionStatus;
using FinalResult = DeploymentReport::FinalResult;

class DeploymentReportOfAStep : public ::testing::Test, protected DeployerBench {
protected:
    std::optional<DeploymentReport> step() {
        const DeployerSnapshot before{*deployer};
        deployer->tick();
        return report_step(before, *deployer);
    }

    static void expect_head(const std::optional<DeploymentReport>& report, Recipient recipient,
                            ExecutionStatus execution, FinalResult result) {
        ASSERT_TRUE(report.has_value());
        EXPECT_EQ(report->recipient, recipient);
        EXPECT_EQ(report->execution, execution);
        EXPECT_EQ(report->result, result);
    }
};

TEST_F(DeploymentReportOfAStep, NothingIsReportedWhileNothingHappens) {
    make(scripted_deployment(1));

    for (unsigned i = 1; i < ticks_to_installer; ++i) {
        EXPECT_FALSE(step().has_value()) << "tick " << i;
    }
}

TEST_F(DeploymentReportOfAStep, StartOfAnInstallationNamesItsChunk) {
    make(scripted_deployment(1));
    tick(ticks_to_installer - 1);

    const auto report = step();

    expect_head(report, Recipient::deployment, ExecutionStatus::proceeding, FinalResult::none);
    EXPECT_THAT(report->details, ElementsAre("Installation started", "scripted:a:1"));
    EXPECT_TRUE(report->starts_installation);
    EXPECT_FALSE(step().has_value());
}

TEST_F(DeploymentReportOfAStep, DeployedChunkIsNamedAsItWasBeforeTheStep) {
    make(scripted_deployment(2));
    tick(11);

    const auto report = step();

    expect_head(report, Recipient::deployment, ExecutionStatus::proceeding, FinalResult::none);
    EXPECT_THAT(report->details, ElementsAre("Chunk deployed", "scripted:a:1"));
    EXPECT_FALSE(report->starts_installation);
}

TEST_F(DeploymentReportOfAStep, DeployedChunkCarriesTheInstallersOutput) {
    part.script.report = "two files changed\n";
    make(scripted_deployment(1));
    tick(11);

    const auto report = step();

    ASSERT_TRUE(report.has_value());
    EXPECT_THAT(report->details,
                ElementsAre("Chunk deployed", "scripted:a:1", "two files changed\n"));
}

TEST_F(DeploymentReportOfAStep, ChunkThatIsInstalledAlreadyIsReportedAsDeployed) {
    platform.config.values["zephran.device.version_scripted"] = "1";
    platform.config.values["zephran.device.installation_time_scripted"] = "2024-03-01T12:00:00Z";
    make(scripted_deployment(1));
    tick(2);

    const auto report = step();

    ASSERT_TRUE(report.has_value());
    EXPECT_THAT(report->details,
                ElementsAre("Chunk deployed", "scripted:a:1",
                            "Already installed\nInstalled scripted 1 on 2024-03-01T12:00:00Z\n"));
}

TEST_F(DeploymentReportOfAStep, EndOfTheLastChunkIsASuccess) {
    make(scripted_deployment(1));
    tick(12);

    const auto report = step();

    expect_head(report, Recipient::deployment, ExecutionStatus::closed, FinalResult::success);
    EXPECT_THAT(report->details, ElementsAre("Deployment successful"));
    EXPECT_EQ(report->code, std::nullopt);
    EXPECT_FALSE(step().has_value());
}

TEST_F(DeploymentReportOfAStep, CancellationIsConfirmedWithoutDetails) {
    make(scripted_deployment(1));
    const DeployerSnapshot before{*deployer};

    deployer->cancel();
    const auto report = report_step(before, *deployer);

    expect_head(report, Recipient::cancellation, ExecutionStatus::closed, FinalResult::success);
    EXPECT_THAT(report->details, IsEmpty());
}

TEST_F(DeploymentReportOfAStep, RefusalByTheUserRejectsTheDeployment) {
    make(scripted_deployment(1));
    const DeployerSnapshot before{*deployer};

    deployer->mark_rejected();
    deployer->cancel();
    const auto report = report_step(before, *deployer);

    expect_head(report, Recipient::deployment, ExecutionStatus::rejected, FinalResult::none);
    EXPECT_THAT(report->details, ElementsAre("Deployment rejected through user intervention"));
}

TEST_F(DeploymentReportOfAStep, RefusalWithoutACancellationIsNotReported) {
    make(scripted_deployment(1));
    deployer->mark_rejected();

    EXPECT_FALSE(step().has_value());
}

TEST_F(DeploymentReportOfAStep, FailureCarriesMessageDetailsAndChunk) {
    part.script.fails_to_start = true;
    make(scripted_deployment(1));
    tick(ticks_to_installer);

    const auto report = step();

    expect_head(report, Recipient::deployment, ExecutionStatus::closed, FinalResult::failure);
    EXPECT_THAT(report->details, ElementsAre("The installer failed as it was told",
                                             "program_output: as told", "scripted:a:1"));
    EXPECT_EQ(report->code, 4000);
}

TEST_F(DeploymentReportOfAStep, FailureTakesPrecedenceOverTheCancellationOfTheSameStep) {
    make(scripted_deployment(1));
    files.files.clear();
    tick(3);

    const auto report = step();

    ASSERT_TRUE(deployer->is_cancelled());
    expect_head(report, Recipient::deployment, ExecutionStatus::closed, FinalResult::failure);
    EXPECT_THAT(
        report->details,
        ElementsAre("HTTP server returned an error code",
                    "httpcode: 404\nhttpurl: https://update.example/files/a.bin", "scripted:a:1"));
    EXPECT_EQ(report->code, 404);
}

TEST_F(DeploymentReportOfAStep, FailureWhileCancellingAnswersTheCancellation) {
    part.script.is_cancellable = false;
    part.script.steps_to_install = 5;
    make(scripted_deployment(1));
    tick(ticks_to_installer + 1);
    deployer->cancel();
    ASSERT_TRUE(deployer->is_cancelling());

    const auto report = step();

    expect_head(report, Recipient::cancellation, ExecutionStatus::closed, FinalResult::failure);
    EXPECT_THAT(report->details,
                ElementsAre("Installation cannot be cancelled", "", "scripted:a:1"));
}

TEST_F(DeploymentReportOfAStep, FailureIsReportedOnce) {
    part.script.fails_to_start = true;
    make(scripted_deployment(1));
    tick(ticks_to_installer);
    const DeployerSnapshot before{*deployer};

    tick(1);
    EXPECT_TRUE(has_newly_failed(before, *deployer));
    const DeployerSnapshot after{*deployer};
    tick(1);

    EXPECT_FALSE(has_newly_failed(after, *deployer));
}

TEST_F(DeploymentReportOfAStep, SnapshotHoldsTheStateOfTheDeployer) {
    make(scripted_deployment(2));
    tick(12 + ticks_to_installer);

    const DeployerSnapshot snapshot{*deployer};

    EXPECT_FALSE(snapshot.finished);
    EXPECT_FALSE(snapshot.cancelled);
    EXPECT_FALSE(snapshot.failed);
    EXPECT_FALSE(snapshot.cancelling);
    EXPECT_EQ(snapshot.progress, 1U);
    EXPECT_EQ(snapshot.chunk, "scripted:b:2");
}

TEST(DeploymentReport, ThereIsNothingToCancelWithoutADeployment) {
    const DeploymentReport report = nothing_to_cancel();

    EXPECT_EQ(report.recipient, Recipient::cancellation);
    EXPECT_EQ(report.execution, ExecutionStatus::closed);
    EXPECT_EQ(report.result, FinalResult::success);
    EXPECT_THAT(report.details, ElementsAre("Deployment not running. Nothing to do."));
}

}  // namespace
}  // namespace zephran::test
