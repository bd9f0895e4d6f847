// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "deployment/deployment_history.h"
#include "deployment/hawkbit_deployer.h"
#include "installer/installer_factory.h"
#include "support/deployer_bench.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class HawkbitDeployerResume : public ::testing::Test, protected DeployerBench {
protected:
    void make_with_history(const std::vector<std::string>& history, unsigned chunks = 3) {
        DeploymentText text = scripted_deployment(chunks);
        text.history = history;
        make(text);
    }

    /// Checks that the deployment starts with its first chunk.
    void expect_untouched() {
        EXPECT_FALSE(deployer->is_resumed());
        EXPECT_FALSE(deployer->has_installer());
        EXPECT_FALSE(deployer->error().has_error);
        EXPECT_EQ(deployer->chunk_count(), 3U);
        EXPECT_EQ(deployer->current_chunk_string(), "scripted:a:1");
        part.script.fails_to_be_made = false;
        run_to_end();
        EXPECT_TRUE(deployer->is_finished());
        EXPECT_THAT(part.script.taken_up, IsEmpty());
    }
};

TEST_F(HawkbitDeployerResume, WithoutAHistoryNothingHappens) {
    make_with_history({});

    deployer->resume();

    expect_untouched();
    EXPECT_THAT(part.script.started, ElementsAre("a:1", "b:2", "c:3"));
}

TEST_F(HawkbitDeployerResume, ResumesTheInterruptedInstallationWithoutDownloading) {
    part.script.can_resume = true;
    make_with_history({"Installation started", "scripted:b:2", "Chunk deployed", "scripted:a:1"});

    deployer->resume();

    EXPECT_TRUE(deployer->is_resumed());
    EXPECT_TRUE(deployer->has_installer());
    EXPECT_EQ(deployer->chunk_index(), 0U);
    EXPECT_EQ(deployer->chunk_count(), 2U);
    EXPECT_EQ(deployer->current_chunk_string(), "scripted:b:2");
    run_to_end();
    EXPECT_TRUE(deployer->is_finished());
    EXPECT_THAT(part.script.taken_up, ElementsAre("b:2"));
    EXPECT_THAT(part.script.started, ElementsAre("c:3"));
    EXPECT_THAT(files.requests, ElementsAre(ArtifactText::secure_link("c.bin")));
}

TEST_F(HawkbitDeployerResume, AcceptsTheDetailsOfTheReportInEitherOrder) {
    part.script.can_resume = true;
    make_with_history({"scripted:b:2", "Installation started"});

    deployer->resume();

    EXPECT_TRUE(deployer->is_resumed());
    EXPECT_EQ(deployer->current_chunk_string(), "scripted:b:2");
}

TEST_F(HawkbitDeployerResume, LogsWhatItResumes) {
    part.script.can_resume = true;
    make_with_history({"Installation started", "scripted:c:3"});

    deployer->resume();

    EXPECT_THAT(log.text(), HasSubstr("WARNING"));
    EXPECT_THAT(log.text(), HasSubstr("action=resume message=resuming deployment"));
}

TEST_F(HawkbitDeployerResume, VersionMayContainColons) {
    part.script.can_resume = true;
    make({"7",
          {{"scripted", "a", "1", {}}, {"scripted", "b", "2:3:4", {}}},
          "forced",
          {"Installation started", "scripted:b:2:3:4"}});

    deployer->resume();

    EXPECT_EQ(deployer->current_chunk_string(), "scripted:b:2:3:4");
    EXPECT_EQ(deployer->chunk_count(), 1U);
}

TEST_F(HawkbitDeployerResume, FindsAChunkWhoseNameWasCleanedForTheServer) {
    part.script.can_resume = true;
    make({"7",
          {{"scripted", "a", "1", {}}, {"scripted", "for<b>oards", "2", {}}},
          "forced",
          {"Installation started", "scripted:for< b>oards:2"}});

    deployer->resume();

    EXPECT_EQ(deployer->current_chunk_string(), "scripted:for<b>oards:2");
}

TEST_F(HawkbitDeployerResume, ChunkWhoseInstallerCannotResumeIsInstalledAgain) {
    make_with_history({"Installation started", "scripted:b:2"});

    deployer->resume();

    EXPECT_TRUE(deployer->is_resumed());
    EXPECT_FALSE(deployer->has_installer());
    EXPECT_EQ(deployer->chunk_count(), 2U);
    EXPECT_THAT(log.text(), HasSubstr("action=resume message=restarting chunk"));
    EXPECT_THAT(log.text(), Not(HasSubstr("resuming deployment")));
    run_to_end();
    EXPECT_TRUE(deployer->is_finished());
    EXPECT_THAT(part.script.taken_up, IsEmpty());
    EXPECT_THAT(part.script.started, ElementsAre("b:2", "c:3"));
    EXPECT_THAT(files.requests, ElementsAre(ArtifactText::secure_link("b.bin"),
                                            ArtifactText::secure_link("c.bin")));
}

