// SPDX-License-Identifier: Apache-2.0
#include "ghn/ghn_utility.h"

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <boost/exception/diagnostic_information.hpp>
#include <boost/exception/errinfo_errno.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "common/popen.h"
#include "ghn/exceptions.h"
#include "support/simulated_tools.h"

namespace zephran::ghn {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

/// The value of a record as text.
template <class Record>
std::string record(const boost::exception& error) {
    const auto* const value = boost::get_error_info<Record>(error);
    if (value == nullptr) {
        return "none";
    }
    std::ostringstream text;
    text << *value;
    return text.str();
}

/// Keeps this process from opening files while it lives.
class NoFurtherFiles {
public:
    NoFurtherFiles() {
        getrlimit(RLIMIT_NOFILE, &original);
        const rlimit none{0, original.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    NoFurtherFiles(const NoFurtherFiles&) = delete;
    NoFurtherFiles(NoFurtherFiles&&) = delete;
    NoFurtherFiles& operator=(const NoFurtherFiles&) = delete;
    NoFurtherFiles& operator=(NoFurtherFiles&&) = delete;
    ~NoFurtherFiles() { setrlimit(RLIMIT_NOFILE, &original); }

private:
    rlimit original{};
};

class GhnUtilityTest : public testing::Test {
protected:
    GhnUtilityTest() { base.interface("br-lan").password("hush").mac_address("02:00:00:00:00:01"); }

    /// Makes the tool print a text, in the notation of printf(1).
    void answer(const std::string& text) const {
        tools.add("configlayer", "printf '" + text + "'");
    }
    [[nodiscard]] std::string value_of(const std::string& name) const {
        return GhnUtility::get_parameter_value(base, name);
    }

    SimulatedTools tools;
    ConfigLayerCommand base;
};

TEST_F(GhnUtilityTest, QueryIsAppendedToTheBaseCommand) {
    answer("A.B=1");

    static_cast<void>(value_of("A.B"));

    EXPECT_THAT(tools.calls(),
                ElementsAre("configlayer -i br-lan -w hush -m 02:00:00:00:00:01 -o GET -p A.B"));
}

TEST_F(GhnUtilityTest, BaseCommandIsLeftUnchanged) {
    const std::string before = base.build();
    answer("X=1");

    static_cast<void>(value_of("X"));

    EXPECT_EQ(base.build(), before);
}

TEST_F(GhnUtilityTest, PasswordWithASpaceBecomesTwoWords) {
    base = ConfigLayerCommand{}.password("two words");
    tools.add("configlayer", "echo \"X=$#\"");

    EXPECT_EQ(value_of("X"), "7");
}

TEST_F(GhnUtilityTest, LineEndIsNotPartOfTheValue) {
    answer("X=1.2.3\\n");

    EXPECT_EQ(value_of("X"), "1.2.3");
}

TEST_F(GhnUtilityTest, TrailingWhiteSpaceIsRemoved) {
    answer(R"(X=1 2 \t\v\f\r\n \n)");

    EXPECT_EQ(value_of("X"), "1 2");
}

TEST_F(GhnUtilityTest, LeadingWhiteSpaceIsKept) {
    answer("X= 1\\n");

    EXPECT_EQ(value_of("X"), " 1");
}

TEST_F(GhnUtilityTest, LaterLinesArePartOfTheValue) {
    answer("X=1\\nY=2\\n");

    EXPECT_EQ(value_of("X"), "1\nY=2");
}

TEST_F(GhnUtilityTest, EarlierLinesAreNotPartOfTheValue) {
    answer("Y=2\\nX=1\\n");

    EXPECT_EQ(value_of("X"), "1");
}

TEST_F(GhnUtilityTest, FirstOccurrenceCountsEvenWithoutAnEqualsSign) {
    answer("reading X from device\\nX=1\\n");

    EXPECT_EQ(value_of("X"), "from device\nX=1");
}

TEST_F(GhnUtilityTest, NameInsideALongerNameCounts) {
    answer("AX=1\\nX=2\\n");

    EXPECT_EQ(value_of("X"), "1\nX=2");
}

TEST_F(GhnUtilityTest, ValueMayBeEmpty) {
    answer("X=");
    EXPECT_EQ(value_of("X"), "");

    answer("X= \\n");
    EXPECT_EQ(value_of("X"), "");
}

TEST_F(GhnUtilityTest, LongValuesAreReadCompletely) {
    tools.add("configlayer", "printf 'X='; head -c 70000 /dev/zero | tr '\\0' a; echo b");

    const std::string value = value_of("X");

    EXPECT_EQ(value, std::string(70000, 'a') + "b");
}

TEST_F(GhnUtilityTest, StandardErrorIsIgnored) {
    tools.add("configlayer", "echo X=wrong >&2; echo X=right");

    EXPECT_EQ(value_of("X"), "right");
}

TEST_F(GhnUtilityTest, AnswerWithoutTheNameIsAFormatError) {
    for (const std::string text : {"", "Y=1\\n", "X:1\\n", "X =1\\n", "x=1\\n"}) {
        answer(text);
        try {
            static_cast<void>(value_of("X"));
            FAIL() << text << " was taken";
        } catch (const ConfigLayerFormatException& error) {
            EXPECT_STREQ(error.what(), "configlayer returned data in an unknown format");
        }
    }
}

TEST_F(GhnUtilityTest, FormatErrorReportsTheOutputUnchanged) {
    answer("login failed\\n");

    try {
        static_cast<void>(value_of("X"));
        FAIL() << "the answer was taken";
    } catch (const ConfigLayerFormatException& error) {
        EXPECT_EQ(record<configlayer_output_tag>(error), "login failed\n");
        EXPECT_THAT(boost::diagnostic_information(error), Not(HasSubstr("hush")));
    }
}

TEST_F(GhnUtilityTest, NonZeroExitStatusIsAFailureWhateverTheAnswer) {
    tools.add("configlayer", "echo X=1; exit 3");

    try {
        static_cast<void>(value_of("X"));
        FAIL() << "the answer was taken";
    } catch (const ConfigLayerFailedException& error) {
        EXPECT_STREQ(error.what(), "configlayer returned an error");
        EXPECT_EQ(record<configlayer_output_tag>(error), "X=1\n");
        EXPECT_EQ(record<common::program_exit_code_tag>(error), "3");
        EXPECT_THAT(boost::diagnostic_information(error), Not(HasSubstr("hush")));
    }
}

TEST_F(GhnUtilityTest, MissingToolIsAFailure) {
    try {
        static_cast<void>(value_of("X"));
        FAIL() << "there was an answer";
    } catch (const ConfigLayerFailedException& error) {
        EXPECT_EQ(record<configlayer_output_tag>(error), "");
        EXPECT_EQ(record<common::program_exit_code_tag>(error), "127");
    }
}

TEST_F(GhnUtilityTest, ToolThatCannotBeStartedIsAFailureWithoutThePassword) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "The sanitizers need descriptors of their own";
#endif
    answer("X=1");
    const NoFurtherFiles limit;

    try {
        static_cast<void>(value_of("X"));
        FAIL() << "there was an answer";
    } catch (const ConfigLayerFailedException& error) {
        EXPECT_EQ(record<boost::errinfo_errno>(error), std::to_string(EMFILE));
        EXPECT_THAT(boost::diagnostic_information(error), Not(HasSubstr("hush")));
    }
}

TEST_F(GhnUtilityTest, KilledToolIsDistinguishedFromAFailedOneWithoutThePassword) {
    tools.add("configlayer", "echo X=1; kill -9 0");

    try {
        static_cast<void>(value_of("X"));
        FAIL() << "the answer was taken";
    } catch (const common::AbnormalTerminationException& error) {
        EXPECT_EQ(record<common::popen_command_tag>(error), "configlayer");
        EXPECT_EQ(record<common::program_signal_tag>(error), "9");
        EXPECT_EQ(record<common::program_output_tag>(error), "X=1\n");
        EXPECT_THAT(boost::diagnostic_information(error), Not(HasSubstr("hush")));
    }
}

/// A tool that prints its own command line, and then does what a script says.
std::string noisy(const std::string& script) {
    return "echo \"$0 $*\"; " + script;
}

TEST_F(GhnUtilityTest, PasswordThatTheToolRepeatsIsKeptOutOfAFailure) {
    tools.add("configlayer", noisy("echo hush; exit 3"));

    try {
        static_cast<void>(value_of("X"));
        FAIL() << "the answer was taken";
    } catch (const ConfigLayerFailedException& error) {
        EXPECT_THAT(record<configlayer_output_tag>(error),
                    EndsWith(" -w *** -m 02:00:00:00:00:01 -o GET -p X\n***\n"));
        EXPECT_THAT(boost::diagnostic_information(error), Not(HasSubstr("hush")));
    }
}

TEST_F(GhnUtilityTest, PasswordThatTheToolRepeatsIsKeptOutOfAFormatError) {
    tools.add("configlayer", noisy(":"));

    try {
        static_cast<void>(value_of("X"));
        FAIL() << "the answer was taken";
    } catch (const ConfigLayerFormatException& error) {
        EXPECT_THAT(record<configlayer_output_tag>(error), HasSubstr(" -w *** -m "));
        EXPECT_THAT(boost::diagnostic_information(error), Not(HasSubstr("hush")));
    }
}

TEST_F(GhnUtilityTest, PasswordThatTheToolRepeatsIsKeptOutOfAnAbnormalEnd) {
    tools.add("configlayer", noisy("kill -9 0"));

    try {
        static_cast<void>(value_of("X"));
        FAIL() << "the answer was taken";
    } catch (const common::AbnormalTerminationException& error) {
        EXPECT_THAT(record<common::program_output_tag>(error), HasSubstr(" -w *** -m "));
        EXPECT_THAT(boost::diagnostic_information(error), Not(HasSubstr("hush")));
    }
}

/// Whether the tool hangs no longer than it may; the time is far less than that for which it would.
class GhnUtilityEnd : public GhnUtilityTest {
protected:
    GhnUtilityEnd() { tools.add("configlayer", noisy("exec sleep 60")); }

