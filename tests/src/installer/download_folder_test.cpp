// SPDX-License-Identifier: Apache-2.0
#include "installer/download_folder.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/exception.h"
#include "support/captured_log.h"
#include "support/fake_platform.h"

namespace zephran {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

class DownloadFolderOfTarget : public ::testing::Test {
protected:
    [[nodiscard]] DownloadFolder folder_of(const std::string& id) const { return {downloads, id}; }
    [[nodiscard]] std::string name_for(const std::string& id) const {
        const std::string prefix = folder_of(id).prefix();
        EXPECT_THAT(prefix, StartsWith(downloads + "/"));
        EXPECT_EQ(prefix.back(), '/');
        return prefix.substr(downloads.size() + 1, prefix.size() - downloads.size() - 2);
    }
    void expect_refused(const std::string& path) {
        try {
            folder_of("gw").make();
            FAIL() << "the folder was taken";
        } catch (const common::OutputFileOpenException& error) {
            const auto* const name = boost::get_error_info<common::filename_tag>(error);
            ASSERT_NE(name, nullptr);
            EXPECT_EQ(*name, path);
        }
        EXPECT_THAT(log.text(), HasSubstr("event=download_dir_refused directory=" + path));
    }

    CapturedLog log;
    FakePlatform platform;
    const std::string downloads = platform.directory.path("downloads");
};

TEST_F(DownloadFolderOfTarget, IsTheTemporaryDirectoryWithoutADownloadDirectory) {
    const DownloadFolder folder;

    folder.make();

    EXPECT_TRUE(folder.is_shared());
    EXPECT_EQ(folder.prefix(), platform.temp_directory);
}

TEST_F(DownloadFolderOfTarget, BearsItsId) {
    EXPECT_FALSE(folder_of("gw-1").is_shared());
    EXPECT_EQ(name_for("gw-1"), "agent-gw-1");
    EXPECT_EQ(name_for(".."), "agent-..");
}

TEST_F(DownloadFolderOfTarget, StaysInTheDirectoryWhateverTheIdIs) {
    const std::string name = name_for("../a b'c");

    EXPECT_EQ(name.find_first_not_of("target-0123456789abcdef"), std::string::npos);
    EXPECT_NE(name, name_for("../a b'd"));
    EXPECT_NE(name, name_for(name));
    EXPECT_TRUE(DownloadFolder::is_name(name));
}

TEST_F(DownloadFolderOfTarget, FitsInAFileNameHoweverLongTheIdIs) {
    constexpr std::size_t longest_id = 256;

    EXPECT_LT(name_for(std::string(longest_id, 'x')).size(), 64U);
}

TEST_F(DownloadFolderOfTarget, IsKnownByItsName) {
    EXPECT_TRUE(DownloadFolder::is_name("agent-gw-1"));
    EXPECT_FALSE(DownloadFolder::is_name("lost+found"));
    EXPECT_FALSE(DownloadFolder::is_name("agent"));
}

TEST_F(DownloadFolderOfTarget, IsMadeForTheDaemonAlone) {
    folder_of("gw").make();
    folder_of("gw").make();

    const auto permissions = std::filesystem::status(downloads + "/agent-gw").permissions() &
                             std::filesystem::perms::all;
    EXPECT_EQ(permissions, std::filesystem::perms::owner_all);
}

TEST_F(DownloadFolderOfTarget, IsNoLinkThatSomebodyHasPlanted) {
    std::filesystem::create_directory(platform.directory.path("other"));
    std::filesystem::create_directory_symlink(platform.directory.path("other"), downloads);

    expect_refused(downloads);
}

TEST_F(DownloadFolderOfTarget, IsNoFile) {
    platform.directory.write("downloads/agent-gw", "");

    expect_refused(downloads + "/agent-gw");
}

}  // namespace
}  // namespace zephran
