// SPDX-License-Identifier: Apache-2.0
#include "installer/firmware_version.h"

#include <gtest/gtest.h>

#include "common/popen.h"
#include "common/record.h"
#include "installer/exceptions.h"
#include "support/temporary_directory.h"

namespace zephran::installer {
namespace {

class FirmwareVersion : public testing::Test {
protected:
    std::string version_in(const std::string& text) {
        return get_installed_nevra_version(directory.write("nevra-version", text));
    }

    TemporaryDirectory directory;
};

TEST_F(FirmwareVersion, IsReadFromTheFileOfTheFirmware) {
    EXPECT_STREQ(nevra_version_file, "/etc/nevra-version");
}

TEST_F(FirmwareVersion, JoinsVersionAndDate) {
    EXPECT_EQ(version_in("FIRMWARE_VERSION=2.1\nFIRMWARE_DATE=20260101\n"), "2.1_20260101");
}

TEST_F(FirmwareVersion, QuotesAndOtherVariablesAreLeftToTheShell) {
    EXPECT_EQ(version_in("# built by hand\nBASE=2\nFIRMWARE_VERSION=\"$BASE.1\"\n"
                         "FIRMWARE_DATE='20260101'\nFIRMWARE_NAME=gateway\n"),
              "2.1_20260101");
}

TEST_F(FirmwareVersion, EndsAtTheFirstWhiteSpace) {
    EXPECT_EQ(version_in("FIRMWARE_VERSION='2.1 beta'\nFIRMWARE_DATE=20260101\n"), "2.1");
    EXPECT_EQ(version_in("FIRMWARE_VERSION=2.1\nFIRMWARE_DATE='20260101 night'\n"), "2.1_20260101");
    EXPECT_EQ(version_in("echo 3.0\nFIRMWARE_VERSION=2.1\n"), "3.0");
}

TEST_F(FirmwareVersion, UndefinedVariablesAreEmpty) {
    EXPECT_EQ(version_in(""), "_");
    EXPECT_EQ(version_in("FIRMWARE_VERSION=2.1\n"), "2.1_");
}

TEST_F(FirmwareVersion, StatusOfTheLastCommandInTheFileDoesNotCount) {
    EXPECT_EQ(version_in("FIRMWARE_VERSION=2.1\nFIRMWARE_DATE=20260101\nfalse\n"), "2.1_20260101");
}

TEST_F(FirmwareVersion, SlowFileIsWaitedFor) {
    EXPECT_EQ(version_in("sleep 1.2\nFIRMWARE_VERSION=2.1\nFIRMWARE_DATE=20260101\n"),
              "2.1_20260101");
}

TEST_F(FirmwareVersion, MissingFileIsAFailure) {
    EXPECT_THROW(static_cast<void>(get_installed_nevra_version(directory.path("missing"))),
                 ProgramExecutionFailedException);
}

TEST_F(FirmwareVersion, FailureCarriesExitCodeAndOutput) {
    const std::string path = directory.write("nevra-version", "echo '<b>broken</b>'\nexit 3\n");

    try {
        static_cast<void>(get_installed_nevra_version(path));
        FAIL() << "no exception";
    } catch (const ProgramExecutionFailedException& error) {
        EXPECT_STREQ(error.what(), "External program returned an error");
        EXPECT_EQ(describe_records(error),
                  "popen_command: . " + path +
                      "; echo -n ${FIRMWARE_VERSION}_${FIRMWARE_DATE}\n"
                      "program_exit_code: 3\nprogram_output: <b>broken</b>\n");
    }
}

TEST_F(FirmwareVersion, ShellThatIsKilledIsAFailure) {
    EXPECT_THROW(static_cast<void>(version_in("kill -9 $$\n")),
                 common::AbnormalTerminationException);
}

}  // namespace
}  // namespace zephran::installer
