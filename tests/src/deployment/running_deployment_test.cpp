// SPDX-License-Identifier: Apache-2.0
#include "deployment/running_deployment.h"

#include <chrono>
#include <memory>
#include <stdexcept>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/deployer_bench.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;
using Recipient = DeploymentReport::Recipient;
using FinalResult = DeploymentReport::FinalResult;

constexpr const char* deployment_link = "https://h/c/deploymentBase/7";

hawkbit::Controller controller_with_link(const std::string& link) {
    const auto status = message_from<hawkbit::ControllerStatusMessage>(
        R"({"config": {"polling": {"sleep": "00:05:00"}}, "_links": {"deploymentBase": {"href": ")" +
        link + R"("}}})");
    hawkbit::Controller controller;
    controller.extract_from(status, std::chrono::system_clock::now);
    return controller;
}

class RunningDeploymentTest : public ::testing::Test, protected DeployerBench {
protected:
    RunningDeployment& run(const DeploymentText& text) {
        make(text);
        running = std::make_unique<RunningDeployment>(
            std::move(deployer), controller_with_link(std::string{deployment_link} + "?c=1"));
        return *running;
    }

    /// Steps until the end, and once more.
    std::vector<DeploymentReport> remaining_reports() const {
        constexpr unsigned more_than_enough = 200;
        std::vector<DeploymentReport> reports;
        bool ended = false;
        for (unsigned i = 0; i < more_than_enough && !ended; ++i) {
            ended = running->has_ended();
            if (const auto report = running->step()) {
                reports.push_back(*report);
            }
        }
        EXPECT_TRUE(ended);
        return reports;
    }

    void step(unsigned times) const {
        for (unsigned i = 0; i < times; ++i) {
            running->step();
        }
    }

    std::unique_ptr<RunningDeployment> running;
};

TEST_F(RunningDeploymentTest, HasNotFailedBeforeItsFirstStep) {
    run(scripted_deployment(1));

    EXPECT_FALSE(running->has_failed_in_last_step());
}

TEST_F(RunningDeploymentTest, AbandonedDeploymentLeavesNoFile) {
    run(scripted_deployment(1));
    step(4);
    ASSERT_TRUE(has_file("a.bin"));

    running.reset();

    EXPECT_FALSE(has_file("a.bin"));
}

TEST_F(RunningDeploymentTest, AbandonedDeploymentLeavesTheFileOfAResumedInstallation) {
    part.script.can_resume = true;
    part.script.steps_to_install = 50;
    platform.directory.write("a.bin", "image");
    DeploymentText text = scripted_deployment(1);
    text.history = {"Installation started", "scripted:a:1"};
    run(text).deployer().resume();
    step(2);
    ASSERT_TRUE(running->deployer().has_resumed_installation());

    running.reset();

    EXPECT_TRUE(has_file("a.bin"));
}

TEST_F(RunningDeploymentTest, ReportsEveryStageOnce) {
    run(scripted_deployment(1));

    const auto reports = remaining_reports();

    ASSERT_EQ(reports.size(), 3U);
    EXPECT_THAT(reports[0].details, ElementsAre("Installation started", "scripted:a:1"));
    EXPECT_THAT(reports[1].details, ElementsAre("Chunk deployed", "scripted:a:1"));
    EXPECT_THAT(reports[2].details, ElementsAre("Deployment successful"));
}

TEST_F(RunningDeploymentTest, NothingIsReportedAfterAFailure) {
    part.script.fails_while_installing = true;
    part.script.steps_to_cancel = 3;
    run(scripted_deployment(2));

    const auto reports = remaining_reports();

    ASSERT_EQ(reports.size(), 2U);
    EXPECT_THAT(reports[0].details, ElementsAre("Installation started", "scripted:a:1"));
    EXPECT_EQ(reports[1].result, FinalResult::failure);
    EXPECT_EQ(reports[1].recipient, Recipient::deployment);
}

TEST_F(RunningDeploymentTest, FailureIsSeenInTheStepThatCausedIt) {
    part.script.fails_to_start = true;
    run(scripted_deployment(1));

    step(ticks_to_installer);
    EXPECT_FALSE(running->has_failed_in_last_step());
    step(1);
    EXPECT_TRUE(running->has_failed_in_last_step());
    step(1);

    EXPECT_FALSE(running->has_failed_in_last_step());
    EXPECT_TRUE(running->has_ended());
}

TEST_F(RunningDeploymentTest, WithdrawalBeforeAnInstallationIsNotReported) {
    run(scripted_deployment(1));
    step(4);

    running->withdraw();

    EXPECT_TRUE(running->has_ended());
    EXPECT_TRUE(remaining_reports().empty());
}

