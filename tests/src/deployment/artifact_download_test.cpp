// SPDX-License-Identifier: Apache-2.0
#include "deployment/artifact_download.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include "common/exception.h"
#include "hawkbit/exceptions.h"
#include "http/exceptions.h"
#include "support/captured_log.h"
#include "support/deployer_bench.h"
#include "support/fake_http_client.h"
#include "support/largest_file.h"
#include "support/temporary_directory.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr const char* content = "0123456789";

/// What the server answers to one try.
using Answer = FileServer::PartialAnswer;

Answer whole(const std::string& bytes, CURLcode end = CURLE_OK) {
    return {{200, "tag", "", ""}, bytes, end};
}

Answer rest_from(std::size_t first, CURLcode end = CURLE_OK, std::size_t count = 10) {
    return {{206, "tag", "bytes " + std::to_string(first) + "-9/10", ""},
            std::string{content}.substr(first, count),
            end};
}

Answer refusal(unsigned status, const std::string& retry_after = {}) {
    return {{status, "", "", retry_after}};
}

class ArtifactDownloadOfBytes : public ::testing::Test {
protected:
    ArtifactDownloadOfBytes() {
        const DeploymentText deployment{"7", {{"script", "a", "1", {{"a.bin", content, content}}}}};
        task.artifact = deployment_from(deployment).chunks().front().artifacts().front();
        task.url = ArtifactText::secure_link("a.bin");
        task.path = directory.path("a.bin");
        task.free_space = [](const std::string& /*path*/) { return std::uint64_t{3}; };
        options.attempts = 3;
        options.retry_delay = 4;
        environment.now = [] { return std::chrono::system_clock::from_time_t(784111777); };
        server.on_range = [this](const http::RangeWanted& /*wanted*/) {
            const Answer answer = answers.at(server.ranges.size() - 1);
            return answer;
        };
    }

    ArtifactDownload& begin() {
        download =
            std::make_unique<ArtifactDownload>(task, options, server.client_maker(), environment);
        return *download;
    }

    /// Ticks, as the deployer does, until the artifact is there.
    /// @returns the ticks it took
    unsigned run() {
        constexpr unsigned more_than_enough = 1000;
        for (unsigned tick = 0; tick < more_than_enough; ++tick) {
            if (download->poll()) {
                return tick;
            }
            download->advance();
        }
        throw std::logic_error{"The download does not end"};
    }

    [[nodiscard]] std::vector<std::uint64_t> first_bytes_wanted() const {
        std::vector<std::uint64_t> bytes;
        std::transform(server.ranges.begin(), server.ranges.end(), std::back_inserter(bytes),
                       [](const http::RangeWanted& wanted) { return wanted.from; });
        return bytes;
    }

    CapturedLog log;
    TemporaryDirectory directory;
    FileServer server;
    std::vector<Answer> answers;
    DownloadTask task;
    DownloadOptions options;
    ArtifactDownload::Environment environment = DeployerBench::at_once();
    std::unique_ptr<ArtifactDownload> download;
};

TEST_F(ArtifactDownloadOfBytes, TellsHowFarItHasCome) {
    task.resumes = true;
    answers = {whole("0123", CURLE_PARTIAL_FILE), rest_from(4)};
    begin();
    EXPECT_EQ(download->progress().bytes, 0U);
    EXPECT_EQ(download->progress().attempt, 1U);
    EXPECT_EQ(download->progress().size, 10U);

    download->advance();
    EXPECT_EQ(download->progress().bytes, 4U);
    EXPECT_EQ(download->received(), 4U);
    EXPECT_FALSE(download->poll());
    EXPECT_EQ(download->progress().attempt, 2U);
    run();

    EXPECT_EQ(download->progress().bytes, 10U);
    EXPECT_EQ(download->received(), 10U);
}

