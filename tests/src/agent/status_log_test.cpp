// SPDX-License-Identifier: Apache-2.0
#include "agent/status_log.h"

#include <gtest/gtest.h>

#include "support/recording_observer.h"

namespace zephran {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class StatusLogTest : public ::testing::Test {
protected:
    StatusLogTest() { log.set_observer(observer); }

    static AgentStatus downloading(std::uint64_t bytes) {
        AgentStatus status;
        status.state = AgentStatus::State::downloading;
        status.download.emplace();
        status.download->bytes = bytes;
        return status;
    }

    std::chrono::steady_clock::time_point steady{std::chrono::hours{1}};
    std::shared_ptr<test::RecordingObserver> observer = std::make_shared<test::RecordingObserver>();
    StatusLog log{[this] { return steady; }};
};

TEST_F(StatusLogTest, TellsTheFirstStateAndEachChange) {
    AgentStatus status;
    log.tell(status);
    log.tell(status);
    status.state = AgentStatus::State::idle;
    log.tell(status);

    ASSERT_EQ(observer->states.size(), 2U);
    EXPECT_EQ(observer->states[0].state, AgentStatus::State::polling);
    EXPECT_EQ(observer->states[1].state, AgentStatus::State::idle);
    EXPECT_TRUE(observer->progresses.empty());
}

TEST_F(StatusLogTest, AddsTheLastFailureAndTheLastResult) {
    const AgentStatus::time_point time{seconds{1'700'000'000}};
    log.note_failure(time, "old", 1);
    log.note_failure(time, "no answer", 404);
    log.note_result(time, "7", AgentStatus::Outcome::failure);

    const AgentStatus status = log.tell({});

    ASSERT_TRUE(status.last_error && status.last_result);
    EXPECT_EQ(status.last_error->text, "no answer");
    EXPECT_EQ(status.last_error->code, 404);
    EXPECT_EQ(status.last_error->time, time);
    EXPECT_EQ(status.last_result->action_id, "7");
    EXPECT_EQ(status.last_result->outcome, AgentStatus::Outcome::failure);
    EXPECT_EQ(status.last_result->time, time);
}

TEST_F(StatusLogTest, TellsOfProgressAtMostOnceASecond) {
    for (unsigned i = 0; i < 10; ++i) {
        log.tell(downloading(100 + i));
        steady += milliseconds{250};
    }

    ASSERT_EQ(observer->progresses.size(), 3U);
    EXPECT_EQ(observer->progresses[0].download->bytes, 100U);
    EXPECT_EQ(observer->progresses[1].download->bytes, 104U);
    EXPECT_EQ(observer->progresses[2].download->bytes, 108U);
    EXPECT_EQ(observer->states.size(), 1U);
}

TEST_F(StatusLogTest, TellsOfProgressWithEachStepThatIsAlmostASecondLong) {
    for (unsigned i = 0; i < 3; ++i) {
        log.tell(downloading(100 + i));
        steady += milliseconds{950};
    }

    EXPECT_EQ(observer->progresses.size(), 3U);
}

TEST_F(StatusLogTest, IsSilentWhileNothingArrives) {
    for (unsigned i = 0; i < 5; ++i) {
        log.tell(downloading(100));
        steady += seconds{1};
    }

    EXPECT_EQ(observer->progresses.size(), 1U);
}

TEST_F(StatusLogTest, KnowsTheSpeedFromTheSecondMomentOn) {
    const AgentStatus first = log.tell(downloading(100));
    steady += seconds{2};
    const AgentStatus second = log.tell(downloading(500));

    EXPECT_EQ(first.download->speed, std::nullopt);
    EXPECT_EQ(second.download->speed, 200U);
    EXPECT_EQ(observer->progresses.back().download->speed, 200U);
}

TEST_F(StatusLogTest, TheSpeedOfOneArtifactIsNotThatOfTheNext) {
    log.tell(downloading(100));
    steady += seconds{1};
    log.tell({});
    steady += seconds{1};

    const AgentStatus next = log.tell(downloading(900));

    EXPECT_EQ(next.download->speed, std::nullopt);
}

TEST_F(StatusLogTest, TheSpeedIsForgottenWhileNobodyCountsTheBytes) {
    AgentStatus uncounted = downloading(0);
    uncounted.download->bytes.reset();
    log.tell(downloading(100));
    steady += seconds{1};
    log.tell(uncounted);
    steady += seconds{1};

    const AgentStatus next = log.tell(downloading(900));

    EXPECT_EQ(next.download->speed, std::nullopt);
    EXPECT_EQ(observer->progresses.size(), 2U);
}

TEST_F(StatusLogTest, TellsOfProgressAfterNineTenthsOfASecond) {
    log.tell(downloading(100));
    steady += milliseconds{900} - std::chrono::nanoseconds{1};
    log.tell(downloading(101));
    EXPECT_EQ(observer->progresses.size(), 1U);

    steady += std::chrono::nanoseconds{1};
    log.tell(downloading(102));

    EXPECT_EQ(observer->progresses.size(), 2U);
}

TEST_F(StatusLogTest, TellsOfTheSameBytesOfAnotherArtifact) {
    log.tell(downloading(1));
    log.tell({});
    steady += seconds{1};

    log.tell(downloading(1));

    EXPECT_EQ(observer->progresses.size(), 2U);
}

}  // namespace
}  // namespace zephran
