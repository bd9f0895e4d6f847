// SPDX-License-Identifier: Apache-2.0
#include "installer/artifact_path.h"

#include <gtest/gtest.h>

#include "hawkbit/exceptions.h"
#include "support/fake_platform.h"
#include "support/make_chunk.h"

namespace zephran {
namespace {

hawkbit::DeploymentActionMessage::Artifact artifact(const std::string& filename) {
    return make_chunk("script", {filename}).artifacts().front();
}

TEST(ArtifactPath, IsTheTemporaryDirectoryFollowedByTheName) {
    FakePlatform platform;
    platform.temp_directory = "/somewhere/prefix-";

    EXPECT_EQ(artifact_path(artifact("a.bin"), {}), "/somewhere/prefix-a.bin");
}

TEST(ArtifactPath, IsInTheFolderOfItsTarget) {
    EXPECT_EQ(artifact_path(artifact("a.bin"), {"/downloads", "gw"}), "/downloads/agent-gw/a.bin");
}

TEST(ArtifactPath, DoesNotExistForAnUnsafeName) {
    const FakePlatform platform;

    try {
        artifact_path(artifact("../a.bin"), {});
        FAIL() << "a name that leads out of the directory was accepted";
    } catch (const hawkbit::UnsafeFilenameException& error) {
        const auto* const name = boost::get_error_info<common::filename_tag>(error);
        ASSERT_NE(name, nullptr);
        EXPECT_EQ(*name, "../a.bin");
    }
}

}  // namespace
}  // namespace zephran
