// SPDX-License-Identifier: Apache-2.0
#include "deployment/hawkbit_deployer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/deployer_bench.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr const char* rebooted_key = "zephran.service.rebooted";

class HawkbitDeployerRun : public ::testing::Test, protected DeployerBench {
protected:
    void record_version(const std::string& version, const std::string& time) {
        platform.config.values["zephran.device.version_scripted"] = version;
        platform.config.values["zephran.device.installation_time_scripted"] = time;
    }
};

TEST_F(HawkbitDeployerRun, InstallsEveryChunkInOrderAndLeavesNoFileBehind) {
    make(scripted_deployment(2));

    run_to_end();

    EXPECT_TRUE(deployer->is_finished());
    EXPECT_FALSE(deployer->is_cancelled());
    EXPECT_FALSE(deployer->error().has_error);
    EXPECT_THAT(part.script.started, ElementsAre("a:1", "b:2"));
    EXPECT_THAT(platform.prepared_downloads, ElementsAre("a.bin", "b.bin"));
    EXPECT_FALSE(has_file("a.bin"));
    EXPECT_FALSE(has_file("b.bin"));
}

TEST_F(HawkbitDeployerRun, EachDownloadIsPreparedBeforeItBegins) {
    std::vector<std::string> prepared_last;
    files.on_request = [&](const std::string& /*url*/) {
        prepared_last.push_back(
            platform.prepared_downloads.empty() ? "nothing" : platform.prepared_downloads.back());
    };
    make(scripted_deployment(2));

    run_to_end();

    EXPECT_THAT(prepared_last, ElementsAre("a.bin", "b.bin"));
}

TEST_F(HawkbitDeployerRun, TakesOneStepInEachTick) {
    make(scripted_deployment(1));

    tick(3);
    EXPECT_THAT(files.requests, IsEmpty());
    tick(1);
    EXPECT_THAT(files.requests, ElementsAre(ArtifactText::secure_link("a.bin")));
    EXPECT_EQ(platform.directory.read("a.bin"), "content of a.bin");
    tick(3);
    EXPECT_FALSE(deployer->has_installer());
    tick(1);
    EXPECT_TRUE(deployer->has_installer());
    tick(2);
    EXPECT_FALSE(deployer->has_installer());
    EXPECT_TRUE(has_file("a.bin"));
    tick(1);
    EXPECT_FALSE(has_file("a.bin"));
    tick(1);
    EXPECT_FALSE(deployer->is_finished());
    tick(1);
    EXPECT_TRUE(deployer->is_finished());
}

TEST_F(HawkbitDeployerRun, NewInstallerTakesItsFirstStepInTheTickThatCreatesIt) {
    make(scripted_deployment(1));

    tick(ticks_to_installer);
    EXPECT_THAT(part.script.started, IsEmpty());
    tick(1);

    EXPECT_THAT(part.script.started, ElementsAre("a:1"));
}

TEST_F(HawkbitDeployerRun, InstallerIsTickedUntilItHasFinished) {
    part.script.steps_to_install = 3;
    make(scripted_deployment(1));

    tick(ticks_to_installer + 4);
    EXPECT_TRUE(deployer->has_installer());
    tick(1);

    EXPECT_FALSE(deployer->has_installer());
}

TEST_F(HawkbitDeployerRun, ChunkWithoutArtifactsIsInstalledAtOnce) {
    make({"7", {{"scripted", "bare", "1", {}}}});

    tick(4);
    EXPECT_TRUE(deployer->has_installer());
    run_to_end();

    EXPECT_TRUE(deployer->is_finished());
    EXPECT_THAT(files.requests, IsEmpty());
}

TEST_F(HawkbitDeployerRun, EveryArtifactOfAChunkIsThereWhenItsInstallerStarts) {
    make({"7", {{"scripted", "pair", "1", {{"first"}, {"second"}}}}});

    while (part.script.started.empty()) {
        tick(1);
    }

    EXPECT_EQ(platform.directory.read("first"), "content of first");
    EXPECT_EQ(platform.directory.read("second"), "content of second");
}

TEST_F(HawkbitDeployerRun, DeploymentWithoutChunksFinishes) {
    make({});

    run_to_end();

    EXPECT_TRUE(deployer->is_finished());
    EXPECT_EQ(deployer->chunk_count(), 0U);
}

TEST_F(HawkbitDeployerRun, SecureLinkIsPreferred) {
    make({"7", {{"scripted", "a", "1", {{"a.bin", "text", "text", true, true}}}}});

    run_to_end();

    EXPECT_THAT(files.requests, ElementsAre(ArtifactText::secure_link("a.bin")));
}

TEST_F(HawkbitDeployerRun, PlainLinkIsUsedWhenThereIsNoOther) {
    make({"7", {{"scripted", "a", "1", {{"a.bin", "text", "text", false, true}}}}});

    run_to_end();

    EXPECT_THAT(files.requests, ElementsAre(ArtifactText::plain_link("a.bin")));
    EXPECT_TRUE(deployer->is_finished());
}

TEST_F(HawkbitDeployerRun, ProgressCountsTheChunksThatAreDone) {
    make(scripted_deployment(2));

    EXPECT_EQ(deployer->chunk_index(), 0U);
    EXPECT_EQ(deployer->chunk_count(), 2U);
    EXPECT_EQ(deployer->current_chunk_string(), "scripted:a:1");
    tick(12);
    EXPECT_EQ(deployer->chunk_index(), 1U);
    EXPECT_EQ(deployer->current_chunk_string(), "scripted:b:2");
    run_to_end();

    EXPECT_EQ(deployer->chunk_index(), 2U);
    EXPECT_EQ(deployer->current_chunk_string(), "");
}

