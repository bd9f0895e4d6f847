// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <sstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "deployment/hawkbit_deployer.h"
#include "deployment/running_deployment.h"
#include "support/deployer_bench.h"
#include "support/largest_file.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/// A deployer whose downloads go on beside the main loop.
class HawkbitDeployerDownload : public ::testing::Test, protected DeployerBench {
protected:
    HawkbitDeployerDownload() { downloads.attempts = 3; }

    /// Every try but the last is cut off after three bytes.
    void cut_off(unsigned tries) {
        files.on_range = [this, tries](const http::RangeWanted& wanted) {
            const std::string whole = "content of a.bin";
            const std::string rest = whole.substr(wanted.from);
            const bool is_cut = files.ranges.size() <= tries;
            FileServer::PartialAnswer answer;
            answer.head.status = wanted.from == 0 ? 200 : 206;
            answer.head.entity_tag = "tag";
            answer.head.content_range = "bytes " + std::to_string(wanted.from) + "-15/16";
            answer.body = is_cut ? rest.substr(0, 3) : rest;
            answer.end = is_cut ? CURLE_PARTIAL_FILE : CURLE_OK;
            return answer;
        };
    }

    /// As far as the first try, which has ended.
    void tick_to_first_try() const {
        constexpr unsigned ticks = 4;
        tick(ticks);
    }
};

TEST_F(HawkbitDeployerDownload, InstallsWhatHasArrived) {
    make(scripted_deployment(2));

    run_to_end();

    EXPECT_TRUE(deployer->is_finished());
    EXPECT_THAT(part.script.started, ElementsAre("a:1", "b:2"));
    EXPECT_THAT(files.requests, SizeIs(2));
    EXPECT_THAT(platform.prepared_downloads, ElementsAre("a.bin", "b.bin"));
    EXPECT_FALSE(has_file("a.bin"));
}

TEST_F(HawkbitDeployerDownload, StaysInItsStateUntilTheArtifactHasArrived) {
    downloads.retry_delay = 3;
    cut_off(1);
    make(scripted_deployment(1));
    tick_to_first_try();

    tick(3);
    EXPECT_THAT(files.requests, SizeIs(1));
    EXPECT_FALSE(deployer->has_installer());
    run_to_end();

    EXPECT_THAT(files.requests, SizeIs(2));
    EXPECT_TRUE(deployer->is_finished());
    EXPECT_THAT(platform.prepared_downloads, ElementsAre("a.bin"));
}

TEST_F(HawkbitDeployerDownload, FailureOfTheLastTryIsTheDeployments) {
    downloads.retry_delay = 0;
    downloads.resume = true;
    files.on_range = [](const http::RangeWanted& /*wanted*/) {
        return FileServer::PartialAnswer{{503, "", "", ""}};
    };
    make(scripted_deployment(1));

    run_to_end();

    EXPECT_TRUE(deployer->is_cancelled());
    EXPECT_THAT(files.requests, SizeIs(3));
    EXPECT_EQ(deployer->error().error_message, "HTTP server returned an error code");
    EXPECT_FALSE(has_file("a.bin.part"));
}

TEST_F(HawkbitDeployerDownload, CancelDeletesThePartialFile) {
    downloads.resume = true;
    cut_off(1);
    make(scripted_deployment(1));
    tick_to_first_try();
    ASSERT_TRUE(has_file("a.bin.part"));
    ASSERT_TRUE(has_file(".a.bin.part"));

    deployer->cancel();

    EXPECT_TRUE(deployer->is_cancelled());
    EXPECT_FALSE(has_file("a.bin.part"));
    EXPECT_FALSE(has_file(".a.bin.part"));
}

