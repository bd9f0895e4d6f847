// SPDX-License-Identifier: Apache-2.0
#include "deployment/leftovers.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "deployment/partial_file.h"
#include "support/captured_log.h"
#include "support/fake_platform.h"
#include "support/make_chunk.h"

namespace zephran {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* content = "1234";
const ResumeRecord record{"/DEFAULT/controller/v1/gw/files/fw.bin", 10, "md5:00", "tag"};

/// What an interrupted process leaves of an artifact.
void leave_part(const std::string& path, const ResumeRecord& with = record) {
    const PartialFile partial{path};
    const common::FileDescriptor file = partial.begin();
    partial.write_record(with);
    ASSERT_EQ(file.write(content, 4), 4U);
}

bool not_in_use() {
    return false;
}

bool in_use() {
    return true;
}

bool must_not_be_asked() {
    ADD_FAILURE() << "there is no directory";
    return false;
}

class DownloadDirectory : public ::testing::Test {
protected:
    DownloadDirectory() {
        std::filesystem::create_directories(folder);
        std::filesystem::permissions(downloads, std::filesystem::perms::owner_all);
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
    }
    [[nodiscard]] std::string take_over(bool keeps_partial_files = true) const {
        return leftovers::take_over(downloads, keeps_partial_files, not_in_use);
    }
    void expect_refused(const std::string& reason) {
        EXPECT_EQ(take_over(), "");
        EXPECT_THAT(log.text(), HasSubstr("ERROR"));
        EXPECT_THAT(log.text(), HasSubstr("event=download_dir_refused directory=" + downloads +
                                          " what=" + reason));
    }

