// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "artifact_download_test.h"
#include "common/exception.h"
#include "hawkbit/exceptions.h"
#include "support/largest_file.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class DownloadToAFullDisk : public ArtifactDownloadOfBytes {
protected:
    /// Runs into the failed write.
    /// @returns the name that the exception has
    template <class Failure>
    std::string failed_file() {
        const LargestFile full{4};
        try {
            run();
        } catch (const Failure& error) {
            const auto* const name = boost::get_error_info<common::filename_tag>(error);
            return name == nullptr ? "no name" : *name;
        }
        return {};
    }
};

TEST_F(DownloadToAFullDisk, FailsAtOnce) {
    answers = {whole(content)};
    begin();

    EXPECT_EQ(failed_file<common::FileWriteException>(), task.path);
    EXPECT_THAT(server.requests, testing::SizeIs(1));
}

TEST_F(DownloadToAFullDisk, FailsAtOnceAlsoInTheMiddleOfAResumedOne) {
    task.resumes = true;
    answers = {{{200, "tag", "", ""}, "012", CURLE_PARTIAL_FILE}, rest_from(3)};
    begin();
    // The record is longer than what fits from now on.
    download->advance();
    ASSERT_FALSE(download->poll());

    EXPECT_EQ(failed_file<common::FileWriteException>(), task.path);
    EXPECT_THAT(server.requests, testing::SizeIs(2));
    EXPECT_EQ(directory.read("a.bin.part"), "0123");
}

TEST_F(DownloadToAFullDisk, WithoutRoomForTheRecordIsNotResumedAndSaysSo) {
    task.resumes = true;
    answers = {{{200, "tag", "", ""}, "012", CURLE_PARTIAL_FILE}, whole("0123")};
    begin();
    {
        const LargestFile full{3};
        download->advance();
    }

    EXPECT_FALSE(download->poll());
    EXPECT_THAT(log.text(), HasSubstr("event=record_failed"));
    EXPECT_FALSE(directory.has(".a.bin.part"));
    run();
    EXPECT_THAT(first_bytes_wanted(), ElementsAre(0, 0));
    EXPECT_EQ(directory.read("a.bin"), "0123");
}

TEST_F(DownloadToAFullDisk, IsALackOfSpaceWhereThatIsLookedAt) {
    task.checks_space = true;
    answers = {whole(content)};
    begin();
    const LargestFile full{4};

    try {
        run();
        FAIL() << "the failed write was not noticed";
    } catch (const hawkbit::NotEnoughSpaceException& error) {
        EXPECT_EQ(common::describe_records(error), "needed: 6\navailable: 3");
    }
    EXPECT_THAT(server.requests, testing::SizeIs(1));
}

class DownloadWithLittleSpace : public ArtifactDownloadOfBytes {
protected:
    DownloadWithLittleSpace() { task.checks_space = true; }

    /// What the report says of a lack of space, "" if there is none.
    std::string lack() {
        try {
            run();
        } catch (const hawkbit::NotEnoughSpaceException& error) {
            return common::describe_records(error);
        }
        return {};
    }
};

TEST_F(DownloadWithLittleSpace, MoreBytesThanAnnouncedEndIt) {
    answers = {whole("0123456789+")};
    begin();

    EXPECT_EQ(lack(), "needed: 11\navailable: 10");
    EXPECT_THAT(server.requests, testing::SizeIs(1));
}

TEST_F(DownloadWithLittleSpace, AsManyBytesAsAnnouncedFit) {
    answers = {whole(content)};
    begin();

    EXPECT_EQ(lack(), "");
    EXPECT_EQ(directory.read("a.bin"), content);
}

TEST_F(ArtifactDownloadOfBytes, MoreBytesThanAnnouncedAreLeftToTheVerification) {
    answers = {whole("0123456789+")};
    begin();

    run();

    EXPECT_EQ(directory.read("a.bin"), "0123456789+");
}

}  // namespace
}  // namespace zephran::test
