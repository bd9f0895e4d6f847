// SPDX-License-Identifier: Apache-2.0
#include "agent/unsent_report.h"

#include <stdexcept>

#include <gtest/gtest.h>

#include "http/exceptions.h"

namespace zephran {
namespace {

ReportFate fate_of(unsigned status) {
    return fate_after(http::HttpErrorCodeException{} << http::httpcode_tag{status});
}

TEST(FateOfAReport, ServerInTroubleMayTakeItLater) {
    for (const unsigned status : {408U, 425U, 429U, 500U, 502U, 503U, 504U, 599U}) {
        EXPECT_EQ(fate_of(status), ReportFate::waits) << status;
    }
}

TEST(FateOfAReport, MatterOfAccessOrOfAConflictMayPass) {
    for (const unsigned status : {401U, 407U, 409U}) {
        EXPECT_EQ(fate_of(status), ReportFate::waits) << status;
    }
}

TEST(FateOfAReport, NoAnswerMayBeOneLater) {
    EXPECT_EQ(fate_after(http::HttpRequestException{} << http::curlcode_tag{CURLE_COULDNT_CONNECT}),
              ReportFate::waits);
    EXPECT_EQ(fate_after(std::runtime_error{"odd"}), ReportFate::waits);
}

TEST(FateOfAReport, ActionThatHasEndedNeedsNone) {
    for (const unsigned status : {404U, 405U, 410U}) {
        EXPECT_EQ(fate_of(status), ReportFate::obsolete) << status;
    }
}

TEST(FateOfAReport, EverythingElseWouldBeRefusedAgain) {
    for (const unsigned status : {400U, 403U, 406U, 413U, 415U, 431U}) {
        EXPECT_EQ(fate_of(status), ReportFate::refused) << status;
    }
}

TEST(UnsentReportTest, IsShortenedToItsFirstDetail) {
    UnsentReport report;
    report.document["status"]["details"].append("first");
    report.document["status"]["details"].append("second");

    report.shorten();

    EXPECT_TRUE(report.is_shortened);
    ASSERT_EQ(report.document["status"]["details"].size(), 1U);
    EXPECT_EQ(report.document["status"]["details"][0], Json::Value{"first"});
}

TEST(UnsentReportTest, WithoutDetailsStaysAsItIs) {
    UnsentReport report;
    report.document["status"]["details"] = Json::Value{Json::arrayValue};

    report.shorten();

    EXPECT_EQ(report.document["status"]["details"], Json::Value{Json::arrayValue});
}

}  // namespace
}  // namespace zephran
