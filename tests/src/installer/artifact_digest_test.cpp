// SPDX-License-Identifier: Apache-2.0
#include "installer/artifact_digest.h"

#include <gtest/gtest.h>

#include "crypto/md5.h"
#include "crypto/sha256.h"
#include "support/message_builder.h"
#include "support/temporary_directory.h"

namespace zephran {
namespace {

using artifact_digest::Artifact;

constexpr const char* text = "abcdef";

Artifact artifact_with(hawkbit::Digest preferred) {
    return test::deployment_from(
               {"7", {{"script", "a", "1", {{"a.bin", text, text}}}}, "forced", {}, preferred})
        .chunks()
        .front()
        .artifacts()
        .front();
}

template <class Hash>
std::vector<std::uint8_t> sum_of(const std::string& data) {
    Hash hash;
    hash.update(data);
    return hash.digest();
}

class ArtifactDigest : public testing::Test {
protected:
    ArtifactDigest() { directory.write("file", text); }

    const Artifact by_md5 = artifact_with(hawkbit::Digest::md5);
    const Artifact by_sha256 = artifact_with(hawkbit::Digest::sha256);
    TemporaryDirectory directory;
};

TEST_F(ArtifactDigest, IsSha256WhereItIsStated) {
    EXPECT_EQ(artifact_digest::stated(by_sha256), sum_of<crypto::SHA256>(text));
    const auto hash = artifact_digest::make(by_sha256);
    hash->update(std::string{text});
    EXPECT_EQ(hash->digest(), sum_of<crypto::SHA256>(text));
}

TEST_F(ArtifactDigest, IsMd5Elsewhere) {
    EXPECT_EQ(artifact_digest::stated(by_md5), sum_of<crypto::MD5>(text));
    const auto hash = artifact_digest::make(by_md5);
    hash->update(std::string{text});
    EXPECT_EQ(hash->digest(), sum_of<crypto::MD5>(text));
}

TEST_F(ArtifactDigest, IsWrittenWithItsName) {
    EXPECT_EQ(artifact_digest::text(by_md5), "md5:e80b5017098950fc58aad83c8c14978e");
    EXPECT_EQ(artifact_digest::text(by_sha256),
              "sha256:bef57ec7f53a6d40beb640a780a639c83bc29ac8a9816f1fc6c5c6dcd93c4721");
}

TEST_F(ArtifactDigest, CoversTheFirstBytesOfAFileOnly) {
    EXPECT_EQ(artifact_digest::of_file(by_md5, directory.path("file"), 3),
              sum_of<crypto::MD5>("abc"));
    EXPECT_EQ(artifact_digest::of_file(by_sha256, directory.path("file"), 3),
              sum_of<crypto::SHA256>("abc"));
}

TEST_F(ArtifactDigest, SizeBeyondTheEndCoversTheWholeFile) {
    EXPECT_EQ(artifact_digest::of_file(by_md5, directory.path("file"), 1000),
              sum_of<crypto::MD5>(text));
}

TEST_F(ArtifactDigest, SizeZeroCoversNothing) {
    EXPECT_EQ(artifact_digest::of_file(by_md5, directory.path("file"), 0), sum_of<crypto::MD5>(""));
}

TEST_F(ArtifactDigest, MissingFileGivesTheSumOfNothing) {
    EXPECT_EQ(artifact_digest::of_file(by_md5, directory.path("missing"), 1000),
              sum_of<crypto::MD5>(""));
}

}  // namespace
}  // namespace zephran
