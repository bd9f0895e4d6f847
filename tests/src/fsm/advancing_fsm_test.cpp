// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fsm/advancing_fsm_impl.h"
#include "fsm/fsm_rows.h"
#include "support/captured_log.h"

namespace zephran {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace events {
struct advance {};
struct error {};
struct exception {};
struct repair {};
}  // namespace events

class Worker;
struct WorkerFSM;
using WorkerFrame = AdvancingFSM<WorkerFSM, events::error, events::advance, Worker>;

enum class Shown { nothing, rest };

/// Works and rests alternately; failed work is retried within the retry budget. Broken tools are
/// repaired while it rests.
class Worker : public WorkerFrame {
public:
    explicit Worker(std::uint32_t delay = 2, std::uint32_t retries = 1)
        : AdvancingFSM{*this}, retry_delay{delay}, retry_count{retries} {}

    void work() {
        ++attempts;
        if (broken) {
            throw std::runtime_error{"broken"};
        }
    }
    void retry_later() { wait_and_retry(retry_delay, retry_count); }
    void give_up() { ++errors; }
    void repair() {
        broken = false;
        ++repairs;
    }
    [[nodiscard]] bool is_broken() const { return broken; }
    void offer_repair() { process(events::repair{}); }
    void note_state(Shown now) { shown = now; }
    void note_rest() { shown_at_rest = shown; }

    bool broken = false;
    unsigned attempts = 0;
    unsigned errors = 0;
    unsigned repairs = 0;
    Shown shown = Shown::nothing;
    /// What was shown when the rest began.
    Shown shown_at_rest = Shown::nothing;

private:
    std::uint32_t retry_delay;
    std::uint32_t retry_count;
};

struct WorkerFSM : fsm_rows::FrontEnd<WorkerFSM, Worker> {
    template <class Event, class... Rest>
    using Row = fsm_rows::Row<Event, Rest...>;
    using none = fsm_rows::none;

    using FrontEnd::FrontEnd;

    struct Working : fsm_rows::State {};
    struct Resting
        : fsm_rows::ShownState<Shown::rest, fsm_rows::StateWithEntry<&Worker::note_rest>> {};
    using initial_state = Working;

    using work = fsm_rows::Tell<&Worker::work>;
    using retry_later = fsm_rows::Tell<&Worker::retry_later>;
    using give_up = fsm_rows::Tell<&Worker::give_up>;
    using repair = fsm_rows::Tell<&Worker::repair>;
    using is_broken = fsm_rows::Ask<&Worker::is_broken>;

    // clang-format off
    using transition_table = fsm_rows::Table<
        Row<Working, events::advance,   Resting, work,        none>,
        Row<Working, events::exception, Working, retry_later, none>,
        Row<Working, events::error,     Resting, give_up,     none>,
        Row<Resting, events::advance,   Working, none,        none>,
        Row<Resting, events::error,     Resting, give_up,     none>,
        Row<Resting, events::repair,    Resting, repair,      is_broken>>;
    // clang-format on

