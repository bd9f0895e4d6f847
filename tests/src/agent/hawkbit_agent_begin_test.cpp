// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "support/agent_bench.h"

namespace zephran::test {
namespace {

/// The record of a begun installation, which strict_resume keeps.
class HawkbitAgentBegin : public ::testing::Test, protected AgentBench {
protected:
    static constexpr const char* begin_key = "zephran.device.begun_installation";

    static AgentSettings strict() {
        AgentSettings settings;
        settings.context.options.strict_resume = true;
        settings.options.installation.strict_resume = true;
        return settings;
    }
    bool has_record() { return platform.config.values.count(begin_key) != 0; }
    void ask_for_cancellation() {
        server.close_deployment();
        server.offer_cancel("7");
        agent->restart();
    }
};

TEST_F(HawkbitAgentBegin, IsRecordedUntilTheClosingReport) {
    part.script.steps_to_install = 2;
    start_deployment(scripted_deployment(2), strict());
    tick_while([this] { return part.script.started.size() < 2; });
    EXPECT_EQ(platform.config.values[begin_key], "7 scripted:b:2");

    run_to_end_of_deployment();

    EXPECT_FALSE(has_record());
}

TEST_F(HawkbitAgentBegin, IsForgottenAfterTheReportOfAFailure) {
    part.script.fails_while_installing = true;
    start_deployment(scripted_deployment(1), strict());

    run_to_end_of_deployment();

    EXPECT_FALSE(has_record());
}

TEST_F(HawkbitAgentBegin, StaysWhileTheActionIsOpenAtTheServer) {
    part.script.steps_to_install = 2;
    start_deployment(scripted_deployment(1), strict());
    tick_while([this] { return part.script.started.empty(); });

    agent->abort();
    run_to_end_of_deployment();

    EXPECT_TRUE(has_record());
}

TEST_F(HawkbitAgentBegin, StaysAfterTheReportOfAChunkThatIsNotTheLast) {
    start_deployment(scripted_deployment(2), strict());

    tick_while([this] { return server.deployment_feedbacks.size() < 2; });

    EXPECT_EQ(platform.config.values[begin_key], "7 scripted:a:1");
}

TEST_F(HawkbitAgentBegin, IsForgottenAfterTheReportOfACancellation) {
    part.script.steps_to_install = 100;
    start_deployment(scripted_deployment(1), strict());
    tick_while([this] { return part.script.started.empty(); });
    ask_for_cancellation();

    tick_while([this] { return server.cancel_feedbacks.empty(); });

    EXPECT_FALSE(has_record());
}

TEST_F(HawkbitAgentBegin, StaysAfterTheReportOfARefusedCancellation) {
    part.script.steps_to_install = 100;
    part.script.is_cancellable = false;
    start_deployment(scripted_deployment(1), strict());
    tick_while([this] { return part.script.started.empty(); });
    ask_for_cancellation();

    tick_while([this] { return server.cancel_feedbacks.empty(); });

    EXPECT_TRUE(has_record());
}

TEST_F(HawkbitAgentBegin, IsForgottenWithTheAnswerThatNothingRuns) {
    platform.config.values[begin_key] = "7 scripted:a:1";
    make_introduced(strict());

    ask_for_cancellation();
    tick_while([this] { return server.cancel_feedbacks.empty(); });

    EXPECT_FALSE(has_record());
}

TEST_F(HawkbitAgentBegin, ThatCannotBeForgottenIsLogged) {
    part.script.steps_to_install = 2;
    start_deployment(scripted_deployment(1), strict());
    tick_while([this] { return part.script.started.empty(); });
    tick();
    ASSERT_TRUE(has_record());
    platform.config.read_only = true;

    run_to_end_of_deployment();

    EXPECT_GT(count_logged("forget_begin: action=forget_begin"), 0U);
}

}  // namespace
}  // namespace zephran::test
