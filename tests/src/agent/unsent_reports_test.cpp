// SPDX-License-Identifier: Apache-2.0
#include "agent/unsent_reports.h"

#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "http/exceptions.h"
#include "support/captured_log.h"
#include "support/temporary_directory.h"

namespace zephran {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using Kind = UnsentReport::Kind;

constexpr std::chrono::minutes least_backoff{5};
constexpr unsigned no_answer = 0;
constexpr unsigned taken = 200;

class UnsentReportsTest : public ::testing::Test {
protected:
    void add(Kind kind, const std::string& text, const std::string& more = "more") {
        UnsentReport report;
        report.kind = kind;
        report.address = common::URI{"https://update.example/feedback"};
        report.document["status"]["details"].append(text);
        report.document["status"]["details"].append(more);
        reports.add(std::move(report));
    }

    void send(const UnsentReport& report) {
        const Json::Value& details = report.document["status"]["details"];
        sent.push_back(details[0].asString() + "/" + std::to_string(details.size()));
        const unsigned status = std::exchange(answer, answer_after_it.value_or(answer));
        if (status == no_answer) {
            ZEPHRAN_THROW(http::HttpRequestException{}
                          << http::curlcode_tag{CURLE_COULDNT_CONNECT});
        }
        if (status != taken) {
            ZEPHRAN_THROW(http::HttpErrorCodeException{} << http::httpcode_tag{status}
                                                         << http::httpurl_tag{"second line"});
        }
    }

    ReportFile file() { return {common::URI{"https://update.example/gw-1"}, state.path() + "/"}; }

    void let_pass(std::chrono::seconds time) {
        now += time;
        reports.send_due();
    }