TEST_F(RunningDeploymentTest, WithdrawalDuringAnInstallationIsNotReported) {
    part.script.steps_to_install = 50;
    part.script.steps_to_cancel = 2;
    run(scripted_deployment(1));
    step(ticks_to_installer + 2);

    running->withdraw();

    EXPECT_FALSE(running->has_ended());
    EXPECT_TRUE(remaining_reports().empty());
    EXPECT_TRUE(running->deployer().is_cancelled());
}

TEST_F(RunningDeploymentTest, WithdrawalThatTheInstallerRefusesIsNotReported) {
    part.script.steps_to_install = 5;
    part.script.is_cancellable = false;
    run(scripted_deployment(1));
    step(ticks_to_installer + 2);

    running->withdraw();

    EXPECT_TRUE(remaining_reports().empty());
    EXPECT_TRUE(running->deployer().is_cancelled());
}

TEST_F(RunningDeploymentTest, RejectionIsReportedAlsoOfAWithdrawnDeployment) {
    part.script.steps_to_install = 50;
    run(scripted_deployment(1));
    step(ticks_to_installer + 2);
    running->deployer().mark_rejected();

    running->withdraw();
    const auto reports = remaining_reports();

    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].recipient, Recipient::deployment);
    EXPECT_EQ(reports[0].execution, DeploymentReport::ExecutionStatus::rejected);
}

TEST_F(RunningDeploymentTest, WithdrawnOneThatIsGivenUpIsNotReported) {
    part.script.steps_to_install = 50;
    part.script.steps_to_cancel = 50;
    run(scripted_deployment(1));
    step(ticks_to_installer + 2);
    running->withdraw();
    ASSERT_TRUE(running->deployer().is_cancelling());

    const auto report = running->give_up(std::runtime_error{"refused"});

    EXPECT_FALSE(report.has_value());
}

TEST_F(RunningDeploymentTest, NothingIsReportedAfterItWasGivenUp) {
    part.script.steps_to_install = 50;
    part.script.steps_to_cancel = 3;
    run(scripted_deployment(1));
    step(ticks_to_installer + 2);

    const auto report = running->give_up(std::runtime_error{"refused"});

    ASSERT_TRUE(report.has_value());
    EXPECT_EQ(report->result, FinalResult::failure);
    EXPECT_EQ(report->recipient, Recipient::deployment);
    EXPECT_FALSE(running->has_ended());
    EXPECT_TRUE(remaining_reports().empty());
}

TEST_F(RunningDeploymentTest, RequestedCancellationIsAnsweredWhenItIsDone) {
    part.script.steps_to_install = 50;
    run(scripted_deployment(1));
    step(ticks_to_installer + 2);

    running->deployer().cancel();
    const auto reports = remaining_reports();

    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].recipient, Recipient::cancellation);
    EXPECT_EQ(reports[0].result, FinalResult::success);
}

TEST_F(RunningDeploymentTest, RefusedCancellationIsAnsweredOnce) {
    part.script.steps_to_install = 5;
    part.script.is_cancellable = false;
    run(scripted_deployment(1));
    step(ticks_to_installer + 2);

    running->deployer().cancel();
    const auto reports = remaining_reports();

    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].recipient, Recipient::cancellation);
    EXPECT_EQ(reports[0].result, FinalResult::failure);
}

TEST_F(RunningDeploymentTest, CancellationOutsideOfAStepIsNotReportedByTheNextOne) {
    run(scripted_deployment(1));
    step(4);

    running->deployer().cancel();

    EXPECT_TRUE(remaining_reports().empty());
}

TEST_F(RunningDeploymentTest, GivenUpOneHasFailedAndEndsWithoutAnInstallation) {
    run(scripted_deployment(1));
    step(ticks_to_installer - 1);

    const auto report = running->give_up(std::runtime_error{"no record"});

    ASSERT_TRUE(report.has_value());
    EXPECT_EQ(report->result, FinalResult::failure);
    EXPECT_TRUE(running->has_failed_in_last_step());
    EXPECT_TRUE(running->has_ended());
    EXPECT_TRUE(remaining_reports().empty());
    EXPECT_TRUE(part.script.started.empty());
}

TEST_F(RunningDeploymentTest, KnowsItsLinkWhateverTheQuery) {
    run(scripted_deployment(1));
    const std::string link = deployment_link;

    EXPECT_TRUE(running->was_fetched_from(common::URI{link}));
    EXPECT_TRUE(running->was_fetched_from(common::URI{link + "?c=2"}));
    EXPECT_FALSE(running->was_fetched_from(common::URI{link + "8?c=1"}));
    EXPECT_FALSE(running->was_fetched_from(common::URI{"http://h/c/deploymentBase/7"}));
    EXPECT_FALSE(running->was_fetched_from(common::URI{}));
}

TEST_F(RunningDeploymentTest, KeepsTheAddressOfItsStart) {
    run(scripted_deployment(1));

    EXPECT_EQ(running->address().deployment_feedback().str(),
              std::string{deployment_link} + "/feedback?c=1");
}

}  // namespace
}  // namespace zephran::test
