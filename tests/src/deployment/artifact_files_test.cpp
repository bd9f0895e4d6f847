// SPDX-License-Identifier: Apache-2.0
#include "deployment/artifact_files.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "hawkbit/exceptions.h"
#include "support/captured_log.h"
#include "support/fake_platform.h"
#include "support/message_builder.h"

namespace zephran::test {
namespace {

using Artifact = hawkbit::DeploymentActionMessage::Artifact;
using Chunk = hawkbit::DeploymentActionMessage::Chunk;

Chunk chunk_with(const std::vector<ArtifactText>& artifacts) {
    return deployment_from({"7", {{"script", "a", "1", artifacts}}}).chunks().front();
}

Artifact artifact(const ArtifactText& text) {
    return chunk_with({text}).artifacts().front();
}

class ArtifactFiles : public ::testing::Test {
protected:
    /// The path that a failed verification names, "" if it does not fail.
    [[nodiscard]] static std::string refused_path(const Artifact& refused) {
        try {
            artifact_files::verify(refused, {});
        } catch (const hawkbit::VerificationFailedException& error) {
            const auto* const path = boost::get_error_info<common::filename_tag>(error);
            return path == nullptr ? "no path" : *path;
        }
        return {};
    }

    CapturedLog log;
    FakePlatform platform;
};

TEST_F(ArtifactFiles, IntactFilePasses) {
    platform.directory.write("a.bin", std::string("\0\n\r\xFF", 4));

    EXPECT_NO_THROW(artifact_files::verify(artifact({"a.bin", std::string("\0\n\r\xFF", 4)}), {}));
}

TEST_F(ArtifactFiles, SumOfTheOtherKindDecidesWhereItIsStated) {
    const auto by_sha256 = [](const std::string& announced) {
        return deployment_from({"7",
                                {{"script", "a", "1", {{"a.bin", "content", announced}}}},
                                "forced",
                                {},
                                hawkbit::Digest::sha256})
            .chunks()
            .front()
            .artifacts()
            .front();
    };
    platform.directory.write("a.bin", "content");

    EXPECT_EQ(refused_path(by_sha256("content")), "");
    EXPECT_EQ(refused_path(by_sha256("another")), platform.directory.path("a.bin"));
}

TEST_F(ArtifactFiles, EmptyFilePasses) {
    platform.directory.write("a.bin", "");

    EXPECT_NO_THROW(artifact_files::verify(artifact({"a.bin", ""}), {}));
}

TEST_F(ArtifactFiles, ChangedFileIsRefusedByItsPath) {
    platform.directory.write("a.bin", "content");

    EXPECT_EQ(refused_path(artifact({"a.bin", "Content"})), platform.temp_directory + "a.bin");
    EXPECT_THAT(log.text(), ::testing::HasSubstr("Calculated checksum does not match"));
}

TEST_F(ArtifactFiles, TruncatedChecksumIsRefused) {
    platform.directory.write("a.bin", "content");
    const auto with_short_sum = message_from<Artifact>(
        R"({"filename": "a.bin", "size": 7, "hashes": {"md5": "9a0364b9e99bb480dd25e1f0284c85",
            "sha1": ""}, "_links": {"download": {"href": "https://h/a"},
            "md5sum": {"href": "https://h/a.MD5SUM"}}})");

    EXPECT_EQ(refused_path(with_short_sum), platform.temp_directory + "a.bin");
}

TEST_F(ArtifactFiles, MissingFileIsRefusedByItsPath) {
    EXPECT_EQ(refused_path(artifact({"a.bin"})), platform.temp_directory + "a.bin");
    EXPECT_THAT(log.text(), ::testing::HasSubstr("Failed to open file for reading"));
}

TEST_F(ArtifactFiles, LinkIsRefusedWhateverItLeadsTo) {
    platform.directory.write("elsewhere", "content");
    std::filesystem::create_symlink(platform.directory.path("elsewhere"),
                                    platform.directory.path("a.bin"));

    EXPECT_EQ(refused_path(artifact({"a.bin", "content"})), platform.temp_directory + "a.bin");
}

TEST_F(ArtifactFiles, PipeIsRefusedWithoutWaitingForIt) {
    ASSERT_EQ(mkfifo(platform.directory.path("a.bin").c_str(), S_IRUSR | S_IWUSR), 0);

    EXPECT_EQ(refused_path(artifact({"a.bin", ""})), platform.temp_directory + "a.bin");
}

TEST_F(ArtifactFiles, DirectoryIsRefused) {
    std::filesystem::create_directory(platform.directory.path("a.bin"));

    EXPECT_EQ(refused_path(artifact({"a.bin", ""})), platform.temp_directory + "a.bin");
}

TEST_F(ArtifactFiles, RemoveDeletesTheFilesOfTheChunkAndNoOthers) {
    platform.directory.write("a.bin", "");
    platform.directory.write("b.bin", "");
    platform.directory.write("c.bin", "");

    artifact_files::remove(chunk_with({{"a.bin"}, {"missing"}, {"b.bin"}}), {});

    EXPECT_FALSE(platform.directory.has("a.bin"));
    EXPECT_FALSE(platform.directory.has("b.bin"));
    EXPECT_TRUE(platform.directory.has("c.bin"));
}

TEST_F(ArtifactFiles, RemoveStaysInsideTheTemporaryDirectory) {
    platform.directory.write("outside", "");
    platform.directory.write("inner/inside", "");
    platform.temp_directory = platform.directory.path("inner") + "/";

    artifact_files::remove(chunk_with({{"../outside"}, {"inside"}}), {});

    EXPECT_TRUE(platform.directory.has("outside"));
    EXPECT_FALSE(platform.directory.has("inner/inside"));
}

}  // namespace
}  // namespace zephran::test