TEST_F(HawkbitDeployerDownload, StopKeepsThePartialFileForTheNextProcess) {
    downloads.resume = true;
    cut_off(1);
    make(scripted_deployment(1));
    tick_to_first_try();

    deployer->prepare_stop();
    deployer->cancel();

    EXPECT_TRUE(has_file("a.bin.part"));
    EXPECT_TRUE(has_file(".a.bin.part"));
    make(scripted_deployment(1));
    run_to_end();
    EXPECT_TRUE(deployer->is_finished());
    EXPECT_EQ(files.ranges.back().from, 3U);
    EXPECT_FALSE(has_file("a.bin.part"));
}

TEST_F(HawkbitDeployerDownload, EndOfTheProcessKeepsThePartialFileToo) {
    downloads.resume = true;
    cut_off(1);
    make(scripted_deployment(1));
    tick_to_first_try();

    { const RunningDeployment ended{std::move(deployer), {}}; }

    EXPECT_TRUE(has_file("a.bin.part"));
}

TEST_F(HawkbitDeployerDownload, WithoutResumingAStopLeavesNothing) {
    cut_off(1);
    make(scripted_deployment(1));
    tick_to_first_try();

    deployer->prepare_stop();
    deployer->cancel();

    EXPECT_FALSE(has_file("a.bin"));
    EXPECT_FALSE(has_file("a.bin.part"));
}

TEST_F(HawkbitDeployerDownload, StopWaitsForTheTransfer) {
    std::promise<void> begun;
    bool ended_by_itself = false;
    environment.launch = ArtifactDownload::run_in_thread;
    files.while_transferring = [&](const http::PartialReceiver& receiver) {
        constexpr unsigned chances_to_be_stopped = 1000;
        begun.set_value();
        for (unsigned i = 0; i < chances_to_be_stopped; ++i) {
            std::this_thread::yield();
        }
        ended_by_itself = !receiver.is_stopped();
    };
    make(scripted_deployment(1));
    tick_to_first_try();
    begun.get_future().wait();

    deployer->prepare_stop();
    deployer->cancel();

    EXPECT_TRUE(ended_by_itself);
}

TEST_F(HawkbitDeployerDownload, StopEndsTheTransferWhereItIsWanted) {
    downloads.stop_transfers = true;
    environment.launch = ArtifactDownload::run_in_thread;
    bool was_stopped = false;
    files.while_transferring = [&](const http::PartialReceiver& receiver) {
        while (!receiver.is_stopped()) {
            std::this_thread::yield();
        }
        was_stopped = true;
    };
    make(scripted_deployment(1));
    tick_to_first_try();

    deployer->prepare_stop();
    deployer->cancel();

    EXPECT_TRUE(was_stopped);
    EXPECT_TRUE(deployer->is_cancelled());
}

TEST_F(HawkbitDeployerDownload, ArtifactWithTheNameOfAPartialFileIsNotResumed) {
    downloads.resume = true;
    make({"7", {{"scripted", "pair", "1", {{"a"}, {"a.part"}}}}});

    run_to_end();

    EXPECT_TRUE(deployer->is_finished());
    EXPECT_THAT(part.script.started, ElementsAre("pair:1"));
}

TEST_F(HawkbitDeployerDownload, PartialFilesOfTwoDeploymentsDoNotMeet) {
    downloads.resume = true;
    make({"7", {{"scripted", "one", "1", {{"a"}}}}});
    const std::unique_ptr<HawkbitDeployer> first = std::move(deployer);

    EXPECT_FALSE(make({"8", {{"scripted", "two", "1", {{"a.part"}}}}}).owns_files());
}

TEST_F(HawkbitDeployerDownload, CountsTheBytesOfAllArtifacts) {
    for (const unsigned attempts : {3U, 1U}) {
        downloads.attempts = attempts;
        make({"7",
              {{"scripted",
                "three",
                std::to_string(attempts),
                {{"a.bin"}, {"b.bin"}, {"empty", ""}}}}});

        run_to_end();

        EXPECT_EQ(deployer->received(), 32U) << attempts;
    }
}

