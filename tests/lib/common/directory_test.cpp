// SPDX-License-Identifier: Apache-2.0
#include "common/directory.h"

#include <filesystem>
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/temporary_directory.h"

namespace zephran::common {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uid_t somebody_else = 12345;

mode_t mode_of(const std::string& path) {
    constexpr mode_t all_permissions = 07777;
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & all_permissions : 0;
}

// Runs a check in a child process, which may mount what it likes. The status is that of the check,
// or cannot_mount.
constexpr int cannot_mount = 77;

int status_among_own_mounts(const std::function<int()>& check) {
    const pid_t child = ::fork();
    if (child == 0) {
        const bool is_apart = ::unshare(CLONE_NEWNS) == 0 &&
                              ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
        ::_exit(is_apart ? check() : cannot_mount);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WEXITSTATUS(status);
}

class OwnDirectory : public ::testing::Test {
protected:
    TemporaryDirectory directory;
    const std::string own = directory.path("own");
};

TEST_F(OwnDirectory, IsMade) {
    EXPECT_EQ(make_own_directory(own), "");

    EXPECT_EQ(mode_of(own), 0700U);
}

TEST_F(OwnDirectory, IsSetRight) {
    std::filesystem::create_directory(own);
    ASSERT_EQ(::chmod(own.c_str(), 01777), 0);

    EXPECT_EQ(make_own_directory(own), "");

    EXPECT_EQ(mode_of(own), 0700U);
}

TEST_F(OwnDirectory, ThatOthersUseIsLeftAsItIs) {
    std::filesystem::create_directory(own);
    ASSERT_EQ(::chmod(own.c_str(), 0755), 0);

    EXPECT_EQ(make_own_directory(own, [] { return false; }),
              "others can enter it, and it holds what this daemon has not made");

    EXPECT_EQ(mode_of(own), 0755U);
}

TEST_F(OwnDirectory, ThatIsRightIsNotAskedAbout) {
    ASSERT_EQ(make_own_directory(own), "");

    EXPECT_EQ(make_own_directory(own, [] { return false; }), "");
}

TEST_F(OwnDirectory, IsNoLink) {
    std::filesystem::create_directory(directory.path("other"));
    ASSERT_EQ(::chmod(directory.path("other").c_str(), 0755), 0);
    std::filesystem::create_directory_symlink(directory.path("other"), own);

    EXPECT_EQ(make_own_directory(own), "it is a link or not a directory");

    EXPECT_EQ(mode_of(directory.path("other")), 0755U);
}

TEST_F(OwnDirectory, IsNoFile) {
    directory.write("own", "");

    EXPECT_EQ(make_own_directory(own), "it is a link or not a directory");
}

TEST_F(OwnDirectory, OfAnotherUserIsRefused) {
    std::filesystem::create_directory(own);
    if (::chown(own.c_str(), somebody_else, somebody_else) != 0) {
        GTEST_SKIP() << "only root can give a directory to another user";
    }

    EXPECT_EQ(make_own_directory(own), "it belongs to another user");
}

TEST_F(OwnDirectory, IsNotMadeWithoutItsParent) {
    EXPECT_EQ(make_own_directory(directory.path("missing/own")), "No such file or directory");
}

TEST_F(OwnDirectory, NamesAreSorted) {
    directory.write("b", "");
    directory.write(".a", "");

    EXPECT_THAT(names_in(directory.path()), ElementsAre(".a", "b"));
    EXPECT_THAT(names_in(own), IsEmpty());
}

TEST_F(OwnDirectory, IsRemovedWithWhatIsInIt) {
    directory.write("own/a/b", "");
    directory.write("own/.c", "");
    directory.write("other/kept", "");
    std::filesystem::create_directory_symlink(directory.path("other"), own + "/link");

    EXPECT_TRUE(remove_tree(own));

    EXPECT_FALSE(directory.has("own"));
    EXPECT_TRUE(directory.has("other/kept"));
}

// Where a writable file system lies over that of the image, files have another device than
// directories.
TEST_F(OwnDirectory, IsRemovedFromAnOverlay) {
    directory.write("lower/unused", "");
    std::filesystem::create_directory(directory.path("ram"));
    std::filesystem::create_directory(directory.path("over"));

    const int status = status_among_own_mounts([this] {
        const std::string ram = directory.path("ram");
        const std::string layers = "lowerdir=" + directory.path("lower") + ",upperdir=" + ram +
                                   "/upper,workdir=" + ram + "/work";
        if (::mount("none", ram.c_str(), "tmpfs", 0, nullptr) != 0 ||
            !std::filesystem::create_directory(ram + "/upper") ||
            !std::filesystem::create_directory(ram + "/work") ||
            ::mount("none", directory.path("over").c_str(), "overlay", 0, layers.c_str()) != 0) {
            return cannot_mount;
        }
        directory.write("over/own/a/b", "");
        return remove_tree(directory.path("over/own")) && !directory.has("over/own") ? 0 : 1;
    });

    if (status == cannot_mount) {
        GTEST_SKIP() << "only root can mount an overlay, and not everywhere";
    }
    EXPECT_EQ(status, 0);
}

TEST_F(OwnDirectory, WhatIsMountedBelowStays) {
    std::filesystem::create_directories(directory.path("own/mounted"));

    const int status = status_among_own_mounts([this] {
        if (::mount("none", directory.path("own/mounted").c_str(), "tmpfs", 0, nullptr) != 0) {
            return cannot_mount;
        }
        directory.write("own/a", "");
        directory.write("own/mounted/kept/b", "");
        const bool all_are_gone = remove_tree(own);
        return !all_are_gone && !directory.has("own/a") && directory.has("own/mounted/kept/b") ? 0
                                                                                               : 1;
    });

    if (status == cannot_mount) {
        GTEST_SKIP() << "only root can mount";
    }
    EXPECT_EQ(status, 0);
}

TEST_F(OwnDirectory, LinkIsRemovedInsteadOfFollowed) {
    directory.write("other/kept", "");
    std::filesystem::create_directory_symlink(directory.path("other"), own);

    EXPECT_TRUE(remove_tree(own));

    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(own)));
    EXPECT_TRUE(directory.has("other/kept"));
}

TEST_F(OwnDirectory, MissingOneIsRemovedAlready) {
    EXPECT_TRUE(remove_tree(own));
}

}  // namespace
}  // namespace zephran::common
