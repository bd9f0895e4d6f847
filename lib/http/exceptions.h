#pragma once

#include <string>

#include <curl/curl.h>

#include "common/exception.h"

namespace zephran::http {

/// libcurl's result code.
using curlcode_tag = boost::error_info<struct curlcode_record, CURLcode>;
/// libcurl's general text for a result code.
using curlmessage_tag = boost::error_info<struct curlmessage_record, std::string>;
/// The option that libcurl refused.
using curlopt_tag = boost::error_info<struct curlopt_record, CURLoption>;
/// libcurl's text about the particular transfer, "" when it gave none.
using curlerrorbuffer_tag = boost::error_info<struct curlerrorbuffer_record, std::string>;
/// Status of an HTTP answer.
using httpcode_tag = boost::error_info<struct httpcode_record, unsigned>;
/// The address that answered.
using httpurl_tag = boost::error_info<struct httpurl_record, std::string>;

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
/// Any other failed transfer. Carries curlcode_tag, curlmessage_tag, curlerrorbuffer_tag.
struct HttpRequestException : common::Exception {
    HttpRequestException() : Exception{"HTTP request failed"} {}
};

}  // namespace zephran::http