TEST_F(HawkbitDeployerDownload, TellsItsProgressOnlyWhileItDownloads) {
    downloads.retry_delay = 1;
    cut_off(1);
    make({"7", {{"scripted", "a", "1", {{"a.bin"}}}}});

    std::vector<std::string> told;
    while (!deployer->has_installer()) {
        const auto progress = deployer->download_progress();
        std::ostringstream now;
        if (progress && progress->bytes) {
            now << *progress->bytes << " of ";
        }
        if (progress) {
            now << progress->size << " in try " << progress->attempt;
        }
        if (told.empty() || told.back() != now.str()) {
            told.push_back(now.str());
        }
        deployer->tick();
    }

    EXPECT_THAT(told, ElementsAre("16 in try 1", "3 of 16 in try 1", "3 of 16 in try 2",
                                  "16 of 16 in try 2", ""));
}

class HawkbitDeployerSpace : public HawkbitDeployerDownload {
protected:
    HawkbitDeployerSpace() {
        downloads.space_reserve = 100;
        environment.free_space = [this](const std::string& path) {
            EXPECT_EQ(path, platform.temp_directory);
            return available;
        };
    }

    /// Two files of 16 bytes.
    [[nodiscard]] static DeploymentText deployment() {
        return {"7", {{"scripted", "pair", "1", {{"a.bin"}, {"b.bin"}}}}};
    }

    std::uint64_t available = 132;
};

TEST_F(HawkbitDeployerSpace, IsEnoughForAllFilesAndTheReserve) {
    make(deployment());

    run_to_end();

    EXPECT_TRUE(deployer->is_finished());
}

TEST_F(HawkbitDeployerSpace, LackFailsBeforeAnyDownload) {
    available = 131;
    make(deployment());

    run_to_end();

    EXPECT_TRUE(deployer->is_cancelled());
    EXPECT_EQ(deployer->error().error_message, "Not enough space for the artifact");
    EXPECT_THAT(deployer->error().error_details, HasSubstr("needed: 132\navailable: 131"));
    EXPECT_THAT(files.requests, IsEmpty());
    EXPECT_THAT(platform.prepared_downloads, ElementsAre("a.bin"));
}

TEST_F(HawkbitDeployerSpace, IsNotNeededForAnEmptyFile) {
    available = 100;
    make({"7", {{"scripted", "empty", "1", {{"a.bin", ""}}}}});

    run_to_end();

    EXPECT_TRUE(deployer->is_finished());
}

TEST_F(HawkbitDeployerSpace, MoreBytesThanAnnouncedEndTheDownload) {
    files.on_range = [](const http::RangeWanted& /*wanted*/) {
        return FileServer::PartialAnswer{{200, "tag", "", ""}, "content of a.bin+"};
    };
    make(scripted_deployment(1));

    run_to_end();

    EXPECT_THAT(deployer->error().error_details, HasSubstr("needed: 17\navailable: 16"));
}

TEST_F(HawkbitDeployerSpace, IsLookedAtAfterAFailedWrite) {
    environment.free_space = [this](const std::string& path) {
        return path == platform.temp_directory ? available : 5;
    };
    make(scripted_deployment(1));
    const LargestFile full{4};

    run_to_end();

    EXPECT_THAT(deployer->error().error_details, HasSubstr("needed: 12\navailable: 5"));
}

TEST_F(HawkbitDeployerSpace, IsAskedForOncePerChunk) {
    unsigned asked = 0;
    environment.free_space = [&](const std::string& /*path*/) {
        ++asked;
        return available;
    };
    make(deployment());

    run_to_end();

    EXPECT_EQ(asked, 1U);
}

TEST_F(HawkbitDeployerSpace, WhatIsThereAlreadyNeedsNone) {
    available = 129;
    downloads.resume = true;
    platform.directory.write("a.bin.part", "con");
    std::filesystem::permissions(platform.directory.path("a.bin.part"),
                                 std::filesystem::perms{0600});
    make(deployment());

    run_to_end();

    EXPECT_TRUE(deployer->is_finished());
}

}  // namespace
}  // namespace zephran::test
