// SPDX-License-Identifier: Apache-2.0
#include "http/retry_policy.h"

#include <set>

#include <gtest/gtest.h>

#include "http/exceptions.h"

namespace zephran::http {
namespace {

using std::chrono::seconds;

HttpErrorCodeException with_status(unsigned status) {
    HttpErrorCodeException error;
    error << httpcode_tag{status};
    return error;
}

HttpRequestException with_code(int code) {
    HttpRequestException error;
    error << curlcode_tag{static_cast<CURLcode>(code)};
    return error;
}

TEST(RetryPolicy, TriesAgainAfterTheseStatusesOnly) {
    const std::set<unsigned> passing{408, 425, 429, 500, 502, 503, 504};
    for (unsigned status = 300; status < 600; ++status) {
        EXPECT_EQ(is_passing(with_status(status)), passing.count(status) != 0) << status;
    }
}

TEST(RetryPolicy, TriesAgainAfterTheseCodesOnly) {
    const std::set<int> passing{6, 7, 18, 28, 35, 52, 55, 56};
    for (int code = 0; code < 100; ++code) {
        EXPECT_EQ(is_passing(with_code(code)), passing.count(code) != 0) << code;
    }
}

TEST(RetryPolicy, DoesNotTryAgainAfterWhatIsNoTransfer) {
    EXPECT_FALSE(is_passing(common::FileWriteException{}));
    EXPECT_FALSE(is_passing(std::exception{}));
}

TEST(RetryPolicy, FailureIsDescribedInAFewWords) {
    EXPECT_EQ(describe_failure(with_status(503)), "HTTP status 503");
    EXPECT_EQ(describe_failure(with_code(18)), curl_easy_strerror(CURLE_PARTIAL_FILE));
    EXPECT_EQ(describe_failure(common::FileWriteException{}), "Failed to write to file");
}

class RetryAfter : public ::testing::Test {
protected:
    /// Sun, 06 Nov 1994 08:49:37 GMT
    const std::chrono::system_clock::time_point now =
        std::chrono::system_clock::from_time_t(784111777);
};

TEST_F(RetryAfter, IsANumberOfSeconds) {
    EXPECT_EQ(parse_retry_after("0", now), seconds{0});
    EXPECT_EQ(parse_retry_after("120", now), seconds{120});
    EXPECT_EQ(parse_retry_after("999999999", now), seconds{999'999'999});
    EXPECT_GE(parse_retry_after("99999999999999999999", now), seconds{1'000'000'000});
}

TEST_F(RetryAfter, IsADate) {
    EXPECT_EQ(parse_retry_after("Sun, 06 Nov 1994 08:50:37 GMT", now), seconds{60});
}

TEST_F(RetryAfter, IsADateInAnOldFormat) {
    EXPECT_EQ(parse_retry_after("Sunday, 06-Nov-94 08:50:37 GMT", now), seconds{60});
    EXPECT_EQ(parse_retry_after("Sun Nov  6 08:50:37 1994", now), seconds{60});
}

TEST_F(RetryAfter, IsADateBeyondTheTimeOf32Bits) {
    EXPECT_EQ(parse_retry_after("Fri, 01 Jan 2100 00:00:00 GMT", now),
              seconds{4'102'444'800 - 784'111'777});
    EXPECT_EQ(parse_retry_after("Fri, 31 Dec 9999 23:59:59 GMT", now),
              seconds{253'402'300'799 - 784'111'777});
}

TEST_F(RetryAfter, DateInThePastIsNow) {
    EXPECT_EQ(parse_retry_after("Sun, 06 Nov 1994 08:00:00 GMT", now), seconds{0});
}

TEST_F(RetryAfter, AnythingElseIsNone) {
    for (const char* const text :
         {"", "soon", "-1", "1.5", "5 s", "Sun, 06 Nov 1994 08:50:37 GMT+1", "Sun, 06 Nov 1994"}) {
        EXPECT_FALSE(parse_retry_after(text, now)) << text;
    }
}

}  // namespace
}  // namespace zephran::http
