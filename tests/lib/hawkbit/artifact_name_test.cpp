// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/artifact_name.h"

#include <gtest/gtest.h>

#include "hawkbit/exceptions.h"

namespace zephran::hawkbit {
namespace {

TEST(ArtifactName, OrdinaryNamesAreSafe) {
    for (const std::string name : {"fw.bin", "a", "0", "_x", "zephran_1.0+git~r2=3@4%5,6:7-8.ipk",
                                   "UPPER.IMG", "a..b", "+x", "~x", "@x"}) {
        EXPECT_TRUE(is_safe_artifact_name(name)) << name;
        EXPECT_NO_THROW(require_safe_artifact_name(name)) << name;
    }
}

TEST(ArtifactName, EveryOtherAsciiCharacterIsUnsafe) {
    const std::string safe =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._+~=@%,:-";

    for (int code = 0; code < 256; ++code) {
        const auto character = static_cast<char>(code);
        const auto name = std::string{"a"} + character + "b";
        EXPECT_EQ(is_safe_artifact_name(name), safe.find(character) != std::string::npos) << code;
    }
}

TEST(ArtifactName, NamesThatLeaveTheDirectoryOrLookLikeOptionsAreUnsafe) {
    for (const std::string name : {"", ".", "..", ".hidden", "-rf", "../x.sh", "/etc/passwd", "a/b",
                                   "a\\b", "$(x).sh", "a b", "a;b", "a\nb", "ä.bin"}) {
        EXPECT_FALSE(is_safe_artifact_name(name)) << name;
    }
}

TEST(ArtifactName, RefusalNamesTheFile) {
    try {
        require_safe_artifact_name("../x.sh");
        FAIL() << "no exception";
    } catch (const UnsafeFilenameException& error) {
        EXPECT_STREQ(error.what(), "Artifact file name is not safe to use");
        const auto* const name = boost::get_error_info<common::filename_tag>(error);
        ASSERT_NE(name, nullptr);
        EXPECT_EQ(*name, "../x.sh");
    }
}

TEST(HawkbitExceptions, HaveTheirTexts) {
    EXPECT_STREQ(ChecksumMismatchException{}.what(),
                 "Calculated checksum does not match the one provided");
    EXPECT_STREQ(VerificationFailedException{}.what(), "Failed to verify artifact");
}

}  // namespace
}  // namespace zephran::hawkbit
