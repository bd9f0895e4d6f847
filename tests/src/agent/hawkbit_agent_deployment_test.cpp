// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <future>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "http/exceptions.h"
#include "installer/failure_code.h"
#include "support/agent_bench.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;

class HawkbitAgentDeployment : public ::testing::Test, protected AgentBench {
protected:
    [[nodiscard]] std::vector<std::string> feedback() const {
        std::vector<std::string> texts;
        for (const std::string& exchange : server.exchanges) {
            if (exchange.rfind("deployment", 0) == 0 || exchange.rfind("cancel", 0) == 0) {
                texts.push_back(exchange);
            }
        }
        return texts;
    }

    static AgentSettings with_codes() {
        AgentSettings settings;
        settings.reports.codes = true;
        return settings;
    }

    [[nodiscard]] long count_exchanges(const std::string& exchange) const {
        return std::count(server.exchanges.begin(), server.exchanges.end(), exchange);
    }
};

TEST_F(HawkbitAgentDeployment, GoesFromTheIntroductionToTheClosingReport) {
    part.script.report = "done";
    make();
    offer(scripted_deployment(2));

    tick_while([this] { return !agent->is_deploying(); });
    run_to_end_of_deployment();

    EXPECT_THAT(
        server.exchanges,
        ElementsAre("status", "config data", "status", "fetch deployment",
                    "deployment 7 proceeding none 0/2: Installation started | scripted:a:1",
                    "deployment 7 proceeding none 1/2: Chunk deployed | scripted:a:1 | done",
                    "deployment 7 proceeding none 1/2: Installation started | scripted:b:2",
                    "deployment 7 proceeding none 2/2: Chunk deployed | scripted:b:2 | done",
                    "deployment 7 closed success 2/2: Deployment successful"));
    EXPECT_EQ(platform.recovered_downloads, 1U);
    EXPECT_FALSE(agent->is_poll_forced());
}

TEST_F(HawkbitAgentDeployment, InstallsLowPrioritiesFirst) {
    const ScriptedPart early{"early", 1};
    start_deployment(
        {"7", {{"scripted", "late", "1", {{"late.bin"}}}, {"early", "soon", "1", {{"soon.bin"}}}}});

    run_to_end_of_deployment();

    EXPECT_THAT(feedback()[0],
                "deployment 7 proceeding none 0/2: Installation started | early:soon:1");
    EXPECT_THAT(files.requests, ElementsAre(ArtifactText::secure_link("soon.bin"),
                                            ArtifactText::secure_link("late.bin")));
}

TEST_F(HawkbitAgentDeployment, InstallsEqualPrioritiesInTheOrderOfTheirNamesIfToldSo) {
    const DeploymentText text{
        "7", {{"scripted", "b", "2", {{"b.bin"}}}, {"scripted", "a", "1", {{"a.bin"}}}}};
    AgentSettings settings;
    settings.options.chunk_order = ChunkOrder::name;
    start_deployment(text, settings);

    run_to_end_of_deployment();

    EXPECT_THAT(part.script.started, ElementsAre("a:1", "b:2"));
}

TEST_F(HawkbitAgentDeployment, EndOfTheDaemonKeepsWhatHasArrived) {
    std::promise<void> asked;
    files.on_range = [&](const http::RangeWanted& /*wanted*/) {
        asked.set_value();
        return FileServer::PartialAnswer{{200, "tag", "", ""}, "con", CURLE_PARTIAL_FILE};
    };
    AgentSettings settings;
    settings.downloads.resume = true;
    settings.downloads.attempts = 2;
    settings.downloads.retry_delay = 1000;
    start_deployment(scripted_deployment(1), settings);
    constexpr unsigned ticks_to_first_try = 10;
    tick(ticks_to_first_try);
    asked.get_future().wait();

    agent->stop();

    EXPECT_TRUE(agent->is_aborted());
    EXPECT_EQ(platform.directory.read("a.bin.part"), "con");
}

TEST_F(HawkbitAgentDeployment, EndOfTheDaemonIsTheEndOfAnAgentAtRest) {
    make_introduced();

    agent->stop();

    EXPECT_TRUE(agent->is_aborted());
}