    void expect_abnormal_end(const std::atomic<bool>& stop,
                             const std::optional<std::chrono::milliseconds>& limit) const {
        const auto before = std::chrono::steady_clock::now();
        try {
            static_cast<void>(GhnUtility::get_parameter_value(base, "X", stop, limit));
            FAIL() << "there was an answer";
        } catch (const common::AbnormalTerminationException& error) {
            EXPECT_THAT(boost::diagnostic_information(error), Not(HasSubstr("hush")));
        }
        EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds{20});
    }
};

TEST_F(GhnUtilityEnd, ComesAtTheLimit) {
    expect_abnormal_end(common::no_stop_request, std::chrono::milliseconds{100});
}

TEST_F(GhnUtilityEnd, ComesWithTheStopRequest) {
    const std::atomic<bool> requested{true};

    expect_abnormal_end(requested, std::nullopt);
}

TEST_F(GhnUtilityEnd, ComesWithTheStopRequestBeforeTheLimit) {
    const std::atomic<bool> requested{true};

    expect_abnormal_end(requested, std::chrono::hours{1});
}

TEST_F(GhnUtilityTest, PasswordThatIsPartOfAValueDoesNotChangeIt) {
    answer("X=hushed");

    EXPECT_EQ(value_of("X"), "hushed");
}

}  // namespace
}  // namespace zephran::ghn
