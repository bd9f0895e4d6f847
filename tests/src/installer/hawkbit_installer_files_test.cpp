// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gtest/gtest.h>

#include "common/exception.h"
#include "installer/hawkbit_installer.h"
#include "support/fake_platform.h"
#include "support/temporary_directory.h"

namespace zephran {
namespace {

/// Copies a file and returns the path in the exception, "" when there was none.
template <class Exception>
std::string path_in_failure(const std::string& source, const std::string& destination) {
    try {
        HawkbitInstaller::copy_file(source, destination);
    } catch (const Exception& error) {
        const std::string* const path = boost::get_error_info<common::filename_tag>(error);
        return path == nullptr ? "no path" : *path;
    }
    return {};
}

TEST(CopyFile, CopiesEveryByte) {
    const TemporaryDirectory directory;
    std::string bytes;
    for (unsigned index = 0; index < 300000; ++index) {
        bytes.push_back(static_cast<char>(index % 257));
    }
    const std::string source = directory.write("source", bytes);

    HawkbitInstaller::copy_file(source, directory.path("destination"));

    EXPECT_TRUE(directory.read("destination") == bytes);
}

TEST(CopyFile, ReplacesALongerFile) {
    const TemporaryDirectory directory;
    const std::string destination = directory.write("destination", "something longer");

    HawkbitInstaller::copy_file(directory.write("source", "short"), destination);

    EXPECT_EQ(directory.read("destination"), "short");
}

TEST(CopyFile, CopiesAnEmptyFile) {
    const TemporaryDirectory directory;
    const std::string destination = directory.write("destination", "text");

    HawkbitInstaller::copy_file(directory.write("source", ""), destination);

    EXPECT_TRUE(directory.has("destination"));
    EXPECT_EQ(directory.read("destination"), "");
}

TEST(CopyFile, NamesASourceThatDoesNotExist) {
    const TemporaryDirectory directory;
    const std::string source = directory.path("absent");

    EXPECT_EQ(path_in_failure<common::InputFileOpenException>(source, directory.path("new")),
              source);
    EXPECT_FALSE(directory.has("new"));
}

TEST(CopyFile, NamesADestinationThatCannotBeCreated) {
    const TemporaryDirectory directory;
    const std::string destination = directory.path("absent/file");

    EXPECT_EQ(path_in_failure<common::OutputFileOpenException>(directory.write("source", "text"),
                                                               destination),
              destination);
}

TEST(CopyFile, NamesADestinationWithoutSpace) {
    const TemporaryDirectory directory;

    EXPECT_EQ(
        path_in_failure<common::FileWriteException>(directory.write("source", "text"), "/dev/full"),
        "/dev/full");
}

TEST(CopyFile, NamesASourceThatCannotBeRead) {
    const TemporaryDirectory directory;
    const std::string source = directory.path();

    EXPECT_EQ(path_in_failure<common::FileReadException>(source, directory.path("new")), source);
}

TEST(InstalledVersions, AreReadByPartType) {
    FakePlatform platform;
    platform.config.values = {{"zephran.device.version_os", "1.2"},
                              {"zephran.device.installation_time_os", "2024-03-01T12:00:00Z"},
                              {"zephran.device.version_plc", "7"}};

    EXPECT_EQ(HawkbitInstaller::get_installed_version("os"), "1.2");
    EXPECT_EQ(HawkbitInstaller::get_installed_version_time("os"), "2024-03-01T12:00:00Z");
    EXPECT_EQ(HawkbitInstaller::get_installed_version("plc"), "7");
    EXPECT_EQ(HawkbitInstaller::get_installed_version_time("plc"), "");
}

TEST(InstalledVersions, AreEmptyForAPartThatWasNeverInstalled) {
    const FakePlatform platform;

    EXPECT_EQ(HawkbitInstaller::get_installed_version("os"), "");
    EXPECT_EQ(HawkbitInstaller::get_installed_version_time("os"), "");
}

}  // namespace
}  // namespace zephran