    CapturedLog log;
    TemporaryDirectory state;
    unsigned answer = taken;
    std::optional<unsigned> answer_after_it;
    std::vector<std::string> sent;
    UnsentReports::time_point now = std::chrono::system_clock::from_time_t(1'700'000'000);
    UnsentReports reports{[this](const UnsentReport& report) { send(report); },
                          [this] { return now; },
                          common::BackoffTimer{std::chrono::hours{24}, least_backoff, 7}};
};

TEST_F(UnsentReportsTest, AreSentAtOnceAndInOrder) {
    add(Kind::step, "first");
    add(Kind::start, "second");
    reports.send_due();

    EXPECT_THAT(sent, ElementsAre("first/2", "second/2"));
    EXPECT_TRUE(reports.empty());
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(UnsentReportsTest, WaitForABackOffThatGrows) {
    answer = no_answer;
    add(Kind::step, "first");
    std::vector<UnsentReports::time_point> attempts;
    for (unsigned second = 0; second < 24 * 3600; ++second) {
        const std::size_t before = sent.size();
        let_pass(std::chrono::seconds{1});
        if (sent.size() != before) {
            attempts.push_back(now);
        }
    }

    ASSERT_GE(attempts.size(), 3U);
    EXPECT_LE(attempts.size(), 30U);
    EXPECT_LE(attempts[1] - attempts[0], 2 * least_backoff + std::chrono::seconds{1});
    EXPECT_FALSE(reports.empty());
    EXPECT_THAT(log.text(), HasSubstr("WARNING"));
    EXPECT_THAT(log.text(), HasSubstr("event=report_kept"));
    EXPECT_THAT(log.text(), HasSubstr("curlcode: 7"));
}

TEST_F(UnsentReportsTest, BackOffIsShortAgainAfterAnAnswer) {
    answer = no_answer;
    add(Kind::step, "first");
    for (unsigned failures = 0; failures < 8; ++failures) {
        let_pass(std::chrono::hours{24});
    }
    answer = taken;
    let_pass(std::chrono::hours{24});
    ASSERT_TRUE(reports.empty());

    answer = no_answer;
    add(Kind::step, "second");
    reports.send_due();

    EXPECT_LE(reports.retry_time() - now, 2 * least_backoff);
}

TEST_F(UnsentReportsTest, NoneOvertakesTheOneThatWaits) {
    answer = 503;
    add(Kind::step, "first");
    reports.send_due();
    add(Kind::closing, "second");
    answer = taken;
    reports.send_due();
    EXPECT_THAT(sent, ElementsAre("first/2"));

    let_pass(2 * least_backoff);

    EXPECT_THAT(sent, ElementsAre("first/2", "first/2", "second/2"));
    EXPECT_TRUE(reports.empty());
}

TEST_F(UnsentReportsTest, BackOffCanBeCutShort) {
    answer = 503;
    add(Kind::step, "first");
    reports.send_due();
    answer = taken;

    reports.hurry();
    reports.send_due();

    EXPECT_TRUE(reports.empty());
}

TEST_F(UnsentReportsTest, ClockThatIsSetBackDoesNotProlongTheBackOff) {
    answer = 503;
    add(Kind::step, "first");
    reports.send_due();
    answer = taken;

    let_pass(-std::chrono::hours{1000});

    EXPECT_TRUE(reports.empty());
}

TEST_F(UnsentReportsTest, RefusedOneIsSentOnceMoreWithItsFirstDetail) {
    answer = 413;
    add(Kind::closing, "message", "details");
    reports.send_due();

    EXPECT_THAT(sent, ElementsAre("message/2", "message/1"));
    EXPECT_TRUE(reports.empty());
    EXPECT_THAT(log.text(), HasSubstr("event=report_shortened"));
    EXPECT_THAT(log.text(), HasSubstr("ERROR"));
    EXPECT_THAT(log.text(), HasSubstr("event=report_dropped"));
    EXPECT_THAT(log.text(), HasSubstr("HTTP server returned an error code, httpcode: 413\n"));
    EXPECT_THAT(log.text(), Not(HasSubstr("second line")));
}

TEST_F(UnsentReportsTest, ObsoleteOneIsDroppedWithAWarning) {
    for (const unsigned status : {404U, 410U}) {
        answer = status;
        add(Kind::closing, "message");
        reports.send_due();

        EXPECT_TRUE(reports.empty());
    }

    EXPECT_THAT(sent, ElementsAre("message/2", "message/2"));
    EXPECT_THAT(log.text(), HasSubstr("WARNING"));
    EXPECT_THAT(log.text(), Not(HasSubstr("ERROR")));
}

TEST_F(UnsentReportsTest, ObsoleteOneIsToldOnce) {
    answer = 400;
    add(Kind::step, "step");
    reports.send_due();
    EXPECT_FALSE(reports.take_obsolete());

    answer = 410;
    add(Kind::step, "step");
    reports.send_due();
    EXPECT_TRUE(reports.take_obsolete());
    EXPECT_FALSE(reports.take_obsolete());
}

TEST_F(UnsentReportsTest, DroppedStartIsToldOnce) {
    answer = 410;
    add(Kind::step, "step");
    reports.send_due();
    EXPECT_EQ(reports.take_dropped_start(), std::nullopt);

    add(Kind::start, "start");
    reports.send_due();
    EXPECT_EQ(reports.take_dropped_start(), ReportFate::obsolete);
    EXPECT_EQ(reports.take_dropped_start(), std::nullopt);

    answer = 400;
    add(Kind::start, "start");
    reports.send_due();
    EXPECT_EQ(reports.take_dropped_start(), ReportFate::refused);
}

TEST_F(UnsentReportsTest, SayWhetherAStepWaits) {
    answer = no_answer;
    EXPECT_FALSE(reports.holds_step());
    add(Kind::closing, "end");
    EXPECT_FALSE(reports.holds_step());
    add(Kind::step, "step");
    EXPECT_TRUE(reports.holds_step());
}

TEST_F(UnsentReportsTest, ClosingOneIsInTheFileUntilItIsTaken) {
    reports.keep_in(file());
    answer = no_answer;
    add(Kind::closing, "end");
    EXPECT_TRUE(file().load());
    reports.send_due();
    EXPECT_TRUE(file().load());

    answer = taken;
    let_pass(2 * least_backoff);

    EXPECT_FALSE(file().load());
}

TEST_F(UnsentReportsTest, OthersAreNotKeptInTheFile) {
    reports.keep_in(file());
    answer = no_answer;

    add(Kind::start, "start");
    reports.send_due();

    EXPECT_FALSE(file().load());
}

TEST_F(UnsentReportsTest, ShortenedOneIsKeptShortened) {
    reports.keep_in(file());
    answer = 400;
    answer_after_it = 503;
    add(Kind::closing, "end");
    reports.send_due();

    EXPECT_TRUE(file().load()->is_shortened);
    answer = 400;
    answer_after_it.reset();
    let_pass(2 * least_backoff);

    EXPECT_THAT(sent, ElementsAre("end/2", "end/1", "end/1"));
    EXPECT_TRUE(reports.empty());
    EXPECT_FALSE(file().load());
}

TEST_F(UnsentReportsTest, NextProcessTakesItOver) {
    reports.keep_in(file());
    answer = no_answer;
    add(Kind::closing, "end");
    reports.send_due();
    sent.clear();
    answer = taken;
    UnsentReports next{[this](const UnsentReport& report) { send(report); }, [this] { return now; },
                       common::BackoffTimer{std::chrono::hours{24}, least_backoff, 7}};

    next.keep_in(file());
    next.send_due();

    EXPECT_THAT(sent, ElementsAre("end/2"));
    EXPECT_FALSE(file().load());
    EXPECT_THAT(log.text(), HasSubstr("event=report_restored"));
}

}  // namespace
}  // namespace zephran
