// SPDX-License-Identifier: Apache-2.0
#include "installer/script_installer.h"

#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "installer/installer_factory.h"
#include "support/captured_log.h"
#include "support/fake_platform.h"
#include "support/make_chunk.h"

namespace zephran::installer {

namespace {

class ScriptInstallerTest : public testing::Test {
protected:
    /// Assigns a chunk with these artifacts and takes the steps that check and start it.
    void start(const std::vector<std::string>& artifacts) {
        installer.assign(make_chunk("script", artifacts), attributes);
        installer.tick();
        installer.tick();
    }

    FakePlatform platform;
    hawkbit::Attributes attributes;
    ScriptInstaller installer;
};

TEST_F(ScriptInstallerTest, OutputOfASuccessfulScriptIsReported) {
    platform.directory.write("update.sh", "#!/bin/sh\necho ok\n");

    start({"update.sh"});
    EXPECT_EQ(installer.hawkbit_log(), "ok\n");
    EXPECT_FALSE(installer.is_finished());
    installer.tick();

    EXPECT_TRUE(installer.is_finished());
    EXPECT_FALSE(installer.error().has_error);
}

TEST_F(ScriptInstallerTest, ScriptBecomesExecutableForTheOwnerAlone) {
    const std::string path = platform.directory.write("update.sh", "#!/bin/sh\n");

    start({"update.sh"});

    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms::owner_all);
}

TEST_F(ScriptInstallerTest, ScriptThatCannotBecomeExecutableIsLogged) {
    const CapturedLog log{"WARNING"};
    platform.directory.write("update.sh", "#!/bin/sh\n");
    start({"update.sh"});
    EXPECT_EQ(log.text(), "");

    ScriptInstaller other;
    other.assign(make_chunk("script", {"absent.sh"}), attributes);
    other.tick();
    other.tick();

    EXPECT_EQ(logged_after("message=could not make script executable ", log.text()),
              std::vector<std::string>{"path=" + platform.directory.path("absent.sh") +
                                       " what=No such file or directory"});
}

TEST_F(ScriptInstallerTest, ItIsSaidBeforeTheScriptIsRun) {
    const std::string trace = platform.directory.path("ran");
    platform.directory.write("update.sh", "#!/bin/sh\n: >" + trace + "\n");
    bool had_run = true;
    installer.call_before_beginning([&](const auto&) { had_run = std::filesystem::exists(trace); });

    start({"update.sh"});

    EXPECT_FALSE(had_run);
    EXPECT_TRUE(std::filesystem::exists(trace));
}

TEST_F(ScriptInstallerTest, ScriptIsNotRunIfThatFails) {
    const std::string trace = platform.directory.path("ran");
    platform.directory.write("update.sh", "#!/bin/sh\n: >" + trace + "\n");
    installer.call_before_beginning(
        [](const auto&) { ZEPHRAN_THROW(common::NotImplementedException{}); });

    start({"update.sh"});

    EXPECT_TRUE(installer.error().has_error);
    EXPECT_FALSE(std::filesystem::exists(trace));
}

TEST_F(ScriptInstallerTest, TargetOfALinkKeepsItsPermissions) {
    const TemporaryDirectory outside;
    const std::string target = outside.write("target", "#!/bin/sh\n");
    const auto permissions = std::filesystem::status(target).permissions();
    std::filesystem::create_symlink(target, platform.directory.path("update.sh"));

    start({"update.sh"});

    EXPECT_EQ(std::filesystem::status(target).permissions(), permissions);
    EXPECT_TRUE(installer.error().has_error);
}

TEST_F(ScriptInstallerTest, PipeIsNeitherWaitedForNorMadeExecutable) {
    const std::string pipe = platform.directory.path("update.sh");
    ASSERT_EQ(mkfifo(pipe.c_str(), S_IRUSR | S_IWUSR), 0);

    start({"update.sh"});

    EXPECT_EQ(std::filesystem::status(pipe).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    EXPECT_TRUE(installer.error().has_error);
}

TEST_F(ScriptInstallerTest, ExitCodeOfAFailedScriptIsReported) {
    platform.directory.write("update.sh", "#!/bin/sh\necho no room\nexit 2\n");

    start({"update.sh"});

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_FALSE(installer.is_finished());
    EXPECT_EQ(installer.error().error_message, "Script returned an error");
    EXPECT_EQ(installer.error().error_details, "script_exit_code: 2\nscript_output: no room\n");
    EXPECT_EQ(installer.hawkbit_log(), "no room\n");
}

TEST_F(ScriptInstallerTest, MissingScriptFails) {
    start({"absent.sh"});

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_EQ(installer.error().error_message, "Script returned an error");
    EXPECT_NE(installer.error().error_details.find("script_exit_code: 127"), std::string::npos);
}

TEST_F(ScriptInstallerTest, OnlyTheFirstOfTwoArtifactsIsRun) {
    platform.directory.write("first.sh", "#!/bin/sh\necho first\n");
    platform.directory.write("second.sh", "#!/bin/sh\necho second\n");

    start({"first.sh", "second.sh"});
    installer.tick();

    EXPECT_TRUE(installer.is_finished());
    EXPECT_EQ(installer.hawkbit_log(), "first\n");
}

TEST_F(ScriptInstallerTest, ChunkWithoutArtifactsIsRefused) {
    start({});

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_EQ(installer.error().error_message, "Found unexpected number of artifacts");
    EXPECT_EQ(installer.error().error_details, "expected_count: 1\nreceived_count: 0");
}

TEST_F(ScriptInstallerTest, ResumedInstallationIsFinishedWithoutRunningAnything) {
    platform.directory.write("update.sh", "#!/bin/sh\necho again\n");
    installer.assign(make_chunk("script", {"update.sh"}), attributes);

    installer.resume();
    installer.tick();

    EXPECT_TRUE(installer.is_finished());
    EXPECT_EQ(installer.hawkbit_log(), "");
}

TEST_F(ScriptInstallerTest, CancelAfterTheStartIsRefused) {
    platform.directory.write("update.sh", "#!/bin/sh\n");
    start({"update.sh"});

    installer.cancel();
    EXPECT_EQ(installer.error().error_message, "Installation cannot be cancelled");
    EXPECT_FALSE(installer.is_cancelled());
    installer.tick();

    EXPECT_TRUE(installer.is_finished());
}

TEST_F(ScriptInstallerTest, KeepsNoRecordAndCanBeResumed) {
    EXPECT_FALSE(installer.records_installed_version());
    EXPECT_FALSE(installer.will_reboot());
    EXPECT_TRUE(installer.can_resume());

    platform.directory.write("update.sh", "#!/bin/sh\n");
    start({"update.sh"});
    installer.tick();

    EXPECT_TRUE(installer.is_finished());
    EXPECT_TRUE(platform.config.writes.empty());
}

TEST_F(ScriptInstallerTest, IsRegisteredForScripts) {
    const auto created = InstallerFactory::create_installer("script", {});

    EXPECT_NE(dynamic_cast<ScriptInstaller*>(created.get()), nullptr);
}

TEST(ScriptInstallerTimeLimit, IsFifteenMinutes) {
    EXPECT_EQ(ScriptInstaller::default_time_limit, std::chrono::minutes{15});
}

TEST(ScriptInstallerTimeLimit, ScriptThatExceedsItIsKilled) {
    const FakePlatform platform;
    const hawkbit::Attributes attributes;
    platform.directory.write("update.sh", "#!/bin/sh\necho $$\nexec sleep 1000\n");
    common::TimeLimits limits;
    limits.term_to_kill = std::chrono::milliseconds{20};
    ScriptInstaller installer{std::chrono::milliseconds{500}, limits};
    installer.assign(make_chunk("script", {"update.sh"}), attributes);

    installer.tick();
    installer.tick();

    EXPECT_TRUE(installer.is_cancelled());
    EXPECT_EQ(installer.error().error_message, "Program terminated abnormally");
    const std::string output_record = "program_output: ";
    const auto output = installer.error().error_details.find(output_record);
    ASSERT_NE(output, std::string::npos) << installer.error().error_details;
    const int script =
        std::stoi(installer.error().error_details.substr(output + output_record.size()));
    EXPECT_EQ(kill(script, 0), -1) << "the script is still running";
}

}  // namespace

}  // namespace zephran::installer
