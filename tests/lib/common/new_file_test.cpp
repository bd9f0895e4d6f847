// SPDX-License-Identifier: Apache-2.0
#include "common/new_file.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "common/exception.h"
#include "support/temporary_directory.h"

namespace {

/// Runs whenever a file has been removed.
std::function<void()> on_unlink;

}  // namespace

// The linker makes up these names.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" int __real_unlink(const char* path);
extern "C" int __wrap_unlink(const char* path) {
    const int result = __real_unlink(path);
    if (on_unlink) {
        on_unlink();
    }
    return result;
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace zephran::common {
namespace {

namespace fs = std::filesystem;

class NewFileTest : public testing::Test {
protected:
    void expect_refused() const {
        try {
            const NewFile file{path};
            FAIL() << "no exception";
        } catch (const OutputFileOpenException& error) {
            const auto* const named = boost::get_error_info<filename_tag>(error);
            ASSERT_NE(named, nullptr);
            EXPECT_EQ(*named, path);
        }
    }

    TemporaryDirectory directory;
    std::string path = directory.path("file");
};

TEST_F(NewFileTest, TakesBytesInAnyPortions) {
    std::string large(300000, '\0');
    for (std::size_t index = 0; index < large.size(); ++index) {
        large[index] = static_cast<char>(index % 251);
    }

    NewFile file{path};
    file << "a" << 17;
    file.put('\xFF');
    file.write(large.data(), static_cast<std::streamsize>(large.size()));

    EXPECT_TRUE(file.good());
    EXPECT_TRUE(directory.read("file") == "a17\xFF" + large);
}

TEST_F(NewFileTest, WriteThatFailsLeavesABadStream) {
    NewFile file{path};
    struct rlimit former {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &former), 0);
    struct rlimit little = former;
    little.rlim_cur = 4;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &little), 0);
    auto* const former_handler = std::signal(SIGXFSZ, SIG_IGN);

    file << "123456";

    static_cast<void>(std::signal(SIGXFSZ, former_handler));
    setrlimit(RLIMIT_FSIZE, &former);
    EXPECT_TRUE(file.bad());
    EXPECT_EQ(directory.read("file"), "1234");
}

TEST_F(NewFileTest, IsForItsOwnerAlone) {
    directory.write("file", "for everybody");

    const NewFile file{path};

    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(NewFileTest, LinkIsReplacedAndItsTargetLeftAlone) {
    const std::string outside = directory.write("outside", "precious");
    fs::create_symlink(outside, path);

    NewFile{path} << "new";

    EXPECT_EQ(directory.read("outside"), "precious");
    EXPECT_FALSE(fs::is_symlink(path));
    EXPECT_EQ(directory.read("file"), "new");
}

TEST_F(NewFileTest, DanglingLinkMakesNoFileElsewhere) {
    fs::create_symlink(directory.path("elsewhere"), path);

    NewFile{path} << "new";

    EXPECT_FALSE(directory.has("elsewhere"));
    EXPECT_EQ(directory.read("file"), "new");
}

TEST_F(NewFileTest, WhatIsPlantedAnewAfterTheRemovalIsRefused) {
    directory.write("outside", "precious");
    on_unlink = [this] { fs::create_symlink(directory.path("outside"), path); };
    expect_refused();
    on_unlink = [this] { directory.write("file", "planted"); };
    expect_refused();
    on_unlink = nullptr;

    EXPECT_EQ(directory.read("outside"), "precious");
    EXPECT_EQ(directory.read("file"), "planted");
}

TEST_F(NewFileTest, OtherNameOfAnExistingFileIsOnlyTakenAway) {
    fs::create_hard_link(directory.write("outside", "precious"), path);

    NewFile{path} << "new";

    EXPECT_EQ(directory.read("outside"), "precious");
}

TEST_F(NewFileTest, IsOutOfReachOfWhoeverHasTheFormerOneOpen) {
    std::ofstream planted{directory.write("file", "planted"), std::ios::in | std::ios::out};

    NewFile{path} << "downloaded";
    planted << "rewritten" << std::flush;

    ASSERT_TRUE(planted.good());
    EXPECT_EQ(directory.read("file"), "downloaded");
}

TEST_F(NewFileTest, PipeIsNotWaitedFor) {
    ASSERT_EQ(mkfifo(path.c_str(), S_IRUSR | S_IWUSR), 0);

    NewFile{path} << "new";

    EXPECT_TRUE(fs::is_regular_file(path));
    EXPECT_EQ(directory.read("file"), "new");
}

TEST_F(NewFileTest, DirectoryIsRefused) {
    directory.write("file/inner", "");

    expect_refused();

    EXPECT_TRUE(directory.has("file/inner"));
}

TEST_F(NewFileTest, EmptyDirectoryIsRefused) {
    fs::create_directory(path);

    expect_refused();
}

TEST_F(NewFileTest, MissingDirectoryIsRefused) {
    path = directory.path("absent/file");

    expect_refused();
}

TEST_F(NewFileTest, IsNotInheritedByPrograms) {
    const NewFile file{path};

    const std::string canonical = fs::canonical(path).string();
    unsigned found = 0;
    for (const auto& entry : fs::directory_iterator{"/proc/self/fd"}) {
        std::error_code ignored;
        if (fs::read_symlink(entry.path(), ignored) == canonical) {
            ++found;
            EXPECT_NE(fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC, 0);
        }
    }
    EXPECT_EQ(found, 1U);
}

}  // namespace
}  // namespace zephran::common
