// SPDX-License-Identifier: Apache-2.0
#include "common/file_descriptor.h"

#include <cerrno>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/types.h>

namespace {

constexpr int observed_descriptor = 777;

/// What write(2) does for the descriptor under observation.
struct WriteCalls {
    struct Result {
        ssize_t count;
        int error;
    };

    /// @returns the next result; an error that no program goes on after when there is none
    ssize_t take(const void* data, std::size_t length) {
        texts.emplace_back(static_cast<const char*>(data), length);
        Result result{-1, EBADF};
        if (!results.empty()) {
            result = results.front();
            results.pop_front();
        }
        errno = result.error;
        return result.count;
    }

    std::deque<Result> results;
    std::vector<std::string> texts;
};

WriteCalls* write_calls = nullptr;

}  // namespace

// The linker makes up these names.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" ssize_t __real_write(int descriptor, const void* data, std::size_t length);
extern "C" ssize_t __wrap_write(int descriptor, const void* data, std::size_t length) {
    return descriptor == observed_descriptor ? write_calls->take(data, length)
                                             : __real_write(descriptor, data, length);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace zephran::common {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

bool is_open(int number) {
    return fcntl(number, F_GETFD) != -1;
}

int open_something() {
    return open("/dev/null", O_RDWR | O_CLOEXEC);
}

TEST(FileDescriptor, ClosesAtItsEnd) {
    const int number = open_something();

    {
        const FileDescriptor file{number};
        EXPECT_TRUE(file.is_open());
        EXPECT_EQ(file.get(), number);
        EXPECT_TRUE(is_open(number));
    }

    EXPECT_FALSE(is_open(number));
}

TEST(FileDescriptor, NoneIsNotOpen) {
    EXPECT_FALSE(FileDescriptor{-1}.is_open());
}

TEST(FileDescriptor, MovedAwayHasNone) {
    const int number = open_something();
    FileDescriptor source{number};

    const FileDescriptor file{std::move(source)};

    EXPECT_EQ(file.get(), number);
    // NOLINTNEXTLINE(bugprone-use-after-move,clang-analyzer-cplusplus.Move): what is left is asked
    EXPECT_EQ(source.get(), -1);
}

TEST(FileDescriptor, AssignedOneClosesTheFormerByTheEndOfItsSource) {
    const int former = open_something();
    const int number = open_something();
    FileDescriptor file{former};

    file = FileDescriptor{number};

    EXPECT_EQ(file.get(), number);
    EXPECT_TRUE(is_open(number));
    EXPECT_FALSE(is_open(former));
}

TEST(FileDescriptor, ReleasedOneStaysOpen) {
    const int number = open_something();

    {
        FileDescriptor file{number};
        EXPECT_EQ(file.release(), number);
        EXPECT_EQ(file.get(), -1);
    }

    EXPECT_TRUE(is_open(number));
    const FileDescriptor closed_at_the_end{number};
}

class FileDescriptorWrite : public testing::Test {
protected:
    void SetUp() override { write_calls = &calls; }
    void TearDown() override {
        static_cast<void>(file.release());
        write_calls = nullptr;
    }

    std::size_t write(const std::string& text) { return file.write(text.data(), text.size()); }

    WriteCalls calls;
    FileDescriptor file{observed_descriptor};
};

TEST_F(FileDescriptorWrite, GoesOnWithWhatIsLeft) {
    calls.results = {{2, 0}, {3, 0}, {1, 0}};

    EXPECT_EQ(write("abcdef"), 6U);

    EXPECT_THAT(calls.texts, ElementsAre("abcdef", "cdef", "f"));
}

TEST_F(FileDescriptorWrite, OfNothingAsksForNothing) {
    EXPECT_EQ(write(""), 0U);

    EXPECT_THAT(calls.texts, IsEmpty());
}

TEST_F(FileDescriptorWrite, GoesOnAfterASignal) {
    calls.results = {{-1, EINTR}, {2, 0}, {-1, EINTR}, {1, 0}};

    EXPECT_EQ(write("abc"), 3U);

    EXPECT_THAT(calls.texts, ElementsAre("abc", "abc", "c", "c"));
}

TEST_F(FileDescriptorWrite, EndsWithAnError) {
    calls.results = {{2, 0}, {-1, ENOSPC}};

    EXPECT_EQ(write("abc"), 2U);

    EXPECT_THAT(calls.texts, ElementsAre("abc", "c"));
}

// No call sets errno then, so the number that is there may be that of an earlier signal.
TEST_F(FileDescriptorWrite, EndsWhenNothingIsTaken) {
    calls.results = {{0, EINTR}};

    EXPECT_EQ(write("abc"), 0U);

    EXPECT_THAT(calls.texts, ElementsAre("abc"));
}

}  // namespace
}  // namespace zephran::common
