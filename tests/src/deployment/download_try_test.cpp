// SPDX-License-Identifier: Apache-2.0
#include "deployment/download_try.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "deployment/deployment_stage.h"
#include "hawkbit/exceptions.h"
#include "http/exceptions.h"
#include "installer/artifact_digest.h"
#include "support/captured_log.h"
#include "support/fake_http_client.h"
#include "support/largest_file.h"
#include "support/temporary_directory.h"

namespace zephran::test {
namespace {

using Answer = FileServer::PartialAnswer;
using Result = DownloadOutcome::Result;

constexpr const char* ten_bytes = "0123456789";

Answer whole_file(const std::string& bytes, const std::string& tag = "tag",
                  CURLcode end = CURLE_OK) {
    return {{200, tag, "", ""}, bytes, end};
}

Answer rest_after_four(const std::string& bytes) {
    return {{206, "tag", "bytes 4-9/10", ""}, bytes};
}

/// One try after another, each with an answer of its own.
class DownloadTryOfTenBytes : public ::testing::Test {
protected:
    DownloadTryOfTenBytes() {
        announce(ten_bytes);
        task.url = ArtifactText::secure_link("a.bin");
        task.path = directory.path("a.bin");
        task.resumes = true;
    }

    void announce(const std::string& announced) {
        const DeploymentText text{"7", {{"script", "a", "1", {{"a.bin", announced, announced}}}}};
        task.artifact = deployment_from(text).chunks().front().artifacts().front();
    }

    DownloadOutcome run(const Answer& answer) {
        server.on_range = [&](const http::RangeWanted& /*wanted*/) {
            there_before = current->bytes_there();
            return answer;
        };
        current = std::make_unique<DownloadTry>(task, stopped);
        return current->run(server.client_maker()());
    }

    /// What an earlier try has left.
    void leave(const std::string& bytes) {
        ASSERT_EQ(run(whole_file(bytes, "tag", CURLE_PARTIAL_FILE)).result, Result::failed);
    }

    [[nodiscard]] ResumeRecord stored_record() const {
        return PartialFile{task.path}.stored_record().value_or(ResumeRecord{});
    }