TEST_F(ArtifactDownloadOfBytes, ArrivesInOneTry) {
    answers = {whole(content)};
    begin();

    EXPECT_EQ(run(), 1U);

    EXPECT_EQ(directory.read("a.bin"), content);
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(ArtifactDownloadOfBytes, NothingHappensBeforeTheFirstTick) {
    EXPECT_FALSE(begin().poll());

    EXPECT_THAT(server.requests, IsEmpty());
}

TEST_F(ArtifactDownloadOfBytes, EmptyOneHasNoSize) {
    task.artifact = deployment_from({"7", {{"script", "a", "1", {{"a.bin", "", ""}}}}})
                        .chunks()
                        .front()
                        .artifacts()
                        .front();

    EXPECT_EQ(begin().progress().size, 0U);
}

TEST_F(ArtifactDownloadOfBytes, TickDuringATryOnlyAsksForItsEnd) {
    std::promise<DownloadOutcome> never;
    environment.launch = [&](const ArtifactDownload::Work& /*work*/) {
        server.requests.emplace_back("begun");
        return never.get_future();
    };
    begin();

    // Long before the end if each took time.
    constexpr unsigned ticks = 1000;
    for (unsigned tick = 0; tick < ticks; ++tick) {
        download->advance();
        EXPECT_FALSE(download->poll());
    }

    EXPECT_THAT(server.requests, testing::SizeIs(1));
}

TEST_F(ArtifactDownloadOfBytes, TickAfterItsArrivalHasNoEffect) {
    answers = {whole(content)};
    begin();
    run();

    download->advance();

    EXPECT_TRUE(download->poll());
    EXPECT_THAT(server.requests, testing::SizeIs(1));
}

TEST_F(ArtifactDownloadOfBytes, PausesInTicksBeforeTheNextTry) {
    answers = {whole("01", CURLE_PARTIAL_FILE), refusal(503), whole(content)};
    begin();

    // One to begin, and after each failure as many more as seconds were drawn.
    EXPECT_EQ(run(), 1U + 4 + 1 + 8 + 1);

    EXPECT_THAT(log.text(), HasSubstr("download_artifact: event=download_retry attempt=2 of=3 "
                                      "delay=00h:00m:04s bytes=2 what="));
    EXPECT_THAT(log.text(), HasSubstr("event=download_retry attempt=3 of=3 delay=00h:00m:08s "
                                      "bytes=0 what=HTTP status 503"));
    EXPECT_EQ(directory.read("a.bin"), content);
    EXPECT_THAT(first_bytes_wanted(), ElementsAre(0, 0, 0));
}

TEST_F(ArtifactDownloadOfBytes, WaitsAsLongAsTheServerWants) {
    answers = {refusal(503, "Sun, 06 Nov 1994 08:50:07 GMT"), whole(content)};
    begin();

    EXPECT_EQ(run(), 1U + 30 + 1);
}

TEST_F(ArtifactDownloadOfBytes, FailsWithWhatTheLastTryHasThrown) {
    answers = {refusal(500), refusal(502), refusal(504)};
    begin();

    try {
        run();
        FAIL() << "nothing was thrown";
    } catch (const http::HttpErrorCodeException& error) {
        EXPECT_EQ(*boost::get_error_info<http::httpcode_tag>(error), 504U);
    }
}

TEST_F(ArtifactDownloadOfBytes, RefusalIsNotTriedAgain) {
    answers = {refusal(404)};
    begin();

    EXPECT_THROW(run(), http::HttpErrorCodeException);

    EXPECT_THAT(server.requests, testing::SizeIs(1));
}

TEST_F(ArtifactDownloadOfBytes, DirectoryInTheWayIsAFailureBeforeAnyTraffic) {
    std::filesystem::create_directory(task.path);
    begin();

    EXPECT_THROW(run(), common::OutputFileOpenException);

    EXPECT_THAT(server.requests, IsEmpty());
}

class ResumedDownload : public ArtifactDownloadOfBytes {
protected:
    ResumedDownload() {
        options.resume = true;
        options.retry_delay = 0;
        task.resumes = true;
    }
};

TEST_F(ResumedDownload, GoesOnWhereItWasCutOff) {
    answers = {whole("0123", CURLE_PARTIAL_FILE), rest_from(4, CURLE_RECV_ERROR, 3), rest_from(7)};
    begin();

    run();

    EXPECT_EQ(directory.read("a.bin"), content);
    EXPECT_THAT(first_bytes_wanted(), ElementsAre(0, 4, 7));
    EXPECT_EQ(server.ranges.back().entity_tag, "tag");
    EXPECT_THAT(log.text(), HasSubstr("INFO"));
    EXPECT_THAT(log.text(), HasSubstr("download_artifact: event=download_resumed from=4 of=10\n"));
    EXPECT_THAT(log.text(), HasSubstr("event=download_resumed from=7 of=10\n"));
    EXPECT_FALSE(directory.has("a.bin.part"));
    EXPECT_FALSE(directory.has(".a.bin.part"));
}

TEST_F(ResumedDownload, IsInItsOwnFileUntilItIsComplete) {
    answers = {whole("0123", CURLE_PARTIAL_FILE), whole("")};
    begin();
    download->advance();

    EXPECT_FALSE(directory.has("a.bin"));
    EXPECT_EQ(directory.read("a.bin.part"), "0123");
    EXPECT_THAT(directory.read(".a.bin.part"), HasSubstr("/files/a.bin"));
    EXPECT_THAT(directory.read(".a.bin.part"), Not(HasSubstr("update.example")));
}

TEST_F(ResumedDownload, NextProcessGoesOn) {
    answers = {whole("0123", CURLE_PARTIAL_FILE), rest_from(4)};
    begin();
    download->advance();
    download.reset();
    begin();

    run();

    EXPECT_EQ(directory.read("a.bin"), content);
    EXPECT_THAT(first_bytes_wanted(), ElementsAre(0, 4));
}

TEST_F(ResumedDownload, WithoutATagItBeginsAnew) {
    answers = {{{200, "", "", ""}, "0123", CURLE_PARTIAL_FILE}, whole(content)};
    begin();

    run();

    EXPECT_EQ(directory.read("a.bin"), content);
    EXPECT_THAT(first_bytes_wanted(), ElementsAre(0, 0));
}

TEST_F(ResumedDownload, WholeFileInsteadOfTheRestReplacesWhatWasThere) {
    answers = {whole("abcd", CURLE_PARTIAL_FILE), whole(content)};
    begin();

    run();

    EXPECT_EQ(directory.read("a.bin"), content);
    EXPECT_THAT(log.text(), HasSubstr("event=download_restarted"));
    EXPECT_THAT(log.text(), HasSubstr("what=the server sends the whole file"));
}

TEST_F(ResumedDownload, SomethingElseThanTheRestIsNotAppended) {
    Answer other_tag = rest_from(4);
    other_tag.head.entity_tag = "other";
    Answer other_start = rest_from(5);
    Answer no_range = rest_from(4);
    no_range.head.content_range = "";
    for (const Answer& lie : {other_tag, other_start, no_range}) {
        server.ranges.clear();
        answers = {whole("0123", CURLE_PARTIAL_FILE), lie, whole(content)};
        begin();

        run();

        EXPECT_EQ(directory.read("a.bin"), content);
        EXPECT_THAT(first_bytes_wanted(), ElementsAre(0, 4, 0));
    }
    EXPECT_THAT(log.text(), HasSubstr("what=the server sends something else than the rest"));
}

TEST_F(ResumedDownload, BeginningAnewIsNoTryOfItsOwn) {
    options.attempts = 2;
    answers = {whole("0123", CURLE_PARTIAL_FILE), rest_from(5), whole(content)};
    begin();

    EXPECT_NO_THROW(run());
}

TEST_F(ResumedDownload, RangeThatIsNotThereBeginsAnew) {
    answers = {whole("0123", CURLE_PARTIAL_FILE), refusal(416), whole(content)};
    begin();

    run();

    EXPECT_EQ(directory.read("a.bin"), content);
    EXPECT_THAT(log.text(), HasSubstr("what=the server does not have the rest"));
}

TEST_F(ResumedDownload, CompleteFileOfWhichNothingIsMissingIsVerified) {
    answers = {whole(content, CURLE_RECV_ERROR), refusal(416)};
    begin();

    run();

    EXPECT_EQ(directory.read("a.bin"), content);
    EXPECT_THAT(first_bytes_wanted(), ElementsAre(0, 10));
}

TEST_F(ResumedDownload, RefusedRangeWithoutAPartIsAFailure) {
    answers = {refusal(416)};
    begin();

    EXPECT_THROW(run(), http::HttpErrorCodeException);
}

TEST_F(ResumedDownload, WrongSumOfPiecesBeginsAnewOnce) {
    answers = {whole("abcd", CURLE_PARTIAL_FILE), rest_from(4), whole(content)};
    begin();

    run();

    EXPECT_EQ(directory.read("a.bin"), content);
    EXPECT_THAT(first_bytes_wanted(), ElementsAre(0, 4, 0));
    EXPECT_THAT(log.text(), HasSubstr("what=the sum of the whole file is wrong"));
}

TEST_F(ResumedDownload, WrongSumOfPiecesFailsTheSecondTime) {
    answers = {whole("abcd", CURLE_PARTIAL_FILE), rest_from(4), whole("abcd", CURLE_PARTIAL_FILE),
               rest_from(4)};
    begin();

    EXPECT_THROW(run(), hawkbit::VerificationFailedException);

    EXPECT_FALSE(directory.has("a.bin"));
}

TEST_F(ResumedDownload, WrongFileInOnePieceIsLeftToTheVerification) {
    answers = {whole("abcdefghij")};
    begin();

    run();

    EXPECT_EQ(directory.read("a.bin"), "abcdefghij");
}

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

TEST(ArtifactDownloadThread, RunsBesideTheCallerAndWithoutSignals) {
    sigset_t blocked;
    sigemptyset(&blocked);
    const auto caller = std::this_thread::get_id();
    auto runner = caller;

    auto running = ArtifactDownload::run_in_thread([&] {
        runner = std::this_thread::get_id();
        pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        DownloadOutcome outcome;
        outcome.bytes = 5;
        return outcome;
    });

    EXPECT_EQ(running.get().bytes, 5U);
    EXPECT_NE(runner, caller);
    EXPECT_EQ(sigismember(&blocked, SIGTERM), 1);
    sigset_t own;
    pthread_sigmask(SIG_SETMASK, nullptr, &own);
    EXPECT_EQ(sigismember(&own, SIGTERM), 0);
}

TEST_F(ArtifactDownloadOfBytes, EndOfTheObjectEndsARunningTransfer) {
    std::promise<void> begun;
    std::atomic<bool> was_stopped{false};
    environment.launch = ArtifactDownload::run_in_thread;
    server.on_range = [&](const http::RangeWanted& /*wanted*/) {
        begun.set_value();
        return whole(content);
    };
    server.while_transferring = [&](const http::PartialReceiver& receiver) {
        while (!receiver.is_stopped()) {
            std::this_thread::yield();
        }
        was_stopped = true;
    };
    begin().advance();
    begun.get_future().wait();

    EXPECT_FALSE(download->poll());
    download.reset();

    EXPECT_TRUE(was_stopped);
}

}  // namespace
}  // namespace zephran::test
