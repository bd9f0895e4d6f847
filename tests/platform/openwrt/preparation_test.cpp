// SPDX-License-Identifier: Apache-2.0
#include "openwrt/preparation.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "common/popen.h"
#include "support/captured_log.h"
#include "support/temporary_directory.h"

namespace zephran::platform::openwrt {

namespace {

class PreparationTest : public testing::Test {
protected:
    /// Writes a program that records its arguments and then runs a command.
    std::string program(const std::string& name, const std::string& ending = "exit 0") const {
        const std::string path = directory.write(
            name, "#!/bin/sh\necho \"$0 $*\" >>" + directory.path("calls") + "\n" + ending + "\n");
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        return path;
    }
    [[nodiscard]] std::string calls() const { return directory.read("calls"); }

    TemporaryDirectory directory;
    Preparation::Environment programs{directory.path("download.sh"), directory.path("service")};
    Preparation preparation{programs};
};

TEST_F(PreparationTest, DownloadScriptRunsOnceForTwoFirmwareParts) {
    program("download.sh");

    preparation.prepare_download("os");
    preparation.prepare_download("os");

    EXPECT_EQ(calls(), programs.download_script + " \n");
}

TEST_F(PreparationTest, ProgramsThatMeetTheLimitHaveFailedAndAreRunAgain) {
    program("download.sh", "exec sleep 60");
    program("service", "exec sleep 60");
    const Preparation::Limit limit = std::chrono::milliseconds{200};

    for (int times = 0; times < 2; ++times) {
        EXPECT_THROW(preparation.prepare_download("os", limit),
                     common::AbnormalTerminationException);
    }
    EXPECT_THROW(preparation.prepare_install("os", limit), common::AbnormalTerminationException);

    EXPECT_EQ(calls(), programs.download_script + " \n" + programs.download_script + " \n" +
                           programs.service_script + " stop\n");
}

TEST_F(PreparationTest, OtherPartsRunNothing) {
    program("download.sh");
    program("service");

    for (const char* const part : {"app", "", "OS", "os "}) {
        preparation.prepare_download(part);
        preparation.prepare_install(part);
    }

    EXPECT_EQ(calls(), "");
}

TEST_F(PreparationTest, OtherPartsBeforeTheFirmwareDoNotCount) {
    program("download.sh");

    preparation.prepare_download("app");
    preparation.prepare_download("os");

    EXPECT_EQ(calls(), programs.download_script + " \n");
}

TEST_F(PreparationTest, ServiceIsStoppedOnce) {
    program("service");

    preparation.prepare_install("os");
    preparation.prepare_install("os");

    EXPECT_EQ(calls(), programs.service_script + " stop\n");
}

TEST_F(PreparationTest, DownloadAndInstallationAreIndependent) {
    program("download.sh");
    program("service");

    preparation.prepare_install("os");
    preparation.prepare_download("os");

    EXPECT_EQ(calls(), programs.service_script + " stop\n" + programs.download_script + " \n");
}

TEST_F(PreparationTest, MissingServiceIsCheckedAgain) {
    const CapturedLog log;

    preparation.prepare_install("os");
    EXPECT_EQ(calls(), "");
    program("service");
    preparation.prepare_install("os");

    EXPECT_EQ(calls(), programs.service_script + " stop\n");
    EXPECT_EQ(log.text(), "");
}

TEST_F(PreparationTest, FailingScriptIsNotRepeated) {
    program("download.sh", "exit 3");
    program("service", "exit 3");

    preparation.prepare_download("os");
    preparation.prepare_download("os");
    preparation.prepare_install("os");
    preparation.prepare_install("os");

    EXPECT_EQ(calls(), programs.download_script + " \n" + programs.service_script + " stop\n");
}

TEST_F(PreparationTest, ScriptThatIsKilledUnderItsShellIsOnlyAnExitCode) {
    program("download.sh", "kill -KILL $$");

    // The trailing command keeps shells from becoming the script.
    programs.download_script += "; exit $?";
    preparation = Preparation{programs};
    preparation.prepare_download("os");
    preparation.prepare_download("os");

    EXPECT_EQ(calls(), directory.path("download.sh") + " \n");
}

TEST_F(PreparationTest, KilledScriptIsAnExceptionAndIsRunAgain) {
    programs.download_script = "echo called >>" + directory.path("calls") + "; kill -KILL $$";
    preparation = Preparation{programs};
    const CapturedLog log;

    EXPECT_THROW(preparation.prepare_download("os"), common::AbnormalTerminationException);
    EXPECT_THROW(preparation.prepare_download("os"), common::AbnormalTerminationException);

    EXPECT_EQ(calls(), "called\ncalled\n");
    EXPECT_EQ(log.text(), "");
}

TEST_F(PreparationTest, KilledServiceScriptIsAnExceptionAndIsRunAgain) {
    program("service", "kill -KILL $PPID");

    EXPECT_THROW(preparation.prepare_install("os"), common::AbnormalTerminationException);
    EXPECT_THROW(preparation.prepare_install("os"), common::AbnormalTerminationException);

    const std::string call = programs.service_script + " stop\n";
    EXPECT_EQ(calls(), call + call);
}

TEST(PreparationEnvironment, DefaultsToTheProgramsOfTheDevice) {
    const Preparation::Environment programs;

    EXPECT_EQ(programs.download_script, "/sbin/prepare_download.sh");
    EXPECT_EQ(programs.service_script, "/etc/init.d/opensync");
}

}  // namespace

}  // namespace zephran::platform::openwrt
