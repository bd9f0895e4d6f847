// SPDX-License-Identifier: Apache-2.0
#include "installer/failure_code.h"

#include <stdexcept>

#include <gtest/gtest.h>

#include "common/popen.h"
#include "ghn/exceptions.h"
#include "hawkbit/exceptions.h"
#include "http/exceptions.h"
#include "installer/exceptions.h"
#include "installer/hawkbit_installer.h"
#include "installer/installer_factory.h"
#include "installer/script_installer.h"

namespace zephran {
namespace {

using common::program_exit_code_tag;
using common::program_signal_tag;

TEST(FailureCode, HttpStatusStandsForItself) {
    EXPECT_EQ(code_of(http::HttpErrorCodeException{} << http::httpcode_tag{404U}), 404);
    EXPECT_EQ(code_of(http::HttpErrorCodeException{} << http::httpcode_tag{503U}), 503);
}

TEST(FailureCode, StatusCountsWhereLibcurlHasACodeToo) {
    EXPECT_EQ(code_of(http::HttpErrorCodeException{}
                      << http::httpcode_tag{404U} << http::curlcode_tag{CURLE_HTTP_RETURNED_ERROR}),
              404);
}

TEST(FailureCode, LibcurlsCodesBeginAtAThousand) {
    EXPECT_EQ(code_of(http::HttpRequestException{} << http::curlcode_tag{CURLE_OPERATION_TIMEDOUT}),
              1028);
    EXPECT_EQ(code_of(http::HttpRequestException{} << http::curlcode_tag{CURLE_PARTIAL_FILE}),
              1018);
}

TEST(FailureCode, ExitStatusesBeginAtTwoThousand) {
    EXPECT_EQ(code_of(installer::ProgramExecutionFailedException{} << program_exit_code_tag{1}),
              2001);
    EXPECT_EQ(code_of(installer::ScriptExecutionFailedException{}
                      << installer::script_exit_code_tag{127}),
              2127);
    EXPECT_EQ(code_of(ghn::ConfigLayerFailedException{} << program_exit_code_tag{3}), 2003);
    EXPECT_EQ(code_of(installer::PackageInstallFailedException{}
                      << installer::installer_exit_code_tag{255}),
              2255);
}

TEST(FailureCode, SignalsBeginAtThreeThousand) {
    EXPECT_EQ(code_of(common::AbnormalTerminationException{} << program_signal_tag{9}), 3009);
    EXPECT_EQ(code_of(installer::ProgramExecutionFailedException{} << program_signal_tag{15}),
              3015);
}

TEST(FailureCode, SignalsThatAShellTellsOfAreSignals) {
    const auto of_script = [](int status) {
        return code_of(installer::ScriptExecutionFailedException{}
                       << installer::script_exit_code_tag{status});
    };

    EXPECT_EQ(of_script(128), 2128);
    EXPECT_EQ(of_script(129), 3001);
    EXPECT_EQ(of_script(139), 3011);
    EXPECT_EQ(of_script(192), 3064);
    EXPECT_EQ(of_script(193), 2193);
    EXPECT_EQ(of_script(255), 2255);
}

TEST(FailureCode, WrongSumsAreChecksums) {
    EXPECT_EQ(code_of(hawkbit::ChecksumMismatchException{}), 4001);
    EXPECT_EQ(code_of(hawkbit::VerificationFailedException{}), 4001);
    EXPECT_EQ(code_of(installer::VerificationFailedException{}), 4001);
}

TEST(FailureCode, ImageThatDoesNotFitIsAMatterOfSpace) {
    EXPECT_EQ(code_of(installer::ImageTooLargeException{} << installer::image_size_tag{9}), 4002);
}

TEST(FailureCode, DownloadThatDoesNotFitIsAMatterOfSpace) {
    EXPECT_EQ(code_of(hawkbit::NotEnoughSpaceException{} << hawkbit::needed_tag{9}), 4002);
}

TEST(FailureCode, UnsafeNameHasOneOfItsOwn) {
    EXPECT_EQ(code_of(hawkbit::UnsafeFilenameException{}), 4003);
}

TEST(FailureCode, PartThatNothingInstallsHasOneOfItsOwn) {
    EXPECT_EQ(code_of(UnsupportedPartException{} << part_tag{"toaster"}), 4004);
}

TEST(FailureCode, WrongVersionHasOneOfItsOwn) {
    EXPECT_EQ(code_of(installer::VersionMismatchException{}), 4005);
}

TEST(FailureCode, TimeLimitHasOneOfItsOwn) {
    EXPECT_EQ(code_of(InstallationTimeoutException{}), 4006);
}

TEST(FailureCode, EverythingElseIsOther) {
    EXPECT_EQ(code_of(std::runtime_error{"odd"}), 4000);
    EXPECT_EQ(code_of(ArtifactCountMismatchException{}), 4000);
    EXPECT_EQ(code_of(CannotBeCancelledException{}), 4000);
    EXPECT_EQ(code_of(http::HttpRequestException{}), 4000);
}

}  // namespace
}  // namespace zephran
