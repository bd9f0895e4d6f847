// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/agent_bench.h"

namespace zephran::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr unsigned unanswered = 0;
constexpr std::chrono::minutes longest_first_backoff{10};
constexpr const char* started =
    "deployment 7 proceeding none 0/1: Installation started | scripted:a:1";
constexpr const char* deployed = "deployment 7 proceeding none 1/1: Chunk deployed | scripted:a:1";
constexpr const char* successful = "deployment 7 closed success 1/1: Deployment successful";

class HawkbitAgentReports : public ::testing::Test, protected AgentBench {
protected:
    static AgentSettings retrying(bool dormant = false) {
        AgentSettings settings;
        settings.reports.retries = true;
        settings.dormant = dormant;
        return settings;
    }

    void begin() {
        start_deployment(scripted_deployment(1), retrying());
        server.exchanges.clear();
    }
    /// Runs a deployment until its end waits for its closing report.
    void run_until_the_end_is_kept() {
        begin();
        server.answer_reports({200, 200, 503});
        tick_while([this] { return server.reports.size() < 3; });
    }
    /// Has its first report answered as if its action had ended.
    void lose_the_start_of_a_dormant_agent() {
        make(retrying(true));
        offer(scripted_deployment(1));
        agent->force_poll();
        tick_while([this] { return !agent->is_deploying(); });
        server.exchanges.clear();
        server.answer_reports({410});
        tick_while([this] { return server.reports.empty() || agent->is_deploying(); });
    }
    void let_backoff_elapse() {
        now += longest_first_backoff + std::chrono::seconds{1};
        tick();
    }
    void run_out() {
        tick_while([this] { return agent->has_unfinished_work(); });
    }
    /// The next process on the same gateway.
    void restart_daemon(const AgentSettings& settings) {
        agent.reset();
        server.exchanges.clear();
        make(settings);
    }
};

TEST_F(HawkbitAgentReports, AreSentInOrderToTheAddressOfTheStart) {
    begin();

    run_to_end_of_deployment();

    EXPECT_THAT(server.exchanges, ElementsAre(started, deployed, successful));
    EXPECT_EQ(server.reports.front().first,
              UpdateServer::deployment_address("7") + "/feedback?c=-2129030598");
    EXPECT_TRUE(std::filesystem::is_empty(platform.state.path()));
}

class HawkbitAgentUntakenReport : public HawkbitAgentReports,
                                  public ::testing::WithParamInterface<unsigned> {};

TEST_P(HawkbitAgentUntakenReport, IsSentAgainAndNothingIsRepeated) {
    begin();
    const unsigned number = GetParam();
    server.answer_reports(
        {number == 0 ? unanswered : 200U, number == 1 ? 503U : 200U, number == 2 ? 429U : 200U});
    tick_while([&] { return server.reports.size() <= number; });
    tick(50);
    EXPECT_EQ(server.reports.size(), number + 1);

    let_backoff_elapse();
    run_out();

    EXPECT_THAT(server.exchanges, ElementsAre(started, deployed, successful));
    EXPECT_THAT(part.script.started, ElementsAre("a:1"));
    EXPECT_FALSE(platform.directory.has("a.bin"));
    EXPECT_EQ(server.reports.size(), 4U);
}

INSTANTIATE_TEST_SUITE_P(EachReport, HawkbitAgentUntakenReport, ::testing::Values(0, 1, 2));

TEST_F(HawkbitAgentReports, NothingIsInstalledBeforeItsStartIsReported) {
    begin();
    server.answer_reports({unanswered, unanswered, unanswered, unanswered});

    tick_while([this] { return server.reports.empty(); });
    tick(100);
    let_backoff_elapse();
    tick(100);

    EXPECT_THAT(part.script.started, IsEmpty());
    EXPECT_TRUE(agent->is_deploying());
}

TEST_F(HawkbitAgentReports, ForcedPollCutsTheBackOffShort) {
    begin();
    server.answer_reports({unanswered});
    tick_while([this] { return server.reports.empty(); });

    agent->force_poll();
    run_cycle();
    run_out();

    EXPECT_THAT(server.exchanges, Contains(successful));
}

TEST_F(HawkbitAgentReports, StartThatIsRefusedForGoodEndsTheDeploymentAsAFailure) {
    begin();
    server.answer_reports({400, 400});

    run_out();

    EXPECT_THAT(server.exchanges,
                ElementsAre("deployment 7 closed failure 0/1: The start of the installation could "
                            "not be reported |  | scripted:a:1"));
    EXPECT_THAT(part.script.started, IsEmpty());
    EXPECT_FALSE(platform.directory.has("a.bin"));
}

TEST_F(HawkbitAgentReports, StartOfAnActionThatHasEndedEndsTheDeploymentSilently) {
    begin();
    server.answer_reports({410});

    run_to_end_of_deployment();

    EXPECT_THAT(server.exchanges, IsEmpty());
    EXPECT_EQ(server.reports.size(), 1U);
    EXPECT_THAT(part.script.started, IsEmpty());
    EXPECT_FALSE(platform.directory.has("a.bin"));
}

// The update server may have been wrong, and nobody else asks a dormant gateway to look again.
TEST_F(HawkbitAgentReports, DormantAgentPollsOnceMoreAfterAReportForAnEndedAction) {
    lose_the_start_of_a_dormant_agent();
    EXPECT_TRUE(agent->has_unfinished_work());

    server.close_deployment();
    for (int cycle = 0; cycle < 3; ++cycle) {
        run_cycle();
    }

    EXPECT_THAT(server.exchanges, ElementsAre("status"));
    EXPECT_FALSE(agent->has_unfinished_work());
}

