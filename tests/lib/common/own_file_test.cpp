// SPDX-License-Identifier: Apache-2.0
#include "common/own_file.h"

#include <filesystem>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/exception.h"
#include "support/temporary_directory.h"

namespace zephran::common {
namespace {

class OwnFile : public ::testing::Test {
protected:
    OwnFile() {
        const FileDescriptor file = create_own_file(path);
        EXPECT_EQ(file.write("first", 5), 5U);
    }

    TemporaryDirectory directory;
    const std::string path = directory.path("file");
};

TEST_F(OwnFile, IsGoneOnWithAtItsEnd) {
    {
        const FileDescriptor file = open_own_file(path);
        ASSERT_TRUE(file.is_open());
        EXPECT_EQ(file.write(" second", 7), 7U);
    }

    EXPECT_EQ(directory.read("file"), "first second");
}

TEST_F(OwnFile, IsNotInherited) {
    const FileDescriptor file = open_own_file(path);

    EXPECT_EQ(::fcntl(file.get(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST_F(OwnFile, ThatIsMissingIsNotOpened) {
    EXPECT_FALSE(open_own_file(directory.path("missing")).is_open());
}

TEST_F(OwnFile, IsNotFollowedThroughALink) {
    std::filesystem::create_symlink(path, directory.path("link"));

    EXPECT_FALSE(open_own_file(directory.path("link")).is_open());
}

TEST_F(OwnFile, WithAnotherNameIsRefused) {
    std::filesystem::create_hard_link(path, directory.path("other"));

    EXPECT_FALSE(open_own_file(path).is_open());
}

TEST_F(OwnFile, ThatOthersMayTouchIsRefused) {
    for (const mode_t mode : {0640U, 0604U, 0700U, 04600U}) {
        ASSERT_EQ(::chmod(path.c_str(), mode), 0);

        EXPECT_FALSE(open_own_file(path).is_open()) << mode;
    }
}

TEST_F(OwnFile, OfAnotherUserIsRefused) {
    constexpr uid_t another = 65534;
    if (::chown(path.c_str(), another, static_cast<gid_t>(-1)) != 0) {
        GTEST_SKIP() << "only root can give files away";
    }

    EXPECT_FALSE(open_own_file(path).is_open());
}

TEST_F(OwnFile, PipeIsNeitherOpenedNorWaitedFor) {
    ASSERT_EQ(::mkfifo(directory.path("pipe").c_str(), 0600), 0);

    EXPECT_FALSE(open_own_file(directory.path("pipe")).is_open());
}

TEST_F(OwnFile, DirectoryIsRefused) {
    std::filesystem::create_directory(directory.path("folder"));

    EXPECT_FALSE(open_own_file(directory.path("folder")).is_open());
    EXPECT_THROW(static_cast<void>(create_own_file(directory.path("folder"))),
                 OutputFileOpenException);
}

}  // namespace
}  // namespace zephran::common
