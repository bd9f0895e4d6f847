// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "plc_ghn_installer_test.h"

namespace zephran::installer {
namespace {

using ::testing::ElementsAreArray;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr const char* program_failed = "External program returned an error";
constexpr const char* device_is_gone = "Device did not return after reset";

class FailedPLCGhnInstallation : public PLCGhnInstallerTest {
protected:
    void expect_failure(const std::string& message, const std::string& details) {
        EXPECT_TRUE(installer.is_cancelled());
        EXPECT_FALSE(installer.is_finished());
        EXPECT_EQ(installer.error().error_message, message);
        EXPECT_EQ(installer.error().error_details, details);
        EXPECT_THAT(installer.error().error_details, Not(HasSubstr("hush")));
        EXPECT_THAT(platform.config.writes, IsEmpty());
    }
    void expect_no_device() {
        start();

        expect_failure("No G.hn controller or configuration was found", "");
        EXPECT_THAT(tools.calls(), IsEmpty());
        EXPECT_THAT(lines(), IsEmpty());
        EXPECT_EQ(installer.hawkbit_log(), "");
    }
    void expect_commands(unsigned count) const {
        EXPECT_THAT(tools.calls(), ElementsAreArray(first_commands(count)));
    }
};

TEST_F(FailedPLCGhnInstallation, NothingRunsWithoutAnInterface) {
    platform.config.values.erase("ghn.ghn.interface");
    expect_no_device();
}

TEST_F(FailedPLCGhnInstallation, NothingRunsWithoutAPassword) {
    platform.config.values.erase("ghn.ghn.password");
    expect_no_device();
}

TEST_F(FailedPLCGhnInstallation, NothingRunsWithoutAnAddress) {
    PLCGhnInstaller nobody{{}, std::chrono::milliseconds{0}};
    tools.add("configlayer", version("1.2"));
    nobody.assign(make_chunk("plc_ghn", {"modem.bin"}, "modem", "1.2"), attributes);

    nobody.tick();
    nobody.tick();

    EXPECT_TRUE(nobody.is_cancelled());
    EXPECT_EQ(nobody.error().error_message, "No G.hn controller or configuration was found");
    EXPECT_THAT(tools.calls(), IsEmpty());
}

TEST_F(FailedPLCGhnInstallation, ModemThatDoesNotAnswerAtFirst) {
    steps.ask = "echo no link; exit 3";
    start();
    expect_failure("configlayer returned an error",
                   "program_exit_code: 3\nconfiglayer_output: no link\n");
    expect_commands(1);
}

TEST_F(FailedPLCGhnInstallation, ModemWithAnInvalidFirstAnswer) {
    steps.ask = "echo no link";
    start();
    expect_failure("configlayer returned data in an unknown format",
                   "configlayer_output: no link\n");
    expect_commands(1);
}

TEST_F(FailedPLCGhnInstallation, KilledToolAtFirst) {
    steps.ask = "kill -9 0";
    start();
    expect_failure("Program terminated abnormally",
                   "popen_command: configlayer\nprogram_signal: 9\nprogram_output: ");
    expect_commands(1);
}

TEST_F(FailedPLCGhnInstallation, UpgradeThatIsNotAccepted) {
    steps.arm = "exit 4";
    start();
    expect_failure(program_failed, "popen_command: configlayer\nprogram_exit_code: 4");
    expect_commands(2);
    EXPECT_EQ(installer.hawkbit_log(), "");
}

TEST_F(FailedPLCGhnInstallation, ImageThatCannotBePushed) {
    steps.push = "echo half; exit 5";
    start();
    expect_failure(program_failed, "program_exit_code: 5\nprogram_output: half\n");
    expect_commands(3);
    EXPECT_EQ(installer.hawkbit_log(), "");
}

TEST_F(FailedPLCGhnInstallation, PushThatIsKilled) {
    steps.push = "echo half; kill -9 0";
    start();
    expect_failure("Program terminated abnormally",
                   "popen_command: l2fwserver\nprogram_signal: 9\nprogram_output: half\n");
    expect_commands(3);
}

TEST_F(FailedPLCGhnInstallation, StatusThatCannotBeReadIsStillReported) {
    steps.report = "echo STATUS=LOST; exit 6";
    start();
    expect_failure(program_failed, "program_exit_code: 6\nprogram_output: STATUS=LOST\n");
    expect_commands(4);
    EXPECT_EQ(installer.hawkbit_log(), "STATUS=LOST\n");
}

TEST_F(FailedPLCGhnInstallation, StatusToolThatIsKilled) {
    steps.report = "kill -9 0";
    start();
    expect_failure("Program terminated abnormally",
                   "popen_command: configlayer\nprogram_signal: 9\nprogram_output: ");
    expect_commands(4);
}

// The limit is set from within the push, when the first tools have been started already.
TEST_F(FailedPLCGhnInstallation, StatusToolThatCannotBeStarted) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "The sanitizers need descriptors of their own";
#endif
    rlimit original{};
    getrlimit(RLIMIT_NOFILE, &original);
    steps.push = "prlimit --pid " + std::to_string(getpid()) + " --nofile=0:";

