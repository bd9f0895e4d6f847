// SPDX-License-Identifier: Apache-2.0
#include "http/tls_sessions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "curl_probe.h"
#include "http/exceptions.h"

namespace zephran::http {
namespace {

using ::testing::ElementsAre;

TEST(TlsSessions, AreSharedUnderLocks) {
    CurlProbe probe;
    {
        const TlsSessions sessions;

        EXPECT_EQ(probe.shares, 1);
        EXPECT_NE(sessions.get(), nullptr);
        EXPECT_THAT(probe.share_options,
                    ElementsAre(CURLSHOPT_USERDATA, CURLSHOPT_LOCKFUNC, CURLSHOPT_UNLOCKFUNC,
                                -CURL_LOCK_DATA_SSL_SESSION));
    }
    EXPECT_EQ(probe.shares, 0);
}

TEST(TlsSessions, WithoutMemoryAreRefused) {
    CurlProbe probe;
    probe.refuse_shares = true;

    EXPECT_THROW(TlsSessions{}, CreateRequestException);
}

}  // namespace
}  // namespace zephran::http
