// SPDX-License-Identifier: Apache-2.0
#include <limits>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "deployment_documents.h"
#include "hawkbit/messages/deployment_action.h"
#include "json_errors.h"

namespace zephran::hawkbit {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Artifact = DeploymentActionMessage::Artifact;

TEST(DeploymentArtifact, FirstFaultInTheOrderOfReadingIsReported) {
    auto document = artifact_document();
    for (const std::string link : {"md5sum-http", "md5sum", "download-http", "download"}) {
        document["_links"][link] = Json::Value{Json::objectValue};
        document["_links"][link]["href"] = 1;
        EXPECT_EQ(mistyped_key<Artifact>(document), "href");
        document["_links"][link] = "x";
        EXPECT_EQ(mistyped_key<Artifact>(document), link);
    }
    document["_links"] = "x";
    EXPECT_EQ(mistyped_key<Artifact>(document), "_links");
    document["size"] = "x";
    EXPECT_EQ(mistyped_key<Artifact>(document), "size");
    for (const std::string hash : {"sha1", "md5"}) {
        document["hashes"][hash] = 1;
        EXPECT_EQ(mistyped_key<Artifact>(document), hash);
    }
    document["hashes"] = "x";
    EXPECT_EQ(mistyped_key<Artifact>(document), "hashes");
    document["filename"] = 1;
    EXPECT_EQ(mistyped_key<Artifact>(document), "filename");
}

TEST(DeploymentArtifact, FirstLinkOfAPairIsReadBeforeTheSecondIsLookedAt) {
    for (const std::string name : {"download", "md5sum"}) {
        auto document = artifact_document();
        document["_links"][name] = Json::Value{Json::objectValue};
        document["_links"][name + "-http"] = "x";

        EXPECT_EQ(missing_key<Artifact>(document), "href") << name;
    }
}

TEST(DeploymentArtifact, PairWithoutLinksIsReportedBeforeTheNextPairIsLookedAt) {
    auto document = artifact_document();
    document["_links"].removeMember("download");
    document["_links"].removeMember("download-http");
    document["_links"]["md5sum"] = "x";

    EXPECT_EQ(missing_key<Artifact>(document), "download or download-http");
}

TEST(DeploymentArtifact, HttpLinksAloneAreEnough) {
    auto document = artifact_document();
    document["_links"].removeMember("download");
    document["_links"].removeMember("md5sum");

    const auto artifact = read<Artifact>(document);

    EXPECT_TRUE(artifact.download().empty());
    EXPECT_TRUE(artifact.md5sum().empty());
    EXPECT_EQ(artifact.download_http().str(), "http://h/fw.bin");
    EXPECT_EQ(artifact.md5sum_http().str(), "http://h/fw.bin.MD5SUM");
}

TEST(DeploymentArtifact, SecureLinksAloneAreEnough) {
    auto document = artifact_document();
    document["_links"].removeMember("download-http");
    document["_links"].removeMember("md5sum-http");

    const auto artifact = read<Artifact>(document);

    EXPECT_EQ(artifact.download().str(), "https://h/fw.bin");
    EXPECT_EQ(artifact.md5sum().str(), "https://h/fw.bin.MD5SUM");
    EXPECT_TRUE(artifact.download_http().empty());
    EXPECT_TRUE(artifact.md5sum_http().empty());
}

TEST(DeploymentArtifact, OneLinkOfEachPairIsRequired) {
    for (const std::string name : {"download", "md5sum"}) {
        auto document = artifact_document();
        document["_links"].removeMember(name);
        document["_links"].removeMember(name + "-http");

        EXPECT_EQ(missing_key<Artifact>(document), name + " or " + name + "-http");
    }
}

TEST(DeploymentArtifact, EveryLinkThatIsThereNeedsAnAddress) {
    for (const std::string name : {"download", "download-http", "md5sum", "md5sum-http"}) {
        auto document = artifact_document();
        document["_links"][name] = Json::Value{Json::objectValue};
        EXPECT_EQ(missing_key<Artifact>(document), "href") << name;

        document["_links"][name]["href"] = 1;
        EXPECT_EQ(mistyped_key<Artifact>(document), "href") << name;

        document["_links"][name] = "https://h/";
        EXPECT_EQ(mistyped_key<Artifact>(document), name);
    }
}

TEST(DeploymentArtifact, EveryMemberIsRequiredAndOfItsType) {
    const auto document = artifact_document();
    for (const std::string key : {"filename", "hashes", "size", "_links"}) {
        EXPECT_EQ(missing_key<Artifact>(without(document, key)), key);
        EXPECT_EQ(mistyped_key<Artifact>(with(document, key, true)), key);
    }
    for (const std::string key : {"md5", "sha1"}) {
        EXPECT_EQ(missing_key<Artifact>(with(document, "hashes", without(document["hashes"], key))),
                  key);
        EXPECT_EQ(
            mistyped_key<Artifact>(with(document, "hashes", with(document["hashes"], key, 1))),
            key);
    }
}

TEST(DeploymentArtifact, SizeIsASigned32BitInteger) {
    const auto document = artifact_document();
    EXPECT_EQ(read<Artifact>(with(document, "size", parse("[2147483647]")[0])).size(),
              std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(read<Artifact>(with(document, "size", parse("[-2147483648]")[0])).size(),
              std::numeric_limits<std::int32_t>::min());
    for (const std::string size : {"2147483648", "-2147483649", "9223372036854775807",
                                   "9223372036854775808", "3.0", "1e3", "\"3\""}) {
        EXPECT_EQ(mistyped_key<Artifact>(with(document, "size", parse("[" + size + "]")[0])),
                  "size")
            << size;
    }
}

/// What the refusal of a size says of its type.
std::pair<Json::ValueType, Json::ValueType> types_of_refused_size(const std::string& size) {
    try {
        read<Artifact>(with(artifact_document(), "size", parse("[" + size + "]")[0]));
    } catch (const common::UnexpectedTypeException& error) {
        const auto* const found = boost::get_error_info<common::found_type_tag>(error);
        const auto* const expected = boost::get_error_info<common::expected_type_tag>(error);
        if (found != nullptr && expected != nullptr) {
            return {*found, *expected};
        }
    }
    return {Json::nullValue, Json::nullValue};
}

TEST(DeploymentArtifact, RefusedSizeHasTheTypeThatItHasToAReaderOf32Bits) {
    const std::pair unsigned_for_int{Json::uintValue, Json::intValue};
    const std::pair real_for_int{Json::realValue, Json::intValue};

    EXPECT_EQ(types_of_refused_size("2147483648"), unsigned_for_int);
    EXPECT_EQ(types_of_refused_size("4294967295"), unsigned_for_int);
    EXPECT_EQ(types_of_refused_size("4294967296"), real_for_int);
    EXPECT_EQ(types_of_refused_size("-2147483649"), real_for_int);
    EXPECT_EQ(types_of_refused_size("9223372036854775808"), unsigned_for_int);
    EXPECT_EQ(types_of_refused_size("1.5"), real_for_int);
}

TEST(DeploymentArtifact, HashesAreReadFromHexadecimalText) {
    EXPECT_THAT(Artifact::hash_from_string(""), IsEmpty());
    EXPECT_THAT(Artifact::hash_from_string("a"), IsEmpty());
    EXPECT_THAT(Artifact::hash_from_string("abc"), ElementsAre(0xab));
    EXPECT_THAT(Artifact::hash_from_string("00fFA9"), ElementsAre(0x00, 0xff, 0xa9));
}

TEST(DeploymentArtifact, HashDigitsAreNotChecked) {
    EXPECT_THAT(Artifact::hash_from_string("zz1zz1"), ElementsAre(0, 1, 0));
    EXPECT_THAT(Artifact::hash_from_string(" 1-1+20x"), ElementsAre(1, 0xff, 2, 0));
}

/// An artifact's document with one of the sums only.
Json::Value with_sums(const std::string& hashes) {
    auto document = artifact_document();
    document["hashes"] = parse(hashes);
    return document;
}

Artifact read_preferring_sha256(const Json::Value& document) {
    Artifact artifact;
    artifact.from_json(document, Digest::sha256);
    return artifact;
}

TEST(DeploymentArtifact, Sha256IsNotReadUnlessPreferred) {
    EXPECT_THAT(read<Artifact>(artifact_document()).sha256(), IsEmpty());
    EXPECT_NO_THROW(read<Artifact>(with_sums(R"({"sha1": "2d", "md5": "0d", "sha256": 5})")));
}

TEST(DeploymentArtifact, PreferredSha256MakesMd5AndItsLinkDispensable) {
    auto document = with_sums(R"({"sha1": "2d", "sha256": "a0b1"})");
    document["_links"].removeMember("md5sum");
    document["_links"].removeMember("md5sum-http");

    const Artifact artifact = read_preferring_sha256(document);

    EXPECT_THAT(artifact.sha256(), ElementsAre(0xa0, 0xb1));
    EXPECT_THAT(artifact.md5(), IsEmpty());
    EXPECT_THROW(read<Artifact>(document), common::MissingValueException);
}

TEST(DeploymentArtifact, WithoutTheStatedSha256Md5IsNeeded) {
    for (const std::string absent : {"", R"(, "sha256": null)", R"(, "sha256": "")"}) {
        const auto document = with_sums(R"({"sha1": "2d", "md5": "0d1b")" + absent + "}");

        EXPECT_THAT(read_preferring_sha256(document).md5(), ElementsAre(0x0d, 0x1b)) << absent;
        EXPECT_THAT(read_preferring_sha256(document).sha256(), IsEmpty()) << absent;
    }
    EXPECT_THROW(read_preferring_sha256(with_sums(R"({"sha1": "2d"})")),
                 common::MissingValueException);
}

TEST(DeploymentArtifact, PreferredSha256OfAnotherTypeIsRefused) {
    EXPECT_THROW(read_preferring_sha256(with_sums(R"({"sha1": "2d", "md5": "0d", "sha256": 5})")),
                 common::UnexpectedTypeException);
}

}  // namespace
}  // namespace zephran::hawkbit