    start();
    setrlimit(RLIMIT_NOFILE, &original);

    expect_failure("Failed to execute command",
                   "errno: " + std::to_string(EMFILE) + "\npopen_command: configlayer");
    expect_commands(3);
}

TEST_F(FailedPLCGhnInstallation, ModemThatRefusesTheReset) {
    steps.reset = "exit 7";
    start();
    expect_failure(program_failed, "popen_command: configlayer\nprogram_exit_code: 7");
    expect_commands(5);
    EXPECT_EQ(installer.hawkbit_log(), "FLUPGRADE.GENERAL.STATUS=READY\n");
}

TEST_F(FailedPLCGhnInstallation, ModemThatDoesNotReturn) {
    steps.ask_again = "exit 8";
    start();
    expect_failure(device_is_gone, "");
    expect_commands(6);
    EXPECT_EQ(installer.hawkbit_log(), "FLUPGRADE.GENERAL.STATUS=READY\n");
    EXPECT_THAT(lines(), Not(testing::Contains(HasSubstr("installation_finished"))));
}

TEST_F(FailedPLCGhnInstallation, ModemThatReturnsWithAnInvalidAnswer) {
    steps.ask_again = "echo booting";
    start();
    expect_failure(device_is_gone, "");
}

TEST_F(FailedPLCGhnInstallation, KilledQueryAfterTheReset) {
    steps.ask_again = "kill -9 0";
    start();
    expect_failure(device_is_gone, "");
}

TEST_F(FailedPLCGhnInstallation, ReasonWhyAModemDoesNotReturnIsLogged) {
    steps.ask_again = "echo no link; exit 8";
    start();
    EXPECT_THAT(log.text(), HasSubstr("version_after_reset: event=exception_caught"));
    EXPECT_THAT(log.text(), HasSubstr("configlayer returned an error"));
    EXPECT_THAT(log.text(), HasSubstr("no link"));
}

TEST_F(FailedPLCGhnInstallation, ModemThatReturnsWithAnotherVersion) {
    steps.ask_again = version("1.1");
    start();
    expect_failure("Expected version does not match the version that was found",
                   "expected_version: 1.2\nfound_version: 1.1");
    expect_commands(6);
    EXPECT_EQ(installer.hawkbit_log(), "FLUPGRADE.GENERAL.STATUS=READY\n");
}

TEST_F(FailedPLCGhnInstallation, PushWithoutItsTool) {
    tools.add("configlayer", "echo SYSTEM.GENERAL.FW_VERSION=1.0");
    installer.assign(make_chunk("plc_ghn", {"modem.bin"}, "modem", "1.2"), attributes);

    installer.tick();
    installer.tick();

    expect_failure(program_failed, "program_exit_code: 127\nprogram_output: ");
}

class TalkativeTools : public FailedPLCGhnInstallation {};

TEST_F(TalkativeTools, FirstAnswerWithThePassword) {
    steps.ask = "echo wrong word hush; exit 3";
    start();
    expect_failure("configlayer returned an error",
                   "program_exit_code: 3\nconfiglayer_output: wrong word ***\n");
}

TEST_F(TalkativeTools, PushThatRepeatsThePassword) {
    steps.push = "echo hush; exit 5";
    start();
    expect_failure(program_failed, "program_exit_code: 5\nprogram_output: ***\n");
}

TEST_F(TalkativeTools, KilledPushThatHasRepeatedThePassword) {
    steps.push = "echo hush; kill -9 0";
    start();
    expect_failure("Program terminated abnormally",
                   "popen_command: l2fwserver\nprogram_signal: 9\nprogram_output: ***\n");
}

TEST_F(TalkativeTools, StatusThatRepeatsThePassword) {
    steps.report = "echo \"$0 $*\"; exit 6";
    start();
    const std::string command = std::string{"configlayer -i br-lan -w *** -m "} + mac +
                                " -o GET -p FLUPGRADE.GENERAL.STATUS"
                                " -p FLUPGRADE.GENERAL.LAST_UPGRADE_INFO\n";
    EXPECT_THAT(installer.hawkbit_log(), EndsWith(command));
    EXPECT_THAT(installer.error().error_details, EndsWith(command));
    EXPECT_THAT(installer.error().error_details, Not(HasSubstr("hush")));
    EXPECT_THAT(installer.hawkbit_log(), Not(HasSubstr("hush")));
}

TEST_F(TalkativeTools, KilledStatusThatHasRepeatedThePassword) {
    steps.report = "echo hush; kill -9 0";
    start();
    expect_failure("Program terminated abnormally",
                   "popen_command: configlayer\nprogram_signal: 9\nprogram_output: ***\n");
}

TEST_F(TalkativeTools, OtherVersionWithThePassword) {
    steps.ask_again = version("1.1 hush");
    start();
    expect_failure("Expected version does not match the version that was found",
                   "expected_version: 1.2\nfound_version: 1.1 ***");
}

TEST_F(TalkativeTools, InstalledVersionWithThePassword) {
    steps.ask = version("1.2 hush");
    start();
    EXPECT_THAT(installer.hawkbit_log(), EndsWith(" 1.2 ***\n"));
}

}  // namespace
}  // namespace zephran::installer