TEST_F(HawkbitAgentReports, DormantAgentTakesUpWhatAWrongAnswerHasEnded) {
    lose_the_start_of_a_dormant_agent();

    agent->restart();
    tick_while([this] { return !agent->is_deploying(); });
    run_to_end_of_deployment();

    EXPECT_THAT(server.exchanges,
                ElementsAre("status", "fetch deployment", started, deployed, successful));
}

TEST_F(HawkbitAgentReports, DeploymentThatHasEndedIsNotFetchedAgain) {
    run_until_the_end_is_kept();
    EXPECT_FALSE(agent->is_deploying());
    server.exchanges.clear();

    run_cycle();
    run_cycle();
    EXPECT_THAT(server.exchanges, ElementsAre("status", "status"));
    EXPECT_TRUE(agent->has_unfinished_work());

    let_backoff_elapse();
    run_cycle();
    EXPECT_THAT(server.exchanges, Contains(successful));
    EXPECT_THAT(part.script.started, ElementsAre("a:1"));
}

TEST_F(HawkbitAgentReports, FailureIsCleanedUpWhileItsReportWaits) {
    part.script.fails_to_start = true;
    begin();
    server.answer_reports({200, unanswered});

    run_to_end_of_deployment();
    EXPECT_FALSE(platform.directory.has("a.bin"));
    EXPECT_THAT(server.exchanges, ElementsAre(started));

    let_backoff_elapse();
    run_out();
    EXPECT_THAT(server.exchanges,
                ElementsAre(started,
                            "deployment 7 closed failure 0/1: The installer failed as it "
                            "was told | program_output: as told | scripted:a:1"));
}

TEST_F(HawkbitAgentReports, CancelEndsADeploymentThatWaitsForItsReport) {
    begin();
    server.answer_reports({unanswered});
    tick_while([this] { return server.reports.empty(); });

    server.close_deployment();
    server.offer_cancel("7");
    run_cycle();
    server.close_cancel();
    run_out();

    EXPECT_THAT(part.script.started, IsEmpty());
    EXPECT_THAT(server.exchanges,
                ElementsAre("status", "fetch cancel", started, "cancel 7 closed success"));
}

TEST_F(HawkbitAgentReports, RefusedAnswerToACancellationIsShortened) {
    part.script.steps_to_install = 100;
    part.script.is_cancellable = false;
    begin();
    tick_while([this] { return part.script.started.empty(); });
    const std::size_t before = server.reports.size();
    server.answer_reports({413});
    server.close_deployment();
    server.offer_cancel("7");

    agent->restart();
    tick_while([&] { return server.reports.size() < before + 2; });

    const auto details = [](const Json::Value& report) {
        return report["status"]["details"].size();
    };
    EXPECT_GT(details(server.reports[before].second), 1U);
    EXPECT_EQ(details(server.reports[before + 1].second), 1U);
}

TEST_F(HawkbitAgentReports, WithdrawnDeploymentEndsAlthoughItsReportWasNotTaken) {
    begin();
    server.answer_reports({unanswered, 410});
    tick_while([this] { return server.reports.empty(); });

    server.close_deployment();
    run_cycle();
    run_to_end_of_deployment();

    EXPECT_THAT(part.script.started, IsEmpty());
    EXPECT_THAT(server.exchanges, ElementsAre("status"));
    // Without a wait for the back-off.
    EXPECT_EQ(server.reports.size(), 2U);
}

TEST_F(HawkbitAgentReports, KeptEndIsSentBeforeTheFirstPollOfTheNextProcess) {
    run_until_the_end_is_kept();

    restart_daemon(retrying());
    server.answer_reports({503});
    tick(50);
    EXPECT_THAT(server.exchanges, IsEmpty());

    server.close_deployment();
    let_backoff_elapse();
    run_to_rest();

    EXPECT_EQ(server.exchanges.at(0), successful);
    EXPECT_EQ(server.exchanges.at(1), "status");
    EXPECT_THAT(server.exchanges, Not(Contains("fetch deployment")));
}

TEST_F(HawkbitAgentReports, KeptEndIsSentByADormantAgentToo) {
    run_until_the_end_is_kept();

    restart_daemon(retrying(true));
    run_to_rest();

    EXPECT_THAT(server.exchanges, ElementsAre(successful));
}

TEST_F(HawkbitAgentReports, ForcedPollOfADormantAgentIsNotLostOnAKeptEnd) {
    run_until_the_end_is_kept();
    restart_daemon(retrying(true));
    server.answer_reports({503});
    tick(5);

    server.close_deployment();
    agent->force_poll();
    tick_while([this] { return server.exchanges.size() < 2; });

    EXPECT_EQ(server.exchanges.at(0), successful);
    EXPECT_EQ(server.exchanges.at(1), "status");
}

TEST_F(HawkbitAgentReports, KeptEndIsLeftAloneWithoutTheOption) {
    run_until_the_end_is_kept();

    restart_daemon({});
    run_to_rest();

    EXPECT_THAT(server.exchanges, Not(Contains(successful)));
    EXPECT_FALSE(std::filesystem::is_empty(platform.state.path()));
}

}  // namespace
}  // namespace zephran::test