TEST_F(HawkbitDeployerResume, RestartedChunkThatRebootsIsRecordedOnlyOnceItsInstallerExists) {
    part.script.will_reboot = true;
    make_with_history({"Installation started", "scripted:c:3"});

    deployer->resume();

    EXPECT_THAT(platform.config.writes, IsEmpty());
}

TEST_F(HawkbitDeployerResume, ResumedInstallationMayReboot) {
    part.script.can_resume = true;
    part.script.will_reboot = true;
    make_with_history({"Installation started", "scripted:c:3"});

    deployer->resume();
    EXPECT_EQ(platform.config.values["zephran.service.rebooted"], "1");
    run_to_end();

    EXPECT_EQ(platform.config.values["zephran.service.rebooted"], "0");
}

TEST_F(HawkbitDeployerResume, ResumedInstallationCanBeCancelled) {
    part.script.can_resume = true;
    part.script.steps_to_install = 100;
    make_with_history({"Installation started", "scripted:b:2"});
    deployer->resume();
    tick(2);

    deployer->cancel();
    run_to_end();

    EXPECT_TRUE(deployer->is_cancelled());
    EXPECT_EQ(part.script.cancellations, 1U);
}

class HawkbitDeployerUnusableHistory
    : public HawkbitDeployerResume,
      public ::testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(HawkbitDeployerUnusableHistory, ThrowsAndLeavesTheDeployerUnchanged) {
    part.script.can_resume = true;
    make_with_history(GetParam());

    EXPECT_THROW(deployer->resume(), UnsupportedHistoryForResumeException);

    expect_untouched();
}

INSTANTIATE_TEST_SUITE_P(
    Histories, HawkbitDeployerUnusableHistory,
    ::testing::Values(std::vector<std::string>{"Installation started"},
                      std::vector<std::string>{"scripted:b:2"},
                      std::vector<std::string>{"Chunk deployed", "scripted:a:1"},
                      std::vector<std::string>{"some note", "another note"},
                      std::vector<std::string>{"scripted:a:1", "Chunk deployed",
                                               "Installation started", "scripted:a:1"},
                      std::vector<std::string>{"Deployment successful", "Chunk deployed"}));

TEST_F(HawkbitDeployerResume, TextThatIsNotAChunkStringIsRefused) {
    part.script.can_resume = true;
    make_with_history({"Installation started", "os-firmware"});

    EXPECT_THROW(deployer->resume(), InvalidChunkStringFormatException);

    expect_untouched();
}

TEST_F(HawkbitDeployerResume, ChunkThatIsNotInTheActionIsRefused) {
    part.script.can_resume = true;
    make_with_history({"Installation started", "scripted:a:2"});

    EXPECT_THROW(deployer->resume(), ChunkNotFoundException);

    expect_untouched();
}

TEST_F(HawkbitDeployerResume, InstallerThatCannotBeCreatedLeavesTheDeployerUnchanged) {
    part.script.can_resume = true;
    part.script.will_reboot = true;
    part.script.fails_to_be_made = true;
    make_with_history({"Installation started", "scripted:b:2"});

    EXPECT_THROW(deployer->resume(), ScriptedFailure);

    EXPECT_THAT(platform.config.writes, IsEmpty());
    expect_untouched();
}

TEST_F(HawkbitDeployerResume, PartThatIsNotAcceptedIsRefused) {
    context.accepted_parts = {"other"};
    make_with_history({"Installation started", "scripted:b:2"});

    EXPECT_THROW(deployer->resume(), UnsupportedPartException);

    EXPECT_EQ(deployer->chunk_count(), 3U);
    EXPECT_FALSE(deployer->is_resumed());
    EXPECT_FALSE(deployer->has_installer());
}

TEST_F(HawkbitDeployerResume, PartWithoutInstallerIsRefused) {
    make({"7",
          {{"unheard_of", "a", "1", {}}},
          "forced",
          {"Installation started", "unheard_of:a:1"}});

    EXPECT_THROW(deployer->resume(), UnsupportedPartException);

    EXPECT_FALSE(deployer->is_resumed());
    EXPECT_FALSE(deployer->has_installer());
}

}  // namespace
}  // namespace zephran::test
