// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "common/popen.h"
#include "popen_test.h"
#include "support/temporary_directory.h"

namespace zephran::common {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

TimeLimits briefly_after_end() {
    TimeLimits limits = impatient;
    limits.stop_check = 10ms;
    limits.after_end = 200ms;
    return limits;
}

TEST(POpenTool, OutputAndExitCodeAreThoseOfTheShell) {
    std::string output = "of an earlier one";

    EXPECT_EQ((POpen{"echo a; echo b >&2; exit 3"}.wait_for_tool(output, long_time)), 3);

    EXPECT_EQ(output, "a\n");
    EXPECT_FALSE(has_children());
}

TEST(POpenTool, EndOfTheShellEndsTheCollectionSoonAfter) {
    const TemporaryDirectory directory;
    POpen tool{"sleep 60 & echo $! >" + directory.path("service") + "; echo done; exit 4",
               briefly_after_end()};
    std::string output;

    const auto start = Clock::now();
    const int exit_code = tool.wait_for_tool(output, long_time);
    const auto elapsed = Clock::now() - start;

    EXPECT_EQ(exit_code, 4);
    EXPECT_EQ(output, "done\n");
    EXPECT_GE(elapsed, 200ms);
    EXPECT_LT(elapsed, 30s);
    // The service goes on.
    EXPECT_EQ(POpen{"kill $(cat " + directory.path("service") + ")"}.wait(0), 0);
}

TEST(POpenTool, OutputAfterTheEndOfTheShellIsCollectedMeanwhile) {
    TimeLimits limits = briefly_after_end();
    limits.after_end = 20s;
    POpen tool{"(sleep 0.3; echo late) & exit 0", limits};
    std::string output;

    EXPECT_EQ(tool.wait_for_tool(output, long_time), 0);

    EXPECT_EQ(output, "late\n");
}

TEST(POpenTool, OutputIsCollectedForASecondByDefault) {
    EXPECT_EQ(TimeLimits{}.after_end, 1s);
}

TEST(POpenTool, EndedShellOfABusyServiceIsNotKilledAtTheLimit) {
    POpen tool{"(while :; do echo more; sleep 0.01; done) & echo $!; exit 0", briefly_after_end()};
    std::string output;

    EXPECT_EQ(tool.wait_for_tool(output, long_time), 0);

    const std::size_t pid = output.find_first_of("123456789");
    ASSERT_NE(pid, std::string::npos);
    EXPECT_EQ(POpen("kill " + output.substr(pid, output.find('\n', pid) - pid)).wait(0), 0);
}

TEST(POpenTool, ToolThatMeetsItsLimitFailsLikeOneThatIsKilled) {
    POpen tool{"echo begun; exec sleep 60", impatient};
    std::string output;

    const auto start = Clock::now();
    try {
        tool.wait_for_tool(output, 2s);
        FAIL() << "it was waited for";
    } catch (const AbnormalTerminationException& error) {
        EXPECT_STREQ(error.what(), "Program terminated abnormally");
        EXPECT_EQ(*boost::get_error_info<program_output_tag>(error), "begun\n");
    }
    EXPECT_LT(Clock::now() - start, 30s);
    EXPECT_FALSE(has_children());
}

TEST(POpenTool, LimitHoldsForAToolThatHasClosedItsOutput) {
    POpen tool{"exec >&-; exec sleep 60", impatient};
    std::string output;

    EXPECT_THROW(tool.wait_for_tool(output, 300ms), AbnormalTerminationException);

    EXPECT_FALSE(has_children());
}

TEST(POpenTool, ToolThatClosesItsOutputEarlyIsWaitedFor) {
    POpen tool{"exec >&-; sleep 0.3; exit 5", impatient};
    std::string output;

    EXPECT_EQ(tool.wait_for_tool(output, long_time), 5);
}

TEST(POpenTool, StopRequestEndsItBeforeItsLimit) {
    const std::atomic<bool> stop{true};
    POpen tool{"exec sleep 60", impatient};
    std::string output;

    EXPECT_THROW(tool.wait_for_tool(output, long_time, stop), AbnormalTerminationException);

    EXPECT_FALSE(has_children());
}

}  // namespace
}  // namespace zephran::common
