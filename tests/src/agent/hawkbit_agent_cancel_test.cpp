// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/agent_bench.h"

namespace zephran::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Pair;

class HawkbitAgentCancel : public ::testing::Test, protected AgentBench {
protected:
    static InstallerContext context_of(const std::string& modem) {
        InstallerContext context;
        context.mac_address = common::MacAddress::parse(modem);
        return context;
    }
    void install() {
        offer(scripted_deployment(1));
        agent->restart();
        tick_while([this] { return part.script.started.empty(); });
    }

    /// The server withdraws the deployment and asks for its cancellation.
    void ask_for_cancellation() {
        server.close_deployment();
        server.offer_cancel("7");
        server.exchanges.clear();
        run_cycle();
    }
};

TEST_F(HawkbitAgentCancel, AtRestIsAnsweredThatNothingRuns) {
    make_introduced();

    ask_for_cancellation();

    EXPECT_THAT(server.exchanges,
                ElementsAre("status", "fetch cancel",
                            "cancel 7 closed success: Deployment not running. Nothing to do."));
    ASSERT_EQ(server.cancel_feedbacks.size(), 1U);
    EXPECT_THAT(server.cancel_feedbacks[0].address, HasSubstr("/cancelAction/7/feedback"));
    EXPECT_EQ(server.cancel_feedbacks[0].message.time, 1'700'000'000);
}

TEST_F(HawkbitAgentCancel, AtRestIsAnsweredByAnAgentThatIsGivenUpToo) {
    make_introduced();

    agent->abort();
    ask_for_cancellation();

    ASSERT_EQ(server.cancel_feedbacks.size(), 1U);
}

TEST_F(HawkbitAgentCancel, WhileTheDaemonWasDownLeavesNoPartialFile) {
    AgentSettings settings;
    settings.downloads.resume = true;
    const std::string place = platform.directory.path("downloads");
    settings.context.download_folder = DownloadFolder{place, "gateway"};
    settings.context.download_folder.make();
    platform.directory.write("downloads/agent-gateway/a.bin.part", "");
    platform.directory.write("downloads/agent-gateway/.a.bin.part", "");
    make_introduced(settings);

    EXPECT_FALSE(platform.directory.has("downloads/agent-gateway/a.bin.part"));
    EXPECT_FALSE(platform.directory.has("downloads/agent-gateway/.a.bin.part"));
}

TEST_F(HawkbitAgentCancel, OfAnotherActionLeavesThePartialFilesOfTheOpenOne) {
    AgentSettings settings;
    settings.downloads.resume = true;
    settings.context.download_folder = DownloadFolder{platform.directory.path("downloads"), "g"};
    settings.context.download_folder.make();
    DeploymentText text = scripted_deployment(1);
    text.update = "attempt";
    make(settings);
    platform.directory.write("downloads/agent-g/a.bin.part", "");
    platform.directory.write("downloads/agent-g/old.bin.part", "");
    offer(text);
    platform.config.values["zephran.service.automatic_update"] = "0";

    run_to_rest();

    EXPECT_TRUE(agent->is_waiting());
    EXPECT_TRUE(platform.directory.has("downloads/agent-g/a.bin.part"));
    EXPECT_FALSE(platform.directory.has("downloads/agent-g/old.bin.part"));
}

TEST_F(HawkbitAgentCancel, WithoutResumingIsNoReasonToLookForPartialFiles) {
    AgentSettings settings;
    settings.context.download_folder = DownloadFolder{platform.directory.path("downloads"), "g"};
    settings.context.download_folder.make();
    platform.directory.write("downloads/agent-g/a.bin.part", "");
    make_introduced(settings);

    EXPECT_TRUE(platform.directory.has("downloads/agent-g/a.bin.part"));
}

TEST_F(HawkbitAgentCancel, ComesBeforeTheDeploymentThatIsOfferedToo) {
    make_introduced();
    offer(scripted_deployment(1));
    server.offer_cancel("6");

    run_cycle();

    EXPECT_THAT(server.exchanges,
                ElementsAre("status", "fetch cancel",
                            "cancel 6 closed success: Deployment not running. Nothing to do."));
}

TEST_F(HawkbitAgentCancel, OfARunningInstallationIsAnsweredWhenItIsGone) {
    part.script.steps_to_install = 100;
    part.script.steps_to_cancel = 5;
    start_installation(scripted_deployment(1));

    ask_for_cancellation();
    EXPECT_THAT(server.exchanges, ElementsAre("status", "fetch cancel"));
    run_to_end_of_deployment();

    EXPECT_THAT(server.exchanges, ElementsAre("status", "fetch cancel", "cancel 7 closed success"));
    EXPECT_THAT(server.cancel_feedbacks.back().message.details, IsEmpty());
    EXPECT_FALSE(platform.directory.has("a.bin"));
    EXPECT_FALSE(agent->is_aborted());
    EXPECT_EQ(platform.recovered_downloads, 1U);
}

TEST_F(HawkbitAgentCancel, ThatTakesEffectAtOnceIsAnsweredByTheNextPoll) {
    make_introduced();
    offer(scripted_deployment(1));
    agent->restart();
    tick(5);
    ASSERT_TRUE(agent->is_deploying());

    ask_for_cancellation();
    EXPECT_THAT(server.exchanges, ElementsAre("status", "fetch cancel"));
    EXPECT_FALSE(agent->is_deploying());
    run_cycle();

    EXPECT_THAT(server.exchanges,
                ElementsAre("status", "fetch cancel", "status", "fetch cancel",
                            "cancel 7 closed success: Deployment not running. Nothing to do."));
    EXPECT_THAT(part.script.started, IsEmpty());
}

TEST_F(HawkbitAgentCancel, ThatTheInstallerRefusesIsAnsweredWithAFailure) {
    part.script.steps_to_install = 30;
    part.script.is_cancellable = false;
    start_installation(scripted_deployment(2));

    ask_for_cancellation();
    EXPECT_TRUE(agent->is_deploying());
    EXPECT_THAT(server.exchanges,
                ElementsAre("status", "fetch cancel",
                            "cancel 7 closed failure: Installation cannot be cancelled |  | "
                            "scripted:a:1"));
    run_to_end_of_deployment();

    EXPECT_EQ(server.exchanges.size(), 3U);
    EXPECT_THAT(part.script.started, ElementsAre("a:1"));
}

TEST_F(HawkbitAgentCancel, SecondRequestWhileCancellingChangesNothing) {
    part.script.steps_to_install = 100;
    part.script.steps_to_cancel = 20;
    start_installation(scripted_deployment(1));
    ask_for_cancellation();

    run_cycle();
    run_to_end_of_deployment();

    EXPECT_EQ(part.script.cancellations, 1U);
    EXPECT_EQ(server.cancel_feedbacks.size(), 1U);
}

TEST_F(HawkbitAgentCancel, ThatCannotBeFetchedEndsTheCycle) {
    make_introduced();
    server.fail(Exchange::fetch_cancel, 2);

    ask_for_cancellation();

    EXPECT_TRUE(agent->is_finished());
    EXPECT_THAT(server.exchanges, ElementsAre("status", "failure", "failure"));
}

TEST_F(HawkbitAgentCancel, ThatCannotBeFetchedIsFollowedByTheDeployment) {
    make_introduced();
    offer(scripted_deployment(1));
    server.offer_cancel("6");
    server.fail(Exchange::fetch_cancel, 2);

    agent->restart();
    tick_while([this] { return !agent->is_deploying(); });

    EXPECT_THAT(server.exchanges, ElementsAre("status", "failure", "failure", "fetch deployment"));
}

TEST_F(HawkbitAgentCancel, AnswerThatFailsIsRetried) {
    make_introduced();
    server.fail(Exchange::send_cancel_feedback, 1);

    ask_for_cancellation();

    EXPECT_THAT(server.exchanges,
                ElementsAre("status", "fetch cancel", "failure",
                            "cancel 7 closed success: Deployment not running. Nothing to do."));
}

TEST_F(HawkbitAgentCancel, AnswerThatFailsTwiceEndsTheCycle) {
    make_introduced();
    server.fail(Exchange::send_cancel_feedback, 2);

    ask_for_cancellation();

    EXPECT_TRUE(agent->is_finished());
    EXPECT_THAT(server.exchanges, ElementsAre("status", "fetch cancel", "failure", "failure"));
}

TEST_F(HawkbitAgentCancel, WithdrawnInstallationIsCancelledWithoutFeedback) {
    part.script.steps_to_install = 100;
    part.script.steps_to_cancel = 3;
    start_installation(scripted_deployment(1));
    server.close_deployment();
    server.exchanges.clear();

    run_cycle();
    run_to_end_of_deployment();

    EXPECT_THAT(server.exchanges, ElementsAre("status"));
    EXPECT_EQ(part.script.cancellations, 1U);
    EXPECT_FALSE(agent->is_aborted());
    EXPECT_EQ(count_logged("event=abort_deployment_action"), 1U);
}

TEST_F(HawkbitAgentCancel, WithdrawnDownloadEndsWithoutFeedback) {
    start_deployment(scripted_deployment(1));
    server.close_deployment();
    server.exchanges.clear();

    run_cycle();

    EXPECT_FALSE(agent->is_deploying());
    EXPECT_THAT(server.exchanges, ElementsAre("status"));
    EXPECT_FALSE(agent->is_aborted());
}

TEST_F(HawkbitAgentCancel, DeploymentAfterAWithdrawnOneIsReportedAgain) {
    start_deployment(scripted_deployment(1));
    server.close_deployment();
    run_cycle();
    ASSERT_FALSE(agent->is_deploying());
    server.exchanges.clear();

    DeploymentText next = scripted_deployment(1);
    next.id = "8";
    offer(next);
    agent->restart();
    tick_while([this] { return !agent->is_deploying(); });
    run_to_end_of_deployment();

    EXPECT_EQ(server.exchanges.back(), "deployment 8 closed success 1/1: Deployment successful");
}

TEST_F(HawkbitAgentCancel, AbortedAgentSendsNoCancelFeedback) {
    part.script.steps_to_install = 100;
    start_installation(scripted_deployment(1));
    server.exchanges.clear();

    agent->abort();
    EXPECT_TRUE(agent->is_aborted());
    run_to_end_of_deployment();

    EXPECT_THAT(server.exchanges, IsEmpty());
    EXPECT_EQ(part.script.cancellations, 1U);
}

TEST_F(HawkbitAgentCancel, AbortedAgentDoesNotReportTheRefusalOfItsInstaller) {
    part.script.steps_to_install = 10;
    part.script.is_cancellable = false;
    start_installation(scripted_deployment(1));
    server.exchanges.clear();

    agent->abort();
    run_to_end_of_deployment();

    EXPECT_THAT(server.exchanges, IsEmpty());
}

TEST_F(HawkbitAgentCancel, AgentThatLivesOnDoesNotReportTheCancellationOfItsAbort) {
    part.script.steps_to_install = 10;
    part.script.steps_to_cancel = 3;
    start_installation(scripted_deployment(1));
    server.exchanges.clear();

    agent->abort();
    tick(1);
    agent->live_on({});
    EXPECT_FALSE(agent->is_aborted());
    run_to_end_of_deployment();

    EXPECT_THAT(server.exchanges, IsEmpty());
    EXPECT_EQ(part.script.cancellations, 1U);
}

TEST_F(HawkbitAgentCancel, AgentThatLivesOnInstallsForTheDeviceThatHasComeBack) {
    make_introduced({context_of("02:00:00:00:00:01"), {{"device_name", "old"}}, {}, false});
    agent->abort();

    agent->live_on({context_of("02:00:00:00:00:02"), {{"device_name", "new"}}, {}, false});
    install();

    EXPECT_EQ(part.script.context.mac_address.str(), "02:00:00:00:00:02");
    EXPECT_THAT(*agent->control()->attributes(), ElementsAre(Pair("device_name", "new")));
}

TEST_F(HawkbitAgentCancel, AgentThatLivesOnReportsItsAttributesIfTheyHaveChanged) {
    make_introduced({{}, {{"device_name", "old"}}, {}, false});
    agent->abort();
    agent->live_on({{}, {{"device_name", "old"}}, {}, false});
    run_cycle();
    EXPECT_THAT(server.exchanges, Not(Contains(HasSubstr("config"))));

    agent->abort();
    agent->live_on({{}, {{"device_name", "new"}}, {}, false});
    run_cycle();

    EXPECT_THAT(server.exchanges, Contains(HasSubstr("config")));
}

TEST_F(HawkbitAgentCancel, AgentThatWasNotGivenUpStaysAsItIs) {
    make_introduced({context_of("02:00:00:00:00:01"), {{"device_name", "old"}}, {}, false});

    agent->live_on({context_of("02:00:00:00:00:02"), {{"device_name", "new"}}, {}, false});
    install();

    EXPECT_EQ(part.script.context.mac_address.str(), "02:00:00:00:00:01");
    EXPECT_THAT(*agent->control()->attributes(), ElementsAre(Pair("device_name", "old")));
}

TEST_F(HawkbitAgentCancel, AbortWithoutADeploymentOnlyMarksTheAgent) {
    make_introduced();

    agent->abort();
    tick(3);

    EXPECT_TRUE(agent->is_aborted());
    EXPECT_TRUE(agent->is_finished());
    EXPECT_THAT(server.exchanges, Not(Contains(HasSubstr("cancel"))));
}

}  // namespace
}  // namespace zephran::test
