// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "deployment/hawkbit_deployer.h"
#include "deployment/running_deployment.h"
#include "support/deployer_bench.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr const char* waiting = "waiting for another deployment with the same file name";

/// Two deployers of different agents; "deployer" comes first.
class HawkbitDeployerFiles : public ::testing::Test, protected DeployerBench {
protected:
    HawkbitDeployer& make_other(const DeploymentText& text) {
        files.offer(text);
        other = std::make_unique<HawkbitDeployer>(other_attributes, deployment_from(text), context,
                                                  files.client_maker());
        return *other;
    }
    void tick_other(unsigned times) const {
        for (; times != 0; --times) {
            other->tick();
        }
    }
    // The first one lives on: its destructor must not be what frees the names.
    void run_other_to_end() {
        std::swap(deployer, other);
        run_to_end();
    }

    hawkbit::Attributes other_attributes{{"parent", "gateway"}};
    DeploymentText with_same_name{"8", {{"scripted", "other", "9", {{"b.bin"}, {"z.bin"}}}}};
    std::unique_ptr<HawkbitDeployer> other;
};

TEST_F(HawkbitDeployerFiles, DeployerWaitsAtItsBeginningForTheOwnerOfAName) {
    make(scripted_deployment(2));
    make_other(with_same_name);

    tick_other(20);

    EXPECT_THAT(files.requests, IsEmpty());
    EXPECT_FALSE(other->error().has_error);
    run_to_end();
    EXPECT_THAT(part.script.started, ElementsAre("a:1", "b:2"));
    run_other_to_end();
    EXPECT_TRUE(deployer->is_finished());
    EXPECT_THAT(part.script.started, ElementsAre("a:1", "b:2", "other:9"));
}

TEST_F(HawkbitDeployerFiles, OwnerKeepsTheNameOfAChunkThatIsDone) {
    DeploymentText text = scripted_deployment(2);
    std::swap(text.chunks[0], text.chunks[1]);
    make(text);
    make_other(with_same_name);
    while (deployer->chunk_index() == 0) {
        tick(1);
    }

    tick_other(5);

    EXPECT_THAT(files.requests, ElementsAre(ArtifactText::secure_link("b.bin")));
}

TEST_F(HawkbitDeployerFiles, CancelledOwnerFreesItsNames) {
    make(scripted_deployment(2));
    make_other(with_same_name);
    tick(4);
    deployer->cancel();

    run_other_to_end();

    EXPECT_TRUE(deployer->is_finished());
}

TEST_F(HawkbitDeployerFiles, DestroyedOwnerFreesItsNames) {
    make(scripted_deployment(2));
    make_other(with_same_name);
    tick(4);
    deployer.reset();

    run_other_to_end();

    EXPECT_TRUE(deployer->is_finished());
}

TEST_F(HawkbitDeployerFiles, CancelledWaiterLeavesTheFilesOfTheOwner) {
    make(scripted_deployment(2));
    tick(4);
    ASSERT_TRUE(has_file("a.bin"));
    make_other(scripted_deployment(1));
    tick_other(3);

    other->cancel();

    EXPECT_TRUE(other->is_cancelled());
    EXPECT_TRUE(has_file("a.bin"));
    run_to_end();
    EXPECT_TRUE(deployer->is_finished());
}

TEST_F(HawkbitDeployerFiles, AbandonedWaiterLeavesTheFilesOfTheOwner) {
    make(scripted_deployment(2));
    tick(4);
    make_other(scripted_deployment(1));

    { const RunningDeployment abandoned{std::move(other), hawkbit::Controller{}}; }

    EXPECT_TRUE(has_file("a.bin"));
    run_to_end();
    EXPECT_TRUE(deployer->is_finished());
}

TEST_F(HawkbitDeployerFiles, DeploymentsWithOtherNamesRunSideBySide) {
    part.script.steps_to_install = 100;
    make(scripted_deployment(1));
    make_other(with_same_name);
    tick(ticks_to_installer + 1);

    tick_other(13);

    EXPECT_THAT(part.script.started, ElementsAre("a:1", "other:9"));
    EXPECT_THAT(log.text(), Not(HasSubstr(waiting)));
}

