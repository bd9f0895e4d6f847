// SPDX-License-Identifier: Apache-2.0
#include "common/regular_file.h"

#include <cerrno>
#include <filesystem>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/types.h>

#include "common/exception.h"
#include "support/temporary_directory.h"

namespace {

/// How often read(2) fails, and with what.
struct RefusedReads {
    unsigned times = 0;
    int error = 0;
};

RefusedReads refused_reads;

}  // namespace

// The linker makes up these names.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" ssize_t __real_read(int descriptor, void* buffer, std::size_t size);
extern "C" ssize_t __wrap_read(int descriptor, void* buffer, std::size_t size) {
    if (refused_reads.times == 0) {
        return __real_read(descriptor, buffer, size);
    }
    --refused_reads.times;
    errno = refused_reads.error;
    return -1;
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace zephran::common {
namespace {

namespace fs = std::filesystem;

class RegularFileTest : public testing::Test {
protected:
    template <class Exception>
    [[nodiscard]] std::string refused_path() const {
        try {
            const RegularFile file{path};
        } catch (const Exception& error) {
            const auto* const named = boost::get_error_info<filename_tag>(error);
            return named == nullptr ? "no path" : *named;
        }
        return {};
    }
    [[nodiscard]] std::string content() const {
        RegularFile file{path};
        std::string text;
        for (const auto* block = &file.read(); !block->empty(); block = &file.read()) {
            text.append(block->begin(), block->end());
        }
        return text;
    }

    TemporaryDirectory directory;
    std::string path = directory.path("file");
};

TEST_F(RegularFileTest, GivesEveryByte) {
    std::string bytes;
    for (unsigned index = 0; index < 300000; ++index) {
        bytes.push_back(static_cast<char>(index % 257));
    }
    directory.write("file", bytes);

    EXPECT_TRUE(content() == bytes);
}

TEST_F(RegularFileTest, EmptyFileGivesNothing) {
    directory.write("file", "");

    EXPECT_EQ(content(), "");
}

TEST_F(RegularFileTest, SignalsTakeNothingFromIt) {
    directory.write("file", "text");

    refused_reads = {2, EINTR};
    EXPECT_EQ(content(), "text");

    EXPECT_EQ(refused_reads.times, 0U);
    errno = EINTR;
    EXPECT_EQ(content(), "text");
}

TEST_F(RegularFileTest, ReadThatFailsIsAnError) {
    directory.write("file", "text");
    RegularFile file{path};

    refused_reads = {1, EIO};
    try {
        static_cast<void>(file.read());
        FAIL() << "no exception";
    } catch (const FileReadException& error) {
        EXPECT_EQ(*boost::get_error_info<filename_tag>(error), path);
    }
}

TEST_F(RegularFileTest, MissingFileIsRefused) {
    EXPECT_EQ(refused_path<InputFileOpenException>(), path);
    EXPECT_FALSE(RegularFile::try_to_open(path).is_open());
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(RegularFileTest, LinkIsNotFollowed) {
    fs::create_symlink(directory.write("target", "text"), path);

    EXPECT_EQ(refused_path<InputFileOpenException>(), path);
    EXPECT_FALSE(RegularFile::try_to_open(path).is_open());
    EXPECT_EQ(errno, ELOOP);
}

TEST_F(RegularFileTest, PipeIsNotWaitedFor) {
    ASSERT_EQ(mkfifo(path.c_str(), S_IRUSR | S_IWUSR), 0);

    EXPECT_EQ(refused_path<FileReadException>(), path);
    EXPECT_FALSE(RegularFile::try_to_open(path).is_open());
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(RegularFileTest, DirectoryIsRefused) {
    fs::create_directory(path);

    EXPECT_EQ(refused_path<FileReadException>(), path);
    EXPECT_FALSE(RegularFile::try_to_open(path).is_open());
}

TEST_F(RegularFileTest, IsNotInheritedByPrograms) {
    directory.write("file", "");

    const auto file = RegularFile::try_to_open(path);

    ASSERT_TRUE(file.is_open());
    EXPECT_NE(fcntl(file.get(), F_GETFD) & FD_CLOEXEC, 0);
}

}  // namespace
}  // namespace zephran::common
