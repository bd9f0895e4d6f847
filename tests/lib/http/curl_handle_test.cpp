// SPDX-License-Identifier: Apache-2.0
#include "http/curl_handle.h"

#include <gtest/gtest.h>

#include "curl_probe.h"

namespace zephran::http {
namespace {

TEST(CurlGlobal, FailedInitialisationCarriesCodeAndText) {
    CurlProbe probe;
    probe.init_result = CURLE_FAILED_INIT;

    try {
        CurlGlobal::init();
        FAIL() << "no exception";
    } catch (const GlobalInitException& error) {
        EXPECT_STREQ(error.what(), "Failed to initialize HTTP client");
        ASSERT_NE(boost::get_error_info<curlcode_tag>(error), nullptr);
        EXPECT_EQ(*boost::get_error_info<curlcode_tag>(error), CURLE_FAILED_INIT);
        ASSERT_NE(boost::get_error_info<curlmessage_tag>(error), nullptr);
        EXPECT_EQ(*boost::get_error_info<curlmessage_tag>(error),
                  curl_easy_strerror(CURLE_FAILED_INIT));
    }
}

TEST(CurlGlobal, CleansUpAtItsEnd) {
    CurlProbe probe;

    { const CurlGlobal global; }

    EXPECT_EQ(probe.cleanups, 1);
}

TEST(CurlGlobal, InitialisesOnceHoweverManyThereAre) {
    const CurlProbe probe;

    {
        const CurlGlobal first;
        const CurlGlobal second;
    }

    // An earlier case of the same process may have been the one.
    EXPECT_LE(probe.initialisations, 1);
}

TEST(CurlHandle, MissingHandleIsReported) {
    CurlProbe probe;
    probe.refuse_handles = true;

    try {
        const CurlHandle handle;
        FAIL() << "no exception";
    } catch (const CreateRequestException& error) {
        EXPECT_STREQ(error.what(), "Failed to create HTTP request");
    }
}

TEST(CurlHandle, RefusedOptionIsNamed) {
    CurlHandle handle;

    try {
        setopt(handle, CURLOPT_SSLVERSION, 12345L);
        FAIL() << "no exception";
    } catch (const ConfigureRequestException& error) {
        EXPECT_STREQ(error.what(), "Failed to configure HTTP request parameters");
        ASSERT_NE(boost::get_error_info<curlopt_tag>(error), nullptr);
        EXPECT_EQ(*boost::get_error_info<curlopt_tag>(error), CURLOPT_SSLVERSION);
        ASSERT_NE(boost::get_error_info<curlcode_tag>(error), nullptr);
        EXPECT_EQ(*boost::get_error_info<curlcode_tag>(error), CURLE_BAD_FUNCTION_ARGUMENT);
    }
}

TEST(CurlStringList, IsNullWhileEmptyAndKeepsTheOrder) {
    CurlStringList list;
    EXPECT_EQ(list.get(), nullptr);

    list.append("first");
    list.append("second");

    ASSERT_NE(list.get(), nullptr);
    EXPECT_STREQ(list.get()->data, "first");
    ASSERT_NE(list.get()->next, nullptr);
    EXPECT_STREQ(list.get()->next->data, "second");
    EXPECT_EQ(list.get()->next->next, nullptr);
}

TEST(CurlStringList, LineThatDoesNotFitIntoMemoryLeavesTheOthers) {
    CurlProbe probe;
    CurlStringList list;
    list.append("first");
    probe.refuse_lines = true;

    EXPECT_THROW(list.append("second"), std::bad_alloc);

    ASSERT_NE(list.get(), nullptr);
    EXPECT_STREQ(list.get()->data, "first");
    EXPECT_EQ(list.get()->next, nullptr);
}

}  // namespace
}  // namespace zephran::http
