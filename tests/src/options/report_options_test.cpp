// SPDX-License-Identifier: Apache-2.0
#include "options/report_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/memory_config.h"

namespace zephran {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct ReadReportOptions : ::testing::Test {
    CapturedLog log;
    MemoryConfig config;
};

TEST_F(ReadReportOptions, AbsentOnesChangeNothingAndSayNothing) {
    const ReportOptions options = read_report_options(config);

    EXPECT_FALSE(options.codes);
    EXPECT_FALSE(options.retries);
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(ReadReportOptions, UnreadOnesChangeNothing) {
    EXPECT_FALSE(ReportOptions{}.codes);
    EXPECT_FALSE(ReportOptions{}.retries);
}

TEST_F(ReadReportOptions, AreFlagsOfTheService) {
    config.values["zephran.service.report_codes"] = "yes";

    EXPECT_TRUE(read_report_options(config).codes);
    EXPECT_FALSE(read_report_options(config).retries);
}

TEST_F(ReadReportOptions, AreIndependentOfEachOther) {
    config.values["zephran.service.report_retries"] = "1";

    EXPECT_FALSE(read_report_options(config).codes);
    EXPECT_TRUE(read_report_options(config).retries);
}

TEST_F(ReadReportOptions, CanBeSwitchedOff) {
    config.values["zephran.service.report_codes"] = "0";

    EXPECT_FALSE(read_report_options(config).codes);
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(ReadReportOptions, BadValuesAreNamedAndCountAsAbsent) {
    config.values["zephran.service.report_codes"] = "perhaps";

    EXPECT_FALSE(read_report_options(config).codes);
    EXPECT_THAT(log.text(), HasSubstr("event=bad_option option=report_codes value=perhaps"));
}

}  // namespace
}  // namespace zephran
