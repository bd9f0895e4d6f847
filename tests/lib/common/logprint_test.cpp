// SPDX-License-Identifier: Apache-2.0
#include "common/logprint.h"

#include <condition_variable>
#include <ctime>
#include <iomanip>
#include <mutex>
#include <regex>
#include <set>
#include <sstream>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "common/json.h"
#include "common/mac_address.h"
#include "support/captured_log.h"
#include "support/time_zone.h"

namespace zephran {
namespace {

using std::chrono::milliseconds;
using namespace std::chrono_literals;

constexpr std::size_t time_length = 8;

// What follows the time in the line that these fields make.
template <class... KeysAndValues>
std::string line_after_time(const KeysAndValues&... keys_and_values) {
    std::ostringstream target;
    LogPrint logger{target};
    log_detail::print(logger, "INFO", "/src/dir/file.cpp", 12, "run", keys_and_values...);
    return target.str().substr(time_length);
}

template <class T>
std::string rendered(const T& value) {
    const std::string prefix = " INFO file.cpp:12 run: key=";
    const std::string line = line_after_time("key", value);
    EXPECT_EQ(line.substr(0, prefix.size()), prefix);
    EXPECT_EQ(line.back(), '\n');
    return line.substr(prefix.size(), line.size() - prefix.size() - 1);
}

std::string utc_text(std::time_t time) {
    std::tm broken_down{};
    gmtime_r(&time, &broken_down);
    std::string text(time_length + 1, '\0');
    text.resize(std::strftime(text.data(), text.size(), "%H:%M:%S", &broken_down));
    return text;
}

TEST(LogPrint, LineHoldsLevelPlaceAndFieldsInOrder) {
    const auto line = line_after_time("action", "spawn", "message", "forcing poll", "action", 3);

    EXPECT_EQ(line, " INFO file.cpp:12 run: action=spawn message=forcing poll action=3\n");
}

TEST(LogPrint, LineWithoutFieldsEndsAfterTheFunction) {
    EXPECT_EQ(line_after_time(), " INFO file.cpp:12 run:\n");
}

TEST(LogPrint, PathWithoutSlashIsPrintedWhole) {
    std::ostringstream target;
    LogPrint logger{target};

    logger.print("ERROR", "main.cpp", 1, "main", {});

    EXPECT_EQ(target.str().substr(time_length), " ERROR main.cpp:1 main:\n");
}

TEST(LogPrint, TimeIsUtcInAnyTimeZone) {
    const TimeZone zone{"XYZ-5:30"};
    std::ostringstream target;
    LogPrint logger{target};

    const std::time_t before = std::time(nullptr);
    logger.print("INFO", "file", 1, "run", {});
    const std::time_t after = std::time(nullptr);

    std::set<std::string> possible;
    // time() may lag a tick behind the clock that the logger reads.
    for (std::time_t time = before; time <= after + 1; ++time) {
        possible.insert(utc_text(time));
    }
    EXPECT_EQ(possible.count(target.str().substr(0, time_length)), 1U) << target.str();
}

TEST(LogPrint, DisabledLoggerWritesNothing) {
    std::ostringstream target;
    LogPrint logger{target};
    logger.enabled = false;

    logger.print("INFO", "file", 1, "run", {});
    log_detail::print(logger, "INFO", "file", 1, "run", "key", 1);

    EXPECT_EQ(target.str(), "");
}

TEST(LogPrint, LinesOfTwoThreadsAndLoggersNeverMix) {
    constexpr int lines = 500;
    std::ostringstream target;
    LogPrint first{target};
    LogPrint second{target};
    const auto log_lines = [](LogPrint& logger, const char* function) {
        for (int i = 0; i < lines; ++i) {
            log_detail::print(logger, "INFO", "file", 1, function, "number", i, "text",
                              "some words");
        }
    };

    std::thread other{log_lines, std::ref(second), "other"};
    log_lines(first, "main");
    other.join();

    const std::regex whole_line{"..:..:.. INFO file:1 (main|other): number=[0-9]+ text=some words"};
    std::istringstream text{target.str()};
    std::string line;
    int count = 0;
    for (; std::getline(text, line); ++count) {
        EXPECT_TRUE(std::regex_match(line, whole_line)) << line;
    }
    EXPECT_EQ(count, 2 * lines);
}

/// Counts what a logger does to its stream.
class CountingBuffer : public std::streambuf {
public:
    std::string written;
    int insertions = 0;
    int flushes = 0;

protected:
    std::streamsize xsputn(const char* text, std::streamsize size) override {
        ++insertions;
        written.append(text, static_cast<std::size_t>(size));
        return size;
    }
    int_type overflow(int_type character) override {
        ++insertions;
        written += traits_type::to_char_type(character);
        return character;
    }
    int sync() override {
        ++flushes;
        return 0;
    }
};

TEST(LogPrint, LineIsOneInsertionAndIsNotFlushed) {
    CountingBuffer buffer;
    std::ostream target{&buffer};
    LogPrint logger{target};

    log_detail::print(logger, "INFO", "file", 1, "run", "text", std::string(10000, 'x'), "number",
                      7);

    EXPECT_EQ(buffer.insertions, 1);
    EXPECT_EQ(buffer.flushes, 0);
    EXPECT_EQ(buffer.written.back(), '\n');
}

/// Holds its first writer for a while, unless a second one comes in.
class MeetingPoint : public std::streambuf {
public:
    [[nodiscard]] bool waits() {
        std::unique_lock<std::mutex> lock{mutex};
        return changed.wait_for(lock, 10s, [this] { return writers > 0; });
    }
    bool met = false;

protected:
    std::streamsize xsputn(const char* /*text*/, std::streamsize size) override {
        std::unique_lock<std::mutex> lock{mutex};
        ++writers;
        changed.notify_all();
        if (changed.wait_for(lock, 200ms, [this] { return writers > 1; })) {
            met = true;
        }
        --writers;
        return size;
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    int writers = 0;
};

TEST(LogPrint, LoggersOfOneStreamNeverWriteAtTheSameTime) {
    MeetingPoint buffer;
    std::ostream target{&buffer};
    std::ostream other_target{&buffer};
    LogPrint first{target};
    LogPrint second{other_target};

    std::thread other{[&first] { first.print("INFO", "file", 1, "other", {}); }};
    const bool first_is_writing = buffer.waits();
    second.print("ERROR", "file", 1, "main", {});
    other.join();

    EXPECT_TRUE(first_is_writing);
    EXPECT_FALSE(buffer.met);
}

TEST(LogValue, TextsAreWrittenAsTheyAre) {
    const char* const pointer = "a=b c";

    EXPECT_EQ(rendered("literal"), "literal");
    EXPECT_EQ(rendered(pointer), "a=b c");
    EXPECT_EQ(rendered(std::string{"\"quoted\" \\ \t ~ \xc3\xa4 \xff"}),
              "\"quoted\" \\ \t ~ \xc3\xa4 \xff");
}

TEST(LogValue, FurtherLinesAreIndented) {
    EXPECT_EQ(rendered(std::string{"two\nlines"}), "two\n    lines");
    EXPECT_EQ(rendered(std::string{"a\n\nb\n"}), "a\n    \n    b\n    ");
}

TEST(LogValue, TextCannotForgeALine) {
    const std::string forged = "1\n00:00:00 ERROR main.cpp:1 main: message=forged";

    EXPECT_EQ(line_after_time("version", forged, "key", 2),
              " INFO file.cpp:12 run: version=1\n"
              "    00:00:00 ERROR main.cpp:1 main: message=forged key=2\n");
}

TEST(LogValue, ControlCharactersAreWrittenAsNumbers) {
    for (int code = 0; code < 0x100; ++code) {
        const bool control = (code < 0x20 && code != '\n' && code != '\t') || code == 0x7f;
        const std::string text{'a', static_cast<char>(code), 'b'};
        std::ostringstream expected;
        expected << "a\\x" << std::hex << std::setw(2) << std::setfill('0') << code << 'b';

        if (control) {
            EXPECT_EQ(rendered(text), expected.str());
        } else if (code != '\n') {
            EXPECT_EQ(rendered(text), text);
        }
    }
}

TEST(LogValue, EscapeCodesOfATerminalAreHarmless) {
    EXPECT_EQ(rendered(std::string{"\x1b[2J\r\x7f"}), "\\x1b[2J\\x0d\\x7f");
}

TEST(LogValue, IntegersAreDecimal) {
    EXPECT_EQ(rendered(-7), "-7");
    EXPECT_EQ(rendered(4294967295U), "4294967295");
    EXPECT_EQ(rendered(-9000000000LL), "-9000000000");
}

TEST(LogValue, BoolIsADigit) {
    EXPECT_EQ(rendered(true), "1");
    EXPECT_EQ(rendered(false), "0");
}

TEST(LogValue, PointerToAnObjectIsItsAddress) {
    const std::vector<int> object;
    const auto* const pointer = &object;
    std::ostringstream expected;
    expected << static_cast<const void*>(pointer);

    EXPECT_EQ(rendered(pointer), expected.str());
}

TEST(LogValue, DurationIsHoursMinutesSeconds) {
    EXPECT_EQ(rendered(milliseconds{0}), "00h:00m:00s");
    EXPECT_EQ(rendered(milliseconds{999}), "00h:00m:00s");
    EXPECT_EQ(rendered(milliseconds{59999}), "00h:00m:59s");
    EXPECT_EQ(rendered(milliseconds{3725400}), "01h:02m:05s");
    EXPECT_EQ(rendered(milliseconds{360000000}), "100h:00m:00s");
}

TEST(LogValue, DurationRestoresTheFillCharacter) {
    std::ostringstream stream;
    stream.fill('*');

    render_log_value(stream, milliseconds{1000});

    EXPECT_EQ(stream.fill(), '*');
}

TEST(LogValue, TimePointIsLocalTimeWithoutLineEnd) {
    const TimeZone zone{central_european_time};
    const std::chrono::system_clock::time_point time{std::chrono::seconds{1794471302}};

    EXPECT_EQ(rendered(time), "Thu Nov 12 09:15:02 2026");
}

TEST(LogValue, JsonIsItsStyledText) {
    Json::Value value;
    value["a"] = 1;

    EXPECT_EQ(rendered(value), "{\n    \t\"a\" : 1\n    }");
}

TEST(LogValue, MacAddressIsItsText) {
    EXPECT_EQ(rendered(common::MacAddress{1, 2, 3, 4, 5, 255}), "01:02:03:04:05:ff");
}

TEST(LogPrintable, CopyOfTextRefersToTheSameText) {
    std::string text = "first";
    const LogPrintable original{"text", text.c_str()};
    const LogPrintable copy{original};
    text = "other";
    std::ostringstream stream;

    copy.print(stream);

    EXPECT_EQ(stream.str(), "text=other");
}

TEST(LogPrintable, CopyRefersToTheSameValue) {
    std::string number = "1";
    const LogPrintable original{"number", number};

    const LogPrintable copy{original};
    number = "2";

    std::ostringstream text;
    original.print(text);
    copy.print(text);
    EXPECT_EQ(text.str(), "number=2number=2");
}

TEST(LogPrintable, AssignmentReplacesKeyAndValue) {
    const LogPrintable source{"one", "1"};
    LogPrintable target{"two", "2"};

    target = source;

    std::ostringstream text;
    target.print(text);
    EXPECT_EQ(text.str(), "one=1");
}

TEST(LogMacros, NameLevelFileAndFunction) {
    const CapturedLog log;

    ZLOG_DEBUG("key", 1);
    ZLOG_INFO("key", 2);
    ZLOG_WARNING("key", 3);
    ZLOG_ERROR("key", 4);
    ZLOG_DEBUG_AS("other", "key", 5);
    ZLOG_INFO_AS("other", "key", 6);
    ZLOG_WARNING_AS("other", "key", 7);
    ZLOG_ERROR_AS("other", "key", 8);

    const std::regex place{"..:..:.. ([A-Z]+) logprint_test\\.cpp:[0-9]+ (\\w+): "};
    EXPECT_EQ(std::regex_replace(log.text(), place, "$1 $2 "),
              "DEBUG TestBody key=1\nINFO TestBody key=2\nWARNING TestBody key=3\n"
              "ERROR TestBody key=4\nDEBUG other key=5\nINFO other key=6\nWARNING other key=7\n"
              "ERROR other key=8\n");
}

TEST(LogMacros, DisabledLoggerDoesNotEvaluateArguments) {
    const CapturedLog log{"INFO"};
    int evaluations = 0;
    const auto evaluate = [&evaluations] { return ++evaluations; };

    ZLOG_DEBUG("key", evaluate());
    EXPECT_EQ(evaluations, 0);

    ZLOG_INFO("key", evaluate());
    EXPECT_EQ(evaluations, 1);
}

TEST(LogLevel, EnablesItselfAndWhatIsAbove) {
    const std::vector<std::string> levels{"DEBUG", "INFO", "WARNING", "ERROR"};
    for (std::size_t chosen = 0; chosen < levels.size(); ++chosen) {
        const CapturedLog log{levels[chosen]};

        const std::vector<bool> enabled{debug_logger.enabled, info_logger.enabled,
                                        warning_logger.enabled, error_logger.enabled};

        for (std::size_t level = 0; level < levels.size(); ++level) {
            EXPECT_EQ(enabled[level], level >= chosen) << levels[chosen] << ' ' << levels[level];
        }
    }
}

TEST(LogLevel, ErrorsAreEnabledByEveryLevel) {
    error_logger.enabled = false;

    const CapturedLog log{"ERROR"};

    EXPECT_TRUE(error_logger.enabled);
}

TEST(LogLevel, OnlyErrorsGoToStandardError) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    ZLOG_DEBUG("key", 1);
    ZLOG_INFO("key", 2);
    ZLOG_WARNING("key", 3);
    ZLOG_ERROR("key", 4);
    std::cout.flush();
    const std::string errors = testing::internal::GetCapturedStderr();
    const std::string output = testing::internal::GetCapturedStdout();

    EXPECT_NE(output.find("key=1"), std::string::npos);
    EXPECT_NE(output.find("key=2"), std::string::npos);
    EXPECT_NE(output.find("key=3"), std::string::npos);
    EXPECT_EQ(output.find("key=4"), std::string::npos);
    EXPECT_NE(errors.find("key=4"), std::string::npos);
    EXPECT_EQ(errors.find("key=3"), std::string::npos);
}

}  // namespace
}  // namespace zephran