    CapturedLog log;
    TemporaryDirectory directory;
    const std::string downloads = directory.path("downloads");
    const std::string folder = downloads + "/agent-gw";
};

TEST_F(DownloadDirectory, AbsentOneIsNone) {
    EXPECT_EQ(leftovers::take_over(std::nullopt, true, must_not_be_asked), "");
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(DownloadDirectory, IsMade) {
    std::filesystem::remove_all(downloads);

    EXPECT_EQ(take_over(), downloads);

    EXPECT_TRUE(directory.has("downloads"));
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(DownloadDirectory, KeepsAPartialFileThatCanBeGoneOnWith) {
    leave_part(folder + "/fw.bin");

    EXPECT_EQ(take_over(), downloads);

    EXPECT_EQ(directory.read("downloads/agent-gw/fw.bin.part"), content);
    EXPECT_TRUE(directory.has("downloads/agent-gw/.fw.bin.part"));
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(DownloadDirectory, KeepsEverythingWhileAToolOfAnEarlierProcessRuns) {
    directory.write("downloads/agent-gw/fw.bin", content);

    EXPECT_EQ(leftovers::take_over(downloads, true, in_use), downloads);

    EXPECT_EQ(directory.read("downloads/agent-gw/fw.bin"), content);
    EXPECT_THAT(log.text(), HasSubstr("event=download_swept directory=" + downloads +
                                      " what=nothing is deleted"));
}

TEST_F(DownloadDirectory, IsMadeAlsoWhileAToolOfAnEarlierProcessRuns) {
    std::filesystem::remove_all(downloads);

    EXPECT_EQ(leftovers::take_over(downloads, true, in_use), downloads);

    EXPECT_TRUE(directory.has("downloads"));
}

TEST_F(DownloadDirectory, KeepsNoneIfDownloadsAreNotResumed) {
    leave_part(folder + "/fw.bin");

    EXPECT_EQ(take_over(false), downloads);

    EXPECT_FALSE(directory.has("downloads/agent-gw"));
}

TEST_F(DownloadDirectory, IsEmptiedOfEverythingElseInTheFolders) {
    leave_part(folder + "/fw.bin");
    directory.write("downloads/agent-gw/fw.bin", "");
    directory.write("downloads/agent-gw/other.bin", "");
    directory.write("downloads/agent-gw/.hidden", "");
    directory.write("downloads/agent-gw/inner/deep", "");
    directory.write("downloads/agent-gone/old.bin", "");

    EXPECT_EQ(take_over(), downloads);

    EXPECT_TRUE(directory.has("downloads/agent-gw/fw.bin.part"));
    EXPECT_FALSE(directory.has("downloads/agent-gw/fw.bin"));
    EXPECT_FALSE(directory.has("downloads/agent-gw/other.bin"));
    EXPECT_FALSE(directory.has("downloads/agent-gw/.hidden"));
    EXPECT_FALSE(directory.has("downloads/agent-gw/inner"));
    EXPECT_FALSE(directory.has("downloads/agent-gone"));
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(DownloadDirectory, PartialFileWithABrokenRecordGoesAfterOneLine) {
    leave_part(folder + "/fw.bin");
    const std::string written = directory.read("downloads/agent-gw/.fw.bin.part");
    directory.write("downloads/agent-gw/.fw.bin.part", written.substr(0, written.size() / 2));

    EXPECT_EQ(take_over(), downloads);

    EXPECT_FALSE(directory.has("downloads/agent-gw"));
    EXPECT_THAT(log.text(), HasSubstr("sweep_downloads: event=download_swept filename=" + folder +
                                      "/fw.bin.part what=the record beside the partial file is "
                                      "missing or cannot be understood"));
    EXPECT_EQ(log.text().find("download_swept"), log.text().rfind("download_swept"));
}

TEST_F(DownloadDirectory, PartialFileThatWasCutToNothingGoes) {
    leave_part(folder + "/fw.bin");
    std::filesystem::resize_file(folder + "/fw.bin.part", 0);

    EXPECT_EQ(take_over(), downloads);

    EXPECT_FALSE(directory.has("downloads/agent-gw"));
    EXPECT_THAT(log.text(), HasSubstr("the partial file is empty or larger than announced"));
}

TEST_F(DownloadDirectory, LinkInTheFolderIsDeletedAndNotFollowed) {
    directory.write("elsewhere/kept", "");
    std::filesystem::create_directory_symlink(directory.path("elsewhere"), folder + "/fw.bin");
    std::filesystem::create_directory_symlink(directory.path("elsewhere"),
                                              downloads + "/agent-other");

    EXPECT_EQ(take_over(), downloads);

    EXPECT_FALSE(directory.has("downloads/agent-gw"));
    EXPECT_FALSE(directory.has("downloads/agent-other"));
    EXPECT_TRUE(directory.has("elsewhere/kept"));
}

TEST_F(DownloadDirectory, ThingsThatAreNotTheDaemonsAreLeftAlone) {
    directory.write("downloads/lost+found/kept", "");

    EXPECT_EQ(take_over(), downloads);

    EXPECT_TRUE(directory.has("downloads/lost+found/kept"));
}

TEST_F(DownloadDirectory, WrongModeIsSetRight) {
    ASSERT_EQ(::chmod(downloads.c_str(), 0777), 0);

    EXPECT_EQ(take_over(), downloads);

    EXPECT_EQ(std::filesystem::status(downloads).permissions(), std::filesystem::perms::owner_all);
}

TEST_F(DownloadDirectory, DirectoryThatOthersUseIsRefused) {
    ASSERT_EQ(::chmod(downloads.c_str(), 0755), 0);
    directory.write("downloads/of-others", "");

    expect_refused("others can enter it");

    EXPECT_TRUE(directory.has("downloads/of-others"));
    EXPECT_EQ(std::filesystem::status(downloads).permissions(), std::filesystem::perms(0755));
}

TEST_F(DownloadDirectory, LinkIsRefused) {
    std::filesystem::rename(downloads, directory.path("other"));
    directory.write("other/agent-gw/old.bin", "");
    std::filesystem::create_directory_symlink(directory.path("other"), downloads);

    expect_refused("it is a link or not a directory");

    EXPECT_TRUE(directory.has("other/agent-gw/old.bin"));
}

TEST_F(DownloadDirectory, OfAnotherUserIsRefused) {
    constexpr uid_t somebody_else = 12345;
    directory.write("downloads/agent-gw/old.bin", "");
    if (::chown(downloads.c_str(), somebody_else, somebody_else) != 0) {
        GTEST_SKIP() << "only root can give a directory to another user";
    }

    expect_refused("it belongs to another user");

    EXPECT_TRUE(directory.has("downloads/agent-gw/old.bin"));
}

class UnwantedPartialFiles : public ::testing::Test {
protected:
    void remove_unwanted(const DownloadFolder& folder, const leftovers::Chunks& open_action = {}) {
        leftovers::remove_unwanted(
            folder, common::URI{"https://update.example/DEFAULT/controller/v1/gw"}, open_action);
    }

    CapturedLog log;
    FakePlatform platform;
    const DownloadFolder own{platform.directory.path("downloads"), "gw"};
};

TEST_F(UnwantedPartialFiles, GoOnceNoActionIsOpen) {
    own.make();
    leave_part(own.prefix() + "fw.bin");

    remove_unwanted(own);

    EXPECT_FALSE(platform.directory.has("downloads/agent-gw/fw.bin.part"));
    EXPECT_FALSE(platform.directory.has("downloads/agent-gw/.fw.bin.part"));
    EXPECT_THAT(log.text(), HasSubstr("what=no open action has this artifact"));
}

TEST_F(UnwantedPartialFiles, AreThoseOfOtherArtifactsThanTheOpenActions) {
    own.make();
    leave_part(own.prefix() + "fw.bin");
    leave_part(own.prefix() + "old.bin");

    remove_unwanted(own, {make_chunk("script", {"a.sh"}), make_chunk("os", {"fw.bin"})});

    EXPECT_TRUE(platform.directory.has("downloads/agent-gw/fw.bin.part"));
    EXPECT_TRUE(platform.directory.has("downloads/agent-gw/.fw.bin.part"));
    EXPECT_FALSE(platform.directory.has("downloads/agent-gw/old.bin.part"));
}

TEST_F(UnwantedPartialFiles, AreNoOtherFiles) {
    own.make();
    platform.directory.write("downloads/agent-gw/fw.bin", "");

    remove_unwanted(own);

    EXPECT_TRUE(platform.directory.has("downloads/agent-gw/fw.bin"));
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(UnwantedPartialFiles, InASharedDirectoryAreThoseOfTheTarget) {
    ResumeRecord of_other = record;
    of_other.address = "/DEFAULT/controller/v1/gw-2/files/fw.bin";
    leave_part(platform.temp_directory + "own.bin");
    leave_part(platform.temp_directory + "other.bin", of_other);
    platform.directory.write("film.part", "of another program");

    remove_unwanted(DownloadFolder{});

    EXPECT_FALSE(platform.directory.has("own.bin.part"));
    EXPECT_TRUE(platform.directory.has("other.bin.part"));
    EXPECT_TRUE(platform.directory.has(".other.bin.part"));
    EXPECT_TRUE(platform.directory.has("film.part"));
}

TEST_F(UnwantedPartialFiles, MissingFolderHasNone) {
    remove_unwanted(own);

    EXPECT_THAT(log.text(), IsEmpty());
}

}  // namespace
}  // namespace zephran
