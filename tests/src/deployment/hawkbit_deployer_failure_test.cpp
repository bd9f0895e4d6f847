// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "deployment/hawkbit_deployer.h"
#include "support/deployer_bench.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class HawkbitDeployerFailure : public ::testing::Test, protected DeployerBench {
protected:
    void expect_cancelled_with(const std::string& message) const {
        EXPECT_TRUE(deployer->is_cancelled());
        EXPECT_FALSE(deployer->is_finished());
        EXPECT_TRUE(deployer->error().has_error);
        EXPECT_EQ(deployer->error().error_message, message);
    }
};

TEST_F(HawkbitDeployerFailure, WrongChecksumDeletesTheFilesOfTheWholeDeployment) {
    DeploymentText text = scripted_deployment(3);
    text.chunks[1].artifacts[0].announced_content = "something else";
    make(text);
    platform.directory.write("c.bin", "left from an earlier attempt");

    run_to_end();

    expect_cancelled_with("Failed to verify artifact");
    EXPECT_EQ(deployer->error().error_details, "filename: " + platform.temp_directory + "b.bin");
    EXPECT_THAT(part.script.started, ElementsAre("a:1"));
    EXPECT_FALSE(has_file("b.bin"));
    EXPECT_FALSE(has_file("c.bin"));
}

TEST_F(HawkbitDeployerFailure, WrongChecksumIsNoticedBeforeTheNextDownload) {
    DeploymentText text = scripted_deployment(1);
    text.chunks[0].artifacts = {{"a.bin"}, {"b.bin"}};
    text.chunks[0].artifacts[0].announced_content = "something else";
    make(text);

    run_to_end();

    expect_cancelled_with("Failed to verify artifact");
    EXPECT_THAT(files.requests, ElementsAre(ArtifactText::secure_link("a.bin")));
}

TEST_F(HawkbitDeployerFailure, WrongChecksumIsLoggedAsTheCause) {
    DeploymentText text = scripted_deployment(1);
    text.chunks[0].artifacts[0].announced_content = "something else";
    make(text);

    run_to_end();

    EXPECT_THAT(log.text(), HasSubstr("Calculated checksum does not match the one provided"));
}

TEST_F(HawkbitDeployerFailure, FileThatVanishedFailsTheVerification) {
    make(scripted_deployment(1));
    tick(4);
    std::filesystem::remove(platform.directory.path("a.bin"));

    run_to_end();

    expect_cancelled_with("Failed to verify artifact");
    EXPECT_THAT(log.text(), HasSubstr("Failed to open file for reading"));
}

TEST_F(HawkbitDeployerFailure, RefusedDownloadNamesTheAddress) {
    make(scripted_deployment(1));
    files.files.clear();

    tick(4);

    expect_cancelled_with("HTTP server returned an error code");
    EXPECT_EQ(deployer->error().error_details,
              "httpcode: 404\nhttpurl: " + ArtifactText::secure_link("a.bin"));
    EXPECT_FALSE(has_file("a.bin"));
}

TEST_F(HawkbitDeployerFailure, LinkOfAnotherSchemeIsRefusedBeforeAnyTraffic) {
    DeploymentText text = scripted_deployment(1);
    text.chunks[0].artifacts[0].foreign_link = "file://localhost/dev/zero";
    make(text);

    run_to_end();

    expect_cancelled_with("Server supplied insecure URL");
    EXPECT_EQ(deployer->error().error_details, "url: file://localhost/dev/zero");
    EXPECT_THAT(files.requests, IsEmpty());
    EXPECT_FALSE(has_file("a.bin"));
}

TEST_F(HawkbitDeployerFailure, LinkWithoutAServerIsRefusedBeforeAnyTraffic) {
    DeploymentText text = scripted_deployment(1);
    text.chunks[0].artifacts[0].foreign_link = "https:x@127.0.0.1/a.bin";
    make(text);

    run_to_end();

    expect_cancelled_with("Server supplied insecure URL");
    EXPECT_EQ(deployer->error().error_details, "url: https:x@127.0.0.1/a.bin");
    EXPECT_THAT(files.requests, IsEmpty());
    EXPECT_FALSE(has_file("a.bin"));
}

TEST_F(HawkbitDeployerFailure, FileThatCannotBeWrittenNamesItsPath) {
    platform.temp_directory = platform.directory.path("missing") + "/";
    make(scripted_deployment(1));

    run_to_end();

    expect_cancelled_with("Failed to open file for writing");
    EXPECT_EQ(deployer->error().error_details, "filename: " + platform.temp_directory + "a.bin");
    EXPECT_THAT(files.requests, IsEmpty());
}

TEST_F(HawkbitDeployerFailure, PartWithoutInstallerIsUnsupported) {
    make({"7", {{"unheard_of", "a", "1", {{"a.bin"}}}}});

    run_to_end();

    expect_cancelled_with("Unsupported part in deployment");
    EXPECT_FALSE(has_file("a.bin"));
}

TEST_F(HawkbitDeployerFailure, PartThatTheTargetDoesNotAcceptIsUnsupported) {
    context.accepted_parts = {"other"};
    make(scripted_deployment(1));

    run_to_end();

    expect_cancelled_with("Unsupported part in deployment");
    EXPECT_THAT(part.script.started, IsEmpty());
    EXPECT_FALSE(has_file("a.bin"));
}

TEST_F(HawkbitDeployerFailure, InstallerThatCannotBeCreatedEndsTheDeploymentInTheSameTick) {
    part.script.fails_to_be_made = true;
    make(scripted_deployment(1));

    tick(ticks_to_installer);

    expect_cancelled_with("The installer failed as it was told");
    EXPECT_FALSE(deployer->has_installer());
    EXPECT_FALSE(has_file("a.bin"));
}

