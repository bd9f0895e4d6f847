// SPDX-License-Identifier: Apache-2.0
#include "artifact_download_test.h"

#include <csignal>
#include <filesystem>
#include <thread>

#include <gmock/gmock.h>
#include <pthread.h>

#include "common/exception.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

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
