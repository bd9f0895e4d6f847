// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

#include <curl/curl.h>

#include "common/exception.h"
#include "common/record.h"

namespace zephran::http {

/// libcurl's result code.
ZEPHRAN_RECORD(curlcode, CURLcode, reported_at(315));
/// libcurl's general text for a result code.
ZEPHRAN_RECORD(curlmessage, std::string, reported_at(325));
/// The option that libcurl refused.
ZEPHRAN_RECORD(curlopt, CURLoption, reported_at(320));
/// libcurl's text about the particular transfer, "" when it gave none.
ZEPHRAN_RECORD(curlerrorbuffer, std::string, reported_at(330));
/// Status of an HTTP answer.
ZEPHRAN_RECORD(httpcode, unsigned, reported_at(305));
/// The address that answered.
ZEPHRAN_RECORD(httpurl, std::string, reported_at(310));
/// Bound of the number of values in a document that holds too many.
ZEPHRAN_RECORD(value_count, std::size_t, reported_at(335));

/// Carries curlcode_tag, curlmessage_tag.
struct GlobalInitException : common::Exception {
    GlobalInitException() : Exception{"Failed to initialize HTTP client"} {}
};
struct CreateRequestException : common::Exception {
    CreateRequestException() : Exception{"Failed to create HTTP request"} {}
};
/// Carries curlcode_tag, curlopt_tag.
struct ConfigureRequestException : common::Exception {
    ConfigureRequestException() : Exception{"Failed to configure HTTP request parameters"} {}
};
/// A status of 400 or more. Carries httpcode_tag, httpurl_tag, curlerrorbuffer_tag.
struct HttpErrorCodeException : common::Exception {
    HttpErrorCodeException() : Exception{"HTTP server returned an error code"} {}
};
/// Any other failed transfer. Carries curlcode_tag, curlmessage_tag, curlerrorbuffer_tag, or
/// httpurl_tag, value_count_tag for a document that is refused.
struct HttpRequestException : common::Exception {
    HttpRequestException() : Exception{"HTTP request failed"} {}
};

}  // namespace zephran::http
