// SPDX-License-Identifier: Apache-2.0
extern "C" {
#include <libubox/uloop.h>
}

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <iterator>

#include <gtest/gtest.h>
#include <unistd.h>

// Dispositions belong to the process: every case looks at them in a child of its own.

namespace {

constexpr std::array<int, 4> touched{SIGINT, SIGTERM, SIGCHLD, SIGPIPE};

struct sigaction disposition(int number) {
    struct sigaction action {};
    sigaction(number, nullptr, &action);
    return action;
}

void reset() {
    for (const int number : touched) {
        (void)std::signal(number, SIG_DFL);
    }
}

void own_handler(int /*number*/) {}

[[noreturn]] void leave(bool as_expected) {
    std::_Exit(as_expected ? 0 : 1);
}

bool is_taken_over(int number) {
    const auto action = disposition(number);
    return action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN &&
           (action.sa_flags & SA_RESTART) == 0;
}

void take_defaults_over() {
    reset();
    const int result = uloop_init();
    leave(result == 0 && is_taken_over(SIGINT) && is_taken_over(SIGTERM) &&
          is_taken_over(SIGCHLD) && disposition(SIGPIPE).sa_handler == SIG_IGN);
}

void keep_what_is_no_default() {
    for (const int number : touched) {
        (void)std::signal(number, own_handler);
    }
    uloop_init();
    leave(std::all_of(touched.begin(), touched.end(),
                      [](int number) { return disposition(number).sa_handler == own_handler; }));
}

void survive_signals() {
    reset();
    uloop_init();
    static_cast<void>(std::raise(SIGTERM));
    static_cast<void>(std::raise(SIGINT));
    leave(true);
}

void take_over_again() {
    reset();
    uloop_init();
    reset();
    uloop_init();
    leave(is_taken_over(SIGTERM));
}

std::ptrdiff_t open_descriptors() {
    const std::filesystem::directory_iterator entries{"/proc/self/fd"};
    return std::distance(begin(entries), end(entries));
}

void open_three_descriptors_once() {
    const auto before = open_descriptors();
    uloop_init();
    const auto first = open_descriptors();
    uloop_init();
    leave(first - before == 3 && open_descriptors() == first);
}

}  // namespace

TEST(UloopInit, TakesDefaultDispositionsOver) {
    EXPECT_EXIT(take_defaults_over(), testing::ExitedWithCode(0), "");
}

TEST(UloopInit, KeepsDispositionsThatAreNotTheDefault) {
    EXPECT_EXIT(keep_what_is_no_default(), testing::ExitedWithCode(0), "");
}

TEST(UloopInit, MakesTheProcessSurviveWhatShouldEndIt) {
    EXPECT_EXIT(survive_signals(), testing::ExitedWithCode(0), "");
}

TEST(UloopInit, TakesDefaultsOverEveryTime) {
    EXPECT_EXIT(take_over_again(), testing::ExitedWithCode(0), "");
}

TEST(UloopInit, OpensItsDescriptorsOnce) {
    EXPECT_EXIT(open_three_descriptors_once(), testing::ExitedWithCode(0), "");
}