TEST_F(HawkbitDeployerRun, ShowsTheChunkThatItIsAt) {
    make(scripted_deployment(2));

    EXPECT_EQ(deployer->current_chunk()->version(), "1");
    tick(12);
    EXPECT_EQ(deployer->current_chunk()->version(), "2");
    run_to_end();

    EXPECT_EQ(deployer->current_chunk(), nullptr);
}

TEST_F(HawkbitDeployerRun, ShowsTheStageThatItIsAt) {
    make(scripted_deployment(1));
    std::vector<DeploymentStage> stages{deployer->stage()};

    for (unsigned i = 0; i <= ticks_to_installer; ++i) {
        tick(1);
        if (deployer->stage() != stages.back()) {
            stages.push_back(deployer->stage());
        }
    }

    EXPECT_THAT(stages, ElementsAre(DeploymentStage::downloading, DeploymentStage::verifying,
                                    DeploymentStage::installing));
}

TEST_F(HawkbitDeployerRun, KeepsTheReportOfTheInstaller) {
    part.script.report = "all went well\n";
    make(scripted_deployment(1));

    run_to_end();

    EXPECT_EQ(deployer->installer_output(), "all went well\n");
}

TEST_F(HawkbitDeployerRun, ChunkWhoseVersionIsRecordedIsSkipped) {
    record_version("1", "2024-03-01T12:00:00Z");
    make(scripted_deployment(1));

    run_to_end();

    EXPECT_TRUE(deployer->is_finished());
    EXPECT_EQ(deployer->chunk_index(), 1U);
    EXPECT_THAT(files.requests, IsEmpty());
    EXPECT_THAT(part.script.started, IsEmpty());
    EXPECT_EQ(deployer->installer_output(),
              "Already installed\nInstalled scripted 1 on 2024-03-01T12:00:00Z\n");
}

TEST_F(HawkbitDeployerRun, OnlyTheExactVersionCountsAsInstalled) {
    record_version("1.0", "2024-03-01T12:00:00Z");
    make(scripted_deployment(1));

    run_to_end();

    EXPECT_THAT(part.script.started, ElementsAre("a:1"));
}

TEST_F(HawkbitDeployerRun, EmptyVersionDoesNotMatchAMissingRecord) {
    make({"7", {{"scripted", "unversioned", "", {}}}});

    run_to_end();

    EXPECT_THAT(part.script.started, ElementsAre("unversioned:"));
}

TEST_F(HawkbitDeployerRun, DeviceBehindTheGatewayInstallsTheRecordedVersionToo) {
    record_version("1", "2024-03-01T12:00:00Z");
    attributes["parent"] = "gateway";
    make(scripted_deployment(1));

    run_to_end();

    EXPECT_THAT(part.script.started, ElementsAre("a:1"));
    EXPECT_THAT(files.requests, ElementsAre(ArtifactText::secure_link("a.bin")));
}

TEST_F(HawkbitDeployerRun, InstallationThatRebootsIsRecordedWhileItRuns) {
    part.script.will_reboot = true;
    make(scripted_deployment(1));

    tick(ticks_to_installer - 1);
    EXPECT_EQ(platform.config.values.count(rebooted_key), 0U);
    tick(1);
    EXPECT_EQ(platform.config.values[rebooted_key], "1");
    run_to_end();

    EXPECT_EQ(platform.config.values[rebooted_key], "0");
}

TEST_F(HawkbitDeployerRun, InstallationWithoutRebootIsNotRecorded) {
    make(scripted_deployment(1));

    run_to_end();

    EXPECT_EQ(platform.config.values.count(rebooted_key), 0U);
}

TEST_F(HawkbitDeployerRun, RebootThatCannotBeRecordedIsLogged) {
    part.script.will_reboot = true;
    platform.config.read_only_keys.insert(rebooted_key);
    make(scripted_deployment(1));

    run_to_end();

    EXPECT_TRUE(deployer->is_finished());
    EXPECT_THAT(log.text(), HasSubstr(" store_rebooted: action=store_rebooted "
                                      "message=could not store config entry "
                                      "key=zephran.service.rebooted value=1"));
}

TEST_F(HawkbitDeployerRun, AcceptedPartIsInstalled) {
    context.accepted_parts = {"other", "scripted"};
    make(scripted_deployment(1));

    run_to_end();

    EXPECT_TRUE(deployer->is_finished());
    EXPECT_THAT(part.script.started, ElementsAre("a:1"));
}

TEST_F(HawkbitDeployerRun, GuardsAndActionsAreLoggedWithTheirNames) {
    make(scripted_deployment(1));

    run_to_end();

    for (const char* const name :
         {"chunk_already_installed", "chunks_left", "artifacts_left", "download_artifact",
          "verify_artifact", "select_next_artifact", "start_installer", "installer_done",
          "remove_artifacts", "select_next_chunk"}) {
        EXPECT_THAT(log.text(), HasSubstr(std::string{"event="} + name + " fsm="));
    }
    EXPECT_THAT(log.text(), Not(HasSubstr("event=cleanup")));
}

}  // namespace
}  // namespace zephran::test
