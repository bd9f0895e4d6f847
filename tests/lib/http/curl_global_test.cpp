// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "curl_probe.h"
#include "http/exceptions.h"
#include "http/httpclient.h"

namespace zephran::http {
namespace {

// The only case of its process: libcurl is initialised once in one.
TEST(CurlGlobal, ClientsInitialiseOnceAndTryAgainAfterAFailure) {
    CurlProbe probe;
    probe.init_result = CURLE_OUT_OF_MEMORY;

    EXPECT_THROW(Client{ClientImplementationType::curl}, GlobalInitException);
    EXPECT_THROW(Client{ClientImplementationType::curl}, GlobalInitException);
    probe.init_result = CURLE_OK;
    const Client first{ClientImplementationType::curl};
    const Client second{ClientImplementationType::curl};

    EXPECT_EQ(probe.initialisations, 3);
    EXPECT_EQ(probe.cleanups, 0);
}

}  // namespace
}  // namespace zephran::http