    template <class Machine, class Event>
    void exception_caught(const Event& /*event*/, Machine& machine, std::exception& /*error*/) {
        machine.process_event(events::exception{});
    }
};

/// The log lines from the severity onwards, without source line numbers and machine addresses.
std::vector<std::string> lines(const CapturedLog& log) {
    std::vector<std::string> all;
    const std::string text = log.text();
    if (text.empty()) {
        return all;
    }
    boost::split(all, text, boost::is_any_of("\n"));
    all.pop_back();
    return all;
}

std::string line(const std::string& severity_and_function, const std::string& fields) {
    const auto blank = severity_and_function.find(' ');
    return ".* " + severity_and_function.substr(0, blank) + " advancing_fsm_impl[.]h:[0-9]+" +
           severity_and_function.substr(blank) + ": " + fields;
}

std::string tick_line(int from, int to) {
    return line("DEBUG tick", "event=tick fsm=0x[0-9a-f]+ from_state=" + std::to_string(from) +
                                  " to_state=" + std::to_string(to));
}

const std::string retrying_line =
    line("INFO wait_and_retry", "event=retrying retries=1 fsm=0x[0-9a-f]+");
const std::string failing_line = line("WARNING wait_and_retry", "event=failing fsm=0x[0-9a-f]+");

TEST(AdvancingFSM, TickTakesOneStepAndLogsBothStates) {
    Worker worker;
    const CapturedLog log;

    worker.tick();
    worker.tick();

    EXPECT_EQ(worker.attempts, 1U);
    EXPECT_THAT(lines(log),
                ElementsAre(MatchesRegex(tick_line(0, 1)), MatchesRegex(tick_line(1, 0))));
}

TEST(AdvancingFSM, OwnerIsToldWhatToShowBeforeAnythingElse) {
    Worker worker;

    worker.tick();

    EXPECT_EQ(worker.shown, Shown::rest);
    EXPECT_EQ(worker.shown_at_rest, Shown::rest);
}

TEST(AdvancingFSM, OwnerIsAskedBeforeATransition) {
    Worker worker;
    worker.tick();

    worker.offer_repair();
    EXPECT_EQ(worker.repairs, 0U);
    worker.broken = true;
    worker.offer_repair();

    EXPECT_EQ(worker.repairs, 1U);
}

TEST(AdvancingFSM, EventWithoutARowIsIgnored) {
    Worker worker;
    worker.broken = true;

    worker.offer_repair();

    EXPECT_EQ(worker.repairs, 0U);
    EXPECT_EQ(worker.shown, Shown::nothing);
}

TEST(AdvancingFSM, AllLinesOfOneMachineCarryTheSameIdentity) {
    Worker worker{2, 1};
    Worker other;
    const CapturedLog log;

    worker.tick();
    worker.wait_and_retry(0, 1);
    other.tick();

    std::vector<std::string> identities;
    for (const std::string& text : lines(log)) {
        const auto begin = text.find("fsm=0x");
        ASSERT_NE(begin, std::string::npos) << text;
        identities.push_back(text.substr(begin, text.find(' ', begin) - begin));
    }
    ASSERT_EQ(identities.size(), 3U);
    EXPECT_EQ(identities[0], identities[1]);
    EXPECT_NE(identities[0], identities[2]);
}

TEST(AdvancingFSM, WaitingTicksTakeNoStepAndLogNothing) {
    Worker worker;
    worker.wait_and_retry(3, 1);
    const CapturedLog log;

    worker.tick();
    worker.tick();
    worker.tick();

    EXPECT_EQ(worker.attempts, 0U);
    EXPECT_THAT(lines(log), IsEmpty());

    worker.tick();

    EXPECT_EQ(worker.attempts, 1U);
    EXPECT_THAT(lines(log), ElementsAre(MatchesRegex(tick_line(0, 1))));
}

TEST(AdvancingFSM, FourFailuresInARowRetryAndGiveUpAlternately) {
    Worker worker;
    const CapturedLog log;

    worker.wait_and_retry(2, 1);
    worker.wait_and_retry(2, 1);
    worker.wait_and_retry(2, 1);
    worker.wait_and_retry(2, 1);

    EXPECT_EQ(worker.errors, 2U);
    EXPECT_THAT(lines(log), ElementsAre(MatchesRegex(retrying_line), MatchesRegex(failing_line),
                                        MatchesRegex(retrying_line), MatchesRegex(failing_line)));
}

TEST(AdvancingFSM, SuccessDoesNotRefillTheRetries) {
    Worker worker;
    worker.wait_and_retry(2, 1);
    for (unsigned skipped_and_successful = 0; skipped_and_successful < 22;
         ++skipped_and_successful) {
        worker.tick();
    }
    ASSERT_EQ(worker.attempts, 10U);
    const CapturedLog log;

    worker.wait_and_retry(2, 1);

    EXPECT_EQ(worker.errors, 1U);
    EXPECT_THAT(lines(log), ElementsAre(MatchesRegex(failing_line)));
}

TEST(AdvancingFSM, GivingUpEndsTheWaiting) {
    Worker worker;
    worker.wait_and_retry(5, 1);
    worker.wait_and_retry(5, 1);
    const CapturedLog log;

    worker.tick();

    EXPECT_THAT(lines(log), ElementsAre(MatchesRegex(tick_line(1, 0))));
}

TEST(AdvancingFSM, LaterAttemptsOfARunWaitAsLongAsItsFirst) {
    Worker worker;
    worker.wait_and_retry(1, 2);
    worker.wait_and_retry(7, 2);

    worker.tick();
    EXPECT_EQ(worker.attempts, 0U);
    worker.tick();
    EXPECT_EQ(worker.attempts, 1U);
    EXPECT_EQ(worker.errors, 0U);
    worker.wait_and_retry(7, 2);

    EXPECT_EQ(worker.errors, 1U);
}

TEST(AdvancingFSM, EachAttemptOfARunWaits) {
    Worker worker;
    worker.wait_and_retry(1, 2);
    worker.tick();

    worker.wait_and_retry(1, 2);

    worker.tick();
    EXPECT_EQ(worker.attempts, 0U);
    worker.tick();
    EXPECT_EQ(worker.attempts, 1U);
}

TEST(AdvancingFSM, NoRetriesMeanAnErrorAtOnceWithoutWaiting) {
    Worker worker;
    const CapturedLog log;

    worker.wait_and_retry(4, 0);
    worker.tick();

    EXPECT_EQ(worker.errors, 1U);
    EXPECT_THAT(
        lines(log),
        ElementsAre(MatchesRegex(line("INFO wait_and_retry", "event=not_retrying fsm=0x[0-9a-f]+")),
                    MatchesRegex(tick_line(1, 0))));
}

TEST(AdvancingFSM, ZeroRetriesDoNotEndARunUnderWay) {
    Worker worker;
    worker.wait_and_retry(2, 2);
    const CapturedLog log;

    worker.wait_and_retry(2, 0);

    EXPECT_EQ(worker.errors, 0U);
    EXPECT_THAT(lines(log),
                ElementsAre(MatchesRegex(
                    line("INFO wait_and_retry", "event=retrying retries=0 fsm=0x[0-9a-f]+"))));
}

TEST(AdvancingFSM, FailedWorkIsRetriedAfterTwoTicksAndThenGivenUpInsideTheTick) {
    Worker worker;
    worker.broken = true;
    const CapturedLog log;

    worker.tick();
    EXPECT_EQ(worker.attempts, 1U);
    worker.tick();
    worker.tick();
    EXPECT_EQ(worker.attempts, 1U);
    EXPECT_EQ(worker.errors, 0U);
    worker.tick();

    EXPECT_EQ(worker.attempts, 2U);
    EXPECT_EQ(worker.errors, 1U);
    EXPECT_THAT(lines(log), ElementsAre(MatchesRegex(retrying_line), MatchesRegex(tick_line(0, 0)),
                                        MatchesRegex(failing_line), MatchesRegex(tick_line(0, 1))));
}

TEST(AdvancingFSM, TickIsQuietWhenDebuggingIsOff) {
    Worker worker;
    const CapturedLog log{"INFO"};

    worker.tick();

    EXPECT_EQ(worker.attempts, 1U);
    EXPECT_THAT(lines(log), IsEmpty());
}

}  // namespace
}  // namespace zephran
