// SPDX-License-Identifier: Apache-2.0
#include "common/lock_file.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/exception.h"
#include "common/popen.h"
#include "common/shell.h"
#include "support/temporary_directory.h"
#include "support/waiting_program.h"

namespace {

/// How often flock(2) fails, and with what.
struct RefusedLocks {
    unsigned times = 0;
    int error = 0;
};

RefusedLocks refused_locks;

}  // namespace

// The linker makes up these names.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" int __real_flock(int descriptor, int operation);
extern "C" int __wrap_flock(int descriptor, int operation) {
    if (refused_locks.times == 0) {
        return __real_flock(descriptor, operation);
    }
    --refused_locks.times;
    errno = refused_locks.error;
    return -1;
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace zephran::common {
namespace {

namespace fs = std::filesystem;

class LockFileTest : public testing::Test {
protected:
    /// Whether somebody who asks now gets the lock.
    [[nodiscard]] bool is_free() const { return LockFile{path}.try_to_lock(); }
    /// A program that has just been started may still be about to close what it must not have:
    /// not every build suspends the parent until then.
    [[nodiscard]] bool becomes_free() const {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds{20};
        while (!is_free() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
        return is_free();
    }
    void expect_refusal() {
        try {
            static_cast<void>(lock.try_to_lock());
            ADD_FAILURE() << "no exception";
        } catch (const OutputFileOpenException& error) {
            EXPECT_EQ(*boost::get_error_info<filename_tag>(error), path);
        }
        EXPECT_EQ(lock.descriptor(), -1);
    }

    TemporaryDirectory directory;
    std::string path = directory.path("lock");
    LockFile lock{path};
};

TEST_F(LockFileTest, IsHeldByOneAtATime) {
    LockFile other{path};

    EXPECT_TRUE(lock.try_to_lock());
    EXPECT_TRUE(lock.try_to_lock());
    EXPECT_FALSE(other.try_to_lock());
    EXPECT_EQ(other.descriptor(), -1);
    lock.unlock();

    EXPECT_TRUE(other.try_to_lock());
    EXPECT_FALSE(lock.try_to_lock());
}

TEST_F(LockFileTest, EndsWithTheObject) {
    { ASSERT_TRUE(LockFile{path}.try_to_lock()); }

    EXPECT_TRUE(is_free());
}

TEST_F(LockFileTest, FileIsForItsUserAloneAndStays) {
    ASSERT_TRUE(lock.try_to_lock());
    lock.unlock();

    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    EXPECT_EQ(status.st_size, 0);
}

/// Takes the lock in another process, starts a program there, and kills the process.
void kill_the_holder(const std::string& path, const std::string& command, bool inherits) {
    const pid_t holder = fork();
    if (holder == 0) {
        LockFile lock{path};
        ShellStart start;
        if (lock.try_to_lock() && inherits) {
            start.inherited = lock.descriptor();
        }
        start_shell(command.c_str(), start);
        kill(getpid(), SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(wait_for_child(holder, status, 0), holder);
    ASSERT_TRUE(WIFSIGNALED(status));
}

TEST_F(LockFileTest, ProgramThatInheritsItHoldsItAfterItsHolderWasKilled) {
    const WaitingProgram program;

    kill_the_holder(path, program.command(), true);
    EXPECT_FALSE(is_free());
    program.end();

    EXPECT_TRUE(becomes_free());
}

TEST_F(LockFileTest, ProgramThatInheritsNothingDoesNotHoldIt) {
    const WaitingProgram program;

    kill_the_holder(path, program.command(), false);

    EXPECT_TRUE(becomes_free());
    program.end();
}

TEST_F(LockFileTest, UnlockTakesItFromProgramsToo) {
    const WaitingProgram program;
    ASSERT_TRUE(lock.try_to_lock());
    POpen running{program.command(), {}, lock.descriptor()};

    lock.unlock();

    EXPECT_TRUE(is_free());
    program.end();
    EXPECT_EQ(running.wait(0), 0);
}

TEST_F(LockFileTest, EndOfTheObjectTakesItFromProgramsToo) {
    const WaitingProgram program;
    std::optional<LockFile> held{path};
    ASSERT_TRUE(held->try_to_lock());
    POpen running{program.command(), {}, held->descriptor()};

    held.reset();

    EXPECT_TRUE(is_free());
    program.end();
    EXPECT_EQ(running.wait(0), 0);
}

TEST_F(LockFileTest, LeftToAProgramItLastsAsLongAsTheProgram) {
    const WaitingProgram program;
    ASSERT_TRUE(lock.try_to_lock());
    POpen running{program.command(), {}, lock.descriptor()};

    lock.leave();
    EXPECT_EQ(lock.descriptor(), -1);
    EXPECT_FALSE(is_free());
    EXPECT_FALSE(lock.try_to_lock());
    program.end();
    EXPECT_EQ(running.wait(0), 0);

    EXPECT_TRUE(lock.try_to_lock());
}

TEST_F(LockFileTest, LeftToNobodyItIsFree) {
    ASSERT_TRUE(lock.try_to_lock());

    lock.leave();

    EXPECT_TRUE(is_free());
}

TEST_F(LockFileTest, DirectoryPipeAndDeviceAreRefused) {
    fs::create_directory(path);
    expect_refusal();
    fs::remove(path);
    ASSERT_EQ(mkfifo(path.c_str(), S_IRUSR | S_IWUSR), 0);
    expect_refusal();

    path = "/dev/null";
    EXPECT_THROW(static_cast<void>(LockFile{path}.try_to_lock()), OutputFileOpenException);
}

TEST_F(LockFileTest, LinkIsNotFollowed) {
    fs::create_symlink(directory.path("target"), path);

    expect_refusal();

    EXPECT_FALSE(directory.has("target"));
}

TEST_F(LockFileTest, FileThatOthersMayOpenIsRefused) {
    for (const auto others : {fs::perms::group_read, fs::perms::others_read}) {
        directory.write("lock", "");
        fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write | others);

        expect_refusal();
    }
}

TEST_F(LockFileTest, FileWithASecondNameIsRefused) {
    directory.write("lock", "");
    fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write);
    fs::create_hard_link(path, directory.path("other"));

    expect_refusal();
}

TEST_F(LockFileTest, FileOfAnotherUserIsRefused) {
    directory.write("lock", "");
    fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write);
    if (chown(path.c_str(), 65534, 65534) != 0) {
        GTEST_SKIP() << "only root can give a file away, if there is another user in its namespace";
    }

    expect_refusal();
}

TEST_F(LockFileTest, SignalsDoNotKeepItFromBeingTakenAndReleased) {
    refused_locks = {2, EINTR};
    EXPECT_TRUE(lock.try_to_lock());

    refused_locks = {2, EINTR};
    lock.unlock();

    EXPECT_EQ(refused_locks.times, 0U);
    EXPECT_TRUE(is_free());
}

TEST_F(LockFileTest, EarlierInterruptionIsNotTakenForOneOfTheLock) {
    errno = EINTR;

    EXPECT_TRUE(lock.try_to_lock());
}

TEST_F(LockFileTest, FileSystemWithoutLocksIsAnError) {
    refused_locks = {1, ENOLCK};

    expect_refusal();
}

TEST_F(LockFileTest, StandardStreamsAreLeftFree) {
    EXPECT_EXIT(
        {
            for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
                close(stream);
            }
            std::_Exit(lock.try_to_lock() && lock.descriptor() > STDERR_FILENO ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

TEST_F(LockFileTest, MissingDirectoryIsAnError) {
    path = directory.path("missing/lock");

    EXPECT_THROW(static_cast<void>(LockFile{path}.try_to_lock()), OutputFileOpenException);
}

}  // namespace
}  // namespace zephran::common