TEST_F(HawkbitDeployerFailure, InstallationThatDoesNotStartEndsTheDeploymentInTheNextTick) {
    part.script.fails_to_start = true;
    make(scripted_deployment(2));

    tick(ticks_to_installer + 1);
    EXPECT_TRUE(deployer->error().has_error);
    EXPECT_FALSE(deployer->is_cancelled());
    tick(1);

    expect_cancelled_with("The installer failed as it was told");
    EXPECT_EQ(deployer->error().error_details, "program_output: as told");
    EXPECT_THAT(part.script.started, ElementsAre("a:1"));
    EXPECT_THAT(files.requests, ElementsAre(ArtifactText::secure_link("a.bin")));
    EXPECT_FALSE(has_file("a.bin"));
}

TEST_F(HawkbitDeployerFailure, InstallationThatFailsLaterIsCancelledAndEndsTheDeployment) {
    part.script.fails_while_installing = true;
    part.script.steps_to_cancel = 2;
    make(scripted_deployment(2));

    run_to_end();

    expect_cancelled_with("The installer failed as it was told");
    EXPECT_EQ(part.script.cancellations, 1U);
    EXPECT_THAT(part.script.started, ElementsAre("a:1"));
    EXPECT_FALSE(has_file("a.bin"));
}

TEST_F(HawkbitDeployerFailure, FailedInstallationEndsAlthoughItRefusesToBeCancelled) {
    part.script.fails_while_installing = true;
    part.script.is_cancellable = false;
    make(scripted_deployment(2));

    run_to_end();

    expect_cancelled_with("The installer failed as it was told");
    EXPECT_THAT(part.script.started, ElementsAre("a:1"));
}

TEST_F(HawkbitDeployerFailure, FailedInstallationThatWouldHaveRebootedIsNoLongerRecorded) {
    part.script.will_reboot = true;
    part.script.fails_to_start = true;
    make(scripted_deployment(1));

    run_to_end();

    EXPECT_EQ(platform.config.values["zephran.service.rebooted"], "0");
}

TEST_F(HawkbitDeployerFailure, EndedDeploymentDoesNotChange) {
    part.script.fails_to_start = true;
    make(scripted_deployment(1));
    run_to_end();

    tick(5);

    expect_cancelled_with("The installer failed as it was told");
    EXPECT_THAT(part.script.started, ElementsAre("a:1"));
}

class HawkbitDeployerUnsafeName : public ::testing::TestWithParam<std::string>,
                                  protected DeployerBench {
protected:
    HawkbitDeployerUnsafeName() {
        outside.write("inner/kept", "");
        platform.temp_directory = outside.path("inner") + "/";
    }

    TemporaryDirectory outside;
};

TEST_P(HawkbitDeployerUnsafeName, IsNeitherDownloadedNorDeleted) {
    outside.write("evil", "precious");
    make({"7", {{"scripted", "a", "1", {{GetParam()}}}}});

    run_to_end();

    EXPECT_TRUE(deployer->is_cancelled());
    EXPECT_EQ(deployer->error().error_message, "Artifact file name is not safe to use");
    EXPECT_EQ(deployer->error().error_details, "filename: " + GetParam());
    EXPECT_THAT(files.requests, IsEmpty());
    EXPECT_THAT(platform.prepared_downloads, IsEmpty());
    EXPECT_EQ(outside.read("evil"), "precious");
    EXPECT_TRUE(outside.has("inner/kept"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator{outside.path("inner")}, {}), 1);
}

TEST_P(HawkbitDeployerUnsafeName, IsSkippedWhenTheFilesAreDeleted) {
    outside.write("evil", "precious");
    make({"7", {{"scripted", "a", "1", {{"a.bin"}}}, {"scripted", "b", "2", {{GetParam()}}}}});
    tick(4);
    ASSERT_TRUE(outside.has("inner/a.bin"));

    deployer->cancel();

    EXPECT_TRUE(deployer->is_cancelled());
    EXPECT_FALSE(outside.has("inner/a.bin"));
    EXPECT_EQ(outside.read("evil"), "precious");
    EXPECT_TRUE(outside.has("inner/kept"));
}

INSTANTIATE_TEST_SUITE_P(Names, HawkbitDeployerUnsafeName,
                         ::testing::Values("", ".", "..", "../evil", ".hidden", "-rf", "a/b",
                                           "inner/../../evil", "a b", "a;b", "$(a)", "a\nb", "a'b",
                                           "\xC3\xA4", "a\\b", "*"));

TEST_F(HawkbitDeployerFailure, FileThatHasChangedSinceItsVerificationIsNotInstalled) {
    make(scripted_deployment(1));
    tick(ticks_to_installer);
    ASSERT_TRUE(deployer->has_installer());
    platform.directory.write("a.bin", "Content of a.bin");

    run_to_end();

    EXPECT_TRUE(deployer->is_cancelled());
    EXPECT_THAT(part.script.started, IsEmpty());
    EXPECT_EQ(deployer->error().error_message, "Failed to verify artifact");
    EXPECT_EQ(deployer->error().error_details, "filename: " + platform.temp_directory + "a.bin");
    EXPECT_FALSE(has_file("a.bin"));
}

TEST_F(HawkbitDeployerFailure, EveryFileOfAChunkIsVerifiedBeforeItsInstallerStarts) {
    make({"7", {{"scripted", "pair", "1", {{"first"}, {"second"}}}}});
    while (!deployer->has_installer()) {
        tick(1);
    }
    platform.directory.write("second", "changed");

    run_to_end();

    EXPECT_THAT(part.script.started, IsEmpty());
    EXPECT_EQ(deployer->error().error_details, "filename: " + platform.temp_directory + "second");
}

}  // namespace
}  // namespace zephran::test