TEST_F(HawkbitAgentDeployment, FeedbackCarriesTimeAndAddress) {
    start_deployment(scripted_deployment(1));
    now += std::chrono::seconds{77};

    run_to_end_of_deployment();

    ASSERT_EQ(server.deployment_feedbacks.size(), 3U);
    EXPECT_EQ(server.deployment_feedbacks[0].message.time, 1'700'000'077);
    EXPECT_EQ(server.deployment_feedbacks[0].address,
              UpdateServer::deployment_address("7") + "/feedback?c=-2129030598");
}

TEST_F(HawkbitAgentDeployment, FailedChunkEndsItWithOneReport) {
    part.script.fails_to_start = true;
    start_deployment(scripted_deployment(2));

    run_to_end_of_deployment();
    run_cycle();

    EXPECT_THAT(feedback(),
                ElementsAre("deployment 7 proceeding none 0/2: Installation started | scripted:a:1",
                            "deployment 7 closed failure 0/2: The installer failed as it was told "
                            "| program_output: as told | scripted:a:1"));
    EXPECT_THAT(part.script.started, ElementsAre("a:1"));
    EXPECT_FALSE(agent->is_deploying());
    EXPECT_EQ(platform.recovered_downloads, 2U);
}

TEST_F(HawkbitAgentDeployment, FailedDownloadEndsItWithOneReport) {
    start_deployment(scripted_deployment(1));
    files.files.clear();

    run_to_end_of_deployment();

    EXPECT_THAT(feedback(), ElementsAre("deployment 7 closed failure 0/1: "
                                        "HTTP server returned an error code | httpcode: 404\n"
                                        "httpurl: https://update.example/files/a.bin | "
                                        "scripted:a:1"));
    EXPECT_EQ(platform.recovered_downloads, 1U);
}

TEST_F(HawkbitAgentDeployment, CodeOfAFailureIsNotSentUnasked) {
    start_deployment(scripted_deployment(1));
    files.files.clear();

    run_to_end_of_deployment();

    EXPECT_EQ(server.deployment_feedbacks.back().message.code, std::nullopt);
}

TEST_F(HawkbitAgentDeployment, CodeOfAFailureGoesWithTheClosingReport) {
    start_deployment(scripted_deployment(1), with_codes());
    files.files.clear();

    run_to_end_of_deployment();

    EXPECT_EQ(server.deployment_feedbacks.back().message.code, 404);
}

TEST_F(HawkbitAgentDeployment, CodeOfAFailureGoesWithTheAnswerToACancellationToo) {
    part.script.steps_to_install = 100;
    part.script.is_cancellable = false;
    start_deployment(scripted_deployment(1), with_codes());
    tick_while([this] { return part.script.started.empty(); });
    server.close_deployment();
    server.offer_cancel("7");
    agent->restart();

    tick_while([this] { return server.cancel_feedbacks.empty(); });

    EXPECT_EQ(server.cancel_feedbacks.back().message.code, failure_code::other);
}

TEST_F(HawkbitAgentDeployment, SuccessHasNoCode) {
    start_deployment(scripted_deployment(1), with_codes());

    run_to_end_of_deployment();

    for (const DeploymentFeedback& feedback : server.deployment_feedbacks) {
        EXPECT_EQ(feedback.message.code, std::nullopt) << feedback.message.details.front();
    }
}

TEST_F(HawkbitAgentDeployment, DetailsAreMadeAcceptableToTheServer) {
    part.script.report = "a <b> c\x01";
    start_deployment(scripted_deployment(1));

    run_to_end_of_deployment();

    EXPECT_EQ(feedback()[1],
              "deployment 7 proceeding none 1/1: Chunk deployed | scripted:a:1 | "
              "a < b> c ");
}

TEST_F(HawkbitAgentDeployment, FeedbackThatTheServerRefusesLeavesTheTick) {
    start_deployment(scripted_deployment(1));
    server.fail(Exchange::send_deployment_feedback, 1);

    EXPECT_THROW(run_to_end_of_deployment(), http::HttpErrorCodeException);
}

TEST_F(HawkbitAgentDeployment, KeepsItsAddressWhenTheServerOffersAnotherAction) {
    start_deployment(scripted_deployment(1));

    server.offer({"8", {}});
    run_cycle();
    run_to_end_of_deployment();

    ASSERT_EQ(server.deployment_feedbacks.size(), 3U);
    for (const auto& sent : server.deployment_feedbacks) {
        EXPECT_EQ(sent.address, UpdateServer::deployment_address("7") + "/feedback?c=-2129030598");
        EXPECT_EQ(sent.message.id, "7");
    }
}

TEST_F(HawkbitAgentDeployment, SecondOneIsNotFetchedWhileTheFirstRuns) {
    part.script.steps_to_install = 100;
    start_deployment(scripted_deployment(1));
    server.exchanges.clear();

    server.offer({"8", {}});
    run_cycle();

    EXPECT_TRUE(agent->is_finished());
    EXPECT_TRUE(agent->is_deploying());
    EXPECT_EQ(server.exchanges.front(), "status");
    EXPECT_EQ(count_exchanges("fetch deployment"), 0);
}

TEST_F(HawkbitAgentDeployment, HistoryOfServerNotesStartsFromTheBeginningWithoutAnError) {
    DeploymentText text = scripted_deployment(1);
    text.history = {"Assignment initiated by user 'admin'", "another note"};

    start_deployment(text);
    run_to_end_of_deployment();

    EXPECT_EQ(count_logged("exception_caught"), 0U);
    EXPECT_THAT(part.script.started, ElementsAre("a:1"));
    EXPECT_FALSE(agent->is_poll_forced());
}

TEST_F(HawkbitAgentDeployment, HistoryThatCannotBeResumedIsLoggedAndStartsFromTheBeginning) {
    DeploymentText text = scripted_deployment(2);
    text.history = {"Installation started", "os-firmware"};

    start_deployment(text);
    run_to_end_of_deployment();

    EXPECT_EQ(count_logged("event=exception_caught action=resume_deployment what="), 1U);
    EXPECT_THAT(part.script.started, ElementsAre("a:1", "b:2"));
    EXPECT_EQ(feedback().back(), "deployment 7 closed success 2/2: Deployment successful");
    EXPECT_FALSE(agent->is_poll_forced());
}

TEST_F(HawkbitAgentDeployment, ResumedOneEndsWithAForcedPoll) {
    part.script.can_resume = true;
    DeploymentText text = scripted_deployment(2);
    text.history = {"Installation started", "scripted:b:2", "Chunk deployed"};

    start_deployment(text);
    EXPECT_FALSE(agent->is_poll_forced());
    run_to_end_of_deployment();

    EXPECT_THAT(feedback(), ElementsAre("deployment 7 proceeding none 1/1: Chunk deployed | "
                                        "scripted:b:2",
                                        "deployment 7 closed success 1/1: Deployment successful"));
    EXPECT_THAT(part.script.taken_up, ElementsAre("b:2"));
    EXPECT_TRUE(agent->is_poll_forced());
    EXPECT_EQ(agent->next_poll(), now);
}

TEST_F(HawkbitAgentDeployment, ResumedOneThatFailsForcesNoPoll) {
    part.script.can_resume = true;
    part.script.fails_while_installing = true;
    DeploymentText text = scripted_deployment(1);
    text.history = {"Installation started", "scripted:a:1"};

    start_deployment(text);
    run_to_end_of_deployment();

    EXPECT_FALSE(agent->is_poll_forced());
}

/// The parameter says how many ticks before the end of a deployment the next cycle begins.
class HawkbitAgentEndedOffer : public HawkbitAgentDeployment,
                               public ::testing::WithParamInterface<unsigned> {
protected:
    static constexpr unsigned installation_steps = 20;
    /// Ticks of a running deployment with such an installation until it has ended.
    static constexpr unsigned remaining_ticks = 12 + installation_steps;

    void start_so_that_the_end_meets_the_cycle() {
        part.script.steps_to_install = installation_steps;
        start_deployment(scripted_deployment(1));
        tick(remaining_ticks - GetParam());
        ASSERT_TRUE(agent->is_deploying());
        ASSERT_TRUE(agent->is_finished());
        server.exchanges.clear();
        agent->restart();
    }
};

TEST_P(HawkbitAgentEndedOffer, IsNotFetchedAgain) {
    start_so_that_the_end_meets_the_cycle();

    tick(GetParam());
    ASSERT_FALSE(agent->is_deploying());
    tick(10);

    EXPECT_EQ(count_exchanges("status"), 1);
    EXPECT_EQ(count_exchanges("fetch deployment"), 0);
    EXPECT_EQ(feedback().back(), "deployment 7 closed success 1/1: Deployment successful");
    EXPECT_TRUE(agent->is_finished());
    EXPECT_FALSE(agent->is_deploying());
}

INSTANTIATE_TEST_SUITE_P(TicksBeforeTheEnd, HawkbitAgentEndedOffer, ::testing::Range(1U, 6U));

/// Here the deployment ends before the cycle asks whether one is running.
class HawkbitAgentOtherOffer : public HawkbitAgentEndedOffer {};

TEST_P(HawkbitAgentOtherOffer, IsFetchedInTheSameCycle) {
    start_so_that_the_end_meets_the_cycle();
    server.offer({"8", {}});

    tick(GetParam());
    ASSERT_FALSE(agent->is_deploying());
    tick(10);

    EXPECT_EQ(count_exchanges("status"), 1);
    EXPECT_EQ(count_exchanges("fetch deployment"), 1);
    EXPECT_EQ(feedback().back(), "deployment 8 closed success 0/0: Deployment successful");
}

INSTANTIATE_TEST_SUITE_P(TicksBeforeTheEnd, HawkbitAgentOtherOffer, ::testing::Range(1U, 3U));

}  // namespace
}  // namespace zephran::test