TEST_F(HawkbitDeployerFiles, DeploymentsInFoldersOfTheirOwnRunSideBySide) {
    const std::string place = platform.directory.path("downloads");
    part.script.steps_to_install = 100;
    context.download_folder = DownloadFolder{place, "one"};
    make(scripted_deployment(1));
    context.download_folder = DownloadFolder{place, "two"};
    make_other(scripted_deployment(1));
    tick(ticks_to_installer + 1);

    tick_other(ticks_to_installer + 1);

    EXPECT_THAT(part.script.started, ElementsAre("a:1", "a:1"));
    EXPECT_TRUE(has_file("downloads/agent-one/a.bin"));
    EXPECT_TRUE(has_file("downloads/agent-two/a.bin"));
    EXPECT_FALSE(has_file("a.bin"));
    deployer->cancel();
    run_to_end();
    EXPECT_FALSE(has_file("downloads/agent-one/a.bin"));
    EXPECT_TRUE(has_file("downloads/agent-two/a.bin"));
}

TEST_F(HawkbitDeployerFiles, FolderThatWasDeletedIsMadeAgain) {
    context.download_folder = DownloadFolder{platform.directory.path("downloads"), "one"};
    downloads.resume = true;
    make(scripted_deployment(2));
    while (deployer->chunk_index() == 0) {
        tick(1);
    }
    std::filesystem::remove_all(platform.directory.path("downloads"));

    run_to_end();

    EXPECT_TRUE(deployer->is_finished());
    EXPECT_THAT(part.script.started, ElementsAre("a:1", "b:2"));
}

TEST_F(HawkbitDeployerFiles, FolderThatCannotBeMadeFailsTheDeployment) {
    platform.directory.write("downloads", "a file");
    context.download_folder = DownloadFolder{platform.directory.path("downloads"), "one"};
    make(scripted_deployment(1));

    run_to_end();

    EXPECT_TRUE(deployer->is_cancelled());
    EXPECT_THAT(files.requests, IsEmpty());
    EXPECT_EQ(deployer->error().error_message, "Failed to open file for writing");
    EXPECT_EQ(deployer->error().error_details, "filename: " + platform.directory.path("downloads"));
}

TEST_F(HawkbitDeployerFiles, InterruptedInstallationIsTakenUpWhenTheNameIsFree) {
    part.script.can_resume = true;
    make(scripted_deployment(2));
    with_same_name.history = {"Installation started", "scripted:other:9"};
    make_other(with_same_name);

    other->resume();
    tick_other(5);
    EXPECT_TRUE(other->is_resumed());
    EXPECT_FALSE(other->has_installer());
    EXPECT_THAT(part.script.taken_up, IsEmpty());
    run_to_end();
    run_other_to_end();

    EXPECT_TRUE(deployer->is_finished());
    EXPECT_THAT(part.script.taken_up, ElementsAre("other:9"));
    EXPECT_THAT(part.script.started, ElementsAre("a:1", "b:2"));
}

TEST_F(HawkbitDeployerFiles, InterruptedInstallationIsNotReportedAsStartedAgain) {
    part.script.can_resume = true;
    part.script.steps_to_install = 3;
    make(scripted_deployment(2));
    with_same_name.history = {"Installation started", "scripted:other:9"};
    make_other(with_same_name).resume();
    RunningDeployment waiting_for_name{std::move(other), hawkbit::Controller{}};
    EXPECT_FALSE(waiting_for_name.step().has_value());
    run_to_end();

    const auto report = waiting_for_name.step();

    EXPECT_THAT(part.script.taken_up, ElementsAre("other:9"));
    EXPECT_FALSE(report.has_value());
}

TEST_F(HawkbitDeployerFiles, InterruptedInstallationIsNotTakenUpAfterACancel) {
    part.script.can_resume = true;
    make(scripted_deployment(2));
    with_same_name.history = {"Installation started", "scripted:other:9"};
    make_other(with_same_name);
    other->resume();
    other->cancel();
    run_to_end();

    tick_other(5);

    EXPECT_TRUE(other->is_cancelled());
    EXPECT_FALSE(other->has_installer());
    EXPECT_THAT(part.script.taken_up, IsEmpty());
}

TEST_F(HawkbitDeployerFiles, WaitingIsLoggedOnce) {
    make(scripted_deployment(2));
    make_other(with_same_name);

    tick_other(5);

    const auto first = log.text().find(waiting);
    ASSERT_NE(first, std::string::npos);
    EXPECT_EQ(log.text().find(waiting, first + 1), std::string::npos);
}

TEST_F(HawkbitDeployerFiles, SingleDeployerLogsNothingOfIt) {
    make(scripted_deployment(1));

    run_to_end();

    EXPECT_THAT(log.text(), Not(HasSubstr("owns_files")));
}

}  // namespace
}  // namespace zephran::test
