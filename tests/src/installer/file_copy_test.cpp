// SPDX-License-Identifier: Apache-2.0
#include "installer/file_copy.h"

#include <cerrno>
#include <filesystem>
#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/exception.h"
#include "support/noted_syncs.h"
#include "support/temporary_directory.h"

namespace {

namespace fs = std::filesystem;

unsigned writes_to_fail = 0;

}  // namespace

// The linker makes up these names.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" ssize_t __real_write(int descriptor, const void* data, std::size_t size);
extern "C" ssize_t __wrap_write(int descriptor, const void* data, std::size_t size) {
    if (writes_to_fail == 0) {
        return __real_write(descriptor, data, size);
    }
    --writes_to_fail;
    errno = EIO;
    return -1;
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace zephran::installer {
namespace {

using testing::ElementsAre;

class FileCopy : public testing::Test {
protected:
    FileCopy() {
        directory.write("source", "firmware");
        fs::create_directory(directory.path("folder"));
    }

    void copy() const { copy_file(directory.path("source"), destination); }
    template <class Exception>
    [[nodiscard]] std::string path_in_failure() const {
        try {
            copy();
        } catch (const Exception& error) {
            const auto* const path = boost::get_error_info<common::filename_tag>(error);
            return path == nullptr ? "no path" : *path;
        }
        return {};
    }

    NotedSyncs syncs;
    TemporaryDirectory directory;
    std::string destination = directory.path("folder/copy");
};

TEST_F(FileCopy, FileAndThenItsFolderAreOnTheDiskWhenItEnds) {
    copy();

    EXPECT_EQ(directory.read("folder/copy"), "firmware");
    EXPECT_THAT(syncs.paths(), ElementsAre(destination, directory.path("folder")));
    EXPECT_EQ(syncs.all().front().bytes, std::string{"firmware"}.size());
}

TEST_F(FileCopy, ProgramsInheritNeitherOfThem) {
    copy();

    EXPECT_FALSE(syncs.is_any_inherited());
}

TEST_F(FileCopy, WhoMayReadTheCopyIsUpToTheMask) {
    const mode_t former = umask(0);
    copy();
    umask(former);

    struct stat status {};
    ASSERT_EQ(stat(destination.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0666U);
}

TEST_F(FileCopy, GapInTheMiddleIsAnError) {
    directory.write("source", std::string(200000, 'x'));

    writes_to_fail = 1;
    EXPECT_EQ(path_in_failure<common::FileWriteException>(), destination);

    EXPECT_EQ(directory.read("folder/copy"), "");
}

TEST_F(FileCopy, FolderOfABareNameIsTheWorkingDirectory) {
    const auto former = fs::current_path();
    fs::current_path(directory.path("folder"));
    destination = "copy";

    copy();

    fs::current_path(former);
    EXPECT_THAT(syncs.paths(),
                ElementsAre(directory.path("folder/copy"), directory.path("folder")));
}

TEST_F(FileCopy, FileThatCannotBeSyncedIsAnError) {
    syncs.fail(destination, EIO);

    EXPECT_EQ(path_in_failure<common::FileWriteException>(), destination);
}

TEST_F(FileCopy, FolderThatCannotBeSyncedIsAnError) {
    syncs.fail(directory.path("folder"), EIO);

    EXPECT_EQ(path_in_failure<common::FileWriteException>(), destination);
}

TEST_F(FileCopy, FileSystemWithoutSyncOfFoldersIsAccepted) {
    syncs.fail(directory.path("folder"), EINVAL);

    EXPECT_NO_THROW(copy());
}

TEST_F(FileCopy, LinkIsNotFollowedToItsSource) {
    directory.write("secret", "secret");
    fs::remove(directory.path("source"));
    fs::create_symlink(directory.path("secret"), directory.path("source"));

    EXPECT_EQ(path_in_failure<common::InputFileOpenException>(), directory.path("source"));
    EXPECT_FALSE(directory.has("folder/copy"));
}

TEST_F(FileCopy, PipeIsNotWaitedFor) {
    fs::remove(directory.path("source"));
    ASSERT_EQ(mkfifo(directory.path("source").c_str(), S_IRUSR | S_IWUSR), 0);

    EXPECT_EQ(path_in_failure<common::FileReadException>(), directory.path("source"));
    EXPECT_FALSE(directory.has("folder/copy"));
}

}  // namespace
}  // namespace zephran::installer