    CapturedLog log;
    TemporaryDirectory directory;
    FileServer server;
    DownloadTask task;
    std::atomic<bool> stopped{false};
    std::unique_ptr<DownloadTry> current;
    std::uint64_t there_before = 0;
};

TEST_F(DownloadTryOfTenBytes, RecordTellsAddressSizeAndSum) {
    leave("0123");

    const ResumeRecord record = stored_record();

    EXPECT_EQ(record.address, "/files/a.bin");
    EXPECT_EQ(record.size, 10U);
    EXPECT_EQ(record.digest, "md5:781e5e245d69b566979b86e28d23f2c7");
    EXPECT_EQ(record.entity_tag, "tag");
}

TEST_F(DownloadTryOfTenBytes, QueryIsPartOfTheAddress) {
    task.url += "?tenant=1";

    leave("0123");

    EXPECT_EQ(stored_record().address, "/files/a.bin?tenant=1");
}

TEST_F(DownloadTryOfTenBytes, PartOfAFileWithAnotherSumIsOfNoUse) {
    leave("0123");
    announce("0123456780");

    EXPECT_EQ(run(whole_file("0123456780")).result, Result::arrived);

    EXPECT_EQ(server.ranges.back().from, 0U);
    EXPECT_EQ(directory.read("a.bin"), "0123456780");
}

TEST_F(DownloadTryOfTenBytes, NothingIsThereBeforeItBegins) {
    EXPECT_EQ(DownloadProgress{}.size, 0U);
    EXPECT_EQ(DownloadOutcome{}.bytes, 0U);
    EXPECT_EQ((DownloadTry{task, stopped}.bytes_there()), 0U);
}

TEST_F(DownloadTryOfTenBytes, RestThatTheServerDoesNotHaveSaysNothingAboutTheSum) {
    leave("0123");

    const DownloadOutcome outcome = run({{416, "", "", ""}});

    EXPECT_EQ(outcome.result, Result::begin_anew);
    EXPECT_FALSE(outcome.sum_is_wrong);
}

TEST_F(DownloadTryOfTenBytes, BytesOfAnEarlierTryAreThereFromTheStart) {
    leave("0123");

    EXPECT_EQ(run(rest_after_four("456789")).result, Result::arrived);

    EXPECT_EQ(there_before, 4U);
    EXPECT_EQ(current->bytes_there(), 10U);
    EXPECT_EQ(current->bytes_received(), 6U);
}

TEST_F(DownloadTryOfTenBytes, WholeFileInsteadOfTheRestIsCountedFromItsStart) {
    leave("0123");

    const DownloadOutcome outcome = run(whole_file("01234", "new", CURLE_PARTIAL_FILE));

    EXPECT_EQ(outcome.bytes, 5U);
    EXPECT_EQ(current->bytes_there(), 5U);
    EXPECT_EQ(current->bytes_received(), 5U);
    EXPECT_EQ(stored_record().entity_tag, "new");
}

TEST_F(DownloadTryOfTenBytes, NothingIsThereWhileTheWholeFileIsOnItsWay) {
    leave("0123");
    std::uint64_t there = 1;
    server.while_transferring = [&](const http::PartialReceiver& /*receiver*/) {
        there = current->bytes_there();
    };

    run(whole_file(ten_bytes));

    EXPECT_EQ(there, 0U);
}

TEST_F(DownloadTryOfTenBytes, LowestErrorStatusLeavesWhatIsThere) {
    leave("0123");

    EXPECT_EQ(run({{400, "other", "", ""}}).result, Result::failed);

    EXPECT_EQ(directory.read("a.bin.part"), "0123");
    EXPECT_EQ(stored_record().entity_tag, "tag");
}

TEST_F(DownloadTryOfTenBytes, CompleteFileWithAWrongSumBeginsAnew) {
    leave("abcdefghij");

    const DownloadOutcome outcome = run({{416, "", "", ""}});

    EXPECT_EQ(outcome.result, Result::begin_anew);
    EXPECT_TRUE(outcome.sum_is_wrong);
    EXPECT_FALSE(directory.has("a.bin.part"));
    EXPECT_FALSE(directory.has("a.bin"));
}

TEST_F(DownloadTryOfTenBytes, StopEndsTheVerificationOfWhatIsThere) {
    leave(ten_bytes);
    stopped = true;

    const DownloadOutcome outcome = run({{416, "", "", ""}});

    ASSERT_EQ(outcome.result, Result::failed);
    try {
        std::rethrow_exception(outcome.failure);
    } catch (const http::HttpRequestException& error) {
        EXPECT_EQ(*boost::get_error_info<http::curlcode_tag>(error), CURLE_ABORTED_BY_CALLBACK);
    }
    EXPECT_EQ(directory.read("a.bin.part"), ten_bytes);
}

class DownloadTryWithLittleSpace : public DownloadTryOfTenBytes {
protected:
    DownloadTryWithLittleSpace() {
        task.checks_space = true;
        task.free_space = [this](const std::string& /*path*/) { return available; };
    }

    /// What the report says of the lack of space.
    static std::string lack(const DownloadOutcome& outcome) {
        try {
            std::rethrow_exception(outcome.failure);
        } catch (const hawkbit::NotEnoughSpaceException& error) {
            return common::describe_records(error);
        }
        return {};
    }

    std::uint64_t available = 3;
};

TEST_F(DownloadTryWithLittleSpace, RestBeyondTheAnnouncedSizeDoesNotFit) {
    leave("0123");

    EXPECT_EQ(lack(run(rest_after_four("456789+"))), "needed: 11\navailable: 10");
}

TEST_F(DownloadTryWithLittleSpace, NothingFitsIntoAnEmptyArtifact) {
    announce("");

    EXPECT_EQ(lack(run(whole_file("+"))), "needed: 1\navailable: 0");
}

TEST_F(DownloadTryWithLittleSpace, FailedWriteTellsWhatTheRestNeeds) {
    leave("0123");
    const LargestFile full{6};

    EXPECT_EQ(lack(run(rest_after_four("456789"))), "needed: 4\navailable: 3");
}

TEST_F(DownloadTryWithLittleSpace, FailedWriteIsALackHoweverMuchSeemsToBeFree) {
    available = 1000;
    leave("0123");
    const LargestFile full{6};

    EXPECT_EQ(lack(run(rest_after_four("456789"))), "needed: 4\navailable: 3");
}

}  // namespace
}  // namespace zephran::test
