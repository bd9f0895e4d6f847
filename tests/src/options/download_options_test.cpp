// SPDX-License-Identifier: Apache-2.0
#include "options/download_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/memory_config.h"

namespace zephran {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

class DownloadOptionsOfSection : public ::testing::Test {
protected:
    void set(const std::string& option, const std::string& value) {
        config.values["zephran.network." + option] = value;
    }

    CapturedLog log;
    MemoryConfig config;
};

TEST_F(DownloadOptionsOfSection, AbsentOnesLeaveTheDownloadToTheMainLoop) {
    const DownloadOptions options = read_download_options(config);

    EXPECT_EQ(options.attempts, 1U);
    EXPECT_EQ(options.retry_delay, 5U);
    EXPECT_EQ(options.retry_cap, 300U);
    EXPECT_FALSE(options.resume);
    EXPECT_FALSE(options.space_reserve);
    EXPECT_FALSE(options.stop_transfers);
    EXPECT_FALSE(options.runs_beside_main_loop());
    EXPECT_EQ(read_digest(config), hawkbit::Digest::md5);
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(DownloadOptionsOfSection, AreTakenAsTheyAre) {
    set("attempts", "10");
    set("retry_delay", "7");
    set("retry_cap", "60");
    set("resume", "on");
    set("check_space", "1");
    set("reserve_kb", "2");
    set("digest", "sha256");
    set("stop_transfers", "yes");

    const DownloadOptions options = read_download_options(config);

    EXPECT_EQ(options.attempts, 10U);
    EXPECT_EQ(options.retry_delay, 7U);
    EXPECT_EQ(options.retry_cap, 60U);
    EXPECT_TRUE(options.resume);
    EXPECT_EQ(options.space_reserve, 2048U);
    EXPECT_TRUE(options.stop_transfers);
    EXPECT_EQ(read_digest(config), hawkbit::Digest::sha256);
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(DownloadOptionsOfSection, EachOfTheseTakesTheDownloadOutOfTheMainLoop) {
    for (const auto& [option, value] : {std::pair{"attempts", "2"},
                                        {"resume", "1"},
                                        {"check_space", "1"},
                                        {"stop_transfers", "1"}}) {
        config.values.clear();
        set(option, value);

        EXPECT_TRUE(read_download_options(config).runs_beside_main_loop()) << option;
    }
}

TEST_F(DownloadOptionsOfSection, TheOthersDoNot) {
    set("attempts", "1");
    set("retry_delay", "9");
    set("retry_cap", "9");
    set("reserve_kb", "9");
    set("digest", "sha256");

    EXPECT_FALSE(read_download_options(config).runs_beside_main_loop());
}

TEST_F(DownloadOptionsOfSection, FourMebibytesStayFreeUnlessToldOtherwise) {
    set("check_space", "1");

    EXPECT_EQ(read_download_options(config).space_reserve, 4096U * 1024U);
}

TEST_F(DownloadOptionsOfSection, NeitherAPauseNorAReserveIsNeeded) {
    set("retry_delay", "0");
    set("retry_cap", "0");
    set("check_space", "1");
    set("reserve_kb", "0");

    const DownloadOptions options = read_download_options(config);

    EXPECT_EQ(options.retry_delay, 0U);
    EXPECT_EQ(options.retry_cap, 0U);
    EXPECT_EQ(options.space_reserve, 0U);
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(DownloadOptionsOfSection, PausesLastADayAtMostAndReservesATerabyte) {
    set("retry_delay", "86401");
    set("retry_cap", "86401");
    set("check_space", "1");
    set("reserve_kb", "1000000001");

    const DownloadOptions options = read_download_options(config);

    EXPECT_EQ(options.retry_delay, 5U);
    EXPECT_EQ(options.retry_cap, 300U);
    EXPECT_EQ(options.space_reserve, 4096U * 1024U);
    for (const char* const named :
         {"option=retry_delay value=86401 expected=a number from 0 to 86400\n",
          "option=retry_cap value=86401 expected=a number from 0 to 86400\n",
          "option=reserve_kb value=1000000001 expected=a number from 0 to 1000000000\n"}) {
        EXPECT_THAT(log.text(), HasSubstr(named));
    }
}

TEST_F(DownloadOptionsOfSection, BadOnesAreNamedAndAbsent) {
    set("attempts", "0");
    set("digest", "sha1");
    set("resume", "maybe");

    EXPECT_EQ(read_download_options(config).attempts, 1U);
    EXPECT_EQ(read_digest(config), hawkbit::Digest::md5);
    EXPECT_THAT(log.text(), HasSubstr("option=attempts value=0 expected=a number from 1 to 1000"));
    EXPECT_THAT(log.text(), HasSubstr("option=digest value=sha1 expected=one of md5, sha256"));
    EXPECT_THAT(log.text(), HasSubstr("option=resume value=maybe"));
}

}  // namespace
}  // namespace zephran
