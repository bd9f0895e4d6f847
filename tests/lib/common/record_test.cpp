// SPDX-License-Identifier: Apache-2.0
#include "common/record.h"

#include <stdexcept>
#include <string>

#include <boost/exception/diagnostic_information.hpp>
#include <boost/exception/errinfo_api_function.hpp>
#include <boost/exception/errinfo_errno.hpp>
#include <gtest/gtest.h>

#include "common/exception.h"
#include "common/popen.h"

namespace zephran::common {

// Not in the unnamed namespace: a second namespace `record` there would be ambiguous for the other
// tests of this folder, which are compiled together with sanitizers.
namespace record_test {
ZEPHRAN_RECORD(late_test, std::string, reported_at(902));
ZEPHRAN_RECORD(early_test, int, reported_at(901));
ZEPHRAN_RECORD(secret_test, std::string, not_reported);
static_assert(!secret_test_description.rank.shown, "it is not to be shown");
ZEPHRAN_REPORTED(late_test);
ZEPHRAN_REPORTED(early_test);
}  // namespace record_test

namespace {

using record_test::early_test_tag;
using record_test::late_test_tag;
using record_test::secret_test_tag;

TEST(Record, IsShownUnderTheNameItWasDeclaredWith) {
    EXPECT_EQ(describe_records(NotImplementedException{} << early_test_tag{7}), "early_test: 7");
}

TEST(Record, IsPrintedInTheOrderOfPositions) {
    EXPECT_EQ(
        describe_records(NotImplementedException{} << late_test_tag{"b"} << early_test_tag{1}),
        "early_test: 1\nlate_test: b");
}

TEST(Record, ThoseOfBoostHaveTheirNames) {
    EXPECT_EQ(describe_records(NotImplementedException{} << boost::errinfo_errno{7}
                                                         << boost::errinfo_api_function{"fork"}),
              "api_function: fork\nerrno: 7");
}

TEST(Record, IsLeftOutWhenItIsNotReported) {
    EXPECT_EQ(
        describe_records(NotImplementedException{} << secret_test_tag{"x"} << early_test_tag{1}),
        "early_test: 1");
}

TEST(Record, IsInTheDiagnosticTextEvenWhenItIsNotReported) {
    const std::string text =
        boost::diagnostic_information(NotImplementedException{} << secret_test_tag{"x17"});

    EXPECT_NE(text.find("x17"), std::string::npos);
}

TEST(Record, HasTheNameOfItsTagInTheDiagnosticText) {
    const std::string text =
        boost::diagnostic_information(NotImplementedException{} << filename_tag{"/some/file"});

    EXPECT_NE(text.find("::filename_tag*] = /some/file"), std::string::npos) << text;
}

TEST(Record, ThrownExceptionHasOneLineARecordAndNoSourceLocation) {
    try {
        ZEPHRAN_THROW(AbnormalTerminationException{}
                      << program_output_tag{"first\n  <b>second</b>\n"} << filename_tag{"tool"}
                      << program_exit_code_tag{15});
    } catch (const std::exception& error) {
        EXPECT_EQ(describe_records(error),
                  "filename: tool\n"
                  "program_exit_code: 15\n"
                  "program_output: first\n  <b>second</b>\n");
    }
}

TEST(Record, ThrownExceptionWithoutRecordsHasNone) {
    try {
        ZEPHRAN_THROW(NotImplementedException{});
    } catch (const std::exception& error) {
        EXPECT_EQ(describe_records(error), "");
    }
}

TEST(Record, ThrownStandardExceptionKeepsItsRecords) {
    try {
        ZEPHRAN_THROW(boost::enable_error_info(std::invalid_argument{"odd"})
                      << late_test_tag{"os"});
    } catch (const std::exception& error) {
        EXPECT_EQ(describe_records(error), "late_test: os");
    }
}

TEST(Record, ExceptionWithoutBoostHasNone) {
    EXPECT_EQ(describe_records(std::runtime_error{"odd"}), "");
}

TEST(Record, IsALineEvenWhenItIsEmpty) {
    EXPECT_EQ(
        describe_records(NotImplementedException{} << early_test_tag{500} << late_test_tag{""}),
        "early_test: 500\nlate_test: ");
}

}  // namespace
}  // namespace zephran::common
